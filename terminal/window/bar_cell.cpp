#include "terminal/window/bar_cell.h"

#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

#include "terminal/window/theme.h"

namespace
{

const int SignSize = 20;
const int Padding = 6;
const int Margin = 4; ///< between the coloured field and the bar's edges
const int Rounding = 4;
const double SignStroke = 1.6;

} // namespace

BarCell::BarCell(Kind kind, QWidget *parent)
    : QAbstractButton(parent), m_kind(kind), m_tone(Tone::Normal)
{
    setFocusPolicy(Qt::NoFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
}

void BarCell::setLongestTexts(const QString &title, const QString &detail)
{
    m_longest_title = title;
    m_longest_detail = detail;
    updateGeometry();
}

void BarCell::setContents(const QString &title, const QString &detail, Tone tone)
{
    if (title == m_title && detail == m_detail && tone == m_tone)
        return;
    m_title = title;
    m_detail = detail;
    m_tone = tone;
    setAccessibleName(title + ' ' + detail);
    update();
}

QSize BarCell::sizeHint() const
{
    const int texts = qMax(Theme::textWidth(Theme::boldFont(font()), m_longest_title),
                           Theme::textWidth(Theme::smallFont(font()), m_longest_detail));
    const int padding = Theme::scaled(font(), Padding);
    const int sign = hasSign() ? Theme::scaled(font(), SignSize) + padding : 0;
    const int width = padding + sign + texts + padding;
    const int target = Theme::scaled(font(), Theme::TouchTarget);
    return QSize(qMax(width, target), Theme::scaled(font(), Theme::BarHeight));
}

QRgb BarCell::background() const
{
    switch (m_tone) {
    case Tone::Warning:
        return Theme::Warning;
    case Tone::Alarm:
        return Theme::Alarm;
    case Tone::Lit:
        return Theme::Lit;
    default:
        break;
    }
    if (m_kind == Kind::Display)
        return Theme::Bar;
    return isDown() ? Theme::BarButtonDown : Theme::BarButton;
}

QRgb BarCell::foreground() const
{
    switch (m_tone) {
    case Tone::Warning:
        return Theme::WarningText;
    case Tone::Alarm:
        return Theme::AlarmText;
    case Tone::Lit:
        return Theme::Text;
    case Tone::Quiet:
        return Theme::BarQuietText;
    default:
        return Theme::BarText;
    }
}

QRect BarCell::signRoom() const
{
    const int size = Theme::scaled(font(), SignSize);
    const bool alone = m_title.isEmpty() && m_detail.isEmpty();
    const int left = alone ? (width() - size) / 2 : Theme::scaled(font(), Padding);
    return QRect(left, (height() - size) / 2, size, size);
}

void BarCell::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(background()));
    painter.drawRoundedRect(rect().adjusted(0, Margin, 0, -Margin), Rounding, Rounding);
    if (hasSign()) {
        painter.setPen(QPen(QColor(foreground()), SignStroke * signRoom().width() / SignSize,
                            Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        paintSign(&painter, signRoom());
    }
    paintTexts(&painter);
}

void BarCell::paintTexts(QPainter *painter) const
{
    const int padding = Theme::scaled(font(), Padding);
    const int left = hasSign() ? signRoom().right() + 1 + padding : padding;
    const QRect room(left, 0, width() - left - padding, height());
    painter->setPen(QColor(foreground()));
    if (room.width() <= 0)
        return;
    const QFont titleFont = Theme::boldFont(font());
    const QFont detailFont = Theme::smallFont(font());
    const int titleHeight = QFontMetrics(titleFont).height();
    const int detailHeight = QFontMetrics(detailFont).height();
    const int top = (height() - titleHeight - detailHeight) / 2;
    paintLine(painter, titleFont, QRect(left, top, room.width(), titleHeight), Qt::AlignLeft,
              m_title);
    paintLine(painter, detailFont, QRect(left, top + titleHeight, room.width(), detailHeight),
              Qt::AlignLeft, m_detail);
}

void BarCell::paintLine(QPainter *painter, const QFont &lineFont, const QRect &room, int alignment,
                        const QString &line) const
{
    painter->setFont(lineFont);
    const QString text = QFontMetrics(lineFont).elidedText(line, Qt::ElideRight, room.width());
    painter->drawText(room, alignment | Qt::AlignVCenter | Qt::TextSingleLine, text);
}

void BarCell::mousePressEvent(QMouseEvent *event)
{
    if (m_kind == Kind::Display)
        QToolTip::showText(event->globalPos(), toolTip(), this);
    else
        QAbstractButton::mousePressEvent(event);
}
