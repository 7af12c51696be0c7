#include "terminal/window/theme.h"

#include <algorithm>
#include <cmath>

#include <QFontInfo>
#include <QFontMetricsF>

namespace
{

const char Family[] = "DejaVu Sans";

/// Of a window's growth, this share goes into larger text; the rest shows more.
const double ShareOfText = 0.6;
const double SmallShare = 0.87; ///< of the size of ordinary text

const int TabWidth = 76;
const int ScrollBarHandleMargin = 14;

// %1 and on: see `tabBarStyle` and `tableStyle`.
const char TabBarSheet[] = R"(
QTabBar { background: transparent; }
QTabBar::tab { background: %1; color: %2; border: none; min-height: %3px; min-width: %4px;
    padding: 0 %5px; margin-right: 2px; }
QTabBar::tab:selected { background: %6; color: %7; }
QTabBar::tab:pressed { background: %8; }
)";
const char TableSheet[] = R"(
QTableView { background: %1; color: %2; border: none; outline: none; }
QTableView::item { padding: 0 %3px; }
QHeaderView { background: %1; border: none; font: %9px "%10"; }
QHeaderView::section { background: %1; color: %4; border: none; border-bottom: 2px solid %5;
    padding: 0 %3px; }
QScrollBar:vertical { background: %1; width: %6px; margin: 0; border: none; }
QScrollBar::handle:vertical { background: %7; min-height: %6px; border: none;
    border-left: %8px solid %1; border-right: %8px solid %1; }
QScrollBar:horizontal { background: %1; height: %3px; margin: 0; border: none; }
QScrollBar::handle:horizontal { background: %7; min-width: %6px; border: none; }
QAbstractScrollArea::corner { background: %1; border: none; }
QScrollBar::add-line, QScrollBar::sub-line { height: 0; width: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: none; }
)";

const char ButtonSheet[] = R"(
QPushButton { background: %1; color: %2; border: none; border-radius: %3px; padding: 0; }
QPushButton:pressed { background: %4; }
QPushButton:disabled { background: %5; color: %6; }
)";
const char ProgressSheet[] = R"(
QProgressBar { background: %1; color: %2; border: none; border-radius: %3px; text-align: center; }
QProgressBar::chunk { background: %4; border-radius: %3px; }
)";

/// Also of a font that is given in points, as a widget's is before it is in a window.
int pixelSizeOf(const QFont &font)
{
    return QFontInfo(font).pixelSize();
}

QString name(QRgb colour)
{
    return QColor(colour).name();
}

QString pixels(const QFont &font, int size)
{
    return QString::number(Theme::scaled(font, size));
}

} // namespace

int Theme::pixelSizeFor(const QSize &window)
{
    const double growth =
        std::min(double(window.width()) / BaseWidth, double(window.height()) / BaseHeight);
    return qRound(BasePixelSize * (1 + ShareOfText * std::max(0.0, growth - 1)));
}

QFont Theme::fontFor(const QSize &window)
{
    QFont font(Family);
    font.setPixelSize(pixelSizeFor(window));
    return font;
}

int Theme::scaled(const QFont &font, int size)
{
    return qRound(double(size) * pixelSizeOf(font) / BasePixelSize);
}

int Theme::textWidth(const QFont &font, const QString &text)
{
    return static_cast<int>(std::ceil(QFontMetricsF(font).horizontalAdvance(text))) + 1;
}

QFont Theme::smallFont(const QFont &font)
{
    QFont small(font);
    small.setPixelSize(qRound(SmallShare * pixelSizeOf(font)));
    return small;
}

QFont Theme::boldFont(const QFont &font)
{
    QFont bold(font);
    bold.setBold(true);
    return bold;
}

QString Theme::tabBarStyle(const QFont &font)
{
    return QString(TabBarSheet)
        .arg(name(BarButton), name(BarText), pixels(font, BarHeight),
             pixels(font, TabWidth - 2 * Gap), pixels(font, Gap), name(Background), name(Text),
             name(BarButtonDown));
}

QString Theme::tableStyle(const QFont &font)
{
    return QString(TableSheet)
        .arg(name(Surface), name(Text), pixels(font, Gap), name(QuietText), name(Rule),
             pixels(font, TouchTarget), name(Axis), pixels(font, ScrollBarHandleMargin))
        .arg(pixelSizeOf(smallFont(font)))
        .arg(font.family());
}

QString Theme::buttonStyle(const QFont &font)
{
    return QString(ButtonSheet)
        .arg(name(BarButton), name(BarText), pixels(font, Gap / 2), name(BarButtonDown), name(Rule),
             name(QuietText));
}

QString Theme::progressStyle(const QFont &font)
{
    return QString(ProgressSheet).arg(name(Rule), name(Text), pixels(font, Gap / 2), name(Done));
}
