#include "terminal/window/number_stepper.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <vector>

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

class LongStepper : public testing::Test
{
protected:
    LongStepper() : m_stepper("Program", 0, 999)
    {
        // As fast as the test likes; the steps are what counts.
        for (QPushButton *const button : m_stepper.findChildren<QPushButton *>()) {
            button->setAutoRepeatDelay(1);
            button->setAutoRepeatInterval(1);
        }
        QObject::connect(&m_stepper, &NumberStepper::valueChanged,
                         [this](int value) { m_values.push_back(value); });
        m_stepper.show();
    }

    QPushButton *button(int number) { return m_stepper.findChildren<QPushButton *>().at(number); }

    /// Keeps a finger on a button for at least so many steps.
    void hold(QPushButton *button, size_t steps)
    {
        m_values.clear();
        QTest::mousePress(button, Qt::LeftButton);
        EXPECT_TRUE(QTest::qWaitFor([&] { return m_values.size() >= steps; }, 20000));
        QTest::mouseRelease(button, Qt::LeftButton);
    }

    NumberStepper m_stepper;
    std::vector<int> m_values;
};

TEST_F(LongStepper, GoesOnInTensAfterTenSteps)
{
    m_stepper.setValue(3);
    hold(button(1), 13);
    ASSERT_LE(13U, m_values.size());
    m_values.resize(13);
    EXPECT_EQ((std::vector<int>{4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 20, 30, 40}), m_values);
    m_stepper.setValue(43);
    hold(button(0), 13);
    m_values.resize(13);
    EXPECT_EQ((std::vector<int>{42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 30, 20, 10}), m_values);
}

TEST_F(LongStepper, StopsWhereTheFingerIsLifted)
{
    hold(button(1), 12);
    EXPECT_EQ(m_values.back(), m_stepper.value());
    EXPECT_EQ(0, m_stepper.value() % 10) << "no single step at the end";
    const int held = m_stepper.value();
    QTest::mouseClick(button(1), Qt::LeftButton);
    EXPECT_EQ(held + 1, m_stepper.value()) << "the next tap is a tap again";
}

TEST_F(LongStepper, BeginsWithSingleStepsAgain)
{
    hold(button(1), 12);
    const int held = m_stepper.value();
    hold(button(1), 2);
    EXPECT_EQ(held + 1, m_values.at(0));
    EXPECT_EQ(held + 2, m_values.at(1));
}

TEST_F(LongStepper, ReachesItsBoundsInTens)
{
    m_stepper.setValue(975);
    hold(button(1), 12);
    EXPECT_EQ(999, m_values.back());
    m_stepper.setValue(14);
    hold(button(0), 11);
    EXPECT_EQ(0, m_values.back());
    QTest::mouseClick(button(1), Qt::LeftButton);
    EXPECT_EQ(1, m_stepper.value());
}

TEST_F(LongStepper, TakesATapAfterAFingerThatStayedAndSlidOff)
{
    QTest::mousePress(button(1), Qt::LeftButton);
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_values.size() >= 3; }, 20000));
    QTest::mouseRelease(button(1), Qt::LeftButton, Qt::NoModifier, QPoint(-20, -20));
    const int held = m_stepper.value();
    QTest::mouseClick(button(1), Qt::LeftButton);
    EXPECT_EQ(held + 1, m_stepper.value());
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
