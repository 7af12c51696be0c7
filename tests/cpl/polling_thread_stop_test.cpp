// Stopping in every state of the loop: what is on the line is waited for, nothing else follows.

#include <algorithm>

#include "tests/cpl/line_gate.h"
#include "tests/cpl/polling_thread_fixture.h"

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string silence(const std::string &)
{
    return std::string();
}

// ---- On the test's own thread -------------------------------------------------------------------

class PollingThreadStop : public PollingThreadFixture
{
protected:
    /// Pauses before requests so far, whether or not these were sent.
    size_t pauses() const
    {
        return static_cast<size_t>(std::count(events.begin(), events.end(), "sleep 20"));
    }
};

TEST_F(PollingThreadStop, BeforeTheStartLeavesTheLineAlone)
{
    announce({command("NA20")});
    EXPECT_TRUE(queueWrites(1, 0x20, 1));
    thread().pushReadAddresses(1, {0x20});
    thread().setLowLatency({1});
    thread().stop();
    thread().run();
    EXPECT_THAT(link.calls(), IsEmpty());
}

TEST_F(PollingThreadStop, IsForGood)
{
    announce({command("NA20")});
    runRequests(1);
    thread().run();
    EXPECT_EQ(1u, link.sent().size());
}

TEST_F(PollingThreadStop, InTheIdlePauseEndsTheLoop)
{
    runIdles(1);
    EXPECT_THAT(events, ElementsAre("sleep 10"));
}

TEST_F(PollingThreadStop, InThePauseBeforeARequestKeepsItFromTheLine)
{
    link.retries = 3;
    controllers = silence;
    announce({command("NA20", 120)});
    onSleep = [&](ulong) { thread().stop(); };
    thread().run();
    EXPECT_THAT(link.calls(), IsEmpty());
    EXPECT_FALSE(thread().hasError());
}

TEST_F(PollingThreadStop, DuringAPollKeepsItsValues)
{
    announce({command("NA20", 120)});
    runRequests(1);
    EXPECT_EQ(0x20, cached(1, 0x20));
}

TEST_F(PollingThreadStop, DuringAPollEndsItsTries)
{
    link.retries = 5;
    controllers = silence;
    announce({command("NA20", 120), command("2-NA20")});
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x20, 50)));
    EXPECT_EQ(2u, pauses());
}

TEST_F(PollingThreadStop, DuringAWriteEndsItsTries)
{
    link.retries = 5;
    controllers = silence;
    announce({command("NA20")});
    EXPECT_TRUE(queueWrites(1, 0x20, 1));
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(writesFrame(1, 0x20, 0, 1), writesFrame(1, 0x20, 0, 1)));
    EXPECT_EQ(2u, pauses());
}

TEST_F(PollingThreadStop, DuringAWriteLeavesTheOtherWritesQueued)
{
    announce({command("NA20")});
    EXPECT_TRUE(queueWrites(1, 0x20, 50));
    EXPECT_TRUE(queueWrites(2, 0x20, 1));
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(writesFrame(1, 0x20, 0, 25)));
    EXPECT_FALSE(thread().addrArgQueueMapIsEmpty());
}

TEST_F(PollingThreadStop, DuringAWriteBetweenTwoChunksEndsThePass)
{
    announce({command("NA20", 120)});
    onRequest = [&](int request) {
        if (request == 1)
            queueWrites(2, 0x20, 26);
    };
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), writesFrame(2, 0x20, 0, 25)));
}

TEST_F(PollingThreadStop, DuringAReadOnDemandKeepsItsValues)
{
    thread().pushReadAddresses(1, {0x20});
    runRequests(1);
    EXPECT_TRUE(thread().addrInReadOnceDataMap(1, 0x20));
}

TEST_F(PollingThreadStop, DuringAReadOnDemandEndsItsTries)
{
    link.retries = 5;
    controllers = silence;
    thread().pushReadAddresses(1, {0x20});
    runRequests(2);
    EXPECT_EQ(2u, link.sent().size());
    EXPECT_EQ(2u, pauses());
}

TEST_F(PollingThreadStop, DuringAReadOnDemandLeavesTheOthersUnread)
{
    AddressVector addresses;
    for (ulong i = 0; i < 120; ++i)
        addresses.push_back(0x20 + i);
    thread().pushReadAddresses(1, addresses);
    thread().pushReadAddresses(2, {0x20});
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x52, 50)));
    EXPECT_FALSE(thread().readAddrQueueMapIsEmpty());
}

TEST_F(PollingThreadStop, DuringTheLowLatencyCheckEndsIt)
{
    thread().setLowLatency({1, 2, 3});
    controllers = [](const std::string &request) {
        return frames::reply(frames::station(request), {200});
    };
    onIdle = [&](int) { clock.advance(30000); };
    runRequests(4);
    EXPECT_EQ(4u, link.sent().size());
    EXPECT_EQ(readFrame(1, 0x2016, 1), link.sent().back());
    EXPECT_EQ(4u, pauses());
}

TEST_F(PollingThreadStop, DuringTheFirstLowLatencyWritesEndsThem)
{
    thread().setLowLatency({1, 2, 3});
    runRequests(1);
    EXPECT_EQ(1u, link.sent().size());
    EXPECT_FALSE(thread().addrArgQueueMapIsEmpty());
}

// ---- Between threads: the request on the line is held up until the thread was told to stop ------

class RunningPollingThreadStop : public ::testing::Test
{
protected:
    RunningPollingThreadStop()
    {
        for (unsigned i = 0; i < 120; ++i)
            project[1].push_back(0x20 + i);
        link.answer = [this](const std::string &request) {
            line.pass();
            return answers ? frames::echoAddresses(request) : std::string();
        };
    }

    /// Stops the thread while its N-th request is on the line, and destroys it.
    void stopDuringRequest(int number, const std::function<void(PollingThread &)> &setUp)
    {
        PollingThread polling(&link, &project, 1, &clock);
        setUp(polling);
        line.holdUp(number);
        polling.start();
        line.awaitHeldUp();
        polling.stop();
        EXPECT_TRUE(polling.isRunning());
        line.release();
        EXPECT_TRUE(polling.wait());
        EXPECT_EQ(static_cast<size_t>(number), link.sent().size());
    }

    FakeClock clock;
    FakeLink link;
    AddressVectorMap project;
    LineGate line;
    bool answers = true;
};

TEST_F(RunningPollingThreadStop, WhileItIdles)
{
    PollingThread polling(&link, &project, 1, &clock);
    std::atomic<int> idles(0);
    clock.onSleep = [&](ulong) { ++idles; };
    polling.start();
    while (idles < 3)
        std::this_thread::yield();
    polling.stop();
    EXPECT_TRUE(polling.wait());
    EXPECT_THAT(link.calls(), IsEmpty());
}

TEST_F(RunningPollingThreadStop, RightBehindTheStart)
{
    for (int i = 0; i < 50; ++i) {
        PollingThread polling(&link, &project, 1, &clock);
        polling.setSessionCommand({command("NA20")});
        polling.start();
        polling.stop();
        EXPECT_TRUE(polling.wait());
    }
}

TEST_F(RunningPollingThreadStop, WithoutAStart)
{
    PollingThread polling(&link, &project, 1, &clock);
    polling.stop();
    EXPECT_TRUE(polling.wait());
    EXPECT_THAT(link.calls(), IsEmpty());
}

TEST_F(RunningPollingThreadStop, DuringAPoll)
{
    stopDuringRequest(
        2, [](PollingThread &polling) { polling.setSessionCommand({command("NA20", 120)}); });
}

TEST_F(RunningPollingThreadStop, DuringATryOfAPoll)
{
    link.retries = 9;
    answers = false;
    stopDuringRequest(
        3, [](PollingThread &polling) { polling.setSessionCommand({command("NA20", 120)}); });
}

TEST_F(RunningPollingThreadStop, DuringAWrite)
{
    stopDuringRequest(2, [](PollingThread &polling) {
        EXPECT_TRUE(polling.writeDWords(1, std::vector<AddrArg>(100, AddrArg{0x20, 1})));
    });
}

TEST_F(RunningPollingThreadStop, DuringATryOfAWrite)
{
    link.retries = 9;
    answers = false;
    stopDuringRequest(3, [](PollingThread &polling) {
        EXPECT_TRUE(polling.writeDWords(1, std::vector<AddrArg>(100, AddrArg{0x20, 1})));
    });
}

TEST_F(RunningPollingThreadStop, DuringAReadOnDemand)
{
    stopDuringRequest(
        2, [](PollingThread &polling) { polling.pushReadAddresses(1, AddressVector(120, 0x20)); });
}

TEST_F(RunningPollingThreadStop, DuringATryOfAReadOnDemand)
{
    link.retries = 9;
    answers = false;
    stopDuringRequest(
        3, [](PollingThread &polling) { polling.pushReadAddresses(1, AddressVector(120, 0x20)); });
}

TEST_F(RunningPollingThreadStop, DuringTheLowLatencyCheck)
{
    stopDuringRequest(4, [](PollingThread &polling) { // three writes; the clock idles to the check
        polling.setLowLatency({1, 2, 3});
    });
}

TEST_F(RunningPollingThreadStop, WhileALinkBabbles)
{
    PollingThread polling(&link, &project, 1, &clock);
    std::atomic<int> requests(0);
    link.answer = [&](const std::string &) {
        ++requests;
        return std::string(10000, 'x');
    };
    polling.setSessionCommand({command("NA20", 120)});
    polling.start();
    while (requests < 5)
        std::this_thread::yield();
    polling.stop();
    EXPECT_TRUE(polling.wait());
}

TEST_F(RunningPollingThreadStop, EndsReadersThatWaitForTheirValues)
{
    link.timeoutMs = 2147483647; // nobody gives up
    PollingThread polling(&link, &project, 1, &clock);
    line.holdUp(1);
    bool read = true;
    std::thread reader([&] {
        QByteArray data(4, 0);
        AddressVector addresses(1, 0x20);
        UCharVector indexes(1, 0);
        read = polling.readOnceData(1, data, addresses, indexes);
    });
    answers = false;
    polling.start();
    line.awaitHeldUp();
    polling.stop();
    line.release();
    EXPECT_TRUE(polling.wait());
    reader.join();
    EXPECT_FALSE(read);
}

TEST_F(RunningPollingThreadStop, EndsReadersThatWaitForTheErrorToGo)
{
    link.timeoutMs = 2147483647;
    PollingThread polling(&link, &project, 1, &clock);
    polling.setCommError("line is down");
    std::atomic<int> looks(0);
    clock.onSleep = [&](ulong) { ++looks; };
    bool read = true;
    std::thread reader([&] {
        QByteArray data(4, 0);
        AddressVector misses;
        UCharVector missIndexes;
        read = polling.readDataCacheMap(1, {0x20}, {0}, data, misses, missIndexes);
    });
    while (looks < 3)
        std::this_thread::yield();
    polling.stop();
    reader.join();
    EXPECT_FALSE(read);
}

} // namespace
