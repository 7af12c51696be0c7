#include "terminal/session.h"

#include <algorithm>
#include <chrono>

namespace
{

const char StartTag[] = "INITDRV0"; // a tag that every driver of this kind answers by itself
const int ErrorSampleMs = 5;
const int AsideMs = 100;

qint64 steadyMs()
{
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

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
    if (!m_line.nowMs)
        m_line.nowMs = steadyMs;
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
        for (TagView &view : m_views) {
            if (stopRequested())
                return true;
            observe(&view);
        }
        sendWrites();
        if (stopRequested())
            return true;
        m_round_done(m_views);
        rest();
    }
}

bool Session::stopRequested() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_stop;
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
    const SessionLink::Call call(m_line.link);
    if (!call.allowed())
        return;
    if (!noteError() && oldestAge(*view) >= 0)
        read(view);
    else if (view->items.isEmpty())
        view->state = m_line.stationFails(view->station) ? TagState::Failed : TagState::Waiting;
    else
        judgeAge(view);
}

void Session::read(TagView *view)
{
    m_line.selectStation(view->station);
    const QByteArray data = m_driver->read(m_line.link, view->tag.access());
    ++m_reads;
    takeData(view, data);
}

void Session::takeData(TagView *view, const QByteArray &data)
{
    if (data.size() < view->tag.dataSize()) {
        judgeAge(view);
        view->state = TagState::Failed;
        return;
    }
    view->items = tagItems(view->tag, data);
    view->receivedAt = m_line.nowMs() - oldestAge(*view);
    judgeAge(view);
}

void Session::judgeAge(TagView *view) const
{
    view->ageMs = view->receivedAt < 0 ? -1 : m_line.nowMs() - view->receivedAt;
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
        std::max(double(StaleAfterMs), StaleAfterCycles * m_line.link->leastCycleMs());
    return static_cast<double>(ageMs) > longest;
}

bool Session::canWrite(const TagWrite &write) const
{
    for (const TagView &view : m_views) {
        if (view.tag.text == write.tag.text)
            return view.state == TagState::Ok;
    }
    return false;
}

void Session::sendWrites()
{
    for (int i = 0; i < m_writes.size();) {
        if (!canWrite(m_writes.at(i))) {
            ++i;
            continue;
        }
        const WriteResult result = send(m_writes.at(i));
        if (result == WriteResult::Later)
            return;
        m_writes.removeAt(i);
        if (result == WriteResult::Done)
            ++m_writes_done;
        else
            ++m_writes_refused;
    }
}

/// While the line has an error the driver drops writes without a word.
Session::WriteResult Session::send(const TagWrite &write)
{
    bool taken = false;
    {
        const SessionLink::Call call(m_line.link);
        if (!call.allowed() || noteError())
            return WriteResult::Later;
        m_line.selectStation(write.tag.station == Tag::DefaultStation ? m_line.defaultStation
                                                                      : write.tag.station);
        taken = m_driver->write(m_line.link, write.tag.access(), write.data) != 0;
    }
    if (!taken)
        return WriteResult::Refused;
    // The driver may be gone by now. An error that came meanwhile may have cost the write; to send
    // it twice does no harm.
    const SessionLink::Call call(m_line.link);
    return call.allowed() && !noteError() ? WriteResult::Done : WriteResult::Later;
}

/// Waits for the next round. The driver names an error only while it stands, so it is asked often.
void Session::rest()
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_period_ms);
    auto aside = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() < end) {
        if (m_line.aside && std::chrono::steady_clock::now() >= aside) {
            m_line.aside();
            aside = std::chrono::steady_clock::now() + std::chrono::milliseconds(AsideMs);
        }
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

/// Whether an error stands; keeps its text.
bool Session::noteError()
{
    if (!m_driver->hasError())
        return false;
    const QString text = m_driver->getLastError();
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!text.isEmpty())
        m_last_error = text;
    return true;
}
