#include "terminal/session_link.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/fake_link.h"
#include "tests/support/frames.h"

namespace
{

class SessionLinkTest : public testing::Test
{
protected:
    SessionLinkTest() : link(&line) {}

    void send(const std::string &frame)
    {
        EXPECT_EQ(static_cast<int>(frame.size()),
                  link.writeData(frame.data(), static_cast<int>(frame.size())));
    }

    /// Lets time pass that the link can measure.
    static void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(2)); }

    FakeLink line;
    SessionLink link;
};

TEST_F(SessionLinkTest, PassesEverythingThrough)
{
    line.timeoutMs = 3210;
    line.retries = 4;
    line.station = 7;
    line.delayMs = 33;
    line.answer = [](const std::string &) { return std::string("reply"); };
    EXPECT_EQ(3210, link.timeout());
    EXPECT_EQ(4, link.retry());
    EXPECT_EQ(7, link.stationId());
    EXPECT_EQ(33, link.delay());
    EXPECT_EQ(&line.setting, link.deviceSetting());
    link.control(12, QVariant(0));
    send("request");
    char buffer[16];
    EXPECT_EQ(5, link.readData(buffer, sizeof buffer));
    EXPECT_EQ("reply", std::string(buffer, 5));
    EXPECT_EQ((std::vector<std::string>{"control 12 int 0", "write 7", "read 16"}), line.calls());
    EXPECT_EQ(std::vector<std::string>{"request"}, line.sent());
}

TEST_F(SessionLinkTest, SurvivesFramesTooShortForACommand)
{
    for (size_t size = 1; size < 8; ++size)
        send(std::string("\x02"
                         "0100XR")
                 .substr(0, size));
    EXPECT_EQ(0.0, link.cycleMs());
}

// ---- Cycles

TEST_F(SessionLinkTest, KnowsNoCycleBeforeTheSecondPass)
{
    EXPECT_EQ(0.0, link.cycleMs());
    send(frames::readRequest(1, {0x20}));
    EXPECT_EQ(0.0, link.cycleMs());
    EXPECT_EQ(0.0, link.leastCycleMs());
}

TEST_F(SessionLinkTest, MeasuresFromOneFirstFrameToTheNext)
{
    send(frames::writeRequest(3, {{0x2012, 1}}));
    for (int i = 0; i < 3; ++i) {
        send(frames::readRequest(1, {0x20}));
        pause();
        send(frames::readRequest(2, {0x20}));
        pause();
    }
    EXPECT_GE(link.cycleMs(), 4.0);
    EXPECT_GE(link.leastCycleMs(), 4.0);
    EXPECT_LE(link.leastCycleMs(), link.cycleMs());
}

TEST_F(SessionLinkTest, TakesARepeatedFrameForNoNewPass)
{
    send(frames::readRequest(1, {0x20}));
    send(frames::readRequest(2, {0x20}));
    send(frames::readRequest(1, {0x20})); // the first cycle ends
    pause();
    send(frames::readRequest(1, {0x20})); // repeated after a failure
    send(frames::readRequest(1, {0x20}));
    pause();
    send(frames::readRequest(2, {0x20}));
    send(frames::readRequest(1, {0x20})); // the second one
    EXPECT_GE(link.cycleMs(), 2.0);
    EXPECT_LT(link.leastCycleMs(), link.cycleMs());
}

TEST_F(SessionLinkTest, CountsEveryFrameWhereAPassHasOnlyOne)
{
    for (int i = 0; i < 4; ++i) {
        send(frames::readRequest(1, {0x20}));
        pause();
    }
    EXPECT_GE(link.leastCycleMs(), 2.0);
}

// ---- Calls of the driver

TEST_F(SessionLinkTest, AllowsCallsUntilTheyAreClosed)
{
    {
        const SessionLink::Call call(&link);
        EXPECT_TRUE(call.allowed());
    }
    link.closeCalls();
    const SessionLink::Call call(&link);
    EXPECT_FALSE(call.allowed());
}

/// Closes the calls on another thread and tells whether that has returned.
class Closing
{
public:
    explicit Closing(SessionLink *link)
        : m_closed(false), m_thread([this, link] {
              link->closeCalls();
              m_closed = true;
          })
    {
    }
    ~Closing() { m_thread.join(); }

    bool returnsWithin(int ms) const
    {
        for (int i = 0; i < ms && !m_closed; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return m_closed;
    }

private:
    std::atomic<bool> m_closed;
    std::thread m_thread;
};

TEST_F(SessionLinkTest, WaitsForACallThatHasNotReachedTheDriver)
{
    std::unique_ptr<SessionLink::Call> call(new SessionLink::Call(&link));
    const Closing closing(&link);
    EXPECT_FALSE(closing.returnsWithin(30));
    call.reset();
    EXPECT_TRUE(closing.returnsWithin(10000));
}

TEST_F(SessionLinkTest, DoesNotWaitForACallInsideTheDriver)
{
    const SessionLink::Call call(&link);
    link.stationId(); // as the driver asks it in each read and write
    const Closing closing(&link);
    EXPECT_TRUE(closing.returnsWithin(10000));
}

} // namespace
