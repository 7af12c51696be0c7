// Time that passes as fast as the line's thread uses it up.

#ifndef BENCH_SOAK_VIRTUAL_CLOCK_H
#define BENCH_SOAK_VIRTUAL_CLOCK_H

#include <condition_variable>
#include <mutex>
#include <set>

#include "common/clock.h"

class QThread;

/// Stands still but for one thread, the driver of it: its sleeps pass at once and move the time on.
/// All others wait until the time has come, and the driver waits until they have woken up. Three
/// seconds of silence on a line cost nothing, and yet everybody has as much time for everything as
/// on a real line.
class VirtualClock : public Clock
{
public:
    VirtualClock();

    /// Chooses the thread that moves the time; not owned. Call before it starts.
    void setDriver(QThread *thread);

    /// Moves the time on; for what the driver's thread waits for elsewhere.
    void advance(qint64 ms);

    /// Any thread: puts the clock on. Who sleeps meanwhile finds the time gone all at once.
    void jump(qint64 ms);

    /// Any thread: how many wait for the time to come.
    size_t sleepers();

    /// From now on nobody waits: the driver's thread is ending, and the time with it.
    void end();

    qint64 msecsSinceBoot() override;
    void sleep(ulong ms) override;

private:
    void moveTo(qint64 time, std::unique_lock<std::mutex> *lock);

    std::mutex m_mutex;
    std::condition_variable m_moved;
    qint64 m_now;                  ///< m_mutex
    bool m_ended;                  ///< m_mutex
    QThread *m_driver;             ///< m_mutex
    std::multiset<qint64> m_wakes; ///< when the others are to wake up; m_mutex
};

#endif // BENCH_SOAK_VIRTUAL_CLOCK_H
