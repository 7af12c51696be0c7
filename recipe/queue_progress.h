// How far an import is, told from the length of a write queue.

#ifndef RECIPE_QUEUE_PROGRESS_H
#define RECIPE_QUEUE_PROGRESS_H

#include <algorithm>

#include <QtGlobal>

/// Follows a queue that is being worked off by looking at its length from time to time. Others may
/// add to it meanwhile.
class QueueProgress
{
public:
    /// How often in a row a look may find the queue as it was.
    static const int RepeatsAllowed = 5;

    /// \param total  the queue's length at the beginning
    explicit QueueProgress(quint32 total)
        : m_total(total), m_ratio(0), m_is_first(true), m_repeats(0)
    {
    }

    /// Takes the queue's length, above 0.
    void look(quint32 remaining)
    {
        const double ratio = ratioOf(remaining);
        const bool moved = m_is_first || ratio < m_ratio || ratio > m_ratio;
        m_repeats = moved ? 0 : m_repeats + 1;
        m_ratio = ratio;
        m_is_first = false;
    }

    /// Whether the queue does not move any more.
    bool isStalled() const { return m_repeats > RepeatsAllowed; }

    /// What has been worked off, 0 to 100. A queue that became longer is at 0.
    int percent() const { return std::max(0, static_cast<int>(m_ratio * 100)); }

private:
    /// A queue that was empty at the beginning makes no progress when it is not any more.
    double ratioOf(quint32 remaining) const
    {
        const double total = m_total;
        return m_total == 0 ? 0 : (total - remaining) / total;
    }

    quint32 m_total;
    double m_ratio;
    bool m_is_first;
    int m_repeats;
};

#endif // RECIPE_QUEUE_PROGRESS_H
