#include "terminal/window/terminal_window.h"

#include <algorithm>
#include <chrono>

#include <QHeaderView>
#include <QTabBar>
#include <QTabWidget>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

#include "terminal/window/tag_table_model.h"

namespace
{

const int TickMs = 250;

qint64 steadyMs()
{
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

} // namespace

TerminalWindow::TerminalWindow(const QList<Tag> &tags, int defaultStation, int periodMs,
                               const NowMs &nowMs, QWidget *parent)
    : QWidget(parent), m_now_ms(nowMs ? nowMs : steadyMs), m_period_ms(periodMs),
      m_model(new TagTableModel(tags, defaultStation, this)), m_pages(new QTabWidget),
      m_timer(new QTimer(this))
{
    QVBoxLayout *const layout = new QVBoxLayout(this);
    layout->addWidget(m_pages);
    QTableView *const table = new QTableView;
    table->setModel(m_model);
    addPage("Values", table);
    connect(m_timer, &QTimer::timeout, this, &TerminalWindow::tick);
    m_timer->start(TickMs);
}

TerminalWindow::~TerminalWindow() {}

void TerminalWindow::addPage(const QString &title, QWidget *page)
{
    m_pages->addTab(page, title);
}

QRect TerminalWindow::messageAnchor() const
{
    return m_pages->tabBar()->geometry();
}

QSize TerminalWindow::messageRoom() const
{
    return QSize(width(), height() - messageAnchor().bottom() - 1);
}

void TerminalWindow::showRound(const std::vector<TagView> &views, const SessionSummary &soFar)
{
    m_model->showRound(views, m_now_ms(), staleAfterMs(soFar.cycleMs));
}

/// What a session takes for too old; its rounds may be further apart than that.
qint64 TerminalWindow::staleAfterMs(double cycleMs) const
{
    const double cycles = Session::StaleAfterCycles * std::max(cycleMs, double(m_period_ms));
    return std::max(qint64(Session::StaleAfterMs), static_cast<qint64>(cycles));
}

void TerminalWindow::setStorage(const StorageState &, const StorageState &) {}

void TerminalWindow::setBeepEnabled(bool) {}

void TerminalWindow::flashBeep() {}

void TerminalWindow::tick()
{
    m_model->setNow(m_now_ms());
}
