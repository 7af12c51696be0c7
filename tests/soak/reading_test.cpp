#include "bench/soak/reading.h"

#include <gtest/gtest.h>

#include "tests/support/frames.h"

namespace
{

CplRequest request(const std::string &frame)
{
    CplRequest decoded;
    EXPECT_EQ(CplVerdict::Good, decodeRequest(frame, &decoded));
    return decoded;
}

const std::string Sound = frames::reply(1, {0x11, 0x22});

class ReadReply : public testing::Test
{
protected:
    Reading read(const std::string &reply) { return readReply(asked, reply); }

    const CplRequest asked = request(frames::readRequest(1, {0x20, 0x21}));
};

TEST_F(ReadReply, TakesTheValuesOfAGoodOne)
{
    const Reading reading = read(Sound);
    EXPECT_EQ("", reading.refusal);
    EXPECT_EQ((std::map<size_t, uint32_t>{{0, 0x11}, {1, 0x22}}), reading.values);
}

TEST_F(ReadReply, TakesNoMoreThanCame)
{
    EXPECT_EQ((std::map<size_t, uint32_t>{{0, 0x11}}), read(frames::reply(1, {0x11})).values);
}

TEST_F(ReadReply, PassesOverWhatIsNoNumber)
{
    const std::string reply = frames::framed("0100X00000000G100000022");
    EXPECT_EQ("", read(reply).refusal);
    EXPECT_EQ((std::map<size_t, uint32_t>{{1, 0x22}}), read(reply).values);
}

TEST_F(ReadReply, NamesWhatIsWrong)
{
    EXPECT_EQ("DMC50 no response", read("").refusal);
    EXPECT_EQ("read: packet loss", read(Sound.substr(0, 1)).refusal);
    EXPECT_EQ("read: packet loss", read(Sound.substr(0, 12)).refusal);
    EXPECT_EQ("checksum error", read(Sound.substr(0, 13)).refusal);
    EXPECT_EQ("invalid station id from DMC50", read(frames::reply(2, {}, 0x41)).refusal);
    EXPECT_EQ("end code 41H", read(frames::reply(1, {}, 0x41)).refusal);
    EXPECT_EQ("end code FFH", read(frames::readRequest(1, {0x20, 0x21})).refusal);
}

TEST_F(ReadReply, RefusesEveryFlippedBitBeforeTheLineEnd)
{
    for (size_t at = 0; at + 2 < Sound.size(); ++at) {
        std::string flipped = Sound;
        flipped[at] = static_cast<char>(flipped[at] ^ 1);
        EXPECT_EQ("checksum error", read(flipped).refusal) << at;
    }
}

TEST(ReadReplyToAWrite, NamesALossInItsOwnWords)
{
    const CplRequest asked = request(frames::writeRequest(1, {{0x20, 5}}));
    EXPECT_EQ("packet loss", readReply(asked, "x").refusal);
    EXPECT_EQ("", readReply(asked, frames::reply(1)).refusal);
    EXPECT_TRUE(readReply(asked, frames::reply(1)).values.empty());
}

TEST(Sum, IsRightOfASoundFrameOnly)
{
    EXPECT_TRUE(sumIsRight(Sound));
    std::string flipped = Sound;
    flipped[6] = static_cast<char>(flipped[6] ^ 1);
    EXPECT_FALSE(sumIsRight(flipped));
    for (size_t length = 0; length < 4; ++length)
        EXPECT_FALSE(sumIsRight(Sound.substr(0, length))) << length;
    EXPECT_TRUE(sumIsRight("GG\r\n")); // no digits are 0, the sum of nothing
}

TEST(ErrorText, HasStationAndFirstAddress)
{
    EXPECT_EQ("read station id#31 start address 00002012:DMC50 no response",
              errorText(request(frames::readRequest(31, {0x2012})), "DMC50 no response"));
    EXPECT_EQ("write station id#1 address 00002012end code 41H",
              errorText(request(frames::writeRequest(1, {{0x2012, 1}})), "end code 41H"));
}

} // namespace
