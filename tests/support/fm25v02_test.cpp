#include "tests/support/fm25v02.h"

#include "tests/support/bytes.h"

#include <gtest/gtest.h>

namespace
{

std::string exchange(Fm25v02 *chip, const char *frame)
{
    return hexOf(chip->exchange(bytes(frame)));
}

TEST(Fm25v02, IgnoresAWriteWithoutTheLatch)
{
    Fm25v02 chip;
    exchange(&chip, "02 00 10 AA");
    EXPECT_EQ(0x00, chip.byteAt(0x10));
}

TEST(Fm25v02, TakesOneWriteForEachWriteEnable)
{
    Fm25v02 chip;
    exchange(&chip, "06");
    exchange(&chip, "02 00 10 AA");
    EXPECT_FALSE(chip.latch());
    exchange(&chip, "02 00 10 BB");
    EXPECT_EQ(0xAA, chip.byteAt(0x10));
}

TEST(Fm25v02, WriteDisableResetsTheLatch)
{
    Fm25v02 chip;
    exchange(&chip, "06");
    exchange(&chip, "04");
    exchange(&chip, "02 00 10 AA");
    EXPECT_EQ(0x00, chip.byteAt(0x10));
}

TEST(Fm25v02, AWriteWithoutDataStillResetsTheLatch)
{
    Fm25v02 chip;
    exchange(&chip, "06");
    exchange(&chip, "02 00");
    EXPECT_FALSE(chip.latch());
}

TEST(Fm25v02, LeavesOutTheSixteenthBitOfAnAddress)
{
    Fm25v02 chip;
    exchange(&chip, "06");
    exchange(&chip, "02 80 01 AA");
    EXPECT_EQ(0xAA, chip.byteAt(0x0001));
    EXPECT_EQ("FF FF FF AA", exchange(&chip, "03 80 01 00"));
}

TEST(Fm25v02, ReadsAndWritesOnBehindItsEnd)
{
    Fm25v02 chip;
    exchange(&chip, "06");
    exchange(&chip, "02 7F FF AA BB");
    EXPECT_EQ(0xAA, chip.byteAt(0x7FFF));
    EXPECT_EQ(0xBB, chip.byteAt(0x0000));
    EXPECT_EQ("FF FF FF AA BB", exchange(&chip, "03 7F FF 00 00"));
}

TEST(Fm25v02, ReadingKeepsTheLatch)
{
    Fm25v02 chip;
    exchange(&chip, "06");
    exchange(&chip, "03 00 00 00");
    EXPECT_TRUE(chip.latch());
}

TEST(Fm25v02, ShowsTheLatchInItsStatus)
{
    Fm25v02 chip;
    EXPECT_EQ("FF 00", exchange(&chip, "05 00"));
    exchange(&chip, "06");
    EXPECT_EQ("FF 02 02", exchange(&chip, "05 00 00"));
}

TEST(Fm25v02, TakesAStatusOnlyWithTheLatchAndOnlyItsWritableBits)
{
    Fm25v02 chip;
    exchange(&chip, "01 FF");
    EXPECT_EQ("FF 00", exchange(&chip, "05 00"));
    exchange(&chip, "06");
    exchange(&chip, "01 FF");
    EXPECT_FALSE(chip.latch());
    EXPECT_EQ("FF 8C", exchange(&chip, "05 00"));
}

struct Protection {
    const char *status;
    int lastWritable; ///< -1 for none
};

void PrintTo(const Protection &protection, std::ostream *out)
{
    *out << protection.status;
}

class Fm25v02Protection : public testing::TestWithParam<Protection>
{
};

TEST_P(Fm25v02Protection, CoversTheUpperPart)
{
    Fm25v02 chip;
    exchange(&chip, "06");
    exchange(&chip, GetParam().status);
    for (const char *frame : {"02 00 00 AA", "02 3F FF AA", "02 40 00 AA", "02 5F FF AA",
                              "02 60 00 AA", "02 7F FF AA"}) {
        const QByteArray header = bytes(frame);
        const int address = (header[1] << 8) | static_cast<unsigned char>(header[2]);
        exchange(&chip, "06");
        exchange(&chip, frame);
        EXPECT_EQ(address <= GetParam().lastWritable ? 0xAA : 0x00, chip.byteAt(address)) << frame;
    }
}

INSTANTIATE_TEST_SUITE_P(EachStatus, Fm25v02Protection,
                         testing::Values(Protection{"01 00", 0x7FFF}, Protection{"01 04", 0x5FFF},
                                         Protection{"01 08", 0x3FFF}, Protection{"01 0C", -1}));

TEST(Fm25v02, TellsWhatItIs)
{
    Fm25v02 chip;
    EXPECT_EQ("FF 7F 7F 7F 7F 7F 7F C2 22 00", exchange(&chip, "9F 00 00 00 00 00 00 00 00 00"));
}

TEST(Fm25v02, WakesWithAFrameThatItDoesNotUnderstand)
{
    Fm25v02 chip;
    exchange(&chip, "B9");
    EXPECT_TRUE(chip.isAsleep());
    exchange(&chip, "06");
    EXPECT_FALSE(chip.isAsleep());
    EXPECT_FALSE(chip.latch());
}

TEST(Fm25v02, DoesNothingOnAnUnknownOpcodeOrNone)
{
    Fm25v02 chip;
    EXPECT_EQ("", exchange(&chip, ""));
    EXPECT_EQ("FF FF", exchange(&chip, "77 01"));
    EXPECT_FALSE(chip.latch());
}

} // namespace
