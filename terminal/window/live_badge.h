// Whether the screen can be believed.

#ifndef TERMINAL_WINDOW_LIVE_BADGE_H
#define TERMINAL_WINDOW_LIVE_BADGE_H

#include "terminal/window/bar_cell.h"

/// Says at one glance how many of the values are live, or for how long nothing has come.
class LiveBadge : public BarCell
{
    Q_OBJECT

public:
    explicit LiveBadge(QWidget *parent = nullptr);

    void showWaiting();
    void showTags(int live, int all);
    /// \param ms  for how long there has been no round
    void showSilence(qint64 ms);

protected:
    bool hasSign() const override { return false; }
    void paintSign(QPainter *, const QRectF &) const override {}
};

#endif // TERMINAL_WINDOW_LIVE_BADGE_H
