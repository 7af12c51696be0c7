#include "tests/faults/faults.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

#include <csignal>
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include "tests/faults/fault_injector.h"

namespace
{

const int Patience = 10; // seconds, then a child is ended

const int MostAttempts = 3;
const char Hung[] = "ended because it hung";

/// What a child tells its parent, in memory that both have.
struct Verdict {
    long calls;
    long leaked; ///< blocks
    bool succeeded;
    bool complete;
    char wrong[160];
    char failed[32];  ///< the call that failed
    char caller[64];  ///< who made it
    char crashed[64]; ///< where the child crashed
};

Verdict *shared = nullptr;

void *instructionOf(const ucontext_t *state)
{
#if defined(__x86_64__)
    return reinterpret_cast<void *>(state->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return reinterpret_cast<void *>(state->uc_mcontext.pc);
#else
    return reinterpret_cast<void *>(state->uc_mcontext.arm_pc);
#endif
}

std::string baseName(const std::string &path)
{
    return path.substr(path.find_last_of('/') + 1);
}

template <size_t Size>
void store(char (&target)[Size], const std::string &text)
{
    snprintf(target, Size, "%s", text.c_str());
}

/// Called for a crash: nobody can be asked any more, so what is known is stored as it is.
void noteCrash(int number, siginfo_t *, void *context)
{
    const ucontext_t *const state = static_cast<ucontext_t *>(context);
    Dl_info place;
    void *const at = instructionOf(state);
    if (dladdr(at, &place) != 0)
        store(shared->crashed, baseName(place.dli_fname));
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
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGALRM})
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
        wrong = path->state(verdict->succeeded);
    if (wrong.empty() && !succeedsNow(path))
        wrong = "the next attempts fail";
    if (wrong.empty())
        wrong = path->state(true);
    path->end();
    store(verdict->wrong, wrong);
}

/// Runs in the child.
void runChild(FaultPath *path, long nth)
{
    alarm(Patience);
    const struct rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    watchForCrashes();
    tryBoth(path, nth, shared);
    // What stays of a first fault, such as the texts of errors, is there now.
    const long before = faultInjectorLiveBlocks();
    Verdict again = {};
    tryBoth(path, nth, &again);
    shared->leaked = faultInjectorLiveBlocks() - before;
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
std::string tryInChild(FaultPath *path, long nth)
{
    *shared = Verdict();
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0)
        runChild(path, nth);
    return child < 0 ? "no process" : awaitChild(child);
}

bool isProgram(const std::string &file)
{
    return file.find(".so") == std::string::npos;
}

/// Files what became of one child. A library that crashes, or leaks, over a call of its own is
/// beyond us; so is one that never comes back.
void file(const std::string &ended, long usuallyLeaked, long nth, FaultTally *tally)
{
    const Verdict &verdict = *shared;
    const std::string what = std::string(verdict.failed) + " of " + verdict.caller;
    const bool ofLibrary = *verdict.caller != '\0' && !isProgram(verdict.caller);
    if (ended == Hung && ofLibrary)
        ++tally->lost["hangs after " + what];
    else if (!ended.empty() && ofLibrary && *verdict.crashed != '\0' && !isProgram(verdict.crashed))
        ++tally->lost[std::string("crash in ") + verdict.crashed + " after " + what];
    else if (!ended.empty())
        ++tally->broken[ended + ", call " + std::to_string(nth)];
    else if (*verdict.wrong != '\0')
        ++tally->broken[verdict.wrong + std::string(", ") + what + ", for example call " +
                        std::to_string(nth)];
    else if (verdict.leaked > usuallyLeaked)
        ++(ofLibrary ? tally->lost : tally->broken)["leak after " + what];
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
    const std::string ended = tryInChild(path, 0);
    tally.calls = shared->calls;
    const long leaked = shared->leaked;
    if (!ended.empty() || *shared->wrong != '\0' || !shared->succeeded)
        ++tally.broken["without a fault: " + ended + shared->wrong];

    for (long nth = first; nth <= tally.calls; nth += step) {
        ++tally.failed;
        file(tryInChild(path, nth), leaked, nth, &tally);
    }
    return tally;
}
