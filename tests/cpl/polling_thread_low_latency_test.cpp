// Low-latency stations: the writes that put them into their mode, and the watchdog.

#include <map>

#include "tests/cpl/polling_thread_fixture.h"

namespace
{

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const qint64 WatchdogPeriod = 30000;
const qint64 RenewPeriod = 540000;

class PollingThreadLowLatency : public PollingThreadFixture
{
protected:
    PollingThreadLowLatency() : start(clock.msecsSinceBoot())
    {
        controllers = [this](const std::string &request) { return answer(request); };
    }

    /// A controller that is in the mode once it was told so; `states` overrides that.
    std::string answer(const std::string &request)
    {
        const uchar station = static_cast<uchar>(frames::station(request));
        const std::vector<uint32_t> fields = frames::fields(request);
        if (!frames::isRead(request)) {
            for (size_t i = 0; i < fields.size(); i += 2)
                memory[station][fields[i]] = fields[i + 1];
            memory[station][0x2016] = memory[station][0x2014];
            return frames::reply(station);
        }
        if (mute.count(station) > 0)
            return std::string();
        std::vector<uint32_t> words;
        words.reserve(fields.size());
        for (const uint32_t address : fields)
            words.push_back(memory[station][address]);
        return frames::reply(station, words);
    }

    static std::string modeWrites(unsigned station)
    {
        return frames::writeRequest(station,
                                    {{0x2012, 1}, {0x2013, 5}, {0x2014, 200}, {0x2015, 5}});
    }
    static std::string check(unsigned station)
    {
        return readFrame(static_cast<uchar>(station), 0x2016, 1);
    }

    /// At each of these times, counted from the start, the loop makes one pass. The frames of each
    /// pass come back.
    std::vector<Strings> framesAt(const std::vector<qint64> &times)
    {
        std::vector<Strings> passes;
        size_t seen = 0;
        onIdle = [&](int) {
            const Strings sent = link.sent();
            passes.push_back(Strings(sent.begin() + static_cast<std::ptrdiff_t>(seen), sent.end()));
            seen = sent.size();
            if (passes.size() <= times.size())
                clock.set(start + times[passes.size() - 1]);
        };
        runIdles(static_cast<int>(times.size()) + 1);
        return passes;
    }

    const qint64 start;
    std::map<uchar, std::map<uint32_t, uint32_t>> memory;
    std::set<uchar> mute; ///< stations that do not answer reads
};
typedef PollingThreadLowLatency PollingThreadLowLatencyDeathTest;

// ---- The writes ---------------------------------------------------------------------------------

TEST_F(PollingThreadLowLatency, StationsAreSwitchedAtTheStart)
{
    thread().setLowLatency({3, 1});
    EXPECT_EQ(2, thread().numOfLowLatencyStation());
    runIdles(1);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(1), modeWrites(3)));
}

TEST_F(PollingThreadLowLatency, StationsAreReplacedAsAWhole)
{
    thread().setLowLatency({1, 2});
    thread().setLowLatency({3});
    EXPECT_EQ(1, thread().numOfLowLatencyStation());
    thread().setLowLatency({});
    EXPECT_EQ(0, thread().numOfLowLatencyStation());
}

TEST_F(PollingThreadLowLatency, WritesGoBehindThoseThatWereQueuedBefore)
{
    thread().setLowLatency({1});
    EXPECT_TRUE(thread().writeDWord(1, AddrArg{0x20, 7}));
    runIdles(1);
    EXPECT_THAT(link.sent(),
                ElementsAre(frames::writeRequest(
                    1, {{0x20, 7}, {0x2012, 1}, {0x2013, 5}, {0x2014, 200}, {0x2015, 5}})));
}

TEST_F(PollingThreadLowLatency, IsNotTouchedWithoutStations)
{
    const std::vector<Strings> passes =
        framesAt({WatchdogPeriod, WatchdogPeriod * 2, RenewPeriod, RenewPeriod * 3});
    EXPECT_THAT(passes, Each(IsEmpty()));
}

TEST_F(PollingThreadLowLatency, IsKickedWithTheFirstWriteOnly)
{
    thread().setLowLatency({2, 1});
    thread().initLowLatencyAddrArgs();
    thread().kickLowLatencyWatchDog();
    EXPECT_EQ(1, thread().getAddrArgQueueSize(1));
    EXPECT_EQ(1, thread().getAddrArgQueueSize(2));
}

TEST_F(PollingThreadLowLatency, KickGoesOutAsOnePair)
{
    thread().initLowLatencyAddrArgs();
    onIdle = [&](int idle) {
        if (idle > 1)
            return;
        thread().setLowLatency({1, 2});
        thread().kickLowLatencyWatchDog();
        thread().setLowLatency({});
    };
    runIdles(2);
    EXPECT_THAT(link.sent(), ElementsAre(frames::writeRequest(1, {{0x2012, 1}}),
                                         frames::writeRequest(2, {{0x2012, 1}})));
}

TEST_F(PollingThreadLowLatency, WritesStayFourHoweverOftenTheyAreBuilt)
{
    thread().setLowLatency({1});
    thread().initLowLatencyAddrArgs();
    thread().initLowLatencyAddrArgs();
    thread().initLowLatencyStations();
    EXPECT_EQ(4, thread().getAddrArgQueueSize(1));
}

TEST_F(PollingThreadLowLatencyDeathTest, WithoutItsWritesEndsTheProgram)
{
    const char *const text = "m_low_latency_addr_args.size() > 0";
    EXPECT_DEATH(thread().initLowLatencyStations(), assertion(text));
    EXPECT_DEATH(thread().kickLowLatencyWatchDog(), assertion(text));
    EXPECT_DEATH(thread().checkLowLatency(), assertion(text));
}

// ---- The watchdog -------------------------------------------------------------------------------

TEST_F(PollingThreadLowLatency, IsCheckedThirtySecondsAfterTheStart)
{
    thread().setLowLatency({1});
    EXPECT_THAT(framesAt({29999, 30000, 60000, 100000}),
                ElementsAre(ElementsAre(modeWrites(1)), IsEmpty(), ElementsAre(check(1)), // passed
                            IsEmpty(), IsEmpty()));
}

TEST_F(PollingThreadLowLatency, IsCheckedInAllStationsInAscendingOrder)
{
    thread().setLowLatency({3, 1, 2});
    EXPECT_THAT(framesAt({30000}).back(), ElementsAre(check(1), check(2), check(3)));
}

TEST_F(PollingThreadLowLatency, IsQueuedAgainForAllStationsWhenOneIsNotInTheMode)
{
    thread().setLowLatency({1, 2, 3});
    onRequest = [&](int) { memory[2][0x2016] = 199; };
    EXPECT_THAT(framesAt({30000, 30000}),
                ElementsAre(ElementsAre(modeWrites(1), modeWrites(2), modeWrites(3)),
                            ElementsAre(check(1), check(2)), // the first that is not ends it
                            ElementsAre(modeWrites(1), modeWrites(2), modeWrites(3))));
    EXPECT_FALSE(thread().hasError());
    EXPECT_EQ("", lastError());
}

TEST_F(PollingThreadLowLatency, CheckPassesWith200Only)
{
    for (const uint32_t state : {0u, 1u, 199u, 200u, 201u, 0x100000C8u, 0xFFFFFFFFu}) {
        PollingThread polling(&link, &project, 1, &clock);
        polling.setLowLatency({1});
        onRequest = [&](int) { memory[1][0x2016] = state; };
        int idles = 0;
        int queuedAgain = -1;
        onIdle = [&](int) {
            if (++idles == 1)
                clock.advance(30000);
            if (idles == 2) {
                queuedAgain = polling.getAddrArgQueueSize(1);
                polling.stop();
            }
        };
        polling.run();
        EXPECT_EQ(state == 200 ? 0 : 4, queuedAgain) << state;
    }
}

TEST_F(PollingThreadLowLatency, IsCheckedAgainThirtySecondsAfterAFailedCheck)
{
    thread().setLowLatency({1});
    onRequest = [&](int) { memory[1][0x2016] = 0; };
    // The check takes the 20 ms of its pause.
    EXPECT_THAT(framesAt({30000, 30030, 60019, 60020, 60030}),
                ElementsAre(ElementsAre(modeWrites(1)), ElementsAre(check(1)),
                            ElementsAre(modeWrites(1)), IsEmpty(), ElementsAre(check(1)),
                            ElementsAre(modeWrites(1))));
}

TEST_F(PollingThreadLowLatency, WatchdogIsDisarmedByThePassedCheckThatFollowsAFailedOne)
{
    thread().setLowLatency({1});
    onRequest = [&](int request) {
        if (request == 1)
            memory[1][0x2016] = 0; // the first writes had no effect
    };
    EXPECT_THAT(framesAt({30000, 30100, 60100, 90200, 500000}),
                ElementsAre(ElementsAre(modeWrites(1)), ElementsAre(check(1)),
                            ElementsAre(modeWrites(1)), ElementsAre(check(1)), IsEmpty(),
                            IsEmpty()));
}

TEST_F(PollingThreadLowLatency, CheckTakesOneTryWhateverTheRetries)
{
    link.retries = 3;
    thread().setLowLatency({1});
    mute = {1};
    EXPECT_THAT(framesAt({30000}).back(), ElementsAre(check(1)));
    EXPECT_EQ("read station id#1 start address 00002016:DMC50 no response", lastError());
}

TEST_F(PollingThreadLowLatency, WritesAreRefusedAfterACheckWithoutAnswer)
{
    thread().setLowLatency({1});
    mute = {1};
    EXPECT_THAT(framesAt({30000, 30100, 60100}),
                ElementsAre(ElementsAre(modeWrites(1)), ElementsAre(check(1)), IsEmpty(),
                            ElementsAre(check(1))));
}

TEST_F(PollingThreadLowLatency, WritesFollowTheNextCheckThatIsAnswered)
{
    thread().setLowLatency({1});
    mute = {1};
    onRequest = [&](int request) {
        if (request == 2) {
            mute.clear();
            memory[1].clear();
        }
    };
    EXPECT_THAT(framesAt({30000, 60100, 60200, 90300}),
                ElementsAre(ElementsAre(modeWrites(1)), ElementsAre(check(1)),
                            ElementsAre(check(1)), ElementsAre(modeWrites(1)),
                            ElementsAre(check(1))));
}

TEST_F(PollingThreadLowLatency, CheckOfAGoodReplyWithoutDataFails)
{
    thread().setLowLatency({1});
    controllers = [](const std::string &request) {
        return frames::reply(frames::station(request));
    };
    EXPECT_THAT(framesAt({30000, 30100}).back(), ElementsAre(modeWrites(1)));
}

TEST_F(PollingThreadLowLatency, CheckClearsTheErrorWithAGoodReply)
{
    thread().setLowLatency({1});
    announce({command("2-NA20")});
    mute = {2};
    std::vector<bool> errors;
    onRequest = [&](int) {
        if (frames::station(link.sent().back()) == 2) {
            errors.push_back(thread().hasError());
            clock.advance(WatchdogPeriod / 2);
        }
    };
    runRequests(5);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(1), readFrame(2, 0x20, 1),
                                         readFrame(2, 0x20, 1), check(1), readFrame(2, 0x20, 1)));
    EXPECT_THAT(errors, ElementsAre(false, true, false));
}

TEST_F(PollingThreadLowLatency, StationThatWasNeverToldPassesWhenItIsInTheMode)
{
    thread().setLowLatency({1});
    onIdle = [&](int idle) {
        if (idle == 1) {
            thread().setLowLatency({2});
            memory[2][0x2016] = 200;
            clock.set(start + 30000);
        }
        if (idle == 2)
            clock.set(start + 100000);
    };
    runIdles(3);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(1), check(2)));
}

TEST_F(PollingThreadLowLatency, CheckOfNoStationPasses)
{
    thread().setLowLatency({1});
    onIdle = [&](int idle) {
        if (idle == 1) {
            thread().setLowLatency({});
            clock.set(start + 30000);
        }
        if (idle == 2) { // disarmed by then: the station is not checked
            thread().setLowLatency({1});
            clock.set(start + 100000);
        }
    };
    runIdles(3);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(1)));
}

// ---- The renewal --------------------------------------------------------------------------------

TEST_F(PollingThreadLowLatency, IsRenewedEveryNineMinutes)
{
    thread().setLowLatency({1});
    EXPECT_THAT(
        framesAt({30000, 539999, 540000, 540100, 570000, 570101, 1079999, 1080000, 1080100}),
        ElementsAre(ElementsAre(modeWrites(1)), ElementsAre(check(1)), IsEmpty(),
                    IsEmpty(),                  // the renewal ends its pass
                    ElementsAre(modeWrites(1)), // so its writes go in the next one
                    ElementsAre(check(1)), IsEmpty(), IsEmpty(), IsEmpty(),
                    ElementsAre(modeWrites(1))));
}

TEST_F(PollingThreadLowLatency, WatchdogCountsAnewFromTheRenewal)
{
    thread().setLowLatency({1});
    // The first check is late, so that it falls into the pass of the renewal.
    EXPECT_THAT(framesAt({540000, 540100, 570019, 570020, 600000}),
                ElementsAre(ElementsAre(modeWrites(1)), ElementsAre(check(1)),
                            ElementsAre(modeWrites(1)), IsEmpty(), ElementsAre(check(1)),
                            IsEmpty()));
}

TEST_F(PollingThreadLowLatency, StationSetAfterTheStartIsSwitchedAtOnceOnATerminalLongUp)
{
    onIdle = [&](int idle) {
        if (idle == 1)
            thread().setLowLatency({2});
    };
    runIdles(3);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(2)));
}

TEST_F(PollingThreadLowLatency, StationSetAfterTheStartWaitsOnATerminalJustBooted)
{
    clock.set(0);
    onIdle = [&](int idle) {
        if (idle == 1) {
            thread().setLowLatency({2});
            clock.set(539999);
        }
        if (idle == 2) {
            EXPECT_THAT(link.sent(), IsEmpty());
            EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
            clock.set(540000);
        }
        if (idle == 3) {
            EXPECT_EQ(4, thread().getAddrArgQueueSize(2));
        }
    };
    runIdles(4);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(2)));
}

TEST_F(PollingThreadLowLatency, StationSetAfterTheStartIsCheckedThirtySecondsLater)
{
    onIdle = [&](int idle) {
        if (idle == 1)
            thread().setLowLatency({2});
        if (idle == 3)
            clock.advance(30000);
    };
    runIdles(4);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(2), check(2)));
}

TEST_F(PollingThreadLowLatency, StationThatLosesItsPowerBeforeTheCheckIsSwitchedAgain)
{
    thread().setLowLatency({1});
    onRequest = [&](int request) {
        if (request == 1)
            memory[1].clear();
    };
    framesAt({30000, 30100, 60200});
    EXPECT_EQ(200u, memory[1][0x2016]);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(1), check(1), modeWrites(1), check(1)));
}

TEST_F(PollingThreadLowLatency, StationThatLosesItsPowerLaterIsSwitchedWithTheRenewal)
{
    thread().setLowLatency({1});
    onRequest = [&](int request) {
        if (request == 2)
            memory[1][0x2014] = 0; // behind the check
    };
    framesAt({30000, 60000, 540000, 540100});
    EXPECT_EQ(200u, memory[1][0x2014]);
}

TEST_F(PollingThreadLowLatency, RenewalIsRefusedWhileTheErrorStands)
{
    thread().setLowLatency({1});
    announce({command("2-NA20")});
    mute = {2};
    onRequest = [&](int request) {
        if (request == 2)
            clock.advance(RenewPeriod); // while the poll of station 2 fails
        if (request == 3)
            mute.clear();
        if (request == 4)
            clock.advance(WatchdogPeriod);
    };
    runRequests(5);
    EXPECT_THAT(link.sent(), ElementsAre(modeWrites(1), readFrame(2, 0x20, 1),
                                         readFrame(2, 0x20, 1), readFrame(2, 0x20, 1), check(1)));
}

} // namespace
