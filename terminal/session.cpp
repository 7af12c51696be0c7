#include "terminal/session.h"

#include <algorithm>
#include <chrono>

namespace
{

const char StartTag[] = "INITDRV0"; // a tag that every driver of this kind answers by itself
const int ErrorSampleMs = 5;

} // namespace

const char *tagStateName(TagState state)
{
    switch (state) {
    case TagState::Waiting:
        return "waiting";
    case TagState::Ok:
        return "ok";
    case TagState::Stale:
        return "stale";
    case TagState::Failed:
        break;
    }
    return "failed";
}

Session::Session(DriverInterface *driver, const SessionLine &line, const QList<Tag> &tags,
                 const QList<TagWrite> &writes, int periodMs, RoundDone roundDone)
    : m_driver(driver), m_line(line), m_writes(writes), m_period_ms(periodMs),
      m_round_done(std::move(roundDone)), m_reads(0), m_writes_done(0), m_writes_refused(0),
      m_stop(false)
{
    for (const Tag &tag : tags) {
        TagView view;
        view.tag = tag;
        view.station = tag.station == Tag::DefaultStation ? line.defaultStation : tag.station;
        m_views.push_back(view);
    }
}

bool Session::run()
{
    if (!start())
        return false;
    for (;;) {
        for (TagView &view : m_views)
            observe(&view);
        sendWrites();
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_stop)
                return true;
        }
        m_round_done(m_views);
        rest();
    }
}

void Session::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_stop_requested.notify_all();
}

QString Session::lastError() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_last_error;
}

bool Session::start()
{
    const bool started = announce();
    const SessionLink::Call call(m_line.link);
    if (call.allowed())
        noteError();
    return started;
}

bool Session::announce()
{
    const SessionLink::Call call(m_line.link);
    if (!call.allowed())
        return true;
    QList<CommunicatorCommand> announcements;
    for (const TagView &view : m_views)
        announcements << view.tag.announcement();
    m_driver->setSessionCommand(announcements);

    CommunicatorCommand command;
    command.address = StartTag;
    return m_driver->initialize(m_line.link) && !m_driver->read(m_line.link, command).isEmpty();
}

void Session::observe(TagView *view)
{
    view->ageMs = oldestAge(*view);
    if (view->ageMs < 0) {
        view->state = m_line.stationFails(view->station) ? TagState::Failed : TagState::Waiting;
        return;
    }
    const SessionLink::Call call(m_line.link);
    if (!call.allowed())
        return;
    m_line.selectStation(view->station);
    const QByteArray data = m_driver->read(m_line.link, view->tag.access());
    ++m_reads;
    view->ageMs = oldestAge(*view);
    takeData(view, data);
}

void Session::takeData(TagView *view, const QByteArray &data)
{
    if (data.size() < view->tag.dataSize()) {
        view->state = TagState::Failed;
        return;
    }
    view->items = tagItems(view->tag, data);
    view->state = isStale(view->ageMs) ? TagState::Stale : TagState::Ok;
}

qint64 Session::oldestAge(const TagView &view) const
{
    qint64 oldest = 0;
    for (int i = 0; i < view.tag.doubleWords(); ++i) {
        const qint64 age =
            m_line.ageOf(view.station, view.tag.firstAddress + static_cast<quint32>(i));
        if (age < 0)
            return -1;
        oldest = std::max(oldest, age);
    }
    return oldest;
}

bool Session::isStale(qint64 ageMs) const
{
    const double longest =
        std::max(double(StaleAfterMs), StaleAfterRounds * m_line.link->cycleMs());
    return static_cast<double>(ageMs) > longest;
}

bool Session::canWrite(const TagWrite &write) const
{
    for (const TagView &view : m_views) {
        if (view.tag.text == write.tag.text)
            return view.state == TagState::Ok;
    }
    return true;
}

void Session::sendWrites()
{
    for (int i = 0; i < m_writes.size();) {
        const TagWrite write = m_writes.at(i);
        const SessionLink::Call call(m_line.link);
        // While the line has an error the driver drops writes without a word.
        if (!call.allowed() || m_driver->hasError())
            return;
        if (!canWrite(write)) {
            ++i;
            continue;
        }
        m_writes.removeAt(i);
        m_line.selectStation(write.tag.station == Tag::DefaultStation ? m_line.defaultStation
                                                                      : write.tag.station);
        if (m_driver->write(m_line.link, write.tag.access(), write.data) != 0)
            ++m_writes_done;
        else
            ++m_writes_refused;
    }
}

/// Waits for the next round. The driver names an error only while it stands, so it is asked often.
void Session::rest()
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_period_ms);
    while (std::chrono::steady_clock::now() < end) {
        {
            const SessionLink::Call call(m_line.link);
            if (!call.allowed())
                return;
            noteError();
        }
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_stop_requested.wait_for(lock, std::chrono::milliseconds(ErrorSampleMs),
                                      [this] { return m_stop; }))
            return;
    }
}

void Session::noteError()
{
    if (!m_driver->hasError())
        return;
    const QString text = m_driver->getLastError();
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!text.isEmpty())
        m_last_error = text;
}
