#include "terminal/window/line_strip.h"

#include <QMouseEvent>
#include <QPainter>
#include <QStringList>
#include <QVBoxLayout>

#include "terminal/window/elided_text.h"
#include "terminal/window/figure_grid.h"
#include "terminal/window/theme.h"

namespace
{

enum Figure { Exchanges, FailedExchanges, Cycle, Busy };
const int Columns = 2;
const int ErrorLines = 2;

void setTextColour(QWidget *widget, QRgb colour)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, QColor(colour));
    widget->setPalette(palette);
}

bool isFailing(const LineReport &line)
{
    for (const StationReport &station : line.stations) {
        if (station.failingForMs >= 0)
            return true;
    }
    return false;
}

} // namespace

QString cycleText(double ms)
{
    return QString("%1 ms").arg(ms, 0, 'f', 1);
}

QString shareText(double share)
{
    return QString("%1 %").arg(share * 100.0, 0, 'f', 1);
}

QString oldFiguresText(qint64 ms)
{
    return QString("These figures are %1 old.").arg(ageText(ms));
}

QString stationsText(const LineReport &line)
{
    QStringList failing;
    for (const StationReport &station : line.stations) {
        if (station.failingForMs >= 0)
            failing << QString::number(station.station);
    }
    if (line.stations.empty())
        return "No station asked yet";
    if (failing.isEmpty())
        return QString("Stations: all %1 answer").arg(line.stations.size());
    return QString("Stations: %1 of %2 fail: %3")
        .arg(failing.size())
        .arg(line.stations.size())
        .arg(failing.join(", "));
}

LineStrip::LineStrip(QWidget *parent)
    : QWidget(parent), m_silent(false),
      m_figures(new FigureGrid({"Exchanges", "Failed", "Cycle", "Line busy"}, Columns)),
      m_stations(new ElidedText(1)), m_error(new ElidedText(ErrorLines))
{
    QVBoxLayout *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::Gap, Theme::Gap / 2, Theme::Gap, Theme::Gap / 2);
    layout->setSpacing(Theme::Gap / 2);
    layout->addWidget(m_figures);
    layout->addWidget(m_stations);
    layout->addWidget(m_error, 1);
    // Touches are for the whole.
    for (QWidget *const part :
         {static_cast<QWidget *>(m_figures), static_cast<QWidget *>(m_stations),
          static_cast<QWidget *>(m_error)})
        part->setAttribute(Qt::WA_TransparentForMouseEvents);
    showFigures(SessionSummary());
}

void LineStrip::showFigures(const SessionSummary &figures)
{
    const LineReport &line = figures.line;
    m_silent = false;
    m_figures->setFigure(Exchanges, QString::number(line.exchanges));
    m_figures->setFigure(FailedExchanges, QString::number(line.failed), line.failed > 0);
    m_figures->setFigure(Cycle, cycleText(figures.cycleMs));
    m_figures->setFigure(Busy, shareText(line.busyShare));
    m_stations->setText(stationsText(line));
    setTextColour(m_stations, isFailing(line) ? Theme::AlarmText : Theme::Text);
    const bool hasError = !figures.lastError.isEmpty();
    m_error->setText("Last error: " + (hasError ? figures.lastError : "none"));
    setTextColour(m_error, hasError ? Theme::AlarmText : Theme::QuietText);
    update();
}

void LineStrip::showSilence(qint64 ms)
{
    m_silent = true;
    m_stations->setText(oldFiguresText(ms));
    setTextColour(m_stations, Theme::WarningText);
    update();
}

void LineStrip::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), QColor(m_silent ? Theme::Warning : Theme::Surface));
}

void LineStrip::mouseReleaseEvent(QMouseEvent *event)
{
    if (rect().contains(event->pos()))
        emit tapped();
}
