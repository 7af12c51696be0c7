#include "terminal/window/figure_grid.h"

#include <QPainter>

#include "terminal/window/theme.h"

namespace
{

const char WidestFigure[] = "88888888";

} // namespace

FigureGrid::FigureGrid(const QStringList &names, int columns, QWidget *parent)
    : QWidget(parent), m_names(names), m_columns(columns)
{
    for (int i = 0; i < names.size(); ++i) {
        m_figures << "-";
        m_bad << false;
    }
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void FigureGrid::setFigure(int index, const QString &text, bool bad)
{
    if (m_figures.at(index) == text && m_bad.at(index) == bad)
        return;
    m_figures[index] = text;
    m_bad[index] = bad;
    update();
}

int FigureGrid::rows() const
{
    return (m_names.size() + m_columns - 1) / m_columns;
}

QRect FigureGrid::cell(int index) const
{
    const int column = index % m_columns;
    const int left = width() * column / m_columns;
    const int right = width() * (column + 1) / m_columns;
    const int rowHeight = height() / rows();
    return QRect(left, index / m_columns * rowHeight, right - left, rowHeight);
}

QSize FigureGrid::sizeHint() const
{
    const QFont small = Theme::smallFont(font());
    const QFont bold = Theme::boldFont(font());
    int widest = Theme::textWidth(bold, WidestFigure);
    for (const QString &name : m_names)
        widest = qMax(widest, Theme::textWidth(small, name));
    const int height = QFontMetrics(small).height() + QFontMetrics(bold).height();
    return QSize(m_columns * (widest + Theme::Gap), rows() * height);
}

void FigureGrid::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QFont small = Theme::smallFont(font());
    const QFont bold = Theme::boldFont(font());
    for (int i = 0; i < m_names.size(); ++i) {
        const QRect room = cell(i).adjusted(0, 0, -Theme::Gap, 0);
        painter.setFont(small);
        painter.setPen(QColor(Theme::QuietText));
        painter.drawText(room, Qt::AlignTop | Qt::AlignLeft, m_names.at(i));
        painter.setFont(bold);
        painter.setPen(QColor(m_bad.at(i) ? Theme::AlarmText : Theme::Text));
        const QString text =
            QFontMetrics(bold).elidedText(m_figures.at(i), Qt::ElideRight, room.width());
        painter.drawText(room, Qt::AlignBottom | Qt::AlignLeft, text);
    }
}
