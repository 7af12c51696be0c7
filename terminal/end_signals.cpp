#include "terminal/end_signals.h"

#include <ctime>

namespace
{

const long MomentNs = 50 * 1000000L;

} // namespace

EndSignals::EndSignals()
{
    sigemptyset(&m_set);
    sigaddset(&m_set, SIGINT);
    sigaddset(&m_set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &m_set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

bool EndSignals::arrived()
{
    const struct timespec moment = {0, MomentNs};
    return sigtimedwait(&m_set, nullptr, &moment) > 0;
}
