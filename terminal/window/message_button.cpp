#include "terminal/window/message_button.h"

#include <QPainter>
#include <QPainterPath>

MessageButton::MessageButton(QWidget *parent) : BarCell(Kind::Button, parent)
{
    setToolTip("Shows and hides the messages");
    setAccessibleName("Messages");
}

/// A speech bubble with two lines of text.
void MessageButton::paintSign(QPainter *painter, const QRectF &room) const
{
    const double unit = room.width() / 10;
    QPainterPath path;
    path.addPolygon(
        QPolygonF({QPointF(0.5, 1), QPointF(9.5, 1), QPointF(9.5, 7), QPointF(5, 7),
                   QPointF(2.5, 9.5), QPointF(2.5, 7), QPointF(0.5, 7), QPointF(0.5, 1)}));
    path.moveTo(2.5, 3);
    path.lineTo(7.5, 3);
    path.moveTo(2.5, 5);
    path.lineTo(6, 5);
    painter->drawPath(QTransform(unit, 0, 0, unit, room.x(), room.y()).map(path));
}
