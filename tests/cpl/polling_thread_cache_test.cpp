// The cache of polled values, and the values that are read once on demand.

#include "tests/cpl/polling_thread_fixture.h"

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const uint32_t Untouched = 0xEEEEEEEE;

/// What a reader gets.
struct Result {
    explicit Result(int words) : data(4 * words, static_cast<char>(0xEE)) {}

    uint32_t word(int index) const { return wordAt(data, index); }

    QByteArray data;
    AddressVector misses;
    UCharVector missIndexes;
};

class PollingThreadCache : public PollingThreadFixture
{
protected:
    /// Stores values of consecutive addresses, as after a good poll.
    void cache(uchar station, ulong first, const std::vector<uint32_t> &values)
    {
        prepareBuffers();
        receive(frames::reply(station, values));
        AddressVector addresses;
        for (size_t i = 0; i < values.size(); ++i)
            addresses.push_back(first + i);
        thread().readRspToDataCacheMap(station, addresses.data(), static_cast<int>(values.size()));
    }

    bool read(uchar station, const AddressVector &addresses, const UCharVector &indexes,
              Result &result)
    {
        return thread().readDataCacheMap(station, addresses, indexes, result.data, result.misses,
                                         result.missIndexes);
    }

    /// Milliseconds that passed while something was done.
    qint64 duration(const std::function<void()> &something)
    {
        const qint64 begin = clock.msecsSinceBoot();
        something();
        return clock.msecsSinceBoot() - begin;
    }
};
typedef PollingThreadCache PollingThreadCacheDeathTest;

// ---- The cache ----------------------------------------------------------------------------------

TEST_F(PollingThreadCache, OfAStationThatWasNeverPolledMissesEverything)
{
    Result result(3);
    EXPECT_TRUE(read(1, {0x22, 0x20, 0x21}, {2, 0, 1}, result));
    EXPECT_THAT(result.misses, ElementsAre(0x22u, 0x20u, 0x21u));
    EXPECT_THAT(result.missIndexes, ElementsAre(2, 0, 1));
    EXPECT_EQ(QByteArray(12, static_cast<char>(0xEE)), result.data);
}

TEST_F(PollingThreadCache, OfAStationThatWasNeverPolledReplacesEarlierMisses)
{
    Result result(1);
    result.misses = {0x99};
    result.missIndexes = {9};
    EXPECT_TRUE(read(1, {0x20}, {0}, result));
    EXPECT_THAT(result.misses, ElementsAre(0x20u));
    EXPECT_THAT(result.missIndexes, ElementsAre(0));
}

TEST_F(PollingThreadCache, GivesEachValueToItsIndex)
{
    cache(1, 0x20, {0x11111111, 0x22222222, 0x33333333});
    Result result(5);
    EXPECT_TRUE(read(1, {0x20, 0x21, 0x22}, {4, 0, 2}, result));
    EXPECT_EQ(0x22222222u, result.word(0));
    EXPECT_EQ(Untouched, result.word(1));
    EXPECT_EQ(0x33333333u, result.word(2));
    EXPECT_EQ(Untouched, result.word(3));
    EXPECT_EQ(0x11111111u, result.word(4));
    EXPECT_THAT(result.misses, IsEmpty());
    EXPECT_THAT(result.missIndexes, IsEmpty());
}

TEST_F(PollingThreadCache, GivesTheLeastSignificantByteFirst)
{
    cache(1, 0x20, {0x89ABCDEF});
    Result result(1);
    EXPECT_TRUE(read(1, {0x20}, {0}, result));
    EXPECT_EQ(QByteArray("\xEF\xCD\xAB\x89"), result.data);
}

TEST_F(PollingThreadCache, FillsTheHighestIndex)
{
    cache(1, 0x20, {7});
    Result result(256);
    EXPECT_TRUE(read(1, {0x20}, {255}, result));
    EXPECT_EQ(7u, result.word(255));
    EXPECT_EQ(Untouched, result.word(254));
}

TEST_F(PollingThreadCache, AppendsWhatItMissesAndGivesTheRest)
{
    cache(1, 0x20, {1, 2});
    Result result(4);
    result.misses = {0x99};
    result.missIndexes = {9};
    EXPECT_TRUE(read(1, {0x1F, 0x20, 0x22, 0x21}, {0, 1, 2, 3}, result));
    EXPECT_THAT(result.misses, ElementsAre(0x99u, 0x1Fu, 0x22u));
    EXPECT_THAT(result.missIndexes, ElementsAre(9, 0, 2));
    EXPECT_EQ(1u, result.word(1));
    EXPECT_EQ(2u, result.word(3));
    EXPECT_EQ(Untouched, result.word(0));
    EXPECT_EQ(Untouched, result.word(2));
}

TEST_F(PollingThreadCache, KeepsTheStationsApart)
{
    cache(1, 0x20, {1});
    Result result(1);
    EXPECT_TRUE(read(2, {0x20}, {0}, result));
    EXPECT_THAT(result.misses, ElementsAre(0x20u));
    EXPECT_FALSE(thread().addrInDataCache(2, 0x20));
    EXPECT_TRUE(thread().addrInDataCache(1, 0x20));
    EXPECT_FALSE(thread().addrInDataCache(1, 0x21));
}

TEST_F(PollingThreadCache, DoesNotShareABufferWithItsReaderCopies)
{
    cache(1, 0x20, {1});
    Result result(1);
    const QByteArray copy = result.data;
    EXPECT_TRUE(read(1, {0x20}, {0}, result));
    EXPECT_EQ(QByteArray(4, static_cast<char>(0xEE)), copy);
}

TEST_F(PollingThreadCache, TakesNewValuesInPlaceOfOldOnes)
{
    cache(1, 0x20, {1, 2});
    cache(1, 0x21, {3});
    EXPECT_EQ(1, cached(1, 0x20));
    EXPECT_EQ(3, cached(1, 0x21));
}

TEST_F(PollingThreadCache, TakesValuesInAnyOrderOfTheirAddresses)
{
    prepareBuffers();
    receive(frames::reply(1, {1, 2, 3, 4, 5, 6}));
    AddressVector addresses = {0x30, 0x20, 0x40, 0x30, 0x10, 0xFFFFFFFF};
    thread().readRspToDataCacheMap(1, addresses.data(), 6);
    EXPECT_EQ(5, cached(1, 0x10));
    EXPECT_EQ(2, cached(1, 0x20));
    EXPECT_EQ(4, cached(1, 0x30));
    EXPECT_EQ(3, cached(1, 0x40));
    EXPECT_EQ(6, cached(1, 0xFFFFFFFF));
}

TEST_F(PollingThreadCache, TakesValuesBetweenOthersAndLeavesThose)
{
    cache(1, 0x20, {1, 2, 3, 4});
    prepareBuffers();
    receive(frames::reply(1, {11, 12, 13}));
    AddressVector addresses = {0x1F, 0x21, 0x24};
    thread().readRspToDataCacheMap(1, addresses.data(), 3);
    const qint64 expected[] = {11, 1, 12, 3, 4, 13};
    for (ulong i = 0; i < 6; ++i)
        EXPECT_EQ(expected[i], cached(1, 0x1F + i)) << i;
}

TEST_F(PollingThreadCache, LeavesTheValueOfAMissAlone)
{
    cache(1, 0x20, {1});
    ulong value = 77;
    EXPECT_FALSE(thread().getDWordFromDataCacheMap(1, 0x21, value));
    EXPECT_FALSE(thread().getDWordFromDataCacheMap(2, 0x20, value));
    EXPECT_EQ(77u, value);
    EXPECT_TRUE(thread().getDWordFromDataCacheMap(1, 0x20, value));
    EXPECT_EQ(1u, value);
}

TEST_F(PollingThreadCache, IsEmptiedForAllStations)
{
    cache(1, 0x20, {1});
    cache(2, 0x20, {2});
    thread().clearDataCacheMap();
    EXPECT_EQ(-1, cached(1, 0x20));
    EXPECT_EQ(-1, cached(2, 0x20));
}

TEST_F(PollingThreadCache, HoldsValuesUpTo32Bits)
{
    cache(1, 0x20, {0xFFFFFFFF, 0x80000000, 0});
    EXPECT_EQ(0xFFFFFFFF, cached(1, 0x20));
    EXPECT_EQ(0x80000000, cached(1, 0x21));
    EXPECT_EQ(0, cached(1, 0x22));
}

TEST_F(PollingThreadCacheDeathTest, StoringWithoutAddressesEndsTheProgram)
{
    prepareBuffers();
    EXPECT_DEATH(thread().readRspToDataCacheMap(1, nullptr, 1), assertion("addresses != 0"));
    EXPECT_DEATH(thread().readRspToReadOnceDataMap(1, nullptr, 1), assertion("addresses != 0"));
}

TEST_F(PollingThreadCacheDeathTest, StoringNothingEndsTheProgram)
{
    prepareBuffers();
    ulong address = 0x20;
    for (const int count : {0, -1}) {
        EXPECT_DEATH(thread().readRspToDataCacheMap(1, &address, count),
                     assertion("num_of_addresses > 0"));
        EXPECT_DEATH(thread().readRspToReadOnceDataMap(1, &address, count),
                     assertion("num_of_addresses > 0"));
    }
}

TEST_F(PollingThreadCacheDeathTest, IndexesThatAreNotParallelToTheAddressesEndTheProgram)
{
    Result result(2);
    EXPECT_DEATH(read(1, {0x20, 0x21}, {0}, result),
                 assertion("miss_addresses.size() == miss_data_indexes.size()"));
}

// ---- Reading the cache while the line has an error ----------------------------------------------

TEST_F(PollingThreadCache, IsReadAtOnceWithoutAnError)
{
    Result result(1);
    EXPECT_EQ(0, duration([&] { EXPECT_TRUE(read(1, {0x20}, {0}, result)); }));
}

TEST_F(PollingThreadCache, IsNotReadWhileTheErrorStands)
{
    thread().setCommError("line is down");
    Result result(1);
    EXPECT_EQ(3000, duration([&] { EXPECT_FALSE(read(1, {0x20}, {0}, result)); }));
    EXPECT_EQ(Untouched, result.word(0));
    EXPECT_THAT(result.misses, IsEmpty());
    EXPECT_THAT(result.missIndexes, IsEmpty());
}

TEST_F(PollingThreadCache, IsReadAsSoonAsTheErrorIsGone)
{
    thread().setCommError("line is down");
    int looks = 0;
    onSleep = [&](ulong ms) {
        EXPECT_EQ(10u, ms);
        if (++looks == 7)
            thread().clearError();
    };
    Result result(1);
    EXPECT_EQ(70, duration([&] { EXPECT_TRUE(read(1, {0x20}, {0}, result)); }));
    EXPECT_THAT(result.misses, ElementsAre(0x20u));
}

TEST_F(PollingThreadCache, IsReadWhenTheErrorGoesInTheLastMoment)
{
    thread().setCommError("line is down");
    int looks = 0;
    onSleep = [&](ulong) {
        if (++looks == 300)
            thread().clearError();
    };
    Result result(1);
    EXPECT_EQ(3000, duration([&] { EXPECT_TRUE(read(1, {0x20}, {0}, result)); }));
}

TEST_F(PollingThreadCache, IsGivenUpWhenTheThreadStops)
{
    thread().setCommError("line is down");
    onSleep = [&](ulong) { thread().stop(); };
    Result result(1);
    EXPECT_EQ(10, duration([&] { EXPECT_FALSE(read(1, {0x20}, {0}, result)); }));
}

// ---- Reading once -------------------------------------------------------------------------------

class PollingThreadReadOnce : public PollingThreadCache
{
protected:
    bool readOnce(uchar station, AddressVector addresses, UCharVector indexes, Result &result)
    {
        return thread().readOnceData(station, result.data, addresses, indexes);
    }

    /// Lets something happen in a reader's N-th pause.
    void inPause(int number, const std::function<void()> &something)
    {
        const std::shared_ptr<int> pauses = std::make_shared<int>(0);
        onSleep = [=](ulong) {
            if (++*pauses == number)
                something();
        };
    }

    void arrive(uchar station, ulong address, ulong value)
    {
        thread().insertDWordToReadOnceDataMap(station, address, value);
    }
};

TEST_F(PollingThreadReadOnce, QueuesItsAddressesInTheirOrder)
{
    Result result(3);
    readOnce(2, {0x22, 0x20, 0x21}, {0, 1, 2}, result);
    EXPECT_FALSE(thread().readAddrQueueMapIsEmpty());
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(2, {0x22, 0x20, 0x21})));
    EXPECT_TRUE(thread().readAddrQueueMapIsEmpty());
}

TEST_F(PollingThreadReadOnce, LooksEvery30MillisecondsForTheLastAddress)
{
    arrive(1, 0x20, 7);
    inPause(4, [&] { arrive(1, 0x21, 8); });
    Result result(2);
    EXPECT_EQ(120, duration([&] { EXPECT_TRUE(readOnce(1, {0x20, 0x21}, {1, 0}, result)); }));
    EXPECT_THAT(events, ElementsAre("sleep 30", "sleep 30", "sleep 30", "sleep 30"));
    EXPECT_EQ(8u, result.word(0));
    EXPECT_EQ(7u, result.word(1));
}

TEST_F(PollingThreadReadOnce, GivesUpAfterTimeoutTimesTries)
{
    link.timeoutMs = 3000;
    link.retries = 2;
    Result result(1);
    EXPECT_EQ(9000, duration([&] { EXPECT_FALSE(readOnce(1, {0x20}, {0}, result)); }));
    EXPECT_EQ(Untouched, result.word(0));
}

TEST_F(PollingThreadReadOnce, GivesUpAfterOneTimeoutWithoutRetries)
{
    Result result(1);
    EXPECT_EQ(3000, duration([&] { EXPECT_FALSE(readOnce(1, {0x20}, {0}, result)); }));
}

TEST_F(PollingThreadReadOnce, TakesAValueThatArrivesInTheLastMoment)
{
    inPause(100, [&] { arrive(1, 0x20, 7); });
    Result result(1);
    EXPECT_EQ(3000, duration([&] { EXPECT_TRUE(readOnce(1, {0x20}, {0}, result)); }));
    EXPECT_EQ(7u, result.word(0));
}

TEST_F(PollingThreadReadOnce, TakesAValueThatArrivesBetweenItsLastLookAndTheClocks)
{
    int pauses = 0;
    onSleep = [&](ulong) { ++pauses; };
    clock.onLook = [&] {
        if (pauses == 100)
            arrive(1, 0x20, 7);
    };
    Result result(1);
    EXPECT_TRUE(readOnce(1, {0x20}, {0}, result));
    EXPECT_EQ(7u, result.word(0));
}

TEST_F(PollingThreadReadOnce, GivesUpWhenTheThreadStops)
{
    inPause(1, [&] { thread().stop(); });
    Result result(1);
    EXPECT_EQ(30, duration([&] { EXPECT_FALSE(readOnce(1, {0x20}, {0}, result)); }));
}

TEST_F(PollingThreadReadOnce, FailsAtOnceOnAStoppedThread)
{
    thread().stop();
    Result result(1);
    EXPECT_EQ(0, duration([&] { EXPECT_FALSE(readOnce(1, {0x20}, {0}, result)); }));
}

TEST_F(PollingThreadReadOnce, FailsWhenAnEarlierAddressIsAbsent)
{
    inPause(1, [&] { arrive(1, 0x22, 9); });
    Result result(3);
    EXPECT_EQ(30, duration([&] {
                  EXPECT_FALSE(readOnce(1, {0x20, 0x21, 0x22}, {0, 1, 2}, result));
              }));
}

TEST_F(PollingThreadReadOnce, DoesNotTakeAnotherStationsValue)
{
    arrive(2, 0x20, 7);
    Result result(1);
    EXPECT_FALSE(readOnce(1, {0x20}, {0}, result));
    EXPECT_TRUE(thread().addrInReadOnceDataMap(2, 0x20));
}

TEST_F(PollingThreadReadOnce, HandsAValueOutOnce)
{
    arrive(1, 0x20, 7);
    Result first(1);
    EXPECT_TRUE(readOnce(1, {0x20}, {0}, first));
    EXPECT_FALSE(thread().addrInReadOnceDataMap(1, 0x20));
    Result second(1);
    EXPECT_FALSE(readOnce(1, {0x20}, {0}, second));
}

TEST_F(PollingThreadReadOnce, LeavesValuesForOthersWhereTheyAre)
{
    arrive(1, 0x20, 7);
    arrive(1, 0x21, 8);
    Result result(1);
    EXPECT_TRUE(readOnce(1, {0x20}, {0}, result));
    EXPECT_TRUE(thread().addrInReadOnceDataMap(1, 0x21));
}

TEST_F(PollingThreadReadOnce, OfNothingSucceedsAtOnce)
{
    Result result(1);
    EXPECT_EQ(0, duration([&] { EXPECT_TRUE(readOnce(1, {}, {}, result)); }));
    EXPECT_TRUE(thread().readAddrQueueMapIsEmpty());
}

TEST_F(PollingThreadReadOnce, TakesTheLatestValueOfAnAddress)
{
    arrive(1, 0x20, 7);
    arrive(1, 0x20, 8);
    Result result(1);
    EXPECT_TRUE(readOnce(1, {0x20}, {0}, result));
    EXPECT_EQ(8u, result.word(0));
}

TEST_F(PollingThreadReadOnce, NeverHandsALateValueToALaterReader)
{
    Result first(1);
    EXPECT_FALSE(readOnce(1, {0x20}, {0}, first));
    arrive(1, 0x20, 7); // the reply to a reader that has given up
    inPause(2, [&] { arrive(1, 0x20, 8); });
    Result second(1);
    EXPECT_TRUE(readOnce(1, {0x20}, {0}, second));
    EXPECT_EQ(8u, second.word(0));
}

TEST_F(PollingThreadReadOnce, NeverHandsTheValuesOfAHalfFailedReadToALaterReader)
{
    inPause(1, [&] {
        arrive(1, 0x20, 7);
        arrive(1, 0x22, 9);
    });
    Result first(3);
    EXPECT_FALSE(readOnce(1, {0x20, 0x21, 0x22}, {0, 1, 2}, first));
    inPause(1, [&] { arrive(1, 0x20, 17); });
    Result second(1);
    EXPECT_TRUE(readOnce(1, {0x20}, {0}, second));
    EXPECT_EQ(17u, second.word(0));
}

TEST_F(PollingThreadReadOnce, StillHandsOutValuesAfterAnAddressWasGivenUpOnce)
{
    Result result(1);
    EXPECT_FALSE(readOnce(1, {0x20}, {0}, result));
    for (const uint32_t value : {7u, 8u, 9u}) {
        inPause(1, [&] { arrive(1, 0x20, value); });
        EXPECT_TRUE(readOnce(1, {0x20}, {0}, result));
        EXPECT_EQ(value, result.word(0));
    }
}

// ---- Serving reads on demand --------------------------------------------------------------------

class PollingThreadOnDemand : public PollingThreadFixture
{
protected:
    bool arrived(uchar station, ulong address)
    {
        return thread().addrInReadOnceDataMap(station, address);
    }

    static AddressVector consecutive(ulong first, unsigned count)
    {
        AddressVector addresses;
        for (unsigned i = 0; i < count; ++i)
            addresses.push_back(first + i);
        return addresses;
    }
};

TEST_F(PollingThreadOnDemand, ReadsInFramesOfFiftyAddresses)
{
    struct {
        unsigned addresses;
        std::vector<unsigned> frames;
    } const table[] = {{1, {1}}, {49, {49}}, {50, {50}}, {51, {50, 1}}, {120, {50, 50, 20}}};
    for (const auto &row : table) {
        PollingThread polling(&link, &project, 1, &clock);
        polling.pushReadAddresses(1, consecutive(0x20, row.addresses));
        std::vector<unsigned> counts;
        link.answer = [&](const std::string &request) {
            counts.push_back(static_cast<unsigned>(frames::fields(request).size()));
            if (counts.size() == row.frames.size())
                polling.stop();
            return frames::echoAddresses(request);
        };
        polling.run();
        EXPECT_EQ(row.frames, counts) << row.addresses << " addresses";
        for (unsigned i = 0; i < row.addresses; ++i)
            EXPECT_TRUE(polling.addrInReadOnceDataMap(1, 0x20 + i));
    }
}

TEST_F(PollingThreadOnDemand, ReadsTheStationsInAscendingOrder)
{
    thread().pushReadAddresses(3, {0x20});
    thread().pushReadAddresses(1, {0x30, 0x20});
    thread().pushReadAddresses(2, {0x20});
    runRequests(3);
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x30, 0x20}),
                                         readFrame(2, 0x20, 1), readFrame(3, 0x20, 1)));
}

TEST_F(PollingThreadOnDemand, DoesNotPoll)
{
    thread().pushReadAddresses(1, {0x20});
    runIdles(5);
    EXPECT_EQ(1u, link.sent().size());
    EXPECT_EQ(-1, cached(1, 0x20));
}

TEST_F(PollingThreadOnDemand, TakesAPolledAddressFromTheCache)
{
    announce({command("NA20", 2)});
    onRequest = [&](int request) {
        if (request == 2)
            thread().pushReadAddresses(1, {0x20, 0x50, 0x21});
    };
    runRequests(3);
    EXPECT_THAT(link.sent(),
                ElementsAre(readFrame(1, 0x20, 2), readFrame(1, 0x20, 2), readFrame(1, 0x50, 1)));
    EXPECT_TRUE(arrived(1, 0x20));
    EXPECT_TRUE(arrived(1, 0x21));
    EXPECT_TRUE(arrived(1, 0x50));
}

TEST_F(PollingThreadOnDemand, OfPolledAddressesOnlyNeedsNoRequest)
{
    announce({command("NA20")});
    onRequest = [&](int request) {
        if (request == 1)
            thread().pushReadAddresses(1, {0x20});
    };
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 1), readFrame(1, 0x20, 1)));
    EXPECT_TRUE(arrived(1, 0x20));
}

TEST_F(PollingThreadOnDemand, TriesEachFrameRetriesMoreTimes)
{
    link.retries = 2;
    controllers = [](const std::string &) { return std::string(); };
    thread().pushReadAddresses(1, {0x20});
    runIdles(1);
    EXPECT_THAT(link.sent(),
                ElementsAre(readFrame(1, 0x20, 1), readFrame(1, 0x20, 1), readFrame(1, 0x20, 1)));
    EXPECT_FALSE(arrived(1, 0x20));
    EXPECT_EQ("read station id#1 start address 00000020:DMC50 no response", lastError());
}

TEST_F(PollingThreadOnDemand, StopsTryingAtTheFirstGoodReply)
{
    link.retries = 5;
    int request = 0;
    controllers = [&](const std::string &frame) {
        return ++request == 2 ? frames::echoAddresses(frame) : std::string();
    };
    thread().pushReadAddresses(1, {0x20});
    runIdles(1);
    EXPECT_EQ(2u, link.sent().size());
    EXPECT_TRUE(arrived(1, 0x20));
}

TEST_F(PollingThreadOnDemand, GoesOnBehindAFrameThatFailed)
{
    int request = 0;
    controllers = [&](const std::string &frame) {
        return ++request == 1 ? std::string() : frames::echoAddresses(frame);
    };
    thread().pushReadAddresses(1, consecutive(0x20, 60));
    thread().pushReadAddresses(2, {0x20});
    runRequests(3);
    EXPECT_THAT(link.sent(),
                ElementsAre(readFrame(1, 0x20, 50), readFrame(1, 0x52, 10), readFrame(2, 0x20, 1)));
    EXPECT_FALSE(arrived(1, 0x20));
    EXPECT_TRUE(arrived(1, 0x52));
    EXPECT_TRUE(arrived(2, 0x20));
}

TEST_F(PollingThreadOnDemand, ClearsTheErrorWithAGoodReply)
{
    thread().pushReadAddresses(1, {0x20});
    thread().setCommError("earlier");
    runRequests(1);
    EXPECT_FALSE(thread().hasError());
}

TEST_F(PollingThreadOnDemand, LeavesTheErrorOfABadReplyForTheReaders)
{
    controllers = [](const std::string &) { return std::string(); };
    thread().pushReadAddresses(1, {0x20});
    runRequests(1);
    EXPECT_TRUE(thread().hasError());
}

TEST_F(PollingThreadOnDemand, IsServedAlsoWhileTheErrorStands)
{
    announce({command("NA20")});
    controllers = [](const std::string &frame) {
        return frames::fields(frame).front() == 0x20 ? std::string() : frames::echoAddresses(frame);
    };
    onRequest = [&](int request) {
        if (request == 1)
            thread().pushReadAddresses(2, {0x30});
    };
    runRequests(2);
    EXPECT_TRUE(arrived(2, 0x30));
}

TEST_F(PollingThreadOnDemand, AcceptsAnAddressTwice)
{
    thread().pushReadAddresses(1, {0x20, 0x20});
    runIdles(1);
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x20, 0x20})));
    EXPECT_TRUE(arrived(1, 0x20));
}

TEST_F(PollingThreadOnDemand, OfNoAddressesQueuesNothing)
{
    thread().pushReadAddresses(1, {});
    EXPECT_TRUE(thread().readAddrQueueMapIsEmpty());
    runIdles(1);
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(PollingThreadOnDemand, CanBeMovedToThePolledAddresses)
{
    thread().pushReadAddresses(2, {0x30, 0x20, 0x30});
    thread().pushReadAddresses(1, {0x40});
    thread().readAddrQueueMapToCacheAddrMap();
    EXPECT_TRUE(thread().readAddrQueueMapIsEmpty());
    thread().pushReadAddresses(2, {0x25, 0x20});
    thread().readAddrQueueMapToCacheAddrMap();
    runRequests(3);
    EXPECT_THAT(link.sent(),
                ElementsAre(readFrame(1, 0x40, 1), frames::readRequest(2, {0x20, 0x25, 0x30}),
                            readFrame(1, 0x40, 1)));
}

} // namespace
