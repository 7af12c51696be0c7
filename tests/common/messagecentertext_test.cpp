#include "common/messagecentertext.h"

#include <QFontMetrics>

#include <gtest/gtest.h>

#include <ctime>

namespace
{

const int Width = 300;
const int Lines = 4;
const QChar Ellipsis(0x2026);

QFont font()
{
    QFont font("DejaVu Sans");
    font.setPointSize(8);
    font.setBold(true);
    return font;
}

MessageLines cut(const QString &message, int width = Width, int count = Lines)
{
    return messageLines(message, font(), width, count);
}

/// All lines, title first, separated by "|".
QString shown(const QString &message, int width = Width, int count = Lines)
{
    const MessageLines lines = cut(message, width, count);
    return lines.title + "|" + lines.text.join("|");
}

/// Lines that fit, and no more than asked for.
void expectToFit(const MessageLines &lines, int width, int count)
{
    EXPECT_LE(lines.text.size() + (lines.title.isEmpty() ? 0 : 1), count);
    const QFontMetrics metrics((font()));
    for (const QString &line : lines.text + QStringList(lines.title))
        EXPECT_LE(metrics.horizontalAdvance(line), width) << qPrintable(line);
}

TEST(MessageLines, AreTitleAndText)
{
    EXPECT_EQ(QString("DMC50|The stick is full."), shown("DMC50\nThe stick is full."));
}

TEST(MessageLines, AreTextAloneWithoutALineBreak)
{
    EXPECT_EQ(QString("|The stick is full."), shown("The stick is full."));
}

TEST(MessageLines, AreTextAloneWithAnEmptyTitle)
{
    EXPECT_EQ(QString("|The stick is full.|Pull it."), shown("\nThe stick is full.\nPull it."));
}

TEST(MessageLines, AreATitleShownAsTextWithAnEmptyText)
{
    EXPECT_EQ(QString("|DMC50"), shown("DMC50\n"));
}

TEST(MessageLines, AreNoneForAnEmptyMessage)
{
    for (const char *const message : {"", "\n", "\n\n\n", " \t \n ", "\r\n\x01\x02"})
        EXPECT_EQ(QString("|"), shown(message));
}

TEST(MessageLines, AreNoneWithoutRoom)
{
    EXPECT_EQ(QString("|"), shown("Title\ntext", 0, 4));
    EXPECT_EQ(QString("|"), shown("Title\ntext", -1, 4));
    EXPECT_EQ(QString("|"), shown("Title\ntext", 300, 0));
    EXPECT_EQ(QString("|"), shown("Title\ntext", 300, -1));
}

TEST(MessageLines, AreTheTitleWhenThereIsRoomForOne)
{
    EXPECT_EQ(QString("Title|"), shown("Title\ntext", Width, 1));
    EXPECT_EQ(QString("|text"), shown("text", Width, 1));
}

TEST(MessageLines, KeepTheLinesOfTheText)
{
    EXPECT_EQ(QString("T|a|b|c"), shown("T\na\nb\nc"));
}

TEST(MessageLines, JoinTheLinesThatHaveNoRoomOfTheirOwn)
{
    EXPECT_EQ(QString("T|a|b|c d e"), shown("T\na\nb\nc\nd\ne"));
}

TEST(MessageLines, LeaveOutEmptyLines)
{
    EXPECT_EQ(QString("T|a|b"), shown("T\n\n\n\na\n \n\t\n\r\nb\n\n"));
}

TEST(MessageLines, KnowEveryKindOfLineBreak)
{
    const QString separators = QString("T\ra\r\nb") + QChar(QChar::LineSeparator) + "c" +
                               QChar(QChar::ParagraphSeparator) + "d";
    EXPECT_EQ(QString("T|a|b|c|d"), shown(separators, Width, 5));
}

TEST(MessageLines, WrapAtWords)
{
    const MessageLines lines = cut("T\n" + QString("word ").repeated(20));
    ASSERT_GT(lines.text.size(), 1);
    for (const QString &line : lines.text) {
        EXPECT_TRUE(line.startsWith("word"));
        EXPECT_TRUE(line.endsWith("word"));
    }
    EXPECT_EQ(QString("word ").repeated(20).trimmed(), lines.text.join(" "));
    expectToFit(lines, Width, Lines);
}

TEST(MessageLines, WrapAWordThatIsLongerThanALine)
{
    const MessageLines lines = cut("T\n" + QString(70, 'W'));
    EXPECT_EQ(QString(70, 'W'), lines.text.join(""));
    EXPECT_GT(lines.text.size(), 1);
    expectToFit(lines, Width, Lines);
}

TEST(MessageLines, ElideWhatDoesNotFit)
{
    const MessageLines lines = cut(QString(1000, 'T') + "\n" + QString("word ").repeated(1000));
    EXPECT_TRUE(lines.title.endsWith(Ellipsis));
    ASSERT_EQ(3, lines.text.size());
    EXPECT_FALSE(lines.text.at(1).endsWith(Ellipsis));
    EXPECT_TRUE(lines.text.at(2).endsWith(Ellipsis));
    expectToFit(lines, Width, Lines);
}

TEST(MessageLines, ElideNothingThatFits)
{
    EXPECT_FALSE(shown("Title\n" + QString("word ").repeated(20)).contains(Ellipsis));
}

TEST(MessageLines, FitInEveryWidth)
{
    const QString message =
        "A title of some words\n" + QString("word ").repeated(50) + QString(200, 'W');
    for (int width = 20; width < 800; width += 13) {
        for (int count = 1; count <= 6; ++count)
            expectToFit(cut(message, width, count), width, count);
    }
}

TEST(MessageLines, ArePlainText)
{
    EXPECT_EQ(QString("<b>T</b>|<h1>&amp; & &lt;</h1>"), shown("<b>T</b>\n<h1>&amp; & &lt;</h1>"));
}

TEST(MessageLines, HoldNoControlCharacters)
{
    QString message("T\n");
    for (ushort code = 0; code < 0xA0; ++code) {
        if (code != '\n' && code != '\r' && QChar(code).category() == QChar::Other_Control)
            message += QChar(code);
    }
    EXPECT_EQ(QString("T|a b"), shown(message + "a\tb"));
    EXPECT_EQ(QString("T|a b"), shown("T\na" + QString(QChar(0)) + "b"));
}

TEST(MessageLines, HoldNothingThatTurnsTheDirection)
{
    const ushort marks[] = {0x200E, 0x200F, 0x202A, 0x202B, 0x202C, 0x202D, 0x202E,
                            0x2066, 0x2067, 0x2068, 0x2069, 0x061C, 0xFEFF, 0x00AD};
    for (const ushort mark : marks)
        EXPECT_EQ(QString("T|ab"), shown(QString("T\na") + QChar(mark) + "b")) << mark;
}

TEST(MessageLines, KeepWhatJoinsLetters)
{
    const QString joined = QString("a") + QChar(0x200D) + "b" + QChar(0x200C) + "c";
    EXPECT_EQ("T|" + joined, shown("T\n" + joined));
}

TEST(MessageLines, KeepLettersFromRightToLeft)
{
    const QString hebrew = QString::fromUtf8("שלום עולם");
    EXPECT_EQ("T|" + hebrew, shown("T\n" + hebrew));
}

TEST(MessageLines, BearBrokenCharacters)
{
    const QString message = QString("T\n") + QChar(0xD800) + "a" + QChar(0xDC00) + QChar(0xFFFF);
    expectToFit(cut(message), Width, Lines);
    EXPECT_EQ(QString("T"), cut(message).title);
}

TEST(MessageLines, BearPilesOfAccents)
{
    expectToFit(cut("T\na" + QString(100000, QChar(0x0301))), Width, Lines);
}

TEST(MessageLines, FindTheTextBehindMuchThatShowsNothing)
{
    EXPECT_EQ(QString("|end"), shown(QString(100000, '\n') + "end"));
    EXPECT_EQ(QString("T|end"), shown("T\n" + QString(100000, ' ') + "end"));
    EXPECT_EQ(QString("T|end"), shown("T\n" + QString(100000, QChar(0x202E)) + "end"));
}

TEST(MessageLines, KeepALongLineTogetherWhateverBlanksItBeginsWith)
{
    // As long as what is laid out at once: a break there would make a title of the first half.
    EXPECT_EQ(QString("|end"), shown(QString(5000, ' ') + "end"));
    EXPECT_EQ(QString("|a b"), shown("a" + QString(5000, ' ') + "b"));
}

TEST(MessageLines, TakeNoLongerForAMegabyteThanAnOperatorNotices)
{
    // The processor's time, which other programs do not take from this one.
    const std::clock_t start = std::clock();
    expectToFit(cut("T\n" + QString("word ").repeated(200000)), Width, Lines);
    expectToFit(cut("T\n" + QString(1000000, 'W')), Width, Lines);
    expectToFit(cut(QString("word\n").repeated(200000)), Width, Lines);
    EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 5);
}

} // namespace
