// The looks of the terminal's screen: every colour and every size that widgets share.

#ifndef TERMINAL_WINDOW_THEME_H
#define TERMINAL_WINDOW_THEME_H

#include <QColor>
#include <QFont>
#include <QSize>
#include <QString>

/// A grey screen on which only what is out of order has a colour. Texts have a contrast of at least
/// 4.5 to 1 against what they stand on, lines and signs of at least 3 to 1.
namespace Theme
{

const QRgb Background = 0xFFD9DEE3;
const QRgb Surface = 0xFFF8F9FA; ///< tables and cards
const QRgb Rule = 0xFFD3D9DF;    ///< between rows; carries no meaning
const QRgb Text = 0xFF18212B;
const QRgb QuietText = 0xFF4A5763; ///< headings, units, what is not live
const QRgb Axis = 0xFF7A8794;

const QRgb Bar = 0xFF26323D; ///< the strip at the top
const QRgb BarButton = 0xFF384857;
const QRgb BarButtonDown = 0xFF4D6073;
const QRgb BarText = 0xFFF3F6F8;
const QRgb BarQuietText = 0xFFB9C5D0;

const QRgb Warning = 0xFFFFE9B8; ///< behind what is stale, busy or waiting
const QRgb WarningText = 0xFF6B4300;
const QRgb Alarm = 0xFFFBDAD7; ///< behind what has failed
const QRgb AlarmText = 0xFF9B1C16;
const QRgb Done = 0xFF9CC3E6; ///< the part of a bar that is done; the text stands on it
const QRgb Lit = 0xFFFFC94D;  ///< the beep indicator while it sounds

/// The trend's pens also differ in their dashes and numbers.
const QRgb Pens[] = {0xFF1B5E9E, 0xFFB0470C, 0xFF2A7536, 0xFF7A3B9C};

/// The smallest screen, for which the sizes of the widgets are given.
const int BaseWidth = 800;
const int BaseHeight = 480;
const int BasePixelSize = 15; ///< of the text there

const int TouchTarget = 40; ///< the least side of whatever a finger is to meet, at any scale
const int BarHeight = 52;
const int RowHeight = 40;
const int Gap = 8;

/// The text of a window. Larger windows have larger text, and more of it.
int pixelSizeFor(const QSize &window);
QFont fontFor(const QSize &window);

/// A size that was given for the smallest screen, as it is beside text of that font.
int scaled(const QFont &font, int size);

/// The room that a text takes. Rounded up: a text that has a fraction of a pixel less is cut.
int textWidth(const QFont &font, const QString &text);

/// That font for what matters less, and for what matters more.
QFont smallFont(const QFont &font);
QFont boldFont(const QFont &font);

/// Style sheets for a tab bar, tables, buttons and progress bars of that font. They stand on these
/// widgets alone: others in the window have looks of their own. A widget with a style sheet no
/// longer takes its parent's font, and is to be given it.
QString tabBarStyle(const QFont &font);
QString tableStyle(const QFont &font);
QString buttonStyle(const QFont &font);
QString progressStyle(const QFont &font);

} // namespace Theme

#endif // TERMINAL_WINDOW_THEME_H
