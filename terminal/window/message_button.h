// The way to the messages.

#ifndef TERMINAL_WINDOW_MESSAGE_BUTTON_H
#define TERMINAL_WINDOW_MESSAGE_BUTTON_H

#include "terminal/window/bar_cell.h"

/// Asks for the message panel.
class MessageButton : public BarCell
{
    Q_OBJECT

public:
    explicit MessageButton(QWidget *parent = nullptr);

protected:
    void paintSign(QPainter *painter, const QRectF &room) const override;
};

#endif // TERMINAL_WINDOW_MESSAGE_BUTTON_H
