#include "simulator/simulator.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

#include <QDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/cpl_frame.h"
#include "simulator/station.h"
#include "tests/simulator/folder.h"
#include "tests/simulator/port_user.h"
#include "tests/simulator/running_simulator.h"
#include "tests/support/frames.h"

namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

typedef RunningSimulator SimulatorExchange;
typedef RunningSimulator SimulatorRecord;
typedef RunningSimulator SimulatorLateReply;
typedef RunningSimulator SimulatorBabble;
typedef RunningSimulator SimulatorFault;
typedef RunningSimulator SimulatorRestart;
typedef RunningSimulator SimulatorThreads;

bool isCharacterDevice(const std::string &path)
{
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode);
}

int openDescriptors()
{
    return static_cast<int>(
        QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).count());
}

// ---- Exchanges ----------------------------------------------------------------------------------

TEST_F(SimulatorExchange, ReadsOverThePty)
{
    EXPECT_EQ(frames::reply(1, {5}), exchange());
}

TEST_F(SimulatorExchange, WritesOverThePty)
{
    EXPECT_EQ(frames::reply(1),
              user->exchange(frames::writeRequest(1, {{Word, 6}, {Word + 1, 0xFFFFFFFFu}})));

    EXPECT_EQ(6u, simulator.word(1, Word));
    EXPECT_EQ(frames::reply(1, {6, 0xFFFFFFFFu}),
              user->exchange(frames::readRequest(1, {Word, Word + 1})));
}

TEST_F(SimulatorExchange, SpeaksForEachStationOnItsOwn)
{
    simulator.setWord(2, Word, 7);

    EXPECT_EQ(frames::reply(1, {5}), exchange(1));
    EXPECT_EQ(frames::reply(2, {7}), exchange(2));
    EXPECT_EQ(frames::reply(1), user->exchange(frames::writeRequest(1, {{Word, 8}})));
    EXPECT_EQ(frames::reply(2, {7}), exchange(2));
}

TEST_F(SimulatorExchange, ShowsAWordThatIsSetFromTheSide)
{
    simulator.setWord(3, Word, 0xDEADBEEFu);
    EXPECT_EQ(frames::reply(3, {0xDEADBEEFu}), exchange(3));
}

TEST_F(SimulatorExchange, CarriesTheLongestFrames)
{
    const std::vector<uint32_t> addresses = frames::run(0x6000, 50);
    for (const uint32_t address : addresses)
        simulator.setWord(1, address, ~address);
    std::vector<uint32_t> words(addresses);
    for (uint32_t &word : words)
        word = ~word;

    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(frames::reply(1, words), user->exchange(frames::readRequest(1, addresses)));
}

// Otherwise whoever measures an exchange without a pace measures the pieces.
TEST_F(SimulatorExchange, WithoutAPaceSendsAReplyAsAWhole)
{
    const std::string reply = frames::reply(1, std::vector<uint32_t>(50, 7));
    for (const uint32_t address : frames::run(0x6000, 50))
        simulator.setWord(1, address, 7);
    for (int i = 0; i < 20; ++i) {
        user->send(frames::readRequest(1, frames::run(0x6000, 50)));
        ASSERT_EQ(reply, user->receiveSome(1000));
    }
}

TEST_F(SimulatorExchange, PassesEveryByteThrough)
{
    // What a terminal would turn into something else: end of file, interrupt, XON, erase.
    const std::string odd("\x02\x04\x03\x11\x13\x7F\x1A\xFF\x00\r\n", 11);
    user->send(odd);
    waitForRequests(1);

    EXPECT_THAT(simulator.requests(), ElementsAre(odd));
    EXPECT_EQ(frames::reply(1, {5}), exchange());
}

TEST_F(SimulatorExchange, TakesARequestByteByByte)
{
    for (const char byte : frames::readRequest(1, {Word}))
        user->send(std::string(1, byte));
    EXPECT_EQ(frames::reply(1, {5}), user->receiveLine());
}

TEST_F(SimulatorExchange, AnswersRequestsThatComeTogetherOneAfterTheOther)
{
    simulator.setWord(2, Word, 7);
    user->send(frames::readRequest(1, {Word}) + frames::readRequest(2, {Word}));

    EXPECT_EQ(frames::reply(1, {5}), user->receiveLine());
    EXPECT_EQ(frames::reply(2, {7}), user->receiveLine());
}

TEST_F(SimulatorExchange, IsSilentToWhatIsNotForItsStations)
{
    std::string wrongChecksum = frames::readRequest(1, {Word + 1});
    wrongChecksum[8] = '7';
    user->send("garbage\r\n" + wrongChecksum + frames::readRequest(9, {Word}) +
               frames::readRequest(1, {Word + 2}).substr(0, 10));

    EXPECT_EQ(frames::reply(1, {5}), exchange()); // and nothing before it
    EXPECT_FALSE(user->hasBytes());
}

TEST_F(SimulatorExchange, GoesOnWhenThePortIsClosedAndOpenedAgain)
{
    for (int i = 0; i < 5; ++i) {
        user.reset();
        user.reset(new PortUser(simulator.portName()));
        EXPECT_EQ(frames::reply(1, {5}), exchange());
    }
}

TEST_F(SimulatorExchange, ServesTwoUsersOfOnePort)
{
    PortUser other(simulator.portName());
    EXPECT_EQ(frames::reply(2, {5}), other.exchange(frames::readRequest(2, {Word})));
    EXPECT_EQ(frames::reply(1, {5}), exchange());
}

TEST_F(SimulatorExchange, GoesOnWhenNobodyReadsItsReplies)
{
    const std::string request = frames::readRequest(1, frames::run(Word, 50));
    for (int i = 0; i < 200; ++i) { // 80 kB of replies, more than a pty holds
        user->send(request);
        waitForRequests(static_cast<size_t>(i) + 1);
    }
    while (user->hasBytes())
        user->receiveSome(1000);

    EXPECT_EQ(frames::reply(2, {5}), exchange(2));
}

TEST_F(SimulatorExchange, LetsTheProcessLive)
{
    const auto processValue = [this] {
        const uint32_t address = StationMap::FirstLoop + StationMap::ProcessValue;
        CplReply reply;
        EXPECT_EQ(CplVerdict::Good,
                  decodeReply(user->exchange(frames::readRequest(1, {address})), &reply));
        return reply.words.at(0);
    };
    const uint32_t cold = processValue();
    const Stopwatch waited;
    while (processValue() < cold + 20 && waited.ms() < PortUser::PatienceMs)
        pause(10);

    EXPECT_LE(cold + 20, processValue());
}

// ---- What it keeps a record of ------------------------------------------------------------------

TEST_F(SimulatorRecord, KeepsEveryFrameSoundOrNot)
{
    const std::string unknown = frames::framed("0100XZZ");
    const std::string elsewhere = frames::readRequest(9, {Word});
    const std::string broken = "\x02nonsense\n";
    user->send("dropped" + broken + elsewhere + unknown);
    EXPECT_EQ(frames::reply(1, {}, 0x40), user->receiveLine());

    EXPECT_THAT(simulator.requests(), ElementsAre(broken, elsewhere, unknown));
}

TEST_F(SimulatorRecord, KeepsTheLast1000Frames)
{
    for (uint32_t i = 0; i < 1003; ++i)
        user->exchange(frames::readRequest(1, {i}));

    const std::vector<std::string> requests = simulator.requests();
    ASSERT_EQ(1000u, Simulator::RequestsKept);
    ASSERT_EQ(Simulator::RequestsKept, requests.size());
    EXPECT_EQ(frames::readRequest(1, {3}), requests.front());
    EXPECT_EQ(frames::readRequest(1, {1002}), requests.back());
}

TEST_F(SimulatorRecord, CountsEveryByte)
{
    const std::string request = frames::readRequest(1, {Word});
    user->send("garbage");
    user->exchange(request);
    user->exchange(request);

    EXPECT_EQ(7 + 2 * request.size(), simulator.bytesIn());
    EXPECT_EQ(2 * frames::reply(1, {5}).size(), simulator.bytesOut());
}

// ---- Faults on the wire -------------------------------------------------------------------------

TEST_F(SimulatorFault, ChangesWhatIsSentAndLeavesTheNextReplyWhole)
{
    const std::string request = frames::readRequest(1, {Word});
    const std::string reply = frames::reply(1, {5});
    const struct {
        const char *fault;
        std::string sent;
    } cases[] = {
        {"drop:count=1", ""},
        {"cut:after=7:count=1", reply.substr(0, 7)},
        {"nolf:count=1", reply.substr(0, reply.size() - 1)},
        {"echo:count=1", request + reply},
        {"station:as=2:count=1", frames::reply(2, {5})},
        {"endcode:code=4A:count=1", frames::reply(1, {}, 0x4A)},
        {"swap:at=1:count=1", "\x02"
                              "10" +
                                  reply.substr(3)},
        {"flip:at=0:count=1", "\x03" + reply.substr(1)},
    };
    for (const auto &each : cases) {
        simulator.addFault(fault(each.fault));
        user->send(request + request);
        EXPECT_EQ(each.sent + reply, user->receive(each.sent.size() + reply.size())) << each.fault;
        EXPECT_FALSE(user->hasBytes()) << each.fault;
    }
}

TEST_F(SimulatorFault, EndsWhenTheFaultsAreCleared)
{
    simulator.addFault(fault("endcode:code=41"));
    EXPECT_EQ(frames::reply(1, {}, 0x41), exchange());
    simulator.clearFaults();
    EXPECT_EQ(frames::reply(1, {5}), exchange());
}

TEST_F(SimulatorFault, MakesAStationForgetItsModeInAPowerCycle)
{
    user->exchange(frames::writeRequest(1, {{StationMap::LowLatencyCommand, 200}}));
    ASSERT_EQ(200u, simulator.word(1, StationMap::LowLatencyState));
    simulator.addFault(fault("powercycle:count=1"));
    user->send(frames::readRequest(1, {Word}));

    EXPECT_EQ(frames::reply(1, {0}),
              user->exchange(frames::readRequest(1, {StationMap::LowLatencyState})));
}

TEST(SimulatorOptionsFaults, StrikeFromTheFirstReplyOn)
{
    SimulatorOptions options = unpaced();
    options.faults = {fault("station:as=9"), fault("endcode:code=41:station=2")};
    Simulator simulator(options);
    start(&simulator);
    PortUser user(simulator.portName());

    EXPECT_EQ(frames::reply(9, {0}), user.exchange(frames::readRequest(1, {Word})));
    EXPECT_EQ(frames::reply(9, {}, 0x41), user.exchange(frames::readRequest(2, {Word})));
}

TEST_F(SimulatorLateReply, ComesWholeAndNotBeforeItsTime)
{
    simulator.addFault(fault("late:ms=200"));
    const Stopwatch waited;

    EXPECT_EQ(frames::reply(1, {5}), exchange());

    EXPECT_LE(200, waited.ms());
}

TEST_F(SimulatorLateReply, IsOvertakenByOneThatIsNotLate)
{
    simulator.addFault(fault("late:ms=200:station=2"));
    user->send(frames::readRequest(2, {Word}) + frames::readRequest(1, {Word}));

    EXPECT_EQ(frames::reply(1, {5}), user->receiveLine());
    EXPECT_EQ(frames::reply(2, {5}), user->receiveLine());
}

TEST_F(SimulatorLateReply, CarriesTheWordsOfTheTimeOfItsRequest)
{
    simulator.addFault(fault("late:ms=100:count=1"));
    user->send(frames::readRequest(1, {Word}));
    waitForRequests(1);
    simulator.setWord(1, Word, 6);

    EXPECT_EQ(frames::reply(1, {5}), user->receiveLine());
    EXPECT_EQ(frames::reply(1, {6}), exchange());
}

TEST_F(SimulatorLateReply, DoesNotHoldUpStopping)
{
    simulator.addFault(fault("late:ms=600000"));
    user->send(frames::readRequest(1, {Word}));
    waitForRequests(1);
    const Stopwatch waited;

    simulator.stop();

    EXPECT_GT(PortUser::PatienceMs, waited.ms());
}

TEST_F(SimulatorBabble, SendsBytesWithoutLineFeedAndAnswersNobody)
{
    simulator.addFault(fault("babble:count=1"));
    user->send(frames::readRequest(1, {Word}));
    EXPECT_EQ(std::string(50, 'U'), user->receive(50));
    user->send(frames::readRequest(2, {Word}));
    waitForRequests(2);

    EXPECT_EQ(std::string(50, 'U'), user->receive(50));
}

TEST_F(SimulatorBabble, EndsWhenTheFaultsAreCleared)
{
    simulator.addFault(fault("babble"));
    user->send(frames::readRequest(1, {Word}));
    user->receive(20);
    user->send(frames::readRequest(2, {Word}));
    waitForRequests(2);

    simulator.clearFaults();
    const std::string rest = exchange(3);

    EXPECT_EQ(frames::reply(3, {5}), rest.substr(rest.find_first_not_of('U')));
}

TEST_F(SimulatorBabble, EndsWithItsTime)
{
    simulator.addFault(fault("babble:ms=150:count=1"));
    const Stopwatch waited;
    user->send(frames::readRequest(1, {Word}));
    const std::string received = receiveWhileAsking(2);

    EXPECT_LE(150, waited.ms());
    EXPECT_THAT(received.substr(received.find_first_not_of('U')),
                StartsWith(frames::reply(2, {5})));
}

TEST_F(SimulatorBabble, SwallowsRepliesOnTheirWay)
{
    simulator.addFault(fault("late:ms=100:station=2"));
    simulator.addFault(fault("babble:ms=200:station=1:count=1"));
    user->send(frames::readRequest(2, {Word}) + frames::readRequest(1, {Word}));
    const std::string received = receiveWhileAsking(3);

    EXPECT_THAT(received.substr(received.find_first_not_of('U')),
                StartsWith(frames::reply(3, {5})));
}

TEST_F(SimulatorBabble, DoesNotFillTheMachineWithoutAPace)
{
    simulator.addFault(fault("babble"));
    const Stopwatch waited;
    user->send(frames::readRequest(1, {Word}));
    user->receive(600);
    const double sent = static_cast<double>(simulator.bytesOut());

    EXPECT_GE(waited.ms() * 38400 / 11 / 1000 + 1, sent);
}

TEST_F(SimulatorBabble, DoesNotHoldUpStopping)
{
    simulator.addFault(fault("babble"));
    user->send(frames::readRequest(1, {Word}));
    user->receive(20);
    const Stopwatch waited;

    simulator.stop();

    EXPECT_GT(PortUser::PatienceMs, waited.ms());
}

// ---- Starting and stopping ----------------------------------------------------------------------

TEST(SimulatorStart, NamesItsPty)
{
    Simulator simulator(unpaced());
    EXPECT_EQ("", simulator.portName());

    start(&simulator);

    EXPECT_THAT(simulator.portName(), StartsWith("/dev/pts/"));
    EXPECT_TRUE(isCharacterDevice(simulator.portName()));
    simulator.stop();
    EXPECT_EQ("", simulator.portName());
}

TEST(SimulatorStart, OfARunningOneIsRefusedAndChangesNothing)
{
    Simulator simulator(unpaced());
    start(&simulator);
    const std::string port = simulator.portName();
    PortUser user(port);
    std::string error;

    EXPECT_FALSE(simulator.start(&error));

    EXPECT_EQ("the simulator runs already", error);
    EXPECT_EQ(port, simulator.portName());
    EXPECT_EQ(frames::reply(1, {0}), user.exchange(frames::readRequest(1, {Word})));
}

TEST(SimulatorStart, IsNotNeededForWordsAndFaults)
{
    Simulator simulator(unpaced());
    simulator.setWord(1, Word, 5);
    simulator.addFault(fault("drop"));
    simulator.clearFaults();

    EXPECT_EQ(5u, simulator.word(1, Word));
    EXPECT_EQ(0u, simulator.word(9, Word));
    EXPECT_THAT(simulator.requests(), IsEmpty());
    EXPECT_EQ(0u, simulator.bytesIn());
    EXPECT_EQ(0u, simulator.bytesOut());
    simulator.stop();
}

TEST(SimulatorStop, HangsUp)
{
    Simulator simulator(unpaced());
    start(&simulator);
    PortUser user(simulator.portName());

    simulator.stop();
    EXPECT_TRUE(user.hangsUp());
    simulator.stop(); // once more changes nothing
}

TEST(SimulatorStop, ComesWithTheDestructor)
{
    std::unique_ptr<PortUser> user;
    {
        Simulator simulator(unpaced());
        start(&simulator);
        user.reset(new PortUser(simulator.portName()));
    }
    EXPECT_TRUE(user->hangsUp());
}

TEST(SimulatorStop, LeavesNothingOpenAfter20Times)
{
    const Folder folder;
    SimulatorOptions options = unpaced();
    options.traceFile = folder.path("trace");
    options.ptyLink = folder.path("line");
    const int before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        Simulator simulator(options);
        start(&simulator);
        if (i % 2 == 0)
            PortUser(simulator.portName()).exchange(frames::readRequest(1, {Word}));
    }
    EXPECT_EQ(before, openDescriptors());
}

TEST(SimulatorStop, LeavesNothingOpenWhenStartingFailed)
{
    const Folder folder;
    SimulatorOptions options = unpaced();
    options.traceFile = folder.path("trace");
    options.ptyLink = folder.path("no/such/folder");
    Simulator simulator(options);
    const int before = openDescriptors();

    EXPECT_NE("", startError(&simulator));

    EXPECT_EQ(before, openDescriptors());
}

TEST_F(SimulatorRestart, GivesANewPortWithTheSameWordsAndFaults)
{
    simulator.addFault(fault("station:as=9"));
    for (int i = 0; i < 20; ++i) {
        user.reset();
        simulator.stop();
        start(&simulator);
        user.reset(new PortUser(simulator.portName()));
        ASSERT_EQ(frames::reply(9, {5}), exchange());
    }
}

TEST_F(SimulatorRestart, CountsAndRecordsFromTheBeginning)
{
    exchange();
    simulator.stop();
    EXPECT_EQ(1u, simulator.requests().size()); // still to be read
    EXPECT_EQ(25u, simulator.bytesIn());

    start(&simulator);

    EXPECT_THAT(simulator.requests(), IsEmpty());
    EXPECT_EQ(0u, simulator.bytesIn());
    EXPECT_EQ(0u, simulator.bytesOut());
}

TEST_F(SimulatorRestart, SendsNothingThatWasOnItsWayBefore)
{
    simulator.addFault(fault("late:ms=50:station=1:count=1"));
    simulator.addFault(fault("babble:station=2:count=1"));
    user->send(frames::readRequest(1, {Word}));
    waitForRequests(1);
    simulator.stop();
    start(&simulator);
    pause(100);
    user.reset(new PortUser(simulator.portName()));
    user->send(frames::readRequest(2, {Word}));
    user->receive(20);
    simulator.stop();
    start(&simulator);
    user.reset(new PortUser(simulator.portName()));

    EXPECT_EQ(frames::reply(3, {5}), exchange(3));
}

TEST_F(SimulatorRestart, ForgetsHalfARequest)
{
    const std::string request = frames::readRequest(1, {Word});
    user->send(request.substr(0, 10));
    const Stopwatch waited;
    while (simulator.bytesIn() < 10 && waited.ms() < PortUser::PatienceMs)
        pause(1);
    simulator.stop();
    start(&simulator);
    user.reset(new PortUser(simulator.portName()));

    user->send(request.substr(10));

    EXPECT_EQ(frames::reply(2, {5}), exchange(2));
}

TEST_F(SimulatorRestart, FindsTheProcessFurtherOn)
{
    const uint32_t address = StationMap::FirstLoop + StationMap::ProcessValue;
    exchange();
    const uint32_t before = simulator.word(1, address);
    simulator.stop();
    pause(250); // two steps at the least, of 20 each
    start(&simulator);
    user.reset(new PortUser(simulator.portName()));
    exchange();

    EXPECT_LT(before, simulator.word(1, address));
}

TEST(SimulatorSeed, GivesTheSameProgramsAgain)
{
    SimulatorOptions options = unpaced();
    options.seed = 4711;
    const Simulator one(options);
    const Simulator again(options);
    options.seed = 4712;
    const Simulator other(options);

    bool differs = false;
    for (const uint32_t address : frames::run(StationMap::FirstStep, StationMap::StepValues)) {
        EXPECT_EQ(one.word(1, address), again.word(1, address));
        differs = differs || one.word(1, address) != other.word(1, address);
    }
    EXPECT_TRUE(differs);
}

// ---- Threads ------------------------------------------------------------------------------------

TEST_F(SimulatorThreads, SetAndReadTheirWordsWhileTheLineIsBusy)
{
    std::atomic<int> wrong(0);
    std::vector<std::thread> threads;
    for (uint32_t number = 0; number < 8; ++number) {
        threads.emplace_back([this, number, &wrong] {
            for (uint32_t i = 0; i < 300; ++i) {
                simulator.setWord(2, 0x6000 + number, i);
                if (simulator.word(2, 0x6000 + number) != i)
                    ++wrong;
            }
        });
    }
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(frames::reply(1, {5}), exchange());
    for (std::thread &thread : threads)
        thread.join();

    EXPECT_EQ(0, wrong);
    EXPECT_EQ(frames::reply(2, std::vector<uint32_t>(8, 299)),
              user->exchange(frames::readRequest(2, frames::run(0x6000, 8))));
}

TEST_F(SimulatorThreads, AskEverythingWhileItStartsAndStops)
{
    std::atomic<bool> done(false);
    std::vector<std::thread> threads(4);
    for (std::thread &thread : threads) {
        thread = std::thread([this, &done] {
            while (!done) {
                simulator.addFault(fault("noise:count=1"));
                simulator.clearFaults();
                simulator.setWord(1, Word, simulator.word(1, Word));
                EXPECT_THAT(simulator.portName(), testing::AnyOf("", StartsWith("/dev/pts/")));
                EXPECT_GE(Simulator::RequestsKept, simulator.requests().size());
                EXPECT_GE(25u, simulator.bytesIn()); // one request a run
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        user.reset();
        simulator.stop();
        start(&simulator);
        user.reset(new PortUser(simulator.portName()));
        EXPECT_THAT(exchange(), HasSubstr(frames::reply(1, {5})));
    }
    done = true;
    for (std::thread &thread : threads)
        thread.join();
}

TEST(SimulatorMany, RunBesideEachOther)
{
    std::vector<std::unique_ptr<Simulator>> simulators;
    for (uint32_t i = 0; i < 10; ++i) {
        simulators.emplace_back(new Simulator(unpaced()));
        simulators.back()->setWord(1, Word, i);
        start(simulators.back().get());
    }
    for (uint32_t i = 0; i < 10; ++i)
        EXPECT_EQ(frames::reply(1, {i}),
                  PortUser(simulators[i]->portName()).exchange(frames::readRequest(1, {Word})));
}

} // namespace
