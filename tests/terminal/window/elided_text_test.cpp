#include "terminal/window/elided_text.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>

#include <gtest/gtest.h>

#include <ctime>

#include "terminal/window/theme.h"

namespace
{

const int Lines = 3;

/// Pixels that are no background.
int inkOf(const QImage &image)
{
    int ink = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            ink += image.pixel(x, y) != image.pixel(0, 0);
    }
    return ink;
}

class ElidedTextTest : public testing::Test
{
protected:
    ElidedTextTest() : m_widget(Lines)
    {
        m_widget.setFont(Theme::fontFor(QSize(800, 480)));
        m_widget.resize(260, m_widget.sizeHint().height());
    }

    void expectEachLineFits() const
    {
        for (const QString &line : m_widget.visibleLines())
            EXPECT_LE(m_widget.fontMetrics().horizontalAdvance(line), m_widget.width())
                << line.toStdString();
        EXPECT_LE(m_widget.visibleLines().size() * m_widget.fontMetrics().lineSpacing(),
                  m_widget.height());
    }

    ElidedText m_widget;
};

TEST_F(ElidedTextTest, ShowsAShortTextAsItIs)
{
    m_widget.setText("Last error: none");
    EXPECT_EQ(QStringList("Last error: none"), m_widget.visibleLines());
}

TEST_F(ElidedTextTest, ShowsNothingForNoText)
{
    m_widget.setText("");
    EXPECT_EQ("", m_widget.visibleLines().join(""));
    m_widget.grab();
}

TEST_F(ElidedTextTest, CutsNothingOffAnUnderscore)
{
    QImage whole(100, 100, QImage::Format_ARGB32);
    whole.fill(m_widget.palette().color(QPalette::Window));
    QPainter painter(&whole);
    painter.setFont(m_widget.font());
    painter.setPen(m_widget.palette().color(QPalette::WindowText));
    painter.drawText(0, 50, "_");
    painter.end();

    ElidedText one(1);
    one.setFont(m_widget.font());
    one.setText("_");
    one.resize(100, one.sizeHint().height());
    EXPECT_GT(inkOf(whole), 0);
    EXPECT_EQ(inkOf(whole), inkOf(one.grab().toImage()));
}

TEST_F(ElidedTextTest, WrapsWhatIsLonger)
{
    const QString text = "read station id#3 start address 00000020:DMC50 no response";
    m_widget.setText(text);
    EXPECT_GT(m_widget.visibleLines().size(), 1);
    EXPECT_EQ(text, m_widget.visibleLines().join(""));
    expectEachLineFits();
}

TEST_F(ElidedTextTest, EndsInAnEllipsisWhatIsTooLong)
{
    m_widget.setText(QString("lorem ipsum dolor ").repeated(100));
    EXPECT_EQ(Lines, m_widget.visibleLines().size());
    EXPECT_TRUE(m_widget.visibleLines().last().endsWith(QChar(0x2026)));
    expectEachLineFits();
}

TEST_F(ElidedTextTest, BreaksAWordThatFitsInNoLine)
{
    m_widget.setText(QString(1000, 'W'));
    EXPECT_EQ(Lines, m_widget.visibleLines().size());
    expectEachLineFits();
}

TEST_F(ElidedTextTest, FitsIntoWhateverRoomItGets)
{
    m_widget.setText(QString("lorem ipsum dolor ").repeated(100));
    for (const QSize size : {QSize(40, 18), QSize(41, 100), QSize(1000, 18), QSize(260, 35)}) {
        m_widget.resize(size);
        expectEachLineFits();
    }
}

TEST_F(ElidedTextTest, TakesLineEndsForBlanks)
{
    m_widget.setText("one\r\ntwo\tthree\n");
    EXPECT_EQ("one two three", m_widget.text());
}

TEST_F(ElidedTextTest, OffersTheWholeAsAToolTipWithoutMarkup)
{
    m_widget.setText("<img src=x> & more");
    EXPECT_EQ("<p>&lt;img src=x&gt; &amp; more</p>", m_widget.toolTip());
}

TEST_F(ElidedTextTest, IsQuickWithAMegabyte)
{
    const std::clock_t begin = std::clock();
    m_widget.setText(QString("x y ").repeated(250000));
    m_widget.grab();
    EXPECT_LT(double(std::clock() - begin) / CLOCKS_PER_SEC, 1.0);
    EXPECT_LE(m_widget.text().size(), 2000);
}

TEST_F(ElidedTextTest, SurvivesHostileTexts)
{
    for (const QString &text :
         {QString(QChar(0)), QString(QChar(0x202E)) + "txt.exe", QString(QChar(0xD800)),
          QString::fromUtf8("שלום עולם"), QString("e") + QString(500, QChar(0x0301))}) {
        m_widget.setText(text);
        m_widget.grab();
        EXPECT_LE(m_widget.visibleLines().size(), Lines);
    }
}

} // namespace
