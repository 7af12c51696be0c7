#include "common/shell_command.h"

#include "common/clock.h"

#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

const char Shell[] = "/bin/sh";
const char Nowhere[] = "/dev/null";
const int NoSuchCommand = 127; ///< the exit status that shells give it

// A command is looked at often while it is young: most end within milliseconds.
const ulong FirstLookMs = 1;
const ulong LongestLookMs = 50;

const int ReapLimitMs = 500; ///< how long a killed command may take to die

// ---- In the child. The program has threads, so between fork and exec there is nothing but calls
// that need no lock. -------------------------------------------------------------------------

void limitTo(int resource, rlim_t limit)
{
    struct rlimit both;
    both.rlim_cur = limit;
    both.rlim_max = limit;
    ::setrlimit(static_cast<__rlimit_resource_t>(resource), &both);
}

void silence()
{
    const int nowhere = ::open(Nowhere, O_RDWR);
    if (nowhere >= 0) {
        ::dup2(nowhere, STDIN_FILENO);
        ::dup2(nowhere, STDERR_FILENO);
    }
}

/// The thread that started the command may have blocked signals, which a child inherits.
void unblockSignals()
{
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

void becomeShell(const char *line)
{
    ::setpgid(0, 0);
    unblockSignals();
    silence();
    limitTo(RLIMIT_FSIZE, ShellFileLimit);
    limitTo(RLIMIT_CORE, 0);
    ::execl(Shell, "sh", "-c", line, static_cast<char *>(nullptr));
    ::_exit(NoSuchCommand);
}

// ---- In the parent --------------------------------------------------------------------------

/// Whether the child is gone. A host that ignores SIGCHLD has no children left to wait for.
bool hasEnded(pid_t child)
{
    const pid_t reaped = ::waitpid(child, nullptr, WNOHANG);
    return reaped == child || (reaped < 0 && errno == ECHILD);
}

bool waitForEnd(pid_t child, int limit_ms, const std::atomic<bool> &stop)
{
    Clock *const clock = Clock::system();
    const qint64 end = clock->msecsSinceBoot() + limit_ms;
    for (ulong pause = FirstLookMs; !hasEnded(child); pause = std::min(2 * pause, LongestLookMs)) {
        if (stop || clock->msecsSinceBoot() >= end) {
            return false;
        }
        clock->sleep(pause);
    }
    return true;
}

void killGroup(pid_t leader)
{
    const std::atomic<bool> never(false);
    ::kill(-leader, SIGKILL);
    waitForEnd(leader, ReapLimitMs, never);
}

} // namespace

bool runShellCommand(const QByteArray &line, int limit_ms, const std::atomic<bool> &stop)
{
    const pid_t child = ::fork();
    if (child < 0) {
        return false;
    }
    if (child == 0) {
        becomeShell(line.constData());
    }
    // The child does so too. Whoever comes first, the group is there before it may be killed.
    ::setpgid(child, child);
    if (waitForEnd(child, limit_ms, stop)) {
        return true;
    }
    killGroup(child);
    return false;
}
