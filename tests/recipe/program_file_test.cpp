// Rows and names of program files, without any file.

#include "recipe/program_file.h"

#include "common/qtcompat.h"
#include "tests/support/bytes.h"

#include <QTextCodec>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace
{

using testing::IsEmpty;

const NarrowCodec &big5()
{
    static const NarrowCodec codec(Program::LabelCodec);
    return codec;
}

// ---- Step commands -------------------------------------------------------------------------

TEST(StepCommands, AreOneForEachStep)
{
    const QList<CommunicatorCommand> steps = Program::stepCommands();
    ASSERT_EQ(32, steps.size());
    EXPECT_EQ("NA1000", steps.at(0).address);
    EXPECT_EQ("NA1020", steps.at(1).address);
    EXPECT_EQ("NA1040", steps.at(2).address);
    EXPECT_EQ("NA11e0", steps.at(15).address);
    EXPECT_EQ("NA13e0", steps.at(31).address);
    for (const CommunicatorCommand &step : steps) {
        EXPECT_EQ(3, step.dataType);
        EXPECT_EQ(24, step.length);
        EXPECT_EQ(96, step.getDataSize());
        EXPECT_EQ(1, step.number);
        EXPECT_EQ("", step.address2);
    }
}

// ---- Names ---------------------------------------------------------------------------------

TEST(ProgramNames, CarryTheNumberInDecimal)
{
    EXPECT_EQ("PROG_0.txt", Program::fileName(0));
    EXPECT_EQ("PROG_5.txt", Program::fileName(5));
    EXPECT_EQ("PROG_-1.txt", Program::fileName(-1));
    EXPECT_EQ("PROG_2147483647.txt", Program::fileName(2147483647));
    EXPECT_EQ(QStringList({"PROG_5.txt", "PROG_5_*.txt"}), Program::fileNameFilters(5));
}

TEST(ProgramNames, OfErrorLogsTellTheDirection)
{
    EXPECT_EQ("READ_PROG_5_ERROR.txt", Program::errorLogName(Program::Transfer::Export, 5));
    EXPECT_EQ("WRITE_PROG_5_ERROR.txt", Program::errorLogName(Program::Transfer::Import, 5));
    EXPECT_EQ("READ_PROG_-3_ERROR.txt", Program::errorLogName(Program::Transfer::Export, -3));
}

// ---- Labels --------------------------------------------------------------------------------

const char *const Header[] = {" ",
                              "設定溫度",
                              "設定時間(時)",
                              "設定時間(分)",
                              "設定時間(秒)",
                              "G. SOAK +",
                              "G. SOAK  -",
                              "PID 群組",
                              "Empty",
                              "EVENT1 機械泵ON",
                              "EVENT2 粗抽閥",
                              "EVENT3 魯式ON",
                              "EVENT4 備壓",
                              "EVENT5 氮氣分壓",
                              "EVENT6 加熱",
                              "EVENT7 混合氣分壓",
                              "EVENT8 測漏",
                              "EVENT9 脈衝換氣",
                              "EVENT10",
                              "EVENT11",
                              "EVENT12",
                              "DI1",
                              "DI2",
                              "DI3 程式結束",
                              "DI4 真空未達 HOLD"};

TEST(ProgramHeader, HasALabelForEachField)
{
    const QStringList row = Program::headerRow(big5());
    ASSERT_EQ(25, row.size());
    for (int i = 0; i < row.size(); ++i)
        EXPECT_EQ(QString::fromUtf8(Header[i]), row.at(i)) << i;
}

// What the source holds is what the codec makes of the labels, byte for byte.
TEST(ProgramHeader, IsKeptInBig5)
{
    const NarrowCodec none("no such codec");
    const QStringList row = Program::headerRow(none);
    ASSERT_EQ(25, row.size());
    QTextCodec *const codec = QTextCodec::codecForName("Big5");
    ASSERT_NE(nullptr, codec);
    for (int i = 0; i < row.size(); ++i) {
        const QByteArray expected = codec->fromUnicode(QString::fromUtf8(Header[i]));
        EXPECT_EQ(hexOf(expected), hexOf(row.at(i).toLatin1())) << i;
    }
}

TEST(ProgramHeader, IsLatin1WithoutTheCodec)
{
    const NarrowCodec none("no such codec");
    EXPECT_EQ(QString::fromLatin1("\xB3]\xA9w\xB7\xC5\xAB\xD7"), Program::headerRow(none).at(1));
    EXPECT_EQ(QString::fromLatin1("\xB5{\xA7\xC7") + "7", Program::templateRow(none, 7).first());
}

// ---- Rows of an export ---------------------------------------------------------------------

TEST(StepRow, HasALabelAndTheValuesInTheirOrder)
{
    QByteArray values;
    for (int i = 0; i < 24; ++i)
        values.append(bytes("00 00 00 00").replace(0, 1, QByteArray(1, char(i + 1))));
    QStringList expected(QString::fromUtf8("程序32"));
    for (int i = 1; i <= 24; ++i)
        expected << QString::number(i);
    EXPECT_EQ(expected, Program::stepRow(big5(), 32, values));
}

TEST(StepRow, TellsAllBitsOfAValue)
{
    const struct {
        const char *bytes;
        const char *text;
    } rows[] = {{"00 00 00 00", "0"},          {"78 56 34 12", "305419896"},
                {"70 11 01 00", "70000"},      {"FF FF FF 7F", "2147483647"},
                {"00 00 00 80", "2147483648"}, {"FF FF FF FF", "4294967295"}};
    for (const auto &row : rows) {
        const QByteArray values = bytes(row.bytes).repeated(24);
        EXPECT_EQ(row.text, Program::stepRow(big5(), 1, values).at(1));
        EXPECT_EQ(row.text, Program::stepRow(big5(), 1, values).at(24));
    }
}

TEST(TemplateRow, IsZeros)
{
    QStringList expected(QString::fromUtf8("程序3"));
    for (int i = 0; i < 24; ++i)
        expected << "0";
    EXPECT_EQ(expected, Program::templateRow(big5(), 3));
}

// ---- Rows of an import ---------------------------------------------------------------------

QStringList rowOf(const QString &value)
{
    QStringList row("a label");
    for (int i = 0; i < 24; ++i)
        row << value;
    return row;
}

TEST(StepBlock, HasFourBytesAValueOfWhichTheThirdIsZero)
{
    const struct {
        const char *text;
        const char *bytes;
    } rows[] = {{"0", "00 00 00 00"},          {"255", "FF 00 00 00"},
                {"65535", "FF FF 00 00"},      {"65536", "00 00 00 00"},
                {"70000", "70 11 00 00"},      {"305419896", "78 56 00 12"},
                {"4294967295", "FF FF 00 FF"}, {"007", "07 00 00 00"}};
    for (const auto &row : rows) {
        QStringList errors;
        EXPECT_EQ(hexOf(bytes(row.bytes).repeated(24)),
                  hexOf(Program::stepBlock(rowOf(row.text), 0, &errors)))
            << row.text;
        EXPECT_THAT(errors, IsEmpty()) << row.text;
    }
}

TEST(StepBlock, KeepsTheOrderOfTheFields)
{
    QStringList row("label");
    QByteArray expected;
    for (int i = 1; i <= 24; ++i) {
        row << QString::number(i);
        expected.append(char(i)).append("\0\0\0", 3);
    }
    QStringList errors;
    EXPECT_EQ(hexOf(expected), hexOf(Program::stepBlock(row, 0, &errors)));
}

TEST(StepBlock, DoesNotLookAtTheLabelOrBeyondTheFields)
{
    QStringList row = rowOf("1");
    row[0] = "";
    row << "not a number";
    QStringList errors;
    EXPECT_EQ(96, Program::stepBlock(row, 0, &errors).size());
    EXPECT_THAT(errors, IsEmpty());
}

class InvalidValue : public testing::TestWithParam<const char *>
{
};

TEST_P(InvalidValue, IsReportedWithItsPlace)
{
    const QString text = QString::fromUtf8(GetParam());
    QStringList row = rowOf("1");
    row[3] = text;
    QStringList errors;
    Program::stepBlock(row, 0, &errors);
    EXPECT_EQ(QStringList("The value [" + text +
                          "] at row 0 and column 3 is invalid, please check it.\n"),
              errors);
}

INSTANTIATE_TEST_SUITE_P(Texts, InvalidValue,
                         testing::Values("", " ", "-1", "+1", "1.5", " 7", "7 ", "1e3", "0x10",
                                         "4294967296", "99999999999999999999999", "1,000", "abc",
                                         "７", "٣", "%1", "%2 %3"));

TEST(InvalidValues, AreAllReported)
{
    QStringList errors;
    Program::stepBlock(rowOf("x"), 31, &errors);
    ASSERT_EQ(24, errors.size());
    EXPECT_EQ("The value [x] at row 31 and column 1 is invalid, please check it.\n",
              errors.first());
    EXPECT_EQ("The value [x] at row 31 and column 24 is invalid, please check it.\n",
              errors.last());
}

TEST(InvalidValues, AreThoseThatAShortRowLacks)
{
    QStringList row = rowOf("1");
    row.removeLast();
    QStringList errors;
    Program::stepBlock(row, 2, &errors);
    EXPECT_EQ(QStringList("The value [] at row 2 and column 24 is invalid, please check it.\n"),
              errors);
    errors.clear();
    Program::stepBlock(QStringList(), 2, &errors);
    EXPECT_EQ(24, errors.size());
}

// ---- There and back ------------------------------------------------------------------------

TEST(ProgramRows, ComeBackButForTheBitsThatAreNotSent)
{
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        QByteArray values;
        for (int i = 0; i < Program::StepSize; ++i)
            values.append(static_cast<char>(random() & 0xFF));
        QByteArray expected = values;
        for (int i = 2; i < expected.size(); i += 4)
            expected[i] = 0;
        QStringList errors;
        ASSERT_EQ(expected, Program::stepBlock(Program::stepRow(big5(), 1, values), 0, &errors));
        ASSERT_THAT(errors, IsEmpty());
    }
}

// Whatever a field holds, it is taken or reported.
TEST(ProgramRows, OfAnyTextAreTakenOrReported)
{
    std::mt19937 random(2);
    const QString alphabet = QString::fromUtf8("01234567899 -.%１");
    for (int round = 0; round < 2000; ++round) {
        QStringList row("label");
        for (int i = 0; i < 24; ++i) {
            QString text;
            for (auto length = random() % 12; length > 0; --length)
                text += alphabet.at(static_cast<int>(random()) & 0xF);
            row << text;
        }
        QStringList errors;
        const QByteArray block = Program::stepBlock(row, 0, &errors);
        ASSERT_EQ(96, block.size());
        for (int i = 1; i <= 24; ++i) {
            const QString message = QString("The value [%1] at row").arg(row.at(i));
            const QString place = QString("column %1 is").arg(i);
            bool reported = false;
            for (const QString &error : errors)
                reported = reported || (error.startsWith(message) && error.contains(place));
            bool digits = !row.at(i).isEmpty();
            for (const QChar c : row.at(i))
                digits = digits && c >= '0' && c <= '9';
            const bool valid = digits && row.at(i).toULongLong() <= 0xFFFFFFFFU;
            ASSERT_NE(valid, reported) << qPrintable(row.at(i));
        }
    }
}

} // namespace
