// What a pen of the trend has drawn.

#ifndef TERMINAL_WINDOW_TREND_DATA_H
#define TERMINAL_WINDOW_TREND_DATA_H

#include <deque>
#include <vector>

#include <QtGlobal>

/// The values of one tag over a time that goes along with the clock. Where the value was not live
/// there is a gap: a trend never joins what it does not know.
class TrendData
{
public:
    struct Point {
        qint64 atMs;
        double value;
    };
    typedef std::vector<Point> Run; ///< values without a gap between them, in their order

    /// However fast the rounds come, no more points than these are kept.
    static const size_t MostPoints = 4096;

    /// \param spanMs  for how long values are kept
    explicit TrendData(qint64 spanMs);

    /// A live value. One that is not newer than the last is the same reading again, and is left
    /// out.
    /// \param longestStepMs  a last value older than this does not reach up to the new one
    void add(qint64 atMs, double value, qint64 longestStepMs);

    /// The value is not live now.
    void addGap();

    /// Drops what is older than the span, but for the one point from which a line enters it.
    void forget(qint64 nowMs);

    void clear();

    std::vector<Run> runs() const;

private:
    struct Entry {
        Point point;
        bool startsRun;
    };

    const qint64 m_span_ms;
    std::deque<Entry> m_entries;
    bool m_broken; ///< the next value starts a run
};

/// A scale for an axis: round numbers around the values that it has to hold.
struct TrendScale {
    double bottom;
    double top;
    double step; ///< from one mark to the next; above 0

    /// \param marks  about how many steps the scale shall have, 1 or more
    static TrendScale around(double least, double greatest, int marks);
};

#endif // TERMINAL_WINDOW_TREND_DATA_H
