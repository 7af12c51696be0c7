#include "simulator/line.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/frames.h"

namespace
{

const uint32_t Word = 0x5000; // nothing lives there
const std::string Request = frames::readRequest(1, {Word});
const std::string Reply = "\x02"
                          "0100X0000000005"
                          "\x03"
                          "FD\r\n";
const std::string Silence;

Fault fault(const std::string &text)
{
    Fault parsed;
    std::string error;
    EXPECT_TRUE(parseFault(text, &parsed, &error)) << error;
    return parsed;
}

/// Stations 1 and 2, whose word reads 5.
class LineTest : public testing::Test
{
protected:
    LineTest() : line({1, 2}, 1)
    {
        line.setWord(1, Word, 5);
        line.setWord(2, Word, 5);
    }

    std::string reply() { return line.answer(Request, 0).bytes; }
    std::string replyWith(const std::string &text)
    {
        line.clearFaults();
        line.addFault(fault(text));
        return reply();
    }
    /// One character a request: '-' for silence, 'r' for the reply, '?' for anything else.
    std::string pattern(const std::vector<unsigned> &stations)
    {
        std::string signs;
        for (const unsigned station : stations) {
            const std::string got = line.answer(frames::readRequest(station, {Word}), 0).bytes;
            signs += got.empty() ? '-' : got == frames::reply(station, {5}) ? 'r' : '?';
        }
        return signs;
    }
    std::string pattern(size_t requests) { return pattern(std::vector<unsigned>(requests, 1)); }

    Line line;
};

typedef LineTest LineAnswers;
typedef LineTest LineFault;
typedef LineTest LineFaultLimits;
typedef LineTest LineFaultsTogether;

// ---- Without faults -----------------------------------------------------------------------------

TEST_F(LineAnswers, WithTheReplyOfTheStationAskedAtOnce)
{
    const LineAnswer answer = line.answer(Request, 0);

    EXPECT_EQ(Reply, answer.bytes);
    EXPECT_EQ(0, answer.lateMs);
    EXPECT_EQ(0, answer.babbleMs);
    EXPECT_EQ(frames::reply(2, {5}), line.answer(frames::readRequest(2, {Word}), 0).bytes);
}

TEST_F(LineAnswers, AWriteAndKeepsIt)
{
    EXPECT_EQ("\x02"
              "0100X00"
              "\x03"
              "82\r\n",
              line.answer(frames::writeRequest(1, {{Word, 7}}), 0).bytes);
    EXPECT_EQ(7u, line.word(1, Word));
    EXPECT_EQ(5u, line.word(2, Word));
}

TEST_F(LineAnswers, ARunAndKeepsIt)
{
    EXPECT_EQ(frames::reply(1),
              line.answer(frames::framed("0100XWGLL000050000000000800000009"), 0).bytes);
    EXPECT_EQ(8u, line.word(1, Word));
    EXPECT_EQ(9u, line.word(1, Word + 1));
}

TEST_F(LineAnswers, WithEndCodesWhatItCannotDo)
{
    EXPECT_EQ(frames::reply(1, {}, 0x40), line.answer(frames::framed("0100XRX00LL"), 0).bytes);
    EXPECT_EQ(frames::reply(1, {}, 0x41),
              line.answer(frames::readRequest(1, {0x1000000}), 0).bytes);
    EXPECT_EQ(frames::reply(1, {}, 0x42),
              line.answer(frames::readRequest(1, frames::run(0, 51)), 0).bytes);
}

TEST_F(LineAnswers, NoFrameWithAWrongChecksum)
{
    for (size_t position = 0; position < Request.size(); ++position) {
        std::string changed = Request;
        changed[position] = static_cast<char>(changed[position] ^ 1);
        EXPECT_EQ(Silence, line.answer(changed, 0).bytes) << position;
    }
}

TEST_F(LineAnswers, NoPartOfAFrame)
{
    for (size_t length = 0; length < Request.size(); ++length)
        EXPECT_EQ(Silence, line.answer(Request.substr(0, length), 0).bytes) << length;
}

TEST_F(LineAnswers, NoRequestToAStationThatIsNotHere)
{
    for (const unsigned station : {0u, 3u, 17u, 255u})
        EXPECT_EQ(Silence, line.answer(frames::readRequest(station, {Word}), 0).bytes) << station;
}

TEST_F(LineAnswers, NoWriteThatItDidNotUnderstand)
{
    std::string write = frames::writeRequest(1, {{Word, 7}});
    write[20] = static_cast<char>(write[20] ^ 1);
    line.answer(write, 0);

    EXPECT_EQ(5u, line.word(1, Word));
}

TEST_F(LineAnswers, WithTheProcessUpToTheTimeOfTheRequest)
{
    const uint32_t address = StationMap::FirstLoop + StationMap::ProcessValue;
    line.answer(Request, 1000);
    const uint32_t cold = line.word(1, address);
    line.answer(Request, 61000);

    EXPECT_LT(cold + 1000, line.word(1, address));
    EXPECT_EQ(Line({2}, 1).word(2, address), line.word(2, address)); // nobody asked station 2
}

TEST(LineStations, MayBeAnyNumberAndNone)
{
    Line ends({0, 255, 255}, 1);
    EXPECT_TRUE(ends.hasStation(0));
    EXPECT_TRUE(ends.hasStation(255));
    EXPECT_FALSE(ends.hasStation(1));
    EXPECT_FALSE(ends.hasStation(-1));
    EXPECT_FALSE(ends.hasStation(256));
    EXPECT_EQ(frames::reply(255, {0}), ends.answer(frames::readRequest(255, {Word}), 0).bytes);

    Line nobody({}, 1);
    EXPECT_EQ(Silence, nobody.answer(Request, 0).bytes);
}

TEST(LineStations, ThatAreNotThereHaveNoWords)
{
    Line line({1}, 1);
    line.setWord(2, Word, 7);

    EXPECT_EQ(0u, line.word(2, Word));
    EXPECT_EQ(0u, line.word(1, Word));
}

// ---- Each fault ---------------------------------------------------------------------------------

TEST_F(LineFault, DropIsSilence)
{
    EXPECT_EQ(Silence, replyWith("drop"));
}

TEST_F(LineFault, DropStillCarriesTheRequestOut)
{
    line.addFault(fault("drop"));
    line.answer(frames::writeRequest(1, {{Word, 7}}), 0);

    EXPECT_EQ(7u, line.word(1, Word));
}

TEST_F(LineFault, LateChangesTheTimeAndNoByte)
{
    line.addFault(fault("late:ms=250"));
    const LineAnswer answer = line.answer(Request, 0);

    EXPECT_EQ(Reply, answer.bytes);
    EXPECT_EQ(250, answer.lateMs);
}

TEST_F(LineFault, IsToldOfInTheAnswer)
{
    EXPECT_FALSE(line.answer(Request, 0).spoiled);
    for (const char *text :
         {"drop", "late:ms=1", "flip", "damage:bytes=200", "cut:after=3", "noise", "echo",
          "station:as=2", "endcode:code=41", "nolf", "swap", "babble", "powercycle"}) {
        line.clearFaults();
        line.addFault(fault(text));
        EXPECT_TRUE(line.answer(Request, 0).spoiled) << text;
    }
}

TEST_F(LineFault, IsNotToldOfWhereItChangesNothing)
{
    for (const char *text :
         {"flip:at=511", "cut:after=511", "swap:at=510", "station:as=1", "drop:station=2"}) {
        line.clearFaults();
        line.addFault(fault(text));
        EXPECT_FALSE(line.answer(Request, 0).spoiled) << text;
    }
}

TEST_F(LineFault, FlipTurnsTheLowestBitOfTheMiddleByte)
{
    EXPECT_EQ("\x02"
              "0100X0000100005"
              "\x03"
              "FD\r\n",
              replyWith("flip"));
}

TEST_F(LineFault, FlipTurnsTheByteAtItsPlace)
{
    for (size_t at = 0; at < Reply.size(); ++at) {
        std::string flipped = Reply;
        flipped[at] = static_cast<char>(flipped[at] ^ 1);
        EXPECT_EQ(flipped, replyWith("flip:at=" + std::to_string(at)));
    }
}

TEST_F(LineFault, FlipBehindTheEndChangesNothing)
{
    EXPECT_EQ(Reply, replyWith("flip:at=" + std::to_string(Reply.size())));
    EXPECT_EQ(Reply, replyWith("flip:at=511"));
}

TEST_F(LineFault, DamageChangesBytesOfTheTextOnly)
{
    const size_t tail = Reply.size() - 5;
    std::set<size_t> changed;
    for (int i = 0; i < 200; ++i) {
        const std::string damaged = replyWith("damage");
        ASSERT_EQ(Reply.size(), damaged.size());
        EXPECT_EQ(Reply[0], damaged[0]);
        EXPECT_EQ(Reply.substr(tail), damaged.substr(tail));
        int bytes = 0;
        for (size_t at = 1; at < tail; ++at) {
            if (damaged[at] == Reply[at])
                continue;
            changed.insert(at);
            ++bytes;
        }
        EXPECT_GE(4, bytes);
    }
    EXPECT_EQ(tail - 1, changed.size()); // every byte was hit at some time
}

TEST_F(LineFault, DamageLeavesTheSumRightOnceIn256Times)
{
    const int replies = 256 * 400;
    line.addFault(fault("damage"));
    int right = 0;
    for (int i = 0; i < replies; ++i) {
        unsigned sum = 0;
        const std::string damaged = reply();
        for (size_t at = 0; at + 4 < damaged.size(); ++at)
            sum += static_cast<unsigned char>(damaged[at]);
        right += (sum + 0xFD) % 256 == 0 ? 1 : 0; // the checksum of the sound reply
    }
    EXPECT_NEAR(400, right, 100); // five times the root
}

TEST_F(LineFault, DamageComesAgainWithTheSameSeed)
{
    Line again({1}, 1);
    again.setWord(1, Word, 5);
    again.addFault(fault("damage:bytes=20"));
    EXPECT_EQ(replyWith("damage:bytes=20"), again.answer(Request, 0).bytes);
}

TEST_F(LineFault, CutLeavesTheFirstBytes)
{
    for (size_t after = 0; after <= Reply.size(); ++after)
        EXPECT_EQ(Reply.substr(0, after), replyWith("cut:after=" + std::to_string(after)));
    EXPECT_EQ(Reply, replyWith("cut:after=511"));
}

TEST_F(LineFault, NoisePutsBytesBeforeStx)
{
    EXPECT_EQ(8 + Reply.size(), replyWith("noise").size());
    EXPECT_EQ(Reply, replyWith("noise").substr(8));
    for (const size_t bytes : {1u, 3u, 200u}) {
        const std::string noisy = replyWith("noise:bytes=" + std::to_string(bytes));
        ASSERT_EQ(bytes + Reply.size(), noisy.size());
        EXPECT_EQ(Reply, noisy.substr(bytes));
    }
}

TEST_F(LineFault, NoiseIsPrintableSoThatItNeitherBeginsNorEndsAFrame)
{
    line.addFault(fault("noise:bytes=200"));
    std::string seen;
    for (int i = 0; i < 100; ++i)
        seen += reply().substr(0, 200);

    EXPECT_EQ(' ', *std::min_element(seen.begin(), seen.end()));
    EXPECT_EQ('~', *std::max_element(seen.begin(), seen.end()));
}

TEST_F(LineFault, NoiseComesAgainWithTheSameSeed)
{
    Line again({1}, 1);
    Line other({1}, 2);
    again.addFault(fault("noise:bytes=20"));
    other.addFault(fault("noise:bytes=20"));
    const std::string noisy = replyWith("noise:bytes=20").substr(0, 20);

    EXPECT_EQ(noisy, again.answer(Request, 0).bytes.substr(0, 20));
    EXPECT_NE(noisy, other.answer(Request, 0).bytes.substr(0, 20));
}

TEST_F(LineFault, EchoSendsTheRequestBackBeforeTheReply)
{
    EXPECT_EQ(Request + Reply, replyWith("echo"));
}

TEST_F(LineFault, StationCarriesAnotherNumberUnderAGoodChecksum)
{
    EXPECT_EQ("\x02"
              "0200X0000000005"
              "\x03"
              "FC\r\n",
              replyWith("station:as=2"));
    EXPECT_EQ(frames::reply(0, {5}), replyWith("station:as=0"));
    EXPECT_EQ(frames::reply(255, {5}), replyWith("station:as=255"));
}

TEST_F(LineFault, EndCodeIsARefusalWithoutWordsUnderAGoodChecksum)
{
    EXPECT_EQ("\x02"
              "0100X41"
              "\x03"
              "7D\r\n",
              replyWith("endcode:code=41"));
    EXPECT_EQ(frames::reply(1, {}, 0x01), replyWith("endcode:code=1"));
    EXPECT_EQ(frames::reply(1, {}, 0xFF), replyWith("endcode:code=FF"));
}

TEST_F(LineFault, NoLineFeedTakesTheLastByteAway)
{
    EXPECT_EQ("\x02"
              "0100X0000000005"
              "\x03"
              "FD\r",
              replyWith("nolf"));
}

TEST_F(LineFault, SwapExchangesTheLastDigitAndEtxSoThatTheChecksumHolds)
{
    const std::string swapped = replyWith("swap");

    EXPECT_EQ("\x02"
              "0100X000000000"
              "\x03"
              "5FD\r\n",
              swapped);
    CplReply reply;
    EXPECT_EQ(CplVerdict::Malformed, decodeReply(swapped, &reply)); // not BadChecksum
}

TEST_F(LineFault, SwapExchangesTheByteAtItsPlaceAndTheNextOne)
{
    for (size_t at = 0; at + 1 < Reply.size(); ++at) {
        std::string swapped = Reply;
        std::swap(swapped[at], swapped[at + 1]);
        EXPECT_EQ(swapped, replyWith("swap:at=" + std::to_string(at)));
    }
}

TEST_F(LineFault, SwapThatReachesBehindTheEndChangesNothing)
{
    EXPECT_EQ(Reply, replyWith("swap:at=" + std::to_string(Reply.size() - 1)));
    EXPECT_EQ(Reply, replyWith("swap:at=510"));
}

TEST_F(LineFault, BabbleLastsItsTimeOrWithoutEnd)
{
    line.addFault(fault("babble:ms=100"));
    EXPECT_EQ(100, line.answer(Request, 0).babbleMs);
    line.clearFaults();
    line.addFault(fault("babble"));
    EXPECT_GT(0, line.answer(Request, 0).babbleMs);
}

TEST_F(LineFault, BabbleByteNeitherBeginsNorEndsAFrame)
{
    EXPECT_NE(0x02, Line::BabbleByte + 0);
    EXPECT_NE('\n', Line::BabbleByte + 0);
}

TEST_F(LineFault, PowerCycleIsSilenceAndForgetsTheLowLatencyMode)
{
    const uint32_t state = StationMap::LowLatencyState;
    for (const unsigned station : {1u, 2u})
        line.answer(frames::writeRequest(station, {{StationMap::LowLatencyCommand, 200}}), 0);
    ASSERT_EQ(200u, line.word(1, state));

    EXPECT_EQ(Silence, replyWith("powercycle:count=1"));

    EXPECT_EQ(0u, line.word(1, state));
    EXPECT_EQ(200u, line.word(2, state));
    EXPECT_EQ(Reply, reply());
}

TEST_F(LineFault, PowerCycleForgetsTheVeryWriteThatItMet)
{
    line.addFault(fault("powercycle"));
    line.answer(frames::writeRequest(1, {{StationMap::LowLatencyCommand, 200}}), 0);

    EXPECT_EQ(0u, line.word(1, StationMap::LowLatencyState));
}

TEST_F(LineFault, OfAWriteReplyIsTheSameInKind)
{
    const std::string write = frames::writeRequest(1, {{Word, 7}});
    line.addFault(fault("flip"));
    EXPECT_EQ("\x02"
              "0100X10"
              "\x03"
              "82\r\n",
              line.answer(write, 0).bytes);
    line.clearFaults();
    line.addFault(fault("swap"));
    EXPECT_EQ("\x02"
              "0100X0"
              "\x03"
              "082\r\n",
              line.answer(write, 0).bytes);
}

// ---- Limits -------------------------------------------------------------------------------------

TEST_F(LineFaultLimits, StationKeepsAFaultToOneStation)
{
    line.addFault(fault("drop:station=2"));
    EXPECT_EQ("r-r-r", pattern({1, 2, 1, 2, 1}));
}

TEST_F(LineFaultLimits, EveryTakesEachNthReply)
{
    line.addFault(fault("drop:every=3"));
    EXPECT_EQ("rr-rr-rr-r", pattern(10));
}

TEST_F(LineFaultLimits, EveryCountsTheRepliesOfAllStations)
{
    line.addFault(fault("drop:every=3"));
    EXPECT_EQ("rr-rr-", pattern({1, 2, 1, 2, 1, 2}));
}

TEST_F(LineFaultLimits, EveryCountsTheRepliesOfItsStationOnly)
{
    line.addFault(fault("drop:station=2:every=2"));
    EXPECT_EQ("rrrr-rr-", pattern({1, 2, 1, 1, 2, 2, 1, 2}));
}

TEST_F(LineFaultLimits, EveryDoesNotCountWhatNobodyAnswers)
{
    line.addFault(fault("drop:every=2"));
    std::string wrong = Request;
    wrong[7] = static_cast<char>(wrong[7] ^ 1);
    EXPECT_EQ("r", pattern(1));
    line.answer(wrong, 0);
    line.answer(frames::readRequest(9, {Word}), 0);

    EXPECT_EQ("-r-", pattern(3));
}

TEST_F(LineFaultLimits, CountEndsAFault)
{
    line.addFault(fault("drop:count=2"));
    EXPECT_EQ("--rrr", pattern(5));
}

TEST_F(LineFaultLimits, WorkTogether)
{
    line.addFault(fault("drop:station=2:every=2:count=2"));
    EXPECT_EQ("rr-r-rr", pattern({1, 2, 2, 2, 2, 2, 2}));
}

TEST_F(LineFaultLimits, OfTwoFaultsAreCountedApart)
{
    line.addFault(fault("drop:every=2:count=1"));
    line.addFault(fault("drop:every=3"));
    EXPECT_EQ("r--rr-rr-", pattern(9));
}

TEST_F(LineFaultLimits, AStationThatIsNotHereMeetsNothing)
{
    line.addFault(fault("drop:station=77"));
    EXPECT_EQ("rrr", pattern(3));
}

// ---- Several faults -----------------------------------------------------------------------------

TEST_F(LineFaultsTogether, ChangeTheReplyInTheOrderInWhichTheyWereAdded)
{
    line.addFault(fault("station:as=2"));
    line.addFault(fault("nolf"));
    line.addFault(fault("echo"));
    const std::string otherStation = frames::reply(2, {5});
    EXPECT_EQ(Request + otherStation.substr(0, otherStation.size() - 1), reply());

    line.clearFaults();
    line.addFault(fault("echo"));
    line.addFault(fault("cut:after=5"));
    EXPECT_EQ(Request.substr(0, 5), reply());
}

TEST_F(LineFaultsTogether, AddUpTheirDelays)
{
    line.addFault(fault("late:ms=250"));
    line.addFault(fault("late:ms=30"));
    EXPECT_EQ(280, line.answer(Request, 0).lateMs);
}

TEST_F(LineFaultsTogether, ChangeTextOnlyOfAReplyThatIsStillOne)
{
    line.addFault(fault("cut:after=10"));
    line.addFault(fault("station:as=2"));
    line.addFault(fault("endcode:code=41"));
    EXPECT_EQ(Reply.substr(0, 10), reply());
}

TEST_F(LineFaultsTogether, FindNothingLeftToSpoilAfterADrop)
{
    for (const char *text : {"drop", "flip", "flip:at=0", "damage", "cut:after=3", "station:as=2",
                             "endcode:code=1", "nolf", "swap", "swap:at=0"})
        line.addFault(fault(text));
    EXPECT_EQ(Silence, reply());
}

TEST_F(LineFaultsTogether, MakeNoiseAndEchoesInsteadOfADroppedReply)
{
    line.addFault(fault("drop"));
    line.addFault(fault("echo"));
    line.addFault(fault("noise:bytes=4"));
    ASSERT_EQ(4 + Request.size(), reply().size());
    EXPECT_EQ(Request, reply().substr(4));
}

TEST_F(LineFaultsTogether, EndWhenTheyAreCleared)
{
    line.addFault(fault("drop"));
    line.addFault(fault("late:ms=5"));
    line.addFault(fault("babble"));
    line.clearFaults();

    const LineAnswer answer = line.answer(Request, 0);

    EXPECT_EQ(Reply, answer.bytes);
    EXPECT_EQ(0, answer.lateMs);
    EXPECT_EQ(0, answer.babbleMs);
}

} // namespace
