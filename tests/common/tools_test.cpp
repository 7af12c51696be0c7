#include "common/tools.h"

#include <climits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace
{

typedef unsigned char Byte;
typedef unsigned short Word;
typedef unsigned int DoubleWord;

Word bit(int i)
{
    return static_cast<Word>(i);
}

/// Every bit of a value of some width, one after the other, and those just beyond it.
template <typename Value>
class SingleValueBits : public testing::Test
{
protected:
    static constexpr int width = sizeof(Value) * 8;
    static Value all() { return static_cast<Value>(~Value(0)); }
    static Value only(int i) { return static_cast<Value>(Value(1) << i); }
    static Value allBut(int i) { return static_cast<Value>(all() & ~only(i)); }
    static std::vector<Word> bitsBeyond()
    {
        return {bit(width), bit(width + 1), 31 < width ? bit(63) : bit(31), 32, 33, 64, 0xFFFF};
    }
};

typedef testing::Types<Byte, Word, DoubleWord> ValueTypes;
TYPED_TEST_SUITE(SingleValueBits, ValueTypes);

TYPED_TEST(SingleValueBits, SetsEachBitAlone)
{
    for (int i = 0; i < this->width; ++i) {
        EXPECT_EQ(this->only(i), setBit(TypeParam(0), bit(i))) << "bit " << i;
        EXPECT_EQ(this->all(), setBit(this->all(), bit(i))) << "bit " << i;
        EXPECT_EQ(this->all(), setBit(this->allBut(i), bit(i))) << "bit " << i;
    }
}

TYPED_TEST(SingleValueBits, ClearsEachBitAlone)
{
    for (int i = 0; i < this->width; ++i) {
        EXPECT_EQ(this->allBut(i), clearBit(this->all(), bit(i))) << "bit " << i;
        EXPECT_EQ(0u, clearBit(TypeParam(0), bit(i))) << "bit " << i;
        EXPECT_EQ(0u, clearBit(this->only(i), bit(i))) << "bit " << i;
    }
}

TYPED_TEST(SingleValueBits, ReadsEachBitAlone)
{
    for (int i = 0; i < this->width; ++i) {
        EXPECT_EQ(1u, getBit(this->only(i), bit(i))) << "bit " << i;
        EXPECT_EQ(0u, getBit(this->allBut(i), bit(i))) << "bit " << i;
    }
}

TYPED_TEST(SingleValueBits, HasNoBitBeyondItsWidth)
{
    for (const Word beyond : this->bitsBeyond()) {
        EXPECT_EQ(0u, setBit(TypeParam(0), beyond)) << "bit " << beyond;
        EXPECT_EQ(this->all(), clearBit(this->all(), beyond)) << "bit " << beyond;
        EXPECT_EQ(0u, getBit(this->all(), beyond)) << "bit " << beyond;
    }
}

TYPED_TEST(SingleValueBits, KeepsTheWidthOfTheValue)
{
    static_assert(std::is_same<TypeParam, decltype(setBit(TypeParam(), Word()))>::value, "");
    static_assert(std::is_same<TypeParam, decltype(clearBit(TypeParam(), Word()))>::value, "");
    EXPECT_EQ(sizeof(TypeParam), sizeof(setBit(TypeParam(), Word())));
}

// ---- Packed bit arrays ----------------------------------------------------------------------

TEST(PackedBits, AreCountedFromTheLowBitOfTheFirstByte)
{
    const QByteArray array = bytes("01 80 10");
    for (int i = 0; i < 24; ++i) {
        const int expected = i == 0 || i == 15 || i == 20 ? 1 : 0;
        EXPECT_EQ(expected, getBit(array, i)) << "bit " << i;
        EXPECT_EQ(expected, getBit(unsignedBytes(array), i)) << "bit " << i;
    }
}

TEST(PackedBits, AreSetAndClearedAlone)
{
    for (int i = 0; i < 24; ++i) {
        QByteArray array = bytes("00 00 00");
        setBit(array, i, true);
        QByteArray expected = bytes("00 00 00");
        expected[i / 8] = static_cast<char>(1 << (i % 8));
        EXPECT_EQ(hexOf(expected), hexOf(array)) << "bit " << i;
        setBit(array, i, false);
        EXPECT_EQ("00 00 00", hexOf(array)) << "bit " << i;
    }
}

TEST(PackedBits, AreSetAndClearedBehindAPointer)
{
    Byte array[] = {0xFF, 0x00};
    setBit(array, 3, false);
    setBit(array, 15, true);
    EXPECT_EQ(0xF7, array[0]);
    EXPECT_EQ(0x80, array[1]);
}

TEST(PackedBits, LeaveASharedCopyAlone)
{
    const QByteArray original = bytes("00");
    QByteArray copy = original;
    setBit(copy, 0, true);
    EXPECT_EQ("00", hexOf(original));
    EXPECT_EQ("01", hexOf(copy));
}

TEST(GetBitData, IsTheLowBitOfTheFirstByte)
{
    EXPECT_EQ(1, getBitData(bytes("01")));
    EXPECT_EQ(0, getBitData(bytes("FE FF")));
    EXPECT_EQ(1, getBitData(bytes("FF 00")));
}

TEST(CopyBits, CopiesAcrossByteBounds)
{
    QByteArray target = bytes("FF FF FF");
    QByteArray source = bytes("05 02");
    CopyBits(target, source, 6, 10);
    // Bits 6 to 15 become 1010 0000 01; the bits around them stay.
    EXPECT_EQ("7F 81 FF", hexOf(target));
    EXPECT_EQ("05 02", hexOf(source));
}

TEST(CopyBits, CopiesZerosAsWellAsOnes)
{
    QByteArray target = bytes("00 FF");
    QByteArray source = bytes("FF 00");
    CopyBits(target, source, 0, 16);
    EXPECT_EQ("FF 00", hexOf(target));
}

TEST(CopyBits, CopiesNothingForACountBelowOne)
{
    QByteArray target = bytes("AA");
    QByteArray source = bytes("55");
    CopyBits(target, source, 0, 0);
    CopyBits(target, source, 0, -1);
    CopyBits(target, source, 0, INT_MIN);
    EXPECT_EQ("AA", hexOf(target));
    CopyBits(target, source, 1, 1);
    EXPECT_EQ("AA", hexOf(target));
    CopyBits(target, source, 0, 1);
    EXPECT_EQ("AB", hexOf(target));
}

TEST(ExpandBitsToBytes, GivesAByteABit)
{
    const QByteArray array = bytes("85 01");
    EXPECT_EQ("01 00 01 00 00 00 00 01", hexOf(ExpandBitsToBytes(array, 0, 8)));
    EXPECT_EQ("01 01 00", hexOf(ExpandBitsToBytes(array, 7, 3)));
    EXPECT_EQ("01", hexOf(ExpandBitsToBytes(array, 8, 1)));
}

TEST(ExpandBitsToBytes, IsEmptyForACountBelowOne)
{
    const QByteArray array = bytes("FF");
    EXPECT_TRUE(ExpandBitsToBytes(array, 0, 0).isEmpty());
    EXPECT_TRUE(ExpandBitsToBytes(array, 0, -1).isEmpty());
    EXPECT_TRUE(ExpandBitsToBytes(array, 0, INT_MIN).isEmpty());
}

TEST(FitBitArray, HasTheBytesOfItsBits)
{
    const struct {
        int bits;
        int size;
    } rows[] = {{0, 0}, {1, 1}, {7, 1}, {8, 1}, {9, 2}, {16, 2}, {17, 3}};
    for (const auto &row : rows) {
        QByteArray array = bytes("FF FF FF FF");
        FitBitArray(array, row.bits);
        EXPECT_EQ(row.size, array.size()) << row.bits << " bits";
        QByteArray growing;
        FitBitArray(growing, row.bits);
        EXPECT_EQ(row.size, growing.size()) << row.bits << " bits";
    }
}

TEST(FitBitArray, KeepsTheBytesThatFit)
{
    QByteArray array = bytes("12 34 56");
    FitBitArray(array, 12);
    EXPECT_EQ("12 34", hexOf(array));
}

TEST(ClearUnnecessaryBits, TouchesOnlyTheByteInWhichTheBitsEnd)
{
    const struct {
        int bits;
        const char *expected;
    } rows[] = {{0, "FF FF FF"},  {1, "01 FF FF"},  {4, "0F FF FF"},  {7, "7F FF FF"},
                {8, "FF FF FF"},  {9, "FF 01 FF"},  {15, "FF 7F FF"}, {16, "FF FF FF"},
                {17, "FF FF 01"}, {23, "FF FF 7F"}, {24, "FF FF FF"}};
    for (const auto &row : rows) {
        QByteArray array = bytes("FF FF FF");
        clearUnnecessaryBits(array, row.bits);
        EXPECT_EQ(row.expected, hexOf(array)) << row.bits << " bits";
    }
}

TEST(ClearUnnecessaryBits, LeavesTheArrayForACountBelowZero)
{
    for (const int bits : {-1, -7, -8, -9, INT_MIN}) {
        QByteArray array = bytes("FF FF");
        clearUnnecessaryBits(array, bits);
        EXPECT_EQ("FF FF", hexOf(array)) << bits << " bits";
    }
}

TEST(RightShiftNBits, FillsWithZerosForAShiftWithinAByte)
{
    const struct {
        int shift;
        const char *expected;
    } rows[] = {
        {0, "01 02 03"}, {1, "00 81 01"}, {2, "80 C0 00"}, {4, "20 30 00"}, {7, "04 06 00"}};
    for (const auto &row : rows) {
        QByteArray array = bytes("01 02 03");
        RightShiftNBits(array, row.shift);
        EXPECT_EQ(row.expected, hexOf(array)) << "by " << row.shift;
    }
}

TEST(RightShiftNBits, BringsWholeBytesBackAtTheEnd)
{
    const struct {
        int shift;
        const char *expected;
    } rows[] = {{8, "02 03 01"},  {9, "81 01 01"},  {12, "30 00 01"},
                {16, "03 01 02"}, {20, "00 01 02"}, {24, "01 02 03"}};
    for (const auto &row : rows) {
        QByteArray array = bytes("01 02 03");
        RightShiftNBits(array, row.shift);
        EXPECT_EQ(row.expected, hexOf(array)) << "by " << row.shift;
    }
}

TEST(RightShiftNBits, LeavesTheArrayForShiftsThatMakeNoSense)
{
    for (const int shift : {-1, -8, INT_MIN, 32, 1000, INT_MAX}) {
        QByteArray array = bytes("01 02 03");
        RightShiftNBits(array, shift);
        EXPECT_EQ("01 02 03", hexOf(array)) << "by " << shift;
    }
    QByteArray empty;
    RightShiftNBits(empty, 3);
    EXPECT_TRUE(empty.isEmpty());
}

// ---- Counting -------------------------------------------------------------------------------

TEST(NumOfBits, CountsTheUnitsThatABitRunTouches)
{
    const struct {
        DoubleWord bits;
        DoubleWord offset;
        DoubleWord bytes;
        DoubleWord words;
        DoubleWord doubleWords;
    } rows[] = {{0, 0, 0, 0, 0},
                {1, 0, 1, 1, 1},
                {0, 1, 1, 1, 1},
                {8, 0, 1, 1, 1},
                {8, 1, 2, 1, 1},
                {1, 16, 3, 2, 1},
                {16, 0, 2, 1, 1},
                {16, 1, 3, 2, 1},
                {32, 0, 4, 2, 1},
                {31, 2, 5, 3, 2},
                {0xFFFFFFFFu, 0, 0x20000000u, 0x10000000u, 0x08000000u},
                {0xFFFFFFFFu, 0xFFFFFFFFu, 0x40000000u, 0x20000000u, 0x10000000u}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.bits << " bits at " << row.offset);
        EXPECT_EQ(row.bytes, NumOfBitsToNumOfBytes(row.bits, row.offset));
        EXPECT_EQ(row.words, NumOfBitsToNumOfWords(row.bits, row.offset));
        EXPECT_EQ(row.doubleWords, NumOfBitsToNumOfDWords(row.bits, row.offset));
    }
}

TEST(NumOfBytes, RoundsUpToWholeUnits)
{
    const struct {
        DoubleWord bytes;
        DoubleWord words;
        DoubleWord doubleWords;
        DoubleWord quadWords;
    } rows[] = {{0, 0, 0, 0}, {1, 1, 1, 1}, {2, 1, 1, 1},
                {3, 2, 1, 1}, {4, 2, 1, 1}, {5, 3, 2, 1},
                {8, 4, 2, 1}, {9, 5, 3, 2}, {0xFFFFFFFFu, 0x80000000u, 0x40000000u, 0x20000000u}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.bytes << " bytes");
        EXPECT_EQ(row.words, NumOfBytesToNumOfWords(row.bytes));
        EXPECT_EQ(row.doubleWords, NumOfBytesToNumOfDWords(row.bytes));
        EXPECT_EQ(row.quadWords, NumOfBytesToNumOfQuadWords(row.bytes));
    }
}

// ---- Integers and byte arrays ---------------------------------------------------------------

TEST(QByteArrayToInt, TakesUpToFourBytesLowestFirst)
{
    EXPECT_EQ(0u, QByteArrayToInt(QByteArray()));
    EXPECT_EQ(0xFFu, QByteArrayToInt(bytes("FF")));
    EXPECT_EQ(0x2211u, QByteArrayToInt(bytes("11 22")));
    EXPECT_EQ(0x332211u, QByteArrayToInt(bytes("11 22 33")));
    EXPECT_EQ(0xFF332211u, QByteArrayToInt(bytes("11 22 33 FF")));
    EXPECT_EQ(0x44332211u, QByteArrayToInt(bytes("11 22 33 44 55")));
}

TEST(QByteArrayToWord, TakesUpToTwoBytesLowestFirst)
{
    EXPECT_EQ(0, QByteArrayToWord(QByteArray()));
    EXPECT_EQ(0xFF, QByteArrayToWord(bytes("FF")));
    EXPECT_EQ(0xFF11, QByteArrayToWord(bytes("11 FF")));
    EXPECT_EQ(0x2211, QByteArrayToWord(bytes("11 22 33")));
}

TEST(QByteArrayToShort, IsSignedOnlyWithTwoBytes)
{
    EXPECT_EQ(0, QByteArrayToShort(QByteArray()));
    EXPECT_EQ(255, QByteArrayToShort(bytes("FF")));
    EXPECT_EQ(-1, QByteArrayToShort(bytes("FF FF")));
    EXPECT_EQ(-32768, QByteArrayToShort(bytes("00 80")));
    EXPECT_EQ(32767, QByteArrayToShort(bytes("FF 7F")));
    EXPECT_EQ(0x2211, QByteArrayToShort(bytes("11 22 FF")));
}

TEST(ToByteArray, PutsTheLowestByteFirst)
{
    EXPECT_EQ("34 12", hexOf(wordToByteArray(0x1234)));
    EXPECT_EQ("FF FF", hexOf(wordToByteArray(0xFFFF)));
    EXPECT_EQ("00 80", hexOf(shortToByteArray(-32768)));
    EXPECT_EQ("FE FF", hexOf(shortToByteArray(-2)));
    EXPECT_EQ("78 56 34 12", hexOf(intToByteArray(0x12345678)));
    EXPECT_EQ("00 00 00 80", hexOf(intToByteArray(INT_MIN)));
    EXPECT_EQ("FF FF FF FF", hexOf(intToByteArray(-1)));
    EXPECT_EQ("00 00 00 00", hexOf(intToByteArray(0)));
}

TEST(AppendBigEndianUShort, AppendsTheHighByteFirst)
{
    QByteArray array = bytes("AA");
    appendBigEndianUShort(array, 0x1234);
    appendBigEndianUShort(array, 0x00FF);
    EXPECT_EQ("AA 12 34 00 FF", hexOf(array));
}

TEST(FromBigEndian, ReversesEachUnit)
{
    const QByteArray array = bytes("01 02 03 04 05 06 07 08 09");
    EXPECT_EQ("02 01 04 03 06 05", hexOf(fromBigEndianUShortArray(unsignedBytes(array), 3)));
    EXPECT_EQ("04 03 02 01 08 07 06 05", hexOf(fromBigEndianULongArray(unsignedBytes(array), 2)));
    EXPECT_EQ("05 04 03 02", hexOf(fromBigEndianULongArray(unsignedBytes(array) + 1, 1)));
    EXPECT_TRUE(fromBigEndianUShortArray(unsignedBytes(array), 0).isEmpty());
    EXPECT_TRUE(fromBigEndianULongArray(unsignedBytes(array), 0).isEmpty());
}

TEST(ToLittleEndian, ReversesEachUnitInPlace)
{
    QByteArray words = bytes("01 02 03 04");
    toLittleEndianUShortArray(words);
    EXPECT_EQ("02 01 04 03", hexOf(words));

    QByteArray doubleWords = bytes("01 02 03 04 05 06 07 08");
    toLittleEndianULongArray(doubleWords);
    EXPECT_EQ("04 03 02 01 08 07 06 05", hexOf(doubleWords));

    QByteArray empty;
    toLittleEndianUShortArray(empty);
    toLittleEndianULongArray(empty);
    EXPECT_TRUE(empty.isEmpty());
}

TEST(ToLittleEndian, LeavesASharedCopyAlone)
{
    const QByteArray original = bytes("01 02 03 04");
    QByteArray copy = original;
    toLittleEndianULongArray(copy);
    EXPECT_EQ("01 02 03 04", hexOf(original));
}

TEST(ToLittleEndian, StaysWithinAnArrayThatEndsAmidAUnit)
{
    QByteArray words = bytes("01 02 03");
    toLittleEndianUShortArray(words);
    EXPECT_EQ(3, words.size());
    QByteArray doubleWords = bytes("01 02 03 04 05 06");
    toLittleEndianULongArray(doubleWords);
    EXPECT_EQ(6, doubleWords.size());
}

TEST(ToBigEndian, PadsAndReversesEachUnit)
{
    const QByteArray array = bytes("01 02 03");
    EXPECT_EQ("02 01 00 03", hexOf(toBigEndianUShortArray(array)));
    EXPECT_EQ("00 03 02 01", hexOf(toBigEndianULongArray(array)));
    EXPECT_EQ("01 02 03", hexOf(array));
    EXPECT_EQ("02 01", hexOf(toBigEndianUShortArray(bytes("01 02"))));
    EXPECT_EQ("04 03 02 01 00 00 00 05", hexOf(toBigEndianULongArray(bytes("01 02 03 04 05"))));
    EXPECT_TRUE(toBigEndianUShortArray(QByteArray()).isEmpty());
    EXPECT_TRUE(toBigEndianULongArray(QByteArray()).isEmpty());
}

TEST(ToBitsData, PadsToTheUnitThatItsNameTellsButFor64)
{
    const struct {
        int size;
        int to16;
        int to32;
        int to64;
    } rows[] = {{0, 0, 0, 0},     {1, 2, 4, 4},     {2, 2, 4, 4},     {3, 4, 4, 4},
                {4, 4, 4, 4},     {5, 6, 8, 5},     {6, 6, 8, 6},     {7, 8, 8, 7},
                {8, 8, 8, 8},     {9, 10, 12, 12},  {10, 10, 12, 12}, {11, 12, 12, 12},
                {12, 12, 12, 12}, {13, 14, 16, 13}, {15, 16, 16, 15}, {16, 16, 16, 16},
                {17, 18, 20, 20}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.size << " bytes");
        const QByteArray array(row.size, '\x5A');
        const auto padded = [&](int size) { return hexOf(array.leftJustified(size, '\0')); };
        EXPECT_EQ(padded(row.to16), hexOf(To16bitsData(array)));
        EXPECT_EQ(padded(row.to32), hexOf(To32bitsData(array)));
        EXPECT_EQ(padded(row.to64), hexOf(To64bitsData(array)));
    }
}

TEST(ReverseArray, TurnsTheBytesAround)
{
    EXPECT_EQ("03 02 01", hexOf(reverseArray(bytes("01 02 03"))));
    EXPECT_EQ("01", hexOf(reverseArray(bytes("01"))));
    EXPECT_TRUE(reverseArray(QByteArray()).isEmpty());
}

TEST(IsBigEndian, IsAlwaysTrue)
{
    EXPECT_TRUE(isBigEndian());
}

// ---- Text -----------------------------------------------------------------------------------

DoubleWord hexToUInt(const std::string &text)
{
    return HexToUInt(text.c_str(), static_cast<int>(text.size()));
}

TEST(HexToUInt, ReadsDigitsOfEitherCase)
{
    EXPECT_EQ(0x1234ABCDu, hexToUInt("1234ABCD"));
    EXPECT_EQ(0x9fedcbau, hexToUInt("9fedcba"));
    EXPECT_EQ(0xFFFFFFFFu, hexToUInt("FFFFFFFF"));
    for (int digit = 0; digit < 16; ++digit) {
        EXPECT_EQ(static_cast<DoubleWord>(digit), hexToUInt({"0123456789ABCDEF"[digit]}));
        EXPECT_EQ(static_cast<DoubleWord>(digit), hexToUInt({"0123456789abcdef"[digit]}));
    }
}

TEST(HexToUInt, ReadsTextsWithAPrefix)
{
    EXPECT_EQ(31u, hexToUInt("0x1F"));
    EXPECT_EQ(31u, hexToUInt("0X1f"));
    EXPECT_EQ(0u, hexToUInt("0x0"));
    EXPECT_EQ(0u, hexToUInt("0x"));
    EXPECT_EQ(0u, hexToUInt("0X"));
    EXPECT_EQ(0u, HexToUInt("0x\0F", 4));
}

TEST(HexToUInt, DropsALeadingZero)
{
    EXPECT_EQ(0u, hexToUInt("0"));
    EXPECT_EQ(0u, hexToUInt("00"));
    EXPECT_EQ(5u, hexToUInt("05"));
    EXPECT_EQ(0xFFu, hexToUInt("00FF"));
    EXPECT_EQ(0u, HexToUInt("0\0F", 3));
}

TEST(HexToUInt, ReadsNoMoreThanTheCountedCharacters)
{
    EXPECT_EQ(255u, HexToUInt("FFFF", 2));
    EXPECT_EQ(0u, HexToUInt("0F", 1));
    EXPECT_EQ(0u, HexToUInt("0x1F", 2));
    EXPECT_EQ(1u, HexToUInt("0x1F", 3));
    EXPECT_EQ(1u, HexToUInt("1G", 1));
    for (const int length : {0, -1, INT_MIN}) {
        EXPECT_EQ(0u, HexToUInt("FF", length));
        EXPECT_EQ(0u, HexToUInt("0F", length));
    }
}

TEST(HexToUInt, LeavesTheBytesBehindTheCountedOnesAlone)
{
    // Exactly as large as counted, so that an address sanitizer sees every byte beyond.
    for (const std::string text : {"0", "0x", "0x1", "01", "1", "1F"}) {
        const std::unique_ptr<char[]> exact(new char[text.size()]);
        std::copy(text.begin(), text.end(), exact.get());
        EXPECT_EQ(strtoul(text.c_str(), nullptr, 16),
                  HexToUInt(exact.get(), static_cast<int>(text.size())))
            << text;
    }
}

TEST(HexToUInt, StopsAtAZeroByte)
{
    EXPECT_EQ(0x12u, HexToUInt("12\0G4", 5));
    EXPECT_EQ(0x12u, HexToUInt("12", 100));
    EXPECT_EQ(0u, HexToUInt("", 100));
    EXPECT_EQ(0u, HexToUInt("0", 100));
    EXPECT_EQ(0u, HexToUInt("0x", 100));
}

TEST(HexToUInt, GivesZeroWhenACharacterIsNotHexadecimal)
{
    EXPECT_EQ(0u, hexToUInt("1G"));
    EXPECT_EQ(0u, hexToUInt("00x12"));
    for (int c = 1; c < 256; ++c) {
        if (isxdigit(c))
            continue;
        const char other = static_cast<char>(c);
        EXPECT_EQ(0u, hexToUInt(std::string("12") + other)) << "character " << c;
        EXPECT_EQ(0u, hexToUInt(std::string(1, other) + "12")) << "character " << c;
        EXPECT_EQ(0u, hexToUInt(std::string("0x1") + other + "2")) << "character " << c;
    }
}

TEST(HexToUInt, WrapsAt32Bits)
{
    EXPECT_EQ(0x23456789u, hexToUInt("123456789"));
    EXPECT_EQ(0u, hexToUInt("100000000"));
    EXPECT_EQ(0xFFFFFFFFu, hexToUInt("0xFFFFFFFFFFFFFFFFFF"));
}

TEST(ExtractPrefixSymbol, IsTheLeadingRunOfLettersAndUnderscores)
{
    const struct {
        const char *text;
        const char *prefix;
    } rows[] = {{"PA0011234", "PA"}, {"NA20", "NA"}, {"VVT_ENABLE0", "VVT_ENABLE"},
                {"_a_Z9", "_a_Z"},   {"1-NA20", ""}, {"", ""},
                {"Wort", "Wort"},    {"A-B", "A"},   {" A", ""},
                {"A B", "A"},        {"A@", "A"},    {"Z[", "Z"},
                {"a`", "a"},         {"z{", "z"},    {"A\xC4", "A"}};
    for (const auto &row : rows) {
        EXPECT_EQ(row.prefix, ExtractPrefixSymbol(QByteArray(row.text)).toStdString());
        EXPECT_EQ(row.prefix, ExtractPrefixSymbol(QString::fromLatin1(row.text)).toStdString());
    }
}

TEST(ExtractPLCDeviceAddress, StartsAtTheFirstDigitOfTheBase)
{
    const struct {
        const char *text;
        int base;
        int address;
    } rows[] = {{"NA20", 10, 20},     {"D0100", 10, 100},  {"20", 10, 20},
                {"X1F", 16, 0x1F},    {"x1f", 16, 0x1F},   {"D100", 16, 0xD100},
                {"d100", 16, 0xD100}, {"G100", 16, 0x100}, {"NA20", 16, 0xA20},
                {"Y17", 8, 017},      {"Y917", 8, 017},    {"Y98", 8, 0},
                {"Y8", 8, 0}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.text << " in base " << row.base);
        EXPECT_EQ(row.address, ExtractPLCDeviceAddress(QByteArray(row.text), row.base));
        EXPECT_EQ(row.address, ExtractPLCDeviceAddress(QString::fromLatin1(row.text), row.base));
    }
}

TEST(ExtractPLCDeviceAddress, IsZeroWhenMoreThanDigitsFollow)
{
    EXPECT_EQ(0, ExtractPLCDeviceAddress(QByteArray("D100.5"), 10));
    EXPECT_EQ(0, ExtractPLCDeviceAddress(QByteArray("D1F"), 10));
    EXPECT_EQ(0, ExtractPLCDeviceAddress(QByteArray("X1G"), 16));
    EXPECT_EQ(0, ExtractPLCDeviceAddress(QByteArray("Y18"), 8));
}

TEST(ExtractPLCDeviceAddress, IsZeroWithoutADigit)
{
    for (const int base : {8, 10, 16}) {
        EXPECT_EQ(0, ExtractPLCDeviceAddress(QByteArray(), base));
        EXPECT_EQ(0, ExtractPLCDeviceAddress(QByteArray("XYZ"), base));
        EXPECT_EQ(0, ExtractPLCDeviceAddress(QString(), base));
    }
}

TEST(ExtractPLCDeviceAddress, IsZeroWhenTheNumberDoesNotFit)
{
    EXPECT_EQ(INT_MAX, ExtractPLCDeviceAddress(QByteArray("D2147483647"), 10));
    EXPECT_EQ(0, ExtractPLCDeviceAddress(QByteArray("D2147483648"), 10));
    EXPECT_EQ(0x7FFFFFFF, ExtractPLCDeviceAddress(QByteArray("X7FFFFFFF"), 16));
    EXPECT_EQ(0, ExtractPLCDeviceAddress(QByteArray("X80000000"), 16));
}

TEST(ExtractPLCDeviceAddress, KnowsThreeBases)
{
    for (const int base : {-1, 0, 2, 7, 9, 11, 15, 17, 36, INT_MAX}) {
        EXPECT_EQ(-1, ExtractPLCDeviceAddress(QByteArray("D100"), base)) << "base " << base;
        EXPECT_EQ(-1, ExtractPLCDeviceAddress(QString::fromLatin1("D100"), base)) << base;
        EXPECT_EQ(-1, ExtractPLCDeviceAddress(QByteArray(), base)) << "base " << base;
    }
}

TEST(DumpByteArray, ShowsBytesAndText)
{
    EXPECT_EQ("(0X41 0Xa ) : A\n", dumpByteArray(bytes("41 0A")).toStdString());
    EXPECT_EQ("() : ", dumpByteArray(QByteArray()).toStdString());
    EXPECT_EQ("(0X7f 0X20 ) : \x7F ", dumpByteArray(bytes("7F 20")).toStdString());
}

TEST(DumpByteArray, EndsTheTextAtTheFirstZeroByte)
{
    EXPECT_EQ("(0X41 0X0 0X42 ) : A", dumpByteArray(bytes("41 00 42")).toStdString());
    EXPECT_EQ("(0X0 ) : ", dumpByteArray(bytes("00")).toStdString());
}

TEST(DumpByteArray, ShowsBytesAboveAsciiAsOneCharacterEach)
{
    EXPECT_EQ(QString::fromLatin1("(0Xff 0Xe4 ) : \xFF\xE4"), dumpByteArray(bytes("FF E4")));
}

// ---- Processes ------------------------------------------------------------------------------

TEST(ProcessIsRunning, KnowsThisProcessAndTheFirst)
{
    EXPECT_TRUE(ProcessIsRunning(getpid()));
    EXPECT_TRUE(ProcessIsRunning(1));
}

TEST(ProcessIsRunning, KnowsWhenAProcessHasEnded)
{
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(0);
    ASSERT_EQ(child, waitpid(child, nullptr, 0));
    EXPECT_FALSE(ProcessIsRunning(child));
}

TEST(ProcessIsRunning, KnowsAProcessOfAnotherUser)
{
    enum { Known, Unknown, NoOtherUser };
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (setuid(65534) != 0)
            _exit(NoOtherUser);
        _exit(ProcessIsRunning(1) ? Known : Unknown);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == NoOtherUser)
        GTEST_SKIP()
            << "only root can become a user who may not signal the first process, and only "
               "where there is another user";
    EXPECT_EQ(Known, WEXITSTATUS(status));
}

TEST(ProcessIsRunning, IsFalseForNumbersThatNoProcessHas)
{
    EXPECT_FALSE(ProcessIsRunning(INT_MAX));
    EXPECT_FALSE(ProcessIsRunning(static_cast<long long>(getpid()) + (1LL << 32)));
    EXPECT_FALSE(ProcessIsRunning(LLONG_MAX));
    EXPECT_FALSE(ProcessIsRunning(LLONG_MIN));
}

// ---- Checksums ------------------------------------------------------------------------------

TEST(CheckSum, AddsUpTheBytes)
{
    const QByteArray array = bytes("01 02 FF");
    EXPECT_EQ(0x02, UInt8CheckSum(unsignedBytes(array), 3));
    EXPECT_EQ(0x0102, UShortCheckSum(unsignedBytes(array), 3));
    EXPECT_EQ(0xFC, XorUInt8CheckSum(unsignedBytes(array), 3));
    EXPECT_EQ(0x03, UInt8CheckSum(unsignedBytes(array), 2));
}

TEST(CheckSum, WrapsAtItsWidth)
{
    const QByteArray array(258, '\xFF'); // 65790
    EXPECT_EQ(65790 % 256, UInt8CheckSum(unsignedBytes(array), array.size()));
    EXPECT_EQ(65790 % 65536, UShortCheckSum(unsignedBytes(array), array.size()));
    EXPECT_EQ(65535, UShortCheckSum(unsignedBytes(array), 257));
    EXPECT_EQ(0xFF, XorUInt8CheckSum(unsignedBytes(array), 257));
}

TEST(CheckSum, IsZeroForNoBytes)
{
    const QByteArray array = bytes("FF");
    for (const int length : {0, -1, INT_MIN}) {
        EXPECT_EQ(0, UInt8CheckSum(unsignedBytes(array), length));
        EXPECT_EQ(0, UShortCheckSum(unsignedBytes(array), length));
        EXPECT_EQ(0, XorUInt8CheckSum(unsignedBytes(array), length));
        EXPECT_EQ(0, CRC16Calculate(unsignedBytes(array), length));
    }
    EXPECT_EQ(0, CRC16Calculate(nullptr, 0));
}

TEST(CRC16Calculate, GivesTheKnownAnswer)
{
    const QByteArray digits("123456789");
    EXPECT_EQ(0xBB3D, CRC16Calculate(unsignedBytes(digits), digits.size()));
    EXPECT_EQ(0xC0C1, CRC16Calculate(unsignedBytes(bytes("01")), 1));
    EXPECT_EQ(0x4040, CRC16Calculate(unsignedBytes(bytes("FF")), 1));
    EXPECT_EQ(0, CRC16Calculate(unsignedBytes(bytes("00 00 00")), 3));
}

// ---- Arrays ---------------------------------------------------------------------------------

TEST(RotateArray, MovesTheFrontBlockBehindTheNext)
{
    const struct {
        int m;
        int n;
        const char *expected;
    } rows[] = {{1, 4, "02 03 04 05 01"}, {2, 3, "03 04 05 01 02"},  {4, 1, "05 01 02 03 04"},
                {1, 1, "02 01 03 04 05"}, {2, 1, "03 01 02 04 05"},  {0, 5, "01 02 03 04 05"},
                {5, 0, "01 02 03 04 05"}, {-1, 3, "01 02 03 04 05"}, {3, -1, "01 02 03 04 05"}};
    for (const auto &row : rows) {
        QByteArray array = bytes("01 02 03 04 05");
        RotateArray(reinterpret_cast<unsigned char *>(array.data()), row.m, row.n);
        EXPECT_EQ(row.expected, hexOf(array)) << row.m << ", " << row.n;
    }
}

TEST(EmptyPackageSizeList, IsEmpty)
{
    EXPECT_TRUE(EmptyPackageSizeList().isEmpty());
}

} // namespace
