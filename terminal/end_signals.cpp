#include "terminal/end_signals.h"

#include <ctime>

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
    const struct timespec noTime = {0, 0};
    return sigtimedwait(&m_set, nullptr, &noTime) > 0;
}
