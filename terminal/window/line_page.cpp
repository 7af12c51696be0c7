#include "terminal/window/line_page.h"

#include <QHeaderView>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

#include "terminal/window/elided_text.h"
#include "terminal/window/figure_grid.h"
#include "terminal/window/line_strip.h"
#include "terminal/window/station_table_model.h"
#include "terminal/window/storage_indicator.h"
#include "terminal/window/theme.h"
#include "terminal/window/touch_table.h"

namespace
{

enum Figure { Exchanges, FailedExchanges, Cycle, Busy, Reads, Writes, BytesOut, BytesIn };
const char *const Names[] = {"Exchanges", "Failed", "Cycle",      "Line busy",
                             "Reads",     "Writes", "Bytes sent", "Bytes received"};
const int Columns = 4;
const int ErrorLines = 2;

QStringList names()
{
    QStringList list;
    for (const char *const name : Names)
        list << name;
    return list;
}

class StationDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        const QVariant background = index.data(Qt::BackgroundRole);
        if (background.isValid())
            painter->fillRect(option.rect, background.value<QColor>());
        QStyledItemDelegate::paint(painter, option, index);
        painter->setPen(QColor(Theme::Rule));
        painter->drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
    }

protected:
    /// There are many columns.
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        option->font = Theme::smallFont(option->font);
        option->font.setBold(index.data(StationTableModel::FailingRole).toBool());
        option->fontMetrics = QFontMetrics(option->font);
    }
};

} // namespace

LinePage::LinePage(QWidget *parent)
    : QWidget(parent), m_card(new QWidget), m_figures(new FigureGrid(names(), Columns)),
      m_age(new ElidedText(1)), m_error(new ElidedText(ErrorLines)),
      m_stations(new StationTableModel(this))
{
    QVBoxLayout *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::Gap, Theme::Gap, Theme::Gap, Theme::Gap);
    layout->setSpacing(Theme::Gap);
    layout->addWidget(buildCard());
    layout->addWidget(buildTable(), 1);
    showFigures(SessionSummary());
}

QWidget *LinePage::buildCard()
{
    m_card->setAutoFillBackground(true);
    QVBoxLayout *const layout = new QVBoxLayout(m_card);
    layout->setContentsMargins(Theme::Gap, Theme::Gap / 2, Theme::Gap, Theme::Gap / 2);
    layout->addWidget(m_figures);
    layout->addWidget(m_age);
    layout->addWidget(m_error);
    return m_card;
}

void LinePage::setSurface(QRgb colour)
{
    QPalette palette = m_card->palette();
    palette.setColor(QPalette::Window, QColor(colour));
    m_card->setPalette(palette);
}

QWidget *LinePage::buildTable()
{
    TouchTable *const table = new TouchTable;
    table->setModel(m_stations);
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table->setItemDelegate(new StationDelegate(table));
    return table;
}

void LinePage::showFigures(const SessionSummary &figures)
{
    const LineReport &line = figures.line;
    m_figures->setFigure(Exchanges, QString::number(line.exchanges));
    m_figures->setFigure(FailedExchanges, QString::number(line.failed), line.failed > 0);
    m_figures->setFigure(Cycle, cycleText(figures.cycleMs));
    m_figures->setFigure(Busy, shareText(line.busyShare));
    m_figures->setFigure(Reads, QString::number(figures.reads));
    m_figures->setFigure(Writes, QString::number(figures.writes));
    m_figures->setFigure(BytesOut, bytesText(line.bytesOut));
    m_figures->setFigure(BytesIn, bytesText(line.bytesIn));
    m_error->setText("Last error: " + (figures.lastError.isEmpty() ? "none" : figures.lastError));
    m_stations->setStations(line.stations);
    m_age->hide();
    setSurface(Theme::Surface);
}

void LinePage::showSilence(qint64 ms)
{
    m_age->setText(oldFiguresText(ms));
    m_age->show();
    setSurface(Theme::Warning);
}
