// What the saver writes, the loader reads back identically, for every text. Carriage returns are
// the exception: files are read in text mode, which drops them.

#include "recipe/zcsvloader.h"

#include "tests/recipe/table_file.h"

#include <QFile>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace
{

typedef std::function<void(ZCSVSaver &, ZCSVLoader &)> SetUp;

void asTheyAre(ZCSVSaver &, ZCSVLoader &) {}

void withCommas(ZCSVSaver &saver, ZCSVLoader &loader)
{
    saver.setFileFormat(ZCSVInterface::CSVFormat);
    loader.setFileFormat(ZCSVInterface::CSVFormat);
}

void withLongDelimiters(ZCSVSaver &saver, ZCSVLoader &loader)
{
    saver.setDelimiter("a,");
    loader.setDelimiter("a,");
}

void quoteAlways(ZCSVSaver &saver, ZCSVLoader &)
{
    saver.setQuoteWhenNeeded(false);
}

void inUtf8(ZCSVSaver &saver, ZCSVLoader &loader)
{
    saver.setCodec(QTextCodec::codecForName("UTF-8"));
    loader.setCodec(QTextCodec::codecForName("UTF-8"));
}

Table withoutCarriageReturns(Table rows)
{
    for (QStringList &row : rows)
        row.replaceInStrings("\r", "");
    return rows;
}

QString codesOf(const Table &rows)
{
    QString codes;
    for (const QStringList &row : rows) {
        for (const QString &field : row) {
            for (const QChar character : field)
                codes += QString::number(character.unicode(), 16) + " ";
            codes += "| ";
        }
        codes += "/ ";
    }
    return codes;
}

/// Whether a table comes back; the message shows the codes of its characters when it does not.
testing::AssertionResult comesBack(const Table &rows, const SetUp &setUp = asTheyAre)
{
    static const TableFile file; // in one folder: the loader stores each new one
    ZCSVSaver saver(nullptr);
    ZCSVLoader loader(nullptr);
    setUp(saver, loader);
    const bool done = saver.saveFile(rows, file.path()) && loader.openFile(file.path());
    const Table read = done ? loader.fileContent() : Table();
    QFile::remove(file.path()); // some file systems wait for the disk when a file is replaced
    if (done && read == withoutCarriageReturns(rows))
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "wrote " << qPrintable(codesOf(rows)) << "\nread " << qPrintable(codesOf(read))
           << "\nsays " << qPrintable(loader.errorMessageList().join("\n"));
}

/// What quoting, lines, encodings and their marks may trip over.
const ushort Characters[] = {'"',    '"',    '\t',   '\n',   ',',    '\r',   'a',
                             ' ',    0,      0xFEFF, 0xFFFE, 0xFFFF, 0xD800, 0xDBFF,
                             0xDC00, 0xDFFF, 0x7A0B, 0x2028, 0x0D0A, 0x0A0D, 0x0900};

class Tables
{
public:
    Tables() : m_engine(20) {}

    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(m_engine); }

    QString text(int longest)
    {
        QString text;
        for (int left = upTo(longest); left > 0; --left)
            text += QChar(Characters[upTo(sizeof Characters / sizeof *Characters - 1)]);
        return text;
    }

    /// At least two rows of at least two columns: fewer of them the loader does not take for a
    /// table, and a row of one empty field is an empty line.
    Table table(int longestText)
    {
        const int columns = 2 + upTo(4);
        Table rows;
        for (int left = 2 + upTo(4); left > 0; --left) {
            QStringList row;
            while (row.size() < columns)
                row << text(longestText);
            rows << row;
        }
        return rows;
    }

private:
    std::mt19937 m_engine;
};

void expectTablesComeBack(const SetUp &setUp)
{
    Tables tables;
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(comesBack(tables.table(i % 20), setUp)) << "table " << i;
}

TEST(ZCSVRoundTrip, BringsBackEveryTable)
{
    expectTablesComeBack(asTheyAre);
}

TEST(ZCSVRoundTrip, BringsBackEveryTableWithCommas)
{
    expectTablesComeBack(withCommas);
}

TEST(ZCSVRoundTrip, BringsBackEveryTableWithLongDelimiters)
{
    expectTablesComeBack(withLongDelimiters);
}

TEST(ZCSVRoundTrip, BringsBackEveryTableWithEveryFieldQuoted)
{
    expectTablesComeBack(quoteAlways);
}

TEST(ZCSVRoundTrip, BringsBackEveryCharacter)
{
    Table rows;
    for (int high = 0; high < 256; ++high) {
        QStringList row;
        for (int low = 0; low < 256; ++low)
            row << QString(QChar(static_cast<ushort>(high * 256 + low)));
        rows << row;
    }
    EXPECT_TRUE(comesBack(rows));
    EXPECT_TRUE(comesBack(rows, quoteAlways));
}

void expectAtTheBeginning(int code)
{
    const QString first(QChar(static_cast<ushort>(code)));
    EXPECT_TRUE(comesBack({{first, "b"}, {"c", first}}));
    EXPECT_TRUE(comesBack({{first + QChar(0), "b"}, {"c", "d"}}));
}

// The file may begin with what looks like the mark of another encoding.
TEST(ZCSVRoundTrip, BringsBackCharactersAtTheBeginningOfTheFile)
{
    for (const ushort code : Characters)
        expectAtTheBeginning(code);
    for (int code = 0; code < 0x100; ++code)
        expectAtTheBeginning(code);
    for (int code = 0; code <= 0xFFFF; code += 0xFD)
        expectAtTheBeginning(code);
}

/// All texts of a length over an alphabet.
QStringList allTexts(const QString &alphabet, int length)
{
    if (length == 0)
        return {QString()};
    QStringList texts;
    for (const QString &text : allTexts(alphabet, length - 1)) {
        for (const QChar character : alphabet)
            texts << text + character;
    }
    return texts;
}

TEST(ZCSVRoundTrip, BringsBackAllShortTextsInEveryPlace)
{
    for (int length = 0; length <= 5; ++length) {
        Table rows;
        for (const QString &text : allTexts("\"\t\n,a", length))
            rows << QStringList({text, "", text}) << QStringList({"", text, ""});
        EXPECT_TRUE(comesBack(rows));
        EXPECT_TRUE(comesBack(rows, withCommas));
        EXPECT_TRUE(comesBack(rows, withLongDelimiters));
    }
}

TEST(ZCSVRoundTrip, BringsBackAllShortTextsInTheHeader)
{
    for (const QString &text : allTexts("\"\t\na", 4)) {
        ASSERT_TRUE(comesBack({{text, "b"}, {"c", "d"}}));
        ASSERT_TRUE(comesBack({{"a long name of a column", text}, {"c", "d"}}));
    }
}

TEST(ZCSVRoundTrip, BringsBackASingleColumn)
{
    EXPECT_TRUE(comesBack({{"Name"}, {"a\tb"}, {"\""}, {"c\n"}, {" "}}));
    EXPECT_TRUE(comesBack({{"Name"}, {""}, {"a"}}, quoteAlways));
}

TEST(ZCSVRoundTrip, BringsBackTextsThatAreLongerThanAnyBuffer)
{
    Tables tables;
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(comesBack(tables.table(50000)));
}

TEST(ZCSVRoundTrip, BringsBackRealTextInAnotherEncoding)
{
    EXPECT_TRUE(comesBack({{"\u7a0b\u5e8f", "\u00e4\t\"\n"}, {"\U0001F525", ""}}, inUtf8));
}

} // namespace
