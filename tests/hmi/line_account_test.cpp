#include "hmi/desktop/line_account.h"

#include "tests/hmi/cpl_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

using testing::IsEmpty;

namespace
{

const qint64 Ms = 1000; ///< in microseconds
const qint64 Second = 1000 * Ms;

const std::string ReadOne = framed("0100XRN00LL00001000");
const std::string ReadTwo = framed("0100XRN00LL0000100000001001");
const std::string OneWord = framed("0100X0000000005");
const std::string TwoWords = framed("0100X000000000500000006");

/// A request at one time and its whole reply at another; no reply: the time-out at that time.
EndedExchange exchange(LineAccount *account, const std::string &request, const std::string &reply,
                       qint64 from, qint64 to)
{
    account->begin(request, from);
    account->sent(static_cast<int>(request.size()));
    account->received(reply, to);
    return account->finish(to);
}

/// The only station's account after one exchange that took a millisecond.
StationReport stationAfter(const std::string &request, const std::string &reply)
{
    LineAccount account;
    exchange(&account, request, reply, 0, Ms);
    const LineReport report = account.report(Ms);
    EXPECT_EQ(1u, report.stations.size());
    return report.stations.empty() ? StationReport() : report.stations.front();
}

ExchangeResult resultOf(const std::string &request, const std::string &reply)
{
    LineAccount account;
    return exchange(&account, request, reply, 0, Ms).result;
}

TEST(FramesOfThisTest, AreThoseOfTheProtocol)
{
    EXPECT_EQ("\x02"
              "0100XRN00LL00001000"
              "\x03"
              "C9\r\n",
              ReadOne);
}

// --- judging ---

TEST(LineAccountJudges, AWholeReplyOfTheStationAskedGood)
{
    EXPECT_EQ(ExchangeResult::Good, resultOf(ReadOne, OneWord));
    EXPECT_EQ(1u, stationAfter(ReadOne, OneWord).goodReplies);
    EXPECT_EQ(0u, stationAfter(ReadOne, OneWord).failed());
}

TEST(LineAccountJudges, AWriteThatWasTakenGood)
{
    EXPECT_EQ(ExchangeResult::Good,
              resultOf(framed("0100XWN00LL0000100000000005"), framed("0100X00")));
    EXPECT_EQ(ExchangeResult::Good,
              resultOf(framed("0100XWGLL0000100004030201"), framed("0100X00")));
}

TEST(LineAccountJudges, MoreWordsThanAskedForGood)
{
    EXPECT_EQ(ExchangeResult::Good, resultOf(ReadOne, TwoWords));
}

TEST(LineAccountJudges, NoBytesNoAnswer)
{
    const StationReport station = stationAfter(ReadOne, "");
    EXPECT_EQ(1u, station.noAnswer);
    EXPECT_EQ(1u, station.failed());
    EXPECT_EQ(0u, station.goodReplies);
}

TEST(LineAccountJudges, EveryCutReplyShort)
{
    for (size_t length = 1; length < OneWord.size(); ++length) {
        EXPECT_EQ(ExchangeResult::Short, resultOf(ReadOne, OneWord.substr(0, length))) << length;
    }
    EXPECT_EQ(1u, stationAfter(ReadOne, OneWord.substr(0, 10)).shortReplies);
    EXPECT_EQ(1u, stationAfter(ReadOne, OneWord.substr(0, 10)).failed());
}

TEST(LineAccountJudges, AFrameThatIsShorterThanAnyReplyShort)
{
    EXPECT_EQ(12u, framed("0100X0").size());
    EXPECT_EQ(ExchangeResult::Short, resultOf(ReadOne, framed("0100X0")));
    EXPECT_EQ(ExchangeResult::Short, resultOf(ReadOne, "\n"));
    EXPECT_EQ(13u, framed("0100X00").size());
    EXPECT_EQ(ExchangeResult::EndCode, resultOf(ReadOne, framed("0100X41")));
}

TEST(LineAccountJudges, ASoundReplyWithValuesMissingShort)
{
    EXPECT_EQ(ExchangeResult::Short, resultOf(ReadTwo, OneWord));
    EXPECT_EQ(ExchangeResult::Short, resultOf(ReadOne, framed("0100X00")));
}

TEST(LineAccountJudges, BytesWithoutEndShort)
{
    EXPECT_EQ(ExchangeResult::Short, resultOf(ReadOne, std::string(420, 'U')));
}

TEST(LineAccountJudges, EveryChangedByteOfAReply)
{
    for (size_t at = 0; at + 1 < OneWord.size(); ++at) {
        std::string damaged = OneWord;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x04);
        EXPECT_EQ(ExchangeResult::Checksum, resultOf(ReadOne, damaged)) << at;
    }
    std::string damaged = OneWord;
    damaged[10] = static_cast<char>(damaged[10] ^ 0x01);
    EXPECT_EQ(1u, stationAfter(ReadOne, damaged).checksumErrors);
    EXPECT_EQ(1u, stationAfter(ReadOne, damaged).failed());
}

TEST(LineAccountJudges, NoiseBeforeAReplyAsNoReplyFrame)
{
    EXPECT_EQ(ExchangeResult::Checksum, resultOf(ReadOne, "\x55" + OneWord));
}

TEST(LineAccountJudges, ItsOwnRequestComingBackAsNoReplyFrame)
{
    EXPECT_EQ(ExchangeResult::Checksum, resultOf(ReadOne, ReadOne));
    EXPECT_EQ(ExchangeResult::Checksum, resultOf(ReadOne, ReadOne + OneWord));
}

TEST(LineAccountJudges, ASoundReplyOfAnotherStation)
{
    const StationReport station = stationAfter(ReadOne, framed("0200X0000000005"));
    EXPECT_EQ(1, station.station);
    EXPECT_EQ(1u, station.otherStation);
    EXPECT_EQ(1u, station.failed());
}

TEST(LineAccountJudges, AnotherStationBeforeItsEndCode)
{
    EXPECT_EQ(ExchangeResult::OtherStation, resultOf(ReadOne, framed("0200X41")));
}

TEST(LineAccountJudges, AnEndCodeAndKeepsTheLastOne)
{
    LineAccount account;
    exchange(&account, ReadOne, framed("0100X41"), 0, Ms);
    exchange(&account, ReadOne, framed("0100X99"), 2 * Ms, 3 * Ms);
    exchange(&account, ReadOne, OneWord, 4 * Ms, 5 * Ms);
    const StationReport station = account.report(5 * Ms).stations.front();
    EXPECT_EQ(2u, station.endCodes);
    EXPECT_EQ(2u, station.failed());
    EXPECT_EQ(0x99, station.lastEndCode);
}

// --- meanings ---

std::string meaningOf(const std::string &request, const std::string &reply)
{
    LineAccount account;
    return exchange(&account, request, reply, 0, Ms).meaning;
}

TEST(LineAccountMeaning, OfEachKindOfReply)
{
    EXPECT_EQ("reply station 1: end code 00, 1 word", meaningOf(ReadOne, OneWord));
    EXPECT_EQ("no answer", meaningOf(ReadOne, ""));
    EXPECT_EQ("incomplete", meaningOf(ReadOne, OneWord.substr(0, 9)));
    EXPECT_EQ("incomplete", meaningOf(ReadOne, std::string(420, 'U')));
    EXPECT_EQ("no STX", meaningOf(ReadOne, "\x55" + OneWord));
    EXPECT_EQ("malformed", meaningOf(ReadOne, ReadOne));
    EXPECT_EQ("reply station 2: end code 00, 1 word; another station was asked",
              meaningOf(ReadOne, framed("0200X0000000005")));
    EXPECT_EQ("reply station 1: end code 41", meaningOf(ReadOne, framed("0100X41")));
    EXPECT_EQ("reply station 1: end code 00, 1 word; more words were asked for",
              meaningOf(ReadTwo, OneWord));
    std::string damaged = OneWord;
    damaged[9] = '7';
    EXPECT_EQ("wrong checksum", meaningOf(ReadOne, damaged));
}

TEST(LineAccountMeaning, OfARequest)
{
    LineAccount account;
    EXPECT_EQ("RN station 1: 2 addresses from 00001000", account.begin(ReadTwo, 0));
    account.finish(0);
    EXPECT_EQ("no STX", account.begin("hello", 0));
}

// --- requests that are none ---

TEST(LineAccountUnreadable, RequestsAreCountedApart)
{
    LineAccount account;
    exchange(&account, "garbage", "", 0, 10 * Ms);
    exchange(&account, "", "", 20 * Ms, 30 * Ms);
    exchange(&account, ReadOne.substr(0, 12), OneWord, 40 * Ms, 50 * Ms);
    const LineReport report = account.report(100 * Ms);
    EXPECT_EQ(3u, report.unreadableRequests);
    EXPECT_EQ(0u, report.exchanges);
    EXPECT_EQ(0u, report.failed);
    EXPECT_THAT(report.stations, IsEmpty());
    EXPECT_EQ(19u, report.bytesOut);
    EXPECT_EQ(OneWord.size(), report.bytesIn);
    EXPECT_DOUBLE_EQ(0.3, report.busyShare);
}

TEST(LineAccountUnreadable, RequestsBlameNobodyForWhatComes)
{
    EXPECT_EQ("reply station 1: end code 00, 1 word", meaningOf("garbage", OneWord));
}

TEST(LineAccountUnreadable, RequestsLeaveAStationThatWasAskedBeforeAlone)
{
    LineAccount account;
    exchange(&account, ReadOne, OneWord, 0, Ms);
    exchange(&account, "garbage", OneWord, 2 * Ms, 3 * Ms);
    const StationReport station = account.report(3 * Ms).stations.front();
    EXPECT_EQ(1u, station.requests);
    EXPECT_EQ(ReadOne.size(), station.bytesOut);
    EXPECT_EQ(OneWord.size(), station.bytesIn);
    EXPECT_EQ(-1, account.lastGoodRead(2, 0x1000));
    EXPECT_EQ(Ms, account.lastGoodRead(1, 0x1000));
}

TEST(LineAccountUnreadable, CommandsStillHaveAStation)
{
    const StationReport station = stationAfter(framed("0700XZZ"), framed("0700X41"));
    EXPECT_EQ(7, station.station);
    EXPECT_EQ(1u, station.endCodes);
}

// --- stations ---

TEST(LineAccountStations, AreKeptApart)
{
    LineAccount account;
    exchange(&account, framed("0200XRN00LL00001000"), framed("0200X0000000005"), 0, 1 * Ms);
    exchange(&account, ReadOne, OneWord, 10 * Ms, 12 * Ms);
    exchange(&account, framed("0200XRN00LL00001000"), "", 20 * Ms, 30 * Ms);
    exchange(&account, ReadOne, OneWord, 40 * Ms, 44 * Ms);
    const LineReport report = account.report(50 * Ms);
    ASSERT_EQ(2u, report.stations.size());
    const StationReport &one = report.stations[0];
    const StationReport &two = report.stations[1];
    EXPECT_EQ(1, one.station);
    EXPECT_EQ(2u, one.requests);
    EXPECT_EQ(2u, one.goodReplies);
    EXPECT_EQ(0u, one.failed());
    EXPECT_EQ(2, two.station);
    EXPECT_EQ(2u, two.requests);
    EXPECT_EQ(1u, two.goodReplies);
    EXPECT_EQ(1u, two.noAnswer);
    EXPECT_EQ(4u, report.exchanges);
    EXPECT_EQ(1u, report.failed);
}

TEST(LineAccountStations, RunFromZeroTo255)
{
    LineAccount account;
    exchange(&account, framed("FF00XRN00LL00001000"), framed("FF00X0000000005"), 0, Ms);
    exchange(&account, framed("0000XRN00LL00001000"), framed("0000X0000000005"), 2 * Ms, 3 * Ms);
    const LineReport report = account.report(3 * Ms);
    ASSERT_EQ(2u, report.stations.size());
    EXPECT_EQ(0, report.stations[0].station);
    EXPECT_EQ(255, report.stations[1].station);
}

TEST(LineAccountStations, HaveTheirOwnBytes)
{
    LineAccount account;
    exchange(&account, ReadOne, OneWord, 0, Ms);
    exchange(&account, ReadTwo, TwoWords.substr(0, 5), 2 * Ms, 3 * Ms);
    const LineReport report = account.report(3 * Ms);
    EXPECT_EQ(ReadOne.size() + ReadTwo.size(), report.stations[0].bytesOut);
    EXPECT_EQ(OneWord.size() + 5, report.stations[0].bytesIn);
    EXPECT_EQ(report.stations[0].bytesOut, report.bytesOut);
    EXPECT_EQ(report.stations[0].bytesIn, report.bytesIn);
}

TEST(LineAccountStations, AreChargedOnlyForBytesThatWentOut)
{
    LineAccount account;
    account.begin(ReadOne, 0);
    account.sent(7);
    account.finish(Ms);
    account.begin(ReadOne, 2 * Ms);
    account.sent(-1);
    account.finish(3 * Ms);
    const LineReport report = account.report(3 * Ms);
    EXPECT_EQ(7u, report.bytesOut);
    EXPECT_EQ(7u, report.stations[0].bytesOut);
    EXPECT_EQ(2u, report.stations[0].noAnswer);
}

// --- bytes ---

TEST(LineAccountBytes, CompleteAReplyWithALineFeedAtTheEnd)
{
    LineAccount account;
    account.begin(ReadOne, 0);
    EXPECT_FALSE(account.received("ab", Ms));
    EXPECT_FALSE(account.received("c\nd", 2 * Ms));
    EXPECT_TRUE(account.received("e\n", 3 * Ms));
    EXPECT_EQ("abc\nde\n", account.finish(3 * Ms).reply);
}

TEST(LineAccountBytes, ThatNobodyAskedForAreCountedOnTheLineOnly)
{
    LineAccount account;
    EXPECT_FALSE(account.received("noise\n", 0));
    exchange(&account, ReadOne, OneWord, Ms, 2 * Ms);
    EXPECT_FALSE(account.received("more\n", 3 * Ms));
    const LineReport report = account.report(3 * Ms);
    EXPECT_EQ(OneWord.size() + 11, report.bytesIn);
    EXPECT_EQ(OneWord.size(), report.stations[0].bytesIn);
    EXPECT_EQ(1u, report.exchanges);
}

TEST(LineAccountBytes, BeyondTheLongestReplyAreCountedNotKept)
{
    LineAccount account;
    account.begin(ReadOne, 0);
    for (int piece = 0; piece < 100; ++piece) {
        EXPECT_FALSE(account.received(std::string(1000, 'U'), Ms));
    }
    EXPECT_TRUE(account.received("\n", Ms));
    const EndedExchange ended = account.finish(Ms);
    EXPECT_EQ(LineAccount::LongestReply, ended.reply.size());
    EXPECT_EQ(ExchangeResult::Checksum, ended.result);
    EXPECT_EQ(100001u, account.report(Ms).bytesIn);
}

// --- round trip ---

TEST(LineAccountRoundTrip, IsUnknownAtFirst)
{
    const StationReport station = stationAfter(ReadOne, "");
    EXPECT_EQ(-1, station.leastRoundTripUs);
    EXPECT_EQ(-1, station.medianRoundTripUs);
    EXPECT_EQ(-1, station.greatestRoundTripUs);
}

/// The account of exchanges that took these times.
StationReport afterRoundTrips(const std::vector<qint64> &times)
{
    LineAccount account;
    qint64 now = 0;
    for (const qint64 time : times) {
        exchange(&account, ReadOne, OneWord, now, now + time);
        now += time + Second;
    }
    return account.report(now).stations.front();
}

TEST(LineAccountRoundTrip, OfOneReply)
{
    const StationReport station = afterRoundTrips({7});
    EXPECT_EQ(7, station.leastRoundTripUs);
    EXPECT_EQ(7, station.medianRoundTripUs);
    EXPECT_EQ(7, station.greatestRoundTripUs);
}

TEST(LineAccountRoundTrip, OfAnOddNumberOfReplies)
{
    const StationReport station = afterRoundTrips({900, 100, 5000, 200, 300});
    EXPECT_EQ(100, station.leastRoundTripUs);
    EXPECT_EQ(300, station.medianRoundTripUs);
    EXPECT_EQ(5000, station.greatestRoundTripUs);
}

TEST(LineAccountRoundTrip, OfAnEvenNumberOfReplies)
{
    EXPECT_EQ(250, afterRoundTrips({900, 100, 200, 300}).medianRoundTripUs);
    EXPECT_EQ(0, afterRoundTrips({0, 0}).medianRoundTripUs);
}

TEST(LineAccountRoundTrip, CountsGoodRepliesOnly)
{
    LineAccount account;
    exchange(&account, ReadOne, OneWord, 0, 5 * Ms);
    exchange(&account, ReadOne, "", Second, 10 * Second);
    exchange(&account, ReadOne, framed("0100X41"), 11 * Second, 11 * Second + 1);
    const StationReport station = account.report(12 * Second).stations.front();
    EXPECT_EQ(5 * Ms, station.leastRoundTripUs);
    EXPECT_EQ(5 * Ms, station.medianRoundTripUs);
    EXPECT_EQ(5 * Ms, station.greatestRoundTripUs);
}

TEST(LineAccountRoundTrip, HasTheMedianOfItsWindowAndTheExtremesOfAllTime)
{
    std::vector<qint64> times = {1, 1000000};
    times.insert(times.end(), size_t(StationReport::MedianWindow / 2), 200);
    times.insert(times.end(), size_t(StationReport::MedianWindow / 2), 400);
    StationReport station = afterRoundTrips(times);
    EXPECT_EQ(1, station.leastRoundTripUs);
    EXPECT_EQ(300, station.medianRoundTripUs);
    EXPECT_EQ(1000000, station.greatestRoundTripUs);
    times.push_back(400);
    EXPECT_EQ(400, afterRoundTrips(times).medianRoundTripUs);
}

// --- share of time ---

TEST(LineAccountBusy, IsNothingBeforeTheFirstRequest)
{
    const LineAccount account;
    const LineReport report = account.report(5 * Second);
    EXPECT_EQ(0, report.elapsedUs);
    EXPECT_DOUBLE_EQ(0.0, report.busyShare);
}

TEST(LineAccountBusy, CountsRequestsUntilTheirReplyOrTimeOut)
{
    LineAccount account;
    exchange(&account, ReadOne, OneWord, 10 * Second, 10 * Second + 100 * Ms);
    exchange(&account, ReadOne, "", 10 * Second + 200 * Ms, 10 * Second + 500 * Ms);
    const LineReport report = account.report(11 * Second);
    EXPECT_EQ(Second, report.elapsedUs);
    EXPECT_DOUBLE_EQ(0.4, report.busyShare);
}

TEST(LineAccountBusy, CountsTheExchangeThatIsUnderWay)
{
    LineAccount account;
    account.begin(ReadOne, 0);
    EXPECT_DOUBLE_EQ(1.0, account.report(Second).busyShare);
    account.finish(Second);
    EXPECT_DOUBLE_EQ(0.5, account.report(2 * Second).busyShare);
}

TEST(LineAccountBusy, IsNothingInNoTime)
{
    LineAccount account;
    account.begin(ReadOne, Second);
    EXPECT_DOUBLE_EQ(0.0, account.report(Second).busyShare);
}

// --- failing, fresh ---

TEST(LineAccountFailing, LastsFromTheFirstFailureToTheNextGoodReply)
{
    LineAccount account;
    exchange(&account, ReadOne, OneWord, 0, Ms);
    EXPECT_EQ(-1, account.report(Second).stations[0].failingForMs);
    exchange(&account, ReadOne, "", Second, 2 * Second);
    exchange(&account, ReadOne, "", 3 * Second, 4 * Second);
    EXPECT_EQ(3000, account.report(5 * Second).stations[0].failingForMs);
    exchange(&account, ReadOne, OneWord, 5 * Second, 6 * Second);
    EXPECT_EQ(-1, account.report(7 * Second).stations[0].failingForMs);
    exchange(&account, ReadOne, "", 8 * Second, 9 * Second);
    EXPECT_EQ(0, account.report(9 * Second).stations[0].failingForMs);
}

TEST(LineAccountFresh, IsNoAddressAtFirst)
{
    EXPECT_EQ(-1, LineAccount().lastGoodRead(1, 0x1000));
}

TEST(LineAccountFresh, AreTheAddressesOfAGoodRead)
{
    LineAccount account;
    exchange(&account, ReadTwo, TwoWords, 0, 5 * Ms);
    exchange(&account, ReadOne, OneWord, 6 * Ms, 9 * Ms);
    EXPECT_EQ(9 * Ms, account.lastGoodRead(1, 0x1000));
    EXPECT_EQ(5 * Ms, account.lastGoodRead(1, 0x1001));
    EXPECT_EQ(-1, account.lastGoodRead(1, 0x1002));
    EXPECT_EQ(-1, account.lastGoodRead(2, 0x1000));
}

TEST(LineAccountFresh, AreAddressesOf32Bits)
{
    LineAccount account;
    exchange(&account, framed("FF00XRN00LLFFFFFFFF"), framed("FF00X0000000005"), 0, Ms);
    EXPECT_EQ(Ms, account.lastGoodRead(255, 0xFFFFFFFFu));
    EXPECT_EQ(-1, account.lastGoodRead(254, 0xFFFFFFFFu));
}

TEST(LineAccountFresh, AreOnlyTheValuesThatAShortReplyCarries)
{
    LineAccount account;
    exchange(&account, ReadTwo, OneWord, 0, Ms);
    EXPECT_EQ(Ms, account.lastGoodRead(1, 0x1000));
    EXPECT_EQ(-1, account.lastGoodRead(1, 0x1001));
}

TEST(LineAccountFresh, IsNothingFromABadReply)
{
    LineAccount account;
    std::string damaged = OneWord;
    damaged[9] = '7';
    exchange(&account, ReadOne, damaged, 0, Ms);
    exchange(&account, ReadOne, OneWord.substr(0, 19), Ms, Ms);
    exchange(&account, ReadOne, framed("0200X0000000005"), Ms, Ms);
    exchange(&account, ReadOne, framed("0100X4100000005"), Ms, Ms);
    EXPECT_EQ(-1, account.lastGoodRead(1, 0x1000));
    EXPECT_EQ(-1, account.lastGoodRead(2, 0x1000));
}

TEST(LineAccountFresh, IsNothingFromAWrite)
{
    LineAccount account;
    exchange(&account, framed("0100XWN00LL0000100000000005"), framed("0100X0000000005"), 0, Ms);
    EXPECT_EQ(-1, account.lastGoodRead(1, 0x1000));
}

TEST(LineAccountFresh, IgnoresWordsThatWereNotAskedFor)
{
    LineAccount account;
    exchange(&account, ReadOne, TwoWords, 0, Ms);
    EXPECT_EQ(Ms, account.lastGoodRead(1, 0x1000));
    EXPECT_EQ(-1, account.lastGoodRead(1, 0x1001));
}

} // namespace
