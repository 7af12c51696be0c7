// Correct programs that ThreadSanitizer must pass without a word, one a way in which threads meet
// through Qt. A report ends the program, so what fails here is the annotations.

#include "tests/support/tsan/clean_test.h"
#include "tests/support/tsan/qt_thread.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QMetaObject>
#include <QMutex>
#include <QReadWriteLock>
#include <QSemaphore>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>
#include <QVector>
#include <QWaitCondition>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <queue>
#include <utility>
#include <vector>

namespace
{

const int rounds = 500;

/// Runs the same body in two threads at once, until both are through.
void runTwice(const std::function<void()> &body)
{
    QtThread one(body);
    QtThread other(body);
    one.start();
    other.start();
    one.wait();
    other.wait();
}

class Parcel : public QEvent
{
public:
    explicit Parcel(std::vector<int> content) : QEvent(QEvent::User), values(std::move(content)) {}
    const std::vector<int> values;
};

class ParcelReceiver : public QObject
{
public:
    bool event(QEvent *event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        for (const int value : static_cast<Parcel *>(event)->values)
            sum += value;
        return true;
    }
    int sum = 0;
};

/// An application and a thread with an event loop.
class QtEvents : public testing::Test
{
protected:
    QtEvents() : m_arguments{m_name, nullptr}, m_application(m_argument_count, m_arguments)
    {
        qRegisterMetaType<Reading>("Reading");
        m_thread.start();
    }
    ~QtEvents() override
    {
        m_thread.quit();
        m_thread.wait();
    }

    QThread m_thread;

private:
    char m_name[5] = "test";
    int m_argument_count = 1;
    char *m_arguments[2];
    QCoreApplication m_application;
};

} // namespace

TEST(QtMutex, GuardsAMap)
{
    QMutex mutex;
    std::map<int, int> map;
    runTwice([&] {
        for (int i = 0; i < rounds; ++i) {
            QMutexLocker locker(&mutex);
            ++map[i % 7];
        }
    });
    int sum = 0;
    for (const auto &entry : map)
        sum += entry.second;
    EXPECT_EQ(sum, 2 * rounds);
}

TEST(QtMutex, GuardsWhenItIsOnlyTried)
{
    QMutex mutex;
    int count = 0;
    runTwice([&] {
        for (int i = 0; i < rounds; ++i) {
            while (!mutex.tryLock(1))
                QThread::yieldCurrentThread();
            ++count;
            mutex.unlock();
        }
    });
    EXPECT_EQ(count, 2 * rounds);
}

TEST(QtMutex, GuardsRecursively)
{
    QMutex mutex(QMutex::Recursive);
    int count = 0;
    runTwice([&] {
        for (int i = 0; i < rounds; ++i) {
            QMutexLocker outer(&mutex);
            QMutexLocker inner(&mutex);
            ++count;
        }
    });
    EXPECT_EQ(count, 2 * rounds);
}

TEST(QtMutex, GuardsImplicitlySharedCopies)
{
    QMutex mutex;
    QStringList shared;
    shared << "NA20"
           << "NA21";
    runTwice([&] {
        for (int i = 0; i < rounds; ++i) {
            mutex.lock();
            QStringList mine = shared;
            mutex.unlock();
            mine[0][0] = QLatin1Char('P');
            mine << mine.at(1);
            mutex.lock();
            shared[1] = mine.at(0);
            mutex.unlock();
        }
    });
    EXPECT_EQ(shared.at(1), QString("PA20"));
}

TEST(QtMutex, MayTakeTheMemoryOfADeadOne)
{
    runTwice([] {
        for (int i = 0; i < rounds; ++i) {
            QMutex mutex;
            QMutexLocker locker(&mutex);
        }
    });
}

TEST(QtReadWriteLock, GuardsReadersFromWriters)
{
    QReadWriteLock lock;
    QVector<int> values(8, 0);
    int seen = 0;
    QtThread reader([&] {
        for (int i = 0; i < rounds; ++i) {
            QReadLocker locker(&lock);
            seen = qMax(seen, values.at(i % 8));
        }
    });
    QtThread writer([&] {
        for (int i = 0; i < rounds; ++i) {
            QWriteLocker locker(&lock);
            ++values[i % 8];
        }
    });
    reader.start();
    writer.start();
    reader.wait();
    writer.wait();
    EXPECT_LE(seen, values.at(0));
}

TEST(QtWaitCondition, HandsOverAQueue)
{
    QMutex mutex;
    QWaitCondition filled;
    std::queue<std::vector<int>> queue;
    int sum = 0;
    QtThread consumer([&] {
        for (int i = 0; i < rounds; ++i) {
            QMutexLocker locker(&mutex);
            while (queue.empty())
                filled.wait(&mutex, 50);
            sum += queue.front().at(0);
            queue.pop();
        }
    });
    consumer.start();
    for (int i = 0; i < rounds; ++i) {
        QMutexLocker locker(&mutex);
        queue.push(std::vector<int>(3, 2));
        filled.wakeOne();
    }
    consumer.wait();
    EXPECT_EQ(sum, 2 * rounds);
}

TEST(QtWaitCondition, GivesAReadWriteLockAwayMeanwhile)
{
    QReadWriteLock lock;
    QWaitCondition changed;
    bool ready = false;
    QtThread waiter([&] {
        lock.lockForWrite();
        while (!ready)
            changed.wait(&lock);
        ready = false;
        lock.unlock();
    });
    waiter.start();
    lock.lockForWrite();
    ready = true;
    changed.wakeAll();
    lock.unlock();
    waiter.wait();
    EXPECT_FALSE(ready);
}

TEST(QtSemaphore, HandsABufferToAndFro)
{
    QSemaphore free_places(1);
    QSemaphore filled_places(0);
    int buffer = 0;
    int sum = 0;
    QtThread consumer([&] {
        for (int i = 0; i < rounds; ++i) {
            filled_places.acquire();
            sum += buffer;
            free_places.release();
        }
    });
    consumer.start();
    for (int i = 0; i < rounds; ++i) {
        while (!free_places.tryAcquire(1, 10))
            QThread::yieldCurrentThread();
        buffer = i;
        filled_places.release();
    }
    consumer.wait();
    EXPECT_EQ(sum, rounds * (rounds - 1) / 2);
}

TEST(QtThreads, SeeWhatWasWrittenBeforeTheyStartAndShowItWhenTheyAreWaitedFor)
{
    for (int i = 0; i < 20; ++i) {
        std::vector<int> values(3, i);
        QtThread thread([&] { values.push_back(values.at(0)); });
        thread.start();
        ASSERT_TRUE(thread.wait(60000));
        ASSERT_EQ(values.back(), i);
    }
}

TEST(QtThreads, ShowTheirWorkToWhoSeesThemFinished)
{
    int result = 0;
    QtThread thread([&] { result = 42; });
    thread.start();
    while (!thread.isFinished())
        QThread::yieldCurrentThread();
    EXPECT_EQ(result, 42);
}

TEST(QtThreads, ShowTheirWorkToWhoSeesThemNoLongerRunning)
{
    int result = 0;
    QtThread thread([&] { result = 42; });
    thread.start();
    while (thread.isRunning())
        QThread::yieldCurrentThread();
    EXPECT_EQ(result, 42);
}

TEST(QtThreads, MayBeStartedAgain)
{
    int count = 0;
    QtThread thread([&] { ++count; });
    for (int i = 0; i < 20; ++i) {
        thread.start();
        thread.wait();
        ASSERT_EQ(count, i + 1);
    }
}

TEST(QtAtomics, PublishWhatWasWrittenBefore)
{
    QAtomicInt ready(0);
    std::vector<int> values;
    QtThread thread([&] {
        values.push_back(42);
        ready.storeRelease(1);
    });
    thread.start();
    while (ready.loadAcquire() == 0)
        QThread::yieldCurrentThread();
    EXPECT_EQ(values.at(0), 42);
}

TEST(QtDatabases, LiveInTheThreadThatOpensThem)
{
    QAtomicInt number(0);
    QAtomicInt sum(0);
    runTwice([&] {
        const QString name = QString::number(number.fetchAndAddRelaxed(1));
        {
            QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", name);
            database.setDatabaseName(":memory:");
            ASSERT_TRUE(database.open());
            QSqlQuery query(database);
            query.exec("CREATE TABLE words (value INTEGER)");
            query.exec("INSERT INTO words VALUES (21)");
            query.exec("SELECT value FROM words");
            while (query.next())
                sum.fetchAndAddRelaxed(query.value(0).toInt());
        }
        QSqlDatabase::removeDatabase(name);
    });
    EXPECT_EQ(sum.fetchAndAddRelaxed(0), 42);
}

// What the slot gives back is handed over under a lock: the end of a call that was waited for is
// not told.
TEST_F(QtEvents, CarryTextsToASlotThatIsWaitedFor)
{
    Sender sender;
    Answering answering;
    answering.moveToThread(&m_thread);
    QObject::connect(&sender, SIGNAL(texts(QStringList)), &answering, SLOT(answer(QStringList)),
                     Qt::BlockingQueuedConnection);
    for (int i = 0; i < rounds; ++i) {
        emit sender.texts({QString("question %1").arg(i), QString("no question")});
        ASSERT_EQ(QString("question %1").arg(i), answering.answered());
    }
}

TEST_F(QtEvents, CarryTheArgumentsOfQueuedSignals)
{
    Sender sender;
    Receiver receiver;
    QSemaphore through;
    receiver.moveToThread(&m_thread);
    QObject::connect(&sender, SIGNAL(text(QString)), &receiver, SLOT(takeText(QString)));
    QObject::connect(&sender, SIGNAL(texts(QStringList)), &receiver, SLOT(takeTexts(QStringList)));
    QObject::connect(&sender, &Sender::last, &receiver, [&] { through.release(); });
    QString text("ab");
    QStringList texts;
    for (int i = 0; i < rounds; ++i) {
        text[0] = QLatin1Char('c');
        emit sender.text(text);
        texts = QStringList(text);
        emit sender.texts(texts);
    }
    emit sender.last();
    through.acquire();
    EXPECT_EQ(receiver.characters(), 4 * rounds);
}

TEST_F(QtEvents, CarryArgumentsOfRegisteredTypes)
{
    Sender sender;
    Receiver receiver;
    QSemaphore through;
    receiver.moveToThread(&m_thread);
    QObject::connect(&sender, SIGNAL(reading(Reading)), &receiver, SLOT(takeReading(Reading)));
    QObject::connect(&sender, &Sender::last, &receiver, [&] { through.release(); });
    for (int i = 0; i < rounds; ++i) {
        Reading reading;
        reading.station = 2;
        reading.values.assign(3, 1);
        reading.texts << "abc";
        emit sender.reading(reading);
    }
    emit sender.last();
    through.acquire();
    EXPECT_EQ(receiver.sum(), 6 * rounds);
    EXPECT_EQ(receiver.characters(), 3 * rounds);
}

TEST_F(QtEvents, CarryInvokedMethodsAndFunctions)
{
    Receiver receiver;
    QSemaphore through;
    receiver.moveToThread(&m_thread);
    std::vector<int> values(3, 7);
    int sum = 0;
    QMetaObject::invokeMethod(&receiver, "takeText", Qt::QueuedConnection, Q_ARG(QString, "abcd"));
    QMetaObject::invokeMethod(&receiver, [&] {
        for (const int value : values)
            sum += value;
        through.release();
    });
    through.acquire();
    EXPECT_EQ(sum, 21);
    EXPECT_EQ(receiver.characters(), 4);
}

TEST_F(QtEvents, CarryWhatIsPostedWithThem)
{
    ParcelReceiver receiver;
    QSemaphore through;
    receiver.moveToThread(&m_thread);
    for (int i = 0; i < rounds; ++i)
        QCoreApplication::postEvent(&receiver, new Parcel(std::vector<int>(2, 1)));
    QMetaObject::invokeMethod(&receiver, [&] { through.release(); });
    through.acquire();
    EXPECT_EQ(receiver.sum, 2 * rounds);
}

TEST_F(QtEvents, DeleteObjectsInTheirThread)
{
    int deleted = 0;
    const auto receiver = new Receiver(&deleted);
    receiver->takeText("abc");
    receiver->moveToThread(&m_thread);
    receiver->deleteLater();
    m_thread.quit();
    m_thread.wait();
    EXPECT_EQ(deleted, 4);
}

TEST_F(QtEvents, TellOfTheEndOfAThread)
{
    int result = 0;
    QEventLoop loop;
    QtThread thread([&] { result = 42; });
    QObject::connect(&thread, SIGNAL(finished()), &loop, SLOT(quit()));
    thread.start();
    loop.exec();
    EXPECT_EQ(result, 42);
}
