// The settings in the hands of several threads.

#include "tests/common/zsetting_fixture.h"

#include <atomic>
#include <thread>

using testing::Each;

namespace
{

typedef ZSettingTest ZSettingThreads;

const int ThreadCount = 4;

/// Runs a function in some threads at once, and handles events until all have ended.
void inThreads(int count, const std::function<void(int number)> &function)
{
    std::atomic<int> running(count);
    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(count));
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&running, &function, number] {
            function(number);
            --running;
        });
    }
    EXPECT_TRUE(eventually([&] {
        QCoreApplication::processEvents();
        return running == 0;
    }));
    for (std::thread &thread : threads) {
        thread.join();
    }
}

/// The same in one thread, without any event.
void elsewhere(const std::function<void()> &function)
{
    std::thread(function).join();
}

/// Counts the calls that are delivered to an object.
class CallCounter : public QObject
{
public:
    explicit CallCounter(QObject *watched) : count(0) { watched->installEventFilter(this); }

    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::MetaCall ? 1 : 0;
        return false;
    }

    int count;
};

TEST_F(ZSettingThreads, GetOneObject)
{
    std::vector<ZSetting *> seen(8);
    inThreads(8, [&seen](int number) { seen[static_cast<size_t>(number)] = store(); });
    EXPECT_THAT(seen, Each(store()));
    EXPECT_EQ(3u, bed.frames().size());
}

TEST_F(ZSettingThreads, StartTheTimerInItsOwnThread)
{
    load();
    elsewhere([] { store()->setSettingValue(3, 9); });
    EXPECT_EQ(9, store()->getSettingValue(3));
    EXPECT_FALSE(timer()->isActive());
    QCoreApplication::processEvents();
    EXPECT_EQ(1000, timer()->interval());
    letTheSecondPass();
    EXPECT_EQ(writes({{10, 9}, {2, 9}}), bed.frames());
}

TEST_F(ZSettingThreads, StopTheTimerInItsOwnThread)
{
    load();
    store()->setSettingValue(3, 9);
    elsewhere([] { store()->manualSave(); });
    EXPECT_EQ(9, inChip(3));
    QCoreApplication::processEvents();
    EXPECT_FALSE(timer()->isActive());
}

TEST_F(ZSettingThreads, StopNoTimerThatWasStartedAfterwards)
{
    load();
    elsewhere([] { store()->manualSave(); });
    store()->setSettingValue(3, 9);
    QCoreApplication::processEvents();
    EXPECT_TRUE(timer()->isActive());
}

TEST_F(ZSettingThreads, StartNoTimerThatWasStoppedAfterwards)
{
    load();
    elsewhere([] { store()->setSettingValue(3, 9); });
    store()->manualSave();
    QCoreApplication::processEvents();
    EXPECT_FALSE(timer()->isActive());
    EXPECT_EQ(9, inChip(3));
}

TEST_F(ZSettingThreads, QueueOneCallHoweverManyValuesTheySet)
{
    CallCounter counter(load());
    elsewhere([] {
        for (int value = 0; value < 1000; ++value) {
            store()->setSettingValue(value % SettingCount, value);
        }
    });
    QCoreApplication::processEvents();
    EXPECT_EQ(1, counter.count);
    elsewhere([] { store()->setSettingValue(0, 1); });
    QCoreApplication::processEvents();
    EXPECT_EQ(2, counter.count);
}

TEST_F(ZSettingThreads, WithoutEventsAreServedByTheEndOfTheProgram)
{
    load();
    elsewhere([] { store()->setSettingValue(3, 9); });
    ZSetting::drop();
    EXPECT_EQ(9, inChip(3));
}

// --- during a save ---

TEST_F(ZSettingThreads, SetAndReadValuesWhileATransferLasts)
{
    load();
    store()->setSettingValue(3, 9);
    int seen = -1;
    bed.onMessage([&seen](const QByteArray &) {
        store()->setSettingValue(4, 10);
        seen = store()->getSettingValue(3);
    });
    store()->manualSave(); // stands still for good if one of them waits for the transfer
    bed.onMessage(nullptr);
    EXPECT_EQ(9, seen);
}

TEST_F(ZSettingThreads, LoseNoValueThatIsSetDuringASave)
{
    for (int message = 0; message < 6; ++message) {
        load();
        store()->setSettingValue(3, 100 + message);
        int coming = message;
        bed.onMessage([&coming](const QByteArray &) {
            if (coming-- == 0) {
                store()->setSettingValue(3, 200);
                store()->setSettingValue(2, 201 + coming);
            }
        });
        store()->manualSave();
        bed.onMessage(nullptr);
        EXPECT_EQ(100 + message, inChip(3)) << message;
        EXPECT_EQ(0, checkSumError()) << message;
        QCoreApplication::processEvents();
        letTheSecondPass();
        EXPECT_EQ(table(), chipTable()) << message;
        EXPECT_EQ(0, checkSumError()) << message;
    }
}

TEST_F(ZSettingThreads, MayTakeAValueBackDuringItsSave)
{
    putInChip(3, 5);
    load();
    store()->setSettingValue(3, 6);
    bed.onMessage([](const QByteArray &) { store()->setSettingValue(3, 5); });
    store()->manualSave();
    bed.onMessage(nullptr);
    EXPECT_EQ(6, inChip(3));
    ZSetting::drop();
    EXPECT_EQ(5, inChip(3));
}

// --- all at once ---

TEST_F(ZSettingThreads, OfDisjointSettingsAllEndInTheChip)
{
    const int Rounds = 50;
    load();
    inThreads(ThreadCount, [](int number) {
        for (int round = 1; round <= Rounds; ++round) {
            for (int setting = number; setting < SettingCount; setting += ThreadCount) {
                store()->setSettingValue(setting, 1000 * number + round);
            }
        }
    });
    QCoreApplication::processEvents();
    letTheSecondPass();
    for (int setting = 0; setting < SettingCount; ++setting) {
        EXPECT_EQ(1000 * (setting % ThreadCount) + Rounds, inChip(setting)) << setting;
    }
    EXPECT_EQ(0, checkSumError());
}

TEST_F(ZSettingThreads, OfTheSameSettingsLeaveTheTableInTheChip)
{
    fillChip();
    load();
    inThreads(ThreadCount, [](int number) {
        for (int round = 0; round < 200; ++round) {
            store()->setSettingValue(round % 5, 1000 * number + round);
            if (round % 40 == 39) {
                store()->manualSave();
            }
        }
    });
    store()->manualSave();
    EXPECT_EQ(table(), chipTable());
    EXPECT_EQ(0, checkSumError());
    EXPECT_EQ(0x1000 + 5, inChip(5));
}

TEST_F(ZSettingThreads, ThatSaveAtOnceWriteEachChangeOnce)
{
    load();
    for (int setting = 0; setting < 10; ++setting) {
        store()->setSettingValue(setting, 7);
    }
    inThreads(ThreadCount, [](int) { store()->manualSave(); });
    EXPECT_EQ(3u * (10 + ThreadCount), bed.frames().size());
    EXPECT_EQ(table(), chipTable());
}

TEST_F(ZSettingThreads, OnABusThatFailsEndInTheChip)
{
    load();
    std::atomic<unsigned> count(0);
    bed.failWhere([&count](const QByteArray &) { return ++count % 3 == 0; });
    inThreads(ThreadCount, [](int number) {
        for (int round = 0; round < 60; ++round) {
            store()->setSettingValue(10 * number + round % 10, round);
            if (round % 15 == 0) {
                store()->manualSave();
            }
        }
    });
    bed.clearFaults();
    store()->manualSave();
    EXPECT_EQ(table(), chipTable());
    EXPECT_EQ(0, checkSumError());
}

} // namespace
