// The line in short, beside the trend.

#ifndef TERMINAL_WINDOW_LINE_STRIP_H
#define TERMINAL_WINDOW_LINE_STRIP_H

#include <QString>
#include <QWidget>

#include "terminal/report.h"

class ElidedText;
class FigureGrid;

/// The line's counters, how many of its stations answer, and the last error.
class LineStrip : public QWidget
{
    Q_OBJECT

public:
    explicit LineStrip(QWidget *parent = nullptr);

    void showFigures(const SessionSummary &figures);

    /// Marks the figures as old until the next ones come.
    void showSilence(qint64 ms);

signals:
    /// The operator touched it, to see more.
    void tapped();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    bool m_silent;
    FigureGrid *m_figures;
    ElidedText *m_stations;
    ElidedText *m_error;
};

/// "98.5 ms", and "50.0 %" of a share of 1.
QString cycleText(double ms);
QString shareText(double share);

/// What is to be said of figures that are old.
QString oldFiguresText(qint64 ms);

/// How many stations answer, and which do not.
QString stationsText(const LineReport &line);

#endif // TERMINAL_WINDOW_LINE_STRIP_H
