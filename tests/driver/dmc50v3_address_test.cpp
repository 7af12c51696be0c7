// Address texts, as the driver and its polling thread read them.

#include "cpl/dmc50_polling_thread.h"
#include "driver/dmc50v3.h"
#include "tests/support/fake_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace
{

using testing::HasSubstr;

const char NoKnownForm[] = "Assertion `0' failed";
const uchar DefaultStation = 7;

/// What a parser made of a text; it begins with values that no parser gives.
struct Parsed {
    ulong address;
    uint number; ///< bit or station

    bool operator==(const Parsed &other) const
    {
        return address == other.address && number == other.number;
    }
};

std::ostream &operator<<(std::ostream &stream, const Parsed &parsed)
{
    return stream << std::hex << "0x" << parsed.address << std::dec << " with " << parsed.number;
}

ulong word(const QString &text)
{
    DriverDMC50v3 driver;
    return driver.parseAddrStr(text);
}

Parsed bit(const QString &text)
{
    DriverDMC50v3 driver;
    Parsed parsed = {0xDEADBEEF, 0xDEAD};
    EXPECT_TRUE(driver.parseBitAddr(text, parsed.address, parsed.number));
    return parsed;
}

Parsed sessionAddress(const QString &text)
{
    FakeLink link;
    const AddressVectorMap no_addresses;
    PollingThread thread(&link, &no_addresses, DefaultStation);
    Parsed parsed = {0xDEADBEEF, 0};
    uchar station = 0xDE;
    EXPECT_TRUE(thread.parseAddrStr(text, parsed.address, station));
    parsed.number = station;
    return parsed;
}

// ---- Forms that every word parser takes ----------------------------------------------------

struct Form {
    const char *text;
    ulong address;
};

std::ostream &operator<<(std::ostream &stream, const Form &form)
{
    return stream << form.text;
}

class WordForm : public testing::TestWithParam<Form>
{
};

TEST_P(WordForm, GivesItsAddressToTheDriver)
{
    EXPECT_EQ(GetParam().address, word(GetParam().text));
}

TEST_P(WordForm, GivesItsAddressAndTheDefaultStationToTheThread)
{
    EXPECT_EQ((Parsed{GetParam().address, DefaultStation}), sessionAddress(GetParam().text));
}

TEST_P(WordForm, GivesItsAddressAndAPrefixedStationToTheThread)
{
    EXPECT_EQ((Parsed{GetParam().address, 12}), sessionAddress(QString("12-") + GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Numeric, WordForm,
                         testing::Values(Form{"NA1000", 0x1000}, Form{"na1000", 0x1000},
                                         Form{"Na1000", 0x1000}, Form{"nA1000", 0x1000},
                                         Form{"NA0", 0}, Form{"NAa", 0xA}, Form{"NAA", 0xA},
                                         Form{"NAdeadBEEF", 0xDEADBEEF},
                                         Form{"NAFFFFFFFF", 0xFFFFFFFF},
                                         Form{"NA00000000000000001234", 0x1234}));

INSTANTIATE_TEST_SUITE_P(Parameter, WordForm,
                         testing::Values(Form{"PA0011234", 0x00101234},
                                         Form{"pa0011234", 0x00101234},
                                         Form{"Pa0011234", 0x00101234}, Form{"pa00a0", 0x00A00000},
                                         Form{"PA00A0", 0x00A00000}, Form{"PA0000", 0},
                                         Form{"PAFFF0", 0xFFF00000},
                                         Form{"PAfff000000000fffff", 0xFFFFFFFF}));

// A run of digits that reaches into the head's bits is added to it.
INSTANTIATE_TEST_SUITE_P(Carry, WordForm,
                         testing::Values(Form{"PA0010100000", 0x00200000},
                                         Form{"PA00100100000", 0x00200000},
                                         Form{"PA0010FFFFF", 0x001FFFFF},
                                         Form{"PA001FFFFFFFF", 0x000FFFFF}, Form{"PAFFF100000", 0},
                                         Form{"PAFFFFFFFFFFF", 0xFFEFFFFF}));

INSTANTIATE_TEST_SUITE_P(TooLongFor32Bits, WordForm,
                         testing::Values(Form{"NA100000000", 0}, Form{"NAFFFFFFFFF", 0},
                                         Form{"NAFFFFFFFFFFFFFFFFFFFF", 0},
                                         Form{"PA001100000000", 0x00100000},
                                         Form{"PAFFFFFFFFFFFFFFFFFFFFFF", 0xFFF00000}));

// Text after the last hexadecimal digit counts for nothing.
INSTANTIATE_TEST_SUITE_P(WithATail, WordForm,
                         testing::Values(Form{"NA10.3", 0x10}, Form{"PA0011234.7", 0x00101234},
                                         Form{"NA10 and more", 0x10}, Form{"NA10-NA20", 0x10},
                                         Form{"NA10g", 0x10}, Form{"NA10\nPA0011234", 0x10},
                                         Form{"NA1VVT_0", 0x1}));

TEST(WordForm, OfEnormousLengthGivesZero)
{
    EXPECT_EQ(0u, word("NA" + QString(10000, 'F')));
    EXPECT_EQ(0x00100000u, word("PA001" + QString(10000, '9')));
    EXPECT_EQ(5u, word("NA" + QString(10000, '0') + "5"));
}

// The patterns know the digits of other scripts, the conversion does not.
TEST(WordForm, WithDigitsOfAnotherScriptGivesZero)
{
    const QString arabic_one = QString(QChar(0x0661));
    EXPECT_EQ(0u, word("NA" + arabic_one));
    EXPECT_EQ(0u, word("NA1" + arabic_one));
    EXPECT_EQ((Parsed{0x20, 0}), sessionAddress(arabic_one + "-NA20"));
}

// ---- Bits ----------------------------------------------------------------------------------

struct BitForm {
    const char *text;
    ulong address;
    uint bit;
};

std::ostream &operator<<(std::ostream &stream, const BitForm &form)
{
    return stream << form.text;
}

class BitAddress : public testing::TestWithParam<BitForm>
{
};

TEST_P(BitAddress, GivesTheDoubleWordAndTheBit)
{
    EXPECT_EQ((Parsed{GetParam().address, GetParam().bit}), bit(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Forms, BitAddress,
    testing::Values(BitForm{"PA0011234.7", 0x00101234, 7}, BitForm{"pa0011234.7", 0x00101234, 7},
                    BitForm{"PA00A0.0", 0x00A00000, 0}, BitForm{"PA0010100000.1", 0x00200000, 1},
                    BitForm{"NA10.3", 0x10, 3}, BitForm{"na10.3", 0x10, 3},
                    BitForm{"NA10.31", 0x10, 31}, BitForm{"NAFFFFFFFF.0", 0xFFFFFFFF, 0}));

// The bit is decimal and has no bound here.
INSTANTIATE_TEST_SUITE_P(Numbers, BitAddress,
                         testing::Values(BitForm{"NA10.32", 0x10, 32}, BitForm{"NA10.10", 0x10, 10},
                                         BitForm{"NA10.007", 0x10, 7},
                                         BitForm{"NA10.4294967295", 0x10, 4294967295U},
                                         BitForm{"NA10.4294967296", 0x10, 0},
                                         BitForm{"NA10.3f", 0x10, 3}, BitForm{"NA10.3.4", 0x10, 3},
                                         BitForm{"NA100000000.3", 0, 3}));

// ---- Stations ------------------------------------------------------------------------------

TEST(StationPrefix, IsDecimal)
{
    EXPECT_EQ((Parsed{0x20, 3}), sessionAddress("3-NA20"));
    EXPECT_EQ((Parsed{0x1000, 12}), sessionAddress("12-NA1000"));
    EXPECT_EQ((Parsed{0x20, 10}), sessionAddress("010-NA20"));
    EXPECT_EQ((Parsed{0x00101234, 5}), sessionAddress("5-pa0011234"));
}

TEST(StationPrefix, KeepsItsLowEightBits)
{
    EXPECT_EQ((Parsed{0x20, 255}), sessionAddress("255-NA20"));
    EXPECT_EQ((Parsed{0x20, 0}), sessionAddress("256-NA20"));
    EXPECT_EQ((Parsed{0x20, 44}), sessionAddress("300-NA20"));
    EXPECT_EQ((Parsed{0x20, 255}), sessionAddress("4294967295-NA20"));
}

TEST(StationPrefix, IsZeroWhenItDoesNotFit32Bits)
{
    EXPECT_EQ((Parsed{0x20, 0}), sessionAddress("4294967296-NA20"));
    EXPECT_EQ((Parsed{0x20, 0}), sessionAddress("4294967297-NA20"));
}

TEST(StationPrefix, IsTheDefaultStationWhenThereIsNone)
{
    EXPECT_EQ((Parsed{0x20, DefaultStation}), sessionAddress("NA20"));
    EXPECT_EQ((Parsed{0x20, 0}), sessionAddress("0-NA20"));
}

// ---- Texts of no known form ----------------------------------------------------------------

class NoForm : public testing::TestWithParam<const char *>
{
};

typedef NoForm NoFormDeathTest;

TEST_P(NoFormDeathTest, EndsTheProgramInEveryParser)
{
    EXPECT_DEATH(word(GetParam()), HasSubstr(NoKnownForm));
    EXPECT_DEATH(bit(GetParam()), HasSubstr(NoKnownForm));
    EXPECT_DEATH(sessionAddress(GetParam()), HasSubstr(NoKnownForm));
}

INSTANTIATE_TEST_SUITE_P(Texts, NoFormDeathTest,
                         testing::Values("XA100", "", "NA", "PA", "PA123", "PA12G4", "NAG", "100",
                                         " NA10", "XNA10", "-NA10", "3-", "3-XA10", "3 -NA10",
                                         "3- NA10", "x-NA10", "-3-NA10", "3-4-NA10", "N A10",
                                         "S>NULL", "NA.3", "PA123.4", "VVT_ENABLE0"));

class PrefixedForm : public testing::TestWithParam<const char *>
{
};

typedef PrefixedForm PrefixedFormDeathTest;

// The runtime names the station through the link.
TEST_P(PrefixedFormDeathTest, EndsTheProgramInTheDriversParsers)
{
    EXPECT_DEATH(word(GetParam()), HasSubstr(NoKnownForm));
    EXPECT_DEATH(bit(GetParam()), HasSubstr(NoKnownForm));
}

INSTANTIATE_TEST_SUITE_P(Texts, PrefixedFormDeathTest,
                         testing::Values("3-NA20", "3-NA20.1", "3-PA0011234", "12-pa0011234.7"));

class BitlessForm : public testing::TestWithParam<const char *>
{
};

typedef BitlessForm BitlessFormDeathTest;

TEST_P(BitlessFormDeathTest, EndsTheProgramWhereABitIsAsked)
{
    EXPECT_DEATH(bit(GetParam()), HasSubstr(NoKnownForm));
}

INSTANTIATE_TEST_SUITE_P(Texts, BitlessFormDeathTest,
                         testing::Values("NA10", "PA0011234", "NA10.", "NA10.x", "NA10.-1",
                                         "NA10 .3", "NA10,3", "PA123.4.5"));

} // namespace
