#include "terminal/window/set_point_plot.h"

#include <algorithm>

#include <QPainter>

#include "terminal/window/theme.h"
#include "terminal/window/trend_data.h"

namespace
{

const int Marks = 3;
const int LineWidth = 2;
const int LeastWidth = 220;
const int LeastHeight = 90;
const int SecondsPerMinute = 60;
const int MinutesPerHour = 60;

TrendScale scaleOf(const std::vector<ProgramSegment> &segments)
{
    double greatest = 0.0;
    for (const ProgramSegment &segment : segments)
        greatest = std::max(greatest, segment.setPoint);
    return TrendScale::around(0.0, greatest, Marks);
}

} // namespace

QString durationText(double seconds)
{
    const qint64 whole = qRound64(seconds);
    if (whole < SecondsPerMinute)
        return QString("%1 s").arg(whole);
    const qint64 minutes = whole / SecondsPerMinute;
    return QString("%1:%2")
        .arg(minutes / MinutesPerHour)
        .arg(minutes % MinutesPerHour, 2, 10, QChar('0'));
}

SetPointPlot::SetPointPlot(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void SetPointPlot::setSegments(const std::vector<ProgramSegment> &segments)
{
    m_segments = segments;
    update();
}

QSize SetPointPlot::sizeHint() const
{
    return QSize(Theme::scaled(font(), LeastWidth), Theme::scaled(font(), LeastHeight));
}

double SetPointPlot::totalSeconds() const
{
    double total = 0.0;
    for (const ProgramSegment &segment : m_segments)
        total += segment.seconds;
    return total;
}

QRect SetPointPlot::plotArea() const
{
    const QFont small = Theme::smallFont(font());
    const int text = QFontMetrics(small).height();
    const QString widest = QString::number(scaleOf(m_segments).top, 'f', 0);
    const int left = Theme::textWidth(small, widest) + 2 * Theme::Gap;
    return QRect(QPoint(left, text / 2 + 2), QPoint(width() - 2 * Theme::Gap, height() - text - 4));
}

/// A program whose steps take no time shows them side by side.
QPolygonF SetPointPlot::line() const
{
    const QRectF area = plotArea();
    const TrendScale scale = scaleOf(m_segments);
    const double total = totalSeconds();
    QPolygonF corners;
    double done = 0.0;
    for (const ProgramSegment &segment : m_segments) {
        const double height = (segment.setPoint - scale.bottom) / (scale.top - scale.bottom);
        const double y = area.bottom() - area.height() * height;
        const double part =
            total > 0.0 ? segment.seconds / total : 1.0 / static_cast<double>(m_segments.size());
        corners << QPointF(area.left() + area.width() * done, y);
        done += part;
        corners << QPointF(area.left() + area.width() * done, y);
    }
    return corners;
}

void SetPointPlot::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(Theme::Surface));
    painter.setFont(Theme::smallFont(font()));
    if (m_segments.empty()) {
        painter.setPen(QColor(Theme::QuietText));
        painter.drawText(rect(), Qt::AlignCenter, "No set points to draw");
        return;
    }
    paintScale(&painter);
    paintTimes(&painter);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(Theme::Pens[0]), Theme::scaled(font(), LineWidth)));
    painter.drawPolyline(line());
}

void SetPointPlot::paintScale(QPainter *painter) const
{
    const QRect area = plotArea();
    const TrendScale scale = scaleOf(m_segments);
    const int text = painter->fontMetrics().height();
    const int steps = qRound((scale.top - scale.bottom) / scale.step);
    for (int i = 0; i <= steps; ++i) {
        const int y = area.bottom() - area.height() * i / steps;
        painter->setPen(QColor(Theme::Rule));
        painter->drawLine(area.left(), y, area.right(), y);
        painter->setPen(QColor(Theme::QuietText));
        painter->drawText(QRect(0, y - text / 2, area.left() - Theme::Gap, text),
                          Qt::AlignRight | Qt::AlignVCenter,
                          QString::number(scale.bottom + i * scale.step, 'f', 0));
    }
    painter->setPen(QColor(Theme::Axis));
    painter->drawLine(area.bottomLeft(), area.bottomRight());
    painter->drawLine(area.topLeft(), area.bottomLeft());
}

void SetPointPlot::paintTimes(QPainter *painter) const
{
    const QRect area = plotArea();
    const QRect below(area.left(), area.bottom() + 2, area.width(), height() - area.bottom() - 2);
    const double total = totalSeconds();
    painter->setPen(QColor(Theme::QuietText));
    painter->drawText(below, Qt::AlignLeft | Qt::AlignVCenter, "0");
    painter->drawText(below, Qt::AlignHCenter | Qt::AlignVCenter, durationText(total / 2));
    painter->drawText(below, Qt::AlignRight | Qt::AlignVCenter, durationText(total));
}
