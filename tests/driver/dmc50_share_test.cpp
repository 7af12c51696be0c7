#include "driver/dmc50_share.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <ostream>

#include <gtest/gtest.h>

namespace
{

const ulong GreatestAddress = 0xFFFFFFFFUL;

// ---- Search ---------------------------------------------------------------------------------

TEST(CompareAddress, IsAStrictOrder)
{
    EXPECT_TRUE(CompareAddress(0, 1));
    EXPECT_FALSE(CompareAddress(1, 0));
    EXPECT_FALSE(CompareAddress(1, 1));
    EXPECT_TRUE(CompareAddress(0x7FFFFFFFUL, 0x80000000UL)) << "addresses are unsigned";
    EXPECT_FALSE(CompareAddress(GreatestAddress, 0));
}

TEST(CompareAddress, SortsAddressesAscending)
{
    AddressVector addresses = {0x80000000UL, 3, GreatestAddress, 0, 3};
    std::sort(addresses.begin(), addresses.end(), CompareAddress);
    EXPECT_EQ((AddressVector{0, 3, 3, 0x80000000UL, GreatestAddress}), addresses);
}

TEST(SearchIndex, FindsEveryAddressAndNoneBetween)
{
    // Vectors of all small sizes, so that the middle falls in every place.
    for (ulong size = 0; size <= 33; ++size) {
        AddressVector sorted;
        for (ulong i = 0; i < size; ++i)
            sorted.push_back(10 * i + 10);
        for (ulong i = 0; i < size; ++i)
            EXPECT_EQ(static_cast<int>(i), SearchIndex(sorted, 10 * i + 10)) << "of " << size;
        for (ulong i = 0; i <= size; ++i)
            EXPECT_EQ(-1, SearchIndex(sorted, 10 * i + 5)) << "of " << size;
    }
}

TEST(SearchIndex, FindsNothingInAnEmptyVector)
{
    EXPECT_EQ(-1, SearchIndex(AddressVector(), 0));
    EXPECT_EQ(-1, SearchIndex(AddressVector(), GreatestAddress));
}

TEST(SearchIndex, FindsTheLeastAndTheGreatestAddress)
{
    const AddressVector sorted = {0, 0x7FFFFFFFUL, 0x80000000UL, GreatestAddress};
    for (size_t i = 0; i < sorted.size(); ++i)
        EXPECT_EQ(static_cast<int>(i), SearchIndex(sorted, sorted[i]));
    EXPECT_EQ(-1, SearchIndex(sorted, 1));
    EXPECT_EQ(-1, SearchIndex(sorted, GreatestAddress - 1));
}

TEST(SearchIndex, HalvesFromTheMiddleRoundedDown)
{
    // Which one of equal addresses is found tells where the search has looked.
    EXPECT_EQ(0, SearchIndex({5, 5}, 5));
    EXPECT_EQ(1, SearchIndex({5, 5, 5, 5}, 5));
    EXPECT_EQ(2, SearchIndex({5, 5, 5, 5, 5}, 5));
    EXPECT_EQ(2, SearchIndex({5, 5, 5, 5, 5, 5}, 1, 3, 5));
}

TEST(SearchIndex, LooksBetweenTheBoundsOnly)
{
    const AddressVector sorted = {0x10, 0x20, 0x30, 0x40, 0x50};
    EXPECT_EQ(1, SearchIndex(sorted, 1, 3, 0x20));
    EXPECT_EQ(2, SearchIndex(sorted, 1, 3, 0x30));
    EXPECT_EQ(3, SearchIndex(sorted, 1, 3, 0x40));
    EXPECT_EQ(-1, SearchIndex(sorted, 1, 3, 0x10));
    EXPECT_EQ(-1, SearchIndex(sorted, 1, 3, 0x50));
    EXPECT_EQ(4, SearchIndex(sorted, 4, 4, 0x50));
    EXPECT_EQ(-1, SearchIndex(sorted, 4, 4, 0x40));
}

TEST(SearchIndex, FindsNothingWhenTheBoundsAreCrossed)
{
    const AddressVector sorted = {0x10, 0x20, 0x30};
    EXPECT_EQ(-1, SearchIndex(sorted, 1, 0, 0x20));
    EXPECT_EQ(-1, SearchIndex(sorted, 2, 1, 0x20));
    EXPECT_EQ(-1, SearchIndex(sorted, 0, -1, 0x10));
    EXPECT_EQ(-1, SearchIndex(sorted, INT_MAX, INT_MIN, 0x10));
}

TEST(SearchIndex, FindsAddressesAmongAHundredThousand)
{
    AddressVector sorted(100000);
    for (size_t i = 0; i < sorted.size(); ++i)
        sorted[i] = 2 * static_cast<ulong>(i);
    for (size_t i = 0; i < sorted.size(); ++i) {
        ASSERT_EQ(static_cast<int>(i), SearchIndex(sorted, sorted[i]));
        ASSERT_EQ(-1, SearchIndex(sorted, sorted[i] + 1));
    }
}

// ---- From text to number --------------------------------------------------------------------

TEST(NaAddress, IsTheHexadecimalNumber)
{
    EXPECT_EQ(0x1000UL, NaAddress("1000"));
    EXPECT_EQ(0xABCDEFUL, NaAddress("abcDEF"));
    EXPECT_EQ(GreatestAddress, NaAddress("FFFFFFFF"));
    EXPECT_EQ(GreatestAddress, NaAddress("000000000000000000FFFFFFFF"));
}

TEST(NaAddress, IsZeroWhenTheDigitsDoNotFit32Bits)
{
    EXPECT_EQ(0UL, NaAddress("100000000"));
    EXPECT_EQ(0UL, NaAddress("FFFFFFFFF"));
    EXPECT_EQ(0UL, NaAddress("10000000000000000"));
    EXPECT_EQ(0UL, NaAddress(QString(10000, 'F')));
    EXPECT_EQ(0UL, NaAddress(""));
}

TEST(PaAddress, AddsTheDigitsToTheShiftedHead)
{
    EXPECT_EQ(0x00101234UL, PaAddress("001", "1234"));
    EXPECT_EQ(0x00A00000UL, PaAddress("00a", "0"));
    EXPECT_EQ(0xFFFFFFFFUL, PaAddress("FFF", "FFFFF"));
}

TEST(PaAddress, CarriesIntoTheHead)
{
    EXPECT_EQ(0x00200000UL, PaAddress("001", "0100000"));
    EXPECT_EQ(0x00100000UL, PaAddress("001", "100000000")) << "digits that do not fit count as 0";
}

TEST(PaAddress, WrapsAt32Bits)
{
    EXPECT_EQ(0UL, PaAddress("FFF", "100000"));
    EXPECT_EQ(0xFFEFFFFFUL, PaAddress("FFF", "FFFFFFFF"));
}

TEST(StationNumber, IsTheLowByteOfTheDecimalNumber)
{
    const struct {
        const char *digits;
        int station;
    } rows[] = {{"0", 0},
                {"1", 1},
                {"031", 31},
                {"255", 255},
                {"256", 0},
                {"300", 44},
                {"4294967295", 255},
                {"4294967296", 0},
                {"99999999999999999999", 0}};
    for (const auto &row : rows)
        EXPECT_EQ(row.station, StationNumber(row.digits)) << row.digits;
}

TEST(StationNumber, IsZeroForWhatIsNoDecimalNumber)
{
    for (const char *text : {"", "x", "1x", "0x1", "+7", "-7", " 7", "7 "})
        EXPECT_EQ(0, StationNumber(text)) << '"' << text << '"';
    EXPECT_EQ(0, StationNumber(QString(QChar(0x0663)))) << "Arabic 3";
}

TEST(AddressAt, CountsOnAndWraps)
{
    EXPECT_EQ(0x1000UL, AddressAt(0x1000, 0));
    EXPECT_EQ(0x1017UL, AddressAt(0x1000, 23));
    EXPECT_EQ(GreatestAddress, AddressAt(GreatestAddress - 1, 1));
    EXPECT_EQ(0UL, AddressAt(GreatestAddress, 1));
    EXPECT_EQ(GreatestAddress - 1, AddressAt(GreatestAddress, UINT_MAX));
}

// ---- Plain address texts ------------------------------------------------------------------------

struct PlainText {
    const char *text;
    PlainAddress parts;
};

std::ostream &operator<<(std::ostream &stream, const PlainText &plain)
{
    return stream << plain.text;
}

class PlainForm : public testing::TestWithParam<PlainText>
{
};

TEST_P(PlainForm, IsTakenApart)
{
    PlainAddress parts = {false, false, 0xDE, 0xDEAD};
    ASSERT_TRUE(ParsePlainAddress(GetParam().text, &parts));
    EXPECT_EQ(GetParam().parts.isNa, parts.isNa);
    EXPECT_EQ(GetParam().parts.hasStation, parts.hasStation);
    EXPECT_EQ(GetParam().parts.station, parts.station);
    EXPECT_EQ(GetParam().parts.address, parts.address);
}

INSTANTIATE_TEST_SUITE_P(Address, PlainForm,
                         testing::Values(PlainText{"NA20", {true, false, 0, 0x20}},
                                         PlainText{"na2F", {true, false, 0, 0x2F}},
                                         PlainText{"nAf", {true, false, 0, 15}},
                                         PlainText{"NAFFFFFFFF", {true, false, 0, 0xFFFFFFFF}},
                                         PlainText{"NA00000001", {true, false, 0, 1}},
                                         PlainText{"PA0011234", {false, false, 0, 0x00101234}},
                                         PlainText{"pa00A0", {false, false, 0, 0x00A00000}},
                                         PlainText{"PAFFF00000000", {false, false, 0, 0xFFF00000}},
                                         PlainText{"PAFFF100000", {false, false, 0, 0}}));

INSTANTIATE_TEST_SUITE_P(Station, PlainForm,
                         testing::Values(PlainText{"3-NA20", {true, true, 3, 0x20}},
                                         PlainText{"255-PA0011234", {false, true, 255, 0x00101234}},
                                         PlainText{"256-NA20", {true, true, 0, 0x20}},
                                         PlainText{"000000003-NA20", {true, true, 3, 0x20}},
                                         PlainText{"999999999-NA20", {true, true, 0xFF, 0x20}}));

class OtherForm : public testing::TestWithParam<const char *>
{
};

TEST_P(OtherForm, IsLeftToThePatterns)
{
    PlainAddress parts;
    EXPECT_FALSE(ParsePlainAddress(QString::fromUtf8(GetParam()), &parts));
}

INSTANTIATE_TEST_SUITE_P(Incomplete, OtherForm,
                         testing::Values("", "N", "NA", "P", "PA", "PA0", "PA00", "PA001", "3",
                                         "3-", "3-N", "3-NA", "3-PA001", "-NA20", "20"));

INSTANTIATE_TEST_SUITE_P(Longer, OtherForm,
                         testing::Values("NA000000020", "NA100000000", "PA001000000020",
                                         "0000000003-NA20", "4294967299-NA20"));

INSTANTIATE_TEST_SUITE_P(More, OtherForm,
                         testing::Values("NA10.3", "NA10 ", " NA10", "NA10-NA20", "NA10LOWLATENCY",
                                         "NA1VVT_0", "PA0011234.7", "3--NA20", "3-4-NA20", "NA10g",
                                         "XA10", "NB10", "PAx011234", "PA00x1234", "LOWLATENCY",
                                         "5-LOWLATENCY", "VVT_ENABLE0"));

// Digits of other scripts, letters that only look alike.
INSTANTIATE_TEST_SUITE_P(Unicode, OtherForm,
                         testing::Values("NA1\xD9\xA2", "\xD9\xA3-NA20",
                                         "PA00\xD9\xA1"
                                         "1234",
                                         "N\xD0\x90"
                                         "20",
                                         "\xEF\xBC\xAE"
                                         "A20"));

TEST(ParsePlainAddress, TakesNoCharacterOutsideItsAlphabet)
{
    const QString text = "12-NA20";
    for (int place = 0; place < text.size(); ++place) {
        for (uint code = 0; code < 0x10000; ++code) {
            QString changed = text;
            changed[place] = QChar(static_cast<ushort>(code));
            PlainAddress parts;
            if (!ParsePlainAddress(changed, &parts))
                continue;
            ASSERT_LT(code, 128u) << place;
            ASSERT_TRUE(isalnum(static_cast<int>(code)) || code == '-') << code << " at " << place;
        }
    }
}

} // namespace
