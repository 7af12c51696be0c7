// One program transfer on the command line.

#ifndef TERMINAL_TRANSFER_REPORT_H
#define TERMINAL_TRANSFER_REPORT_H

#include <atomic>
#include <cstdio>
#include <functional>

#include <QString>

#include "terminal/options.h"
#include "terminal/program_tags.h"
#include "terminal/report.h"
#include "terminal/transfer_watch.h"

/// Prints a progress bar, or objects, and at the end what came of the transfer. Of the tags that
/// are read meanwhile nothing is shown.
class TransferReport : public Report
{
public:
    typedef std::function<qint64()> Clock; ///< ms from any origin

    /// \param stick  how the user calls the stick; empty: by its mount point
    /// \param out    not owned; a bar is redrawn in place when this is a terminal
    /// \param nowMs  the steady clock when empty
    TransferReport(const TransferRequest &request, TerminalOptions::Format format,
                   const QString &stick, FILE *out, const Clock &nowMs = Clock());

    void round(const std::vector<TagView> &views, const SessionSummary &soFar) override;
    void storage(StorageKind kind, const StorageState &state) override;
    void transfers(const TransferViews &views) override;
    void end(const SessionSummary &summary) override;

    bool isOver() const override { return m_is_over; }
    bool hasSucceeded() const override { return m_watch.state() == TransferWatch::Done; }

private:
    void print(const QString &line);
    void printState(bool isLast);
    QString bar() const;
    QString outcome(const QString &lineError) const;
    QString whyItFailed(const QString &lineError) const;
    QString errorLog() const;
    QByteArray json(const QString &message) const;
    QString called() const;
    QString fileOnStick(const QString &name) const;

    const TransferRequest m_request;
    const TerminalOptions::Format m_format;
    const QString m_stick;
    FILE *const m_out;
    const bool m_in_place;
    const Clock m_now_ms;
    QString m_mount; ///< where the stick was seen last
    TransferWatch m_watch;
    bool m_has_error;            ///< the transfer's error tag is set
    std::atomic<bool> m_is_over; ///< asked by the main thread
};

#endif // TERMINAL_TRANSFER_REPORT_H
