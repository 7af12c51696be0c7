// The beeper's thread: how it begins and ends, and who may disturb it.

#include "common/zbuzzer.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/zsetting.h"
#include "hmi/desktop/desktop_platform.h"
#include "tests/common/zbuzzer_bench.h"
#include "tests/support/eventually.h"

using testing::IsEmpty;

namespace
{

const int Threads = 10;

/// Has some threads do the same; each gets its number.
void inThreads(int count, const std::function<void(int number)> &work)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(count));
    for (int number = 0; number < count; ++number)
        threads.emplace_back(work, number);
    for (std::thread &thread : threads)
        thread.join();
}

long count(const Deeds &deeds, const std::string &line)
{
    return std::count(deeds.begin(), deeds.end(), line);
}

class BuzzerThread : public BuzzerBench
{
protected:
    /// Comes up without a shell, for tests of many beeps.
    void bringUpWithoutShell()
    {
        makeBuzzer();
        buzzer->runsLines = false;
        startBuzzer();
    }
};

// ---- Its beginning and its end -----------------------------------------------------------------

TEST_F(BuzzerThread, HasTheLowestPriority)
{
    bringUp();
    EXPECT_EQ(QThread::LowestPriority, buzzer->priority());
}

TEST_F(BuzzerThread, SaysThatItHasNothingToDoWhenItBegins)
{
    makeBuzzer();
    buzzer->delayedInitial();
    EXPECT_TRUE(awaitDone(1));
}

TEST_F(BuzzerThread, BeginsOnce)
{
    bringUp();
    buzzer->delayedInitial();
    EXPECT_TRUE(buzzer->isRunning());
    buzzer->makeSound(10, 2900);
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(1, count(journal.deeds(), OnLine));
}

TEST_F(BuzzerThread, EndsWhenStopped)
{
    bringUp();
    buzzer->stopRunning();
    EXPECT_TRUE(buzzer->isFinished());
    EXPECT_EQ(1, done()) << "the end is not told";
    EXPECT_THAT(journal.deeds(), IsEmpty());
}

TEST_F(BuzzerThread, MayBeStoppedTwice)
{
    bringUp();
    buzzer->stopRunning();
    buzzer->stopRunning();
    EXPECT_EQ(1, done());
}

TEST_F(BuzzerThread, MayBeStoppedBeforeItBegins)
{
    makeBuzzer();
    buzzer->stopRunning();
    EXPECT_EQ(0, done());
}

TEST_F(BuzzerThread, MayBeStoppedWhileItBegins)
{
    for (int i = 0; i < 50; ++i) {
        makeBuzzer();
        buzzer->runsLines = false;
        buzzer->delayedInitial();
        buzzer->makeSound(10, 2900);
        buzzer->stopRunning();
        EXPECT_TRUE(buzzer->isFinished());
        EXPECT_EQ(count(journal.deeds(), OnLine), count(journal.deeds(), OffLine));
    }
}

TEST_F(BuzzerThread, EndsInTheMidstOfALongBeep)
{
    bringUp();
    buzzer->makeSound(INT_MAX, 2900);
    buzzer->makeSound(10, 4600);
    ASSERT_TRUE(eventually([this] { return journal.slept() > 0; }));
    buzzer->stopRunning();
    EXPECT_TRUE(buzzer->isFinished());
    EXPECT_LT(journal.slept(), INT_MAX);
    EXPECT_EQ(20u, journal.longestSleep());
    ASSERT_EQ(6u, journal.deeds().size()) << "the second beep was played";
    EXPECT_EQ(OffLine, journal.deeds().back());
    EXPECT_EQ("0", board.text("pwm0/enable"));
    EXPECT_EQ(2, done()) << "one for the queue and one for the end";
}

TEST_F(BuzzerThread, MakesNoSoundAfterItsEnd)
{
    bringUp();
    buzzer->stopRunning();
    const int doneByThen = done();
    buzzer->makeSound(10, 2900);
    buzzer->makeSound(ZBuzzer::SoundShort);
    buzzer->makeSound(10, 0);
    EXPECT_THAT(journal.deeds(), IsEmpty());
    EXPECT_EQ(doneByThen, done());
}

TEST_F(BuzzerThread, AsksTheHostForNoSoundAfterItsEnd)
{
    setPlatformIsPanel(false);
    listen();
    bringUp();
    buzzer->stopRunning();
    buzzer->makeSound(10, 2900);
    EXPECT_THAT(hostBeeps(), IsEmpty());
}

TEST_F(BuzzerThread, EndsWithItsObject)
{
    bringUp();
    buzzer->makeSound(INT_MAX, 2900);
    ASSERT_TRUE(eventually([this] { return journal.slept() > 0; }));
    buzzer.reset();
    EXPECT_EQ("0", board.text("pwm0/enable"));
}

// ---- Many threads ------------------------------------------------------------------------------

TEST_F(BuzzerThread, PlaysTheBeepsOfTenThreads)
{
    const int beeps = 50;
    bringUpWithoutShell();
    inThreads(Threads, [this](int number) {
        for (int i = 0; i < beeps; ++i)
            buzzer->makeSound(1, 1000 + number);
    });
    ASSERT_TRUE(eventually([this] { return journal.slept() == Threads * beeps; }));
    buzzer->stopRunning();
    EXPECT_EQ(Threads * beeps, journal.slept());
    EXPECT_EQ(Threads * beeps, count(journal.deeds(), OnLine));
    EXPECT_EQ(Threads * beeps, count(journal.deeds(), OffLine));
}

TEST_F(BuzzerThread, OwesNoSignalForABeepThatIsDropped)
{
    bringUpWithoutShell();
    for (int i = 0; i < 200; ++i) {
        const int before = done();
        buzzer->makeSound(1, 1000);
        buzzer->shutupBuzzer();
        ASSERT_TRUE(awaitDone(before + 1)) << "beep " << i;
    }
}

TEST_F(BuzzerThread, MissesNoBeepThatComesWhileItGoesToWait)
{
    bringUpWithoutShell();
    for (int i = 0; i < 200; ++i) {
        const int before = done();
        buzzer->makeSound(1, 1000);
        ASSERT_TRUE(awaitDone(before + 1)) << "beep " << i;
    }
    EXPECT_EQ(200, count(journal.deeds(), OnLine));
}

TEST_F(BuzzerThread, KeepsTheLinesOfAFrequencyTogether)
{
    bringUpWithoutShell();
    inThreads(4, [this](int number) {
        for (int i = 0; i < 50; ++i)
            buzzer->setBuzzerFrequency(1 + (number + i) % 3);
    });
    const Deeds deeds = journal.deeds();
    const std::set<Deeds> whole = {tuned("2000000000", "1000000000"),
                                   tuned("1000000000", "500000000"),
                                   tuned("666666666", "333333333")};
    ASSERT_EQ(0u, deeds.size() % 3);
    for (auto line = deeds.begin(); line != deeds.end(); line += 3)
        ASSERT_EQ(1u, whole.count(Deeds(line, line + 3))) << *(line + 1);
}

TEST_F(BuzzerThread, EndsWithTheChoiceThatIsInTheSettings)
{
    bringUpWithoutShell();
    inThreads(4, [this](int number) {
        for (int i = 0; i < 100; ++i)
            buzzer->setBuzzerEnabled((number + i) % 2 == 0);
    });
    EXPECT_EQ(buzzer->isBuzzerEnabled() ? 1 : 0, chosen());
}

TEST_F(BuzzerThread, SurvivesEverythingAtOnce)
{
    bringUpWithoutShell();
    inThreads(Threads, [this](int number) {
        for (int i = 0; i < 50; ++i) {
            buzzer->makeSound(1, 1000 + number);
            buzzer->makeSound(ZBuzzer::SoundKeyClick);
            if (number == 0)
                buzzer->shutupBuzzer();
            if (number == 1)
                buzzer->setBuzzerEnabled(i % 2 == 0);
            if (number == 2 && i == 25)
                buzzer->stopRunning();
        }
    });
    EXPECT_TRUE(buzzer->isFinished());
    EXPECT_EQ(count(journal.deeds(), OnLine), count(journal.deeds(), OffLine));
}

// ---- The one of the process --------------------------------------------------------------------

class OnlyBuzzer : public BuzzerBench
{
protected:
    ~OnlyBuzzer() override { ZBuzzer::dropInstance(); }
};

TEST_F(OnlyBuzzer, IsTheSameForEveryThread)
{
    std::vector<ZBuzzer *> seen(Threads);
    inThreads(Threads,
              [&seen](int number) { seen[static_cast<size_t>(number)] = ZBuzzer::getInstance(); });
    for (const ZBuzzer *one : seen)
        EXPECT_EQ(ZBuzzer::getInstance(), one);
    EXPECT_TRUE(ZBuzzer::getInstance()->isRunning());
}

TEST_F(OnlyBuzzer, DrivesTheBoard)
{
    ZBuzzer::getInstance()->makeSound(INT_MAX, 2900);
    EXPECT_TRUE(eventually([this] { return board.text("pwm0/enable") == "1"; }));
    EXPECT_EQ("689654", board.text("pwm0/period"));
    EXPECT_EQ("344827", board.text("pwm0/duty_cycle"));
}

TEST_F(OnlyBuzzer, IsSilentOnceDropped)
{
    ZBuzzer::getInstance()->makeSound(INT_MAX, 2900);
    ASSERT_TRUE(eventually([this] { return board.text("pwm0/enable") == "1"; }));
    ZBuzzer::dropInstance();
    EXPECT_EQ("0", board.text("pwm0/enable"));
}

TEST_F(OnlyBuzzer, IsMadeAnewAfterItWasDropped)
{
    ZBuzzer::getInstance()->setBuzzerEnabled(false);
    ZBuzzer::dropInstance();
    EXPECT_FALSE(ZBuzzer::getInstance()->isBuzzerEnabled());
    EXPECT_TRUE(ZBuzzer::getInstance()->isRunning());
}

TEST_F(OnlyBuzzer, MayBeDroppedBeforeItIsMade)
{
    ZBuzzer::dropInstance();
    ZBuzzer::dropInstance();
    EXPECT_TRUE(ZBuzzer::getInstance()->isRunning());
}

TEST_F(OnlyBuzzer, MayBeAskedForByWhoHearsItsEnd)
{
    ZBuzzer *const first = ZBuzzer::getInstance();
    std::atomic<bool> heard(false);
    QObject::connect(
        first, &ZBuzzer::allWorkDone, first,
        [&heard] {
            ZBuzzer::getInstance();
            heard = true;
        },
        Qt::DirectConnection);
    ZBuzzer::dropInstance();
    EXPECT_TRUE(heard);
}

TEST_F(OnlyBuzzer, IsAnsweredThroughTheHostsInterface)
{
    AbstractBuzzerInterface *const only = ZBuzzer::getInstance();
    only->setBuzzerEnabled(false);
    EXPECT_FALSE(only->isBuzzerEnabled());
    EXPECT_EQ(8851, only->getFrequency(0, 1));
}

TEST_F(OnlyBuzzer, OffersTheInterfaceAsSlots)
{
    const QMetaObject *const meta = ZBuzzer::getInstance()->metaObject();
    for (const char *slot :
         {"makeSound(AbstractBuzzerInterface::SoundType)", "makeSound(int,int)",
          "isBuzzerEnabled()", "setBuzzerEnabled(bool)", "shutupBuzzer()", "getFrequency(int,int)",
          "setBuzzerFrequency(int)", "setBuzzerSwitch(bool)", "setBuzzerCommand(int)"})
        EXPECT_GE(meta->indexOfSlot(slot), 0) << slot;
    for (const char *signal : {"buzzerState(bool)", "allWorkDone()"})
        EXPECT_GE(meta->indexOfSignal(signal), 0) << signal;
}

} // namespace
