#include "terminal/window/storage_indicator.h"

#include <QPainter>
#include <QPainterPath>

namespace
{

const quint64 UnitStep = 1000;
const char *const Units[] = {"B", "kB", "MB", "GB", "TB", "PB", "EB"};

BarCell::Tone toneOf(const StorageState &state)
{
    if (!state.mounted)
        return BarCell::Tone::Quiet;
    const bool full = state.totalBytes > 0 && state.freeBytes == 0;
    return state.busy || full ? BarCell::Tone::Warning : BarCell::Tone::Normal;
}

QString roomText(const StorageState &state)
{
    if (state.totalBytes == 0)
        return "size unknown";
    return state.freeBytes == 0 ? QString("full") : bytesText(state.freeBytes) + " free";
}

} // namespace

QString bytesText(quint64 bytes)
{
    quint64 unit = 1;
    int steps = 0;
    while (bytes / unit >= UnitStep) {
        unit *= UnitStep;
        ++steps;
    }
    const quint64 whole = bytes / unit;
    if (steps == 0 || whole >= 100)
        return QString("%1 %2").arg(whole).arg(Units[steps]);
    return QString("%1.%2 %3").arg(whole).arg(bytes % unit / (unit / 10)).arg(Units[steps]);
}

StorageIndicator::StorageIndicator(Device device, QWidget *parent)
    : BarCell(Kind::Display, parent), m_device(device)
{
    setLongestTexts(name() + " busy", "88.8 GB free");
    setState(StorageState());
}

QString StorageIndicator::name() const
{
    return m_device == Device::UsbStick ? "USB" : "Card";
}

void StorageIndicator::setState(const StorageState &state)
{
    const QString title = state.mounted && state.busy ? name() + " busy" : name();
    const QString none = m_device == Device::UsbStick ? "no stick" : "no card";
    setContents(title, state.mounted ? roomText(state) : none, toneOf(state));
    setToolTip(tip(state));
}

QString StorageIndicator::tip(const StorageState &state) const
{
    if (!state.mounted)
        return name() + ": nothing is plugged in";
    return QString("<p>%1 at %2%3</p><p>%4 of %5 free</p>")
        .arg(name(), state.path.toHtmlEscaped(), state.busy ? ", busy: do not pull it" : "",
             bytesText(state.freeBytes), bytesText(state.totalBytes));
}

void StorageIndicator::paintSign(QPainter *painter, const QRectF &room) const
{
    const double unit = room.width() / 10;
    const QPointF corner = room.topLeft();
    QPainterPath path;
    if (m_device == Device::UsbStick) {
        path.addRoundedRect(QRectF(corner + QPointF(2, 4) * unit, QSizeF(6, 6) * unit), unit, unit);
        path.addRect(QRectF(corner + QPointF(3, 0.5) * unit, QSizeF(4, 3.5) * unit));
    } else {
        path.addPolygon(QPolygonF({QPointF(1.5, 0.5), QPointF(6, 0.5), QPointF(8.5, 3),
                                   QPointF(8.5, 9.5), QPointF(1.5, 9.5), QPointF(1.5, 0.5)}));
        path.moveTo(3.5, 2.5);
        path.lineTo(3.5, 4.5);
        path.moveTo(5.5, 2.5);
        path.lineTo(5.5, 4.5);
        path = QTransform(unit, 0, 0, unit, corner.x(), corner.y()).map(path);
    }
    painter->drawPath(path);
}
