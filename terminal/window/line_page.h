// The line in full.

#ifndef TERMINAL_WINDOW_LINE_PAGE_H
#define TERMINAL_WINDOW_LINE_PAGE_H

#include <QWidget>

#include "terminal/report.h"

class ElidedText;
class FigureGrid;
class StationTableModel;

/// All figures of the line, the account of each station, and the last error.
class LinePage : public QWidget
{
    Q_OBJECT

public:
    explicit LinePage(QWidget *parent = nullptr);

    void showFigures(const SessionSummary &figures);

    /// Marks the figures as old until the next ones come.
    void showSilence(qint64 ms);

private:
    QWidget *buildCard();
    QWidget *buildTable();

    void setSurface(QRgb colour);

    QWidget *m_card;
    FigureGrid *m_figures;
    ElidedText *m_age; ///< of the figures, when it matters
    ElidedText *m_error;
    StationTableModel *m_stations;
};

#endif // TERMINAL_WINDOW_LINE_PAGE_H
