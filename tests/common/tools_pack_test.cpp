// The format language of DataPack, ByteArrayPack and DataUnpack.

#include "common/tools.h"

#include <climits>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace
{

const int BufferSize = 64;
const unsigned char Untouched = 0xEE;

/// Room for a packed record, every byte of which shows whether it was written.
struct Buffer {
    unsigned char data[BufferSize];

    Buffer() { memset(data, Untouched, sizeof data); }

    std::string hex(int size) const
    {
        return hexOf(QByteArray(reinterpret_cast<const char *>(data), size));
    }

    bool isUntouchedFrom(int start) const
    {
        for (int i = start; i < BufferSize; ++i) {
            if (data[i] != Untouched)
                return false;
        }
        return true;
    }
};

/// Every character that is neither a digit nor a letter of the language.
std::string strangers()
{
    std::string characters;
    for (int c = 1; c < 256; ++c) {
        if (strchr("0123456789CcIiLlVNSsvnxX", c) == nullptr)
            characters += static_cast<char>(c);
    }
    return characters;
}

/// Letters that may stand alone, but not behind a count.
const char SingleOnlyLetters[] = "IiLlSs";

/// Counts that no item can have.
const char *const WrongCounts[] = {"0",
                                   "00",
                                   "2147483648",           // an int and one
                                   "4294967296",           // 0 in 32 bits
                                   "4294967297",           // 1 in 32 bits
                                   "18446744073709551616", // 0 in 64 bits
                                   "18446744073709551617", // 1 in 64 bits
                                   "99999999999999999999999999999999999999999"};

// ---- Single items ---------------------------------------------------------------------------

const struct {
    const char *format;
    const char *packed; ///< 0x12345678 as this item
} SingleItems[] = {{"C", "78"},          {"c", "78"},          {"I", "78 56 34 12"},
                   {"i", "78 56 34 12"}, {"L", "78 56 34 12"}, {"l", "78 56 34 12"},
                   {"V", "78 56 34 12"}, {"N", "12 34 56 78"}, {"S", "78 56"},
                   {"s", "78 56"},       {"v", "78 56"},       {"n", "56 78"}};

TEST(DataPack, WritesSingleItems)
{
    for (const auto &item : SingleItems) {
        SCOPED_TRACE(item.format);
        const int size = bytes(item.packed).size();
        Buffer buffer;
        EXPECT_EQ(size, DataPack(buffer.data, item.format, 0x12345678));
        EXPECT_EQ(item.packed, buffer.hex(size));
        EXPECT_TRUE(buffer.isUntouchedFrom(size));
    }
}

TEST(ByteArrayPack, AppendsSingleItems)
{
    for (const auto &item : SingleItems)
        EXPECT_EQ(item.packed, hexOf(ByteArrayPack(item.format, 0x12345678))) << item.format;
}

TEST(DataUnpack, ReadsSingleItems)
{
    const QByteArray input = bytes("91 A2 B3 C4 D5");
    const struct {
        const char *format;
        unsigned int value; ///< in a variable of EE EE EE EE before
        int consumed;
    } rows[] = {{"C", 0xEEEEEE91, 1}, {"c", 0xEEEEEE91, 1}, {"I", 0xC4B3A291, 4},
                {"i", 0xC4B3A291, 4}, {"L", 0xC4B3A291, 4}, {"l", 0xC4B3A291, 4},
                {"V", 0xC4B3A291, 4}, {"N", 0x91A2B3C4, 4}, {"S", 0xEEEEA291, 2},
                {"s", 0xEEEEA291, 2}, {"v", 0xEEEEA291, 2}, {"n", 0xEEEE91A2, 2}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.format);
        unsigned int variable = 0xEEEEEEEE;
        EXPECT_EQ(row.consumed, DataUnpack(unsignedBytes(input), row.format, &variable));
        EXPECT_EQ(row.value, variable);
    }
}

TEST(DataPack, TakesNegativeAndUnsignedValues)
{
    Buffer buffer;
    EXPECT_EQ(11, DataPack(buffer.data, "CvVN", -1, -2, -3, 0xFFFEFDFCu));
    EXPECT_EQ("FF FE FF FD FF FF FF FF FE FD FC", buffer.hex(11));
}

TEST(DataPack, WritesAZeroByteForASmallX)
{
    Buffer buffer;
    EXPECT_EQ(1, DataPack(buffer.data, "x"));
    EXPECT_EQ("00", buffer.hex(1));
    EXPECT_TRUE(buffer.isUntouchedFrom(1));
}

TEST(DataPack, SkipsAByteForACapitalX)
{
    Buffer buffer;
    EXPECT_EQ(2, DataPack(buffer.data, "XC", 0x41));
    EXPECT_EQ("EE 41", buffer.hex(2));
}

TEST(ByteArrayPack, AppendsAZeroByteForASmallX)
{
    EXPECT_EQ("41 00 42", hexOf(ByteArrayPack("CxC", 0x41, 0x42)));
}

TEST(ByteArrayPack, GrowsByAByteForACapitalX)
{
    const QByteArray packed = ByteArrayPack("CXC", 0x41, 0x42);
    ASSERT_EQ(3, packed.size());
    EXPECT_EQ('\x41', packed.at(0));
    EXPECT_EQ('\x42', packed.at(2));
    EXPECT_EQ(1, ByteArrayPack("X").size());
}

TEST(DataUnpack, SkipsAByteForEitherX)
{
    const QByteArray input = bytes("01 02 03 04");
    unsigned char first = 0;
    unsigned char second = 0;
    EXPECT_EQ(4, DataUnpack(unsignedBytes(input), "xCXC", &first, &second));
    EXPECT_EQ(2, first);
    EXPECT_EQ(4, second);
}

// ---- Counted items --------------------------------------------------------------------------

const struct {
    const char *format;
    const char *packed; ///< three values from memory that holds 01 to 0C
} CountedItems[] = {
    {"3C", "01 02 03"},
    {"3c", "01 02 03"},
    {"3N", "04 03 02 01 08 07 06 05 0C 0B 0A 09"},
    {"3V", "01 02 03 04 05 06 07 08 09 0A 0B 0C"},
    {"3n", "02 01 04 03 06 05"},
    {"3v", "01 02 03 04 05 06"},
    {"1C", "01"},
    {"1N", "04 03 02 01"},
    {"1n", "02 01"},
    {"012C", "01 02 03 04 05 06 07 08 09 0A 0B 0C"},
};

/// The bytes 01 to 0C, at an odd address when `offset` is 1.
const unsigned char *values(unsigned char (&room)[16], int offset)
{
    for (int i = 0; i < 12; ++i)
        room[offset + i] = static_cast<unsigned char>(i + 1);
    return room + offset;
}

TEST(DataPack, WritesCountedItemsAlignedOrNot)
{
    for (const auto &item : CountedItems) {
        for (const int offset : {0, 1}) {
            SCOPED_TRACE(testing::Message() << item.format << " at offset " << offset);
            alignas(4) unsigned char room[16];
            const int size = bytes(item.packed).size();
            Buffer buffer;
            EXPECT_EQ(size, DataPack(buffer.data + offset, item.format, values(room, offset)));
            EXPECT_EQ(item.packed, buffer.hex(size + offset).substr(offset == 0 ? 0 : 3));
            EXPECT_TRUE(buffer.isUntouchedFrom(size + offset));
        }
    }
}

TEST(ByteArrayPack, AppendsCountedItemsAlignedOrNot)
{
    for (const auto &item : CountedItems) {
        for (const int offset : {0, 1}) {
            alignas(4) unsigned char room[16];
            EXPECT_EQ(item.packed, hexOf(ByteArrayPack(item.format, values(room, offset))))
                << item.format << " at offset " << offset;
        }
    }
}

TEST(DataUnpack, ReadsCountedItemsAlignedOrNot)
{
    for (const auto &item : CountedItems) {
        for (const int offset : {0, 1}) {
            SCOPED_TRACE(testing::Message() << item.format << " at offset " << offset);
            alignas(4) unsigned char room[16];
            const int size = bytes(item.packed).size();
            Buffer target;
            EXPECT_EQ(size, DataUnpack(values(room, offset), item.format, target.data + offset));
            EXPECT_EQ(item.packed, target.hex(size + offset).substr(offset == 0 ? 0 : 3));
            EXPECT_TRUE(target.isUntouchedFrom(size + offset));
        }
    }
}

TEST(DataPack, WritesAndSkipsCountedBytes)
{
    Buffer buffer;
    EXPECT_EQ(5, DataPack(buffer.data, "2x3X"));
    EXPECT_EQ("00 00 EE EE EE", buffer.hex(5));
    EXPECT_TRUE(buffer.isUntouchedFrom(5));
}

TEST(DataPack, SkipsAsFarAsAnIntCounts)
{
    Buffer buffer;
    EXPECT_EQ(INT_MAX, DataPack(buffer.data, "2147483647X"));
    EXPECT_TRUE(buffer.isUntouchedFrom(0));
}

TEST(DataUnpack, SkipsCountedBytes)
{
    const QByteArray input = bytes("01 02 03 04 05 06");
    unsigned char variable = 0;
    EXPECT_EQ(6, DataUnpack(unsignedBytes(input), "2x3XC", &variable));
    EXPECT_EQ(6, variable);
    EXPECT_EQ(INT_MAX, DataUnpack(unsignedBytes(input), "2147483647x"));
}

TEST(ByteArrayPack, RejectsCountedX)
{
    EXPECT_TRUE(ByteArrayPack("2x").isEmpty());
    EXPECT_TRUE(ByteArrayPack("2X").isEmpty());
    EXPECT_TRUE(ByteArrayPack("C2x", 0x41, "").isEmpty());
    EXPECT_TRUE(ByteArrayPack("C1X", 0x41, "").isEmpty());
}

// ---- Whole formats --------------------------------------------------------------------------

TEST(DataPack, PacksARecord)
{
    Buffer buffer;
    EXPECT_EQ(7, DataPack(buffer.data, "nNx", 0x1234, 0x01020304));
    EXPECT_EQ("12 34 01 02 03 04 00", buffer.hex(7));
}

TEST(ByteArrayPack, PacksARecord)
{
    EXPECT_EQ("12 34 01 02 03 04 00", hexOf(ByteArrayPack("nNx", 0x1234, 0x01020304)));
}

TEST(DataUnpack, UnpacksARecord)
{
    const QByteArray input = bytes("34 12 01 02 03 04");
    unsigned short word = 0;
    unsigned int doubleWord = 0;
    EXPECT_EQ(6, DataUnpack(unsignedBytes(input), "vN", &word, &doubleWord));
    EXPECT_EQ(0x1234, word);
    EXPECT_EQ(0x01020304u, doubleWord);
}

TEST(DataPack, TakesMoreArgumentsThanRegistersHold)
{
    const unsigned char text[] = {'a', 'b', 'c'};
    const unsigned short words[] = {0x1122, 0x3344};
    const char format[] = "CCCCCCCCCC3C2nCvN";
    const char expected[] =
        "01 02 03 04 05 06 07 08 09 0A 61 62 63 11 22 33 44 0B 0D 0C 01 02 03 04";
    Buffer buffer;
    EXPECT_EQ(24, DataPack(buffer.data, format, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, text, words, 11,
                           0x0C0D, 0x01020304));
    EXPECT_EQ(expected, buffer.hex(24));
    EXPECT_EQ(expected, hexOf(ByteArrayPack(format, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, text, words, 11,
                                            0x0C0D, 0x01020304)));
}

TEST(DataUnpack, ReadsBackWhatDataPackWrote)
{
    const unsigned short words[] = {0x1122, 0x3344};
    const unsigned int doubleWords[] = {0x55667788, 0x99AABBCC};
    Buffer buffer;
    const int packed =
        DataPack(buffer.data, "cxs2NlX2vn", 0x12, 0x3456, doubleWords, 0x789ABCDE, words, 0x6677);
    ASSERT_EQ(23, packed);

    unsigned char byte = 0;
    unsigned short word = 0;
    unsigned int readDoubleWords[2] = {0, 0};
    unsigned int doubleWord = 0;
    unsigned short readWords[2] = {0, 0};
    unsigned short last = 0;
    EXPECT_EQ(packed, DataUnpack(buffer.data, "cxs2NlX2vn", &byte, &word, readDoubleWords,
                                 &doubleWord, readWords, &last));
    EXPECT_EQ(0x12, byte);
    EXPECT_EQ(0x3456, word);
    EXPECT_EQ(0x55667788u, readDoubleWords[0]);
    EXPECT_EQ(0x99AABBCCu, readDoubleWords[1]);
    EXPECT_EQ(0x789ABCDEu, doubleWord);
    EXPECT_EQ(0x1122, readWords[0]);
    EXPECT_EQ(0x3344, readWords[1]);
    EXPECT_EQ(0x6677, last);
}

TEST(PackFormat, MayBeEmpty)
{
    Buffer buffer;
    EXPECT_EQ(0, DataPack(buffer.data, ""));
    EXPECT_TRUE(buffer.isUntouchedFrom(0));
    EXPECT_TRUE(ByteArrayPack("").isEmpty());
    EXPECT_EQ(0, DataUnpack(buffer.data, ""));
}

// ---- Mistakes -------------------------------------------------------------------------------

TEST(DataPack, GivesZeroForAnUnknownLetter)
{
    Buffer buffer;
    EXPECT_EQ(0, DataPack(buffer.data, "z"));
    for (const char stranger : strangers())
        EXPECT_EQ(0, DataPack(buffer.data, std::string(1, stranger).c_str(), 0)) << int(stranger);
    EXPECT_TRUE(buffer.isUntouchedFrom(0));
}

TEST(DataPack, GivesMinusOneForAnUnknownCountedLetter)
{
    Buffer buffer;
    for (const char letter : strangers() + SingleOnlyLetters) {
        const std::string format = std::string("2") + letter;
        EXPECT_EQ(-1, DataPack(buffer.data, format.c_str(), "")) << int(letter);
    }
    EXPECT_TRUE(buffer.isUntouchedFrom(0));
}

TEST(DataPack, GivesMinusOneForAWrongCount)
{
    Buffer buffer;
    EXPECT_EQ(-1, DataPack(buffer.data, "0C", ""));
    for (const char *count : WrongCounts) {
        for (const char letter : std::string("CcNVnvxX")) {
            const std::string format = std::string(count) + letter;
            EXPECT_EQ(-1, DataPack(buffer.data, format.c_str(), "")) << format;
        }
    }
    EXPECT_EQ(-1, DataPack(buffer.data, "536870912N", "")) << "2 GB";
    EXPECT_EQ(-1, DataPack(buffer.data, "1073741824v", "")) << "2 GB";
    EXPECT_TRUE(buffer.isUntouchedFrom(0));
}

TEST(DataPack, GivesMinusOneForACountWithoutALetter)
{
    Buffer buffer;
    EXPECT_EQ(-1, DataPack(buffer.data, "3"));
    EXPECT_EQ(-1, DataPack(buffer.data, "0"));
    EXPECT_EQ(-1, DataPack(buffer.data, "C12", 0x41));
}

TEST(DataPack, KeepsWhatWasWrittenBeforeAMistake)
{
    Buffer buffer;
    EXPECT_EQ(0, DataPack(buffer.data, "CzC", 0x41, 0x42));
    EXPECT_EQ("41", buffer.hex(1));
    EXPECT_TRUE(buffer.isUntouchedFrom(1));

    Buffer counted;
    EXPECT_EQ(-1, DataPack(counted.data, "v0CC", 0x4142, "", 0x43));
    EXPECT_EQ("42 41", counted.hex(2));
    EXPECT_TRUE(counted.isUntouchedFrom(2));
}

TEST(ByteArrayPack, IsEmptyAfterEveryMistake)
{
    EXPECT_TRUE(ByteArrayPack("Cz", 0x41).isEmpty());
    EXPECT_TRUE(ByteArrayPack("C0C", 0x41, "").isEmpty());
    EXPECT_TRUE(ByteArrayPack("C3", 0x41, "").isEmpty());
    EXPECT_TRUE(ByteArrayPack("3", "").isEmpty());
    for (const char stranger : strangers())
        EXPECT_TRUE(ByteArrayPack((std::string("C") + stranger).c_str(), 1).isEmpty());
    for (const char letter : strangers() + SingleOnlyLetters)
        EXPECT_TRUE(ByteArrayPack((std::string("C2") + letter).c_str(), 1, "").isEmpty());
    for (const char *count : WrongCounts) {
        for (const char letter : std::string("CcNVnvxX"))
            EXPECT_TRUE(
                ByteArrayPack((std::string("C") + count + letter).c_str(), 1, "").isEmpty());
    }
}

TEST(DataUnpack, GivesMinusOneAfterEveryMistake)
{
    const QByteArray input = bytes("01 02 03 04");
    Buffer target;
    for (const char stranger : strangers()) {
        const std::string format(1, stranger);
        EXPECT_EQ(-1, DataUnpack(unsignedBytes(input), format.c_str(), target.data));
    }
    for (const char letter : strangers() + SingleOnlyLetters) {
        const std::string format = std::string("2") + letter;
        EXPECT_EQ(-1, DataUnpack(unsignedBytes(input), format.c_str(), target.data)) << format;
    }
    for (const char *count : WrongCounts) {
        for (const char letter : std::string("CcNVnvxX")) {
            const std::string format = std::string(count) + letter;
            EXPECT_EQ(-1, DataUnpack(unsignedBytes(input), format.c_str(), target.data)) << format;
        }
    }
    EXPECT_EQ(-1, DataUnpack(unsignedBytes(input), "3", target.data));
    EXPECT_TRUE(target.isUntouchedFrom(0));
}

TEST(DataUnpack, KeepsWhatWasFilledBeforeAMistake)
{
    const QByteArray input = bytes("01 02 03 04");
    unsigned char first = 0;
    unsigned char second = 0;
    EXPECT_EQ(-1, DataUnpack(unsignedBytes(input), "CzC", &first, &second));
    EXPECT_EQ(1, first);
    EXPECT_EQ(0, second);
}

// ---- Argument lists -------------------------------------------------------------------------

int packTwice(unsigned char *out, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int first = VDataPack(out, fmt, args);
    const QByteArray second = VByteArrayPack(fmt, args);
    va_end(args);
    EXPECT_EQ(first, second.size());
    EXPECT_EQ(0, memcmp(out, second.constData(), static_cast<size_t>(second.size())));
    return first;
}

int unpackList(const unsigned char *in, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int length = VDataUnpack(in, fmt, args);
    va_end(args);
    return length;
}

TEST(ArgumentLists, AreReadAndLeftAsTheyWere)
{
    Buffer buffer;
    EXPECT_EQ(5, packTwice(buffer.data, "C2Cv", 0x01, "ab", 0x0403));
    EXPECT_EQ("01 61 62 03 04", buffer.hex(5));

    unsigned char first = 0;
    unsigned short second = 0;
    EXPECT_EQ(5, unpackList(buffer.data, "C2xv", &first, &second));
    EXPECT_EQ(1, first);
    EXPECT_EQ(0x0403, second);
}

} // namespace
