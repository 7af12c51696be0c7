#include "terminal/window/beep_switch.h"

#include <QPainter>
#include <QPainterPath>

BeepSwitch::BeepSwitch(QWidget *parent) : BarCell(Kind::Button, parent), m_on(false), m_lit(false)
{
    setLongestTexts("Beep", "off");
    setToolTip("Switches the terminal's beeper on and off");
    connect(this, &QAbstractButton::clicked, this, &BeepSwitch::switchOver);
    showState();
}

void BeepSwitch::setOn(bool on)
{
    m_on = on;
    showState();
}

void BeepSwitch::setLit(bool lit)
{
    m_lit = lit;
    showState();
}

void BeepSwitch::switchOver()
{
    setOn(!m_on);
    emit switched(m_on);
}

void BeepSwitch::showState()
{
    const Tone tone = m_lit ? Tone::Lit : m_on ? Tone::Normal : Tone::Quiet;
    setContents("Beep", m_on ? "on" : "off", tone);
}

/// A loudspeaker with its sound, or crossed out.
void BeepSwitch::paintSign(QPainter *painter, const QRectF &room) const
{
    const double unit = room.width() / 10;
    QPainterPath path;
    path.addPolygon(QPolygonF({QPointF(0.5, 3.5), QPointF(2.5, 3.5), QPointF(5, 1), QPointF(5, 9),
                               QPointF(2.5, 6.5), QPointF(0.5, 6.5), QPointF(0.5, 3.5)}));
    if (m_on || m_lit) {
        path.arcMoveTo(QRectF(4, 3, 3, 4), -60);
        path.arcTo(QRectF(4, 3, 3, 4), -60, 120);
        path.arcMoveTo(QRectF(4, 1, 5.5, 8), -60);
        path.arcTo(QRectF(4, 1, 5.5, 8), -60, 120);
    } else {
        path.moveTo(6.5, 3.5);
        path.lineTo(9.5, 6.5);
        path.moveTo(9.5, 3.5);
        path.lineTo(6.5, 6.5);
    }
    painter->drawPath(QTransform(unit, 0, 0, unit, room.x(), room.y()).map(path));
}
