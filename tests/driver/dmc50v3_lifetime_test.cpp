// Drivers destroyed in every state, and what they leave behind: nothing.

#include "driver/dmc50v3.h"

#include "cpl/dmc50_polling_thread.h"
#include "driver_probe.h"
#include "project_database.h"
#include "tests/hmi/message_log.h"
#include "tests/support/bytes.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_link.h"
#include "tests/support/frames.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QSqlDatabase>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <memory>
#include <pthread.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace
{

using testing::IsEmpty;

/// A line on which a reply that does not come takes its time.
class SlowLink : public FakeLink
{
public:
    SlowLink() : silent(false), babbling(false), stationQueries(0), silence(300)
    {
        answer = [this](const std::string &request) {
            return silent ? std::string() : frames::echoAddresses(request);
        };
    }

    int readData(char *buffer, int max_size) override
    {
        if (babbling) {
            *buffer = 'x';
            return 1;
        }
        const int count = FakeLink::readData(buffer, max_size);
        if (count == 0)
            std::this_thread::sleep_for(silence);
        return count;
    }

    int stationId() override
    {
        ++stationQueries;
        return FakeLink::stationId();
    }

    bool carries(size_t frames) const
    {
        return eventually([this, frames] { return sent().size() >= frames; });
    }

    std::atomic<bool> silent;
    std::atomic<bool> babbling;
    std::atomic<int> stationQueries;   ///< made by each read and write, not by the line's thread
    std::chrono::milliseconds silence; ///< how long a read waits in vain; set before the line runs
};

CommunicatorCommand tag(const QString &address, int type = CommunicatorCommand::DoubleWordType)
{
    CommunicatorCommand command;
    command.address = address;
    command.dataType = type;
    return command;
}

class Lifetime : public testing::Test
{
protected:
    /// A driver on `link` that needs no project.
    Lifetime() { probe::setValidAddresses(*driver, {{1, {0x10, 0x11}}, {2, {0x20}}}); }

    ~Lifetime() override
    {
        driver.reset();
        EXPECT_TRUE(QSqlDatabase::connectionNames().isEmpty());
        EXPECT_THAT(log.texts(QtWarningMsg), IsEmpty());
    }

    void announce(const QString &address)
    {
        driver->setSessionCommand(QList<CommunicatorCommand>() << tag(address));
    }

    /// Destroys the driver, which must not take longer than one request on the line. A wait that
    /// is not cut short takes 3 seconds and more.
    void destroyAtOnce()
    {
        QElapsedTimer timer;
        timer.start();
        driver.reset();
        EXPECT_GT(2500, timer.elapsed());
    }

    MessageLog log;
    SlowLink link; // outlives the driver
    std::unique_ptr<DriverDMC50v3> driver{new DriverDMC50v3};
};

/// The same, with the project's database where the driver looks for it.
class LifetimeWithProject : public Lifetime
{
protected:
    LifetimeWithProject()
    {
        removeProject();
        driver.reset(new DriverDMC50v3);
    }

    ~LifetimeWithProject() override
    {
        driver.reset();
        removeProject();
    }
};

// ---- Without a line ------------------------------------------------------------------------

TEST_F(Lifetime, MayEndUnused)
{
    destroyAtOnce();
}

TEST_F(Lifetime, MayEndAfterASessionWasAnnounced)
{
    announce("NA10");
    destroyAtOnce();
}

TEST_F(LifetimeWithProject, MayEndWithoutAProject)
{
    EXPECT_FALSE(driver->readDB("COM2"));
    EXPECT_TRUE(QSqlDatabase::contains(probe::connectionName(*driver)));
    destroyAtOnce();
}

TEST_F(LifetimeWithProject, MayEndWithAnOpenConnection)
{
    const ProjectDatabase project = ProjectDatabase::empty();
    EXPECT_FALSE(driver->readDB("COM2"));
    EXPECT_TRUE(QSqlDatabase::database(probe::connectionName(*driver), false).isOpen());
    destroyAtOnce();
}

TEST_F(LifetimeWithProject, MayEndWhenTheTableIsBuilt)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_TRUE(driver->readDB("COM2"));
    destroyAtOnce();
}

// ---- With a line ---------------------------------------------------------------------------

TEST_F(Lifetime, MayEndAsTheThreadStarts)
{
    for (int i = 0; i < 50; ++i) {
        driver->createThread(&link);
        driver.reset(new DriverDMC50v3);
        probe::setValidAddresses(*driver, {{1, {0x10}}});
    }
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(Lifetime, MayEndOnAnIdleLine)
{
    driver->createThread(&link);
    EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, tag("NA10"))));
    destroyAtOnce();
}

TEST_F(Lifetime, MayEndWhilePolling)
{
    announce("NA10");
    driver->createThread(&link);
    ASSERT_TRUE(link.carries(5));
    destroyAtOnce();
    const size_t sent = link.sent().size();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(sent, link.sent().size()) << "the line is left alone";
}

TEST_F(Lifetime, MayEndWhileARequestIsOnTheLine)
{
    link.silent = true;
    link.retries = 5;
    announce("NA10");
    driver->createThread(&link);
    ASSERT_TRUE(link.carries(1));
    destroyAtOnce();
    EXPECT_GE(2u, link.sent().size()) << "the request is not repeated";
}

TEST_F(Lifetime, MayEndWhileTheLineHasAnError)
{
    link.silent = true;
    announce("NA10");
    driver->createThread(&link);
    ASSERT_TRUE(eventually([this] { return driver->hasError(); }));
    destroyAtOnce();
}

TEST_F(Lifetime, MayEndWhileControllersBabble)
{
    link.babbling = true;
    announce("NA10");
    driver->createThread(&link);
    ASSERT_TRUE(link.carries(2));
    destroyAtOnce();
}

TEST_F(Lifetime, MayEndWithWritesInTheQueue)
{
    link.silent = true;
    announce("NA10");
    driver->createThread(&link);
    ASSERT_TRUE(link.carries(1));
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(1, driver->write(&link, tag("NA11"), bytes("01")));
    destroyAtOnce();
}

TEST_F(Lifetime, MayEndWhileWritesFail)
{
    driver->createThread(&link);
    link.silent = true;
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(1, driver->write(&link, tag("NA11"), bytes("01")));
    ASSERT_TRUE(link.carries(1));
    destroyAtOnce();
}

TEST_F(Lifetime, MayEndAfterATagOfTheTransferWasUsed)
{
    EXPECT_EQ("00 00 00 00", hexOf(driver->read(&link, tag("VVT_PROGRESS0"))));
    EXPECT_EQ(1, driver->write(&link, tag("VVT_PROG_ID0"), bytes("05")));
    EXPECT_EQ("05 00 00 00", hexOf(driver->read(&link, tag("VVT_PROG_ID0"))));
    destroyAtOnce();
}

TEST_F(Lifetime, MayEndWithLowLatencyStations)
{
    link.silent = true;
    link.retries = 5;
    probe::setLowLatencyStations(*driver, {1, 2});
    driver->createThread(&link);
    ASSERT_TRUE(link.carries(1));
    destroyAtOnce();
}

TEST_F(Lifetime, MayEndAfterItsThreadWasReplaced)
{
    announce("NA10");
    driver->createThread(&link);
    driver->createThread(&link);
    destroyAtOnce();
}

TEST_F(LifetimeWithProject, MayBeginAndEndManyTimes)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10", "5-LOWLATENCY"});
    for (int i = 0; i < 10; ++i) {
        driver.reset(new DriverDMC50v3);
        EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, tag("NA10"))));
    }
}

TEST_F(Lifetime, EndsTheObjectThatTheRuntimeKnows)
{
    const QPointer<QObject> object(driver->getThisObject());
    std::unique_ptr<DriverInterface> interface(driver.release());
    interface->setSessionCommand(QList<CommunicatorCommand>() << tag("NA10"));
    interface.reset();
    EXPECT_TRUE(object.isNull());
}

// ---- A system without threads left ---------------------------------------------------------

/// While it lives, a new thread asks for more memory than there is, and cannot be started.
class NoThreadsLeft
{
public:
    NoThreadsLeft()
    {
        EXPECT_EQ(0, ::pthread_getattr_default_np(&m_before));
        pthread_attr_t greedy;
        ::pthread_attr_init(&greedy);
        const size_t mebibyte = 1048576;
        const size_t nearlyAllAddresses = std::numeric_limits<size_t>::max() - mebibyte + 1;
        EXPECT_EQ(0, ::pthread_attr_setstacksize(&greedy, nearlyAllAddresses));
        EXPECT_EQ(0, ::pthread_setattr_default_np(&greedy));
        ::pthread_attr_destroy(&greedy);
    }

    ~NoThreadsLeft()
    {
        EXPECT_EQ(0, ::pthread_setattr_default_np(&m_before));
        ::pthread_attr_destroy(&m_before);
    }

    NoThreadsLeft(const NoThreadsLeft &) = delete;
    NoThreadsLeft &operator=(const NoThreadsLeft &) = delete;

private:
    pthread_attr_t m_before;
};

TEST(StartOfTheLine, IsTriedAgainByTheNextCall)
{
    FakeLink link;
    link.answer = frames::echoAddresses;
    DriverDMC50v3 driver;
    probe::setValidAddresses(driver, {{1, {0x10, 0x11}}});
    probe::setLowLatencyStations(driver, {2});
    driver.setSessionCommand(QList<CommunicatorCommand>() << tag("NA11"));
    {
        const NoThreadsLeft none;
        EXPECT_EQ("", hexOf(driver.read(&link, tag("NA10"))));
        EXPECT_EQ(0, driver.write(&link, tag("NA10"), bytes("01")));
    }
    EXPECT_THAT(link.sent(), IsEmpty());
    EXPECT_EQ(nullptr, probe::thread(driver));
    EXPECT_EQ(1, probe::keptSession(driver).size());
    EXPECT_EQ(std::set<uchar>({2}), probe::lowLatencyStations(driver));

    EXPECT_EQ("10 00 00 00", hexOf(driver.read(&link, tag("NA10"))));
    EXPECT_TRUE(probe::keptSession(driver).isEmpty());
    EXPECT_TRUE(eventually([&link] {
        const std::vector<std::string> sent = link.sent();
        return std::count(sent.begin(), sent.end(), frames::readRequest(1, {0x11})) > 0;
    })) << "the session that was announced before is polled";
}

// ---- While another thread is in a call -----------------------------------------------------

class LifetimeOfACall : public Lifetime
{
protected:
    LifetimeOfACall() : returned(false) { link.retries = 5; } // 18 seconds if nobody interrupts

    ~LifetimeOfACall() override { caller.join(); }

    /// Lets another thread call the driver, and waits until the call has begun.
    void call(const std::function<void(DriverDMC50v3 &)> &body)
    {
        DriverDMC50v3 *const called = driver.get();
        caller = std::thread([this, called, body] {
            body(*called);
            returned = true;
        });
        ASSERT_TRUE(eventually([this] { return link.stationQueries > 0; }));
    }

    /// The driver has let its caller go; that one may need a moment to say so.
    void expectReturned() const
    {
        EXPECT_TRUE(eventually([this] { return returned.load(); }));
    }

    std::atomic<bool> returned;
    QByteArray answer; ///< what the call gave; the caller's until `returned`
    std::thread caller;
};

TEST_F(LifetimeOfACall, MayEndWhileAnotherThreadReads)
{
    link.silent = true;
    driver->createThread(&link);
    answer = "not yet";
    call([this](DriverDMC50v3 &called) { answer = called.read(&link, tag("NA10")); });
    ASSERT_TRUE(link.carries(1));
    EXPECT_FALSE(returned);
    destroyAtOnce();
    expectReturned();
    EXPECT_EQ("", hexOf(answer));
}

TEST_F(LifetimeOfACall, MayEndWhileAnotherThreadStartsTheLineAndReads)
{
    link.silent = true;
    answer = "not yet";
    call([this](DriverDMC50v3 &called) { answer = called.read(&link, tag("NA10")); });
    destroyAtOnce();
    expectReturned();
    EXPECT_EQ("", hexOf(answer));
}

TEST_F(LifetimeOfACall, MayEndWhileAnotherThreadWaitsForAnErrorToGo)
{
    link.silent = true;
    announce("NA10");
    driver->createThread(&link);
    ASSERT_TRUE(eventually([this] { return driver->hasError(); }));
    call([this](DriverDMC50v3 &called) { answer = called.read(&link, tag("NA11")); });
    destroyAtOnce();
    expectReturned();
    EXPECT_EQ("", hexOf(answer));
}

TEST_F(LifetimeOfACall, MayEndWhileAnotherThreadWritesBits)
{
    link.silent = true;
    driver->createThread(&link);
    int result = -1;
    call([this, &result](DriverDMC50v3 &called) {
        result = called.write(&link, tag("NA10.1", CommunicatorCommand::BitType), bytes("01"));
    });
    ASSERT_TRUE(link.carries(1));
    destroyAtOnce();
    expectReturned();
    EXPECT_EQ(0, result);
}

TEST_F(LifetimeWithProject, MayEndWhileAnotherThreadWaitsForTheDatabase)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    std::unique_ptr<ProjectDatabase::Lock> lock(new ProjectDatabase::Lock(project));
    DriverDMC50v3 *const called = driver.get();
    std::atomic<bool> returned(false);
    std::thread reader([this, called, &returned] {
        called->read(&link, tag("NA10"));
        returned = true;
    });
    ASSERT_TRUE(
        eventually([this] { return QSqlDatabase::contains(probe::connectionName(*driver)); }));
    std::thread destroyer([this, &returned] {
        driver.reset();
        EXPECT_TRUE(eventually([&returned] { return returned.load(); }));
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(returned);
    lock.reset();
    destroyer.join();
    reader.join();
}

TEST_F(Lifetime, MayEndOnAnotherThreadThanItBeganOn)
{
    announce("NA10");
    driver->createThread(&link);
    ASSERT_TRUE(link.carries(1));
    std::thread([this] { driver.reset(); }).join();
}

// ---- Two drivers in one process ------------------------------------------------------------

class TwoDrivers : public LifetimeWithProject
{
protected:
    ~TwoDrivers() override { other.reset(); }

    SlowLink other_link; // outlives the driver
    std::unique_ptr<DriverDMC50v3> other{new DriverDMC50v3};
};

TEST_F(TwoDrivers, HaveEachALineAndAProjectOfItsOwn)
{
    ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    project.addLink(6, 1004);
    project.addNode(6, 2, 1);
    project.addTags({"NA20"}, 6);
    other_link.setting.string = "COM3";
    other_link.station = 2;

    EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, tag("NA10"))));
    EXPECT_EQ("20 00 00 00", hexOf(other->read(&other_link, tag("NA20"))));
    EXPECT_EQ(frames::readRequest(1, {0x10}), link.sent().front());
    EXPECT_EQ(frames::readRequest(2, {0x20}), other_link.sent().front());
    EXPECT_NE(probe::connectionName(*driver), probe::connectionName(*other));
    EXPECT_EQ(2, QSqlDatabase::connectionNames().size());
}

TEST_F(TwoDrivers, EndApart)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, tag("NA10"))));
    EXPECT_EQ("10 00 00 00", hexOf(other->read(&other_link, tag("NA10"))));
    const QString name = probe::connectionName(*other);
    driver.reset();
    EXPECT_EQ(QStringList({name}), QSqlDatabase::connectionNames());
    EXPECT_EQ("10 00 00 00", hexOf(other->read(&other_link, tag("NA10"))));
}

TEST_F(TwoDrivers, FailApart)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    link.setting.string = "COM9";
    EXPECT_EQ("", hexOf(driver->read(&link, tag("NA10"))));
    EXPECT_EQ("10 00 00 00", hexOf(other->read(&other_link, tag("NA10"))));
    EXPECT_TRUE(driver->hasError());
    EXPECT_FALSE(other->hasError());
}

/// What a runtime's communication thread of its own does.
void readOnAnotherThread(DriverDMC50v3 *driver, FakeLink *link, QByteArray *answer)
{
    for (int i = 0; i < 5; ++i)
        *answer = driver->read(link, tag("NA10"));
}

TEST_F(TwoDrivers, MayBeUsedByTwoThreads)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    QByteArray first;
    QByteArray second;
    std::thread one(readOnAnotherThread, driver.get(), &link, &first);
    std::thread two(readOnAnotherThread, other.get(), &other_link, &second);
    one.join();
    two.join();
    EXPECT_EQ("10 00 00 00", hexOf(first));
    EXPECT_EQ("10 00 00 00", hexOf(second));
}

// ---- With the program ----------------------------------------------------------------------

/// Takes its time to end.
struct SlowEnd {
    ~SlowEnd() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }
};

/// Ends the program with drivers that are destroyed after everything else, one of them with a line
/// that runs on for a while and a transfer's worker, and one with a connection.
void exitWithDrivers()
{
    removeProject();
    static SlowLink link;
    static std::unique_ptr<DriverInterface> running;
    static std::unique_ptr<DriverInterface> connected;
    static const SlowEnd slow_end;
    std::unique_ptr<DriverDMC50v3> driver(new DriverDMC50v3);
    probe::setValidAddresses(*driver, {{1, {0x10}}});
    driver->createThread(&link);
    running = std::move(driver);
    running->read(&link, tag("VVT_ENABLE1"));
    connected.reset(CreateDriver());
    connected->read(&link, tag("NA10"));
    std::exit(running->read(&link, tag("NA10")).size());
}

TEST(LifetimeDeathTest, MayEndWithTheProgram)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(exitWithDrivers(), testing::ExitedWithCode(4), "");
}

// What drivers share has begun earlier then than what ends after them.
TEST(LifetimeDeathTest, MayEndWithTheProgramAfterAnEarlierDriver)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const std::unique_ptr<DriverInterface> earlier(CreateDriver());
            exitWithDrivers();
        },
        testing::ExitedWithCode(4), "");
}

} // namespace
