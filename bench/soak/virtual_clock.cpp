#include "bench/soak/virtual_clock.h"

#include <algorithm>

#include <QThread>

namespace
{

const qint64 SomeTimeAfterBoot = 1000000; // ms

} // namespace

VirtualClock::VirtualClock() : m_now(SomeTimeAfterBoot), m_ended(false), m_driver(nullptr) {}

void VirtualClock::setDriver(QThread *thread)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_driver = thread;
}

void VirtualClock::advance(qint64 ms)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    moveTo(m_now + ms, &lock);
}

/// Goes from one sleeper's time to the next, so that each wakes up in its own time.
void VirtualClock::moveTo(qint64 time, std::unique_lock<std::mutex> *lock)
{
    do {
        const qint64 next = m_wakes.empty() ? time : std::min(time, *m_wakes.begin());
        m_now = std::max(m_now, next);
        m_moved.notify_all();
        m_moved.wait(*lock,
                     [this] { return m_ended || m_wakes.empty() || *m_wakes.begin() > m_now; });
    } while (m_now < time);
}

void VirtualClock::jump(qint64 ms)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_now += ms;
    m_moved.notify_all();
}

size_t VirtualClock::sleepers()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_wakes.size();
}

void VirtualClock::end()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ended = true;
    m_moved.notify_all();
}

qint64 VirtualClock::msecsSinceBoot()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_now;
}

void VirtualClock::sleep(ulong ms)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const qint64 end = m_now + static_cast<qint64>(ms);
    if (m_driver == QThread::currentThread()) {
        moveTo(end, &lock);
        return;
    }
    const std::multiset<qint64>::iterator wake = m_wakes.insert(end);
    m_moved.wait(lock, [&] { return m_ended || m_now >= end; });
    m_wakes.erase(wake);
    m_moved.notify_all();
}
