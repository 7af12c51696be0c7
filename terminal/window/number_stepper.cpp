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

} // namespace

NumberStepper::NumberStepper(const QString &name, int least, int most, QWidget *parent)
    : QWidget(parent), m_least(least), m_most(most), m_value(least), m_number(new QLabel)
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

QPushButton *NumberStepper::makeButton(const QString &sign, int step)
{
    QPushButton *const button = new QPushButton(sign);
    button->setFocusPolicy(Qt::NoFocus);
    button->setAutoRepeat(true);
    connect(button, &QPushButton::clicked, this, [this, step] { setValue(m_value + step); });
    return button;
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
