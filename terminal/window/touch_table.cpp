#include "terminal/window/touch_table.h"

#include <QEvent>
#include <QHeaderView>
#include <QMouseEvent>
#include <QScrollBar>
#include <QScroller>
#include <QTimer>
#include <QToolTip>

#include "terminal/window/theme.h"

namespace
{

const int HoldMs = 500;
const int HeadingHeight = 28;

void scrollByDragging(QWidget *viewport)
{
    QScroller::grabGesture(viewport, QScroller::LeftMouseButtonGesture);
    QScrollerProperties properties;
    const QVariant off = QVariant::fromValue(QScrollerProperties::OvershootAlwaysOff);
    properties.setScrollMetric(QScrollerProperties::VerticalOvershootPolicy, off);
    properties.setScrollMetric(QScrollerProperties::HorizontalOvershootPolicy, off);
    QScroller::scroller(viewport)->setScrollerProperties(properties);
}

} // namespace

TouchTable::TouchTable(QWidget *parent)
    : QTableView(parent), m_hold_timer(new QTimer(this)), m_held(false)
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
    scrollByDragging(viewport());
    m_hold_timer->setSingleShot(true);
    m_hold_timer->setInterval(HoldMs);
    connect(m_hold_timer, &QTimer::timeout, this, &TouchTable::showHeldTip);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, m_hold_timer, &QTimer::stop);
    connect(this, &QAbstractItemView::clicked, this, [this](const QModelIndex &index) {
        if (!m_held)
            emit rowTapped(index.row());
    });
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

void TouchTable::mousePressEvent(QMouseEvent *event)
{
    QTableView::mousePressEvent(event);
    m_held = false;
    m_pressed_at = event->pos();
    m_hold_timer->start();
}

void TouchTable::mouseReleaseEvent(QMouseEvent *event)
{
    m_hold_timer->stop();
    QTableView::mouseReleaseEvent(event);
}

void TouchTable::showHeldTip()
{
    m_held = true;
    const QString tip = indexAt(m_pressed_at).data(Qt::ToolTipRole).toString();
    QToolTip::showText(viewport()->mapToGlobal(m_pressed_at), tip, viewport());
}
