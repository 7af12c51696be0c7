// A table for a finger.

#ifndef TERMINAL_WINDOW_TOUCH_TABLE_H
#define TERMINAL_WINDOW_TOUCH_TABLE_H

#include <QTableView>

class QTimer;

/// Scrolls by dragging, tells which row was touched, and shows the tool tip of a cell on which the
/// finger rests. Its rows are high enough for a finger and all of one height, so that their number
/// costs nothing.
class TouchTable : public QTableView
{
    Q_OBJECT

public:
    explicit TouchTable(QWidget *parent = nullptr);

signals:
    /// A finger touched the row and left it without scrolling or resting.
    void rowTapped(int row);

protected:
    /// Called when the font has changed: sizes of columns go with it.
    virtual void fitColumns() {}

    void changeEvent(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void fitText();
    void fitRows();
    void showHeldTip();

    QTimer *m_hold_timer; ///< runs while a finger rests
    QPoint m_pressed_at;
    bool m_held; ///< the finger has rested: its release is no tap
};

#endif // TERMINAL_WINDOW_TOUCH_TABLE_H
