#include "common/messagecenterlistwidget.h"

#include <QApplication>
#include <QLabel>
#include <QScrollBar>

#include "common/messagecenteritemwidget.h"
#include "common/messagecenterlook.h"
#include "common/qtcompat.h"

// A static library's resource is only linked where it is asked for, outside of all namespaces.
static void initImages()
{
    Q_INIT_RESOURCE(images);
}

namespace
{

const int WheelStep = 200; ///< eighths of a degree
const int ButtonSide = 48; ///< pixels; a finger's
const int IconSide = 32;   ///< pixels
const int LabelPoints = 8; // a strip as wide as a button takes "100/100"
const int LabelHeight = 18;
const int Gap = 4; ///< around the buttons, pixels

} // namespace

MessageCenterListWidget::MessageCenterListWidget(QWidget *parent)
    : QListWidget(parent), m_up_button(0), m_down_button(0), m_page_label(new QLabel(this))
{
    initImages();
    m_up_button = newButton("pushButton_up", ":/images/up_arrow.png", SLOT(previousClicked()));
    m_down_button = newButton("pushButton_down", ":/images/down_arrow.png", SLOT(nextClicked()));
    m_page_label->setObjectName(QLatin1String("label_page"));
    QFont label_font;
    label_font.setPointSize(LabelPoints);
    label_font.setWeight(QFont::Bold);
    m_page_label->setFont(label_font);
    m_page_label->setAutoFillBackground(true);
    m_page_label->setBackgroundRole(QPalette::Base);
    m_page_label->setForegroundRole(QPalette::WindowText);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(verticalScrollBar(), SIGNAL(valueChanged(int)), this, SLOT(determineScrollVisible()));
    hideScroll();
}

MessageCenterListWidget::~MessageCenterListWidget() {}

QPushButton *MessageCenterListWidget::newButton(const char *name, const char *image,
                                                const char *slot)
{
    QPushButton *button = new TouchButton(this);
    button->setObjectName(QLatin1String(name));
    button->setIcon(QIcon(QLatin1String(image)));
    button->setIconSize(QSize(IconSide, IconSide));
    connect(button, SIGNAL(clicked()), this, slot);
    return button;
}

void MessageCenterListWidget::nextClicked()
{
    scrollBy(-WheelStep);
    emit scrollClicked();
}

void MessageCenterListWidget::previousClicked()
{
    scrollBy(WheelStep);
    emit scrollClicked();
}

void MessageCenterListWidget::scrollBy(int delta)
{
    const QPoint centre = viewport()->rect().center();
    QWheelEvent event = verticalWheelEvent(centre, viewport()->mapToGlobal(centre), delta);
    QApplication::sendEvent(viewport(), &event);
}

void MessageCenterListWidget::showScroll()
{
    setRowMargins(placeScroll());
    m_up_button->show();
    m_down_button->show();
    m_page_label->show();
}

void MessageCenterListWidget::hideScroll()
{
    m_up_button->hide();
    m_down_button->hide();
    m_page_label->hide();
    setRowMargins(0);
}

void MessageCenterListWidget::determineScrollVisible()
{
    if (allRowsFit()) {
        hideScroll();
        return;
    }
    m_page_label->setText(QString::fromLatin1("%1/%2").arg(firstVisibleRow() + 1).arg(count()));
    showScroll();
}

void MessageCenterListWidget::resizeEvent(QResizeEvent *event)
{
    QListWidget::resizeEvent(event);
    determineScrollVisible();
}

bool MessageCenterListWidget::allRowsFit()
{
    return count() < 2 || count() + count() * rowHeight() <= viewport()->height();
}

int MessageCenterListWidget::rowHeight()
{
    const QWidget *const first = itemWidget(item(0));
    return first ? first->height() : sizeHintForRow(0);
}

int MessageCenterListWidget::firstVisibleRow()
{
    int row = 0;
    while (row < count() - 1 && visualItemRect(item(row)).top() < 0)
        ++row;
    return row;
}

/// On a strip over the right end of the rows: one above the other, or side by side where the list
/// is too low for that. \return the width of the strip
int MessageCenterListWidget::placeScroll()
{
    const bool stacked = height() >= 2 * ButtonSide + LabelHeight;
    const int columns = stacked ? 1 : 2;
    const int strip = Gap + columns * (ButtonSide + Gap);
    const int left = width() - strip + Gap;
    m_page_label->setGeometry(width() - strip, 0, strip, height());
    m_page_label->setAlignment(Qt::AlignHCenter | (stacked ? Qt::AlignVCenter : Qt::AlignBottom));
    m_up_button->setGeometry(left, 0, ButtonSide, ButtonSide);
    m_down_button->setGeometry(left + (columns - 1) * (ButtonSide + Gap),
                               stacked ? height() - ButtonSide : 0, ButtonSide, ButtonSide);
    return strip;
}

void MessageCenterListWidget::setRowMargins(int pixels)
{
    for (int row = 0; row < count(); ++row) {
        MessageCenterItemWidget *widget =
            qobject_cast<MessageCenterItemWidget *>(itemWidget(item(row)));
        if (widget)
            widget->setRightMargin(pixels);
    }
}
