// The loaded plug-in on a real port: what the machine around it may do without harm.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <functional>
#include <thread>
#include <vector>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>

#include "bench/soak/process_figures.h"
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

// Qt's way to the wall clock.
extern "C" int gettimeofday(struct timeval *time, void *) noexcept
{
    struct timespec now;
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return result;
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

    /// Reads all words. A value that comes must be one that the word has, or had last.
    /// \return whether all came, and in the generation that they have
    bool allReadAndNoneWrong(quint32 generation)
    {
        const quint32 last = generation == 0 ? 0 : generation - 1;
        return noneWrong(PluggedIn::SoundStation, last, generation) &&
               noneWrong(PluggedIn::FaultyStation, last, generation) && allRead(generation);
    }

    /// \return whether a value came for each word
    bool noneWrong(int station, quint32 last, quint32 generation)
    {
        for (quint32 word = PluggedIn::FirstWord; word <= PluggedIn::LastWord; ++word) {
            quint32 value = 0;
            if (!line.read(station, word, &value))
                return false;
            EXPECT_TRUE(value == PluggedIn::value(station, word, last) ||
                        value == PluggedIn::value(station, word, generation))
                << "word " << word << " of station " << station << " reads " << value;
        }
        return true;
    }

    void restartSimulator()
    {
        std::string reason;
        ASSERT_TRUE(line.simulator().start(&reason)) << reason;
    }

    /// Gives the words one generation after the other and waits for each.
    /// \return how many were read
    int readGenerations(quint32 first, const std::function<bool()> &enough)
    {
        int read = 0;
        for (quint32 generation = first; !enough(); ++generation) {
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

// ---- The port vanishes --------------------------------------------------------------------------

const int TimeoutMs = 3000; // of the plugged-in line
const int LoadMs = 5000;    // what a loaded machine may add

TEST_F(ReliabilityPluggedIn, APortThatVanishesTellsNoWrongValueAndIsUsedAgain)
{
    line.announceAll();
    ASSERT_TRUE(comesTrue([this] { return allRead(0); }));

    line.simulator().stop();
    ASSERT_TRUE(comesTrue([this] { return line.driver().hasError(); }));
    EXPECT_TRUE(line.driver().getLastError().endsWith("DMC50 no response"))
        << qPrintable(line.driver().getLastError());
    noneWrong(PluggedIn::SoundStation, 0, 0);

    ASSERT_NO_FATAL_FAILURE(restartSimulator());
    setGeneration(1);
    const SteadyClock::time_point back = SteadyClock::now();
    const int longest = SerialLink::ReopenPauseMs + 2 * TimeoutMs + LoadMs;
    EXPECT_TRUE(comesTrue([this] { return allReadAndNoneWrong(1); }, longest));
    figure("a port that comes back is used again after %lld ms; at most %d and what the load adds",
           static_cast<long long>(msSince(back)), longest - LoadMs);
    EXPECT_TRUE(comesTrue([this] { return !line.driver().hasError(); }));
}

TEST_F(ReliabilityPluggedIn, APortMayVanishTenTimes)
{
    line.announceAll();
    ASSERT_TRUE(comesTrue([this] { return allRead(0); }));
    const int descriptors = openDescriptors();
    for (quint32 round = 1; round <= 10; ++round) {
        line.simulator().stop();
        ASSERT_TRUE(comesTrue([this] { return line.driver().hasError(); })) << round;
        noneWrong(PluggedIn::SoundStation, round - 1, round - 1);
        ASSERT_NO_FATAL_FAILURE(restartSimulator());
        setGeneration(round);
        ASSERT_TRUE(comesTrue([&] { return allReadAndNoneWrong(round); })) << round;
        EXPECT_EQ(descriptors, openDescriptors()) << round;
    }
    figure("a port that vanishes 10 times: all values are read again each time, none is wrong, %d "
           "descriptors before and after",
           descriptors);
}

// ---- A signal every 50 ms -----------------------------------------------------------------------

const std::chrono::milliseconds SignalPause(50);
const int Signals = 60;
const size_t MostThreads = 32;

/// A thread, and how many signals interrupted it.
struct SignalCount {
    std::atomic<pid_t> thread;
    std::atomic<int> handled;
};

SignalCount signal_counts[MostThreads];

pid_t ownId()
{
    return static_cast<pid_t>(syscall(SYS_gettid));
}

void countSignal(int)
{
    const pid_t own = ownId();
    for (SignalCount &count : signal_counts) {
        if (count.thread == own)
            ++count.handled;
    }
}

std::vector<pid_t> threadIds()
{
    std::vector<pid_t> ids;
    for (const QString &name : QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        ids.push_back(name.toInt());
    return ids;
}

/// SIGALRM every 50 ms, which interrupts system calls, to each thread that is there but the test's
/// own.
class SignalStorm
{
public:
    SignalStorm() : m_over(false)
    {
        struct sigaction action = {};
        action.sa_handler = countSignal; // no SA_RESTART
        sigaction(SIGALRM, &action, &m_before);
        const std::vector<pid_t> ids = threadIds();
        EXPECT_GE(MostThreads, ids.size());
        for (size_t i = 0; i < MostThreads; ++i) {
            const bool victim = i < ids.size() && ids[i] != ownId();
            signal_counts[i].handled = 0;
            signal_counts[i].thread = victim ? ids[i] : 0;
        }
        m_sender = std::thread(&SignalStorm::send, this);
    }

    ~SignalStorm()
    {
        m_over = true;
        m_sender.join();
        sigaction(SIGALRM, &m_before, nullptr);
    }

    SignalStorm(const SignalStorm &) = delete;
    SignalStorm &operator=(const SignalStorm &) = delete;

    /// How many a thread has handled so far.
    int handledBy(pid_t thread) const
    {
        for (const SignalCount &count : signal_counts) {
            if (count.thread == thread)
                return count.handled;
        }
        return 0;
    }

private:
    void send()
    {
        while (!m_over) {
            for (const SignalCount &count : signal_counts) {
                if (count.thread != 0)
                    syscall(SYS_tgkill, getpid(), count.thread.load(), SIGALRM);
            }
            std::this_thread::sleep_for(SignalPause);
        }
    }

    std::atomic<bool> m_over;
    std::thread m_sender;
    struct sigaction m_before;
};

TEST_F(ReliabilityPluggedIn, SixtySignalsToThePollingThreadEvery50MsCostNoExchange)
{
    const std::vector<pid_t> before = threadIds();
    line.announceAll();
    ASSERT_TRUE(comesTrue([this] { return allRead(0); })); // which starts the polling thread
    std::vector<pid_t> started = threadIds();
    started.erase(
        std::remove_if(started.begin(), started.end(),
                       [&](pid_t id) { return std::count(before.begin(), before.end(), id) > 0; }),
        started.end());
    ASSERT_EQ(1u, started.size());

    const SignalStorm storm;
    const SteadyClock::time_point begin = SteadyClock::now();
    const int generations = readGenerations(
        1, [&] { return storm.handledBy(started[0]) >= Signals || msSince(begin) > 10 * LoadMs; });
    EXPECT_LE(Signals, storm.handledBy(started[0]));
    EXPECT_LT(0, generations);
    figure("a signal every 50 ms: %d interrupted the polling thread in %lld ms, %d times all "
           "values read anew, no error",
           storm.handledBy(started[0]), static_cast<long long>(msSince(begin)), generations);
}

// ---- A wall clock that jumps --------------------------------------------------------------------

const int TwoHours = 7200; // s
const int ShiftMs = 500;   // how long each shift lasts
const int LoadSeconds = LoadMs / 1000;

/// By how much the wall clock that Qt shows is off, in seconds.
int shiftSeenByQt()
{
    struct timespec real;
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &real);
    return static_cast<int>(QDateTime::currentMSecsSinceEpoch() / 1000 - real.tv_sec);
}

TEST_F(ReliabilityPluggedIn, AWallClockThatJumpsTwoHoursEitherWayCostsNoExchange)
{
    line.announceAll();
    ASSERT_TRUE(comesTrue([this] { return allRead(0); }));
    int generations = 0;
    for (const int shift : {TwoHours, 0, -TwoHours, 0}) {
        wall_clock_shift = shift;
        EXPECT_NEAR(shift, shiftSeenByQt(), LoadSeconds);
        const SteadyClock::time_point begin = SteadyClock::now();
        const int read = readGenerations(static_cast<quint32>(generations) + 1,
                                         [&] { return msSince(begin) >= ShiftMs; });
        EXPECT_LT(0, read);
        generations += read;
    }
    figure("a wall clock that jumps two hours forth and back: %d times all values read anew, no "
           "error",
           generations);
}

} // namespace
