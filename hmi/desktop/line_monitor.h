// Watches a line from the runtime's side and keeps account of it.

#ifndef HMI_DESKTOP_LINE_MONITOR_H
#define HMI_DESKTOP_LINE_MONITOR_H

#include "hmi/abstractdeviceinterface.h"

#include <QtGlobal>

#include <functional>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

/// What became of an exchange: one request and the bytes that came until its line feed.
enum class ExchangeResult {
    Good,         ///< a whole reply of the station asked, end code 0
    NoAnswer,     ///< not one byte came
    Short,        ///< the reply ended before its line feed, or holds less than was asked for
    Checksum,     ///< the bytes up to the line feed are no frame, or its sum is wrong
    OtherStation, ///< a sound reply with another station's number
    EndCode       ///< the station refused: its end code is not 0
};

/// One station's account since the monitor was made.
struct StationReport {
    /// Exchanges that ended badly.
    quint64 failed() const;

    int station = 0;      ///< 0 to 255
    quint64 requests = 0; ///< requests sent, the one that is on the line included
    quint64 goodReplies = 0;
    quint64 noAnswer = 0;
    quint64 shortReplies = 0;
    quint64 checksumErrors = 0;
    quint64 otherStation = 0;
    quint64 endCodes = 0;
    int lastEndCode = 0; ///< the last end code that was not 0; 0 = there was none

    quint64 bytesOut = 0;
    quint64 bytesIn = 0; ///< bytes that came in answer to this station's requests

    // Round trip of good replies, from the request's first byte to the reply's line feed, in
    // microseconds; -1 = no good reply yet.
    qint64 leastRoundTripUs = -1;
    qint64 medianRoundTripUs = -1; ///< of the last `LineMonitor::MedianWindow` good replies
    qint64 greatestRoundTripUs = -1;

    /// Milliseconds since the end of the first bad exchange after the last good one;
    /// -1 = the last exchange was good, or there was none.
    qint64 failingForMs = -1;
};

/// The account of a line.
struct LineReport {
    std::vector<StationReport> stations; ///< ascending by number; those that were asked
    quint64 exchanges = 0;               ///< exchanges that ended, whatever became of them
    quint64 failed = 0;                  ///< those of them that ended badly
    quint64 unreadableRequests = 0;      ///< frames sent that are no request; not in `exchanges`
    quint64 bytesOut = 0;
    quint64 bytesIn = 0;    ///< all bytes that were read, also those nobody asked for
    double busyShare = 0.0; ///< 0 to 1: time from each request to its line feed or time-out
    qint64 elapsedUs = 0;   ///< since the first request; 0 = there was none
};

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
    /// A clock in microseconds from any origin that never goes back; called by the line thread and
    /// by the threads that ask for reports.
    typedef std::function<qint64()> Clock;

    /// Of how many good replies of a station the median round trip is taken: the memory that a
    /// station needs stays the same however long the line runs.
    static const int MedianWindow = 1024;

    /// \param link   the link that does the work; not owned, outlives the monitor
    /// \param clock  the time; the machine's steady clock when it is empty
    explicit LineMonitor(AbstractDeviceInterface *link, Clock clock = Clock());

    LineMonitor(const LineMonitor &) = delete;
    LineMonitor &operator=(const LineMonitor &) = delete;

    /// The account up to now.
    LineReport report() const;

    /// Milliseconds since a good reply to a read (RN) request last carried this address of this
    /// station; -1 = never.
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
    /// The request that is on the line.
    struct Exchange {
        bool open = false;
        bool readable = false; ///< the request is one; what follows is set only then
        int station = 0;
        bool isRead = false;            ///< an RN request
        std::vector<quint32> addresses; ///< what an RN request asks for
        qint64 startedAt = 0;
        qint64 lastByteAt = 0;
        std::string reply;
    };

    /// A station's counts, and the samples for its median.
    struct Account {
        StationReport counts;
        std::vector<qint64> recentRoundTrips; ///< a ring of `MedianWindow` entries
        size_t nextRoundTrip = 0;
        qint64 failingSince = -1;
    };

    const Clock m_clock;
    AbstractDeviceInterface *const m_link;
    const qint64 m_made_at;

    mutable std::mutex m_mutex; ///< guards everything below
    std::ostream *m_trace = nullptr;
    Exchange m_exchange;
    std::map<int, Account> m_accounts;
    std::unordered_map<quint64, qint64> m_good_reads; ///< by station and address
    LineReport m_line;                                ///< `stations` stays empty
    qint64 m_first_request_at = -1;
    qint64 m_busy_us = 0;
};

#endif // HMI_DESKTOP_LINE_MONITOR_H
