#include "terminal/window/touch_table.h"

#include <QEvent>
#include <QHeaderView>
#include <QMouseEvent>
#include <QScrollerProperties>
#include <QTimer>
#include <QToolTip>

#include "terminal/window/theme.h"

namespace
{

const int HoldMs = 500;
const int HeadingHeight = 28;

/// A table ends where its rows end.
QScrollerProperties withoutOvershoot()
{
    QScrollerProperties properties;
    const QVariant off = QVariant::fromValue(QScrollerProperties::OvershootAlwaysOff);
    properties.setScrollMetric(QScrollerProperties::VerticalOvershootPolicy, off);
    properties.setScrollMetric(QScrollerProperties::HorizontalOvershootPolicy, off);
    return properties;
}

} // namespace

TouchTable::TouchTable(QWidget *parent)
    : QTableView(parent), m_hold_timer(new QTimer(this)), m_is_tap(false)
{
    setShowGrid(false);
    setSelectionMode(NoSelection);
    setEditTriggers(NoEditTriggers);
    setFocusPolicy(Qt::NoFocus);
    setWordWrap(false);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollMode(ScrollPerPixel);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setSectionsClickable(false);
    scroller()->setScrollerProperties(withoutOvershoot());
    m_hold_timer->setSingleShot(true);
    m_hold_timer->setInterval(HoldMs);
    connect(m_hold_timer, &QTimer::timeout, this, &TouchTable::showHeldTip);
}

void TouchTable::changeEvent(QEvent *event)
{
    QTableView::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        fitText();
}

void TouchTable::fitText()
{
    const QString style = Theme::tableStyle(font());
    if (style != styleSheet())
        setStyleSheet(style);
    fitRows();
    fitColumns();
}

void TouchTable::fitRows()
{
    verticalHeader()->setMinimumSectionSize(Theme::TouchTarget);
    verticalHeader()->setDefaultSectionSize(Theme::scaled(font(), Theme::RowHeight));
    horizontalHeader()->setFixedHeight(Theme::scaled(font(), HeadingHeight));
}

QScroller *TouchTable::scroller() const
{
    return QScroller::scroller(viewport());
}

// The scroller is told what the finger does instead of having a gesture of its own: that would hold
// each press back for a while, and keep its memory after the table has gone.

void TouchTable::mousePressEvent(QMouseEvent *event)
{
    const bool stopsScrolling = scroller()->state() == QScroller::Scrolling;
    m_is_tap = event->button() == Qt::LeftButton && !stopsScrolling;
    m_pressed_at = event->pos();
    tellScroller(QScroller::InputPress, event);
    if (m_is_tap)
        m_hold_timer->start();
}

void TouchTable::mouseMoveEvent(QMouseEvent *event)
{
    tellScroller(QScroller::InputMove, event);
    if (scroller()->state() != QScroller::Dragging)
        return;
    m_is_tap = false;
    m_hold_timer->stop();
}

void TouchTable::mouseReleaseEvent(QMouseEvent *event)
{
    m_hold_timer->stop();
    tellScroller(QScroller::InputRelease, event);
    const int row = indexAt(event->pos()).row();
    if (m_is_tap && row >= 0 && row == indexAt(m_pressed_at).row())
        emit rowTapped(row);
    m_is_tap = false;
}

void TouchTable::tellScroller(QScroller::Input input, QMouseEvent *event)
{
    scroller()->handleInput(input, event->localPos(), static_cast<qint64>(event->timestamp()));
}

void TouchTable::showHeldTip()
{
    m_is_tap = false;
    const QString tip = indexAt(m_pressed_at).data(Qt::ToolTipRole).toString();
    QToolTip::showText(viewport()->mapToGlobal(m_pressed_at), tip, viewport());
}
