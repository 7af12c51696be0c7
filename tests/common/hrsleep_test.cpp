// HRSleep against a system call that the test answers: this program's own nanosleep stands in front
// of the C library's.

#include "common/tools.h"

#include <cerrno>
#include <deque>
#include <vector>

#include <signal.h>
#include <time.h>

#include <gtest/gtest.h>

namespace
{

const long long NanosecondsPerSecond = 1000000000;

struct Answer {
    int error;           ///< 0: the time has passed
    long long remaining; ///< nanoseconds that are left, told with EINTR
};

bool scripted = false;
std::deque<Answer> answers;       ///< used up first; then the time has passed
std::vector<long long> requested; ///< nanoseconds of each call

int answer(long long request, struct timespec *remaining)
{
    requested.push_back(request);
    if (answers.empty())
        return 0;
    const Answer next = answers.front();
    answers.pop_front();
    if (next.error == EINTR && remaining != nullptr) {
        remaining->tv_sec = static_cast<time_t>(next.remaining / NanosecondsPerSecond);
        remaining->tv_nsec = static_cast<long>(next.remaining % NanosecondsPerSecond);
    }
    errno = next.error;
    return next.error == 0 ? 0 : -1;
}

class ScriptedSleep : public testing::Test
{
protected:
    ScriptedSleep()
    {
        scripted = true;
        answers.clear();
        requested.clear();
    }
    ~ScriptedSleep() override { scripted = false; }
};

} // namespace

extern "C" int nanosleep(const struct timespec *request, struct timespec *remaining)
{
    if (scripted)
        return answer(request->tv_sec * NanosecondsPerSecond + request->tv_nsec, remaining);
    errno = clock_nanosleep(CLOCK_REALTIME, 0, request, remaining);
    return errno == 0 ? 0 : -1;
}

namespace
{

TEST_F(ScriptedSleep, AsksForTheMillisecondsItIsGiven)
{
    const struct {
        unsigned long ms;
        long long nanoseconds;
    } rows[] = {{0, 0},
                {1, 1000000},
                {999, 999000000},
                {1000, 1000000000},
                {1001, 1001000000},
                {4294, 4294000000LL}};
    for (const auto &row : rows) {
        requested.clear();
        EXPECT_EQ(0, HRSleep(row.ms));
        EXPECT_EQ(std::vector<long long>{row.nanoseconds}, requested) << row.ms << " ms";
    }
}

TEST_F(ScriptedSleep, WrapsItsNanosecondsAt32Bits)
{
    const struct {
        unsigned long ms;
        long long nanoseconds;
    } rows[] = {{4295, 32704},                 // 4295000000 - 2^32
                {5000, 705032704},             // 5000000000 - 2^32
                {60000, 4165425152LL},         // 60000000000 modulo 2^32
                {67108864, 0},                 // 2^26, and 10^6 has the factor 2^6
                {4294967295UL, 4293967296LL}}; // -1 modulo 2^32
    for (const auto &row : rows) {
        requested.clear();
        EXPECT_EQ(0, HRSleep(row.ms));
        EXPECT_EQ(std::vector<long long>{row.nanoseconds}, requested) << row.ms << " ms";
    }
}

TEST_F(ScriptedSleep, SleepsTheRestAfterASignal)
{
    answers = {{EINTR, 1500000000}, {EINTR, 7}};
    EXPECT_EQ(0, HRSleep(2000));
    EXPECT_EQ((std::vector<long long>{2000000000, 1500000000, 7}), requested);
}

TEST_F(ScriptedSleep, TellsWhenTheSystemRefuses)
{
    answers = {{EINVAL, 0}};
    EXPECT_NE(0, HRSleep(10));
    EXPECT_EQ(1u, requested.size());
}

TEST_F(ScriptedSleep, TellsWhenTheSystemRefusesTheRest)
{
    answers = {{EINTR, 5}, {EFAULT, 0}};
    EXPECT_NE(0, HRSleep(10));
    EXPECT_EQ((std::vector<long long>{10000000, 5}), requested);
}

TEST_F(ScriptedSleep, IsNotMisledByAnOldErrorNumber)
{
    errno = EINTR;
    EXPECT_EQ(0, HRSleep(10));
    EXPECT_EQ(1u, requested.size());
}

// ---- The real thing -------------------------------------------------------------------------

volatile sig_atomic_t signalsSeen = 0;

void countSignal(int)
{
    signalsSeen = signalsSeen + 1;
}

TEST(HRSleep, Sleeps705MillisecondsWhenAskedFor5000)
{
    const qint64 before = CurrentMSecsSinceBoot();
    EXPECT_EQ(0, HRSleep(5000));
    const qint64 passed = CurrentMSecsSinceBoot() - before;
    EXPECT_LE(704, passed); // each reading of the clock is cut to whole milliseconds
    EXPECT_GT(4000, passed);
}

TEST(HRSleep, OutlastsRealSignals)
{
    struct sigaction action = {};
    action.sa_handler = countSignal; // without SA_RESTART
    struct sigaction former = {};
    ASSERT_EQ(0, sigaction(SIGALRM, &action, &former));
    struct itimerspec every10ms = {{0, 10000000}, {0, 10000000}};
    timer_t timer = nullptr;
    ASSERT_EQ(0, timer_create(CLOCK_MONOTONIC, nullptr, &timer));
    ASSERT_EQ(0, timer_settime(timer, 0, &every10ms, nullptr));

    const qint64 before = CurrentMSecsSinceBoot();
    EXPECT_EQ(0, HRSleep(200));
    EXPECT_LE(199, CurrentMSecsSinceBoot() - before);
    EXPECT_LT(0, signalsSeen);

    timer_delete(timer);
    sigaction(SIGALRM, &former, nullptr);
}

TEST(CurrentMSecsSinceBoot, AgreesWithTheMonotonicClock)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const qint64 before = static_cast<qint64>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    const qint64 shown = CurrentMSecsSinceBoot();
    clock_gettime(CLOCK_MONOTONIC, &now);
    const qint64 after = static_cast<qint64>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
    EXPECT_LE(before, shown);
    EXPECT_LE(shown, after);
}

} // namespace
