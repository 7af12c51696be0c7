#include "terminal/window/state_sign.h"

#include <QPolygonF>

#include "terminal/window/theme.h"

namespace
{

const double StrokeShare = 0.14; ///< of the sign's side

QRectF inner(const QRectF &room, double share)
{
    const double margin = room.width() * (1 - share) / 2;
    return room.adjusted(margin, margin, -margin, -margin);
}

void paintTriangle(QPainter *painter, const QRectF &room)
{
    painter->setBrush(Qt::NoBrush);
    painter->drawPolygon(
        QPolygonF({QPointF(room.center().x(), room.top()), room.bottomRight(), room.bottomLeft()}));
    const QPointF middle = room.center();
    const double height = room.height();
    painter->drawLine(middle - QPointF(0, 0.1 * height), middle + QPointF(0, 0.15 * height));
    painter->drawPoint(middle + QPointF(0, 0.36 * height));
}

void paintCross(QPainter *painter, const QRectF &room)
{
    painter->drawLine(room.topLeft(), room.bottomRight());
    painter->drawLine(room.topRight(), room.bottomLeft());
}

} // namespace

QRgb stateText(TagState state)
{
    switch (state) {
    case TagState::Ok:
        return Theme::Text;
    case TagState::Failed:
        return Theme::AlarmText;
    case TagState::Stale:
        return Theme::WarningText;
    default:
        return Theme::QuietText;
    }
}

QRgb stateSurface(TagState state)
{
    switch (state) {
    case TagState::Failed:
        return Theme::Alarm;
    case TagState::Stale:
        return Theme::Warning;
    default:
        return Theme::Surface;
    }
}

bool isDoubtful(TagState state)
{
    return state != TagState::Ok;
}

QRectF signSquare(const QRect &room, int side)
{
    return QRectF(room.left(), room.top() + (room.height() - side) / 2.0, side, side);
}

void paintStateSign(QPainter *painter, const QRectF &room, TagState state)
{
    const QColor colour(stateText(state));
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(
        QPen(colour, StrokeShare * room.width(), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    switch (state) {
    case TagState::Ok:
        painter->setBrush(colour);
        painter->drawEllipse(inner(room, 0.4));
        break;
    case TagState::Waiting:
        painter->setBrush(Qt::NoBrush);
        painter->drawEllipse(inner(room, 0.7));
        break;
    case TagState::Stale:
        paintTriangle(painter, inner(room, 0.9));
        break;
    case TagState::Failed:
        paintCross(painter, inner(room, 0.65));
        break;
    }
    painter->restore();
}

void paintPenSign(QPainter *painter, const QRectF &room, int pen)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(QColor(Theme::Pens[pen]));
    painter->drawRoundedRect(room, 3, 3);
    QFont font = Theme::boldFont(painter->font());
    font.setPixelSize(qRound(0.75 * room.height()));
    font.setStrikeOut(false);
    painter->setFont(font);
    painter->setPen(QColor(Theme::Surface));
    painter->drawText(room, Qt::AlignCenter, QString::number(pen + 1));
    painter->restore();
}
