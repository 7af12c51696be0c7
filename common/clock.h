// Time that can be injected, so that nothing has to wait for the real one to be tested.

#ifndef COMMON_CLOCK_H
#define COMMON_CLOCK_H

#include <QtGlobal>

/// A monotonic clock that can also be slept on. Every operation may be called from any thread.
class Clock
{
public:
    /// Milliseconds since boot; never goes back.
    virtual qint64 msecsSinceBoot() = 0;

    /// Blocks the calling thread for `ms` milliseconds, signals notwithstanding.
    virtual void sleep(ulong ms) = 0;

    /// The clock of the machine. Usable up to the very end of the process: a driver that the
    /// runtime never destroyed still has its threads then.
    static Clock *system();

protected:
    /// Nobody deletes a clock through this class. A virtual destructor would take the machine's
    /// clock apart while the process ends.
    ~Clock() = default;
};

#endif // COMMON_CLOCK_H
