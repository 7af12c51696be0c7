// What becomes of one program transfer, told from its tags.

#ifndef TERMINAL_TRANSFER_WATCH_H
#define TERMINAL_TRANSFER_WATCH_H

#include "terminal/program_tags.h"

/// Follows a transfer from the request to its end. One thread at a time.
class TransferWatch
{
public:
    enum State {
        Waiting, ///< it has not begun
        Running,
        Done,
        Failed
    };

    /// A request that has not begun after this time never will.
    enum { BeginWithinMs = 15000 };

    /// \param nowMs  any origin
    explicit TransferWatch(qint64 nowMs);

    void see(const TransferView &view, qint64 nowMs);

    State state() const { return m_state; }
    bool isOver() const { return m_state == Done || m_state == Failed; }
    int percent() const { return m_percent; }

private:
    const qint64 m_asked_at;
    State m_state;
    int m_percent;
    bool m_is_complete; ///< it has shown 100 percent
};

#endif // TERMINAL_TRANSFER_WATCH_H
