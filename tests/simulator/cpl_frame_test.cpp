#include "simulator/cpl_frame.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/frames.h"

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string Read = "\x02"
                         "0100XRN00LL00001000"
                         "\x03"
                         "C9\r\n";
const std::string Write = "\x02"
                          "0100XWN00LL0000100000000005"
                          "\x03"
                          "3F\r\n";
const std::string WriteRun = "\x02"
                             "0100XWGLL0000100004030201"
                             "\x03"
                             "A1\r\n";
const std::string ReadReply = "\x02"
                              "0100X0000000005"
                              "\x03"
                              "FD\r\n";
const std::string WriteReply = "\x02"
                               "0100X00"
                               "\x03"
                               "82\r\n";

CplVerdict requestVerdict(const std::string &frame)
{
    CplRequest request;
    return decodeRequest(frame, &request);
}

CplVerdict replyVerdict(const std::string &frame)
{
    CplReply reply;
    return decodeReply(frame, &reply);
}

CplRequest requestOf(const std::string &frame)
{
    CplRequest request;
    EXPECT_EQ(CplVerdict::Good, decodeRequest(frame, &request)) << hexDump(frame);
    return request;
}

CplReply replyOf(const std::string &frame)
{
    CplReply reply;
    EXPECT_EQ(CplVerdict::Good, decodeReply(frame, &reply)) << hexDump(frame);
    return reply;
}

/// What becomes of a good frame whose byte at a position has become another one.
CplVerdict verdictOfChangeAt(size_t position, size_t frameLength)
{
    if (position == 0)
        return CplVerdict::BadStart;
    if (position == frameLength - 1)
        return CplVerdict::Incomplete; // no line feed
    if (position == frameLength - 2)
        return CplVerdict::Malformed; // no CR, which the checksum does not cover
    return CplVerdict::BadChecksum;
}

void expectNoTruncationIsGood(CplVerdict (*verdictOf)(const std::string &),
                              const std::string &frame)
{
    for (size_t length = 0; length < frame.size(); ++length)
        EXPECT_EQ(CplVerdict::Incomplete, verdictOf(frame.substr(0, length))) << length;
}

void expectNoChangedByteIsGood(CplVerdict (*verdictOf)(const std::string &),
                               const std::string &frame)
{
    for (size_t position = 0; position < frame.size(); ++position) {
        for (int difference = 1; difference < 256; ++difference) {
            std::string changed = frame;
            changed[position] = static_cast<char>(changed[position] ^ difference);
            EXPECT_EQ(verdictOfChangeAt(position, frame.size()), verdictOf(changed))
                << hexDump(changed);
        }
    }
}

void expectNoLostOrDoubledByteIsGood(CplVerdict (*verdictOf)(const std::string &),
                                     const std::string &frame)
{
    for (size_t position = 0; position < frame.size(); ++position) {
        std::string lost = frame;
        lost.erase(position, 1);
        EXPECT_NE(CplVerdict::Good, verdictOf(lost)) << hexDump(lost);
        std::string doubled = frame;
        doubled.insert(position, 1, frame[position]);
        EXPECT_NE(CplVerdict::Good, verdictOf(doubled)) << hexDump(doubled);
    }
}

// ---- Requests -----------------------------------------------------------------------------------

TEST(DecodeRequest, ReadsTheWorkedReadFrame)
{
    const CplRequest request = requestOf(Read);

    EXPECT_EQ(1, request.station);
    EXPECT_EQ(0, request.subAddress);
    EXPECT_EQ(CplRequest::ReadList, request.command);
    EXPECT_EQ("RN00LL00001000", request.commandText);
    EXPECT_THAT(request.addresses, ElementsAre(0x1000u));
    EXPECT_THAT(request.values, IsEmpty());
}

TEST(DecodeRequest, ReadsTheWorkedWriteFrame)
{
    const CplRequest request = requestOf(Write);

    EXPECT_EQ(1, request.station);
    EXPECT_EQ(CplRequest::WriteList, request.command);
    EXPECT_EQ("WN00LL0000100000000005", request.commandText);
    EXPECT_THAT(request.addresses, ElementsAre(0x1000u));
    EXPECT_THAT(request.values, ElementsAre(5u));
}

TEST(DecodeRequest, ReadsTheWorkedRunFrame)
{
    const CplRequest request = requestOf(WriteRun);

    EXPECT_EQ(1, request.station);
    EXPECT_EQ(CplRequest::WriteRun, request.command);
    EXPECT_EQ("WGLL0000100004030201", request.commandText);
    EXPECT_THAT(request.addresses, ElementsAre(0x1000u));
    EXPECT_THAT(request.values, ElementsAre(0x04030201u));
}

TEST(DecodeRequest, KeepsTheOrderOfAddressesAndPairs)
{
    EXPECT_THAT(requestOf(frames::readRequest(1, {7, 3, 0xFFFFFFFFu, 3})).addresses,
                ElementsAre(7u, 3u, 0xFFFFFFFFu, 3u));

    const CplRequest write = requestOf(frames::writeRequest(1, {{9, 0xDEADBEEFu}, {2, 0}}));
    EXPECT_THAT(write.addresses, ElementsAre(9u, 2u));
    EXPECT_THAT(write.values, ElementsAre(0xDEADBEEFu, 0u));
}

TEST(DecodeRequest, ListsTheConsecutiveAddressesOfARun)
{
    const CplRequest request = requestOf(frames::framed("0100XWGLL00001FFE"
                                                        "0000000A0000000B0000000C"));

    EXPECT_THAT(request.addresses, ElementsAre(0x1FFEu, 0x1FFFu, 0x2000u));
    EXPECT_THAT(request.values, ElementsAre(0xAu, 0xBu, 0xCu));
}

TEST(DecodeRequest, WrapsARunAt32Bits)
{
    const CplRequest request = requestOf(frames::framed("0100XWGLLFFFFFFFF0000000A0000000B"));

    EXPECT_THAT(request.addresses, ElementsAre(0xFFFFFFFFu, 0u));
}

TEST(DecodeRequest, ReadsStationAndSubAddressInHexadecimal)
{
    for (unsigned number : {0x00u, 0x0Au, 0x1Fu, 0xFFu}) {
        const CplRequest request =
            requestOf(frames::framed(frames::hex(number, 2) + "A5XRN00LL00001000"));
        EXPECT_EQ(number, request.station);
        EXPECT_EQ(0xA5, request.subAddress);
    }
}

TEST(DecodeRequest, SetsNoLimitToTheNumberOfItems)
{
    EXPECT_EQ(61u, requestOf(frames::readRequest(1, frames::run(0, 61))).addresses.size());
}

TEST(DecodeRequest, ForgetsWhatItsTargetHeldBefore)
{
    CplRequest request = requestOf(Write);

    ASSERT_EQ(CplVerdict::Good, decodeRequest(Read, &request));

    EXPECT_EQ(1u, request.addresses.size());
    EXPECT_THAT(request.values, IsEmpty());
}

void expectUnknownCommand(const std::string &text)
{
    const CplRequest request = requestOf(frames::framed("0200X" + text));

    EXPECT_EQ(2, request.station) << text;
    EXPECT_EQ(CplRequest::Unknown, request.command) << text;
    EXPECT_EQ(text, request.commandText);
    EXPECT_THAT(request.addresses, IsEmpty()) << text;
    EXPECT_THAT(request.values, IsEmpty()) << text;
}

TEST(DecodeRequest, KnowsNoOtherLettersThanThoseOfTheThreeCommands)
{
    for (const char *text : {"", "R", "RN", "RN00L", "RS00LL00001000", "XX", "rn00LL00001000",
                             "RN00ll00001000", "RN01LL00001000", "WN01LL0000100000000005",
                             "WGLA0000100000000005", "WG00LL0000100000000005", " RN00LL00001000"})
        expectUnknownCommand(text);
}

TEST(DecodeRequest, KnowsNoCommandWithoutItemsOrWithPartOfOne)
{
    for (const char *text :
         {"RN00LL", "RN00LL0000100", "RN00LL000010000", "RN00LL0000100000001", "RN00LL00001000 ",
          "WN00LL", "WN00LL00001000", "WN00LL000010000000000", "WN00LL000010000000000500002000",
          "WGLL", "WGLL00001000", "WGLL0000100000", "WGLL000010000000000500"})
        expectUnknownCommand(text);
}

TEST(DecodeRequest, KnowsNoCommandWithDigitsThatAreNotUpperCaseHexadecimal)
{
    for (const char *text :
         {"RN00LL0000100a", "RN00LL0000100G", "RN00LL000010 0", "RN00LL0x001000", "RN00LL-0001000",
          "RN00LL0000100\xB1", "WN00LL00001000000000f5", "WGLL0000100000000o05"})
        expectUnknownCommand(text);
}

TEST(DecodeRequest, RefusesAHeaderThatIsNotHexadecimalOrHasNoX)
{
    for (const char *text :
         {"0100x", "0100 ", "0100R", "1f00X", "G100X", "0 00X", "010aX", "-100X"})
        EXPECT_EQ(CplVerdict::Malformed,
                  requestVerdict(frames::framed(text + std::string("RN00LL00001000"))))
            << text;
}

TEST(DecodeRequest, RefusesAFrameWithoutEtxWhoseSumIsRight)
{
    // One more in the text makes up for one less at the place of ETX.
    EXPECT_EQ(CplVerdict::Malformed, requestVerdict("\x02"
                                                    "0100XRN00LL00001001"
                                                    "\x02"
                                                    "C9\r\n"));
}

TEST(DecodeRequest, RefusesALowerCaseChecksum)
{
    EXPECT_EQ(CplVerdict::BadChecksum, requestVerdict("\x02"
                                                      "0100XRN00LL00001000"
                                                      "\x03"
                                                      "c9\r\n"));
}

TEST(DecodeRequest, RefusesAChecksumThatIsNotHexadecimalWhereZeroWouldBeRight)
{
    std::string zero = frames::framed("0100XRN00LL00001000" + std::string(1, '\xC9'));
    ASSERT_EQ("00\r\n", zero.substr(zero.size() - 4));
    ASSERT_EQ(CplVerdict::Good, requestVerdict(zero));

    zero.replace(zero.size() - 4, 2, "GG");

    EXPECT_EQ(CplVerdict::BadChecksum, requestVerdict(zero));
}

TEST(DecodeRequest, AddsUpBytesAbove7FAsUnsigned)
{
    EXPECT_EQ(CplVerdict::Good, requestVerdict(frames::framed("0100X\xFF\x80")));
}

TEST(DecodeRequest, RefusesWhatStandsInFrontOfStx)
{
    EXPECT_EQ(CplVerdict::BadStart, requestVerdict("\n" + Read));
    EXPECT_EQ(CplVerdict::BadStart, requestVerdict("U" + Read));
}

TEST(DecodeRequest, RefusesTwoFramesInOne)
{
    EXPECT_NE(CplVerdict::Good, requestVerdict(Read + Read));
    EXPECT_NE(CplVerdict::Good, requestVerdict(Read + "\n"));
}

TEST(DecodeRequest, FindsTheShortestFrameSoundAndOneShorterIncomplete)
{
    EXPECT_EQ(CplVerdict::Good, requestVerdict(frames::framed("0100X")));
    EXPECT_EQ(CplVerdict::Incomplete, requestVerdict(frames::framed("0100")));
    EXPECT_EQ(CplVerdict::Incomplete, requestVerdict("\x02\n"));
    EXPECT_EQ(CplVerdict::Incomplete, requestVerdict(""));
}

TEST(DecodeRequest, TakesNoTruncatedFrame)
{
    for (const std::string &frame : {Read, Write, WriteRun})
        expectNoTruncationIsGood(requestVerdict, frame);
}

TEST(DecodeRequest, TakesNoFrameWithAChangedByte)
{
    for (const std::string &frame : {Read, Write, WriteRun})
        expectNoChangedByteIsGood(requestVerdict, frame);
}

TEST(DecodeRequest, TakesNoFrameWithALostOrDoubledByte)
{
    for (const std::string &frame : {Read, Write, WriteRun})
        expectNoLostOrDoubledByteIsGood(requestVerdict, frame);
}

// ---- Replies ------------------------------------------------------------------------------------

TEST(DecodeReply, ReadsTheWorkedReplies)
{
    const CplReply read = replyOf(ReadReply);
    EXPECT_EQ(1, read.station);
    EXPECT_EQ(0, read.subAddress);
    EXPECT_EQ(0, read.endCode);
    EXPECT_THAT(read.words, ElementsAre(5u));

    const CplReply write = replyOf(WriteReply);
    EXPECT_EQ(1, write.station);
    EXPECT_EQ(0, write.endCode);
    EXPECT_THAT(write.words, IsEmpty());
}

TEST(DecodeReply, ReadsStationSubAddressEndCodeAndWords)
{
    const CplReply reply = replyOf(frames::framed("1F02X4100000001FFFFFFFF"));

    EXPECT_EQ(0x1F, reply.station);
    EXPECT_EQ(2, reply.subAddress);
    EXPECT_EQ(0x41, reply.endCode);
    EXPECT_THAT(reply.words, ElementsAre(1u, 0xFFFFFFFFu));
}

TEST(DecodeReply, RefusesTextThatIsNoReply)
{
    for (const char *text :
         {"0100X", "0100X0", "0100X000", "0100X000000000", "0100X00000000055", "0100X0000000g05",
          "0100X0000000a05", "0100Xff", "0100x00", "010GX00", "0100XRN00LL00001000"})
        EXPECT_EQ(CplVerdict::Malformed, replyVerdict(frames::framed(text))) << text;
}

TEST(DecodeReply, ForgetsWhatItsTargetHeldBefore)
{
    CplReply reply = replyOf(ReadReply);

    ASSERT_EQ(CplVerdict::Good, decodeReply(WriteReply, &reply));

    EXPECT_THAT(reply.words, IsEmpty());
}

TEST(DecodeReply, TakesNoTruncatedFrame)
{
    for (const std::string &frame : {ReadReply, WriteReply})
        expectNoTruncationIsGood(replyVerdict, frame);
}

TEST(DecodeReply, TakesNoFrameWithAChangedByte)
{
    for (const std::string &frame : {ReadReply, WriteReply})
        expectNoChangedByteIsGood(replyVerdict, frame);
}

TEST(DecodeReply, TakesNoFrameWithALostOrDoubledByte)
{
    for (const std::string &frame : {ReadReply, WriteReply})
        expectNoLostOrDoubledByteIsGood(replyVerdict, frame);
}

CplReply makeReply(uint8_t station, uint8_t endCode, const std::vector<uint32_t> &words)
{
    CplReply reply;
    reply.station = station;
    reply.endCode = endCode;
    reply.words = words;
    return reply;
}

TEST(EncodeReply, WritesTheWorkedRepliesByteForByte)
{
    EXPECT_EQ(ReadReply, encodeReply(makeReply(1, 0, {5})));
    EXPECT_EQ(WriteReply, encodeReply(makeReply(1, 0, {})));
}

TEST(EncodeReply, WritesUpperCaseDigits)
{
    EXPECT_EQ(frames::reply(0xAB, {0xDEADBEEFu}, 0xCD),
              encodeReply(makeReply(0xAB, 0xCD, {0xDEADBEEFu})));
}

TEST(EncodeReply, WritesTheSubAddress)
{
    CplReply reply;
    reply.station = 1;
    reply.subAddress = 0x2C;
    EXPECT_EQ(frames::framed("012CX00"), encodeReply(reply));
}

TEST(EncodeReply, OfTheLongestReadHas413Bytes)
{
    const std::string frame = encodeReply(makeReply(1, 0, frames::run(0x1000, 50)));

    EXPECT_EQ(413u, frame.size());
    EXPECT_EQ(frames::run(0x1000, 50), replyOf(frame).words);
}

// ---- Texts for a person -------------------------------------------------------------------------

TEST(Describe, TellsWhatARequestAsks)
{
    EXPECT_EQ("RN station 1: 1 address from 00001000", describe(requestOf(Read)));
    EXPECT_EQ("RN station 31: 3 addresses from 0000000A",
              describe(requestOf(frames::readRequest(31, frames::run(10, 3)))));
    EXPECT_EQ("WN station 1: 1 pair from 00001000", describe(requestOf(Write)));
    EXPECT_EQ("WN station 2: 2 pairs from 00000009",
              describe(requestOf(frames::writeRequest(2, {{9, 1}, {1, 1}}))));
    EXPECT_EQ("WG station 1: 1 word from 00001000", describe(requestOf(WriteRun)));
    EXPECT_EQ("WG station 1: 2 words from 00001000",
              describe(requestOf(frames::framed("0100XWGLL000010000000000100000002"))));
}

TEST(Describe, QuotesAnUnknownCommandUpTo16Characters)
{
    EXPECT_EQ("unknown command station 1: \"\"", describe(requestOf(frames::framed("0100X"))));
    EXPECT_EQ("unknown command station 1: \"0123456789ABCDEF\"",
              describe(requestOf(frames::framed("0100X0123456789ABCDEF"))));
    EXPECT_EQ("unknown command station 1: \"0123456789ABCDEF\"",
              describe(requestOf(frames::framed("0100X0123456789ABCDEFG"))));
}

TEST(Describe, TellsWhatAReplySays)
{
    EXPECT_EQ("reply station 1: end code 00", describe(replyOf(WriteReply)));
    EXPECT_EQ("reply station 1: end code 00, 1 word", describe(replyOf(ReadReply)));
    EXPECT_EQ("reply station 31: end code 4A, 2 words", describe(makeReply(31, 0x4A, {1, 2})));
}

TEST(Describe, NamesEveryVerdict)
{
    EXPECT_EQ("good", describe(CplVerdict::Good));
    EXPECT_EQ("incomplete", describe(CplVerdict::Incomplete));
    EXPECT_EQ("no STX", describe(CplVerdict::BadStart));
    EXPECT_EQ("wrong checksum", describe(CplVerdict::BadChecksum));
    EXPECT_EQ("malformed", describe(CplVerdict::Malformed));
}

TEST(HexDump, WritesTwoDigitsAByteWithBlanksBetween)
{
    EXPECT_EQ("", hexDump(""));
    EXPECT_EQ("02", hexDump("\x02"));
    EXPECT_EQ("00 0A 7F 80 FF", hexDump(std::string("\x00\x0A\x7F\x80\xFF", 5)));
}

// ---- The splitter -------------------------------------------------------------------------------

std::vector<std::string> framesOf(const std::string &stream)
{
    std::vector<std::string> found;
    CplLineSplitter splitter;
    for (const char byte : stream) {
        if (splitter.feed(byte))
            found.push_back(splitter.frame());
    }
    return found;
}

TEST(CplLineSplitter, FindsNothingInSilence)
{
    const CplLineSplitter splitter;
    EXPECT_EQ("", splitter.frame());
}

TEST(CplLineSplitter, FindsFramesOneAfterTheOther)
{
    EXPECT_THAT(framesOf(Read + Write + WriteRun), ElementsAre(Read, Write, WriteRun));
}

TEST(CplLineSplitter, DropsWhatStandsOutsideAFrame)
{
    EXPECT_THAT(framesOf("\r\nabc" + Read + "\n\n\x03" + Write + "tail\n"),
                ElementsAre(Read, Write));
}

TEST(CplLineSplitter, BeginsAgainAtTheLastStxBeforeALineFeed)
{
    for (size_t length = 1; length < Read.size(); ++length)
        EXPECT_THAT(framesOf(Read.substr(0, length) + Write), ElementsAre(Write)) << length;
}

TEST(CplLineSplitter, GivesAFrameThatIsTooShortToBeOne)
{
    EXPECT_THAT(framesOf("\x02\n"), ElementsAre("\x02\n"));
}

TEST(CplLineSplitter, KeepsEveryByteBetweenStxAndLineFeed)
{
    std::string frame("\x02");
    for (int byte = 0; byte < 256; ++byte) {
        if (byte != 0x02 && byte != '\n')
            frame += static_cast<char>(byte);
    }
    frame += '\n';

    EXPECT_THAT(framesOf(frame), ElementsAre(frame));
}

TEST(CplLineSplitter, ShowsAFrameUntilTheNextByte)
{
    CplLineSplitter splitter;
    for (const char byte : Read)
        splitter.feed(byte);
    EXPECT_EQ(Read, splitter.frame());

    EXPECT_FALSE(splitter.feed('U'));

    EXPECT_EQ("", splitter.frame());
}

TEST(CplLineSplitter, TakesTheLongestFrameAndDropsALongerOne)
{
    const std::string longest = "\x02" + std::string(CplLineSplitter::LongestFrame - 2, '0') + "\n";
    const std::string longer = "\x02" + std::string(CplLineSplitter::LongestFrame - 1, '0') + "\n";

    EXPECT_THAT(framesOf(longest + Read), ElementsAre(longest, Read));
    EXPECT_THAT(framesOf(longer + Read), ElementsAre(Read));
}

TEST(CplLineSplitter, HoldsNoMoreThanTheLongestFrameWhateverArrives)
{
    CplLineSplitter splitter;
    size_t most = 0;
    splitter.feed('\x02');
    for (int i = 0; i < 100000; ++i) {
        ASSERT_FALSE(splitter.feed('U'));
        most = std::max(most, splitter.frame().size());
    }

    EXPECT_EQ(CplLineSplitter::LongestFrame, most);
    EXPECT_EQ("", splitter.frame());
}

TEST(CplLineSplitter, FindsTheFrameBehindAnyGarbage)
{
    unsigned state = 12345;
    for (int round = 0; round < 500; ++round) {
        std::string garbage;
        for (unsigned i = 0; i < 300; ++i) {
            state = state * 1103515245 + 12345;
            garbage += static_cast<char>(state >> 16);
        }
        const std::vector<std::string> found = framesOf(garbage + Read);
        ASSERT_FALSE(found.empty());
        EXPECT_EQ(Read, found.back());
    }
}

} // namespace
