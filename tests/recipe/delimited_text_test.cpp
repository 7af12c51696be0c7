#include "recipe/delimited_text.h"

#include "tests/recipe/table_file.h"

#include <gtest/gtest.h>

namespace
{

const char Tab[] = "\t";

Table rowsOf(const QString &text, const QString &delimiter = Tab)
{
    DelimitedText reader(text, delimiter);
    Table rows;
    while (!reader.atEnd())
        rows << reader.readRow();
    return rows;
}

QStringList onlyRowOf(const QString &line, const QString &delimiter = Tab)
{
    const Table rows = rowsOf(line + "\n", delimiter);
    EXPECT_EQ(1, rows.size());
    return rows.value(0);
}

// --- fields ---

TEST(DelimitedText, SplitsALineAtTheDelimiter)
{
    EXPECT_EQ(QStringList({"a", "bc", "d"}), onlyRowOf("a\tbc\td"));
}

TEST(DelimitedText, KeepsEmptyFields)
{
    EXPECT_EQ(QStringList({"", "", "b", ""}), onlyRowOf("\t\tb\t"));
}

TEST(DelimitedText, TakesALineWithoutADelimiterAsOneField)
{
    EXPECT_EQ(QStringList("a,b"), onlyRowOf("a,b"));
}

TEST(DelimitedText, KeepsSpaces)
{
    EXPECT_EQ(QStringList({" a ", "  "}), onlyRowOf(" a \t  "));
}

TEST(DelimitedText, SplitsAtADelimiterOfSeveralCharacters)
{
    EXPECT_EQ(QStringList({"a", "b", "c:"}), onlyRowOf("a::b::c:", "::"));
}

TEST(DelimitedText, TakesTheBeginningOfADelimiterAtTheEndOfTheTextAsText)
{
    DelimitedText reader("a:", "::");
    EXPECT_EQ(QStringList("a:"), reader.readRow());
    EXPECT_TRUE(reader.atEnd());
}

TEST(DelimitedText, NeverFindsAnEmptyDelimiter)
{
    EXPECT_EQ(QStringList("abc"), onlyRowOf("abc", ""));
}

TEST(DelimitedText, KeepsNulAndSurrogatesThatStandAlone)
{
    const QString odd = QString(QChar(0)) + QChar(0xD800) + QChar(0xDC00 + 1) + QChar(0xFFFE);
    EXPECT_EQ(QStringList({odd, odd}), onlyRowOf(odd + Tab + odd));
}

// --- quotes ---

struct Quoting {
    const char *line;
    QStringList fields;
};

TEST(DelimitedText, UnderstandsQuotes)
{
    const Quoting quotings[] = {
        {"\"a\"", {"a"}},
        {"\"\"", {""}},
        {"\"a\"\"b\"", {"a\"b"}},
        {"\"\"\"\"", {"\""}},
        {"\"\"\"a\"\"\"", {"\"a\""}},
        {"\"a\tb\"\tc", {"a\tb", "c"}},
        {"a\t\"b\tc\"", {"a", "b\tc"}},
        {"\"\t\"\t\"\"\"\t\"", {"\t", "\"\t"}},
    };
    for (const Quoting &quoting : quotings)
        EXPECT_EQ(quoting.fields, onlyRowOf(quoting.line)) << quoting.line;
}

TEST(DelimitedText, TakesAQuoteInsideAnUnquotedFieldAsText)
{
    EXPECT_EQ(QStringList({"5\" pipe", "b\"", " \"c\""}), onlyRowOf("5\" pipe\tb\"\t \"c\""));
}

TEST(DelimitedText, TakesWhatFollowsAQuotedFieldAsText)
{
    EXPECT_EQ(QStringList({"abc", "d\"e \"f"}), onlyRowOf("\"ab\"c\t\"d\"\"e\" \"f"));
}

TEST(DelimitedText, ContinuesAQuotedFieldOnTheNextLines)
{
    EXPECT_EQ(Table({{"a\n\nb", "c"}, {"d"}}), rowsOf("\"a\n\nb\"\tc\nd\n"));
}

TEST(DelimitedText, TellsOfAQuotedFieldThatIsNeverClosed)
{
    DelimitedText reader("a\nb\t\"c\nd\n\n", Tab);
    reader.readRow();
    EXPECT_FALSE(reader.isOpen());
    reader.readRow();
    EXPECT_TRUE(reader.isOpen());
    EXPECT_TRUE(reader.atEnd());
    EXPECT_EQ(5, reader.line());
}

TEST(DelimitedText, TellsOfAQuoteThatOpensAtTheVeryEnd)
{
    DelimitedText reader("a\t\"", Tab);
    reader.readRow();
    EXPECT_TRUE(reader.isOpen());
    EXPECT_TRUE(reader.atEnd());
}

// --- lines ---

TEST(DelimitedText, CountsLinesAlsoThoseInsideFields)
{
    DelimitedText reader("a\n\"b\n\nc\"\n\n\nd\n", Tab);
    EXPECT_EQ(1, reader.line());
    reader.readRow();
    EXPECT_EQ(2, reader.line());
    reader.readRow();
    EXPECT_EQ(5, reader.line());
    reader.skipEmptyLines();
    EXPECT_EQ(7, reader.line());
    EXPECT_EQ(QStringList("d"), reader.readRow());
    EXPECT_TRUE(reader.atEnd());
}

TEST(DelimitedText, IsAtItsEndBehindEmptyLines)
{
    DelimitedText reader("\n\n\n", Tab);
    EXPECT_FALSE(reader.atEnd());
    reader.skipEmptyLines();
    EXPECT_TRUE(reader.atEnd());
}

TEST(DelimitedText, IsAtItsEndWithoutText)
{
    EXPECT_TRUE(DelimitedText("", Tab).atEnd());
}

TEST(DelimitedText, ShowsTheLastRowAsItStands)
{
    DelimitedText reader("a\n\"b\n\tc\"\td\ne\n", Tab);
    reader.readRow();
    EXPECT_EQ("a", reader.rowText());
    reader.readRow();
    EXPECT_EQ("\"b\n\tc\"\td", reader.rowText());
}

// --- memory ---

TEST(DelimitedText, KeepsARepeatedShortTextOnce)
{
    DelimitedText reader("0123456789abcdef\t\"0123456789abcdef\"\n0123456789abcdef\n", Tab);
    const QStringList first = reader.readRow();
    const QStringList second = reader.readRow();
    EXPECT_EQ(first.at(0).constData(), first.at(1).constData());
    EXPECT_EQ(first.at(0).constData(), second.at(0).constData());
}

TEST(DelimitedText, CountsTheMemoryOfEachTextThatItKeeps)
{
    const QString longer = "0123456789abcdefg";
    DelimitedText reader("a\ta\ta\n" + longer + "\n" + longer + "\n", Tab);
    reader.readRow();
    const qint64 one = reader.bytesOfTexts();
    EXPECT_GT(one, 0);
    reader.readRow();
    const qint64 two = reader.bytesOfTexts();
    reader.readRow();
    EXPECT_EQ(one + 2 * (two - one), reader.bytesOfTexts());
    EXPECT_EQ(2 * (longer.size() - 1), two - one - one);
}

// --- damaged text ---

/// Everything is handed out or belongs to a field that never ends.
void expectToEnd(const QString &text)
{
    DelimitedText reader(text, Tab);
    int rows = 0;
    while (!reader.atEnd() && rows <= text.size()) {
        EXPECT_FALSE(reader.isOpen());
        EXPECT_GE(reader.readRow().size(), 1);
        ++rows;
    }
    EXPECT_TRUE(reader.atEnd()) << qPrintable(text);
    EXPECT_EQ(text.count('\n') + 1, reader.line()) << qPrintable(text);
}

const char Hard[] = "\"a\"\"b\"\tc\n\n\"d\te\n\"\"\nf\"g\t\"\"\nh\t\"\n\"\n";

TEST(DelimitedText, ReadsEveryTruncationToItsEnd)
{
    const QString text = Hard;
    for (int length = 0; length <= text.size(); ++length)
        expectToEnd(text.left(length));
}

TEST(DelimitedText, ReadsEveryChangeOfOneCharacterToItsEnd)
{
    for (const QChar change : QString("\"\t\na")) {
        for (int i = 0; Hard[i] != '\0'; ++i) {
            QString text = Hard;
            text[i] = change;
            expectToEnd(text);
        }
    }
}

} // namespace
