// A whole number, set with a finger.

#ifndef TERMINAL_WINDOW_NUMBER_STEPPER_H
#define TERMINAL_WINDOW_NUMBER_STEPPER_H

#include <QWidget>

class QLabel;
class QPushButton;

/// A name, a number, and a button on either side of it. A finger that stays on a button goes on,
/// after a second in tens.
class NumberStepper : public QWidget
{
    Q_OBJECT

public:
    /// \param name   stands before the number
    /// \param least  not below 0
    NumberStepper(const QString &name, int least, int most, QWidget *parent = nullptr);

    int value() const { return m_value; }
    /// Takes the nearest number within the bounds.
    void setValue(int value);

signals:
    void valueChanged(int value);

protected:
    void changeEvent(QEvent *event) override;

private:
    QPushButton *makeButton(const QString &sign, int direction);
    void notePress();
    void step(bool isHeld, int direction);
    int nextTen(int direction) const;
    void fitText();

    const int m_least;
    const int m_most;
    int m_value;
    int m_repeats;         ///< steps of the finger that stays, or has stayed until now
    bool m_is_repeat_next; ///< the press to come is the repeated button's own
    QPushButton *m_less;
    QPushButton *m_more;
    QLabel *m_number;
};

#endif // TERMINAL_WINDOW_NUMBER_STEPPER_H
