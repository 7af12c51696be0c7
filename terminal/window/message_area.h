// Where the message panel slides in on the terminal's screen.

#ifndef TERMINAL_WINDOW_MESSAGE_AREA_H
#define TERMINAL_WINDOW_MESSAGE_AREA_H

#include <QWidget>

class MessageCenter;

/// Holds the process's message panel at the right of the screen, below its bar.
///
/// The panel is placed once, for good; this area moves with the window instead. It covers nothing
/// of the screen but what the panel covers.
class MessageArea : public QWidget
{
public:
    /// Makes the panel, which lives as long as this. To be made once in a process.
    /// \param screen  the window to slide in over
    /// \param room    the panel's largest size
    MessageArea(QWidget *screen, const QSize &room);

    /// Keeps the area's upper right corner there.
    void setCorner(const QPoint &upperRight);

    MessageCenter *panel() const { return m_panel; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void coverOnlyThePanel();

    MessageCenter *m_panel;
};

#endif // TERMINAL_WINDOW_MESSAGE_AREA_H
