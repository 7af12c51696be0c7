#include "terminal/window/trend_view.h"

#include <algorithm>
#include <limits>

#include <QMouseEvent>
#include <QPainter>

#include "terminal/report.h"
#include "terminal/window/state_sign.h"
#include "terminal/window/tag_table_model.h"
#include "terminal/window/theme.h"

namespace
{

const Qt::PenStyle Dashes[] = {Qt::SolidLine, Qt::DashLine, Qt::DotLine, Qt::DashDotLine};
const int LineWidth = 2;

const int Marks = 4; ///< about so many steps on the scale
const int LegendWidth = 186;
const int LegendSign = 16;
const int LeastPlotWidth = 180;
const int TimeMarks = 4;
const int MsInSecond = 1000;

const char Invitation[] = "Touch up to four rows of the table\nto draw their values here.";

/// The item that is drawn, and what is to be thought of it.
QString legendValue(const TagView &view)
{
    QString value = view.items.isEmpty() ? "-" : QString::number(view.items.first());
    if (isDoubtful(view.state))
        value = QString("? %1 (%2)").arg(value, tagStateName(view.state));
    return value;
}

} // namespace

const qint64 TrendView::SpanMs;

TrendView::TrendView(QWidget *parent)
    : QWidget(parent), m_pens(TagTableModel::Pens), m_now(0),
      m_scale(TrendScale::around(0, 0, Marks)), m_pressed_pen(-1)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void TrendView::startPen(int pen, const QString &name)
{
    Pen &started = m_pens[static_cast<size_t>(pen)];
    started.inUse = true;
    started.name = name;
    started.view = TagView();
    started.data.clear();
    update();
}

void TrendView::stopPen(int pen)
{
    Pen &stopped = m_pens[static_cast<size_t>(pen)];
    stopped.inUse = false;
    stopped.data.clear();
    fitScale();
    update();
}

void TrendView::record(int pen, const TagView &view, qint64 nowMs, qint64 staleAfterMs)
{
    Pen &drawn = m_pens[static_cast<size_t>(pen)];
    drawn.view = view;
    if (view.state == TagState::Ok && !view.items.isEmpty())
        drawn.data.add(nowMs - view.ageMs, view.items.first(), staleAfterMs);
    else
        drawn.data.addGap();
}

void TrendView::setNow(int pen, const TagView &view)
{
    Pen &drawn = m_pens[static_cast<size_t>(pen)];
    drawn.view = view;
    if (view.state != TagState::Ok)
        drawn.data.addGap();
}

void TrendView::setNow(qint64 nowMs)
{
    m_now = nowMs;
    for (Pen &pen : m_pens)
        pen.data.forget(nowMs);
    fitScale();
    update();
}

void TrendView::setHint(const QString &hint)
{
    m_hint = hint;
    update();
}

const TrendData &TrendView::data(int pen) const
{
    return m_pens[static_cast<size_t>(pen)].data;
}

// ---- Geometry

QSize TrendView::sizeHint() const
{
    const int legend = TagTableModel::Pens * Theme::scaled(font(), Theme::TouchTarget);
    return QSize(legendWidth() + scaleWidth() + Theme::scaled(font(), LeastPlotWidth), legend);
}

int TrendView::legendWidth() const
{
    return Theme::scaled(font(), LegendWidth);
}

QRect TrendView::legendCell(int pen) const
{
    const int top = height() * pen / TagTableModel::Pens;
    const int bottom = height() * (pen + 1) / TagTableModel::Pens;
    return QRect(width() - legendWidth(), top, legendWidth(), bottom - top);
}

/// Room for the widest mark, which is one of the ends: values are not negative.
int TrendView::scaleWidth() const
{
    const QString widest = QString::number(m_scale.top, 'f', 0);
    return Theme::textWidth(Theme::smallFont(font()), widest) + 2 * Theme::Gap;
}

QRect TrendView::plotArea() const
{
    const int line = QFontMetrics(Theme::smallFont(font())).height();
    return QRect(QPoint(scaleWidth(), line / 2 + 2),
                 QPoint(width() - legendWidth() - 2 * Theme::Gap, height() - line - 4));
}

void TrendView::fitScale()
{
    double least = std::numeric_limits<double>::max();
    double greatest = 0;
    for (const Pen &pen : m_pens) {
        for (const TrendData::Run &run : pen.data.runs()) {
            for (const TrendData::Point &point : run) {
                least = std::min(least, point.value);
                greatest = std::max(greatest, point.value);
            }
        }
    }
    m_scale = TrendScale::around(std::min(least, greatest), greatest, Marks);
}

QPointF TrendView::position(const TrendData::Point &point) const
{
    const QRectF area = plotArea();
    const double age = static_cast<double>(m_now - point.atMs);
    const double height = (point.value - m_scale.bottom) / (m_scale.top - m_scale.bottom);
    return QPointF(area.right() - area.width() * age / SpanMs,
                   area.bottom() - area.height() * height);
}

// ---- Painting

bool TrendView::isEmpty() const
{
    return std::none_of(m_pens.begin(), m_pens.end(), [](const Pen &pen) { return pen.inUse; });
}

void TrendView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(Theme::Surface));
    if (isEmpty()) {
        paintInvitation(&painter);
        return;
    }
    paintScale(&painter);
    paintTimes(&painter);
    for (int pen = 0; pen < TagTableModel::Pens; ++pen) {
        if (!m_pens[static_cast<size_t>(pen)].inUse)
            continue;
        paintPen(&painter, pen);
        paintLegend(&painter, pen);
    }
}

void TrendView::paintInvitation(QPainter *painter) const
{
    painter->setPen(QColor(Theme::QuietText));
    painter->drawText(rect().adjusted(Theme::Gap, 0, -Theme::Gap, 0),
                      Qt::AlignCenter | Qt::TextWordWrap, Invitation);
}

void TrendView::paintScale(QPainter *painter) const
{
    const QRect area = plotArea();
    painter->setFont(Theme::smallFont(font()));
    const int line = painter->fontMetrics().height();
    for (int i = 0; i <= qRound((m_scale.top - m_scale.bottom) / m_scale.step); ++i) {
        const double mark = m_scale.bottom + i * m_scale.step;
        const int y = qRound(position({m_now, mark}).y());
        painter->setPen(QColor(Theme::Rule));
        painter->drawLine(area.left(), y, area.right(), y);
        painter->setPen(QColor(Theme::QuietText));
        painter->drawText(QRect(0, y - line / 2, area.left() - Theme::Gap, line),
                          Qt::AlignRight | Qt::AlignVCenter, QString::number(mark, 'f', 0));
    }
    painter->setPen(QColor(Theme::Axis));
    painter->drawLine(area.bottomLeft(), area.bottomRight());
    painter->drawLine(area.topLeft(), area.bottomLeft());
}

void TrendView::paintTimes(QPainter *painter) const
{
    const QRect area = plotArea();
    const QRect below(area.left(), area.bottom() + 2, area.width(), height() - area.bottom() - 2);
    painter->setFont(Theme::smallFont(font()));
    if (!m_hint.isEmpty()) {
        painter->setPen(QColor(Theme::WarningText));
        painter->drawText(below, Qt::AlignLeft | Qt::AlignVCenter,
                          painter->fontMetrics().elidedText(m_hint, Qt::ElideRight, below.width()));
        return;
    }
    for (int mark = 0; mark <= TimeMarks; mark += TimeMarks / 2) {
        const int seconds = static_cast<int>(SpanMs / MsInSecond) * (TimeMarks - mark) / TimeMarks;
        const int alignment = mark == 0           ? Qt::AlignLeft
                              : mark == TimeMarks ? Qt::AlignRight
                                                  : Qt::AlignHCenter;
        painter->setPen(QColor(Theme::QuietText));
        painter->drawText(below, alignment | Qt::AlignVCenter,
                          seconds == 0 ? QString("now") : QString("-%1 s").arg(seconds));
    }
}

QPen TrendView::lineOf(int pen) const
{
    return QPen(QColor(Theme::Pens[pen]), Theme::scaled(font(), LineWidth), Dashes[pen],
                Qt::FlatCap, Qt::RoundJoin);
}

void TrendView::paintPen(QPainter *painter, int pen) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setClipRect(plotArea().adjusted(0, -2, 2, 2));
    for (const TrendData::Run &run : data(pen).runs()) {
        QPolygonF line;
        for (const TrendData::Point &point : run)
            line << position(point);
        painter->setPen(lineOf(pen));
        painter->drawPolyline(line);
        // A value alone, and where each line ends.
        painter->setPen(
            QPen(QColor(Theme::Pens[pen]), 2 * lineOf(pen).widthF(), Qt::SolidLine, Qt::RoundCap));
        painter->drawPoint(line.last());
    }
    painter->restore();
}

void TrendView::paintLegend(QPainter *painter, int pen) const
{
    const Pen &shown = m_pens[static_cast<size_t>(pen)];
    const QRect cell = legendCell(pen);
    painter->fillRect(cell.adjusted(0, 1, 0, -1),
                      QColor(m_pressed_pen == pen ? QColor(Theme::Rule)
                                                  : QColor(stateSurface(shown.view.state))));
    const int side = Theme::scaled(font(), LegendSign);
    const int gap = Theme::Gap / 2;
    const int line = QFontMetrics(Theme::smallFont(font())).height();
    const QRect upper(cell.left() + gap, cell.center().y() - line, side, line);
    const QRect lower(upper.left(), cell.center().y(), side, line);
    paintPenSign(painter, signSquare(upper, side), pen);
    painter->setPen(lineOf(pen));
    painter->drawLine(lower.left(), lower.center().y(), lower.right(), lower.center().y());
    const int left = upper.right() + 1 + gap;
    const int width = cell.right() - gap - left;
    paintLegendTexts(painter, QRect(left, upper.top(), width, line),
                     QRect(left, lower.top(), width, line), shown);
}

void TrendView::paintLegendTexts(QPainter *painter, const QRect &nameRoom, const QRect &valueRoom,
                                 const Pen &pen) const
{
    const QFont small = Theme::smallFont(font());
    painter->setFont(small);
    painter->setPen(QColor(Theme::Text));
    painter->drawText(nameRoom, Qt::AlignLeft | Qt::AlignVCenter,
                      QFontMetrics(small).elidedText(pen.name, Qt::ElideMiddle, nameRoom.width()));
    const QFont bold = Theme::boldFont(small);
    painter->setFont(bold);
    painter->setPen(QColor(stateText(pen.view.state)));
    const QString value = legendValue(pen.view);
    painter->drawText(valueRoom, Qt::AlignLeft | Qt::AlignVCenter,
                      QFontMetrics(bold).elidedText(value, Qt::ElideRight, valueRoom.width()));
}

// ---- Touching

void TrendView::mousePressEvent(QMouseEvent *event)
{
    m_pressed_pen = -1;
    for (int pen = 0; pen < TagTableModel::Pens; ++pen) {
        if (m_pens[static_cast<size_t>(pen)].inUse && legendCell(pen).contains(event->pos()))
            m_pressed_pen = pen;
    }
    update();
}

void TrendView::mouseReleaseEvent(QMouseEvent *event)
{
    const int pen = m_pressed_pen;
    m_pressed_pen = -1;
    update();
    if (pen >= 0 && legendCell(pen).contains(event->pos()))
        emit penTapped(pen);
}
