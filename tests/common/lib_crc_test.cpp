#include "common/lib_crc.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

typedef quint16 (*Update16)(quint16, unsigned char);

const char Digits[] = "123456789";

quint16 crcOf(Update16 update, const std::string &text, quint16 start)
{
    for (const char c : text)
        start = update(start, static_cast<unsigned char>(c));
    return start;
}

quint32 crc32Of(const std::string &text)
{
    quint32 crc = 0xFFFFFFFFu;
    for (const char c : text)
        crc = update_crc_32(crc, static_cast<unsigned char>(c));
    return ~crc;
}

/// One byte through a reflected CRC without a table, bit by bit as a shift register does it.
template <typename Word>
Word reflectedBitwise(Word crc, unsigned char c, Word polynomial)
{
    for (int i = 0; i < 8; ++i) {
        const bool differ = ((crc ^ (c >> i)) & 1u) != 0;
        crc = static_cast<Word>(crc >> 1);
        if (differ)
            crc = static_cast<Word>(crc ^ polynomial);
    }
    return crc;
}

quint16 ccittBitwise(quint16 crc, unsigned char c)
{
    for (int i = 7; i >= 0; --i) {
        const bool differ = ((crc >> 15) & 1) != ((c >> i) & 1);
        crc = static_cast<quint16>((crc << 1) ^ (differ ? 0x1021 : 0));
    }
    return crc;
}

/// Running values that reach every bit, in every combination of a byte and some of the other one.
std::vector<quint16> running16()
{
    std::vector<quint16> values = {0x0000, 0x0001, 0x00FF, 0x7FFF, 0x8000, 0xFF00, 0xFFFF, 0x1234};
    for (int i = 0; i < 16; ++i)
        values.push_back(static_cast<quint16>(1 << i));
    return values;
}

void expectReflected(Update16 update, quint16 polynomial)
{
    for (const quint16 crc : running16()) {
        for (int c = 0; c < 256; ++c) {
            const unsigned char byte = static_cast<unsigned char>(c);
            ASSERT_EQ(reflectedBitwise(crc, byte, polynomial), update(crc, byte))
                << crc << " with " << c;
        }
    }
}

TEST(UpdateCrc16, GivesTheKnownAnswer)
{
    EXPECT_EQ(0xBB3D, crcOf(update_crc_16, Digits, 0));
    EXPECT_EQ(0x4B37, crcOf(update_crc_16, Digits, 0xFFFF));
}

TEST(UpdateCrc16, AgreesWithTheShiftRegister)
{
    expectReflected(update_crc_16, 0xA001);
}

TEST(UpdateCrcKermit, GivesTheKnownAnswer)
{
    EXPECT_EQ(0x2189, crcOf(update_crc_kermit, Digits, 0));
}

TEST(UpdateCrcKermit, AgreesWithTheShiftRegister)
{
    expectReflected(update_crc_kermit, 0x8408);
}

TEST(UpdateCrcDnp, GivesTheKnownAnswer)
{
    EXPECT_EQ(0xEA82, static_cast<quint16>(~crcOf(update_crc_dnp, Digits, 0)));
}

TEST(UpdateCrcDnp, AgreesWithTheShiftRegister)
{
    expectReflected(update_crc_dnp, 0xA6BC);
}

TEST(UpdateCrcCcitt, GivesTheKnownAnswers)
{
    EXPECT_EQ(0x31C3, crcOf(update_crc_ccitt, Digits, 0));
    EXPECT_EQ(0x29B1, crcOf(update_crc_ccitt, Digits, 0xFFFF));
}

TEST(UpdateCrcCcitt, AgreesWithTheShiftRegister)
{
    for (const quint16 crc : running16()) {
        for (int c = 0; c < 256; ++c) {
            const unsigned char byte = static_cast<unsigned char>(c);
            ASSERT_EQ(ccittBitwise(crc, byte), update_crc_ccitt(crc, byte)) << crc << " with " << c;
        }
    }
}

TEST(UpdateCrc32, GivesTheKnownAnswer)
{
    EXPECT_EQ(0xCBF43926u, crc32Of(Digits));
    EXPECT_EQ(0u, crc32Of(""));
}

TEST(UpdateCrc32, AgreesWithTheShiftRegister)
{
    for (int i = 0; i < 33; ++i) {
        const quint32 crc = i < 32 ? 1u << i : 0xFFFFFFFFu;
        for (int c = 0; c < 256; ++c) {
            const unsigned char byte = static_cast<unsigned char>(c);
            ASSERT_EQ(reflectedBitwise<quint32>(crc, byte, 0xEDB88320u), update_crc_32(crc, byte))
                << crc << " with " << c;
        }
    }
}

TEST(UpdateCrcSick, ShiftsOnceAndAddsThePairOfBytes)
{
    const struct {
        quint16 crc;
        unsigned char byte;
        unsigned char previous;
        quint16 expected;
    } rows[] = {{0x0000, 0x00, 0x00, 0x0000}, {0x0000, 0x12, 0x34, 0x3412},
                {0x0001, 0x00, 0x00, 0x0002}, {0x4000, 0x00, 0x00, 0x8000},
                {0x8000, 0x00, 0x00, 0x8005}, {0xFFFF, 0x00, 0x00, 0x7FFB},
                {0x8001, 0xFF, 0xFF, 0x7FF8}, {0xC000, 0x05, 0x80, 0x8000}};
    for (const auto &row : rows)
        EXPECT_EQ(row.expected, update_crc_sick(row.crc, row.byte, row.previous)) << row.crc;
}

TEST(UpdateCrcSick, RunsOverATextWithItsPreviousByte)
{
    quint16 crc = 0;
    unsigned char previous = 0;
    for (const char *c = Digits; *c != '\0'; ++c) {
        const unsigned char byte = static_cast<unsigned char>(*c);
        crc = update_crc_sick(crc, byte, previous);
        previous = byte;
    }
    EXPECT_EQ(0xA656, crc);
}

// For ThreadSanitizer: the tables are built on the first call, here by all threads at once.
TEST(CrcTables, AreBuiltOnceHoweverManyThreadsComeFirst)
{
    std::vector<std::thread> threads;
    std::vector<int> wrong(8, 0);
    for (size_t i = 0; i < wrong.size(); ++i) {
        threads.emplace_back([&wrong, i] {
            wrong[i] += crcOf(update_crc_16, Digits, 0) != 0xBB3D;
            wrong[i] += crcOf(update_crc_kermit, Digits, 0) != 0x2189;
            wrong[i] += crcOf(update_crc_dnp, Digits, 0) != 0x157D;
            wrong[i] += crcOf(update_crc_ccitt, Digits, 0) != 0x31C3;
            wrong[i] += crc32Of(Digits) != 0xCBF43926u;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(wrong.size(), 0), wrong);
}

} // namespace
