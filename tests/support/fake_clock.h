// A clock that only moves when somebody sleeps on it.

#ifndef TESTS_SUPPORT_FAKE_CLOCK_H
#define TESTS_SUPPORT_FAKE_CLOCK_H

#include <atomic>
#include <functional>
#include <thread>

#include "common/clock.h"

/// Sleeping moves the time on and returns at once. Any thread may sleep; set the hooks first.
class FakeClock : public Clock
{
public:
    FakeClock() : m_now(1000000) {}

    qint64 msecsSinceBoot() override
    {
        if (onLook)
            onLook();
        return m_now;
    }

    void sleep(ulong ms) override
    {
        m_now += static_cast<qint64>(ms);
        if (onSleep)
            onSleep(ms);
        std::this_thread::yield();
    }

    void set(qint64 now) { m_now = now; }
    void advance(qint64 ms) { m_now += ms; }

    /// Called before each answer, on the thread that asked.
    std::function<void()> onLook;

    /// Called after each sleep, on the thread that slept.
    std::function<void(ulong ms)> onSleep;

private:
    std::atomic<qint64> m_now;
};

#endif // TESTS_SUPPORT_FAKE_CLOCK_H
