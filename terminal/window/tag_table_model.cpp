#include "terminal/window/tag_table_model.h"

#include <algorithm>

#include "terminal/report.h"

namespace
{

const char *const Headings[] = {"Tag", "Address", "Station", "Value", "Age", "State"};

std::vector<TagView> viewsOf(const QList<Tag> &tags, int defaultStation)
{
    std::vector<TagView> views;
    for (const Tag &tag : tags) {
        TagView view;
        view.tag = tag;
        view.station = tag.station == Tag::DefaultStation ? defaultStation : tag.station;
        views.push_back(view);
    }
    return views;
}

bool isOfNumbers(int column)
{
    return column == TagTableModel::Station || column == TagTableModel::Value ||
           column == TagTableModel::Age;
}

QVariant alignment(int column)
{
    return int(Qt::AlignVCenter | (isOfNumbers(column) ? Qt::AlignRight : Qt::AlignLeft));
}

/// A doubtful value is marked where it stands, not only in another column.
QString valueText(const TagView &view)
{
    const bool doubtful = view.state != TagState::Ok && !view.items.isEmpty();
    return (doubtful ? "? " : "") + decimalText(view);
}

} // namespace

const int TagTableModel::Pens;

TagTableModel::TagTableModel(const QList<Tag> &tags, int defaultStation, QObject *parent)
    : QAbstractTableModel(parent), m_views(viewsOf(tags, defaultStation)), m_round_at(0), m_now(0),
      m_stale_after_ms(Session::StaleAfterMs)
{
    std::fill(std::begin(m_pen_rows), std::end(m_pen_rows), -1);
}

void TagTableModel::showRound(const std::vector<TagView> &views, qint64 nowMs, qint64 staleAfterMs)
{
    m_round_at = nowMs;
    m_now = nowMs;
    m_stale_after_ms = staleAfterMs;
    if (views.size() != m_views.size()) {
        replaceRows(views);
        return;
    }
    m_views = views;
    announce(0, ColumnCount - 1);
}

/// Other tags than before: what the pens drew is no longer where it was.
void TagTableModel::replaceRows(const std::vector<TagView> &views)
{
    beginResetModel();
    m_views = views;
    std::fill(std::begin(m_pen_rows), std::end(m_pen_rows), -1);
    endResetModel();
}

void TagTableModel::setNow(qint64 nowMs)
{
    if (nowMs == m_now)
        return;
    m_now = nowMs;
    announce(Value, State);
}

/// One signal for all rows: views paint those that they show, however many there are.
void TagTableModel::announce(int firstColumn, int lastColumn)
{
    if (m_views.empty())
        return;
    emit dataChanged(index(0, firstColumn), index(rowCount() - 1, lastColumn));
}

TagView TagTableModel::viewAt(int row) const
{
    TagView view = m_views[static_cast<size_t>(row)];
    view.state = stateOf(view);
    if (view.ageMs >= 0)
        view.ageMs += m_now - m_round_at;
    return view;
}

/// \param view  as the last round had it
TagState TagTableModel::stateOf(const TagView &view) const
{
    const bool tooOld = view.ageMs + m_now - m_round_at > m_stale_after_ms;
    return view.state == TagState::Ok && tooOld ? TagState::Stale : view.state;
}

int TagTableModel::liveTags() const
{
    const auto live = std::count_if(m_views.begin(), m_views.end(), [this](const TagView &view) {
        return stateOf(view) == TagState::Ok;
    });
    return static_cast<int>(live);
}

void TagTableModel::setPen(int pen, int row)
{
    const int before = m_pen_rows[pen];
    m_pen_rows[pen] = row;
    for (const int changed : {before, row}) {
        if (changed >= 0)
            emit dataChanged(index(changed, 0), index(changed, ColumnCount - 1));
    }
}

int TagTableModel::penOf(int row) const
{
    const int *const found = std::find(std::begin(m_pen_rows), std::end(m_pen_rows), row);
    return found == std::end(m_pen_rows) ? -1 : static_cast<int>(found - m_pen_rows);
}

int TagTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_views.size());
}

int TagTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant TagTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
        return textAt(viewAt(index.row()), index.column());
    case Qt::ToolTipRole:
        return description(viewAt(index.row()));
    case Qt::TextAlignmentRole:
        return alignment(index.column());
    case StateRole:
        return static_cast<int>(viewAt(index.row()).state);
    case PenRole:
        return penOf(index.row());
    case HasValueRole:
        return !m_views[static_cast<size_t>(index.row())].items.isEmpty();
    default:
        return QVariant();
    }
}

QVariant TagTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= ColumnCount)
        return QVariant();
    if (role == Qt::DisplayRole)
        return QString(Headings[section]);
    return role == Qt::TextAlignmentRole ? alignment(section) : QVariant();
}

QString TagTableModel::textAt(const TagView &view, int column) const
{
    switch (column) {
    case Name:
        return view.tag.name;
    case Address:
        return view.tag.text;
    case Station:
        return QString::number(view.station);
    case Value:
        return valueText(view);
    case Age:
        return ageText(view.ageMs);
    default:
        return tagStateName(view.state);
    }
}

/// Tool tips take text for HTML when it looks so; names are what the project's author wrote.
QString TagTableModel::description(const TagView &view) const
{
    return QString("<p><b>%1</b></p><p>%2, station %3<br>%4 (hex %5)<br>%6, age %7</p>")
        .arg(view.tag.name.toHtmlEscaped(), view.tag.text.toHtmlEscaped())
        .arg(view.station)
        .arg(decimalText(view), hexText(view), tagStateName(view.state), ageText(view.ageMs));
}
