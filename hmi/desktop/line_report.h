// What a line's exchanges came to, in figures.

#ifndef HMI_DESKTOP_LINE_REPORT_H
#define HMI_DESKTOP_LINE_REPORT_H

#include <QtGlobal>

#include <vector>

/// What became of an exchange: one request and the bytes that came until its line feed.
enum class ExchangeResult {
    Good,         ///< a whole reply of the station asked, end code 0
    NoAnswer,     ///< not one byte came
    Short,        ///< ended before its line feed, shorter than any reply, or with values missing
    Checksum,     ///< the bytes up to the line feed are no reply frame, or its sum is wrong
    OtherStation, ///< a sound reply with another station's number
    EndCode       ///< the station refused: its end code is not 0
};

/// One station's account.
struct StationReport {
    /// Exchanges that ended badly.
    quint64 failed() const
    {
        return noAnswer + shortReplies + checksumErrors + otherStation + endCodes;
    }

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

    // Round trip of good replies, from the start of the request to the reply's line feed, in
    // microseconds; -1 = no good reply yet.
    qint64 leastRoundTripUs = -1;
    qint64 medianRoundTripUs = -1; ///< of the last `MedianWindow` good replies
    qint64 greatestRoundTripUs = -1;

    /// Milliseconds since the end of the first bad exchange after the last good one;
    /// -1 = the last exchange was good, or none has ended.
    qint64 failingForMs = -1;

    /// Of how many good replies the median is taken. The memory that a station needs stays the
    /// same however long the line runs.
    static const int MedianWindow = 1024;
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

#endif // HMI_DESKTOP_LINE_REPORT_H
