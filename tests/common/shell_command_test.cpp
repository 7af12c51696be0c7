#include "common/shell_command.h"

#include "tests/common/storage_fixture.h"

namespace
{

typedef StorageTest ShellCommand;
const int EndlessMs = 600000;

TEST_F(ShellCommand, RunsTheLine)
{
    const std::atomic<bool> stop(false);
    EXPECT_TRUE(runShellCommand("echo one two > /tmp/result", EndlessMs, stop));
    EXPECT_EQ("one two\n", readFile("/tmp/result"));
}

} // namespace
