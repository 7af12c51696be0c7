#include "common/txpackage.h"

#include <climits>
#include <type_traits>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace
{

std::string heldBy(const TxPackage &package)
{
    return hexOf(package.byteArrayData());
}

/// The bytes and the size of the only section of a package.
void expectOneSection(const TxPackage &package, const char *expected, int size)
{
    EXPECT_EQ(expected, heldBy(package));
    ASSERT_EQ(1, package.numberOfSections());
    EXPECT_EQ(size, package.sectionSize(0));
    EXPECT_EQ(size, package.appendedBytes());
}

TEST(TxPackage, BeginsEmpty)
{
    const TxPackage package;
    EXPECT_EQ(0, package.totalSize());
    EXPECT_EQ(0, package.numberOfSections());
    EXPECT_EQ(0, package.appendedBytes());
    EXPECT_TRUE(package.byteArrayData().isEmpty());
}

TEST(TxPackage, CannotBeCopied)
{
    EXPECT_FALSE(std::is_copy_constructible<TxPackage>::value);
    EXPECT_FALSE(std::is_copy_assignable<TxPackage>::value);
}

TEST(TxPackage, AppendsAByte)
{
    TxPackage package;
    EXPECT_TRUE(package.appendByte(0xFE));
    expectOneSection(package, "FE", 1);
}

TEST(TxPackage, AppendsAWordLowByteFirst)
{
    TxPackage package;
    EXPECT_TRUE(package.appendWord(0xF234));
    expectOneSection(package, "34 F2", 2);
}

TEST(TxPackage, AppendsADoubleWordLowestByteFirst)
{
    TxPackage package;
    EXPECT_TRUE(package.appendDWord(0xF2345678u));
    expectOneSection(package, "78 56 34 F2", 4);
}

TEST(TxPackage, AppendsAText)
{
    TxPackage package;
    EXPECT_TRUE(package.appendString(QString::fromLatin1("RN\xE4")));
    expectOneSection(package, "52 4E E4", 3);
}

TEST(TxPackage, AppendsAnEmptyTextAsASectionOfNothing)
{
    TxPackage package;
    EXPECT_TRUE(package.appendString(QString()));
    expectOneSection(package, "", 0);
}

TEST(TxPackage, AppendsBytes)
{
    TxPackage package;
    EXPECT_TRUE(package.appendSection(bytes("00 FF 00")));
    expectOneSection(package, "00 FF 00", 3);
}

TEST(TxPackage, AppendsAByteAsTwoUpperCaseDigits)
{
    const struct {
        unsigned char value;
        const char *text;
    } rows[] = {{0x00, "00"}, {0x0A, "0A"}, {0x10, "10"}, {0xC9, "C9"}, {0xFF, "FF"}};
    for (const auto &row : rows) {
        TxPackage package;
        EXPECT_TRUE(package.appendByte2Ascii(row.value));
        expectOneSection(package, hexOf(row.text).c_str(), 2);
    }
}

TEST(TxPackage, AppendsTheSumOfItsBytes)
{
    TxPackage package;
    package.setData(bytes("01 02 03"));
    EXPECT_TRUE(package.appendLRCByte());
    EXPECT_EQ("01 02 03 06", heldBy(package));
    EXPECT_EQ(1, package.sectionSize(0));
    EXPECT_EQ(1, package.appendedBytes());
    EXPECT_TRUE(package.appendLRCByte());
    EXPECT_EQ("01 02 03 06 0C", heldBy(package));
}

TEST(TxPackage, AppendsTheSumAsDigits)
{
    TxPackage package;
    package.setData(bytes("01 02 03"));
    EXPECT_TRUE(package.appendLRCAscii());
    EXPECT_EQ("01 02 03 30 36", heldBy(package));
    EXPECT_EQ(2, package.sectionSize(0));
    EXPECT_EQ(2, package.appendedBytes());
}

TEST(TxPackage, SumsModulo256)
{
    TxPackage package;
    package.setData(bytes("FF FF"));
    package.appendLRCByte();
    EXPECT_EQ("FF FF FE", heldBy(package));
    package.appendLRCAscii(); // FF + FF + FE = 2FC
    EXPECT_EQ("FF FF FE 46 43", heldBy(package));
}

TEST(TxPackage, AppendsTheExclusiveOrAsDigitsWhateverItsArgument)
{
    for (const int ignored : {0, 1, 3, -1, INT_MAX, INT_MIN}) {
        TxPackage package;
        package.setData(bytes("A1 02"));
        EXPECT_TRUE(package.appendFCSAscii(ignored));
        EXPECT_EQ("A1 02 41 33", heldBy(package));
        EXPECT_EQ(2, package.sectionSize(0));
        EXPECT_EQ(2, package.appendedBytes());
    }
}

TEST(TxPackage, CalculatesTheExclusiveOrWithoutTheTail)
{
    TxPackage package;
    package.setData(bytes("01 02 04 F8"));
    const struct {
        int tail;
        int expected;
    } rows[] = {{0, 0xFF}, {1, 0x07},    {2, 0x03},  {3, 0x01},      {4, 0},
                {5, 0},    {INT_MAX, 0}, {-1, 0xFF}, {INT_MIN, 0xFF}};
    for (const auto &row : rows)
        EXPECT_EQ(row.expected, TxPackage::calculateFCS(&package, row.tail)) << row.tail;

    package.setData(bytes("01 02 03"));
    EXPECT_EQ(0, TxPackage::calculateFCS(&package, 0));
}

TEST(TxPackage, HasChecksOfZeroWhenItIsEmpty)
{
    TxPackage package;
    EXPECT_EQ(0, TxPackage::calculateFCS(&package, 0));
    EXPECT_EQ("() : ", package.toString().toStdString());
    EXPECT_TRUE(package.appendLRCByte());
    EXPECT_EQ("00", heldBy(package));
    TxPackage digits;
    digits.appendLRCAscii();
    EXPECT_EQ("30 30", heldBy(digits));
    TxPackage fcs;
    fcs.appendFCSAscii(0);
    EXPECT_EQ("30 30", heldBy(fcs));
}

// ---- Sections -------------------------------------------------------------------------------

/// Sections of 1, 2 and 4 bytes.
void appendThreeSections(TxPackage &package)
{
    package.appendByte(0x01);
    package.appendWord(0x0302);
    package.appendDWord(0x07060504);
}

TEST(TxPackage, KnowsWhereItsSectionsAre)
{
    TxPackage package;
    appendThreeSections(package);
    EXPECT_EQ(3, package.numberOfSections());
    EXPECT_EQ(7, package.totalSize());
    EXPECT_EQ(7, package.appendedBytes());
    EXPECT_EQ(0, package.sectionStartIndex(0));
    EXPECT_EQ(1, package.sectionStartIndex(1));
    EXPECT_EQ(3, package.sectionStartIndex(2));
    EXPECT_EQ("01", hexOf(package.dataAt(0)));
    EXPECT_EQ("02 03", hexOf(package.dataAt(1)));
    EXPECT_EQ("04 05 06 07", hexOf(package.dataAt(2)));
}

TEST(TxPackage, KnowsWhichSectionsItDoesNotHave)
{
    TxPackage package;
    appendThreeSections(package);
    EXPECT_TRUE(package.validSectionNumber(0));
    EXPECT_TRUE(package.validSectionNumber(2));
    for (const int invalid : {-1, 3, INT_MIN, INT_MAX}) {
        EXPECT_FALSE(package.validSectionNumber(invalid)) << invalid;
        EXPECT_EQ(-1, package.sectionStartIndex(invalid)) << invalid;
        EXPECT_EQ(0, package.sectionSize(invalid)) << invalid;
        EXPECT_TRUE(package.dataAt(invalid).isEmpty()) << invalid;
    }
    EXPECT_FALSE(TxPackage().validSectionNumber(0));
}

TEST(TxPackage, ReadsASizeOutOfAnotherSection)
{
    TxPackage package;
    package.setSectionSize({1, 4, -1});
    package.setData(bytes("AA 03 00 00 00 B1 B2 B3 C1"));
    EXPECT_EQ(3, package.sectionSize(2));
    EXPECT_EQ(5, package.sectionStartIndex(2));
    EXPECT_EQ("B1 B2 B3", hexOf(package.dataAt(2)));
}

TEST(TxPackage, ReadsAllFourBytesOfAStoredSize)
{
    TxPackage package;
    package.setSectionSize({0, 5, -1});
    package.setData(bytes("01 02 03 04 FF"));
    EXPECT_EQ(0x04030201, package.sectionSize(2));
    package.setData(bytes("FE FF FF FF 00"));
    EXPECT_EQ(-2, package.sectionSize(2));
}

TEST(TxPackage, ReadsAStoredSizeThatIsCutShort)
{
    TxPackage package;
    package.setSectionSize({0, 4, -1});
    package.setData(bytes("05 01"));
    EXPECT_EQ(0x0105, package.sectionSize(2));
    package.setData(QByteArray());
    EXPECT_EQ(0, package.sectionSize(2));
    EXPECT_TRUE(package.dataAt(2).isEmpty());
}

TEST(TxPackage, ReadsASizeThroughASectionWhoseSizeIsStoredToo)
{
    TxPackage package;
    package.setSectionSize({0, 4, -1, -2});
    package.setData(bytes("04 00 00 00 02 00 00 00 C1 C2"));
    EXPECT_EQ(4, package.sectionSize(2));
    EXPECT_EQ(2, package.sectionSize(3));
}

TEST(TxPackage, SumsNegativeSizesAsTheyAre)
{
    TxPackage package;
    package.setSectionSize({1, 4, -1, 2});
    EXPECT_EQ(4, package.sectionStartIndex(3));
    EXPECT_EQ(6, package.totalSize());
}

TEST(TxPackage, HasNoSizeForSectionsThatReferInACircle)
{
    TxPackage package;
    package.setSectionSize({8, -1, -3, -2, -4});
    for (const int circular : {1, 2, 3, 4})
        EXPECT_EQ(0, package.sectionSize(circular)) << circular;
    EXPECT_EQ(8, package.sectionSize(0));
}

TEST(TxPackage, HasNoSizeForReferencesToSectionsThatAreNotThere)
{
    TxPackage package;
    package.setSectionSize({8, -3, INT_MIN});
    EXPECT_EQ(0, package.sectionSize(1));
    EXPECT_EQ(0, package.sectionSize(2));
}

TEST(TxPackage, TakesItsSizesFromAList)
{
    TxPackage package;
    package.appendDWord(0x04030201);
    package.setSectionSize({1, 2});
    EXPECT_EQ(2, package.numberOfSections());
    EXPECT_EQ("01 02 03", heldBy(package));
    EXPECT_EQ(4, package.appendedBytes());
    package.setSectionSize({2, 4});
    EXPECT_EQ(6, package.totalSize());
    package.setSectionSize(QList<int>());
    EXPECT_EQ(0, package.totalSize());
    EXPECT_EQ(0, package.numberOfSections());
}

TEST(TxPackage, HoldsNothingForSizesThatSumUpBelowZero)
{
    TxPackage package;
    package.appendByte(1);
    package.setSectionSize({1, -5});
    EXPECT_EQ(0, package.totalSize());
}

// ---- The bytes ------------------------------------------------------------------------------

TEST(TxPackage, ReplacesItsBytesOnly)
{
    TxPackage package;
    appendThreeSections(package);
    EXPECT_TRUE(package.setData(bytes("0A 0B")));
    EXPECT_EQ("0A 0B", heldBy(package));
    EXPECT_EQ(2, package.totalSize());
    EXPECT_EQ(3, package.numberOfSections());
    EXPECT_EQ(7, package.appendedBytes());

    EXPECT_TRUE(package.setData("\x0C\x00\x0D\x0E", 3));
    EXPECT_EQ("0C 00 0D", heldBy(package));
    EXPECT_EQ(3, package.numberOfSections());
    EXPECT_EQ(7, package.appendedBytes());

    EXPECT_TRUE(package.setData("", 0));
    EXPECT_EQ(0, package.totalSize());
}

TEST(TxPackage, LetsItsBytesBeWrittenWithoutTouchingCopies)
{
    TxPackage package;
    package.appendWord(0x0201);
    const QByteArray copy = package.byteArrayData();
    package.data()[0] = '\x7F';
    EXPECT_EQ("7F 02", heldBy(package));
    EXPECT_EQ("01 02", hexOf(copy));
}

TEST(TxPackage, ForgetsEverything)
{
    TxPackage package;
    appendThreeSections(package);
    package.clearAll();
    EXPECT_EQ(0, package.totalSize());
    EXPECT_EQ(0, package.numberOfSections());
    EXPECT_EQ(0, package.appendedBytes());
    appendThreeSections(package);
    EXPECT_EQ(7, package.appendedBytes());
}

TEST(TxPackage, ReadsOneByteOfAnArrayAsAnInteger)
{
    EXPECT_EQ(0, TxPackage::arrayToInt(QByteArray()));
    EXPECT_EQ(0x12, TxPackage::arrayToInt(bytes("12 34 56 78")));
    EXPECT_EQ(0xFF, TxPackage::arrayToInt(bytes("FF")));
}

TEST(TxPackage, ShowsItsBytesAndItsText)
{
    TxPackage package;
    package.setData(bytes("41 0A FF 00 42"));
    EXPECT_EQ(QString::fromLatin1("(0X41 0Xa 0Xff 0X0 0X42 ) : A\n\xFF") + QChar(0) +
                  QLatin1Char('B'),
              package.toString());
}

} // namespace
