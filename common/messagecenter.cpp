#include "common/messagecenter.h"

#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <cstdlib>

#include "common/messagecenteritemwidget.h"
#include "common/messagecenterlistwidget.h"
#include "common/messagecenterlook.h"
#include "common/qtcompat.h"

namespace
{

const int MaxRows = 100;
const int AnimationInterval = 100; ///< ms
const int HideInterval = 6000;     ///< ms
const int Steps = 5;               ///< of a slide

const int HeaderHeight = 24; ///< pixels, as all below
const int SideMargin = 8;
const int RowHeight = 60;
const int RowPitch = 61;
const int RowInset = 4;                               ///< what a row is narrower than the list
const int HeightMargin = 40;                          ///< what the panel is higher than its rows
const int BottomMargin = HeightMargin - HeaderHeight; ///< so that the list shows whole rows
const int GripWidth = 48;
const int GripHeight = 4;

const QRgb AlphaMask = 0xFF000000;

QString rowText(const QString &title, const QString &text)
{
    return QString::fromLatin1("%1\n%2").arg(title, text);
}

MessageCenterItemWidget *rowWidget(MessageCenterListWidget *list, QListWidgetItem *item)
{
    return static_cast<MessageCenterItemWidget *>(list->itemWidget(item));
}

} // namespace

MessageCenter *MessageCenter::m_instance = 0;

MessageCenter *MessageCenter::initInstance(QSize maximumSize, QSize initialSize, int mode,
                                           QRect anchor, int colour)
{
    if (!m_instance)
        m_instance = new MessageCenter(maximumSize, initialSize, mode, anchor, colour);
    return m_instance;
}

MessageCenter *MessageCenter::getInstance()
{
    return m_instance;
}

MessageCenter::MessageCenter(QSize maximumSize, QSize initialSize, int mode, QRect anchor,
                             int colour, QWidget *parent)
    : QWidget(parent,
              Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint),
      m_maximum_size(maximumSize), m_mode(mode), m_anchor(anchor),
      m_animation_timer(newTimer("timer_animation", AnimationInterval, SLOT(timerOut()))),
      m_hide_timer(newTimer("timer_hide", HideInterval, SLOT(_hideWrapper()))),
      m_reject_message(false), m_direction(XIncreasing), m_step(0), m_distance(0), m_target(0),
      m_list_widget(new MessageCenterListWidget(this)), m_in_queued_call(false),
      m_queued_messages(0), m_messages_held(false), m_held_instant(false)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFixedSize(initialSize);
    setUpPalette(static_cast<QRgb>(colour));
    setUpList();
    updatePositions();
}

MessageCenter::~MessageCenter()
{
    if (m_instance == this)
        m_instance = 0;
}

void MessageCenter::setUpPalette(QRgb colour)
{
    QPalette colours = palette();
    colours.setColor(QPalette::Window, QColor::fromRgba(colour));
    colours.setColor(QPalette::WindowText, QColor::fromRgba(colour ^ AlphaMask));
    setPalette(colours);
    // The text colour above is the background's own: no text could be read in it.
    m_list_widget->setPalette(rowPalette(QColor::fromRgba(colour)));
}

void MessageCenter::setUpList()
{
    QHBoxLayout *panel_layout = new QHBoxLayout(this);
    panel_layout->setContentsMargins(SideMargin, HeaderHeight, SideMargin, BottomMargin);
    panel_layout->addWidget(m_list_widget);
    m_list_widget->setAutoScroll(false);
    m_list_widget->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list_widget->setSelectionMode(QAbstractItemView::NoSelection);
    connect(m_list_widget, SIGNAL(scrollClicked()), this, SLOT(restartHideTimer()));
    panel_layout->setGeometry(rect());
}

QTimer *MessageCenter::newTimer(const char *name, int interval, const char *slot)
{
    QTimer *timer = new QTimer(this);
    timer->setObjectName(QLatin1String(name));
    timer->setInterval(interval);
    connect(timer, SIGNAL(timeout()), this, slot);
    return timer;
}

void MessageCenter::setRejectMessage(bool reject)
{
    m_reject_message = reject;
}

bool MessageCenter::rejectedMessage()
{
    return m_reject_message;
}

// ---- Messages ----------------------------------------------------------------------------------

/// Tells queued signals from direct ones: only those may be held back, for nobody waits for them.
bool MessageCenter::event(QEvent *event)
{
    if (event->type() != QEvent::MetaCall)
        return QWidget::event(event);
    m_in_queued_call = true;
    const bool recognized = QWidget::event(event);
    m_in_queued_call = false;
    return recognized;
}

void MessageCenter::showMessageAsync(const QString &title, const QString &text, bool showInstant)
{
    if (m_reject_message)
        return;
    if (mayShowNow())
        _showMessage(sender(), title, text, showInstant);
    else
        holdMessage(sender(), rowText(title, text), showInstant);
}

/// A round of the event queue shows as many messages one by one as there can be rows.
bool MessageCenter::mayShowNow()
{
    if (!m_in_queued_call)
        return true;
    if (m_queued_messages == 0)
        QMetaObject::invokeMethod(this, "showHeldMessages", Qt::QueuedConnection);
    if (m_queued_messages == MaxRows)
        return false;
    ++m_queued_messages;
    return true;
}

void MessageCenter::testMessage()
{
    _showMessage(0, QLatin1String("test"), QLatin1String("sdfsdf"), false);
}

void MessageCenter::_showMessage(QObject *sender, const QString &title, const QString &text,
                                 bool showInstant)
{
    addHeldRows();
    const QString row_text = rowText(title, text);
    if (!setRowText(sender, row_text)) {
        addRow(sender, row_text);
        removeOldestRows();
    }
    showPanel(showInstant);
}

void MessageCenter::showPanel(bool instant)
{
    m_messages_held = false;
    if (instant)
        instantShow();
    else
        _showWrapper();
    m_list_widget->determineScrollVisible();
}

bool MessageCenter::setRowText(QObject *sender, const QString &text)
{
    QListWidgetItem *item = sender ? m_items.value(sender) : 0;
    if (!item)
        return false;
    if (m_list_widget->row(item) + m_held_messages.size() >= MaxRows) {
        m_items.remove(sender); // those that wait will push it out
        return false;
    }
    rowWidget(m_list_widget, item)->setMessage(text);
    return true;
}

void MessageCenter::addRow(QObject *sender, const QString &text)
{
    QListWidgetItem *item = new QListWidgetItem;
    MessageCenterItemWidget *widget = new MessageCenterItemWidget;
    widget->setMessage(text);
    widget->setFixedSize(m_list_widget->width() - RowInset, RowHeight);
    item->setSizeHint(QSize(widget->width(), RowPitch));
    m_list_widget->insertItem(0, item);
    m_list_widget->setItemWidget(item, widget);
    m_list_widget->scrollToTop();
    connect(widget, SIGNAL(removeClicked()), this, SLOT(itemWidgetRemoveClicked()));
    adjustSize();
    if (sender)
        m_items.insert(sender, item);
}

void MessageCenter::removeOldestRows()
{
    while (m_list_widget->count() > MaxRows)
        takeRow(m_list_widget->item(m_list_widget->count() - 1));
}

void MessageCenter::itemWidgetRemoveClicked()
{
    for (int row = 0; row < m_list_widget->count(); ++row) {
        QListWidgetItem *item = m_list_widget->item(row);
        if (m_list_widget->itemWidget(item) == sender()) {
            removeRow(item);
            return;
        }
    }
}

void MessageCenter::removeMessageAsync()
{
    const int held = heldMessageOf(sender());
    if (held >= 0)
        m_held_messages.removeAt(held);
    QListWidgetItem *item = m_items.value(sender());
    if (item)
        removeRow(item);
}

void MessageCenter::removeRow(QListWidgetItem *item)
{
    const bool blocked = blockSignals(true);
    takeRow(item);
    adjustSize();
    m_list_widget->determineScrollVisible();
    blockSignals(blocked);
}

/// The list deletes the row's widget later: its button may just be telling of a click.
void MessageCenter::takeRow(QListWidgetItem *item)
{
    m_items.remove(m_items.key(item));
    delete m_list_widget->takeItem(m_list_widget->row(item));
}

void MessageCenter::forgetSender(QObject *sender)
{
    m_items.remove(sender);
    const int held = heldMessageOf(sender);
    if (held >= 0)
        m_held_messages[held].sender = 0;
}

// ---- Messages held back while too many are queued

void MessageCenter::holdMessage(QObject *sender, const QString &text, bool showInstant)
{
    if (!setRowText(sender, text))
        holdRow(sender, text);
    m_messages_held = true;
    m_held_instant = showInstant;
}

void MessageCenter::holdRow(QObject *sender, const QString &text)
{
    const int held = heldMessageOf(sender);
    if (held >= 0) {
        m_held_messages[held].text = text;
        return;
    }
    const HeldMessage message = {sender, text};
    m_held_messages.append(message);
    if (m_held_messages.size() > MaxRows)
        m_held_messages.removeFirst();
}

/// Its index, or -1: nobody's messages are never found.
int MessageCenter::heldMessageOf(QObject *sender) const
{
    for (int i = 0; sender && i < m_held_messages.size(); ++i) {
        if (m_held_messages.at(i).sender == sender)
            return i;
    }
    return -1;
}

void MessageCenter::addHeldRows()
{
    while (!m_held_messages.isEmpty()) {
        const HeldMessage message = m_held_messages.takeFirst();
        addRow(message.sender, message.text);
        removeOldestRows();
    }
}

/// Comes with the next round of the event queue.
void MessageCenter::showHeldMessages()
{
    m_queued_messages = 0;
    if (!m_messages_held)
        return;
    addHeldRows();
    m_messages_held = false;
    if (m_list_widget->count() > 0)
        showPanel(m_held_instant);
}

// ---- Size and position -------------------------------------------------------------------------

void MessageCenter::adjustSize()
{
    const bool shown = pos() == m_shown_position;
    setPanelHeight(heightForRows(m_list_widget->count()));
    if (shown)
        move(m_shown_position);
    if (m_list_widget->count() == 0 || pos() == m_hidden_position)
        move(m_hidden_position);
    m_list_widget->determineScrollVisible();
}

/// Whether the rows fit is asked with the rows' own height and not with their pitch, so that the
/// panel may grow a little beyond its maximum before it pages.
int MessageCenter::heightForRows(int rows) const
{
    const int room = m_maximum_size.height() - HeightMargin;
    if (RowHeight * rows < room)
        return RowPitch * rows + HeightMargin;
    return room / RowPitch * RowPitch + HeightMargin;
}

void MessageCenter::setPanelHeight(int panel_height)
{
    if (panel_height == height())
        return;
    setFixedHeight(panel_height);
    if (isVisible())
        return;
    // The resize event waits until the panel is shown.
    layout()->setGeometry(rect());
    updatePositions();
}

void MessageCenter::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    updatePositions();
}

void MessageCenter::updatePositions()
{
    const int right_aligned = m_anchor.right() - width();
    const int bottom_aligned = m_anchor.bottom() - height();
    switch (m_mode) {
    case AboveAnchor:
        m_shown_position = QPoint(right_aligned, m_anchor.top() - height());
        m_hidden_position = QPoint(right_aligned, m_anchor.bottom() + 2);
        break;
    case BelowAnchor:
        m_shown_position = QPoint(right_aligned, m_anchor.bottom() + 1);
        m_hidden_position = QPoint(right_aligned, m_anchor.top() - height());
        break;
    case RightOfAnchor:
        m_shown_position = QPoint(m_anchor.right() + 1, bottom_aligned);
        m_hidden_position = QPoint(m_anchor.left() - width(), bottom_aligned);
        break;
    case LeftOfAnchor:
        m_shown_position = QPoint(m_anchor.left() - width(), bottom_aligned);
        m_hidden_position = QPoint(m_anchor.right() + 2, bottom_aligned);
        break;
    default:
        qDebug("WTF? Where should I be?");
        m_shown_position = QPoint(0, 0);
        m_hidden_position = QPoint(-width(), 0);
    }
    m_animation_timer->stop();
    move(m_hidden_position);
}

// ---- Showing and hiding ------------------------------------------------------------------------

void MessageCenter::instantShow()
{
    m_animation_timer->stop();
    showOnTop();
    move(m_shown_position);
    m_hide_timer->start();
}

/// Above its siblings; a window of its own stays on top anyway.
void MessageCenter::showOnTop()
{
    setVisible(true);
    if (!isWindow())
        raise();
}

void MessageCenter::instantHide()
{
    m_animation_timer->stop();
    move(m_hidden_position);
    setVisible(false);
}

void MessageCenter::animatedShow()
{
    move(m_hidden_position);
    showOnTop();
    slide(showDirection(), m_hidden_position, m_shown_position);
    m_hide_timer->start();
}

void MessageCenter::animatedHide()
{
    m_hide_timer->stop();
    move(m_shown_position);
    slide(opposite(showDirection()), m_shown_position, m_hidden_position);
}

MessageCenter::Direction MessageCenter::showDirection() const
{
    switch (m_mode) {
    case AboveAnchor:
        return YDecreasing;
    case BelowAnchor:
        return YIncreasing;
    case LeftOfAnchor:
        return XDecreasing;
    default:
        return XIncreasing;
    }
}

MessageCenter::Direction MessageCenter::opposite(Direction direction)
{
    switch (direction) {
    case XDecreasing:
        return XIncreasing;
    case XIncreasing:
        return XDecreasing;
    case YDecreasing:
        return YIncreasing;
    default:
        return YDecreasing;
    }
}

bool MessageCenter::slidesHorizontally() const
{
    return m_direction == XDecreasing || m_direction == XIncreasing;
}

void MessageCenter::slide(Direction direction, const QPoint &from, const QPoint &to)
{
    m_direction = direction;
    m_target = slidesHorizontally() ? to.x() : to.y();
    m_distance = std::abs(m_target - (slidesHorizontally() ? from.x() : from.y()));
    m_step = 0;
    m_animation_timer->start();
}

void MessageCenter::timerOut()
{
    QPoint position = pos();
    int &coordinate = slidesHorizontally() ? position.rx() : position.ry();
    const bool increasing = m_direction == XIncreasing || m_direction == YIncreasing;
    coordinate += increasing ? m_distance / Steps : -(m_distance / Steps);
    if (++m_step >= Steps) {
        coordinate = m_target;
        m_animation_timer->stop();
    }
    move(position);
}

void MessageCenter::_showWrapper()
{
    animatedShow();
}

/// A panel that is away already would have to come back to slide away.
void MessageCenter::_hideWrapper()
{
    if (pos() == m_hidden_position)
        m_hide_timer->stop();
    else
        animatedHide();
}

void MessageCenter::restartHideTimer()
{
    if (m_hide_timer->isActive())
        m_hide_timer->start();
}

void MessageCenter::toggleShowHide()
{
    if (pos() == m_shown_position)
        animatedHide();
    else if (pos() == m_hidden_position && m_list_widget->count() > 0)
        animatedShow();
}

void MessageCenter::mousePressEvent(QMouseEvent *event)
{
    if (QRect(0, 0, width(), HeaderHeight).contains(event->pos()))
        toggleShowHide();
}

void MessageCenter::paintEvent(QPaintEvent *)
{
    const QPalette rows = m_list_widget->palette();
    QPainter painter(this);
    painter.fillRect(rect(), rows.color(QPalette::Base));
    painter.setPen(rows.color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    const QRect grip((width() - GripWidth) / 2, (HeaderHeight - GripHeight) / 2, GripWidth,
                     GripHeight);
    painter.fillRect(grip, rows.color(QPalette::WindowText));
}
