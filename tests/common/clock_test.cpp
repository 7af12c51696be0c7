#include "common/clock.h"

#include <thread>
#include <vector>

#include <time.h>

#include <gtest/gtest.h>

namespace
{

qint64 monotonicMilliseconds()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<qint64>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

TEST(SystemClock, IsOneForTheWholeProcess)
{
    Clock *const clock = Clock::system();
    ASSERT_NE(nullptr, clock);
    Clock *other = nullptr;
    std::thread([&other] { other = Clock::system(); }).join();
    EXPECT_EQ(clock, other);
}

TEST(SystemClock, ShowsTheMachinesMonotonicTime)
{
    const qint64 before = monotonicMilliseconds();
    const qint64 shown = Clock::system()->msecsSinceBoot();
    const qint64 after = monotonicMilliseconds();
    EXPECT_LE(before, shown);
    EXPECT_LE(shown, after);
}

TEST(SystemClock, NeverGoesBack)
{
    qint64 last = Clock::system()->msecsSinceBoot();
    for (int i = 0; i < 10000; ++i) {
        const qint64 now = Clock::system()->msecsSinceBoot();
        ASSERT_LE(last, now);
        last = now;
    }
}

TEST(SystemClock, SleepsAtLeastAsLongAsAsked)
{
    Clock *const clock = Clock::system();
    for (const ulong ms : {0UL, 1UL, 30UL}) {
        const qint64 before = monotonicMilliseconds();
        clock->sleep(ms);
        EXPECT_LE(before + static_cast<qint64>(ms), monotonicMilliseconds()) << ms << " ms";
    }
}

TEST(SystemClock, SleepsOnlyTheThreadThatAsks)
{
    // Thirty sleeps at once: in turn they would take 3 seconds.
    const qint64 before = monotonicMilliseconds();
    std::vector<std::thread> threads(30);
    for (std::thread &thread : threads)
        thread = std::thread([] { Clock::system()->sleep(100); });
    for (std::thread &thread : threads)
        thread.join();
    const qint64 passed = monotonicMilliseconds() - before;
    EXPECT_LE(100, passed);
    EXPECT_GT(3000, passed);
}

} // namespace
