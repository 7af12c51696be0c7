#include "simulator/image.h"

#include <fstream>
#include <ios>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

std::vector<ImageEntry> entriesOf(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<ImageEntry> entries;
    std::string error;
    EXPECT_TRUE(readImage(stream, &entries, &error)) << error;
    EXPECT_EQ("", error);
    return entries;
}

std::string errorOf(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<ImageEntry> entries;
    std::string error;
    EXPECT_FALSE(readImage(stream, &entries, &error)) << text;
    return error;
}

void expectEntry(int station, uint32_t address, uint32_t value, const ImageEntry &entry)
{
    EXPECT_EQ(station, entry.station);
    EXPECT_EQ(address, entry.address);
    EXPECT_EQ(value, entry.value);
}

TEST(ReadImage, TakesDecimalAndHexadecimalNumbers)
{
    const std::vector<ImageEntry> entries = entriesOf("1 4096 5\n0x1F 0x1000 0xDEADbeef\n"
                                                      "2 0X20 0012\n");

    ASSERT_EQ(3u, entries.size());
    expectEntry(1, 0x1000, 5, entries[0]);
    expectEntry(31, 0x1000, 0xDEADBEEFu, entries[1]);
    expectEntry(2, 0x20, 12, entries[2]); // a leading zero makes nothing octal
}

TEST(ReadImage, TakesTheEndsOfEachRange)
{
    const std::vector<ImageEntry> entries =
        entriesOf("0 0 0\n255 4294967295 4294967295\n0xFF 0xFFFFFFFF 0xFFFFFFFF\n");

    ASSERT_EQ(3u, entries.size());
    expectEntry(0, 0, 0, entries[0]);
    expectEntry(255, 0xFFFFFFFFu, 0xFFFFFFFFu, entries[1]);
    expectEntry(255, 0xFFFFFFFFu, 0xFFFFFFFFu, entries[2]);
}

TEST(ReadImage, PassesOverCommentsAndEmptyLines)
{
    EXPECT_EQ(0u, entriesOf("").size());
    EXPECT_EQ(0u, entriesOf("\n \t\n# 1 2 3\n   # more\n#\n").size());
    EXPECT_EQ(1u, entriesOf("1 2 3# three\n").size());
}

TEST(ReadImage, TakesAnyBlanksCarriageReturnsAndALastLineWithoutEnd)
{
    const std::vector<ImageEntry> entries = entriesOf("\t1   2\t3 \r\n1 2 4\r\n1 2 5");

    ASSERT_EQ(3u, entries.size());
    expectEntry(1, 2, 3, entries[0]);
    expectEntry(1, 2, 5, entries[2]);
}

TEST(ReadImage, KeepsTheOrderSoThatALaterLineWins)
{
    const std::vector<ImageEntry> entries = entriesOf("1 2 3\n1 2 4\n");

    ASSERT_EQ(2u, entries.size());
    expectEntry(1, 2, 4, entries[1]);
}

TEST(ReadImage, RefusesALineThatHasNotThreeNumbers)
{
    for (const char *text : {"1", "1 2", "1 2 3 4", "1 2 #3", "1,2,3"})
        EXPECT_EQ("line 1: expected three numbers: station address value", errorOf(text)) << text;
}

TEST(ReadImage, RefusesAStationThatIsNone)
{
    for (const char *text : {"256", "-1", "+1", "x", "0x", "0x100", "1.0", "1e1", "0x0x1", "FF",
                             "4294967297", "18446744073709551617", "1\xB2"})
        EXPECT_EQ("line 1: \"" + std::string(text) + "\" is no station number (0 to 255)",
                  errorOf(text + std::string(" 2 3")));
}

TEST(ReadImage, RefusesAnAddressThatIsNone)
{
    for (const char *text : {"4294967296", "0x100000000", "-1", "PA20", "99999999999999999999"})
        EXPECT_EQ("line 1: \"" + std::string(text) + "\" is no address of 32 bits",
                  errorOf("1 " + std::string(text) + " 3"));
}

TEST(ReadImage, RefusesAValueThatIsNone)
{
    for (const char *text : {"4294967296", "0x100000000", "-1", "3,5", "18446744073709551616"})
        EXPECT_EQ("line 1: \"" + std::string(text) + "\" is no value of 32 bits",
                  errorOf("1 2 " + std::string(text)));
}

TEST(ReadImage, CountsEveryLineAndKeepsWhatCameBeforeTheMistake)
{
    std::istringstream stream("# head\n\n1 2 3\n1 2\n1 2 5\n");
    std::vector<ImageEntry> entries;
    std::string error;

    EXPECT_FALSE(readImage(stream, &entries, &error));

    EXPECT_EQ("line 4: expected three numbers: station address value", error);
    ASSERT_EQ(1u, entries.size());
    expectEntry(1, 2, 3, entries[0]);
}

TEST(ReadImage, NoticesThatAStreamBrokeOff)
{
    std::ifstream directory("/");
    ASSERT_TRUE(directory.is_open());
    std::vector<ImageEntry> entries;
    std::string error;

    EXPECT_FALSE(readImage(directory, &entries, &error));

    EXPECT_EQ("line 1: cannot be read", error);
}

TEST(ReadImage, BearsALineOfAMillionBytesAndZeroBytes)
{
    EXPECT_NE("", errorOf(std::string(1000000, '1')));
    EXPECT_NE("", errorOf("1 2 " + std::string(1000000, '1')));
    EXPECT_NE("", errorOf(std::string("1 2 3\0", 6)));
    EXPECT_EQ(100000u, [] {
        std::string text;
        for (int i = 0; i < 100000; ++i)
            text += "1 2 3\n";
        return entriesOf(text).size();
    }());
}

} // namespace
