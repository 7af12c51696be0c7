// Tags as a session shows them, made for tests.

#ifndef TESTS_TERMINAL_WINDOW_TAG_VIEWS_H
#define TESTS_TERMINAL_WINDOW_TAG_VIEWS_H

#include <QList>
#include <QString>

#include <vector>

#include "common/qtcompat.h"
#include "terminal/session.h"

const int DefaultStation = 1;

inline TagView tagView(const QString &name, const QString &address, const QList<quint32> &items,
                       TagState state = TagState::Ok, qint64 ageMs = 80)
{
    TagView view;
    QString error;
    const bool parsed =
        parseTag(name, address, "dword", QString::number(qMax(1, items.size())), &view.tag, &error);
    assert(parsed);
    view.station = view.tag.station == Tag::DefaultStation ? DefaultStation : view.tag.station;
    view.items = items;
    view.state = state;
    view.ageMs = items.isEmpty() ? -1 : ageMs;
    return view;
}

inline QList<Tag> tagsOf(const std::vector<TagView> &views)
{
    QList<Tag> tags;
    for (const TagView &view : views)
        tags << view.tag;
    return tags;
}

/// One tag in each state.
inline std::vector<TagView> oneOfEachState()
{
    return {tagView("furnace1.setpoint", "NA20", {4200}),
            tagView("furnace2.temperature", "2-NA21", {}, TagState::Waiting),
            tagView("furnace2.output", "2-NA22", {512}, TagState::Stale, 12300),
            tagView("furnace3.temperature", "3-PA0000021", {3999}, TagState::Failed, 65000)};
}

#endif // TESTS_TERMINAL_WINDOW_TAG_VIEWS_H
