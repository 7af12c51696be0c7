#include "terminal/session_link.h"

namespace
{

// A read list, as opposed to a write, by the letters behind the header.
const size_t CommandPosition = 6;
const char ReadCommand[] = "RN";

} // namespace

SessionLink::SessionLink(AbstractDeviceInterface *link)
    : m_link(link), m_state(CallState::None), m_closing(false), m_other_poll_seen(false),
      m_other_poll_since(false), m_cycles(0), m_least_cycle_ms(0.0)
{
}

SessionLink::Call::Call(SessionLink *link) : m_link(link), m_allowed(false)
{
    const std::lock_guard<std::mutex> lock(m_link->m_mutex);
    m_allowed = !m_link->m_closing;
    if (m_allowed)
        m_link->m_state = CallState::Entering;
}

SessionLink::Call::~Call()
{
    if (m_allowed)
        m_link->setState(CallState::None);
}

void SessionLink::setState(CallState state)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_state = state;
    }
    m_changed.notify_all();
}

void SessionLink::callIsInside()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state == CallState::Entering)
            m_state = CallState::Inside;
    }
    m_changed.notify_all();
}

void SessionLink::closeCalls()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_closing = true;
    m_changed.wait(lock, [this] { return m_state != CallState::Entering; });
}

double SessionLink::cycleMs() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_cycles == 0)
        return 0.0;
    const std::chrono::duration<double, std::milli> span = m_last_poll_at - m_first_poll_at;
    return span.count() / m_cycles;
}

double SessionLink::leastCycleMs() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_least_cycle_ms;
}

void SessionLink::noteFrame(const std::string &frame)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (frame.compare(CommandPosition, 2, ReadCommand) != 0)
        return;
    if (m_first_poll.empty()) {
        m_first_poll = frame;
        m_first_poll_at = m_last_poll_at = SteadyClock::now();
    } else if (frame != m_first_poll) {
        m_other_poll_seen = m_other_poll_since = true;
    } else if (m_other_poll_since || !m_other_poll_seen) {
        // Otherwise it is a repetition: a pass goes through the other frames first.
        noteCycle(SteadyClock::now());
    }
}

void SessionLink::noteCycle(SteadyClock::time_point now)
{
    const std::chrono::duration<double, std::milli> cycle = now - m_last_poll_at;
    if (m_cycles == 0 || cycle.count() < m_least_cycle_ms)
        m_least_cycle_ms = cycle.count();
    m_last_poll_at = now;
    m_other_poll_since = false;
    ++m_cycles;
}

int SessionLink::readData(char *buffer, int max_size)
{
    return m_link->readData(buffer, max_size);
}

int SessionLink::writeData(const char *data, int size)
{
    if (static_cast<size_t>(size) > CommandPosition)
        noteFrame(std::string(data, static_cast<size_t>(size)));
    return m_link->writeData(data, size);
}

const DeviceSetting *SessionLink::deviceSetting()
{
    callIsInside();
    return m_link->deviceSetting();
}

QVariant SessionLink::control(int code, const QVariant &argument)
{
    return m_link->control(code, argument);
}

int SessionLink::timeout()
{
    return m_link->timeout();
}

int SessionLink::retry()
{
    return m_link->retry();
}

int SessionLink::stationId()
{
    callIsInside();
    return m_link->stationId();
}

int SessionLink::delay()
{
    return m_link->delay();
}
