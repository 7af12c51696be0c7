#include "terminal/window/terminal_window.h"

#include <algorithm>
#include <chrono>

#include <QHBoxLayout>
#include <QResizeEvent>
#include <QStackedWidget>
#include <QTabBar>
#include <QTimer>
#include <QVBoxLayout>

#include "terminal/window/beep_switch.h"
#include "terminal/window/line_page.h"
#include "terminal/window/line_strip.h"
#include "terminal/window/live_badge.h"
#include "terminal/window/message_button.h"
#include "terminal/window/storage_indicator.h"
#include "terminal/window/tag_table_model.h"
#include "terminal/window/tag_table_view.h"
#include "terminal/window/theme.h"
#include "terminal/window/trend_view.h"

namespace
{

const int TickMs = 250;
const int BeepFlashMs = 400;

// How the table and what stands below it share a page, and the trend and the line a row.
const int TableShare = 2;
const int BelowTableShare = 1;
const int TrendShare = 5;
const int LineShare = 3;

const char PensTaken[] = "Four at most: free one first.";

qint64 steadyMs()
{
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

} // namespace

const qint64 TerminalWindow::Never;

TerminalWindow::TerminalWindow(const QList<Tag> &tags, int defaultStation, int periodMs,
                               const NowMs &nowMs, QWidget *parent)
    : QWidget(parent), m_now_ms(nowMs ? nowMs : steadyMs), m_period_ms(periodMs),
      m_stale_after_ms(Session::StaleAfterMs), m_round_at(Never), m_beep_lit_until(0),
      m_model(new TagTableModel(tags, defaultStation, this)), m_timer(new QTimer(this))
{
    setWindowTitle("DMC50 terminal");
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(Theme::Background));
    palette.setColor(QPalette::WindowText, QColor(Theme::Text));
    setPalette(palette);
    buildBar();
    buildPages();
    QVBoxLayout *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_bar);
    layout->addWidget(m_pages, 1);
    // A large window has large texts; it must still become small again.
    layout->setSizeConstraint(QLayout::SetNoConstraint);
    connectParts();
    resize(Theme::BaseWidth, Theme::BaseHeight);
    fitTexts(size());
    m_timer->start(TickMs);
}

TerminalWindow::~TerminalWindow() {}

// ---- Building

void TerminalWindow::buildBar()
{
    m_bar = new QWidget;
    m_bar->setAutoFillBackground(true);
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(Theme::Bar));
    m_bar->setPalette(palette);
    m_tabs = new QTabBar;
    m_tabs->setDrawBase(false);
    m_tabs->setExpanding(false);
    m_tabs->setFocusPolicy(Qt::NoFocus);
    m_live_badge = new LiveBadge;
    m_usb = new StorageIndicator(StorageIndicator::Device::UsbStick);
    m_card = new StorageIndicator(StorageIndicator::Device::Card);
    m_messages = new MessageButton;
    m_beep = new BeepSwitch;
    QHBoxLayout *const layout = new QHBoxLayout(m_bar);
    layout->setContentsMargins(0, 0, Theme::Gap / 2, 0);
    layout->setSpacing(Theme::Gap / 2);
    layout->addWidget(m_tabs, 1);
    for (BarCell *const cell : {static_cast<BarCell *>(m_live_badge), static_cast<BarCell *>(m_usb),
                                static_cast<BarCell *>(m_card), static_cast<BarCell *>(m_messages),
                                static_cast<BarCell *>(m_beep)})
        layout->addWidget(cell);
}

void TerminalWindow::buildPages()
{
    m_pages = new QStackedWidget;
    m_line_page = new LinePage;
    addPage("Values", buildValuesPage());
    addPage("Line", m_line_page);
}

QWidget *TerminalWindow::buildValuesPage()
{
    m_table = new TagTableView(m_model);
    m_trend = new TrendView;
    m_line_strip = new LineStrip;
    QHBoxLayout *const below = new QHBoxLayout;
    below->setSpacing(Theme::Gap);
    below->addWidget(m_trend, TrendShare);
    below->addWidget(m_line_strip, LineShare);
    QWidget *const page = new QWidget;
    QVBoxLayout *const layout = new QVBoxLayout(page);
    layout->setContentsMargins(Theme::Gap, Theme::Gap, Theme::Gap, Theme::Gap);
    layout->setSpacing(Theme::Gap);
    layout->addWidget(m_table, TableShare);
    layout->addLayout(below, BelowTableShare);
    return page;
}

void TerminalWindow::connectParts()
{
    connect(m_timer, &QTimer::timeout, this, &TerminalWindow::tick);
    connect(m_tabs, &QTabBar::currentChanged, m_pages, &QStackedWidget::setCurrentIndex);
    connect(m_table, &TouchTable::rowTapped, this, &TerminalWindow::toggleTrendTag);
    connect(m_trend, &TrendView::penTapped, this, &TerminalWindow::freePen);
    connect(m_line_strip, &LineStrip::tapped, this,
            [this] { m_tabs->setCurrentIndex(m_pages->indexOf(m_line_page)); });
    connect(m_beep, &BeepSwitch::switched, this, &TerminalWindow::beepSwitched);
    connect(m_messages, &QAbstractButton::clicked, this, &TerminalWindow::messagesRequested);
    connect(m_model, &QAbstractItemModel::modelReset, this, [this] {
        for (int pen = 0; pen < TagTableModel::Pens; ++pen)
            m_trend->stopPen(pen);
    });
}

void TerminalWindow::addPage(const QString &title, QWidget *page)
{
    m_pages->addWidget(page);
    m_tabs->addTab(title);
    fitTables();
}

void TerminalWindow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    fitTexts(event->size());
}

void TerminalWindow::fitTexts(const QSize &size)
{
    const QFont fitting = Theme::fontFor(size);
    if (fitting == font())
        return;
    setFont(fitting);
    m_bar->setFixedHeight(Theme::scaled(fitting, Theme::BarHeight));
    m_tabs->setFont(fitting);
    m_tabs->setStyleSheet(Theme::tabBarStyle(fitting));
    fitTables();
}

void TerminalWindow::fitTables()
{
    for (TouchTable *const table : findChildren<TouchTable *>())
        table->setFont(font());
}

QRect TerminalWindow::messageAnchor() const
{
    return m_bar->geometry();
}

QSize TerminalWindow::messageRoom() const
{
    return m_pages->size();
}

// ---- Showing

void TerminalWindow::showRound(const std::vector<TagView> &views, const SessionSummary &soFar)
{
    m_round_at = m_now_ms();
    m_stale_after_ms = staleAfterMs(soFar.cycleMs);
    m_model->showRound(views, m_round_at, m_stale_after_ms);
    m_line_strip->showFigures(soFar);
    m_line_page->showFigures(soFar);
    recordTrend(m_round_at);
    tick();
}

/// What a session takes for too old; its rounds may be further apart than that.
qint64 TerminalWindow::staleAfterMs(double cycleMs) const
{
    const double cycles = Session::StaleAfterCycles * std::max(cycleMs, double(m_period_ms));
    return std::max(qint64(Session::StaleAfterMs), static_cast<qint64>(cycles));
}

void TerminalWindow::setStorage(const StorageState &usb, const StorageState &card)
{
    m_usb->setState(usb);
    m_card->setState(card);
}

void TerminalWindow::setBeepEnabled(bool on)
{
    m_beep->setOn(on);
}

void TerminalWindow::flashBeep()
{
    m_beep_lit_until = m_now_ms() + BeepFlashMs;
    m_beep->setLit(true);
}

void TerminalWindow::tick()
{
    const qint64 now = m_now_ms();
    m_model->setNow(now);
    showTrendNow(now);
    showLiveness(now);
    if (now >= m_beep_lit_until)
        m_beep->setLit(false);
}

void TerminalWindow::showLiveness(qint64 nowMs)
{
    if (m_round_at == Never)
        m_live_badge->showWaiting();
    else if (nowMs - m_round_at > m_stale_after_ms)
        showSilence(nowMs - m_round_at);
    else
        m_live_badge->showTags(m_model->liveTags(), m_model->rowCount());
}

void TerminalWindow::showSilence(qint64 ms)
{
    m_live_badge->showSilence(ms);
    m_line_strip->showSilence(ms);
    m_line_page->showSilence(ms);
}

// ---- Trend

void TerminalWindow::toggleTrendTag(int row)
{
    m_trend->setHint(QString());
    const int drawnBy = m_model->penOf(row);
    if (drawnBy >= 0) {
        freePen(drawnBy);
        return;
    }
    for (int pen = 0; pen < TagTableModel::Pens; ++pen) {
        if (m_model->rowOfPen(pen) >= 0)
            continue;
        m_model->setPen(pen, row);
        m_trend->startPen(pen, m_model->viewAt(row).tag.name);
        m_trend->record(pen, m_model->viewAt(row), m_now_ms(), m_stale_after_ms);
        m_trend->setNow(m_now_ms());
        return;
    }
    m_trend->setHint(PensTaken);
}

void TerminalWindow::freePen(int pen)
{
    m_trend->setHint(QString());
    m_model->setPen(pen, -1);
    m_trend->stopPen(pen);
}

void TerminalWindow::recordTrend(qint64 nowMs)
{
    for (int pen = 0; pen < TagTableModel::Pens; ++pen) {
        const int row = m_model->rowOfPen(pen);
        if (row >= 0)
            m_trend->record(pen, m_model->viewAt(row), nowMs, m_stale_after_ms);
    }
}

void TerminalWindow::showTrendNow(qint64 nowMs)
{
    for (int pen = 0; pen < TagTableModel::Pens; ++pen) {
        const int row = m_model->rowOfPen(pen);
        if (row >= 0)
            m_trend->setNow(pen, m_model->viewAt(row));
    }
    m_trend->setNow(nowMs);
}
