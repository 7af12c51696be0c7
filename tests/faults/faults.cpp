#include "tests/faults/faults.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <limits>
#include <new>

#include <csignal>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include "tests/faults/fault_injector.h"

namespace
{

const int Patience = 20; // seconds, then a child is ended; it may have to share the machine

const int MostAttempts = 3;
const char Hung[] = "ended because it hung";

/// What a child tells its parent, in memory that both have.
struct Verdict {
    long calls;
    long leaked; ///< blocks
    bool succeeded;
    bool complete;
    char wrong[160];
    char failed[32];      ///< the call that failed
    char caller[64];      ///< who made it
    FaultLeftovers left;  ///< `leaked`, and whose
    char ended[64];       ///< whose code the child was in when a signal ended it
    bool ended_by_others; ///< it was a library's
    bool ended_in_call;   ///< it was in the call in which the fault struck
};

Verdict *shared = nullptr;

void *instructionOf(const ucontext_t *state)
{
#if defined(__x86_64__)
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel tells addresses as numbers
    return reinterpret_cast<void *>(state->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return reinterpret_cast<void *>(state->uc_mcontext.pc);
#else
    return reinterpret_cast<void *>(state->uc_mcontext.arm_pc);
#endif
}

template <size_t Size>
void store(char (&target)[Size], const std::string &text)
{
    snprintf(target, Size, "%s", text.c_str());
}

/// Called for a crash: nobody can be asked any more, so what is known is stored as it is.
void noteCrash(int number, siginfo_t *, void *context)
{
    const FaultOrigin where =
        faultInjectorInterrupted(instructionOf(static_cast<ucontext_t *>(context)));
    store(shared->ended, where.file);
    shared->ended_by_others = !where.of_program;
    shared->ended_in_call = where.in_failed_call;
    store(shared->failed, faultInjectorFailed());
    store(shared->caller, faultInjectorCaller());
    signal(number, SIG_DFL);
    raise(number);
}

void watchForCrashes()
{
    struct sigaction action = {};
    action.sa_sigaction = noteCrash;
    action.sa_flags = SA_SIGINFO;
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGALRM})
        sigaction(number, &action, nullptr);
}

bool attempt(FaultPath *path, std::string *wrong)
{
    try {
        return path->attempt();
    } catch (const std::exception &thrown) {
        *wrong = std::string("throws ") + thrown.what();
        return false;
    }
}

/// A port that was lost may take more than one attempt.
bool succeedsNow(FaultPath *path)
{
    bool succeeded = false;
    for (int i = 0; i < MostAttempts && !succeeded; ++i)
        succeeded = path->attempt();
    return succeeded;
}

/// One attempt under a fault, and one without, which must succeed.
void tryBoth(FaultPath *path, long nth, Verdict *verdict)
{
    path->prepare();
    std::string wrong;
    faultInjectorArm(nth);
    verdict->succeeded = attempt(path, &wrong);
    verdict->calls = faultInjectorDisarm();
    store(verdict->failed, faultInjectorFailed());
    store(verdict->caller, faultInjectorCaller());
    if (wrong.empty())
        wrong = path->state(verdict->succeeded, *verdict->failed != '\0');
    if (wrong.empty() && !succeedsNow(path))
        wrong = "the next attempts fail";
    if (wrong.empty())
        wrong = path->state(true, false);
    path->end();
    store(verdict->wrong, wrong);
}

long blocksLeftBy(FaultPath *path, long nth)
{
    const long before = faultInjectorLiveBlocks();
    Verdict again = {};
    tryBoth(path, nth, &again);
    return faultInjectorLiveBlocks() - before;
}

/// Whose the blocks are that stay after a fault.
FaultLeftovers leftoversOf(FaultPath *path, long nth)
{
    faultInjectorWatchBlocks();
    blocksLeftBy(path, nth);
    return faultInjectorLeftovers();
}

/// Runs in the child.
void runChild(FaultPath *path, long nth, long usuallyLeaked)
{
    alarm(Patience);
    const struct rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    watchForCrashes();
    tryBoth(path, nth, shared);
    // What stays of a first fault, such as the texts of errors, is there now.
    shared->leaked = blocksLeftBy(path, nth);
    if (shared->leaked > usuallyLeaked)
        shared->left = leftoversOf(path, nth);
    shared->complete = true;
    _exit(0);
}

/// \return what ended the child, empty when it ended well
std::string awaitChild(pid_t child)
{
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
        return Hung;
    if (WIFSIGNALED(status))
        return std::string("ended by ") + strsignal(WTERMSIG(status));
    return shared->complete ? "" : "ended with " + std::to_string(WEXITSTATUS(status));
}

/// \return what ended the child before it could tell, empty when it told
std::string tryInChild(FaultPath *path, long nth, long usuallyLeaked)
{
    *shared = Verdict();
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0)
        runChild(path, nth, usuallyLeaked);
    return child < 0 ? "no process" : awaitChild(child);
}

/// Files what ended a child. A library that crashes or waits for ever in the very call in which the
/// fault struck is beyond us. What it does in a later call may come from how the driver goes on.
void fileEnd(const std::string &ended, const std::string &after, const std::string &example,
             FaultTally *tally)
{
    const Verdict &verdict = *shared;
    const std::string what =
        (ended == Hung ? "hangs in " : "crash in ") + std::string(verdict.ended) + after;
    if (verdict.ended_in_call)
        ++tally->lost[what];
    else if (verdict.ended_by_others)
        ++tally->unproven[what];
    else
        ++tally->broken[ended + after + example];
}

/// Files blocks that are left over. One that a library allocated in the very call in which the
/// fault struck never was the driver's; one from another call may have been.
void fileLeak(const std::string &after, const std::string &example, FaultTally *tally)
{
    const FaultLeftovers &left = shared->left;
    if (left.of_program > 0)
        ++tally->broken["leak" + after + example];
    else if (left.elsewhere == 0 && left.in_failed_call > 0)
        ++tally->lost["leak" + after];
    else
        ++tally->unproven["leak" + after];
}

/// Files what became of one child.
void file(const std::string &ended, long usuallyLeaked, long nth, FaultTally *tally)
{
    const Verdict &verdict = *shared;
    const std::string after = std::string(" after ") + verdict.failed + " of " + verdict.caller;
    const std::string example = ", for example call " + std::to_string(nth);
    if (!ended.empty())
        fileEnd(ended, after, example, tally);
    else if (*verdict.wrong != '\0')
        ++tally->broken[verdict.wrong + after + example];
    else if (verdict.leaked > usuallyLeaked)
        fileLeak(after, example, tally);
    else
        ++(verdict.succeeded ? tally->succeeded : tally->reported);
}

} // namespace

FaultTally failCalls(FaultPath *path, long first, long step)
{
    if (shared == nullptr)
        shared = static_cast<Verdict *>(mmap(nullptr, sizeof *shared, PROT_READ | PROT_WRITE,
                                             MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    FaultTally tally;
    tally.path = path->name();
    // What the libraries keep for good comes into being here, not in a child.
    Verdict warmUp = {};
    tryBoth(path, 0, &warmUp);
    try {
        throw std::bad_alloc();
    } catch (const std::bad_alloc &) { // of the first one something stays, too
    }
    strerror(EIO); // and of the first text of an error
    const std::string ended = tryInChild(path, 0, std::numeric_limits<long>::max());
    tally.calls = shared->calls;
    const long leaked = shared->leaked;
    if (!ended.empty() || *shared->wrong != '\0' || !shared->succeeded)
        ++tally.broken["without a fault: " + ended + shared->wrong];

    for (long nth = first; nth <= tally.calls; nth += step) {
        const std::string end = tryInChild(path, nth, leaked);
        if (shared->complete && *shared->failed == '\0' && *shared->wrong == '\0')
            continue; // other threads' calls differ from run to run: this time there were fewer
        ++tally.failed;
        file(end, leaked, nth, &tally);
    }
    return tally;
}
