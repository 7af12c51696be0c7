#include "terminal/window/trend_view.h"

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "terminal/window/tag_table_model.h"
#include "terminal/window/theme.h"
#include "tests/terminal/window/tag_views.h"

namespace
{

const qint64 Begin = 1000000;
const qint64 StaleAfter = 5000;
const int Second = 1000;

class TrendViewTest : public testing::Test
{
protected:
    TrendViewTest()
    {
        m_trend.setFont(Theme::fontFor(QSize(800, 480)));
        m_trend.resize(480, 160);
        m_trend.show();
    }

    void record(int pen, qint64 at, quint32 value, TagState state = TagState::Ok)
    {
        m_trend.record(pen, tagView("a", "NA20", {value}, state, 0), at, StaleAfter);
        m_trend.setNow(at);
    }

    /// Whether there is ink of a pen in a column of the plot.
    bool hasInk(qint64 at, int pen)
    {
        const QImage picture = m_trend.grab().toImage();
        const int x = qRound(m_trend.position({at, 0}).x());
        for (int y = m_trend.plotArea().top(); y < m_trend.plotArea().bottom() - 1; ++y) {
            if (picture.pixelColor(x, y) == QColor(Theme::Pens[pen]))
                return true;
        }
        return false;
    }

    TrendView m_trend;
};

TEST_F(TrendViewTest, InvitesToChooseTagsWhileItIsEmpty)
{
    const QImage empty = m_trend.grab().toImage();
    QImage blank(empty.size(), empty.format());
    blank.fill(QColor(Theme::Surface));
    EXPECT_NE(blank, empty);
    m_trend.startPen(0, "a");
    EXPECT_NE(empty, m_trend.grab().toImage());
    m_trend.stopPen(0);
    EXPECT_EQ(empty, m_trend.grab().toImage());
}

TEST_F(TrendViewTest, DrawsAValueAtItsTimeAndHeight)
{
    m_trend.startPen(0, "a");
    record(0, Begin, 0);
    record(0, Begin + Second, 100);
    const QRectF area = m_trend.plotArea();
    EXPECT_EQ(QPointF(area.right(), area.top()), m_trend.position({Begin + Second, 100}));
    EXPECT_EQ(area.bottom(), m_trend.position({Begin, 0}).y());
    EXPECT_NEAR(area.left(), m_trend.position({Begin + Second - TrendView::SpanMs, 0}).x(), 1);
    EXPECT_NEAR(area.center().y(), m_trend.position({Begin, 50}).y(), 1);
}

TEST_F(TrendViewTest, PutsAReadingAtTheTimeWhenItWasMade)
{
    m_trend.startPen(0, "a");
    m_trend.record(0, tagView("a", "NA20", {1}, TagState::Ok, 800), Begin, StaleAfter);
    ASSERT_EQ(1u, m_trend.data(0).runs().size());
    EXPECT_EQ(Begin - 800, m_trend.data(0).runs()[0][0].atMs);
}

TEST_F(TrendViewTest, DrawsTheFirstItemOfATagWithSeveral)
{
    m_trend.startPen(0, "a");
    m_trend.record(0, tagView("a", "NA20", {7, 8}), Begin, StaleAfter);
    EXPECT_EQ(7, m_trend.data(0).runs()[0][0].value);
}

TEST_F(TrendViewTest, LeavesAGapInEachStateThatIsNotLive)
{
    for (const TagState state : {TagState::Stale, TagState::Failed, TagState::Waiting}) {
        m_trend.startPen(0, "a");
        record(0, Begin, 10);
        record(0, Begin + Second, 10);
        record(0, Begin + 2 * Second, 10, state);
        record(0, Begin + 3 * Second, 10);
        EXPECT_EQ(2u, m_trend.data(0).runs().size()) << tagStateName(state);
    }
}

TEST_F(TrendViewTest, SurvivesAnOkTagWithoutItems)
{
    m_trend.startPen(0, "a");
    m_trend.record(0, tagView("a", "NA20", {}, TagState::Ok), Begin, StaleAfter);
    EXPECT_TRUE(m_trend.data(0).runs().empty());
    m_trend.grab();
}

TEST_F(TrendViewTest, LeavesAGapWhereTheTagTurnedStaleBetweenRounds)
{
    m_trend.startPen(0, "a");
    record(0, Begin, 10);
    m_trend.setNow(0, tagView("a", "NA20", {10}, TagState::Stale));
    record(0, Begin + 2 * Second, 10);
    EXPECT_EQ(2u, m_trend.data(0).runs().size());
}

TEST_F(TrendViewTest, HasNoInkInAGap)
{
    m_trend.startPen(0, "a");
    for (int second = 0; second <= 100; ++second)
        record(0, Begin + second * Second, 10,
               second > 40 && second < 60 ? TagState::Failed : TagState::Ok);
    EXPECT_TRUE(hasInk(Begin + 20 * Second, 0));
    EXPECT_FALSE(hasInk(Begin + 50 * Second, 0));
    EXPECT_TRUE(hasInk(Begin + 80 * Second, 0));
}

TEST_F(TrendViewTest, GoesOnWithTheTimeWhenNoMoreValuesCome)
{
    m_trend.startPen(0, "a");
    record(0, Begin, 10);
    record(0, Begin + Second, 10);
    m_trend.setNow(Begin + 60 * Second);
    EXPECT_NEAR(m_trend.plotArea().center().x(), m_trend.position({Begin, 10}).x(), 2);
    m_trend.setNow(Begin + 200 * Second);
    EXPECT_TRUE(m_trend.data(0).runs().empty());
}

TEST_F(TrendViewTest, HasOneScaleForAllPens)
{
    m_trend.startPen(0, "a");
    m_trend.startPen(3, "b");
    record(0, Begin, 4200);
    record(3, Begin, 344);
    EXPECT_EQ(0, m_trend.scale().bottom);
    EXPECT_EQ(5000, m_trend.scale().top);
    m_trend.stopPen(0);
    EXPECT_EQ(343, m_trend.scale().bottom);
    EXPECT_EQ(345, m_trend.scale().top);
}

TEST_F(TrendViewTest, BeginsAnewWithAnotherTag)
{
    m_trend.startPen(1, "a");
    record(1, Begin, 4200);
    m_trend.startPen(1, "b");
    EXPECT_TRUE(m_trend.data(1).runs().empty());
}

TEST_F(TrendViewTest, FreesAPenAtATouchOnItsLegend)
{
    const QSignalSpy taps(&m_trend, &TrendView::penTapped);
    m_trend.startPen(2, "a");
    QTest::mouseClick(&m_trend, Qt::LeftButton, Qt::NoModifier, m_trend.legendCell(2).center());
    ASSERT_EQ(1, taps.size());
    EXPECT_EQ(2, taps.at(0).at(0).toInt());
}

TEST_F(TrendViewTest, TakesNoOtherTouchForOne)
{
    const QSignalSpy taps(&m_trend, &TrendView::penTapped);
    m_trend.startPen(2, "a");
    const QPoint onLegend = m_trend.legendCell(2).center();
    QTest::mouseClick(&m_trend, Qt::LeftButton, Qt::NoModifier, m_trend.legendCell(1).center());
    QTest::mouseClick(&m_trend, Qt::LeftButton, Qt::NoModifier, m_trend.plotArea().center());
    QTest::mousePress(&m_trend, Qt::LeftButton, Qt::NoModifier, onLegend);
    QTest::mouseRelease(&m_trend, Qt::LeftButton, Qt::NoModifier, m_trend.plotArea().center());
    QTest::mouseRelease(&m_trend, Qt::LeftButton, Qt::NoModifier, onLegend);
    EXPECT_EQ(0, taps.size());
}

TEST_F(TrendViewTest, HasLegendsForAFinger)
{
    for (int pen = 0; pen < TagTableModel::Pens; ++pen) {
        EXPECT_GE(m_trend.legendCell(pen).height(), Theme::TouchTarget);
        EXPECT_GE(m_trend.legendCell(pen).width(), Theme::TouchTarget);
        EXPECT_FALSE(m_trend.legendCell(pen).intersects(m_trend.plotArea()));
    }
    EXPECT_GE(m_trend.sizeHint().height(), TagTableModel::Pens * Theme::TouchTarget);
}

TEST_F(TrendViewTest, MarksADoubtfulTagInItsLegend)
{
    m_trend.startPen(0, "a");
    record(0, Begin, 10);
    const QPoint corner = m_trend.legendCell(0).bottomRight() - QPoint(3, 5);
    EXPECT_EQ(QColor(Theme::Surface), m_trend.grab().toImage().pixelColor(corner));
    record(0, Begin + Second, 10, TagState::Stale);
    EXPECT_EQ(QColor(Theme::Warning), m_trend.grab().toImage().pixelColor(corner));
    record(0, Begin + 2 * Second, 10, TagState::Failed);
    EXPECT_EQ(QColor(Theme::Alarm), m_trend.grab().toImage().pixelColor(corner));
}

TEST_F(TrendViewTest, StaysWithinItsRoomWhateverIsDrawn)
{
    for (int pen = 0; pen < TagTableModel::Pens; ++pen) {
        m_trend.startPen(pen, QString(300, 'W') + "<b>");
        record(pen, Begin, 0);
        record(pen, Begin + Second, 0xFFFFFFFF);
    }
    for (const QSize size : {QSize(480, 160), QSize(300, 60), QSize(1000, 500), QSize(10, 10)}) {
        m_trend.resize(size);
        EXPECT_FALSE(m_trend.grab().isNull());
    }
    m_trend.resize(m_trend.sizeHint());
    EXPECT_GE(m_trend.plotArea().left(),
              Theme::textWidth(Theme::smallFont(m_trend.font()), "6000000000"));
    EXPECT_GE(m_trend.plotArea().width(), 150);
}

TEST_F(TrendViewTest, KeepsItsHint)
{
    m_trend.startPen(0, "a");
    const QImage without = m_trend.grab().toImage();
    m_trend.setHint("Four at most");
    EXPECT_NE(without, m_trend.grab().toImage());
    m_trend.setHint(QString());
    EXPECT_EQ(without, m_trend.grab().toImage());
}

} // namespace
