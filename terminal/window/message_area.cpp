#include "terminal/window/message_area.h"

#include "common/messagecenter.h"

#include <QEvent>

namespace
{

const int HangsBelow = 1; ///< the panel's position mode
const int EmptyPanelHeight = 40;
const QRect Nowhere(-1, -1, 1, 1);
const int PanelColour = static_cast<int>(0xFF202A33); ///< RGBA; the text takes its own

/// The panel's right edge stands at the anchor's right, its upper edge one pixel below the anchor:
/// so that the panel just fills the area.
QRect anchorAbove(const QSize &room)
{
    return QRect(0, -1, room.width() + 1, 1);
}

} // namespace

MessageArea::MessageArea(QWidget *screen, const QSize &room)
    : QWidget(screen),
      m_panel(MessageCenter::initInstance(room, QSize(room.width(), EmptyPanelHeight), HangsBelow,
                                          anchorAbove(room), PanelColour))
{
    resize(room);
    m_panel->setParent(this);
    m_panel->installEventFilter(this);
    m_panel->instantHide();
    coverOnlyThePanel();
    show();
}

void MessageArea::setCorner(const QPoint &upperRight)
{
    move(upperRight.x() - width() + 1, upperRight.y());
}

bool MessageArea::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::ShowToParent:
    case QEvent::HideToParent:
        coverOnlyThePanel();
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

void MessageArea::coverOnlyThePanel()
{
    // A widget that is hidden would not be told of its children's ways, and an empty mask is none.
    const QRect covered = m_panel->geometry() & rect();
    const bool seen = !m_panel->isHidden() && !covered.isEmpty();
    setMask(seen ? covered : Nowhere);
    if (seen)
        raise();
}
