// Judges the exchanges of a line and adds them up.

#ifndef HMI_DESKTOP_LINE_ACCOUNT_H
#define HMI_DESKTOP_LINE_ACCOUNT_H

#include "hmi/desktop/line_report.h"
#include "simulator/cpl_frame.h"

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

/// An exchange that has ended.
struct EndedExchange {
    ExchangeResult result = ExchangeResult::NoAnswer;
    std::string reply;   ///< the bytes that came, at most `LineAccount::LongestReply` of them
    std::string meaning; ///< one line for a person
};

/// The account behind a `LineMonitor`. No clock, no lock, no line: it is told what happened, in
/// order, and when: in microseconds, 0 or more.
class LineAccount
{
public:
    /// Bytes of a reply that are kept; no reply is that long. Further ones are only counted.
    static const size_t LongestReply = 1024;

    /// A request goes out. Any exchange before has been finished.
    /// \return what the frame means, in one line for a person
    std::string begin(const std::string &frame, qint64 at);

    /// So many bytes of it were taken by the line.
    void sent(int count);

    /// Bytes came in.
    /// \return whether they complete the reply: an exchange is under way and the last byte is a
    ///         line feed
    bool received(const std::string &bytes, qint64 at);

    /// Whether an exchange has begun and not ended.
    bool isOpen() const { return m_open; }

    /// When the last byte of the open exchange came in, or the request went out.
    qint64 lastActivity() const { return m_last_activity; }

    /// Ends the open exchange and judges it by what came.
    /// \param at  when the line became free
    EndedExchange finish(qint64 at);

    LineReport report(qint64 now) const;

    /// When a sound reply to a read last carried the address; -1 = never.
    qint64 lastGoodRead(int station, quint32 address) const;

private:
    struct Station {
        StationReport counts;
        std::vector<qint64> roundTrips; ///< a ring of the last `StationReport::MedianWindow`
        size_t oldestRoundTrip = 0;
        qint64 failingSince = -1;
    };

    /// What the bytes of a reply turned out to be.
    struct Judgement {
        ExchangeResult result;
        CplVerdict verdict;
        CplReply reply; ///< set when the verdict is `Good`
    };

    Judgement judge() const;
    Station &asked();
    void addResult(const Judgement &judgement, qint64 at);
    static void addRoundTrip(Station *station, qint64 us);
    void rememberValues(const CplReply &reply, qint64 at);
    static StationReport stationReport(const Station &station, qint64 now);

    // The exchange under way, or the last one.
    bool m_open = false;
    bool m_complete = false; ///< the last byte that came is a line feed
    bool m_readable = false; ///< the frame sent is a request; `m_request` is set
    CplRequest m_request;
    std::string m_reply;
    qint64 m_started_at = 0;
    qint64 m_last_activity = 0;

    LineReport m_line; ///< its `stations` stays empty
    std::map<int, Station> m_stations;
    std::unordered_map<quint64, qint64> m_good_reads; ///< by station and address
    qint64 m_first_request_at = -1;
    qint64 m_busy_us = 0;
};

#endif // HMI_DESKTOP_LINE_ACCOUNT_H
