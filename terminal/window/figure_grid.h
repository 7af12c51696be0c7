// Named figures.

#ifndef TERMINAL_WINDOW_FIGURE_GRID_H
#define TERMINAL_WINDOW_FIGURE_GRID_H

#include <QString>
#include <QStringList>
#include <QWidget>

/// Figures in rows and columns of equal size, each with its name above it.
class FigureGrid : public QWidget
{
    Q_OBJECT

public:
    /// \param names    one for each figure, row by row
    /// \param columns  1 or more
    FigureGrid(const QStringList &names, int columns, QWidget *parent = nullptr);

    /// \param bad  whether the figure tells of something that is out of order
    void setFigure(int index, const QString &text, bool bad = false);
    QString figure(int index) const { return m_figures.at(index); }

    /// Where a figure with its name stands.
    QRect cell(int index) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int rows() const;

    const QStringList m_names;
    const int m_columns;
    QStringList m_figures;
    QList<bool> m_bad;
};

#endif // TERMINAL_WINDOW_FIGURE_GRID_H
