// The terminal's screen.

#ifndef TERMINAL_WINDOW_TERMINAL_WINDOW_H
#define TERMINAL_WINDOW_TERMINAL_WINDOW_H

#include <functional>
#include <vector>

#include <QList>
#include <QRect>
#include <QSize>
#include <QWidget>

#include "terminal/report.h"
#include "terminal/session.h"
#include "terminal/tag.h"
#include "terminal/window/storage_state.h"

class BeepSwitch;
class LinePage;
class LineStrip;
class LiveBadge;
class MessageButton;
class QLayout;
class QStackedWidget;
class QTabBar;
class QTimer;
class StorageIndicator;
class TagTableModel;
class TagTableView;
class TrendView;

/// Shows a session to its operator: the tags with their values, a trend, the line's figures, the
/// storage devices and the beeper. It only shows what it is told; whoever owns the session, the
/// storage monitor and the beeper tells it.
///
/// The window has a clock of its own. When no more rounds come, the ages go on growing on the
/// screen and every value turns stale, so that a screen that stands still never passes for a live
/// one.
///
/// Made for a finger from 800 x 480 pixels on; texts and targets grow with the window.
///
/// Threads: the user interface's only. Another thread hands a round over with a queued call; one at
/// a time, because each carries all tags.
class TerminalWindow : public QWidget
{
    Q_OBJECT

public:
    /// Milliseconds from any origin; never goes back.
    typedef std::function<qint64()> NowMs;

    /// \param tags            what the rounds will carry, in their order
    /// \param defaultStation  1 to 255: of tags without a station of their own
    /// \param periodMs        from one round to the next, above 0
    /// \param nowMs           the steady clock when empty
    TerminalWindow(const QList<Tag> &tags, int defaultStation, int periodMs,
                   const NowMs &nowMs = NowMs(), QWidget *parent = nullptr);
    ~TerminalWindow() override;

    /// Adds a page behind those that are there.
    /// \param title  short: it stands on the page's tab
    /// \param page   goes over to the window
    void addPage(const QString &title, QWidget *page);

    /// The bar at the top, in the window's own coordinates. A message panel that belongs to the
    /// window and hangs below this bar (position mode 1) is hidden above the window's edge.
    QRect messageAnchor() const;

    /// The largest size at which a message panel below that bar stays within the window.
    QSize messageRoom() const;

public slots:
    /// A round of the session and the figures up to it.
    void showRound(const std::vector<TagView> &views, const SessionSummary &soFar);

    void setStorage(const StorageState &usb, const StorageState &card);

    /// Shows whether the beeper is on; emits nothing.
    void setBeepEnabled(bool on);

    /// Lights the beep indicator for a moment.
    void flashBeep();

    /// Shows what the time has changed. Called by the window's timer.
    void tick();

signals:
    /// The operator switched the beeper.
    void beepSwitched(bool on);

    /// The operator asked for the messages.
    void messagesRequested();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void fitTexts(const QSize &size);
    void fitTables();
    void buildBar();
    void buildPages();
    QWidget *buildValuesPage();
    void connectParts();
    qint64 staleAfterMs(double cycleMs) const;
    void toggleTrendTag(int row);
    void freePen(int pen);
    void recordTrend(qint64 nowMs);
    void showTrendNow(qint64 nowMs);
    void showLiveness(qint64 nowMs);
    void showSilence(qint64 ms);

    static const qint64 Never = -1;

    const NowMs m_now_ms;
    const int m_period_ms;
    qint64 m_stale_after_ms; ///< the age up to which a value counts as live
    qint64 m_round_at;       ///< when the last round came; `Never`: none has
    qint64 m_beep_lit_until; ///< the end of the indicator's flash
    TagTableModel *m_model;
    QWidget *m_bar;
    QTabBar *m_tabs;
    QStackedWidget *m_pages;
    TagTableView *m_table;
    TrendView *m_trend;
    LineStrip *m_line_strip;
    LinePage *m_line_page;
    LiveBadge *m_live_badge;
    StorageIndicator *m_usb;
    StorageIndicator *m_card;
    MessageButton *m_messages;
    BeepSwitch *m_beep;
    QTimer *m_timer;
};

#endif // TERMINAL_WINDOW_TERMINAL_WINDOW_H
