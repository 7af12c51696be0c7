// The set points of a program over its time.

#ifndef TERMINAL_WINDOW_SET_POINT_PLOT_H
#define TERMINAL_WINDOW_SET_POINT_PLOT_H

#include <vector>

#include <QWidget>

#include "terminal/program_preview.h"

/// Draws each step's set point as a level as long as the step takes.
class SetPointPlot : public QWidget
{
    Q_OBJECT

public:
    explicit SetPointPlot(QWidget *parent = nullptr);

    void setSegments(const std::vector<ProgramSegment> &segments);

    /// Where the line is drawn.
    QRect plotArea() const;
    /// The line's corners; two for each step.
    QPolygonF line() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    double totalSeconds() const;
    void paintScale(QPainter *painter) const;
    void paintTimes(QPainter *painter) const;

    std::vector<ProgramSegment> m_segments;
};

/// "2:05" for hours and minutes; "45 s" below a minute.
QString durationText(double seconds);

#endif // TERMINAL_WINDOW_SET_POINT_PLOT_H
