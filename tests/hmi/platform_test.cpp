#include "hmi/platform.h"

#include "hmi/desktop/desktop_platform.h"
#include "tests/hmi/message_log.h"
#include "tests/hmi/pty.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::Pair;

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
    void TearDown() override
    {
        Platform::getInstance()->setBuzzerOn(true);
        setPlatformIsPanel(false);
        setBeepListener(nullptr);
    }
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

TEST_F(DesktopPlatform, PlaysAPanelAndStopsPlaying)
{
    setPlatformIsPanel(true);
    EXPECT_FALSE(Platform::getInstance()->isX86HMI());
    EXPECT_EQ(PanelPlatformType, Platform::getInstance()->type);
    setPlatformIsPanel(false);
    EXPECT_TRUE(Platform::getInstance()->isX86HMI());
    EXPECT_EQ(DesktopPlatformType, Platform::getInstance()->type);
}

TEST_F(DesktopPlatform, PlaysAPanelThatSoundsItsBeepsItself)
{
    EXPECT_NE(4, PanelPlatformType);
    EXPECT_NE(DesktopPlatformType, PanelPlatformType);
}

/// Writes down the beeps that it hears.
class Hearing
{
public:
    Hearing()
    {
        setBeepListener([this](int frequency, int duration) {
            beeps.emplace_back(frequency, duration);
            thread = std::this_thread::get_id();
        });
    }
    ~Hearing() { setBeepListener(nullptr); }
    Hearing(const Hearing &) = delete;
    Hearing &operator=(const Hearing &) = delete;

    std::vector<std::pair<int, int>> beeps; ///< frequency and duration
    std::thread::id thread;                 ///< of the last beep
};

TEST_F(DesktopPlatform, TellsAListenerInPlaceOfTheBell)
{
    const Hearing hearing;
    EXPECT_EQ(".", heard(2900, 100));
    EXPECT_EQ(".", heard(1, 0));
    EXPECT_THAT(hearing.beeps, ElementsAre(Pair(2900, 100), Pair(1, 0)));
}

TEST_F(DesktopPlatform, RingsTheBellAgainWithoutAListener)
{
    {
        const Hearing hearing;
    }
    EXPECT_EQ("\a.", heard(2900, 100));
    setBeepListener(BeepListener());
    EXPECT_EQ("\a.", heard(2900, 100));
}

TEST_F(DesktopPlatform, TellsAListenerNothingOfBeepsThatAreOffOrCannotBe)
{
    const Hearing hearing;
    const MessageLog log; // keeps the complaints out of the test's output
    Platform::getInstance()->BuzzerAlarm(0, 100);
    Platform::getInstance()->BuzzerAlarm(2900, -1);
    Platform::getInstance()->setBuzzerOn(false);
    Platform::getInstance()->BuzzerAlarm(2900, 100);
    EXPECT_TRUE(hearing.beeps.empty());
}

TEST_F(DesktopPlatform, TellsAListenerOnTheThreadThatBeeps)
{
    const Hearing hearing;
    std::thread::id beeper;
    std::thread thread([&beeper] {
        beeper = std::this_thread::get_id();
        Platform::getInstance()->BuzzerAlarm(2900, 100);
    });
    thread.join();
    EXPECT_EQ(beeper, hearing.thread);
}

TEST_F(DesktopPlatform, TellsOnlyTheListenerThatWasSetLast)
{
    int first = 0;
    int second = 0;
    setBeepListener([&first](int, int) { ++first; });
    setBeepListener([&second](int, int) { ++second; });
    Platform::getInstance()->BuzzerAlarm(2900, 100);
    EXPECT_EQ(0, first);
    EXPECT_EQ(1, second);
}

TEST_F(DesktopPlatform, LetsAListenerRemoveItself)
{
    const std::shared_ptr<int> calls = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = calls;
    setBeepListener([calls](int, int) {
        setBeepListener(nullptr);
        ++*calls; // still there while it runs
    });
    Platform::getInstance()->BuzzerAlarm(2900, 100);
    Platform::getInstance()->BuzzerAlarm(2900, 100);
    EXPECT_EQ(1, *calls);
    EXPECT_EQ(1, watched.use_count()) << "the listener was not given up";
}

TEST_F(DesktopPlatform, LetsAListenerBeep)
{
    int calls = 0;
    setBeepListener([&calls](int frequency, int duration) {
        ++calls;
        if (frequency > 1)
            Platform::getInstance()->BuzzerAlarm(1, duration);
    });
    Platform::getInstance()->BuzzerAlarm(2900, 100);
    EXPECT_EQ(2, calls);
}

TEST_F(DesktopPlatform, HasDoneWithAListenerThatIsRemoved)
{
    std::atomic<bool> entered(false);
    std::atomic<bool> removing(false);
    std::atomic<bool> left(false);
    setBeepListener([&](int, int) {
        entered = true;
        while (!removing)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // for the removal to come first
        left = true;
    });
    std::thread beeper([] { Platform::getInstance()->BuzzerAlarm(2900, 100); });
    while (!entered)
        std::this_thread::yield();
    removing = true;
    setBeepListener(nullptr);
    EXPECT_TRUE(left);
    beeper.join();
}

TEST_F(DesktopPlatform, TellsListenersThatComeAndGoWhileThreadsBeep)
{
    const int beepsOfAThread = 500;
    setBeepListener([](int, int) {});
    std::atomic<bool> beeping(true);
    std::vector<std::thread> threads(4);
    for (std::thread &thread : threads) {
        thread = std::thread([&] {
            for (int n = 0; n < beepsOfAThread; ++n)
                Platform::getInstance()->BuzzerAlarm(2900, 100);
        });
    }
    std::thread changer([&beeping] {
        do {
            std::vector<int> heardHere; // a listener that outlived its removal would write here
            setBeepListener([&heardHere](int frequency, int) { heardHere.push_back(frequency); });
            std::this_thread::yield();
            setBeepListener([](int, int) {});
            EXPECT_EQ(heardHere.end(),
                      std::find_if(heardHere.begin(), heardHere.end(),
                                   [](int frequency) { return frequency != 2900; }));
        } while (beeping);
    });
    for (std::thread &thread : threads)
        thread.join();
    beeping = false;
    changer.join();
}

} // namespace
