#include "terminal/window/number_stepper.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "terminal/window/theme.h"

namespace
{

const QSize Sizes[] = {QSize(800, 480), QSize(1920, 1080)};

class Stepper : public testing::Test
{
protected:
    Stepper() : m_stepper("Steps", 0, 3)
    {
        m_stepper.setFont(Theme::fontFor(Sizes[0]));
        m_stepper.show();
    }

    QPushButton *less() { return m_stepper.findChildren<QPushButton *>().at(0); }
    QPushButton *more() { return m_stepper.findChildren<QPushButton *>().at(1); }
    QLabel *number() { return m_stepper.findChildren<QLabel *>().at(1); }
    void tap(QPushButton *button) { QTest::mouseClick(button, Qt::LeftButton); }

    NumberStepper m_stepper;
};

TEST_F(Stepper, BeginsAtItsLeast)
{
    EXPECT_EQ(0, m_stepper.value());
    EXPECT_EQ("0", number()->text());
    EXPECT_EQ("Steps", m_stepper.findChild<QLabel *>()->text());
}

TEST_F(Stepper, GoesByOneAtEachTap)
{
    const QSignalSpy changes(&m_stepper, &NumberStepper::valueChanged);
    tap(more());
    tap(more());
    EXPECT_EQ(2, m_stepper.value());
    EXPECT_EQ("2", number()->text());
    tap(less());
    EXPECT_EQ(1, m_stepper.value());
    ASSERT_EQ(3, changes.size());
    EXPECT_EQ(1, changes.at(0).at(0).toInt());
    EXPECT_EQ(2, changes.at(1).at(0).toInt());
    EXPECT_EQ(1, changes.at(2).at(0).toInt());
}

TEST_F(Stepper, StopsAtItsBounds)
{
    EXPECT_FALSE(less()->isEnabled());
    EXPECT_TRUE(more()->isEnabled());
    for (int i = 0; i < 5; ++i)
        tap(more());
    EXPECT_EQ(3, m_stepper.value());
    EXPECT_TRUE(less()->isEnabled());
    EXPECT_FALSE(more()->isEnabled());
    for (int i = 0; i < 5; ++i)
        tap(less());
    EXPECT_EQ(0, m_stepper.value());
}

TEST_F(Stepper, TakesTheNearestNumberWithinItsBounds)
{
    const QSignalSpy changes(&m_stepper, &NumberStepper::valueChanged);
    m_stepper.setValue(2);
    EXPECT_EQ(2, m_stepper.value());
    m_stepper.setValue(4);
    EXPECT_EQ(3, m_stepper.value());
    m_stepper.setValue(-1);
    EXPECT_EQ(0, m_stepper.value());
    EXPECT_EQ(3, changes.size());
    m_stepper.setValue(-100);
    EXPECT_EQ(3, changes.size()) << "nothing has changed";
}

TEST_F(Stepper, GoesOnUnderAFingerThatStays)
{
    QTest::mousePress(more(), Qt::LeftButton);
    EXPECT_EQ(0, m_stepper.value()) << "a tap counts when it ends";
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_stepper.value() == 3; }, 20000));
    EXPECT_FALSE(more()->isEnabled());
    QTest::mouseRelease(more(), Qt::LeftButton);
    EXPECT_EQ(3, m_stepper.value());
}

TEST_F(Stepper, ForgetsAFingerThatSlidOffItsButton)
{
    QTest::mousePress(more(), Qt::LeftButton);
    QTest::mouseRelease(more(), Qt::LeftButton, Qt::NoModifier, QPoint(-20, -20));
    EXPECT_EQ(0, m_stepper.value());
}

TEST(NumberStepper, HasRoomForItsNumbersAndButtonsForAFinger)
{
    for (const QSize size : Sizes) {
        NumberStepper stepper("Program", 0, 999);
        stepper.setValue(888);
        stepper.setFont(Theme::fontFor(size));
        stepper.resize(stepper.sizeHint());
        stepper.show();
        QApplication::processEvents();
        for (const QPushButton *const button : stepper.findChildren<QPushButton *>()) {
            EXPECT_GE(button->width(), Theme::TouchTarget);
            EXPECT_EQ(Theme::scaled(stepper.font(), Theme::TouchTarget), button->width());
            EXPECT_EQ(button->width(), button->height());
            EXPECT_TRUE(stepper.rect().contains(button->geometry()));
        }
        for (const QLabel *const label : stepper.findChildren<QLabel *>()) {
            EXPECT_GE(label->width(), QFontMetricsF(label->font()).horizontalAdvance(label->text()))
                << label->text().toStdString() << " at " << size.width();
            EXPECT_EQ(stepper.font().pixelSize(), label->font().pixelSize());
            EXPECT_TRUE(stepper.rect().contains(label->geometry()));
        }
    }
}

TEST(NumberStepper, KeepsItsButtonsForAFingerBesideSmallText)
{
    NumberStepper stepper("Program", 0, 999);
    QFont small = stepper.font();
    small.setPixelSize(8);
    stepper.setFont(small);
    stepper.show();
    for (const QPushButton *const button : stepper.findChildren<QPushButton *>())
        EXPECT_EQ(Theme::TouchTarget, button->width());
}

} // namespace
