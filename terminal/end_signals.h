// The signals that end the program.

#ifndef TERMINAL_END_SIGNALS_H
#define TERMINAL_END_SIGNALS_H

#include <csignal>

/// SIGINT and SIGTERM, which no thread takes but the one that asks for them. SIGPIPE is ignored:
/// an output that nobody reads any more shows as a failed write.
class EndSignals
{
public:
    /// To be made before there is another thread.
    EndSignals();

    /// True: one of them has come since the last call. Does not wait.
    bool arrived();

private:
    sigset_t m_set;
};

#endif // TERMINAL_END_SIGNALS_H
