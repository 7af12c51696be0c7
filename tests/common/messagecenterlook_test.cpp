#include "common/messagecenterlook.h"

#include "tests/common/contrast.h"

#include <QImage>
#include <QtTest>

#include <gtest/gtest.h>

namespace
{

const double Readable = 4.5; ///< contrast ratio of small text

TEST(ReadableInk, IsReadOnEveryColour)
{
    for (int red = 0; red < 256; red += 15) {
        for (int green = 0; green < 256; green += 15) {
            for (int blue = 0; blue < 256; blue += 15) {
                const QColor ground(red, green, blue);
                ASSERT_GE(contrast(readableInk(ground), ground), Readable)
                    << qPrintable(ground.name());
            }
        }
    }
}

TEST(RowPalette, IsReadOnEveryColour)
{
    for (int red = 0; red < 256; red += 15) {
        for (int green = 0; green < 256; green += 15) {
            for (int blue = 0; blue < 256; blue += 15) {
                const QColor panel(red, green, blue);
                const QPalette row = rowPalette(panel);
                const QColor ground = row.color(QPalette::Window);
                ASSERT_GE(contrast(row.color(QPalette::WindowText), ground), Readable)
                    << qPrintable(panel.name());
                ASSERT_GE(contrast(row.color(QPalette::Text), ground), Readable)
                    << qPrintable(panel.name());
                // the page label
                ASSERT_GE(contrast(row.color(QPalette::WindowText), row.color(QPalette::Base)),
                          Readable)
                    << qPrintable(panel.name());
            }
        }
    }
}

TEST(RowPalette, IsOpaqueWhateverThePanelsAlpha)
{
    const QRgb colours[] = {0x00204060, 0x80204060, 0xFF204060};
    for (const QRgb colour : colours) {
        const QPalette row = rowPalette(QColor::fromRgba(colour));
        EXPECT_EQ(0xFF204060, row.color(QPalette::Base).rgba());
        EXPECT_EQ(255, row.color(QPalette::Window).alpha());
        EXPECT_EQ(255, row.color(QPalette::Text).alpha());
    }
}

QImage picture(QWidget *widget)
{
    return widget->grab().toImage().convertToFormat(QImage::Format_RGB32);
}

/// Of the colour that most of the button has.
QColor face(QWidget *button)
{
    return picture(button).pixelColor(button->width() / 2, 8);
}

TEST(TouchButton, StandsOutFromEveryGroundByItsFaceOrItsEdge)
{
    TouchButton button;
    button.resize(48, 48);
    const QColor centre = face(&button);
    for (int grey = 0; grey < 256; grey += 5) {
        const QColor ground(grey, grey, grey);
        const QColor edge(0xF0, 0xF4, 0xF8);
        EXPECT_GE(std::max(contrast(centre, ground), contrast(edge, ground)), 3.0) << grey;
    }
}

TEST(TouchButton, ShowsItsTextAndItsIconInGoodContrast)
{
    TouchButton button;
    button.resize(40, 60);
    const QImage empty = picture(&button);
    EXPECT_GE(contrast(Qt::white, face(&button)), Readable);
    button.setText("X");
    const QImage text = picture(&button);
    EXPECT_NE(empty, text);
    QPixmap red(10, 10);
    red.fill(Qt::red);
    button.setIcon(red);
    button.setIconSize(QSize(10, 10));
    EXPECT_EQ(QColor(Qt::red), picture(&button).pixelColor(20, 30));
}

TEST(TouchButton, LooksPressedWhilePressed)
{
    TouchButton button;
    button.resize(48, 48);
    const QColor released = face(&button);
    QTest::mousePress(&button, Qt::LeftButton);
    EXPECT_NE(released, face(&button));
    QTest::mouseRelease(&button, Qt::LeftButton);
    EXPECT_EQ(released, face(&button));
}

TEST(TouchButton, TakesNoFocus)
{
    const TouchButton button;
    EXPECT_EQ(Qt::NoFocus, button.focusPolicy());
}

} // namespace
