// The beeper on the bar.

#ifndef TERMINAL_WINDOW_BEEP_SWITCH_H
#define TERMINAL_WINDOW_BEEP_SWITCH_H

#include "terminal/window/bar_cell.h"

/// Switches the beeper on and off, and lights up while it sounds.
class BeepSwitch : public BarCell
{
    Q_OBJECT

public:
    explicit BeepSwitch(QWidget *parent = nullptr);

    /// Shows whether the beeper is on; emits nothing.
    void setOn(bool on);
    bool isOn() const { return m_on; }

    void setLit(bool lit);
    bool isLit() const { return m_lit; }

signals:
    /// The operator switched it.
    void switched(bool on);

protected:
    void paintSign(QPainter *painter, const QRectF &room) const override;

private:
    void switchOver();
    void showState();

    bool m_on;
    bool m_lit;
};

#endif // TERMINAL_WINDOW_BEEP_SWITCH_H
