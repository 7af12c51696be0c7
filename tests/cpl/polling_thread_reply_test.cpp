// Collecting a reply and judging it.

#include "tests/cpl/polling_thread_fixture.h"

namespace
{

using ::testing::ElementsAre;

const ulong Asked = 0x2012;
const uint32_t Right = 0x1234ABCD;

class PollingThreadReply : public PollingThreadFixture
{
protected:
    PollingThreadReply() { define(1, Asked, 1); }

    /// What is wrong with a reply to a read or a write of `Asked` at station 1; "" when nothing is.
    std::string readFault(const std::string &reply)
    {
        receive(reply);
        return fault(thread().checkReadRsp(1, Asked));
    }
    std::string writeFault(const std::string &reply)
    {
        receive(reply);
        return fault(thread().checkWriteRsp(1, Asked));
    }

private:
    std::string fault(bool good)
    {
        EXPECT_EQ(!good, thread().hasError());
        thread().clearError();
        return good ? std::string() : lastError();
    }
};

typedef PollingThreadReply PollingThreadReplyDeathTest;

// ---- Collecting ---------------------------------------------------------------------------------

TEST_F(PollingThreadReply, EndsAtItsLineFeed)
{
    prepareBuffers();
    const std::string reply = frames::reply(1, {Right});
    link.preload(reply);
    EXPECT_EQ(int(reply.size()), thread().readRspUntilLF());
    EXPECT_THAT(link.calls(), ElementsAre("read 420"));
}

TEST_F(PollingThreadReply, IsAskedForWithTheRoomThatIsLeft)
{
    prepareBuffers();
    link.chunk = 5;
    link.preload("abcdefghijk\n");
    EXPECT_EQ(12, thread().readRspUntilLF());
    EXPECT_THAT(link.calls(), ElementsAre("read 420", "read 415", "read 410"));
}

TEST_F(PollingThreadReply, EndsAtALinkThatGivesNothing)
{
    prepareBuffers();
    for (const int nothing : {0, -1, -1000}) {
        link.nothing = nothing;
        thread().resetRspBuf();
        link.preload("abc");
        EXPECT_EQ(3, thread().readRspUntilLF());
        EXPECT_EQ(0, thread().readRspUntilLF());
    }
}

TEST_F(PollingThreadReply, GoesOnWhereAnEarlierCallEnded)
{
    prepareBuffers();
    link.preload(frames::reply(1).substr(0, 4));
    EXPECT_EQ(4, thread().readRspUntilLF());
    link.preload(frames::reply(1).substr(4));
    EXPECT_EQ(9, thread().readRspUntilLF());
    EXPECT_TRUE(thread().checkReadRsp(1, Asked));
}

TEST_F(PollingThreadReply, GoesOnBehindALineFeedInTheMiddleOfAPiece)
{
    prepareBuffers();
    link.preload("ab\ncd\n");
    EXPECT_EQ(6, thread().readRspUntilLF());
}

TEST_F(PollingThreadReply, StopsAtALineFeedThatEndsAPiece)
{
    prepareBuffers();
    link.chunk = 3;
    link.preload("ab\ncd\n");
    EXPECT_EQ(3, thread().readRspUntilLF());
}

TEST_F(PollingThreadReply, MayComeByteByByte)
{
    prepareBuffers();
    link.chunk = 1;
    EXPECT_EQ("", readFault(frames::reply(1, {Right})));
    EXPECT_EQ(26u, link.calls().size() + 5); // 21 bytes, one call each
}

TEST_F(PollingThreadReply, OfBabbleEndsWithTheBuffer)
{
    prepareBuffers();
    link.preload(std::string(1000, 'x'));
    EXPECT_EQ(420, thread().readRspUntilLF());
    EXPECT_THAT(link.calls(), ElementsAre("read 420"));
}

TEST_F(PollingThreadReply, OfBabbleInPiecesEndsWithTheBuffer)
{
    prepareBuffers();
    link.chunk = 100;
    link.preload(std::string(1000, 'x'));
    EXPECT_EQ(420, thread().readRspUntilLF());
    EXPECT_THAT(link.calls(),
                ElementsAre("read 420", "read 320", "read 220", "read 120", "read 20"));
}

TEST_F(PollingThreadReply, OfExactlyTheBufferWithLineFeedIsCollected)
{
    prepareBuffers();
    const std::string reply = frames::framed("0100X00" + std::string(408, '0'));
    ASSERT_EQ(421u, reply.size());
    EXPECT_EQ("", readFault(frames::framed("0100X00" + std::string(407, '0'))));
}

TEST_F(PollingThreadReplyDeathTest, BehindAFullBufferEndsTheProgram)
{
    prepareBuffers();
    receive(std::string(420, 'x'));
    EXPECT_DEATH(thread().readRspUntilLF(), assertion("m_rsp_len < int(m_rsp_buf.size())"));
}

TEST_F(PollingThreadReply, IsForgottenByAReset)
{
    prepareBuffers();
    receive(std::string(420, 'x'));
    thread().resetRspBuf();
    link.preload("");
    EXPECT_EQ(0, thread().readRspUntilLF());
    EXPECT_FALSE(thread().checkReadRsp(1, Asked));
    EXPECT_EQ("read station id#1 start address 00002012:DMC50 no response", lastError());
}

// ---- Fields -------------------------------------------------------------------------------------

TEST_F(PollingThreadReply, CarriesItsStationInHexadecimal)
{
    prepareBuffers();
    receive(frames::reply(0x1F));
    EXPECT_EQ(31, thread().getStationIdFromRsp());
    receive(frames::reply(255));
    EXPECT_EQ(255, thread().getStationIdFromRsp());
    receive(frames::framed("1f00X00"));
    EXPECT_EQ(31, thread().getStationIdFromRsp());
    receive(frames::framed("1G00X00"));
    EXPECT_EQ(0, thread().getStationIdFromRsp());
    receive(frames::reply(0x1F));
    thread().resetRspBuf();
    EXPECT_EQ(0, thread().getStationIdFromRsp());
}

TEST_F(PollingThreadReply, CarriesItsEndCodeInHexadecimal)
{
    prepareBuffers();
    receive(frames::reply(1, {}, 0x41));
    EXPECT_EQ(0x41, thread().getEndCodeFromRsp());
    receive(frames::reply(1, {}, 255));
    EXPECT_EQ(255, thread().getEndCodeFromRsp());
    receive(frames::framed("0100Xfe"));
    EXPECT_EQ(254, thread().getEndCodeFromRsp());
}

// ---- Verdicts -----------------------------------------------------------------------------------

struct VerdictRow {
    std::string reply;
    std::string readFault;
    std::string writeFault;
};

TEST_F(PollingThreadReply, IsJudgedWithTheseWords)
{
    prepareBuffers();
    const std::string read = "read station id#1 start address 00002012:";
    const std::string write = "write station id#1 address 00002012";
    const VerdictRow table[] = {
        {frames::reply(1), "", ""},
        {frames::reply(1, {Right}), "", ""},
        {"", read + "DMC50 no response", write + "DMC50 no response"},
        {"\n", read + "read: packet loss", write + "packet loss"},
        {std::string(12, 'x'), read + "read: packet loss", write + "packet loss"},
        {std::string(13, 'x'), read + "checksum error", write + "checksum error"},
        {std::string(1000, 'y'), read + "checksum error", write + "checksum error"},
        {frames::reply(2), read + "invalid station id from DMC50",
         write + "invalid station id from DMC50"},
        {frames::reply(2, {}, 0x41), read + "invalid station id from DMC50",
         write + "invalid station id from DMC50"},
        {frames::framed("ZZ00X00"), read + "invalid station id from DMC50",
         write + "invalid station id from DMC50"},
        {frames::reply(1, {}, 0x41), read + "end code 41H", write + "end code 41H"},
        {frames::reply(1, {Right}, 0x41), read + "end code 41H", write + "end code 41H"},
        {frames::reply(1, {}, 1), read + "end code 01H", write + "end code 01H"},
        {frames::reply(1, {}, 0xAB), read + "end code ABH", write + "end code ABH"},
        {frames::reply(1, {}, 255), read + "end code FFH", write + "end code FFH"},
        {frames::framed("0100XRN"), read + "end code FFH", write + "end code FFH"},
        {frames::framed("0100X0G"), read + "end code FFH", write + "end code FFH"},
        {frames::framed("0100X0x"), read + "end code FFH", write + "end code FFH"},
    };
    for (const VerdictRow &row : table) {
        EXPECT_EQ(row.readFault, readFault(row.reply)) << row.reply;
        EXPECT_EQ(row.writeFault, writeFault(row.reply)) << row.reply;
    }
}

TEST_F(PollingThreadReply, OfTwelveBytesIsLostWhateverItSays)
{
    prepareBuffers();
    const std::string twelveWithGoodChecksum = frames::framed("0100X0");
    ASSERT_EQ(12u, twelveWithGoodChecksum.size());
    EXPECT_EQ("read station id#1 start address 00002012:read: packet loss",
              readFault(twelveWithGoodChecksum));
    EXPECT_EQ("write station id#1 address 00002012packet loss", writeFault(twelveWithGoodChecksum));
}

TEST_F(PollingThreadReply, FaultNamesStationInDecimalAndAddressInHexadecimal)
{
    prepareBuffers();
    receive("");
    EXPECT_FALSE(thread().checkReadRsp(255, 0xFEDCBA98));
    EXPECT_EQ("read station id#255 start address FEDCBA98:DMC50 no response", lastError());
    EXPECT_FALSE(thread().checkWriteRsp(255, 0xFEDCBA98));
    EXPECT_EQ("write station id#255 address FEDCBA98DMC50 no response", lastError());
    EXPECT_FALSE(thread().checkReadRsp(10, 0));
    EXPECT_EQ("read station id#10 start address 00000000:DMC50 no response", lastError());
}

TEST_F(PollingThreadReply, ThatIsGoodLeavesAnEarlierErrorStanding)
{
    prepareBuffers();
    thread().setCommError("earlier");
    receive(frames::reply(1));
    EXPECT_TRUE(thread().checkReadRsp(1, Asked));
    EXPECT_TRUE(thread().checkWriteRsp(1, Asked));
    EXPECT_TRUE(thread().hasError());
    EXPECT_EQ("earlier", lastError());
}

TEST_F(PollingThreadReply, CutShortAnywhereIsABadOne)
{
    prepareBuffers();
    const std::string read = "read station id#1 start address 00002012:";
    const std::string reply = frames::reply(1, {Right, 0x55AA55AA});
    for (size_t length = 1; length < reply.size(); ++length) {
        EXPECT_EQ(read + (length <= 12 ? "read: packet loss" : "checksum error"),
                  readFault(reply.substr(0, length)))
            << length << " bytes";
    }
}

TEST_F(PollingThreadReply, WithAnyOtherByteBeforeTheChecksumHasAChecksumError)
{
    prepareBuffers();
    const std::string reply = frames::reply(1, {Right});
    for (size_t at = 0; at < reply.size() - 4; ++at) {
        for (int change = 1; change < 256; ++change) {
            std::string damaged = reply;
            damaged[at] = static_cast<char>(damaged[at] + change);
            EXPECT_EQ("read station id#1 start address 00002012:checksum error", readFault(damaged))
                << "byte " << at << " + " << change;
        }
    }
}

TEST_F(PollingThreadReply, WithAnyOtherChecksumHasAChecksumError)
{
    prepareBuffers();
    const std::string reply = frames::reply(1, {Right});
    ASSERT_EQ("AE", reply.substr(17, 2));
    for (const size_t at : {17u, 18u}) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string damaged = reply;
            damaged[at] = static_cast<char>(byte);
            const bool sameDigit = tolower(byte) == tolower(reply[at]);
            EXPECT_EQ(sameDigit ? "" : "read station id#1 start address 00002012:checksum error",
                      readFault(damaged))
                << "byte " << at << " = " << byte;
        }
    }
}

TEST_F(PollingThreadReply, IsNotJudgedByItsLineEnd)
{
    prepareBuffers();
    std::string reply = frames::reply(1, {Right});
    reply[19] = 'x';
    EXPECT_EQ("", readFault(reply));
    reply[20] = 'x';
    EXPECT_EQ("", readFault(reply));
}

// ---- The error ----------------------------------------------------------------------------------

TEST_F(PollingThreadReply, ErrorTextOutlivesTheError)
{
    thread().setCommError("first");
    EXPECT_TRUE(thread().hasError());
    EXPECT_EQ("first", lastError());
    thread().clearError();
    EXPECT_FALSE(thread().hasError());
    EXPECT_EQ("first", lastError());
    thread().setCommError("second");
    EXPECT_EQ("second", lastError());
}

TEST_F(PollingThreadReply, ErrorOfAPollSaysWhy)
{
    controllers = [](const std::string &) { return std::string(); };
    announce({command("NA2012")});
    runRequests(1);
    EXPECT_TRUE(thread().hasError());
    EXPECT_EQ("read station id#1 start address 00002012:DMC50 no response", lastError());
}

TEST_F(PollingThreadReply, ErrorOfAWriteSaysWhy)
{
    controllers = [](const std::string &) { return frames::reply(1, {}, 0x41); };
    thread().writeDWord(1, AddrArg{Asked, 1});
    runRequests(1);
    EXPECT_EQ("write station id#1 address 00002012end code 41H", lastError());
}

// ---- Through the loop: nothing wrong may reach the cache

class PollingThreadHostileReply : public PollingThreadReply
{
protected:
    /// Polls one address again and again, each time with the next of these replies. Fails when the
    /// cache ever holds anything but the right value.
    void pollThrough(const Strings &replies)
    {
        size_t next = 0;
        controllers = [&](const std::string &) {
            const qint64 value = cached(1, Asked);
            EXPECT_TRUE(value == -1 || value == Right) << std::hex << value;
            return replies.at(next++);
        };
        announce({command("NA2012")});
        runRequests(static_cast<int>(replies.size()));
        EXPECT_TRUE(cached(1, Asked) == -1 || cached(1, Asked) == Right);
    }

    /// Reads one address on demand, with one reply.
    /// \return the value; -1 when none was taken
    qint64 readOnce(const std::string &reply)
    {
        controllers = [reply](const std::string &) { return reply; };
        thread().pushReadAddresses(1, {Asked});
        runRequests(1);
        QByteArray data(4, 0);
        AddressVector addresses(1, Asked);
        UCharVector indexes(1, 0);
        if (!thread().readOnceData(1, data, addresses, indexes))
            return -1;
        return wordAt(data, 0);
    }
};

TEST_F(PollingThreadHostileReply, CutShortNeverGivesAValue)
{
    const std::string good = frames::reply(1, {Right});
    Strings replies;
    for (size_t length = 0; length < good.size(); ++length)
        replies.push_back(good.substr(0, length));
    pollThrough(replies);
    EXPECT_EQ(-1, cached(1, Asked));
}

TEST_F(PollingThreadHostileReply, WithAChangedByteNeverGivesAnotherValue)
{
    const std::string good = frames::reply(1, {Right});
    Strings replies;
    for (size_t at = 0; at < good.size(); ++at) {
        for (int change = 1; change < 256; ++change) {
            replies.push_back(good);
            replies.back()[at] = static_cast<char>(good[at] + change);
        }
    }
    pollThrough(replies);
}

TEST_F(PollingThreadHostileReply, WithAChangedByteInPiecesNeverGivesAnotherValue)
{
    link.chunk = 1; // a byte that became a line feed ends the reply early
    const std::string good = frames::reply(1, {Right});
    Strings replies;
    for (size_t at = 0; at < good.size(); ++at) {
        for (int change = 1; change < 256; ++change) {
            replies.push_back(good);
            replies.back()[at] = static_cast<char>(good[at] + change);
        }
    }
    pollThrough(replies);
}

TEST_F(PollingThreadHostileReply, WithAGoodChecksumAndNoDataGivesNoValue)
{
    pollThrough({frames::reply(1)});
    EXPECT_EQ(-1, cached(1, Asked));
    EXPECT_FALSE(thread().hasError());
}

TEST_F(PollingThreadHostileReply, WithAGoodChecksumAndTooFewDigitsGivesNoValue)
{
    Strings replies;
    for (size_t digits = 0; digits < 8; ++digits)
        replies.push_back(frames::framed("0100X00" + std::string("1234ABCD").substr(0, digits)));
    pollThrough(replies);
    EXPECT_EQ(-1, cached(1, Asked));
}

TEST_F(PollingThreadHostileReply, WithoutEtxBehindTheDataGivesNoValue)
{
    // The last digit stands where ETX belongs.
    std::string text = "\x02"
                       "0100X001234ABCD";
    unsigned sum = 0;
    for (const char c : text)
        sum += static_cast<unsigned char>(c);
    const std::string reply = text + frames::hex((256 - sum % 256) % 256, 2) + "\r\n";
    pollThrough({reply});
    EXPECT_EQ(-1, cached(1, Asked));
    EXPECT_FALSE(thread().hasError());
}

TEST_F(PollingThreadHostileReply, WithACharacterThatIsNotHexadecimalGivesNoValue)
{
    Strings replies;
    for (size_t at = 0; at < 8; ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            if (isxdigit(byte) || byte == '\n')
                continue;
            std::string digits = "1234ABCD";
            digits[at] = static_cast<char>(byte);
            replies.push_back(frames::framed("0100X00" + digits));
        }
    }
    pollThrough(replies);
    EXPECT_EQ(-1, cached(1, Asked));
    EXPECT_FALSE(thread().hasError());
}

TEST_F(PollingThreadHostileReply, WithAHexadecimalPrefixGivesNoValue)
{
    pollThrough({frames::framed("0100X000x34ABCD"), frames::framed("0100X000X001234")});
    EXPECT_EQ(-1, cached(1, Asked));
}

TEST_F(PollingThreadHostileReply, WithMoreWordsThanAskedGivesThoseAsked)
{
    pollThrough({frames::reply(1, {Right, 0x11111111, 0x22222222})});
    EXPECT_EQ(qint64(Right), cached(1, Asked));
    EXPECT_EQ(-1, cached(1, Asked + 1));
}

TEST_F(PollingThreadHostileReply, WithLowerCaseDigitsGivesTheValue)
{
    pollThrough({frames::framed("0100X001234abcd")});
    EXPECT_EQ(qint64(Right), cached(1, Asked));
}

TEST_F(PollingThreadHostileReply, WithFewerWordsThanAskedGivesTheFirstOnes)
{
    controllers = [](const std::string &) { return frames::reply(1, {0xA, 0xB}); };
    announce({command("NA20", 3)});
    runRequests(1);
    EXPECT_EQ(0xA, cached(1, 0x20));
    EXPECT_EQ(0xB, cached(1, 0x21));
    EXPECT_EQ(-1, cached(1, 0x22));
}

TEST_F(PollingThreadHostileReply, WithABadWordAmongGoodOnesGivesTheGoodOnes)
{
    controllers = [](const std::string &) {
        return frames::framed("0100X00"
                              "0000000A"
                              "0000?00B"
                              "0000000C");
    };
    announce({command("NA20", 3)});
    runRequests(1);
    EXPECT_EQ(0xA, cached(1, 0x20));
    EXPECT_EQ(-1, cached(1, 0x21));
    EXPECT_EQ(0xC, cached(1, 0x22));
}

TEST_F(PollingThreadHostileReply, ThatIsShortLeavesTheOldValueInPlace)
{
    pollThrough({frames::reply(1, {Right}), frames::reply(1)});
    EXPECT_EQ(qint64(Right), cached(1, Asked));
}

TEST_F(PollingThreadHostileReply, OfBabbleIsNotTakenForALaterReply)
{
    pollThrough({std::string(1000, 'x'), frames::reply(1, {Right})});
    EXPECT_EQ(qint64(Right), cached(1, Asked));
    EXPECT_FALSE(thread().hasError());
}

TEST_F(PollingThreadHostileReply, BehindNoiseIsBad)
{
    pollThrough({"\xFF\x55" + frames::reply(1, {Right})});
    EXPECT_EQ(-1, cached(1, Asked));
    EXPECT_EQ("read station id#1 start address 00002012:checksum error", lastError());
}

TEST_F(PollingThreadHostileReply, BehindTheEchoOfItsRequestIsBad)
{
    pollThrough({readFrame(1, Asked, 1) + frames::reply(1, {Right})});
    EXPECT_EQ(-1, cached(1, Asked));
    EXPECT_EQ("read station id#1 start address 00002012:checksum error", lastError());
}

TEST_F(PollingThreadHostileReply, ThatIsTheEchoOfItsRequestGivesNoValue)
{
    controllers = [](const std::string &request) { return request; };
    announce({command("NA20", 50)});
    runRequests(1);
    for (ulong address = 0x20; address < 0x20 + 50; ++address)
        EXPECT_EQ(-1, cached(1, address)) << address;
    EXPECT_EQ("read station id#1 start address 00000020:end code FFH", lastError());
}

TEST_F(PollingThreadHostileReply, ToAWriteThatIsItsEchoIsNoSuccess)
{
    controllers = [](const std::string &request) { return request; };
    queueWrites(1, 0x1000, 1);
    runRequests(1);
    EXPECT_EQ("write station id#1 address 00001000end code FFH", lastError());
}

TEST_F(PollingThreadHostileReply, OnDemandGivesTheRightValueOnly)
{
    EXPECT_EQ(qint64(Right), readOnce(frames::reply(1, {Right})));
}

TEST_F(PollingThreadHostileReply, OnDemandWithoutDataGivesNoValue)
{
    EXPECT_EQ(-1, readOnce(frames::reply(1)));
}

TEST_F(PollingThreadHostileReply, OnDemandWithACharacterThatIsNotHexadecimalGivesNoValue)
{
    EXPECT_EQ(-1, readOnce(frames::framed("0100X001234ABCG")));
}

TEST_F(PollingThreadHostileReply, OnDemandCutShortGivesNoValue)
{
    EXPECT_EQ(-1, readOnce(frames::reply(1, {Right}).substr(0, 20)));
}

} // namespace
