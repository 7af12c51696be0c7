// How the beeper reaches the PWM files: through a shell, which may be missing like the files.
//
// This program's own pipe2, fork and waitpid stand in front of the C library's, so that they can
// fail.

#include "common/zbuzzer.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hmi/desktop/desktop_platform.h"
#include "tests/common/zbuzzer_bench.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

std::atomic<bool> pipeFails(false);
std::atomic<bool> forkFails(false);
std::atomic<int> interruptions(0); // of waitpid, still to come

template <typename Function>
Function next(const char *name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int pipe2(int *ends, int flags)
{
    if (pipeFails) {
        errno = EMFILE;
        return -1;
    }
    return next<int (*)(int *, int)>("pipe2")(ends, flags);
}

extern "C" pid_t fork()
{
    if (forkFails) {
        errno = EAGAIN;
        return -1;
    }
    return next<pid_t (*)()>("fork")();
}

extern "C" pid_t waitpid(pid_t child, int *status, int options)
{
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    return next<pid_t (*)(pid_t, int *, int)>("waitpid")(child, status, options);
}

namespace
{

/// The descriptors of this process that are pipes or "/dev/null"; if told so, only those that a
/// program which it starts inherits. The board has sockets that come and go.
std::set<int> descriptors(bool inheritedOnly)
{
    std::set<int> found;
    const QDir directory(QString::fromLatin1("/proc/self/fd"));
    for (const QFileInfo &entry : directory.entryInfoList(QDir::AllEntries | QDir::System)) {
        const QString target = entry.symLinkTarget();
        const int descriptor = entry.fileName().toInt();
        const bool isOurs =
            target.contains(QLatin1String("pipe:")) || target == QLatin1String("/dev/null");
        if (isOurs && (!inheritedOnly || (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0))
            found.insert(descriptor);
    }
    return found;
}

std::string wholeFile(const std::string &name)
{
    std::ifstream stream(name);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

bool hasChildren()
{
    return ::waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

/// What this process and its shells print goes into a file, on a directory's lifetime.
class CaughtOutput
{
public:
    explicit CaughtOutput(const std::string &file)
        : m_output(::dup(STDOUT_FILENO)), m_error(::dup(STDERR_FILENO))
    {
        const int caught = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        ::dup2(caught, STDOUT_FILENO);
        ::dup2(caught, STDERR_FILENO);
        ::close(caught);
    }
    ~CaughtOutput()
    {
        ::dup2(m_output, STDOUT_FILENO);
        ::dup2(m_error, STDERR_FILENO);
        ::close(m_output);
        ::close(m_error);
    }
    CaughtOutput(const CaughtOutput &) = delete;
    CaughtOutput &operator=(const CaughtOutput &) = delete;

private:
    const int m_output;
    const int m_error;
};

/// Runs in a working directory of its own.
class BuzzerShell : public BuzzerBench
{
protected:
    BuzzerShell() : m_came_from(QDir::currentPath()) { QDir::setCurrent(place.path()); }
    ~BuzzerShell() override
    {
        pipeFails = false;
        forkFails = false;
        interruptions = 0;
        QDir::setCurrent(m_came_from);
    }

    std::string file(const char *name) const { return place.filePath(name).toStdString(); }

    /// Plays one beep to its end.
    void beep()
    {
        const int before = done();
        buzzer->makeSound(10, 2900);
        ASSERT_TRUE(awaitDone(before + 1));
    }

    QTemporaryDir place;

private:
    const QString m_came_from;
};

// ---- The PWM output ----------------------------------------------------------------------------

TEST_F(BuzzerShell, ExportsTheOutputThatItDoesNotSee)
{
    makeBuzzer();
    buzzer->delayedInitial();
    EXPECT_THAT(journal.deeds(), ElementsAre(ExportLine));
    EXPECT_EQ("0", board.text("export"));
}

TEST_F(BuzzerShell, SeesTheOutputFromTheRootDirectoryOnly)
{
    ASSERT_EQ("0", board.text("pwm0/enable")) << "the board has the output";
    makeBuzzer();
    buzzer->delayedInitial();
    EXPECT_THAT(journal.deeds(), ElementsAre(ExportLine));
}

TEST_F(BuzzerShell, ExportsNothingWhenItSeesTheOutput)
{
    ASSERT_TRUE(QDir().mkpath(QString::fromLatin1("sys/class/pwm/pwmchip1/pwm0")));
    makeBuzzer();
    buzzer->delayedInitial();
    EXPECT_THAT(journal.deeds(), IsEmpty());
    EXPECT_EQ("", board.text("export"));
}

TEST_F(BuzzerShell, ExportsOnADesktopToo)
{
    setPlatformIsPanel(false);
    makeBuzzer();
    buzzer->delayedInitial();
    EXPECT_THAT(journal.deeds(), ElementsAre(ExportLine));
}

TEST_F(BuzzerShell, SetsTheFilesStepByStep)
{
    makeBuzzer();
    std::mutex mutex;
    Deeds steps; // duty cycle, period and switch after each line
    buzzer->afterEachLine = [&] {
        const std::lock_guard<std::mutex> lock(mutex);
        steps.push_back(board.text("pwm0/duty_cycle") + " " + board.text("pwm0/period") + " " +
                        board.text("pwm0/enable"));
    };
    startBuzzer();
    buzzer->makeSound(10, 2900);
    ASSERT_TRUE(awaitDone(1));
    buzzer->makeSound(10, 4600);
    ASSERT_TRUE(awaitDone(2));
    const std::lock_guard<std::mutex> lock(mutex);
    EXPECT_THAT(steps, ElementsAre("0 0 0", // exported
                                   "0 0 0", "0 689654 0", "344827 689654 0", "344827 689654 1",
                                   "344827 689654 0", //
                                   "0 689654 0", "0 434782 0", "217391 434782 0", "217391 434782 1",
                                   "217391 434782 0"));
}

TEST_F(BuzzerShell, PlaysOnWithoutTheFiles)
{
    board.removeOutput();
    bringUp();
    beep();
    beep();
    EXPECT_EQ(tuned("689654", "344827") + sounded(10) + sounded(10), journal.deeds());
    EXPECT_EQ("none", board.text("pwm0/enable"));
}

TEST_F(BuzzerShell, PlaysOnWhenTheFilesRefuse)
{
    board.refuseWriting();
    bringUp();
    beep();
    EXPECT_EQ(tuned("689654", "344827") + sounded(10), journal.deeds());
    EXPECT_EQ("", board.text("pwm0/enable"));
}

TEST_F(BuzzerShell, KeepsQuietOnTheConsoleAboutMissingFiles)
{
    board.removeOutput();
    {
        const CaughtOutput output(file("output"));
        bringUp();
        beep();
    }
    EXPECT_EQ("", wholeFile(file("output")));
}

// ---- A shell line ------------------------------------------------------------------------------

TEST_F(BuzzerShell, GivesTheFirstByteThatALinePrints)
{
    makeBuzzer();
    char byte = 0;
    buzzer->runLine("echo hello", &byte);
    EXPECT_EQ('h', byte);
    buzzer->runLine("printf x", &byte);
    EXPECT_EQ('x', byte);
}

TEST_F(BuzzerShell, LeavesTheByteOfASilentLine)
{
    makeBuzzer();
    char byte = '?';
    buzzer->runLine("true", &byte);
    EXPECT_EQ('?', byte);
    buzzer->runLine("exit 3", &byte);
    EXPECT_EQ('?', byte);
    buzzer->runLine("echo error >&2", &byte);
    EXPECT_EQ('?', byte);
}

TEST_F(BuzzerShell, KeepsALinesOutputFromTheConsole)
{
    makeBuzzer();
    {
        const CaughtOutput output(file("output"));
        char byte = 0;
        buzzer->runLine("echo output; echo error >&2", &byte);
    }
    EXPECT_EQ("", wholeFile(file("output")));
}

TEST_F(BuzzerShell, DoesNotWaitForOutputThatNobodyReads)
{
    makeBuzzer();
    char byte = 0;
    buzzer->runLine("yes", &byte); // ends when its pipe is closed, or never
    EXPECT_EQ('y', byte);
}

TEST_F(BuzzerShell, WaitsForALinesEnd)
{
    makeBuzzer();
    char byte = 0;
    buzzer->runLine("exec >&-; sleep 0.2; touch ended", &byte);
    EXPECT_TRUE(QFile::exists(QString::fromStdString(file("ended"))));
    EXPECT_FALSE(hasChildren());
}

TEST_F(BuzzerShell, WaitsForALinesEndThroughSignals)
{
    makeBuzzer();
    interruptions = 3;
    char byte = 0;
    buzzer->runLine("echo hello", &byte);
    EXPECT_EQ(0, interruptions);
    EXPECT_FALSE(hasChildren());
}

TEST_F(BuzzerShell, RunsTheShellAsToldByTheLine)
{
    makeBuzzer();
    char byte = 0;
    buzzer->runLine("tr '\\0' ' ' < /proc/$$/cmdline > line; echo $0 > name", &byte);
    EXPECT_THAT(wholeFile(file("line")), StartsWith("sh -c tr "));
    EXPECT_EQ("sh\n", wholeFile(file("name")));
}

TEST_F(BuzzerShell, LendsALineNoEndOfItsPipeButTheOutput)
{
    makeBuzzer();
    std::set<int> expected = descriptors(true);
    expected.insert(STDOUT_FILENO);
    char byte = 0;
    // A shell in the shell, because the outer one must have no descriptors of its own.
    buzzer->runLine("sh -c 'for f in /proc/$PPID/fd/*; do case $(readlink $f) in "
                    "pipe:*) basename $f;; esac; done > list'; true",
                    &byte);
    std::ifstream list(file("list"));
    const std::set<int> pipes{std::istream_iterator<int>(list), std::istream_iterator<int>()};
    EXPECT_EQ(1u, pipes.count(STDOUT_FILENO));
    EXPECT_THAT(expected, testing::IsSupersetOf(pipes));
}

TEST_F(BuzzerShell, GivesItsDescriptorsBack)
{
    makeBuzzer();
    const std::set<int> before = descriptors(false);
    char byte = 0;
    for (int i = 0; i < 20; ++i)
        buzzer->runLine("true", &byte);
    forkFails = true;
    buzzer->runLine("true", &byte);
    EXPECT_EQ(before, descriptors(false));
}

TEST_F(BuzzerShell, PlaysOnWhenNoShellCanBeStarted)
{
    forkFails = true;
    bringUp();
    beep();
    EXPECT_EQ("0", board.text("pwm0/period"));
    EXPECT_THAT(log.texts(QtDebugMsg), Contains(StartsWith("no shell: ")));
}

TEST_F(BuzzerShell, PlaysOnWithoutAPipe)
{
    bringUp();
    pipeFails = true;
    beep();
    EXPECT_EQ("0", board.text("pwm0/period"));
    EXPECT_THAT(log.texts(QtDebugMsg), Contains(StartsWith("no pipe to the shell: ")));
    pipeFails = false;
    buzzer->setBuzzerSwitch(true);
    EXPECT_EQ("1", board.text("pwm0/enable")) << "it works again";
}

} // namespace
