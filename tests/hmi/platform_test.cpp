#include "hmi/platform.h"

#include "hmi/desktop/desktop_platform.h"
#include "tests/hmi/message_log.h"
#include "tests/hmi/pty.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;

namespace
{

/// Lends another descriptor to standard error.
class BorrowedStandardError
{
public:
    explicit BorrowedStandardError(int descriptor) : m_own(::dup(STDERR_FILENO))
    {
        ::dup2(descriptor, STDERR_FILENO);
    }
    ~BorrowedStandardError()
    {
        ::dup2(m_own, STDERR_FILENO);
        ::close(m_own);
    }
    BorrowedStandardError(const BorrowedStandardError &) = delete;
    BorrowedStandardError &operator=(const BorrowedStandardError &) = delete;

private:
    const int m_own;
};

void beepOn(int descriptor, int frequency, int duration)
{
    const BorrowedStandardError borrowed(descriptor);
    Platform::getInstance()->BuzzerAlarm(frequency, duration);
}

/// What a terminal on standard error gets from one beep and a full stop after it.
std::string heard(int frequency, int duration)
{
    Pty terminal;
    beepOn(terminal.slave(), frequency, duration);
    EXPECT_EQ(1, ::write(terminal.slave(), ".", 1));
    std::string bytes = terminal.receive(1);
    if (bytes != ".") {
        bytes += terminal.receive(1);
    }
    return bytes;
}

class DesktopPlatform : public testing::Test
{
protected:
    void TearDown() override { Platform::getInstance()->setBuzzerOn(true); }
};

TEST_F(DesktopPlatform, IsADesktopPc)
{
    EXPECT_TRUE(Platform::getInstance()->isX86HMI());
    EXPECT_EQ(DesktopPlatformType, Platform::getInstance()->type);
}

TEST_F(DesktopPlatform, IsTheSameForEveryThread)
{
    std::vector<Platform *> seen(4);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (Platform *&place : seen) {
        threads.emplace_back([&place] { place = Platform::getInstance(); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (Platform *platform : seen) {
        EXPECT_EQ(Platform::getInstance(), platform);
    }
}

TEST_F(DesktopPlatform, HasItsTypeSetByTheHost)
{
    Platform::getInstance()->type = 4;
    EXPECT_EQ(4, Platform::getInstance()->type);
    Platform::getInstance()->type = DesktopPlatformType;
}

TEST_F(DesktopPlatform, HasBeepsOnUntilTheyAreSwitchedOff)
{
    EXPECT_TRUE(Platform::getInstance()->BuzzerOn());
    Platform::getInstance()->setBuzzerOn(false);
    EXPECT_FALSE(Platform::getInstance()->BuzzerOn());
    Platform::getInstance()->setBuzzerOn(true);
    EXPECT_TRUE(Platform::getInstance()->BuzzerOn());
}

TEST_F(DesktopPlatform, RingsTheBellOfATerminal)
{
    EXPECT_EQ("\a.", heard(2900, 100));
    EXPECT_EQ("\a.", heard(1, 0));
}

TEST_F(DesktopPlatform, IsSilentWhenBeepsAreOff)
{
    Platform::getInstance()->setBuzzerOn(false);
    EXPECT_EQ(".", heard(2900, 100));
}

TEST_F(DesktopPlatform, IgnoresABeepThatCannotBeAndSaysSo)
{
    const MessageLog log;
    EXPECT_EQ(".", heard(0, 100));
    EXPECT_EQ(".", heard(-1, 100));
    EXPECT_EQ(".", heard(2900, -1));
    EXPECT_THAT(log.texts(QtDebugMsg),
                ElementsAre("no beep of 0 Hz for 100 ms", "no beep of -1 Hz for 100 ms",
                            "no beep of 2900 Hz for -1 ms"));
}

TEST_F(DesktopPlatform, KeepsTheBellOutOfALog)
{
    int pipeEnds[2];
    ASSERT_EQ(0, ::pipe(pipeEnds));
    beepOn(pipeEnds[1], 2900, 100);
    ::close(pipeEnds[1]);
    char byte = 0;
    EXPECT_EQ(0, ::read(pipeEnds[0], &byte, 1)) << "the pipe holds a byte";
    ::close(pipeEnds[0]);
}

} // namespace
