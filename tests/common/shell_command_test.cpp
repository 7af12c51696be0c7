#include "common/shell_command.h"

#include "tests/common/storage_fixture.h"
#include "tests/support/eventually.h"

#include <cstdlib>
#include <signal.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

const int EndlessMs = 600000;
const int ShortMs = 200;
const qint64 StopMs = 2000; ///< far more than an end at request takes

class ShellCommand : public StorageTest
{
protected:
    std::atomic<bool> stop{false};

    bool run(const char *line, int limit_ms = EndlessMs)
    {
        return runShellCommand(line, limit_ms, stop);
    }
};

/// The process whose number a command left in a file.
pid_t processIn(const std::string &file)
{
    return std::atoi(readFile(file).c_str());
}

bool isGone(pid_t process)
{
    return process > 0 && ::kill(process, 0) != 0;
}

TEST_F(ShellCommand, RunsTheLine)
{
    EXPECT_TRUE(run("echo one 'two  three' | cat > /tmp/result"));
    EXPECT_EQ("one two  three\n", readFile("/tmp/result"));
}

TEST_F(ShellCommand, CountsAsEndedWhateverItsStatus)
{
    for (const char *line : {"true", "false", "exit 77", "no_such_program", "kill -9 $$", "((", ""})
        EXPECT_TRUE(run(line)) << line;
}

TEST_F(ShellCommand, ReadsNothingAndSaysNothing)
{
    EXPECT_TRUE(run("readlink /proc/self/fd/0 /proc/self/fd/2 > /tmp/result"));
    EXPECT_EQ("/dev/null\n/dev/null\n", readFile("/tmp/result"));
}

TEST_F(ShellCommand, IsAProcessGroupOfItsOwn)
{
    EXPECT_TRUE(run("echo $$ > /tmp/result; cut -d ' ' -f 5 /proc/$$/stat >> /tmp/result"));
    const std::string leader = std::to_string(processIn("/tmp/result"));
    EXPECT_EQ(leader + "\n" + leader + "\n", readFile("/tmp/result"));
}

TEST_F(ShellCommand, HasNoSignalsBlocked)
{
    sigset_t all;
    sigset_t former;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &former);
    EXPECT_TRUE(run("grep SigBlk /proc/self/status > /tmp/result"));
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
    EXPECT_EQ("SigBlk:\t0000000000000000\n", readFile("/tmp/result"));
}

TEST_F(ShellCommand, IsKilledWithAllItStartedWhenItTakesTooLong)
{
    // Long enough for two shells to start on a slow machine.
    const int limit_ms = 2000;
    EXPECT_LE(limit_ms, msFor([this] {
                  EXPECT_FALSE(run("echo $$ > /tmp/leader; sh -c 'echo $$ > /tmp/other; "
                                   "exec sleep 1000' | cat > /tmp/result",
                                   limit_ms));
              }));
    EXPECT_TRUE(isGone(processIn("/tmp/leader")));
    EXPECT_TRUE(eventually([] { return isGone(processIn("/tmp/other")); }));
}

TEST_F(ShellCommand, IsKilledThoughItIgnoresSignals)
{
    EXPECT_FALSE(run("trap '' HUP INT TERM; while :; do sleep 1000; done", ShortMs));
}

TEST_F(ShellCommand, IsKilledWhenItIsToStop)
{
    std::thread stopper([this] {
        EXPECT_TRUE(eventually([] { return ::access("/tmp/begun", F_OK) == 0; }));
        stop = true;
    });
    EXPECT_FALSE(run("echo $$ > /tmp/begun; exec sleep 1000"));
    stopper.join();
    EXPECT_TRUE(isGone(processIn("/tmp/begun")));
}

TEST_F(ShellCommand, ThatIsToStopAtOnceTakesNoTime)
{
    stop = true;
    EXPECT_GT(StopMs, msFor([this] { EXPECT_FALSE(run("exec sleep 1000")); }));
}

TEST_F(ShellCommand, WritesNoFileBeyondTheLimit)
{
    EXPECT_TRUE(run("exec yes > /tmp/result"));
    EXPECT_EQ(static_cast<size_t>(ShellFileLimit), readFile("/tmp/result").size());
}

TEST_F(ShellCommand, LeavesNoChildBehind)
{
    EXPECT_TRUE(run("true"));
    EXPECT_FALSE(run("exec sleep 1000", ShortMs));
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
}

TEST_F(ShellCommand, EndsInAHostThatIgnoresItsChildren)
{
    void (*const former)(int) = ::signal(SIGCHLD, SIG_IGN);
    EXPECT_TRUE(run("echo done > /tmp/result"));
    ::signal(SIGCHLD, former);
    EXPECT_EQ("done\n", readFile("/tmp/result"));
}

TEST_F(ShellCommand, MayRunInSeveralThreadsAtOnce)
{
    std::vector<std::thread> threads;
    const int count = 4;
    threads.reserve(count);
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([this, i] {
            const std::string line =
                "echo " + std::to_string(i) + " > /tmp/result" + std::to_string(i);
            for (int j = 0; j < 5; ++j)
                EXPECT_TRUE(run(line.c_str()));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(std::to_string(i) + "\n", readFile("/tmp/result" + std::to_string(i)));
}

} // namespace
