// The runtime's hold on the link during a session.

#ifndef TERMINAL_SESSION_LINK_H
#define TERMINAL_SESSION_LINK_H

#include "hmi/abstractdeviceinterface.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

/// Passes everything through to another link, and knows two things besides: how long the driver
/// takes from one poll of the same addresses to the next, and whether a call of the driver is under
/// way.
///
/// The second is for the end of a session. A driver may be destroyed while a `read` waits in it,
/// but not while a call is only just being made. Every call asks the link something once it is
/// inside, so the link can tell the two apart.
class SessionLink : public AbstractDeviceInterface
{
public:
    /// \param link  not owned, outlives this
    explicit SessionLink(AbstractDeviceInterface *link);

    /// One call of the driver's `read` or `write`, on the communication thread.
    class Call
    {
    public:
        /// \param link  the link that is handed to the driver
        explicit Call(SessionLink *link);
        ~Call();

        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;

        /// False: the session is closing and the driver must not be called any more.
        bool allowed() const { return m_allowed; }

    private:
        SessionLink *m_link;
        bool m_allowed;
    };

    /// Allows no further call, and waits until one that is being made has got inside or is over.
    /// Afterwards the driver may be destroyed. Any thread.
    void closeCalls();

    /// Mean milliseconds from one sending of the first read frame to the next; 0 before the second.
    double cycleMs() const;

    /// The shortest of these times. Unlike the mean it does not grow with a line's time-outs.
    double leastCycleMs() const;

    int readData(char *buffer, int max_size) override;
    int writeData(const char *data, int size) override;
    const DeviceSetting *deviceSetting() override;
    QVariant control(int code, const QVariant &argument) override;
    int timeout() override;
    int retry() override;
    int stationId() override;
    int delay() override;

private:
    typedef std::chrono::steady_clock SteadyClock;
    enum class CallState { None, Entering, Inside };

    void setState(CallState state);
    void callIsInside();
    void noteFrame(const std::string &frame);
    void noteCycle(SteadyClock::time_point now);

    AbstractDeviceInterface *const m_link;
    mutable std::mutex m_mutex; ///< guards everything below
    std::condition_variable m_changed;
    CallState m_state;
    bool m_closing;
    std::string m_first_poll;
    bool m_other_poll_seen;  ///< a pass has more than one read frame
    bool m_other_poll_since; ///< one of those has come since the first one
    SteadyClock::time_point m_first_poll_at;
    SteadyClock::time_point m_last_poll_at;
    int m_cycles;
    double m_least_cycle_ms; ///< 0 before the first cycle
};

#endif // TERMINAL_SESSION_LINK_H
