#include "terminal/window/number_stepper.h"

#include <algorithm>

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "terminal/window/theme.h"

namespace
{

const int NumberWidth = 56;
const int SingleSteps = 10; ///< of a finger that stays; the next ones are tens
const int Ten = 10;

} // namespace

NumberStepper::NumberStepper(const QString &name, int least, int most, QWidget *parent)
    : QWidget(parent), m_least(least), m_most(most), m_value(least), m_repeats(0),
      m_is_repeat_next(false), m_number(new QLabel)
{
    m_less = makeButton(QString(QChar(0x2212)), -1);
    m_more = makeButton("+", 1);
    m_number->setAlignment(Qt::AlignCenter);
    QHBoxLayout *const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::Gap / 2);
    layout->addWidget(new QLabel(name), 1);
    layout->addWidget(m_less);
    layout->addWidget(m_number);
    layout->addWidget(m_more);
    setValue(least);
    fitText();
}

QPushButton *NumberStepper::makeButton(const QString &sign, int direction)
{
    QPushButton *const button = new QPushButton(sign);
    button->setFocusPolicy(Qt::NoFocus);
    button->setAutoRepeat(true);
    connect(button, &QPushButton::pressed, this, &NumberStepper::notePress);
    connect(button, &QPushButton::clicked, this,
            [this, button, direction] { step(button->isDown(), direction); });
    return button;
}

/// A button that repeats itself shows that as a click and another press.
void NumberStepper::notePress()
{
    if (!m_is_repeat_next)
        m_repeats = 0;
    m_is_repeat_next = false;
}

/// A tap counts when the finger leaves, unless it has stayed and had its steps.
void NumberStepper::step(bool isHeld, int direction)
{
    m_is_repeat_next = isHeld;
    if (isHeld)
        setValue(++m_repeats <= SingleSteps ? m_value + direction : nextTen(direction));
    else if (m_repeats == 0)
        setValue(m_value + direction);
}

int NumberStepper::nextTen(int direction) const
{
    const int tens = direction > 0 ? m_value / Ten + 1 : (m_value - 1) / Ten;
    return tens * Ten;
}

void NumberStepper::setValue(int value)
{
    const int before = m_value;
    m_value = std::max(m_least, std::min(m_most, value));
    m_number->setText(QString::number(m_value));
    m_less->setEnabled(m_value > m_least);
    m_more->setEnabled(m_value < m_most);
    if (m_value != before)
        emit valueChanged(m_value);
}

void NumberStepper::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        fitText();
}

void NumberStepper::fitText()
{
    const int side = std::max(Theme::TouchTarget, Theme::scaled(font(), Theme::TouchTarget));
    for (QPushButton *const button : {m_less, m_more}) {
        button->setFixedSize(side, side);
        button->setFont(Theme::boldFont(font()));
        button->setStyleSheet(Theme::buttonStyle(font()));
    }
    m_number->setFont(Theme::boldFont(font()));
    m_number->setFixedWidth(Theme::scaled(font(), NumberWidth));
}
