#include "tests/common/panel_fixture.h"
#include "tests/hmi/message_log.h"

#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <ostream>
#include <vector>

namespace
{

const char StrayMode[] = "WTF? Where should I be?";

// --- height ---

struct HeightCase {
    int maximum; ///< of the panel, pixels
    int rows;
    int height;
};

std::ostream &operator<<(std::ostream &stream, const HeightCase &values)
{
    return stream << values.rows << " rows, maximum " << values.maximum;
}

class HeightTest : public testing::TestWithParam<HeightCase>
{
};

TEST_P(HeightTest, FollowsTheNumberOfRows)
{
    MessageCenter panel(QSize(400, GetParam().maximum), PanelInitial, MessageCenter::AboveAnchor,
                        PanelAnchor, PanelColour);
    for (int i = 0; i < GetParam().rows; ++i)
        panel.showMessageAsync("Title", "text", true);
    panel.adjustSize();
    EXPECT_EQ(QSize(400, GetParam().height), panel.size());
}

// 60 a row are compared, 61 a row are taken: 40 + 60 n is the last maximum that pages.
INSTANTIATE_TEST_SUITE_P(
    MessageCenter, HeightTest,
    testing::Values(HeightCase{284, 0, 40}, HeightCase{284, 1, 101}, HeightCase{284, 4, 284},
                    HeightCase{284, 5, 284},
                    HeightCase{284, 100, 284},                        // whole rows, as many as fit
                    HeightCase{280, 3, 223}, HeightCase{280, 4, 223}, // 240 < 240
                    HeightCase{281, 4, 284},
                    HeightCase{281, 5, 223}, // 240 < 241: beyond the maximum
                    HeightCase{283, 4, 284}, HeightCase{283, 5, 223}, // 243 / 61 = 3
                    HeightCase{160, 2, 101}, HeightCase{161, 2, 162}, // 120 < 120, 120 < 121
                    HeightCase{100, 1, 40}, HeightCase{101, 1, 101},  // 60 < 60, 60 < 61
                    HeightCase{40, 0, 40}, HeightCase{40, 3, 40}, HeightCase{0, 3, 40},
                    HeightCase{10000, 100, 6140}));

TEST_F(PanelTest, ShowsWholeRows)
{
    for (int i = 1; i <= 12; ++i) {
        post("text");
        EXPECT_EQ(std::min(i, 4) * 61, list()->viewport()->height());
        EXPECT_EQ(i > 4, list()->findChild<QWidget *>("pushButton_up")->isVisible());
    }
}

TEST_F(PanelTest, ShrinksWhenRowsGo)
{
    post(2);
    EXPECT_EQ(162, panel.height());
    QTest::mouseClick(removeButton(0), Qt::LeftButton);
    EXPECT_EQ(101, panel.height());
    QTest::mouseClick(removeButton(0), Qt::LeftButton);
    EXPECT_EQ(40, panel.height());
}

TEST_F(PanelTest, StaysShownWhenItShrinks)
{
    post(2);
    EXPECT_EQ(QPoint(299, 300 - 162), panel.pos());
    QTest::mouseClick(removeButton(0), Qt::LeftButton);
    EXPECT_EQ(QPoint(299, 300 - 101), panel.pos());
    EXPECT_TRUE(hiding()->isActive());
}

TEST_F(PanelTest, IsHiddenWhenItsLastRowGoes)
{
    post(1);
    QTest::mouseClick(removeButton(0), Qt::LeftButton);
    EXPECT_EQ(QPoint(299, 341), panel.pos());
}

TEST_F(PanelTest, StaysHiddenWhenItShrinks)
{
    MessageSender sender(&panel);
    sender.say("first");
    post("second");
    panel.instantHide();
    emit sender.removeMessage();
    EXPECT_EQ(QPoint(299, 341), panel.pos());
    EXPECT_FALSE(panel.isVisible());
}

TEST_F(PanelTest, ParksWhenItIsResizedDuringASlide)
{
    MessageSender sender(&panel);
    sender.say("first");
    post("second");
    panel.animatedShow();
    elapse(animation());
    emit sender.removeMessage();
    EXPECT_FALSE(animation()->isActive());
    EXPECT_EQ(QPoint(299, 341), panel.pos());
}

// --- positions ---

struct PositionCase {
    int mode;
    QPoint shown;
    QPoint hidden;
    std::vector<QPoint> slide; ///< in; after each tick
};

std::ostream &operator<<(std::ostream &stream, const PositionCase &values)
{
    return stream << "mode " << values.mode;
}

/// For a panel of 400 x 101 pixels.
const PositionCase Positions[] = {
    // 142 pixels in y: 28 a tick
    {0, {299, 199}, {299, 341}, {{299, 313}, {299, 285}, {299, 257}, {299, 229}, {299, 199}}},
    // 141 pixels: 28 a tick
    {1, {299, 340}, {299, 199}, {{299, 227}, {299, 255}, {299, 283}, {299, 311}, {299, 340}}},
    // 1000 pixels in x: 200 a tick
    {2, {700, 238}, {-300, 238}, {{-100, 238}, {100, 238}, {300, 238}, {500, 238}, {700, 238}}},
    // 1001 pixels: 200 a tick
    {3, {-300, 238}, {701, 238}, {{501, 238}, {301, 238}, {101, 238}, {-99, 238}, {-300, 238}}},
    // no mode: 400 pixels
    {4, {0, 0}, {-400, 0}, {{-320, 0}, {-240, 0}, {-160, 0}, {-80, 0}, {0, 0}}},
    {5, {0, 0}, {-400, 0}, {{-320, 0}, {-240, 0}, {-160, 0}, {-80, 0}, {0, 0}}},
    {-1, {0, 0}, {-400, 0}, {{-320, 0}, {-240, 0}, {-160, 0}, {-80, 0}, {0, 0}}}};

class PositionTest : public PanelTest, public testing::WithParamInterface<PositionCase>
{
protected:
    PositionTest() : PanelTest(GetParam().mode) {}

    std::vector<QPoint> slidePositions()
    {
        std::vector<QPoint> positions;
        while (animation()->isActive()) {
            elapse(animation());
            positions.push_back(panel.pos());
        }
        return positions;
    }
};

INSTANTIATE_TEST_SUITE_P(MessageCenter, PositionTest, testing::ValuesIn(Positions));

TEST_P(PositionTest, StartsHidden)
{
    panel.adjustSize();
    EXPECT_EQ(GetParam().hidden.x(), panel.x());
}

TEST_P(PositionTest, ShowsAndHidesAtOnce)
{
    post(1);
    EXPECT_EQ(GetParam().shown, panel.pos());
    EXPECT_TRUE(panel.isVisible());
    panel.instantHide();
    EXPECT_EQ(GetParam().hidden, panel.pos());
    EXPECT_FALSE(panel.isVisible());
    panel.instantShow();
    EXPECT_EQ(GetParam().shown, panel.pos());
    EXPECT_TRUE(panel.isVisible());
}

TEST_P(PositionTest, SlidesInWithinFiveTicks)
{
    post("text", false);
    EXPECT_EQ(GetParam().hidden, panel.pos());
    EXPECT_TRUE(panel.isVisible());
    EXPECT_TRUE(hiding()->isActive());
    EXPECT_EQ(GetParam().slide, slidePositions());
}

TEST_P(PositionTest, SlidesOutWithinFiveTicks)
{
    post(1);
    panel.animatedHide();
    EXPECT_EQ(GetParam().shown, panel.pos());
    EXPECT_FALSE(hiding()->isActive());
    const QPoint step = GetParam().slide.at(0) - GetParam().hidden;
    const std::vector<QPoint> positions = slidePositions();
    ASSERT_EQ(5u, positions.size());
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(GetParam().shown - step * (i + 1), positions.at(static_cast<size_t>(i)));
    EXPECT_EQ(GetParam().hidden, positions.at(4));
    EXPECT_TRUE(panel.isVisible());
}

TEST_P(PositionTest, FollowsAResize)
{
    post(2);
    const QPoint grown = GetParam().mode == 0                           ? QPoint(0, -61)
                         : GetParam().mode == 2 || GetParam().mode == 3 ? QPoint(0, -61)
                                                                        : QPoint();
    EXPECT_EQ(GetParam().shown + grown, panel.pos());
}

TEST(MessageCenter, SaysOnTheDebugOutputThatItsModeIsNone)
{
    const int stray[] = {-1, 4, 5};
    for (const int mode : stray) {
        const MessageLog log;
        const MessageCenter panel(PanelMaximum, PanelInitial, mode, PanelAnchor, PanelColour);
        EXPECT_EQ(std::vector<std::string>{StrayMode}, log.texts(QtDebugMsg));
        EXPECT_EQ(QPoint(-400, 0), panel.pos());
    }
    for (int mode = 0; mode <= 3; ++mode) {
        const MessageLog log;
        const MessageCenter panel(PanelMaximum, PanelInitial, mode, PanelAnchor, PanelColour);
        EXPECT_TRUE(log.texts(QtDebugMsg).empty());
    }
}

TEST_F(PanelTest, StartsAtItsHiddenPosition)
{
    EXPECT_EQ(QPoint(299, 341), panel.pos());
}

// --- showing and hiding ---

TEST_F(PanelTest, SlidesInAgainForAMessageThatComesWhileItIsShown)
{
    post("first", true);
    post("second", false);
    EXPECT_EQ(QPoint(299, 341), panel.pos());
    EXPECT_TRUE(animation()->isActive());
    finishSlide();
    EXPECT_EQ(QPoint(299, 300 - 162), panel.pos());
}

TEST_F(PanelTest, StopsASlideToBeShownAtOnce)
{
    post("first", false);
    elapse(animation());
    post("second", true);
    EXPECT_FALSE(animation()->isActive());
    EXPECT_EQ(QPoint(299, 300 - 162), panel.pos());
}

TEST_F(PanelTest, StopsASlideToBeHiddenAtOnce)
{
    post("first", false);
    elapse(animation());
    panel.instantHide();
    EXPECT_FALSE(animation()->isActive());
    EXPECT_EQ(QPoint(299, 341), panel.pos());
}

TEST_F(PanelTest, SlidesOverTheWholeWayWhenShownAgainDuringASlide)
{
    post("first", false);
    elapse(animation());
    elapse(animation());
    panel.animatedShow();
    EXPECT_EQ(QPoint(299, 341), panel.pos());
    for (int i = 0; i < 4; ++i)
        elapse(animation());
    EXPECT_TRUE(animation()->isActive());
    elapse(animation());
    EXPECT_FALSE(animation()->isActive());
    EXPECT_EQ(QPoint(299, 199), panel.pos());
}

TEST_F(PanelTest, HidesItselfWhenItsTimeIsOver)
{
    post(1);
    elapse(hiding());
    EXPECT_TRUE(animation()->isActive());
    EXPECT_FALSE(hiding()->isActive());
    finishSlide();
    EXPECT_EQ(QPoint(299, 341), panel.pos());
}

TEST_F(PanelTest, DoesNotComeBackToHideWhenItIsEmptyAlready)
{
    post(1);
    QTest::mouseClick(removeButton(0), Qt::LeftButton);
    elapse(hiding());
    EXPECT_EQ(QPoint(299, 341), panel.pos());
    EXPECT_FALSE(animation()->isActive());
    EXPECT_FALSE(hiding()->isActive());
}

TEST_F(PanelTest, DoesNotComeBackToHideAfterItWasHiddenAtOnce)
{
    post(1);
    panel.instantHide();
    if (hiding()->isActive())
        elapse(hiding());
    EXPECT_EQ(QPoint(299, 341), panel.pos());
    EXPECT_FALSE(animation()->isActive());
    EXPECT_FALSE(panel.isVisible());
}

/// Time since the panel was shown. On a busy machine the timer may have lost more than was meant.
class Shown
{
public:
    explicit Shown(QTimer *hiding) : m_hiding(hiding)
    {
        m_since.start();
        while (hiding->remainingTime() > hiding->interval() - 50)
            QThread::msleep(10);
    }

    /// The most that can be left to a timer that did not start anew.
    qint64 left() const { return m_hiding->interval() - m_since.elapsed(); }

private:
    QTimer *const m_hiding;
    QElapsedTimer m_since;
};

TEST_F(PanelTest, StaysLongerForAnOperatorWhoPages)
{
    post(1);
    const Shown shown(hiding());
    emit list()->scrollClicked();
    const qint64 left = shown.left();
    EXPECT_GT(hiding()->remainingTime(), left);
}

TEST_F(PanelTest, StaysLongerForANewMessage)
{
    post(1);
    const Shown shown(hiding());
    post("another");
    const qint64 left = shown.left();
    EXPECT_GT(hiding()->remainingTime(), left);
}

TEST_F(PanelTest, DoesNotBeginToWaitBecauseSomebodyPages)
{
    post(1);
    panel.animatedHide();
    emit list()->scrollClicked();
    EXPECT_FALSE(hiding()->isActive());
}

// --- header strip ---

TEST_F(PanelTest, SlidesOutWhenItsHeaderIsTouched)
{
    post(1);
    touch(QPoint(200, 12));
    EXPECT_TRUE(animation()->isActive());
    finishSlide();
    EXPECT_EQ(QPoint(299, 341), panel.pos());
}

TEST_F(PanelTest, SlidesInWhenItsHeaderIsTouched)
{
    post(1);
    panel.animatedHide();
    finishSlide();
    touch(QPoint(200, 12));
    EXPECT_TRUE(animation()->isActive());
    finishSlide();
    EXPECT_EQ(QPoint(299, 199), panel.pos());
    EXPECT_TRUE(hiding()->isActive());
}

TEST_F(PanelTest, StaysHiddenAndEmptyWhenItsHeaderIsTouched)
{
    touch(QPoint(200, 12));
    EXPECT_FALSE(animation()->isActive());
    EXPECT_FALSE(hiding()->isActive());
    EXPECT_FALSE(panel.isVisible());
    EXPECT_EQ(QPoint(299, 341), panel.pos());
}

TEST_F(PanelTest, GoesOnSlidingWhenItsHeaderIsTouched)
{
    post("text", false);
    elapse(animation());
    const QPoint position = panel.pos();
    touch(QPoint(200, 12));
    EXPECT_EQ(position, panel.pos());
    finishSlide();
    EXPECT_EQ(QPoint(299, 199), panel.pos());
}

TEST_F(PanelTest, HasAHeaderOf24RowsAcrossItsWidth)
{
    const QPoint inside[] = {{0, 0}, {399, 0}, {0, 23}, {399, 23}, {200, 12}};
    for (const QPoint &place : inside) {
        post("text");
        touch(place);
        EXPECT_TRUE(animation()->isActive()) << place.x() << ' ' << place.y();
    }
    const QPoint outside[] = {{0, 24}, {399, 24}, {4, 60}, {200, 24}};
    for (const QPoint &place : outside) {
        post("text");
        touch(place);
        EXPECT_FALSE(animation()->isActive()) << place.x() << ' ' << place.y();
    }
}

TEST_F(PanelTest, StaysWhenARowIsTouched)
{
    post(1);
    QTest::mousePress(row(0), Qt::LeftButton, {}, QPoint(10, 10));
    EXPECT_FALSE(animation()->isActive());
}

} // namespace
