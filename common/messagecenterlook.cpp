#include "common/messagecenterlook.h"

#include <QPainter>
#include <cmath>

namespace
{

const QRgb DarkInk = 0xFF000000;
const QRgb LightInk = 0xFFFFFFFF;
const QRgb ButtonFace = 0xFF2C3E50;
const QRgb PressedFace = 0xFF0B5FA5;
const QRgb ButtonEdge = 0xFFF0F4F8;
const double ButtonRadius = 5;
const double ButtonGap = 2.5; ///< between the button's bounds and its edge, pixels

const double RowShade = 0.22; ///< of the way from the panel's colour to what is darkest under light
                              ///< ink, or lightest under dark ink
const double TextShade = 0.20; ///< of the way from a title's ink to the row's colour
const double LineShade = 0.30; ///< of the way from the row's colour to its ink

/// A channel of sRGB, 0 to 1, as light.
double linear(double channel)
{
    return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &colour)
{
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double contrast(const QColor &one, const QColor &other)
{
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return a > b ? a / b : b / a;
}

QColor blend(const QColor &from, const QColor &to, double share)
{
    return QColor::fromRgbF(from.redF() + (to.redF() - from.redF()) * share,
                            from.greenF() + (to.greenF() - from.greenF()) * share,
                            from.blueF() + (to.blueF() - from.blueF()) * share);
}

} // namespace

QColor readableInk(const QColor &background)
{
    const QColor dark(DarkInk);
    const QColor light(LightInk);
    return contrast(dark, background) > contrast(light, background) ? dark : light;
}

QPalette rowPalette(const QColor &panel)
{
    const QColor ground(panel.rgb());
    const QColor ink = readableInk(ground);
    // Away from the ink, so that the text only gains.
    const QColor row =
        blend(ground, ink == QColor(LightInk) ? QColor(Qt::black) : QColor(Qt::white), RowShade);
    QPalette palette;
    palette.setColor(QPalette::Base, ground);
    palette.setColor(QPalette::Window, row);
    palette.setColor(QPalette::WindowText, ink);
    palette.setColor(QPalette::Text, blend(ink, row, TextShade));
    palette.setColor(QPalette::Mid, blend(row, ink, LineShade));
    return palette;
}

TouchButton::TouchButton(QWidget *parent) : QPushButton(parent)
{
    setFocusPolicy(Qt::NoFocus);
}

TouchButton::~TouchButton() {}

void TouchButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(ButtonEdge));
    painter.setBrush(QColor(isDown() ? PressedFace : ButtonFace));
    painter.drawRoundedRect(QRectF(rect()).adjusted(ButtonGap, ButtonGap, -ButtonGap, -ButtonGap),
                            ButtonRadius, ButtonRadius);
    painter.setPen(QColor(LightInk));
    if (icon().isNull())
        painter.drawText(rect(), Qt::AlignCenter, text());
    else
        icon().paint(&painter, QRect(QPoint((width() - iconSize().width()) / 2,
                                            (height() - iconSize().height()) / 2),
                                     iconSize()));
}
