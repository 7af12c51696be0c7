// Programs with a mistake in them that ThreadSanitizer must report, one a name on the command line.
// What is not reported here would not be reported in the driver either.

#include "tests/support/tsan/qt_thread.h"

#include <QCoreApplication>
#include <QList>
#include <QMetaObject>
#include <QMutex>
#include <QObject>
#include <QReadWriteLock>
#include <QSemaphore>
#include <QString>
#include <QVector>
#include <QWaitCondition>

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace
{

/// Runs two bodies at once, until both are through.
void runBoth(const std::function<void()> &one, const std::function<void()> &other)
{
    QtThread first(one);
    QtThread second(other);
    first.start();
    second.start();
    first.wait();
    second.wait();
}

void unlockedNumber()
{
    int count = 0;
    const auto increment = [&] { ++count; };
    runBoth(increment, increment);
}

void plainFlag()
{
    bool stop = false;
    bool seen = false;
    runBoth([&] { stop = true; }, [&] { seen = stop; });
}

void mutexOnOneSideOnly()
{
    QMutex mutex;
    int count = 0;
    runBoth(
        [&] {
            QMutexLocker locker(&mutex);
            ++count;
        },
        [&] { ++count; });
}

void twoMutexes()
{
    QMutex one_mutex;
    QMutex other_mutex;
    int count = 0;
    const auto increment = [&](QMutex *mutex) {
        QMutexLocker locker(mutex);
        ++count;
    };
    runBoth([&] { increment(&one_mutex); }, [&] { increment(&other_mutex); });
}

void writingUnderAReadLock()
{
    QReadWriteLock lock;
    int count = 0;
    const auto increment = [&] {
        QReadLocker locker(&lock);
        ++count;
    };
    runBoth(increment, increment);
}

void sharedStringReplaced()
{
    QString shared("before");
    int length = 0;
    runBoth([&] { shared = QString("after"); },
            [&] {
                QString copy(shared);
                copy.chop(1);
                length = copy.size();
            });
}

void sharedStringAssigned()
{
    const QString after("after");
    QString shared("before");
    int length = 0;
    runBoth([&] { shared = after; }, [&] { length = shared.size(); });
}

void sharedStringWrittenInPlace()
{
    QString shared("before");
    bool same = false;
    runBoth([&] { shared[0] = QLatin1Char('B'); },
            [&] { same = shared.at(0) == QLatin1Char('b'); });
}

void sharedList()
{
    QList<int> list;
    list << 1 << 2;
    int first = 0;
    runBoth([&] { list[0] = 3; }, [&] { first = list.at(0); });
}

void sharedVector()
{
    QVector<int> vector(4, 1);
    int size = 0;
    runBoth([&] { vector.append(3); }, [&] { size = vector.size(); });
}

void standardMap()
{
    std::map<int, int> map;
    std::size_t size = 0;
    runBoth([&] { map[1] = 2; }, [&] { size = map.size(); });
}

void writingAfterARelease()
{
    QSemaphore filled;
    int buffer = 1;
    int seen = 0;
    runBoth(
        [&] {
            filled.release();
            buffer = 2;
        },
        [&] {
            filled.acquire();
            seen = buffer;
        });
}

// The one that wakes does not hold the mutex: nothing orders its writing before the reading.
void wakingWithoutTheMutex()
{
    QMutex mutex;
    QWaitCondition condition;
    int value = 0;
    int seen = 0;
    runBoth(
        [&] {
            value = 1;
            condition.wakeAll();
        },
        [&] {
            QMutexLocker locker(&mutex);
            condition.wait(&mutex, 100);
            seen = value;
        });
}

void readingBeforeWaitingForAThread()
{
    int result = 0;
    QtThread thread([&] { result = 42; });
    thread.start();
    std::printf("%d\n", result);
}

/// Queues a reading of `values` into another thread, lets `afterwards` run meanwhile.
void readInAnotherThread(const std::vector<int> &values, const std::function<void()> &afterwards)
{
    QThread thread;
    QObject receiver;
    QObject sender;
    int sum = 0;
    receiver.moveToThread(&thread);
    QObject::connect(&sender, &QObject::objectNameChanged, &receiver, [&](const QString &) {
        for (const int value : values)
            sum += value;
    });
    thread.start();
    sender.setObjectName("read");
    afterwards();
    QMetaObject::invokeMethod(&receiver, [&thread] { thread.quit(); });
    thread.wait();
}

void writingAfterAQueuedSignal()
{
    std::vector<int> values(3, 1);
    readInAnotherThread(values, [&] { values[0] = 2; });
}

// Another queued call does not make what lies between the two visible to the first.
void writingBetweenQueuedCalls()
{
    std::vector<int> values(3, 1);
    QObject elsewhere;
    readInAnotherThread(values, [&] {
        values[0] = 2;
        QMetaObject::invokeMethod(
            &elsewhere, [] {}, Qt::QueuedConnection);
    });
}

// One after the other, so that it never really hangs.
void locksInOppositeOrder()
{
    QMutex one_mutex;
    QMutex other_mutex;
    const auto lockBoth = [](QMutex *outer, QMutex *inner) {
        QMutexLocker outer_locker(outer);
        QMutexLocker inner_locker(inner);
    };
    QtThread first([&] { lockBoth(&one_mutex, &other_mutex); });
    first.start();
    first.wait();
    QtThread second([&] { lockBoth(&other_mutex, &one_mutex); });
    second.start();
    second.wait();
}

const std::map<std::string, void (*)()> &mistakes()
{
    static const std::map<std::string, void (*)()> by_name = {
        {"unlocked-number", unlockedNumber},
        {"plain-flag", plainFlag},
        {"mutex-on-one-side-only", mutexOnOneSideOnly},
        {"two-mutexes", twoMutexes},
        {"writing-under-a-read-lock", writingUnderAReadLock},
        {"shared-string-replaced", sharedStringReplaced},
        {"shared-string-assigned", sharedStringAssigned},
        {"shared-string-written-in-place", sharedStringWrittenInPlace},
        {"shared-list", sharedList},
        {"shared-vector", sharedVector},
        {"standard-map", standardMap},
        {"writing-after-a-release", writingAfterARelease},
        {"waking-without-the-mutex", wakingWithoutTheMutex},
        {"reading-before-waiting-for-a-thread", readingBeforeWaitingForAThread},
        {"writing-after-a-queued-signal", writingAfterAQueuedSignal},
        {"writing-between-queued-calls", writingBetweenQueuedCalls},
        {"locks-in-opposite-order", locksInOppositeOrder},
    };
    return by_name;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const auto mistake = mistakes().find(argc == 2 ? argv[1] : "");
    if (mistake == mistakes().end()) {
        std::fprintf(stderr, "usage: %s MISTAKE\n", argv[0]);
        return 2;
    }
    mistake->second();
    std::fprintf(stderr, "%s: not reported\n", argv[1]);
    return 0;
}
