// A session on the terminal's screen.

#ifndef TERMINAL_WINDOW_REPORT_H
#define TERMINAL_WINDOW_REPORT_H

#include <memory>
#include <mutex>
#include <vector>

#include <QObject>

#include "terminal/report.h"
#include "terminal/window/storage_state.h"

class MessageArea;
class ProgramPage;
class TerminalWindow;

/// Shows the session in a window, with the message panel over it and the beeper's switch. The end
/// of the session is printed.
///
/// Made, destroyed, told of storage and of the end on the user interface's thread; rounds come from
/// any.
class WindowReport : public QObject, public Report
{
    Q_OBJECT

public:
    /// \param printed  tells of the end
    WindowReport(const QList<Tag> &tags, int defaultStation, int periodMs,
                 std::unique_ptr<Report> printed);
    ~WindowReport() override;

    void round(const std::vector<TagView> &views, const SessionSummary &soFar) override;
    void storage(StorageKind kind, const StorageState &state) override;
    void transfers(const TransferViews &views) override;
    void usePrograms(ProgramTags *programs, int station) override;
    void end(const SessionSummary &summary) override;

signals:
    /// For the message panel.
    void message(const QString &title, const QString &text, bool showInstant);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private slots:
    /// Shows the last round that came.
    void showLatest();
    void switchBeep(bool on);

private:
    void connectBeeper();
    void connectMessages();
    void announce(StorageKind kind, const StorageState &before, const StorageState &now);
    void placeMessages();

    std::unique_ptr<Report> m_printed;
    std::unique_ptr<TerminalWindow> m_window;
    MessageArea *m_messages;
    ProgramPage *m_program_page; ///< the window's
    StorageState m_usb;
    StorageState m_card;
    std::mutex m_mutex; ///< guards what follows
    std::vector<TagView> m_views;
    SessionSummary m_so_far;
    bool m_is_pending; ///< the window has been asked to show the latest
};

#endif // TERMINAL_WINDOW_REPORT_H
