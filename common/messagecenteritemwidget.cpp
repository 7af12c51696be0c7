#include "common/messagecenteritemwidget.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <algorithm>

#include "common/messagecenterlook.h"
#include "common/messagecentertext.h"
#include "common/zbuzzer.h"

namespace
{

const QSize FormSize(153, 61);
const QSize ButtonSize(40, 60);
const int LabelPoints = 8;
const int BoldWeight = 75;
const int TextMargin = 10; ///< left of the text, pixels
const int TextGap = 6;     ///< between text and button, pixels
const int LineMargin = 2;  ///< above the first line and below the last, pixels

/// Shows as much of a plain text as its size allows, and never asks for more than it has.
class MessageLabel : public QLabel
{
public:
    explicit MessageLabel(QWidget *parent) : QLabel(parent)
    {
        setTextFormat(Qt::PlainText);
        setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    }

    QSize sizeHint() const override { return QSize(0, 0); }
    QSize minimumSizeHint() const override { return QSize(0, 0); }

protected:
    void paintEvent(QPaintEvent *) override
    {
        const int line_height = fontMetrics().lineSpacing();
        const int room = std::max((height() - 2 * LineMargin) / line_height, 1);
        const MessageLines lines = messageLines(text(), font(), width(), room);
        const int count = lines.text.size() + (lines.title.isEmpty() ? 0 : 1);

        QPainter painter(this);
        QRect line_rect(0, (height() - count * line_height) / 2, width(), line_height);
        if (!lines.title.isEmpty()) {
            painter.setPen(palette().color(QPalette::WindowText));
            drawLine(&painter, line_rect, lines.title);
            line_rect.translate(0, line_height);
        }
        painter.setPen(palette().color(QPalette::Text));
        foreach (const QString &line, lines.text) {
            drawLine(&painter, line_rect, line);
            line_rect.translate(0, line_height);
        }
    }

private:
    static void drawLine(QPainter *painter, const QRect &rect, const QString &line)
    {
        const bool from_right = line.isRightToLeft();
        painter->setLayoutDirection(from_right ? Qt::RightToLeft : Qt::LeftToRight);
        painter->drawText(rect,
                          Qt::TextSingleLine | Qt::TextDontClip | Qt::AlignVCenter |
                              Qt::AlignAbsolute | (from_right ? Qt::AlignRight : Qt::AlignLeft),
                          line);
    }
};

} // namespace

MessageCenterItemWidget::MessageCenterItemWidget(QWidget *parent)
    : QWidget(parent), m_layout(new QHBoxLayout(this)), m_label_msg(new MessageLabel(this)),
      m_remove_button(new TouchButton(this))
{
    setUpForm();
    setUpLabel();
    setUpButton();

    QFont row_font = font();
    row_font.setFamily(QLatin1String("unifont"));
    setFont(row_font);
}

MessageCenterItemWidget::~MessageCenterItemWidget() {}

void MessageCenterItemWidget::setUpForm()
{
    setObjectName(QLatin1String("Form"));
    resize(FormSize);
    m_layout->setObjectName(QLatin1String("horizontalLayout_2"));
    m_layout->setContentsMargins(TextMargin, 0, 0, 0);
    m_layout->setSpacing(TextGap);
    m_layout->addWidget(m_label_msg);
    m_layout->addWidget(m_remove_button);
}

void MessageCenterItemWidget::setUpLabel()
{
    m_label_msg->setObjectName(QLatin1String("label_msg"));
    QFont label_font;
    label_font.setPointSize(LabelPoints);
    label_font.setWeight(BoldWeight);
    m_label_msg->setFont(label_font);
    m_label_msg->setText(QLatin1String("TextLabel"));
}

void MessageCenterItemWidget::setUpButton()
{
    m_remove_button->setObjectName(QLatin1String("pushButton_remove"));
    m_remove_button->setMinimumSize(ButtonSize);
    m_remove_button->setMaximumSize(ButtonSize);
    QFont button_font;
    button_font.setFamily(QLatin1String("Aharoni"));
    button_font.setWeight(BoldWeight);
    m_remove_button->setFont(button_font);
    m_remove_button->setText(QLatin1String("X"));
    connect(m_remove_button, SIGNAL(pressed()), this, SLOT(makeBeep()));
    connect(m_remove_button, SIGNAL(clicked()), this, SIGNAL(removeClicked()));
}

void MessageCenterItemWidget::setMessage(const QString &text)
{
    m_label_msg->setText(text);
}

QString MessageCenterItemWidget::message() const
{
    return m_label_msg->text();
}

int MessageCenterItemWidget::getHeight()
{
    const QRect geometry = m_layout->geometry();
    return geometry.bottom() - geometry.top() + 1;
}

void MessageCenterItemWidget::setRightMargin(int pixels)
{
    m_layout->setContentsMargins(TextMargin, 0, pixels, 0);
}

void MessageCenterItemWidget::makeBeep()
{
    ZBuzzer::getInstance()->makeSound(AbstractBuzzerInterface::SoundKeyClick);
}

void MessageCenterItemWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawLine(0, height() - 1, width() - 1, height() - 1);
}
