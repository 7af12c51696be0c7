#include "simulator/station.h"

#include <cmath>
#include <cstdlib>
#include <set>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/frames.h"

using namespace StationMap;

namespace
{

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

typedef std::vector<std::pair<uint32_t, uint32_t>> Pairs;

const int64_t Second = 1000;
const uint32_t Loop1 = FirstLoop;
const uint32_t Loop2 = FirstLoop + LoopStride;
const double Ambient = 250.0; // 25 degrees, in 0.1
const double Lag = 20000.0;   // ms

CplRequest readOf(const std::vector<uint32_t> &addresses)
{
    CplRequest request;
    request.station = 1;
    request.command = CplRequest::ReadList;
    request.addresses = addresses;
    return request;
}

CplRequest writeOf(const Pairs &pairs)
{
    CplRequest request;
    request.station = 1;
    request.command = CplRequest::WriteList;
    for (const auto &pair : pairs) {
        request.addresses.push_back(pair.first);
        request.values.push_back(pair.second);
    }
    return request;
}

CplRequest runOf(uint32_t first, unsigned count)
{
    CplRequest request = writeOf({});
    request.command = CplRequest::WriteRun;
    request.addresses = frames::run(first, count);
    request.values = frames::run(100, count);
    return request;
}

uint8_t endCodeOf(const CplRequest &request)
{
    Station station(1, 1);
    return station.handle(request).endCode;
}

/// A word as the signed number that it shows.
int32_t shown(const Station &station, uint32_t address)
{
    return static_cast<int32_t>(station.word(address));
}

// ---- The process --------------------------------------------------------------------------------

TEST(StationProcess, BeginsNearAmbientWithFullOutputAndTheLowAlarm)
{
    const Station station(1, 1);

    EXPECT_NEAR(Ambient, shown(station, Loop1 + ProcessValue), 25);
    EXPECT_EQ(1000, shown(station, Loop1 + Output));
    EXPECT_EQ(AlarmLow, station.word(Loop1 + Alarms));
}

TEST(StationProcess, HasSetPointsThatDifferFromLoopToLoopAndStationToStation)
{
    const Station one(1, 1);
    const Station two(2, 1);

    const std::set<uint32_t> setPoints = {one.word(Loop1 + SetPoint), one.word(Loop2 + SetPoint),
                                          two.word(Loop1 + SetPoint), two.word(Loop2 + SetPoint)};

    EXPECT_EQ(4u, setPoints.size());
    EXPECT_THAT(setPoints, Each(testing::Gt(Ambient)));
}

TEST(StationProcess, FollowsTheSetPointWithALagOf20Seconds)
{
    Station station(1, 1);
    const double target = shown(station, Loop1 + SetPoint);
    station.advanceTo(0);
    for (int64_t now = 0; now <= 100 * Second; now += Second) {
        station.advanceTo(now);
        const double left = (target - Ambient) * std::exp(-static_cast<double>(now) / Lag);
        EXPECT_NEAR(target - left, shown(station, Loop1 + ProcessValue), 25) << now;
    }
}

TEST(StationProcess, EndsAtTheSetPointWithHalfTheOutputAndTheReachedBit)
{
    Station station(1, 1);
    station.advanceTo(0);
    station.advanceTo(600 * Second);

    for (const uint32_t loop : {Loop1, Loop2}) {
        EXPECT_NEAR(shown(station, loop + SetPoint), shown(station, loop + ProcessValue), 3);
        EXPECT_NEAR(500, shown(station, loop + Output), 2);
        EXPECT_EQ(AlarmReached, station.word(loop + Alarms));
    }
}

TEST(StationProcess, FollowsASetPointThatWasWritten)
{
    Station station(1, 1);
    station.advanceTo(0);
    const uint32_t other = station.word(Loop2 + SetPoint);
    ASSERT_EQ(EndGood, station.handle(writeOf({{Loop1 + SetPoint, 1234}})).endCode);
    station.advanceTo(600 * Second);

    EXPECT_EQ(1234, shown(station, Loop1 + SetPoint));
    EXPECT_NEAR(1234, shown(station, Loop1 + ProcessValue), 3);
    EXPECT_EQ(other, station.word(Loop2 + SetPoint));
    EXPECT_NEAR(other, shown(station, Loop2 + ProcessValue), 3);
}

TEST(StationProcess, TakesTheSetPointAsASignedNumber)
{
    Station station(1, 1);
    station.setWord(Loop1 + SetPoint, static_cast<uint32_t>(-100));
    station.advanceTo(0);
    station.advanceTo(600 * Second);

    EXPECT_NEAR(-100, shown(station, Loop1 + ProcessValue), 3);
}

TEST(StationProcess, BearsTheSetPointsFurthestOut)
{
    for (const uint32_t setPoint : {0x7FFFFFFFu, 0x80000000u}) {
        Station station(1, 1);
        station.setWord(Loop1 + SetPoint, setPoint);
        station.advanceTo(0);
        station.advanceTo(10 * Second);
        EXPECT_EQ(setPoint == 0x7FFFFFFFu ? AlarmLow : AlarmHigh, station.word(Loop1 + Alarms));
        EXPECT_EQ(setPoint == 0x7FFFFFFFu ? 1000u : 0u, station.word(Loop1 + Output));
    }
}

TEST(StationProcess, CoolsWithoutOutputAndWithTheHighAlarm)
{
    Station station(1, 1);
    station.advanceTo(0);
    station.advanceTo(600 * Second);
    station.setWord(Loop1 + SetPoint, 1000);
    station.advanceTo(601 * Second);

    EXPECT_EQ(0u, station.word(Loop1 + Output));
    EXPECT_EQ(AlarmHigh, station.word(Loop1 + Alarms));
}

uint32_t alarmsOf(int deviation)
{
    uint32_t alarms = 0;
    if (deviation > 100)
        alarms |= AlarmHigh;
    if (deviation < -100)
        alarms |= AlarmLow;
    if (std::abs(deviation) <= 10)
        alarms |= AlarmReached;
    return alarms;
}

/// Runs step by step, expects the alarm bits that fit what is shown, and tells which deviations
/// from the set point it met.
std::set<int> deviationsMet(Station *station, int64_t from, int64_t to)
{
    std::set<int> met;
    for (int64_t now = from; now <= to; now += 100) {
        station->advanceTo(now);
        const int deviation =
            shown(*station, Loop1 + ProcessValue) - shown(*station, Loop1 + SetPoint);
        EXPECT_EQ(alarmsOf(deviation), station->word(Loop1 + Alarms)) << deviation;
        met.insert(deviation);
    }
    return met;
}

TEST(StationProcess, RaisesEachAlarmOnItsSideOfTheBound)
{
    Station station(1, 1);
    const std::set<int> heating = deviationsMet(&station, 0, 200 * Second);
    EXPECT_TRUE(heating.count(-101) && heating.count(-100)) << "bound not met";
    EXPECT_TRUE(heating.count(-11) && heating.count(-10)) << "bound not met";

    station.setWord(Loop1 + SetPoint, 1000);
    const std::set<int> cooling = deviationsMet(&station, 200 * Second + 100, 400 * Second);
    EXPECT_TRUE(cooling.count(101) && cooling.count(100)) << "bound not met";
    EXPECT_TRUE(cooling.count(11) && cooling.count(10)) << "bound not met";
}

TEST(StationProcess, KeepsTheOutputBetween0And1000AndNearItsRule)
{
    Station station(1, 1);
    for (int64_t now = 0; now <= 200 * Second; now += 100) {
        station.advanceTo(now);
        const double missing =
            shown(station, Loop1 + SetPoint) - shown(station, Loop1 + ProcessValue);
        const double rule = std::min(1000.0, std::max(0.0, 500 + 2 * missing));
        EXPECT_NEAR(rule, shown(station, Loop1 + Output), 5);
    }
}

TEST(StationProcess, StepsEvery100Milliseconds)
{
    Station station(1, 1);
    station.advanceTo(5000);
    const uint32_t before = station.word(Loop1 + ProcessValue);

    station.advanceTo(5099);
    EXPECT_EQ(before, station.word(Loop1 + ProcessValue));
    station.advanceTo(5100);
    EXPECT_LT(before, station.word(Loop1 + ProcessValue)); // 20 in a step, the noise is less
}

TEST(StationProcess, TakesTheFirstTimeAsItsOriginWhateverItIs)
{
    Station early(1, 1);
    Station late(1, 1);
    early.advanceTo(0);
    early.advanceTo(30 * Second);
    late.advanceTo(987654321);
    late.advanceTo(987654321 + 30 * Second);

    EXPECT_EQ(early.word(Loop1 + ProcessValue), late.word(Loop1 + ProcessValue));
}

TEST(StationProcess, IsTheSameInOneStrideAndInManySteps)
{
    Station strides(1, 1);
    Station steps(1, 1);
    strides.advanceTo(0);
    strides.advanceTo(30 * Second);
    for (int64_t now = 0; now <= 30 * Second; now += 33)
        steps.advanceTo(now);
    steps.advanceTo(30 * Second);

    EXPECT_EQ(strides.word(Loop2 + ProcessValue), steps.word(Loop2 + ProcessValue));
}

TEST(StationProcess, DoesNothingWhenTimeGoesBack)
{
    Station station(1, 1);
    station.advanceTo(0);
    station.advanceTo(10 * Second);
    const uint32_t before = station.word(Loop1 + ProcessValue);

    station.advanceTo(5 * Second);
    station.advanceTo(10 * Second);

    EXPECT_EQ(before, station.word(Loop1 + ProcessValue));
}

TEST(StationProcess, CatchesUpWithAThousandYearsAtOnce)
{
    const int64_t year = 365LL * 24 * 3600 * Second;
    Station station(1, 1);
    station.advanceTo(0);
    station.advanceTo(1000 * year); // step by step this would take hours

    EXPECT_EQ(AlarmReached, station.word(Loop1 + Alarms));
}

TEST(StationProcess, ShowsItsOwnValuesAgainAfterTheyWereOverwritten)
{
    Station station(1, 1);
    station.advanceTo(0);
    ASSERT_EQ(EndGood, station.handle(writeOf({{Loop1 + ProcessValue, 99999}})).endCode);
    EXPECT_EQ(99999u, station.word(Loop1 + ProcessValue));

    station.advanceTo(100);

    EXPECT_NEAR(290, shown(station, Loop1 + ProcessValue), 25);
}

// ---- Seeds and programs -------------------------------------------------------------------------

std::vector<uint32_t> programOf(const Station &station)
{
    std::vector<uint32_t> words;
    for (uint32_t step = 0; step < StepCount; ++step) {
        for (uint32_t value = 0; value < StepValues; ++value)
            words.push_back(station.word(FirstStep + step * StepStride + value));
    }
    return words;
}

std::vector<uint32_t> processOf(Station *station)
{
    std::vector<uint32_t> words;
    for (int64_t now = 0; now < 10 * Second; now += 100) {
        station->advanceTo(now);
        words.push_back(station->word(Loop1 + ProcessValue));
        words.push_back(station->word(Loop2 + Output));
    }
    return words;
}

TEST(StationSeed, GivesTheSameValuesAgain)
{
    Station one(3, 77);
    Station again(3, 77);

    EXPECT_EQ(programOf(one), programOf(again));
    EXPECT_EQ(processOf(&one), processOf(&again));
}

TEST(StationSeed, GivesOtherValuesForAnotherSeedOrAnotherNumber)
{
    Station one(3, 77);
    Station otherSeed(3, 78);
    Station otherNumber(4, 77);

    EXPECT_NE(programOf(one), programOf(otherSeed));
    EXPECT_NE(processOf(&one), processOf(&otherSeed));
    EXPECT_NE(programOf(one), programOf(otherNumber));
}

TEST(StationProgram, Has32StepsOf24ValuesBelow10000WithNothingBetween)
{
    const Station station(1, 1);

    const std::vector<uint32_t> program = programOf(station);
    EXPECT_EQ(32u * 24u, program.size());
    EXPECT_THAT(program, Each(testing::Lt(10000u)));
    EXPECT_LT(700u, std::set<uint32_t>(program.begin(), program.end()).size());
    EXPECT_EQ(0u, station.word(FirstStep - 1));
    for (uint32_t step = 0; step < StepCount; ++step) {
        for (uint32_t gap = StepValues; gap < StepStride; ++gap)
            EXPECT_EQ(0u, station.word(FirstStep + step * StepStride + gap));
    }
    EXPECT_EQ(0u, station.word(FirstStep + StepCount * StepStride));
}

TEST(StationProgram, KeepsWhatIsWrittenIntoIt)
{
    Station station(1, 1);
    const uint32_t lastValue = FirstStep + 31 * StepStride + 23;

    ASSERT_EQ(EndGood, station.handle(writeOf({{FirstStep, 1}, {lastValue, 2}})).endCode);
    station.advanceTo(0);
    station.advanceTo(60 * Second);

    EXPECT_THAT(station.handle(readOf({FirstStep, lastValue})).words, ElementsAre(1u, 2u));
}

// ---- Requests -----------------------------------------------------------------------------------

TEST(StationReply, CarriesTheStationsNumberAndTheRequestsSubAddress)
{
    Station station(0xAB, 1);
    CplRequest request = readOf({0x5000});
    request.subAddress = 7;

    const CplReply reply = station.handle(request);

    EXPECT_EQ(0xAB, reply.station);
    EXPECT_EQ(7, reply.subAddress);
    EXPECT_EQ(EndGood, reply.endCode);
}

TEST(StationReply, GivesWordsInTheOrderAskedAndZeroWhereNothingIs)
{
    Station station(1, 1);
    station.setWord(0x5000, 0xDEADBEEFu);
    station.setWord(0x5001, 5);

    EXPECT_THAT(station.handle(readOf({0x5001, 0x5002, 0x5000, 0x5001})).words,
                ElementsAre(5u, 0u, 0xDEADBEEFu, 5u));
}

TEST(StationReply, ToAWriteHasNoWords)
{
    Station station(1, 1);
    const CplReply reply = station.handle(writeOf({{0x5000, 5}, {0x5000, 6}}));

    EXPECT_EQ(EndGood, reply.endCode);
    EXPECT_THAT(reply.words, IsEmpty());
    EXPECT_EQ(6u, station.word(0x5000)); // the later pair is the last word
}

TEST(StationReply, ToARunWritesConsecutiveWords)
{
    Station station(1, 1);
    EXPECT_EQ(EndGood, station.handle(runOf(0x5000, 3)).endCode);

    EXPECT_THAT(station.handle(readOf(frames::run(0x4FFF, 5))).words,
                ElementsAre(0u, 100u, 101u, 102u, 0u));
}

TEST(StationReply, RefusesAnUnknownCommand)
{
    const CplRequest unknown; // that is what it is until a command was read
    EXPECT_EQ(EndUnknownCommand, endCodeOf(unknown));
    EXPECT_EQ(0x40, EndUnknownCommand);
}

TEST(StationReply, RefusesMoreItemsThanAFrameMayHave)
{
    EXPECT_EQ(EndGood, endCodeOf(readOf(frames::run(0, 50))));
    EXPECT_EQ(EndTooManyItems, endCodeOf(readOf(frames::run(0, 51))));
    EXPECT_EQ(EndGood, endCodeOf(writeOf(Pairs(25, std::make_pair(0x5000u, 1u)))));
    EXPECT_EQ(EndTooManyItems, endCodeOf(writeOf(Pairs(26, std::make_pair(0x5000u, 1u)))));
    EXPECT_EQ(EndGood, endCodeOf(runOf(0x5000, 50)));
    EXPECT_EQ(EndTooManyItems, endCodeOf(runOf(0x5000, 51)));
    EXPECT_EQ(0x42, EndTooManyItems);
}

TEST(StationReply, RefusesAddressesBehindTheLastOne)
{
    EXPECT_EQ(EndGood, endCodeOf(readOf({0, LastAddress})));
    EXPECT_EQ(EndAddressRange, endCodeOf(readOf({LastAddress + 1})));
    EXPECT_EQ(EndAddressRange, endCodeOf(readOf({0, 0xFFFFFFFFu})));
    EXPECT_EQ(EndGood, endCodeOf(writeOf({{LastAddress, 1}})));
    EXPECT_EQ(EndAddressRange, endCodeOf(writeOf({{LastAddress + 1, 1}})));
    EXPECT_EQ(EndGood, endCodeOf(runOf(LastAddress - 1, 2)));
    EXPECT_EQ(EndAddressRange, endCodeOf(runOf(LastAddress, 2)));
    EXPECT_EQ(EndAddressRange, endCodeOf(runOf(0xFFFFFFFFu, 2))); // wraps to 0
    EXPECT_EQ(0x41, EndAddressRange);
}

TEST(StationReply, NamesTooManyItemsBeforeAddressesOutOfRange)
{
    EXPECT_EQ(EndTooManyItems, endCodeOf(readOf(frames::run(LastAddress, 51))));
}

TEST(StationReply, OfARefusalHasNoWordsAndChangesNothing)
{
    Station station(1, 1);
    const CplReply read = station.handle(readOf({0x5000, LastAddress + 1}));
    const CplReply write = station.handle(writeOf({{0x5000, 5}, {LastAddress + 1, 6}}));

    EXPECT_EQ(EndAddressRange, read.endCode);
    EXPECT_THAT(read.words, IsEmpty());
    EXPECT_EQ(EndAddressRange, write.endCode);
    EXPECT_EQ(0u, station.word(0x5000));
}

TEST(StationWord, BehindTheLastAddressMayBeSetFromTheSide)
{
    Station station(1, 1);
    station.setWord(0xFFFFFFFFu, 9);
    EXPECT_EQ(9u, station.word(0xFFFFFFFFu));
}

// ---- Low latency --------------------------------------------------------------------------------

const Pairs LowLatencySetUp = {{0x2012, 1}, {0x2013, 5}, {0x2014, 200}, {0x2015, 5}};

TEST(StationLowLatency, IsOffAtFirst)
{
    Station station(1, 1);
    EXPECT_THAT(station.handle(readOf({LowLatencyState})).words, ElementsAre(0u));
}

TEST(StationLowLatency, IsOnAfterItsFourWrites)
{
    Station station(1, 1);
    ASSERT_EQ(EndGood, station.handle(writeOf(LowLatencySetUp)).endCode);

    EXPECT_THAT(station.handle(readOf(frames::run(LowLatencyBegin, 5))).words,
                ElementsAre(1u, 5u, 200u, 5u, 200u));
}

TEST(StationLowLatency, TakesNoOtherCommandThan200)
{
    for (const uint32_t command : {0u, 199u, 201u, 0xC8000000u, 0x100000C8u}) {
        Station station(1, 1);
        station.handle(writeOf(LowLatencySetUp));
        station.handle(writeOf({{LowLatencyCommand, command}}));
        EXPECT_EQ(0u, station.word(LowLatencyState)) << command;
    }
}

TEST(StationLowLatency, IsNotSwitchedByTheOtherWordsNorByWritingItsState)
{
    Station station(1, 1);
    EXPECT_EQ(
        EndGood,
        station
            .handle(writeOf(
                {{0x2012, 200}, {0x2013, 200}, {0x2015, 200}, {LowLatencyState, LowLatencyOn}}))
            .endCode);
    EXPECT_EQ(0u, station.word(LowLatencyState));

    station.handle(writeOf(LowLatencySetUp));
    station.handle(writeOf({{LowLatencyState, 0}}));
    EXPECT_EQ(LowLatencyOn, station.word(LowLatencyState));
}

TEST(StationLowLatency, IsSwitchedByARunAsWell)
{
    Station station(1, 1);
    CplRequest run = runOf(LowLatencyBegin, 5);
    run.values = {1, 5, 200, 5, 7};
    station.handle(run);

    EXPECT_EQ(LowLatencyOn, station.word(LowLatencyState));
}

TEST(StationPowerCycle, ForgetsTheLowLatencyWordsAndNothingElse)
{
    Station station(1, 1);
    const std::vector<uint32_t> program = programOf(station);
    station.handle(writeOf(LowLatencySetUp));
    station.handle(writeOf({{LowLatencyBegin - 1, 8}, {LowLatencyEnd, 9}, {0x5000, 10}}));
    station.handle(writeOf({{Loop1 + SetPoint, 1234}}));

    station.powerCycle();

    EXPECT_THAT(station.handle(readOf(frames::run(LowLatencyBegin - 1, 7))).words,
                ElementsAre(8u, 0u, 0u, 0u, 0u, 0u, 9u));
    EXPECT_EQ(10u, station.word(0x5000));
    EXPECT_EQ(1234u, station.word(Loop1 + SetPoint));
    EXPECT_EQ(program, programOf(station));
}

TEST(StationPowerCycle, LeavesTheModeToBeSwitchedOnAgain)
{
    Station station(1, 1);
    station.handle(writeOf(LowLatencySetUp));
    station.powerCycle();
    station.handle(writeOf(LowLatencySetUp));

    EXPECT_EQ(LowLatencyOn, station.word(LowLatencyState));
}

} // namespace
