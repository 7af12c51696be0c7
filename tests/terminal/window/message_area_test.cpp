#include "terminal/window/message_area.h"

#include "common/messagecenter.h"

#include <QTimer>

#include <gtest/gtest.h>

#include <memory>

namespace
{

const int SlideSteps = 5;

/// A window of 800 x 480 pixels with a bar of 52 and the area below it.
class MessageAreaTest : public testing::Test
{
protected:
    MessageAreaTest() : m_area(new MessageArea(&m_window, QSize(360, 420)))
    {
        m_window.resize(800, 480);
        m_area->setCorner(QPoint(799, 52));
        m_window.show();
    }

    MessageCenter *panel() const { return m_area->panel(); }

    void post(const char *text) { panel()->showMessageAsync("DMC50", text, false); }

    /// Lets the timers of a slide run off.
    void slide()
    {
        for (int step = 0; step < SlideSteps; ++step) {
            for (QTimer *const timer : panel()->findChildren<QTimer *>()) {
                if (timer->isActive() && timer->interval() == 100)
                    QMetaObject::invokeMethod(timer, "timeout");
            }
        }
    }

    /// The part of the window that is covered.
    QRect covered() const
    {
        const QRect shown = m_area->mask().boundingRect() & m_area->rect();
        return shown.isEmpty() ? QRect() : shown.translated(m_area->pos());
    }

    QWidget m_window;
    MessageArea *m_area; ///< the window's
};

TEST_F(MessageAreaTest, IsTheProcesssPanelAndHiddenAtFirst)
{
    EXPECT_EQ(MessageCenter::getInstance(), panel());
    EXPECT_EQ(QRect(), covered());
}

TEST_F(MessageAreaTest, CoversOnlyThePanelWhileItSlidesIn)
{
    post("the stick is full");
    EXPECT_EQ(QRect(), covered()) << "still above the edge";
    slide();
    EXPECT_EQ(QRect(440, 52, 360, panel()->height()), covered());
    EXPECT_LT(panel()->height(), 420);
}

TEST_F(MessageAreaTest, GivesTheScreenFreeWhenThePanelHasGone)
{
    post("the stick is full");
    slide();
    panel()->toggleShowHide();
    slide();
    EXPECT_EQ(QRect(), covered());
}

TEST_F(MessageAreaTest, StaysWithinItsRoomWithManyMessages)
{
    for (int i = 0; i < 50; ++i)
        post("one of many");
    slide();
    EXPECT_LE(covered().bottom(), 52 + 420);
    EXPECT_EQ(52, covered().top());
}

TEST_F(MessageAreaTest, FollowsTheCornerOfItsWindow)
{
    post("the stick is full");
    slide();
    m_area->setCorner(QPoint(1279, 60));
    EXPECT_EQ(QRect(920, 60, 360, panel()->height()), covered());
}

TEST_F(MessageAreaTest, TakesThePanelWithItAtItsEnd)
{
    delete m_area;
    EXPECT_EQ(nullptr, MessageCenter::getInstance());
}

} // namespace
