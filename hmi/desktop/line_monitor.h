// Watches a line from the runtime's side and keeps account of it.

#ifndef HMI_DESKTOP_LINE_MONITOR_H
#define HMI_DESKTOP_LINE_MONITOR_H

#include "hmi/abstractdeviceinterface.h"
#include "hmi/desktop/line_report.h"

#include <QtGlobal>

#include <functional>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <string>

class LineAccount;

/// A link that passes everything through to another one, unchanged in bytes, results and timing,
/// and keeps account of the exchanges that it sees.
///
/// An exchange begins with `writeData`. It ends when the last byte read is a line feed, when
/// `readData` gives nothing, or, for a reader that gave up before, with the next `writeData` or
/// `control`.
///
/// Threads: `readData`, `writeData` and `control` belong to the line thread, as with every link.
/// All other operations may be called by any thread at any time; none of them waits for the line.
class LineMonitor : public AbstractDeviceInterface
{
public:
    /// A clock in microseconds from any origin, 0 or more, that never goes back; called by the line
    /// thread and by the threads that ask for reports.
    typedef std::function<qint64()> Clock;

    /// \param link   the link that does the work; not owned, outlives the monitor
    /// \param clock  the time; the machine's steady clock when it is empty
    explicit LineMonitor(AbstractDeviceInterface *link, const Clock &clock = Clock());
    ~LineMonitor() override;

    LineMonitor(const LineMonitor &) = delete;
    LineMonitor &operator=(const LineMonitor &) = delete;

    /// The account up to now.
    LineReport report() const;

    /// Milliseconds since a sound reply to a read (RN) request last carried this address of this
    /// station, be it that other values were missing in that reply; -1 = never.
    qint64 msSinceLastGoodRead(int station, quint32 address) const;

    /// Writes one line for each frame from now on: seconds since the monitor was made, direction,
    /// number of bytes, the bytes in hex, and what they mean.
    /// \param stream  where to; not owned, flushed after each line; null ends the trace. The line
    ///                thread writes it until the next call of `setTrace` has returned.
    void setTrace(std::ostream *stream);

    int readData(char *buffer, int max_size) override;
    int writeData(const char *data, int size) override;
    const DeviceSetting *deviceSetting() override;
    QVariant control(int code, const QVariant &argument) override;
    int timeout() override;
    int retry() override;
    int stationId() override;
    int delay() override;

private:
    std::string beginExchange(const std::string &frame);
    void takeReply(const std::string &bytes, qint64 at);
    void settle();
    void finishExchange(qint64 at);
    void trace(qint64 at, const char *direction, const std::string &bytes,
               const std::string &meaning);

    AbstractDeviceInterface *const m_link;
    const Clock m_clock;
    const qint64 m_made_at;

    mutable std::mutex m_mutex; ///< guards everything below
    const std::unique_ptr<LineAccount> m_account;
    std::ostream *m_trace;
};

#endif // HMI_DESKTOP_LINE_MONITOR_H
