#include "bench/soak/virtual_line.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <QThread>

#include "tests/support/frames.h"

namespace
{

const std::string Request = frames::readRequest(1, {0x5000});
const std::string Reply = frames::reply(1, {7});

/// The test's own thread moves the time.
class VirtualLineTest : public testing::Test
{
protected:
    VirtualLineTest() : line({1}, 1, 0, &clock)
    {
        clock.setDriver(QThread::currentThread());
        line.line().setWord(1, 0x5000, 7);
    }

    void arm(const std::string &text)
    {
        Fault fault;
        std::string error;
        ASSERT_TRUE(parseFault(text, &fault, &error)) << error;
        line.line().addFault(fault);
    }

    void send() { line.writeData(Request.data(), static_cast<int>(Request.size())); }

    std::string receive()
    {
        std::string bytes;
        char piece[420];
        for (int count = 0; (count = line.readData(piece, sizeof piece)) > 0;)
            bytes.append(piece, static_cast<size_t>(count));
        return bytes;
    }

    void discard() { line.control(AbstractDeviceInterface::DiscardInput, QVariant(0)); }

    VirtualClock clock;
    VirtualLine line;
};

TEST_F(VirtualLineTest, AnswersAtOnce)
{
    const qint64 begin = clock.msecsSinceBoot();
    send();
    std::string bytes;
    while (bytes.size() < Reply.size()) {
        char piece[420];
        const int count = line.readData(piece, sizeof piece);
        ASSERT_LT(0, count);
        bytes.append(piece, static_cast<size_t>(count));
    }
    EXPECT_EQ(Reply, bytes);
    EXPECT_EQ(begin, clock.msecsSinceBoot());
}

TEST_F(VirtualLineTest, IsSilentForTheTimeOut)
{
    arm("drop");
    const qint64 begin = clock.msecsSinceBoot();
    send();
    EXPECT_EQ("", receive());
    EXPECT_EQ(begin + VirtualLine::TimeoutMs, clock.msecsSinceBoot());
}

TEST_F(VirtualLineTest, GivesALateReplyInTimeAndNotBehindIt)
{
    arm("late:ms=3000:count=1");
    send();
    EXPECT_EQ(Reply, receive());
    line.line().clearFaults();
    discard();
    arm("late:ms=3001:count=1");
    send();
    EXPECT_EQ("", receive());
}

TEST_F(VirtualLineTest, ForgetsAReplyThatComesInTheQuietGap)
{
    for (int late = VirtualLine::TimeoutMs + 1;
         late <= VirtualLine::TimeoutMs + VirtualLine::QuietGapMs; ++late) {
        line.line().clearFaults();
        arm("late:count=1:ms=" + std::to_string(late));
        send();
        EXPECT_EQ("", receive());
        discard();
        send();
        EXPECT_EQ(Reply, receive()) << late; // its own, once
    }
}

TEST_F(VirtualLineTest, BabblesForItsTimeAndHearsNobody)
{
    arm("babble:ms=500:count=1");
    send();
    char piece[8];
    EXPECT_LT(0, line.readData(piece, sizeof piece));
    EXPECT_EQ(Line::BabbleByte, piece[0]);
    EXPECT_FALSE(line.lastRequestWasDrowned());
    send();
    EXPECT_TRUE(line.lastRequestWasDrowned());
    clock.advance(500);
    EXPECT_EQ("", receive());
    send();
    EXPECT_FALSE(line.lastRequestWasDrowned());
    EXPECT_EQ(Reply, receive());
}

TEST(VirtualClock, WakesSleepersInTheirOwnTime)
{
    VirtualClock clock;
    clock.setDriver(QThread::currentThread());
    const qint64 begin = clock.msecsSinceBoot();
    std::atomic<int> naps(0);
    std::thread sleeper([&] {
        for (int i = 1; i <= 3; ++i) {
            clock.sleep(10);
            EXPECT_LE(begin + 10 * i, clock.msecsSinceBoot());
            ++naps;
        }
    });
    while (naps < 3)
        clock.sleep(1);
    clock.end();
    sleeper.join();
}

TEST(VirtualClock, JumpsOverTheTimeOfASleeper)
{
    const qint64 jump = 1000;
    VirtualClock clock;
    const qint64 begin = clock.msecsSinceBoot();
    std::atomic<bool> awake(false);
    std::thread sleeper([&] {
        clock.sleep(10);
        EXPECT_EQ(0, (clock.msecsSinceBoot() - begin) % jump);
        awake = true;
    });
    while (!awake) // it may not sleep yet
        clock.jump(jump);
    sleeper.join();
}

TEST(VirtualClock, LetsNobodyWaitForATimeThatHasEnded)
{
    VirtualClock clock;
    std::thread sleeper([&] { clock.sleep(1000); });
    clock.end();
    sleeper.join();
    EXPECT_GT(1001000, clock.msecsSinceBoot());
}

} // namespace
