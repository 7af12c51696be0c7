// A table for a finger.

#ifndef TERMINAL_WINDOW_TOUCH_TABLE_H
#define TERMINAL_WINDOW_TOUCH_TABLE_H

#include <QScroller>
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
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void fitText();
    void fitRows();
    QScroller *scroller() const;
    void tellScroller(QScroller::Input input, QMouseEvent *event);
    void showHeldTip();

    QTimer *m_hold_timer; ///< runs while a finger rests
    QPoint m_pressed_at;
    bool m_is_tap; ///< the finger has neither scrolled nor rested since it came
};

#endif // TERMINAL_WINDOW_TOUCH_TABLE_H
