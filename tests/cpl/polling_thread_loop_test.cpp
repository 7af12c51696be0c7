// The loop: what goes over the line, and in which order.

#include <new>

#include "tests/cpl/polling_thread_fixture.h"

namespace
{

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

std::string silence(const std::string &)
{
    return std::string();
}

class PollingThreadLoop : public PollingThreadFixture
{
protected:
    /// Lets the N-th request go unanswered.
    void failRequests(const std::set<size_t> &numbers)
    {
        controllers = [this, numbers](const std::string &request) {
            return numbers.count(link.sent().size()) > 0 ? std::string()
                                                         : frames::echoAddresses(request);
        };
    }

    /// The events without what happens inside a request.
    Strings pausesAndFrames()
    {
        Strings kept;
        size_t frame = 0;
        for (const std::string &event : events) {
            if (event.compare(0, 5, "write") == 0)
                kept.push_back(link.sent().at(frame++));
            else if (event == "sleep 10")
                kept.push_back(event);
        }
        return kept;
    }
};

// ---- One request --------------------------------------------------------------------------------

TEST_F(PollingThreadLoop, PausesDiscardsSendsAndReceives)
{
    announce({command("NA20")});
    runRequests(2);
    EXPECT_THAT(events, ElementsAre("sleep 20", "control 12 int 0", "write 25", "read 420", // first
                                    "sleep 20", "control 12 int 0", "write 25", "read 420"));
}

TEST_F(PollingThreadLoop, DoesTheSameForWrites)
{
    EXPECT_TRUE(queueWrites(1, 0x20, 1));
    runRequests(1);
    EXPECT_THAT(Strings(events.begin(), events.begin() + 4),
                ElementsAre("sleep 20", "control 12 int 0", "write 33", "read 420"));
}

TEST_F(PollingThreadLoop, DoesTheSameForReadsOnDemand)
{
    thread().pushReadAddresses(1, {0x20});
    runRequests(1);
    EXPECT_THAT(events, ElementsAre("sleep 20", "control 12 int 0", "write 25", "read 420"));
}

TEST_F(PollingThreadLoop, DoesTheSameForEveryTry)
{
    link.retries = 1;
    controllers = silence;
    announce({command("NA20")});
    runRequests(2);
    EXPECT_THAT(events, ElementsAre("sleep 20", "control 12 int 0", "write 25", "read 420", //
                                    "sleep 20", "control 12 int 0", "write 25", "read 420"));
}

TEST_F(PollingThreadLoop, SendsWholeFramesOfTheLargestSize)
{
    announce({command("NA20", 50)});
    EXPECT_TRUE(queueWrites(1, 0x20, 25));
    runRequests(2);
    EXPECT_THAT(events, AllOf(Contains("write 417"), Not(Contains("write 418"))));
    EXPECT_THAT(link.sent(), ElementsAre(writesFrame(1, 0x20, 0, 25), readFrame(1, 0x20, 50)));
}

TEST_F(PollingThreadLoop, TakesRepliesThatComeByteByByte)
{
    link.chunk = 1;
    announce({command("NA20", 50)});
    runRequests(1);
    for (uint32_t address = 0x20; address < 0x20 + 50; ++address)
        EXPECT_EQ(address, cached(1, address));
}

TEST_F(PollingThreadLoop, ForgetsTheReplyBefore)
{
    announce({command("NA20", 3), command("2-NA20", 3)});
    controllers = [&](const std::string &request) {
        return frames::station(request) == 1 ? frames::echoAddresses(request) : frames::reply(2);
    };
    runRequests(2);
    EXPECT_EQ(0x20, cached(1, 0x20));
    EXPECT_EQ(-1, cached(2, 0x20)); // not the digits that stood there
}

// ---- Polling ------------------------------------------------------------------------------------

TEST_F(PollingThreadLoop, PollsInFramesOfFiftyAddresses)
{
    struct {
        int addresses;
        std::vector<unsigned> frames;
    } const table[] = {{1, {1}},      {49, {49}},      {50, {50}},
                       {51, {50, 1}}, {100, {50, 50}}, {120, {50, 50, 20}}};
    for (const auto &row : table) {
        PollingThread polling(&link, &project, 1, &clock);
        polling.setSessionCommand({command("NA20", row.addresses)});
        Strings sent;
        link.answer = [&](const std::string &request) {
            sent.push_back(request);
            if (sent.size() == row.frames.size() + 1)
                polling.stop();
            return frames::echoAddresses(request);
        };
        polling.run();
        uint32_t first = 0x20;
        for (size_t i = 0; i < row.frames.size(); first += row.frames[i++])
            EXPECT_EQ(readFrame(1, first, row.frames[i]), sent[i]) << row.addresses;
        EXPECT_EQ(sent.front(), sent.back()) << row.addresses;
    }
}

TEST_F(PollingThreadLoop, PollsTheStationsInAscendingOrder)
{
    announce({command("3-NA20"), command("2-NA20", 60), command("1-NA20")});
    runRequests(5);
    EXPECT_THAT(link.sent(),
                ElementsAre(readFrame(1, 0x20, 1), readFrame(2, 0x20, 50), readFrame(2, 0x52, 10),
                            readFrame(3, 0x20, 1), readFrame(1, 0x20, 1)));
}

TEST_F(PollingThreadLoop, StartsTheNextPassWithoutPause)
{
    announce({command("NA20"), command("2-NA20")});
    runRequests(6);
    EXPECT_THAT(events, Not(Contains("sleep 10")));
}

TEST_F(PollingThreadLoop, CachesWhatItPolls)
{
    controllers = [](const std::string &request) {
        return frames::reply(frames::station(request), {0xFFFFFFFF, 0, 0x12345678});
    };
    announce({command("2-NA20", 3)});
    runRequests(1);
    EXPECT_EQ(0xFFFFFFFF, cached(2, 0x20));
    EXPECT_EQ(0, cached(2, 0x21));
    EXPECT_EQ(0x12345678, cached(2, 0x22));
    EXPECT_EQ(-1, cached(1, 0x20));
}

TEST_F(PollingThreadLoop, DoesNotRepeatAFailedChunkWithoutRetries)
{
    failRequests({1});
    announce({command("NA20", 60)});
    runRequests(3);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x52, 10),
                                         readFrame(1, 0x20, 50)));
}

TEST_F(PollingThreadLoop, RepeatsAFailedChunkOncePerRetry)
{
    link.retries = 2;
    failRequests({1, 2, 3});
    announce({command("NA20", 60)});
    runRequests(4);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x20, 50),
                                         readFrame(1, 0x20, 50), readFrame(1, 0x52, 10)));
}

TEST_F(PollingThreadLoop, StopsRepeatingAtTheFirstGoodReply)
{
    link.retries = 5;
    failRequests({1});
    announce({command("NA20", 60)});
    runRequests(3);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x20, 50),
                                         readFrame(1, 0x52, 10)));
    EXPECT_FALSE(thread().hasError());
    EXPECT_EQ(0x20, cached(1, 0x20));
}

TEST_F(PollingThreadLoop, KeepsOldValuesOfAChunkThatFails)
{
    failRequests({2});
    announce({command("NA20")});
    runRequests(2);
    EXPECT_EQ(0x20, cached(1, 0x20));
    EXPECT_TRUE(thread().hasError());
}

TEST_F(PollingThreadLoop, ClearsTheErrorWithAGoodReplyAndKeepsItsText)
{
    failRequests({1});
    announce({command("NA20")});
    onRequest = [&](int request) { EXPECT_EQ(request == 2, thread().hasError()); };
    runRequests(2);
    EXPECT_FALSE(thread().hasError());
    EXPECT_EQ("read station id#1 start address 00000020:DMC50 no response", lastError());
}

TEST_F(PollingThreadLoop, NamesTheFirstAddressOfAFailedChunk)
{
    failRequests({2});
    announce({command("2-NA20", 60)});
    runRequests(2);
    EXPECT_EQ("read station id#2 start address 00000052:DMC50 no response", lastError());
}

// ---- Cutting a pass short -----------------------------------------------------------------------

TEST_F(PollingThreadLoop, CutsThePassForANewSession)
{
    announce({command("NA20", 120)});
    onRequest = [&](int request) {
        if (request == 2)
            announce({command("NA30"), command("2-NA30")});
    };
    runRequests(4);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x52, 50),
                                         readFrame(1, 0x30, 1), readFrame(2, 0x30, 1)));
}

TEST_F(PollingThreadLoop, CutsThePassForReadsOnDemandAndServesThem)
{
    announce({command("NA20", 120), command("2-NA20")});
    onRequest = [&](int request) {
        if (request == 1)
            thread().pushReadAddresses(3, {0x20});
    };
    runRequests(6);
    EXPECT_THAT(link.sent(),
                ElementsAre(readFrame(1, 0x20, 50), readFrame(3, 0x20, 1), readFrame(1, 0x20, 50),
                            readFrame(1, 0x52, 50), readFrame(1, 0x84, 20), readFrame(2, 0x20, 1)));
    EXPECT_THAT(events, Not(Contains("sleep 10")));
}

TEST_F(PollingThreadLoop, CutsThePassAlsoBehindAChunkThatFailed)
{
    failRequests({1});
    announce({command("NA20", 120)});
    onRequest = [&](int request) {
        if (request == 1)
            thread().pushReadAddresses(3, {0x20});
    };
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(3, 0x20, 1)));
}

TEST_F(PollingThreadLoop, TriesAChunkToItsEndBeforeThePassIsCut)
{
    link.retries = 1;
    failRequests({1, 2});
    announce({command("NA20", 120)});
    onRequest = [&](int request) {
        if (request == 1)
            thread().pushReadAddresses(3, {0x20});
    };
    runRequests(3);
    EXPECT_THAT(link.sent(),
                ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x20, 50), readFrame(3, 0x20, 1)));
}

TEST_F(PollingThreadLoop, CutsThePassForAStop)
{
    announce({command("NA20", 120), command("2-NA20")});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50)));
}

TEST_F(PollingThreadLoop, PollsOnlyTheFirstChunkOfTheLowestStationOfAClearedSession)
{
    announce({command("NA20", 60), command("2-NA20")});
    onRequest = [&](int request) {
        if (request == 1)
            thread().clearSessionCommand();
    };
    runRequests(4);
    EXPECT_THAT(link.sent(), Each(readFrame(1, 0x20, 50)));
    EXPECT_THAT(events, Not(Contains("sleep 10")));
    EXPECT_EQ(2, thread().getFlag());
}

TEST_F(PollingThreadLoop, ServesWritesAndReadsOnDemandOfAClearedSession)
{
    announce({command("NA20", 60)});
    onRequest = [&](int request) {
        if (request == 1) {
            thread().clearSessionCommand();
            thread().pushReadAddresses(2, {0x20});
            EXPECT_TRUE(queueWrites(3, 0x20, 1));
        }
    };
    runRequests(4);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(2, 0x20, 1),
                                         writesFrame(3, 0x20, 0, 1), readFrame(1, 0x20, 50)));
}

TEST_F(PollingThreadLoop, PollsEverythingAgainWhenASessionFollowsAClearedOne)
{
    announce({command("NA20", 60)});
    onRequest = [&](int request) {
        if (request == 1)
            thread().clearSessionCommand();
        if (request == 2)
            announce({command("NA20", 60)});
    };
    runRequests(4);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x20, 50),
                                         readFrame(1, 0x20, 50), readFrame(1, 0x52, 10)));
    EXPECT_EQ(0, thread().getFlag());
}

TEST_F(PollingThreadLoop, CutsThePassForAnyFlag)
{
    announce({command("NA20", 60)});
    onRequest = [&](int request) {
        if (request == 1)
            thread().setFlag(0x80);
    };
    runRequests(3);
    EXPECT_THAT(link.sent(), Each(readFrame(1, 0x20, 50)));
}

// ---- The idle pause -----------------------------------------------------------------------------

TEST_F(PollingThreadLoop, IdlesTenMillisecondsWithoutTouchingTheLine)
{
    runIdles(3);
    EXPECT_THAT(events, ElementsAre("sleep 10", "sleep 10", "sleep 10"));
}

TEST_F(PollingThreadLoop, ClearsTheErrorBeforeItIdles)
{
    thread().setCommError("earlier");
    onIdle = [&](int) { EXPECT_FALSE(thread().hasError()); };
    runIdles(1);
    EXPECT_EQ("earlier", lastError());
}

TEST_F(PollingThreadLoop, DoesNotIdleInThePassThatServedReadsOnDemand)
{
    thread().pushReadAddresses(1, {0x20});
    runIdles(2);
    EXPECT_THAT(pausesAndFrames(), ElementsAre(readFrame(1, 0x20, 1), "sleep 10", "sleep 10"));
}

TEST_F(PollingThreadLoop, IdlesInAPassThatOnlyWrote)
{
    EXPECT_TRUE(queueWrites(1, 0x20, 1));
    runIdles(2);
    EXPECT_THAT(pausesAndFrames(), ElementsAre(writesFrame(1, 0x20, 0, 1), "sleep 10", "sleep 10"));
}

TEST_F(PollingThreadLoop, IdlesWhenThePassEndsOnAStationWithoutAddresses)
{
    announce({command("NA20"), command("2-NA20")});
    controllers = [&](const std::string &request) {
        if (frames::station(request) == 3) { // no poll is under way, the polled list may change
            announce({command("2-NA20")});
            thread().clearFlag(1);
            thread().endSession();
            thread().setCommError("earlier");
        }
        return frames::echoAddresses(request);
    };
    onRequest = [&](int request) {
        if (request == 2)
            thread().pushReadAddresses(3, {0x20});
    };
    onIdle = [&](int) { EXPECT_FALSE(thread().hasError()); };
    runIdles(2);
    EXPECT_THAT(pausesAndFrames(),
                ElementsAre(readFrame(1, 0x20, 1), readFrame(2, 0x20, 1), readFrame(3, 0x20, 1),
                            readFrame(1, 0x20, 1), "sleep 10", readFrame(1, 0x20, 1), "sleep 10"));
}

TEST_F(PollingThreadLoop, DoesNotIdleWhenOnlyAnEarlierStationIsWithoutAddresses)
{
    announce({command("NA20"), command("2-NA20")});
    controllers = [&](const std::string &request) {
        if (frames::station(request) == 3) {
            announce({command("NA20")});
            thread().clearFlag(1);
            thread().endSession();
        }
        return frames::echoAddresses(request);
    };
    onRequest = [&](int request) {
        if (request == 2)
            thread().pushReadAddresses(3, {0x20});
    };
    runRequests(5);
    EXPECT_THAT(pausesAndFrames(),
                ElementsAre(readFrame(1, 0x20, 1), readFrame(2, 0x20, 1), readFrame(3, 0x20, 1),
                            readFrame(2, 0x20, 1), readFrame(2, 0x20, 1)));
}

// ---- Writes -------------------------------------------------------------------------------------

TEST_F(PollingThreadLoop, WritesInFramesOfTwentyFivePairs)
{
    struct {
        unsigned pairs;
        std::vector<unsigned> ends;
    } const table[] = {{1, {1}}, {24, {24}}, {25, {25}}, {26, {25, 26}}, {51, {25, 50, 51}}};
    for (const auto &row : table) {
        PollingThread polling(&link, &project, 1, &clock);
        for (unsigned i = 0; i < row.pairs; ++i)
            EXPECT_TRUE(polling.writeDWord(1, AddrArg{0x20 + i, i}));
        EXPECT_EQ(int(row.pairs), polling.getAddrArgQueueSize(1));
        Strings sent;
        link.answer = [&](const std::string &request) {
            sent.push_back(request);
            if (sent.size() == row.ends.size())
                polling.stop();
            return frames::echoAddresses(request);
        };
        polling.run();
        unsigned begin = 0;
        for (size_t i = 0; i < row.ends.size(); begin = row.ends[i++])
            EXPECT_EQ(writesFrame(1, 0x20, begin, row.ends[i]), sent[i]) << row.pairs << " pairs";
        EXPECT_TRUE(polling.addrArgQueueMapIsEmpty());
    }
}

TEST_F(PollingThreadLoop, WritesTheLowestStationFirst)
{
    EXPECT_TRUE(queueWrites(3, 0x20, 1));
    EXPECT_TRUE(queueWrites(1, 0x20, 26));
    runRequests(3);
    EXPECT_THAT(link.sent(), ElementsAre(writesFrame(1, 0x20, 0, 25), writesFrame(1, 0x20, 25, 26),
                                         writesFrame(3, 0x20, 0, 1)));
}

TEST_F(PollingThreadLoop, LooksForTheLowestStationBeforeEachFrame)
{
    EXPECT_TRUE(queueWrites(3, 0x20, 26));
    onRequest = [&](int request) {
        if (request == 1)
            queueWrites(1, 0x20, 1);
    };
    runRequests(3);
    EXPECT_THAT(link.sent(), ElementsAre(writesFrame(3, 0x20, 0, 25), writesFrame(1, 0x20, 0, 1),
                                         writesFrame(3, 0x20, 25, 26)));
}

TEST_F(PollingThreadLoop, CountsTheQueuedWritesOfAStation)
{
    EXPECT_TRUE(queueWrites(2, 0x20, 3));
    EXPECT_TRUE(thread().writeDWord(2, AddrArg{0x30, 1}));
    EXPECT_EQ(4, thread().getAddrArgQueueSize(2));
    EXPECT_EQ(0, thread().getAddrArgQueueSize(1));
    EXPECT_FALSE(thread().addrArgQueueMapIsEmpty());
    onRequest = [&](int) { EXPECT_EQ(0, thread().getAddrArgQueueSize(2)); };
    runRequests(1);
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
}

TEST_F(PollingThreadLoop, KeepsTheOrderOfSingleAndGroupedWrites)
{
    EXPECT_TRUE(thread().writeDWord(1, AddrArg{0x30, 1}));
    EXPECT_TRUE(thread().writeDWords(1, {AddrArg{0x20, 0xFFFFFFFF}, AddrArg{0x30, 3}}));
    EXPECT_TRUE(thread().writeDWord(1, AddrArg{0x10, 4}));
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(frames::writeRequest(
                                 1, {{0x30, 1}, {0x20, 0xFFFFFFFF}, {0x30, 3}, {0x10, 4}})));
}

TEST_F(PollingThreadLoop, TakesAnEmptyGroupOfWrites)
{
    EXPECT_TRUE(thread().writeDWords(1, {}));
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
    runIdles(1);
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(PollingThreadLoop, WritesBeforeItPolls)
{
    announce({command("NA20")});
    EXPECT_TRUE(queueWrites(2, 0x20, 1));
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(writesFrame(2, 0x20, 0, 1), readFrame(1, 0x20, 1)));
}

TEST_F(PollingThreadLoop, WritesBetweenTheChunksOfAPass)
{
    announce({command("NA20", 120)});
    onRequest = [&](int request) {
        if (request == 1)
            queueWrites(2, 0x20, 26);
    };
    runRequests(5);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), writesFrame(2, 0x20, 0, 25),
                                         writesFrame(2, 0x20, 25, 26), readFrame(1, 0x52, 50),
                                         readFrame(1, 0x84, 20)));
}

TEST_F(PollingThreadLoop, WritesBeforeTheFirstChunkOfTheNextStation)
{
    announce({command("NA20"), command("2-NA20")});
    onRequest = [&](int request) {
        if (request == 1)
            queueWrites(3, 0x20, 1);
    };
    runRequests(3);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 1), writesFrame(3, 0x20, 0, 1),
                                         readFrame(2, 0x20, 1)));
}

TEST_F(PollingThreadLoop, TriesAWriteRetriesMoreTimes)
{
    link.retries = 2;
    failRequests({1, 2, 3});
    EXPECT_TRUE(queueWrites(1, 0x20, 2));
    runIdles(2);
    EXPECT_THAT(pausesAndFrames(),
                ElementsAre(writesFrame(1, 0x20, 0, 2), writesFrame(1, 0x20, 0, 2),
                            writesFrame(1, 0x20, 0, 2), "sleep 10", "sleep 10"));
    EXPECT_EQ("write station id#1 address 00000020DMC50 no response", lastError());
}

TEST_F(PollingThreadLoop, StopsTryingAWriteAtTheFirstGoodReply)
{
    link.retries = 5;
    failRequests({1});
    EXPECT_TRUE(queueWrites(1, 0x20, 26));
    runIdles(1);
    EXPECT_THAT(link.sent(), ElementsAre(writesFrame(1, 0x20, 0, 25), writesFrame(1, 0x20, 0, 25),
                                         writesFrame(1, 0x20, 25, 26)));
}

TEST_F(PollingThreadLoop, ClearsTheErrorBeforeEachTryOfAWrite)
{
    link.retries = 2;
    controllers = silence;
    EXPECT_TRUE(queueWrites(1, 0x20, 1));
    std::vector<bool> errors;
    onRequest = [&](int) { errors.push_back(thread().hasError()); };
    runIdles(1);
    EXPECT_THAT(errors, ElementsAre(false, false, false));
}

TEST_F(PollingThreadLoop, LosesABatchThatFailsAndKeepsTheRest)
{
    failRequests({1});
    EXPECT_TRUE(queueWrites(1, 0x20, 26));
    EXPECT_TRUE(queueWrites(2, 0x20, 1));
    std::vector<int> sizes;
    onIdle = [&](int) { sizes.push_back(thread().getAddrArgQueueSize(1)); };
    runIdles(2);
    EXPECT_THAT(pausesAndFrames(),
                ElementsAre(writesFrame(1, 0x20, 0, 25), "sleep 10", writesFrame(1, 0x20, 25, 26),
                            writesFrame(2, 0x20, 0, 1), "sleep 10"));
    EXPECT_THAT(sizes, ElementsAre(1, 0));
}

TEST_F(PollingThreadLoop, LosesABatchThatIsRefusedByTheController)
{
    controllers = [](const std::string &request) {
        return frames::reply(frames::station(request), {}, 0x41);
    };
    EXPECT_TRUE(queueWrites(1, 0x20, 1));
    runIdles(3);
    EXPECT_EQ(1u, link.sent().size());
    EXPECT_EQ("write station id#1 address 00000020end code 41H", lastError());
}

TEST_F(PollingThreadLoop, KeepsWritesWaitingWhileTheErrorStands)
{
    failRequests({1});
    announce({command("NA20", 60)});
    onRequest = [&](int request) {
        if (request == 1)
            queueWrites(2, 0x20, 1); // in time: the reply is not yet missed
    };
    runRequests(3);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x52, 10),
                                         writesFrame(2, 0x20, 0, 1)));
}

TEST_F(PollingThreadLoop, KeepsWritesWaitingWhileEveryPollFails)
{
    link.retries = 1;
    controllers = silence;
    announce({command("NA20")});
    onRequest = [&](int request) {
        if (request == 1)
            queueWrites(2, 0x20, 1);
    };
    runRequests(20);
    EXPECT_THAT(link.sent(), Each(readFrame(1, 0x20, 1)));
    EXPECT_EQ(1, thread().getAddrArgQueueSize(2));
}

TEST_F(PollingThreadLoop, RefusesNewWritesWhileTheErrorStands)
{
    thread().setCommError("line is down");
    EXPECT_FALSE(thread().writeDWord(1, AddrArg{0x20, 1}));
    EXPECT_FALSE(thread().writeDWords(1, {AddrArg{0x20, 1}, AddrArg{0x21, 2}}));
    EXPECT_EQ(0, thread().getAddrArgQueueSize(1));
    thread().clearError();
    EXPECT_TRUE(thread().writeDWord(1, AddrArg{0x20, 1}));
    EXPECT_EQ(1, thread().getAddrArgQueueSize(1));
}

TEST_F(PollingThreadLoop, SendsNoWriteOfItsOwnAccordWhileTheErrorStands)
{
    prepareBuffers();
    EXPECT_TRUE(queueWrites(1, 0x20, 1));
    thread().setCommError("line is down");
    EXPECT_FALSE(thread().addrArgQueueToDMC50());
    EXPECT_EQ(1, thread().getAddrArgQueueSize(1));
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(PollingThreadLoop, IsDoneAtOnceWithoutQueuedWrites)
{
    prepareBuffers();
    EXPECT_TRUE(thread().addrArgQueueToDMC50());
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(PollingThreadLoop, NeverSendsWritesThatAreQueuedWhenItEnds)
{
    announce({command("NA20")});
    onRequest = [&](int) { queueWrites(2, 0x20, 1); };
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 1)));
    EXPECT_EQ(1, thread().getAddrArgQueueSize(2));
}

// ---- The order within a pass

TEST_F(PollingThreadLoop, TakesSessionWritesCheckPollDemandAndRenewalInThisOrder)
{
    const std::string modeWrites =
        frames::writeRequest(3, {{0x2012, 1}, {0x2013, 5}, {0x2014, 200}, {0x2015, 5}});
    controllers = [](const std::string &request) {
        return frames::fields(request).front() == 0x2016 ? frames::reply(3, {200})
                                                         : frames::echoAddresses(request);
    };
    thread().setLowLatency({3});
    onIdle = [&](int idle) {
        if (idle > 1)
            return;
        clock.advance(540000); // the check and the renewal are both due
        announce({command("NA20", 60)});
        EXPECT_TRUE(queueWrites(2, 0x20, 1));
        thread().pushReadAddresses(2, {0x30});
    };
    runRequests(7);
    EXPECT_THAT(link.sent(),
                ElementsAre(modeWrites,                                      // at the start
                            writesFrame(2, 0x20, 0, 1),                      //
                            readFrame(3, 0x2016, 1), readFrame(1, 0x20, 50), //
                            readFrame(2, 0x30, 1),                           //
                            modeWrites, readFrame(1, 0x20, 50)));
}

// ---- Memory that is short
// ------------------------------------------------------------------------

TEST_F(PollingThreadLoop, OutlivesARequestWithoutMemoryAndTriesItAgain)
{
    announce({command("NA20")});
    onRequest = [&](int request) {
        if (request == 1)
            throw std::bad_alloc();
        EXPECT_TRUE(thread().hasError());
    };
    runRequests(2);
    EXPECT_EQ(0x20, cached(1, 0x20));
    EXPECT_FALSE(thread().hasError());
}

TEST_F(PollingThreadLoop, CountsAWriteWithoutMemoryAsATryThatFailed)
{
    link.retries = 1;
    EXPECT_TRUE(queueWrites(1, 0x20, 1));
    onRequest = [](int request) {
        if (request == 1)
            throw std::bad_alloc();
    };
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(writesFrame(1, 0x20, 0, 1), writesFrame(1, 0x20, 0, 1)));
}

TEST_F(PollingThreadLoop, OutlivesAPauseWithoutMemory)
{
    announce({command("NA20")});
    bool thrown = false;
    onSleep = [&](ulong) {
        if (thrown)
            return;
        thrown = true;
        throw std::bad_alloc();
    };
    runRequests(1);
    EXPECT_TRUE(thrown);
    EXPECT_EQ(0x20, cached(1, 0x20));
}

} // namespace
