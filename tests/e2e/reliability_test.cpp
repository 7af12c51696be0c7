// The loaded plug-in on a real port: what the machine around it may do without harm.

#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/e2e/plugged_in.h"
#include "tests/support/figure.h"

namespace
{

std::atomic<long> wall_clock_shift(0); ///< seconds

} // namespace

// In front of the C library's, for all that this program loads.
extern "C" int clock_gettime(clockid_t clock, struct timespec *time) noexcept
{
    const long result = syscall(SYS_clock_gettime, clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        time->tv_sec += wall_clock_shift;
    return static_cast<int>(result);
}

namespace
{

typedef std::chrono::steady_clock SteadyClock;

qint64 msSince(SteadyClock::time_point begin)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin)
        .count();
}

class ReliabilityPluggedIn : public testing::Test
{
protected:
    bool allRead(quint32 generation)
    {
        return line.allRead(PluggedIn::SoundStation, generation) &&
               line.allRead(PluggedIn::FaultyStation, generation);
    }

    void setGeneration(quint32 generation)
    {
        line.setGeneration(PluggedIn::SoundStation, generation);
        line.setGeneration(PluggedIn::FaultyStation, generation);
    }

    /// Gives the words one generation after the other and waits for each.
    /// \return how many were read
    int readGenerations(quint32 first, int ms)
    {
        int read = 0;
        const SteadyClock::time_point begin = SteadyClock::now();
        for (quint32 generation = first; msSince(begin) < ms; ++generation) {
            setGeneration(generation % 256);
            EXPECT_TRUE(comesTrue([&] { return allRead(generation % 256); }));
            EXPECT_TRUE(line.driver().getLastError().isEmpty())
                << qPrintable(line.driver().getLastError());
            ++read;
        }
        return read;
    }

    PluggedIn line;
};

// ---- The port vanishes
// ---------------------------------------------------------------------------

const int TimeoutMs = 3000; // of the plugged-in line
const int LoadMs = 5000;    // what a loaded machine may add

TEST_F(ReliabilityPluggedIn, APortThatVanishesTellsNoWrongValueAndIsUsedAgainWithinItsTimeOut)
{
    line.announceAll();
    ASSERT_TRUE(comesTrue([this] { return allRead(0); }));

    line.simulator().stop();
    ASSERT_TRUE(comesTrue([this] { return line.driver().hasError(); }));
    EXPECT_TRUE(line.driver().getLastError().endsWith("DMC50 no response"))
        << qPrintable(line.driver().getLastError());
    quint32 value = 0;
    if (line.read(PluggedIn::SoundStation, PluggedIn::FirstWord, &value)) {
        EXPECT_EQ(PluggedIn::value(PluggedIn::SoundStation, PluggedIn::FirstWord, 0), value);
    }

    std::string reason;
    ASSERT_TRUE(line.simulator().start(&reason)) << reason;
    setGeneration(1);
    const SteadyClock::time_point back = SteadyClock::now();
    const int longest = SerialLink::ReopenPauseMs + 2 * TimeoutMs + LoadMs;
    EXPECT_TRUE(comesTrue([this] { return allRead(1); }, longest));
    figure("a port that comes back is used again after %lld ms; at most %d and what the load adds",
           static_cast<long long>(msSince(back)), longest - LoadMs);
    EXPECT_TRUE(comesTrue([this] { return !line.driver().hasError(); }));
}

TEST_F(ReliabilityPluggedIn, APortMayVanishTenTimes)
{
    line.announceAll();
    for (quint32 round = 0; round < 10; ++round) {
        setGeneration(round);
        ASSERT_TRUE(comesTrue([&] { return allRead(round); })) << round;
        line.simulator().stop();
        std::string reason;
        ASSERT_TRUE(line.simulator().start(&reason)) << reason;
    }
    figure("a port that vanishes 10 times: all values are read again each time");
}

// ---- A signal every 50 ms
// ------------------------------------------------------------------------

std::atomic<int> signals_handled(0);

void handleSignal(int)
{
    ++signals_handled;
}

/// SIGALRM every 50 ms, which interrupts system calls, to all threads but the test's own.
class Signals
{
public:
    Signals()
    {
        signals_handled = 0;
        struct sigaction action = {};
        action.sa_handler = handleSignal; // no SA_RESTART
        sigaction(SIGALRM, &action, &m_before);
        mask(SIG_BLOCK);
        const struct itimerval every = {{0, 50000}, {0, 50000}};
        setitimer(ITIMER_REAL, &every, nullptr);
    }

    ~Signals()
    {
        const struct itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
        mask(SIG_UNBLOCK);
        sigaction(SIGALRM, &m_before, nullptr);
    }

    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

private:
    static void mask(int how)
    {
        sigset_t alarm;
        sigemptyset(&alarm);
        sigaddset(&alarm, SIGALRM);
        pthread_sigmask(how, &alarm, nullptr);
    }

    struct sigaction m_before;
};

TEST_F(ReliabilityPluggedIn, ASignalEvery50MsCostsNoExchange)
{
    line.announceAll();
    ASSERT_TRUE(comesTrue([this] { return allRead(0); })); // the line's threads are there
    const Signals storm;
    const int generations = readGenerations(1, 3000);
    EXPECT_LE(40, signals_handled); // of 60
    EXPECT_LT(0, generations);
    figure("a signal every 50 ms: %d signals, %d times all values read anew, no error",
           signals_handled.load(), generations);
}

// ---- A wall clock that jumps
// ---------------------------------------------------------------------

const long TwoHours = 7200; // s

TEST_F(ReliabilityPluggedIn, AWallClockThatJumpsTwoHoursEitherWayCostsNoExchange)
{
    line.announceAll();
    ASSERT_TRUE(comesTrue([this] { return allRead(0); }));
    int generations = 0;
    for (const long shift : {TwoHours, 0L, -TwoHours, 0L}) {
        wall_clock_shift = shift;
        const int read = readGenerations(static_cast<quint32>(generations) + 1, 500);
        EXPECT_LT(0, read);
        generations += read;
    }
    figure("a wall clock that jumps two hours forth and back: %d times all values read anew, no "
           "error",
           generations);
}

} // namespace
