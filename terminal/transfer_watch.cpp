#include "terminal/transfer_watch.h"

namespace
{

const int AllPercent = 100;

} // namespace

TransferWatch::TransferWatch(qint64 nowMs)
    : m_asked_at(nowMs), m_state(Waiting), m_percent(0), m_is_complete(false)
{
}

/// A transfer without a stick ends without an error: what never showed 100 percent has failed.
void TransferWatch::see(const TransferView &view, qint64 nowMs)
{
    if (isOver())
        return;
    if (view.running) {
        m_state = Running;
        m_percent = view.percent;
        m_is_complete = m_is_complete || view.percent >= AllPercent;
    } else if (m_state == Running) {
        m_state = m_is_complete && !view.failed ? Done : Failed;
    } else if (nowMs - m_asked_at > BeginWithinMs) {
        m_state = Failed;
    }
}
