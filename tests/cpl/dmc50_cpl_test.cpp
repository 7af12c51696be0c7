#include "cpl/dmc50_cpl.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/frames.h"

namespace
{

using ::testing::HasSubstr;

const char Untouched = 0x55;
const uint Controller = 0; // the sub-address of the controller itself

/// A buffer that shows how far a packer wrote.
struct RequestBuffer {
    RequestBuffer() : bytes(500, Untouched) {}

    int size() const { return static_cast<int>(bytes.size()); }
    std::string first(int length) const
    {
        return std::string(bytes.data(), static_cast<size_t>(length));
    }
    /// Whether everything behind the frame and its terminating zero is as it was.
    bool cleanBehind(int length) const
    {
        for (size_t i = static_cast<size_t>(length) + 1; i < bytes.size(); ++i) {
            if (bytes[i] != Untouched)
                return false;
        }
        return true;
    }

    std::vector<char> bytes;
};

std::string packRead(std::vector<ulong> addresses, uchar station = 1, uchar subAddress = Controller)
{
    RequestBuffer buffer;
    const int length = CPLPackRNCmd(buffer.bytes.data(), buffer.size(), station, subAddress,
                                    addresses.data(), static_cast<uint>(addresses.size()));
    EXPECT_TRUE(buffer.cleanBehind(length));
    return buffer.first(length);
}

std::string packWrite(std::vector<AddrArg> pairs, uchar station = 1, uchar subAddress = Controller)
{
    RequestBuffer buffer;
    const int length = CPLPackWNCmd(buffer.bytes.data(), buffer.size(), station, subAddress,
                                    pairs.data(), static_cast<int>(pairs.size()));
    EXPECT_TRUE(buffer.cleanBehind(length));
    return buffer.first(length);
}

std::string packRun(ulong firstAddress, const std::vector<uchar> &dwords, uchar station = 1,
                    uchar subAddress = Controller)
{
    RequestBuffer buffer;
    const int length =
        CPLPackWGCmd(buffer.bytes.data(), buffer.size(), station, subAddress, firstAddress,
                     dwords.data(), static_cast<uint>(dwords.size() / 4));
    EXPECT_TRUE(buffer.cleanBehind(length));
    return buffer.first(length);
}

bool checksumHolds(const std::string &frame)
{
    return CPLValidateChecksum(frame.data(), static_cast<int>(frame.size()));
}

const std::vector<AddrArg> OnePair(1, AddrArg{0x1000, 5});
const std::vector<uchar> OneDWord = {0x01, 0x02, 0x03, 0x04};

// ---- RN: read a list of addresses ---------------------------------------------------------------

TEST(PackRead, OfOneAddressIs25BytesWithChecksumC9)
{
    EXPECT_EQ("\x02"
              "0100XRN00LL00001000"
              "\x03"
              "C9\r\n",
              packRead({0x1000}));
    EXPECT_EQ(25u, packRead({0x1000}).size());
}

TEST(PackRead, WritesTheStationAsTwoUpperCaseHexadecimalDigits)
{
    EXPECT_EQ("00", packRead({0}, 0).substr(1, 2));
    EXPECT_EQ("09", packRead({0}, 9).substr(1, 2));
    EXPECT_EQ("0A", packRead({0}, 10).substr(1, 2));
    EXPECT_EQ("1F", packRead({0}, 31).substr(1, 2));
    EXPECT_EQ("FF", packRead({0}, 255).substr(1, 2));
}

TEST(PackRead, WritesTheSubAddressAsTwoUpperCaseHexadecimalDigits)
{
    EXPECT_EQ("00", packRead({0}, 1, 0).substr(3, 2));
    EXPECT_EQ("AB", packRead({0}, 1, 0xAB).substr(3, 2));
}

TEST(PackRead, KeepsTheOrderOfTheAddresses)
{
    EXPECT_EQ(frames::readRequest(1, {0x30, 0xFFFFFFFF, 0x00ABCDEF, 0x10, 0x10}),
              packRead({0x30, 0xFFFFFFFF, 0x00ABCDEF, 0x10, 0x10}));
}

TEST(PackRead, TakesFiftyAddressesIn417Bytes)
{
    const std::vector<ulong> addresses(50, 0xFFFFFFFF);
    const std::string frame = packRead(addresses, 255);
    EXPECT_EQ(417u, frame.size());
    EXPECT_EQ(frames::readRequest(255, std::vector<uint32_t>(50, 0xFFFFFFFF)), frame);
}

TEST(PackRead, FitsABufferOfOneByteMoreThanTheFrame)
{
    std::vector<ulong> addresses(50, 1);
    std::vector<char> buffer(418, Untouched);
    EXPECT_EQ(417, CPLPackRNCmd(buffer.data(), 418, 1, 0, addresses.data(), 50));
    EXPECT_TRUE(checksumHolds(std::string(buffer.data(), 417)));
    EXPECT_EQ('\n', buffer[416]);
}

TEST(PackRead, SendsAddressesAs32BitWords)
{
    const ulong beyond32Bits = ~0ul - 0xF; // the 32-bit word 0xFFFFFFF0 on every machine
    EXPECT_EQ(frames::readRequest(1, {0xFFFFFFF0}), packRead({beyond32Bits}));
}

TEST(PackReadDeathTest, WithoutAddressesEndsTheProgram)
{
    std::vector<char> buffer(500);
    EXPECT_DEATH(CPLPackRNCmd(buffer.data(), 500, 1, 0, nullptr, 1),
                 HasSubstr("Assertion `addresses != 0' failed"));
    EXPECT_DEATH(CPLPackRNCmd(buffer.data(), 500, 1, 0, nullptr, 0),
                 HasSubstr("Assertion `addresses != 0' failed"));
}

TEST(PackReadDeathTest, OutsideOneToFiftyAddressesEndsTheProgram)
{
    const char *const text = "Assertion `num_of_addresses > 0 && num_of_addresses <= 50' failed";
    std::vector<ulong> addresses(60);
    std::vector<char> buffer(500);
    EXPECT_DEATH(CPLPackRNCmd(buffer.data(), 500, 1, 0, addresses.data(), 0), HasSubstr(text));
    EXPECT_DEATH(CPLPackRNCmd(buffer.data(), 500, 1, 0, addresses.data(), 51), HasSubstr(text));
    EXPECT_DEATH(CPLPackRNCmd(buffer.data(), 500, 1, 0, addresses.data(), ~0u), HasSubstr(text));
}

// ---- WN: write a list of address-value pairs ----------------------------------------------------

TEST(PackWrite, OfOnePairEndsWithChecksum3F)
{
    EXPECT_EQ("\x02"
              "0100XWN00LL0000100000000005"
              "\x03"
              "3F\r\n",
              packWrite(OnePair));
}

TEST(PackWrite, WritesStationAndSubAddressInHexadecimal)
{
    EXPECT_EQ("0A00X", packWrite(OnePair, 10).substr(1, 5));
    EXPECT_EQ("1F0BX", packWrite(OnePair, 31, 11).substr(1, 5));
}

TEST(PackWrite, KeepsTheOrderOfThePairs)
{
    EXPECT_EQ(frames::writeRequest(7, {{0x30, 0xFFFFFFFF}, {0x10, 0}, {0x30, 0xABCDEF}}),
              packWrite({{0x30, 0xFFFFFFFF}, {0x10, 0}, {0x30, 0xABCDEF}}, 7));
}

TEST(PackWrite, TakesTwentyFivePairsIn417Bytes)
{
    const std::string frame = packWrite(std::vector<AddrArg>(25, AddrArg{0xFFFFFFFF, 0x80000000}));
    EXPECT_EQ(417u, frame.size());
    EXPECT_EQ(frames::writeRequest(
                  1, std::vector<std::pair<uint32_t, uint32_t>>(25, {0xFFFFFFFF, 0x80000000})),
              frame);
}

TEST(PackWriteDeathTest, WithoutPairsEndsTheProgram)
{
    std::vector<char> buffer(500);
    EXPECT_DEATH(CPLPackWNCmd(buffer.data(), 500, 1, 0, nullptr, 1),
                 HasSubstr("Assertion `addr_args != 0' failed"));
    EXPECT_DEATH(CPLPackWNCmd(buffer.data(), 500, 1, 0, nullptr, 0),
                 HasSubstr("Assertion `addr_args != 0' failed"));
}

TEST(PackWriteDeathTest, OutsideOneToTwentyFivePairsEndsTheProgram)
{
    const char *const text = "Assertion `num_of_addr_args > 0 && num_of_addr_args <= 25' failed";
    std::vector<AddrArg> pairs(30, AddrArg{0, 0});
    std::vector<char> buffer(600);
    for (const int count : {0, 26, -1})
        EXPECT_DEATH(CPLPackWNCmd(buffer.data(), 600, 1, 0, pairs.data(), count), HasSubstr(text));
}

// ---- WG: write a run of double words ------------------------------------------------------------

TEST(PackRun, SendsEachDoubleWordFromItsFourthByteDown)
{
    EXPECT_EQ("\x02"
              "0100XWGLL0000100004030201"
              "\x03"
              "A1\r\n",
              packRun(0x1000, OneDWord));
}

TEST(PackRun, WritesStationAndSubAddressInHexadecimal)
{
    EXPECT_EQ("0A00X", packRun(0, OneDWord, 10).substr(1, 5));
    EXPECT_EQ("1F0BX", packRun(0, OneDWord, 31, 11).substr(1, 5));
}

TEST(PackRun, SendsBytesAbove127AsTwoDigits)
{
    EXPECT_EQ(frames::framed("0100XWGLL0000002080FF00FE"), packRun(0x20, {0xFE, 0x00, 0xFF, 0x80}));
}

TEST(PackRun, SendsTheFirstAddressAs32BitWord)
{
    EXPECT_EQ(frames::framed("0100XWGLLFFFFFFF004030201"), packRun(~0ul - 0xF, OneDWord));
}

TEST(PackRun, TakesFiftyDoubleWordsIn423Bytes)
{
    std::vector<uchar> dwords;
    std::string text = "FF00XWGLL89ABCDEF";
    for (unsigned i = 0; i < 50; ++i) {
        dwords.insert(dwords.end(), {static_cast<uchar>(i), 0, 0, 0xC0});
        text += "C00000" + frames::hex(i, 2);
    }
    const std::string frame = packRun(0x89ABCDEF, dwords, 255);
    EXPECT_EQ(423u, frame.size());
    EXPECT_EQ(frames::framed(text), frame);
}

TEST(PackRunDeathTest, WithoutDoubleWordsEndsTheProgram)
{
    std::vector<char> buffer(500);
    EXPECT_DEATH(CPLPackWGCmd(buffer.data(), 500, 1, 0, 0x20, nullptr, 1),
                 HasSubstr("Assertion `dwords != 0' failed"));
    EXPECT_DEATH(CPLPackWGCmd(buffer.data(), 500, 1, 0, 0x20, nullptr, 0),
                 HasSubstr("Assertion `dwords != 0' failed"));
}

TEST(PackRunDeathTest, OutsideOneToFiftyDoubleWordsEndsTheProgram)
{
    const char *const text = "Assertion `num_of_dwords > 0 && num_of_dwords <= 50' failed";
    std::vector<uchar> dwords(240);
    std::vector<char> buffer(500);
    for (const uint count : {0u, 51u, ~0u}) {
        EXPECT_DEATH(CPLPackWGCmd(buffer.data(), 500, 1, 0, 0x20, dwords.data(), count),
                     HasSubstr(text));
    }
}

// ---- Checksum -----------------------------------------------------------------------------------

TEST(ValidateChecksum, AcceptsEveryPackedFrame)
{
    EXPECT_TRUE(checksumHolds(packRead({0x1000})));
    EXPECT_TRUE(checksumHolds(packWrite(OnePair)));
    EXPECT_TRUE(checksumHolds(packRun(0x1000, OneDWord)));
}

TEST(ValidateChecksum, RejectsAnyOtherByteBetweenStxAndEtx)
{
    for (const std::string &frame :
         {packRead({0x1000}), packWrite(OnePair), packRun(0x1000, OneDWord)}) {
        for (size_t at = 0; at < frame.size() - 4; ++at) {
            for (int change = 1; change < 256; ++change) {
                std::string damaged = frame;
                damaged[at] = static_cast<char>(damaged[at] + change);
                EXPECT_FALSE(checksumHolds(damaged)) << "byte " << at << " + " << change;
            }
        }
    }
}

// Of four bytes, two would be the checksum: STX and a digit, which read as zero.
TEST(ValidateChecksum, RejectsEveryTruncationThatLeavesSomethingToSum)
{
    for (const std::string &frame :
         {packRead({0x1000}), packWrite(OnePair), packRun(0x1000, OneDWord)}) {
        for (size_t length = 5; length < frame.size(); ++length)
            EXPECT_FALSE(checksumHolds(frame.substr(0, length))) << length << " bytes";
    }
}

TEST(ValidateChecksum, RejectsLengthsWithoutRoomForAChecksum)
{
    for (const int length : {3, 1, 0, -1, -4})
        EXPECT_FALSE(CPLValidateChecksum("0000\r\n", length)) << length;
}

TEST(ValidateChecksum, OfNothingIsZero)
{
    EXPECT_TRUE(CPLValidateChecksum("00\r\n", 4));
    EXPECT_FALSE(CPLValidateChecksum("01\r\n", 4));
}

TEST(ValidateChecksum, TakesLowerCaseDigits)
{
    std::string frame = packRead({0x1000});
    ASSERT_EQ("C9", frame.substr(21, 2));
    frame[21] = 'c';
    EXPECT_TRUE(checksumHolds(frame));
}

TEST(ValidateChecksum, LooksAtNeitherStxNorEtxNorLineEnd)
{
    EXPECT_TRUE(CPLValidateChecksum("\x01\xFF"
                                    "00??",
                                    6));
}

TEST(ValidateChecksum, SumsBytesAbove127AsUnsigned)
{
    EXPECT_TRUE(CPLValidateChecksum("\x02\xFF\x03"
                                    "FC\r\n",
                                    7));
}

TEST(ValidateChecksum, ReadsACharacterThatIsNotHexadecimalAsZero)
{
    const std::string sumIsZero = "\x02\xFE";
    const std::string sumIsNot = "\x02\xFD";
    EXPECT_TRUE(checksumHolds(sumIsZero + "ZZ\r\n"));
    EXPECT_TRUE(checksumHolds(sumIsZero + "1G\r\n"));
    EXPECT_FALSE(checksumHolds(sumIsNot + "1G\r\n"));
}

// ---- Digits of a reply
// ---------------------------------------------------------------------------

TEST(ParseHex, ReadsOneToEightDigitsOfEitherCase)
{
    const std::string digits = "89aBCdEF";
    const quint32 values[] = {0x8, 0x89, 0x89A, 0x89AB, 0x89ABC, 0x89ABCD, 0x89ABCDE, 0x89ABCDEF};
    for (int count = 1; count <= 8; ++count) {
        quint32 value = 0x55;
        EXPECT_TRUE(CPLParseHex(digits.data(), count, value));
        EXPECT_EQ(values[count - 1], value) << count << " digits";
    }
}

TEST(ParseHex, ReadsTheLeastAndTheGreatestNumber)
{
    quint32 value = 0x55;
    EXPECT_TRUE(CPLParseHex("00000000", 8, value));
    EXPECT_EQ(0u, value);
    EXPECT_TRUE(CPLParseHex("FFFFFFFF", 8, value));
    EXPECT_EQ(0xFFFFFFFFu, value);
}

TEST(ParseHex, TakesTheSixteenDigitsAndNoOtherCharacterInAnyPlace)
{
    const std::string digits = "0123456789ABCDEFabcdef";
    for (int character = 0; character < 256; ++character) {
        for (size_t place = 0; place < 8; ++place) {
            std::string field = "12345678";
            field[place] = static_cast<char>(character);
            quint32 value = 0x55;
            const bool isDigit = digits.find(field[place]) != std::string::npos;
            EXPECT_EQ(isDigit, CPLParseHex(field.data(), 8, value)) << character << " at " << place;
            EXPECT_EQ(isDigit, value != 0x55) << character << " at " << place;
        }
    }
}

TEST(ParseHex, LooksAtNothingBehindTheField)
{
    quint32 value = 0;
    EXPECT_TRUE(CPLParseHex("1Fx", 2, value));
    EXPECT_EQ(0x1Fu, value);
}

TEST(ParseHex, ReadsEveryByteThatIsPacked)
{
    for (uint byte = 0; byte < 256; ++byte) {
        quint32 value = 0;
        const std::string frame = packRead({byte * 0x01010101UL}, static_cast<uchar>(byte));
        EXPECT_TRUE(CPLParseHex(&frame[12], 8, value));
        EXPECT_EQ(byte * 0x01010101U, value);
        EXPECT_TRUE(CPLParseHex(&frame[1], 2, value));
        EXPECT_EQ(byte, value);
    }
}

} // namespace
