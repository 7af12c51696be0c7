// What the terminal prints.

#ifndef TERMINAL_REPORT_H
#define TERMINAL_REPORT_H

#include <cstdio>
#include <memory>
#include <vector>

#include <QString>

#include "hmi/desktop/line_monitor.h"
#include "terminal/options.h"
#include "terminal/program_tags.h"
#include "terminal/session.h"
#include "terminal/window/storage_state.h"

/// A session's figures.
struct SessionSummary {
    int tags = 0;
    quint64 reads = 0;
    quint64 writes = 0;
    LineReport line;
    double cycleMs = 0.0; ///< mean time from one poll of the same addresses to the next
    QString lastError;    ///< empty: there was none
};

/// Shows a session. One thread at a time.
class Report
{
public:
    virtual ~Report() {}
    virtual void round(const std::vector<TagView> &views, const SessionSummary &soFar) = 0;

    /// Something about a stick or a card has changed, if only its free space.
    virtual void storage(StorageKind kind, const StorageState &state) = 0;

    /// Offers a way to start transfers at a station; not owned, ends with the session.
    virtual void usePrograms(ProgramTags *programs, int station)
    {
        Q_UNUSED(programs)
        Q_UNUSED(station)
    }

    /// What the tags of the program transfers show now; the communication thread's, every moment.
    virtual void transfers(const TransferViews &views) { Q_UNUSED(views) }

    virtual void end(const SessionSummary &summary) = 0;

    /// Whether there is nothing more to wait for, and whether what was asked for has been done.
    virtual bool isOver() const { return false; }
    virtual bool hasSucceeded() const { return true; }

    /// \param out  not owned; a table is redrawn in place when this is a terminal
    static std::unique_ptr<Report> create(TerminalOptions::Format format, FILE *out);
};

/// "USB stick at /media/usb1: 14.2 MB of 16.0 MB free, busy"; "USB stick: none".
QString storageText(StorageKind kind, const StorageState &state);

/// The value of a tag, decimal and hexadecimal; items with blanks between them. The bits of a bit
/// tag stand as such in the decimal text, the highest first.
QString decimalText(const TagView &view);
QString hexText(const TagView &view);

/// A time in the unit that suits it: "80 ms", "12.3 s", "never" below 0.
QString ageText(qint64 ms);

/// The text that puts lines on a terminal in place of those that were there: cut to the window's
/// width, and to its height less one for the cursor. 0: no limit.
QString inPlace(const QStringList &lines, int columns, int rows);

/// The lines of the table and of the figures below it.
QStringList tableLines(const std::vector<TagView> &views, const SessionSummary &soFar);

/// One JSON object each, without line end.
QByteArray tagJson(const TagView &view, const QString &time);
QByteArray storageJson(StorageKind kind, const StorageState &state, const QString &time);
QByteArray summaryJson(const SessionSummary &summary);

#endif // TERMINAL_REPORT_H
