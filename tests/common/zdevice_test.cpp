// The monitor itself: its thread, its life and its answers.

#include "common/zdevice.h"

#include "hmi/desktop/desktop_platform.h"
#include "tests/common/storage_fixture.h"
#include "tests/support/eventually.h"

#include <QCoreApplication>
#include <QPointer>
#include <QVariant>

#include <gmock/gmock.h>

#include <condition_variable>
#include <cstdio>
#include <fcntl.h>
#include <sys/mount.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const qint64 StopMs = 2000; ///< the longest that stopping may take

typedef std::vector<std::string> Texts;

/// A platform that writes down what is asked of it.
class FakePlatform : public PlatformInterface
{
public:
    void checkGlobalMountStatus() override { note("first"); }
    void processDeviceMountStatus() override { note("mounts"); }
    void processDeviceSpaceStatus() override { note("space"); }
    void processIOStatus() override { note("activity"); }
    quint64 getTotalSpace(DeviceType type) override { return 1000u + static_cast<uint>(type); }
    quint64 getFreeSpace(DeviceType type) override { return 2000u + static_cast<uint>(type); }
    QString getMount(DeviceType type) override { return QString("/mount/%1").arg(type); }

    using PlatformInterface::isStopped;

    /// What was called since the last time.
    Texts take()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Texts taken;
        taken.swap(m_calls);
        return taken;
    }

private:
    void note(const char *call)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_calls.emplace_back(call);
        }
        emit platDeviceMounted(1, 0, true);
        emit platDeviceInIO(2, 0, false);
    }

    std::mutex m_mutex;
    Texts m_calls; ///< guarded by m_mutex
};

/// A clock on which a sleep lasts until the test ends it.
class GateClock : public Clock
{
public:
    qint64 msecsSinceBoot() override { return 0; }

    void sleep(ulong ms) override
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_slept.push_back(ms);
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_open || m_wakes > 0; });
        --m_wakes;
    }

    /// Waits until a thread sleeps for the n-th time.
    void waitForSleep(size_t n)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this, n] { return m_slept.size() >= n; });
    }

    /// Ends one sleep and waits for the next one.
    void pass()
    {
        size_t next = 0;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            ++m_wakes;
            next = m_slept.size() + 1;
            m_changed.notify_all();
        }
        waitForSleep(next);
    }

    /// Ends all sleeps, now and later.
    void open()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

    std::vector<ulong> slept()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_slept;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<ulong> m_slept; ///< guarded by m_mutex
    int m_wakes = 0;            ///< guarded by m_mutex
    bool m_open = false;        ///< guarded by m_mutex
};

class TestedMonitor : public ZDevice
{
public:
    TestedMonitor(PlatformInterface *platform, Clock *clock) : ZDevice(platform, clock) {}
    using ZDevice::createPlatform;
    using ZDevice::run;
};

class MonitorLoop : public testing::Test
{
protected:
    GateClock clock;
    FakePlatform *platform = new FakePlatform;
    TestedMonitor monitor{platform, &clock};

    ~MonitorLoop() override { clock.open(); }

    void startMonitor()
    {
        platform->take();
        monitor.start();
        clock.waitForSleep(1);
    }

    Texts passSecond()
    {
        clock.pass();
        return platform->take();
    }

    /// Stops it in the middle of a sleep.
    void stopMonitor()
    {
        std::thread waker([this] {
            EXPECT_TRUE(eventually([this] { return platform->isStopped(); }));
            clock.open();
        });
        monitor.stopRunning();
        waker.join();
    }
};

TEST_F(MonitorLoop, LooksForWhatIsThereBeforeItStarts)
{
    EXPECT_THAT(platform->take(), ElementsAre("first", "mounts"));
    EXPECT_FALSE(monitor.isRunning());
}

TEST_F(MonitorLoop, SamplesActivityEverySecondAndVolumesEverySecondTime)
{
    startMonitor();
    EXPECT_THAT(platform->take(), ElementsAre("activity"));
    EXPECT_THAT(passSecond(), ElementsAre("activity"));
    EXPECT_THAT(passSecond(), ElementsAre("mounts", "space", "activity"));
    EXPECT_THAT(passSecond(), ElementsAre("activity"));
    EXPECT_THAT(passSecond(), ElementsAre("mounts", "space", "activity"));
    EXPECT_THAT(passSecond(), ElementsAre("activity"));
    EXPECT_EQ(std::vector<ulong>(6, 1000), clock.slept());
}

TEST_F(MonitorLoop, EndsWithTheSleepInWhichItIsStopped)
{
    startMonitor();
    clock.pass(); // the next pass would scan
    platform->take();
    const QPointer<PlatformInterface> watched(platform);
    stopMonitor();
    EXPECT_TRUE(monitor.isFinished());
    EXPECT_EQ(2u, clock.slept().size());
    EXPECT_TRUE(watched.isNull());
}

TEST_F(MonitorLoop, DoesNothingOnceStopped)
{
    clock.open();
    monitor.stopRunning();
    monitor.start();
    EXPECT_TRUE(monitor.wait(20000UL));
    EXPECT_THAT(clock.slept(), IsEmpty());
    monitor.stopRunning();
}

TEST_F(MonitorLoop, DoesNothingWithoutAPlatform)
{
    TestedMonitor blind(nullptr, &clock);
    blind.run();
    EXPECT_THAT(clock.slept(), IsEmpty());
    EXPECT_EQ("", blind.getMount(DeviceUsb).toStdString());
    EXPECT_EQ("", blind.getMount(1).toStdString());
    EXPECT_EQ(0u, blind.getTotalSpace(DeviceUsb));
    EXPECT_EQ(0u, blind.getFreeSpace(DeviceUsb));
    blind.stopRunning();
}

TEST_F(MonitorLoop, AnswersWhatThePlatformDoes)
{
    for (const int number : {-1, 0, 1, 2, 3, 99}) {
        const DeviceType type = static_cast<DeviceType>(number);
        EXPECT_EQ(QString("/mount/%1").arg(number), monitor.getMount(type));
        EXPECT_EQ(QString("/mount/%1").arg(number), monitor.getMount(number));
        EXPECT_EQ(static_cast<uint>(1000 + number), monitor.getTotalSpace(type));
        EXPECT_EQ(static_cast<uint>(2000 + number), monitor.getFreeSpace(type));
    }
}

TEST_F(MonitorLoop, AnswersNothingOnceStopped)
{
    clock.open();
    monitor.stopRunning();
    EXPECT_EQ("", monitor.getMount(DeviceUsb).toStdString());
    EXPECT_EQ("", monitor.getMount(1).toStdString());
    EXPECT_EQ(0u, monitor.getTotalSpace(DeviceUsb));
    EXPECT_EQ(0u, monitor.getFreeSpace(DeviceUsb));
}

/// Writes down in which thread it hears what.
class Listener : public QObject
{
public:
    void listenTo(ZDevice *monitor, Qt::ConnectionType how)
    {
        connect(
            monitor, &ZDevice::deviceMounted, this,
            [this](int type, int index, bool on) { hear("mounted", type, index, on); }, how);
        connect(
            monitor, &ZDevice::deviceInIO, this,
            [this](int type, int index, bool on) { hear("busy", type, index, on); }, how);
    }

    Texts heard;
    QThread *heardIn = nullptr;

private:
    void hear(const char *what, int type, int index, bool on)
    {
        heard.push_back(
            QString("%1 %2 %3 %4")
                .arg(what, QString::number(type), QString::number(index), on ? "true" : "false")
                .toStdString());
        heardIn = QThread::currentThread();
    }
};

TEST_F(MonitorLoop, RelaysSignalsInItsOwnThread)
{
    Listener listener;
    listener.listenTo(&monitor, Qt::DirectConnection);
    startMonitor();
    stopMonitor();
    EXPECT_THAT(listener.heard, ElementsAre("mounted 1 0 true", "busy 2 0 false"));
    EXPECT_EQ(&monitor, listener.heardIn);
}

TEST_F(MonitorLoop, RelaysSignalsToOtherThreadsThroughTheirEvents)
{
    Listener listener;
    listener.listenTo(&monitor, Qt::AutoConnection);
    startMonitor();
    stopMonitor();
    EXPECT_THAT(listener.heard, IsEmpty());
    QCoreApplication::processEvents();
    EXPECT_THAT(listener.heard, ElementsAre("mounted 1 0 true", "busy 2 0 false"));
    EXPECT_EQ(QThread::currentThread(), listener.heardIn);
}

TEST_F(MonitorLoop, MayBeAskedWhileItIsStopped)
{
    startMonitor();
    std::atomic<bool> done(false);
    std::thread caller([this, &done] {
        while (!done) {
            const std::string path = monitor.getMount(DeviceUsb).toStdString();
            EXPECT_TRUE(path == "/mount/1" || path.empty()) << path;
            monitor.getTotalSpace(DeviceUsb);
            monitor.getFreeSpace(DeviceUsb);
        }
    });
    stopMonitor();
    done = true;
    caller.join();
}

TEST_F(MonitorLoop, MayBeAskedByThoseWhoHearIt)
{
    std::string mount;
    QObject::connect(
        &monitor, &ZDevice::deviceMounted, &monitor,
        [&](int type, int, bool) { mount = monitor.getMount(type).toStdString(); },
        Qt::DirectConnection);
    startMonitor();
    stopMonitor();
    EXPECT_EQ("/mount/1", mount);
}

TEST(MonitorClass, IsKnownToTheMetaObjectSystem)
{
    EXPECT_STREQ("ZDevice", ZDevice::staticMetaObject.className());
    const QMetaObject &meta = ZDevice::staticMetaObject;
    EXPECT_LE(0, meta.indexOfSignal("deviceMounted(int,int,bool)"));
    EXPECT_LE(0, meta.indexOfSignal("deviceInIO(int,int,bool)"));
}

// ---- The process's monitor, on real mounts ----

class Monitor : public StorageTest
{
protected:
    ~Monitor() override
    {
        ZDevice::dropInstance();
        setPlatformIsPanel(false);
    }
};

TEST_F(Monitor, MakesThePlatformOfANumber)
{
    const struct {
        int number;
        const char *name;
    } rows[] = {{1, "ArmLinuxHmi"}, {2, "X86LinuxHmi"},  {0, "ArmLinuxHmi"},
                {3, "ArmLinuxHmi"}, {-1, "ArmLinuxHmi"}, {99, "ArmLinuxHmi"}};
    for (const auto &row : rows) {
        const std::unique_ptr<PlatformInterface> made(TestedMonitor::createPlatform(row.number));
        EXPECT_STREQ(row.name, made->metaObject()->className()) << row.number;
    }
}

TEST_F(Monitor, IsOneForTheProcess)
{
    ZDevice *const device = ZDevice::getInstance();
    EXPECT_EQ(device, ZDevice::getInstance());
    EXPECT_EQ(device, qApp->property("ZDevice").value<ZDevice *>());
    EXPECT_EQ(device, qApp->property("ZDevice").value<QObject *>());
    EXPECT_EQ(nullptr, device->parent());
    EXPECT_TRUE(device->isRunning());
    EXPECT_EQ(QThread::LowestPriority, device->priority());
}

TEST_F(Monitor, LivesOnWithoutAnswersOnceDropped)
{
    const MountedVolume stick("/dev/sda1", "/media/usb0");
    ZDevice *const device = ZDevice::getInstance();
    EXPECT_EQ("/media/usb0", device->getMount(DeviceUsb).toStdString());
    ZDevice::dropInstance();
    EXPECT_TRUE(device->isFinished());
    EXPECT_EQ("", device->getMount(DeviceUsb).toStdString());
    EXPECT_EQ(nullptr, qApp->property("ZDevice").value<ZDevice *>());
    ZDevice::dropInstance();
}

TEST_F(Monitor, IsMadeAnewAfterADrop)
{
    const MountedVolume stick("/dev/sda1", "/media/usb0");
    const QPointer<ZDevice> former = ZDevice::getInstance();
    ZDevice::dropInstance();
    ZDevice *const device = ZDevice::getInstance();
    EXPECT_TRUE(former.isNull());
    EXPECT_TRUE(device->isRunning());
    EXPECT_EQ("/media/usb0", device->getMount(1).toStdString());
    EXPECT_EQ(device, qApp->property("ZDevice").value<ZDevice *>());
}

TEST_F(Monitor, IsNotNeededToBeDropped)
{
    ZDevice::dropInstance();
    EXPECT_EQ(nullptr, qApp->property("ZDevice").value<ZDevice *>());
}

/// What differs between the two platforms.
struct Host {
    const char *name;
    bool panel;
    const char *node;
    const char *point;
};

void PrintTo(const Host &host, std::ostream *out)
{
    *out << host.name;
}

class MonitorOn : public Monitor, public testing::WithParamInterface<Host>
{
protected:
    void SetUp() override
    {
        Monitor::SetUp();
        setPlatformIsPanel(GetParam().panel);
    }

    static std::string mountOf(DeviceType type)
    {
        return ZDevice::getInstance()->getMount(type).toStdString();
    }
};

TEST_P(MonitorOn, KnowsWhatIsMountedFromTheStart)
{
    const MountedVolume stick(GetParam().node, GetParam().point);
    EXPECT_EQ(GetParam().point, mountOf(DeviceUsb));
}

TEST_P(MonitorOn, AnnouncesAStickWithinTwoSecondsAndItsSpace)
{
    ZDevice *const device = ZDevice::getInstance();
    Listener listener;
    listener.listenTo(device, Qt::AutoConnection);
    const auto heardSomething = [&listener] {
        QCoreApplication::processEvents();
        return !listener.heard.empty();
    };
    MountedVolume stick(GetParam().node, GetParam().point, "size=64k");
    // Two seconds, and what a loaded machine may add.
    EXPECT_GT(2000 + 4000, msFor([&] { EXPECT_TRUE(eventually(heardSomething)); }));
    EXPECT_THAT(listener.heard, ElementsAre("mounted 1 0 true"));
    EXPECT_EQ(GetParam().point, mountOf(DeviceUsb));
    EXPECT_TRUE(eventually([device] { return device->getTotalSpace(DeviceUsb) == 65536; }));
    EXPECT_EQ(65536u, device->getFreeSpace(DeviceUsb));
    listener.heard.clear();
    stick.pull();
    EXPECT_TRUE(eventually(heardSomething));
    EXPECT_THAT(listener.heard, ElementsAre("mounted 1 0 false"));
    EXPECT_EQ("", mountOf(DeviceUsb));
}

TEST_P(MonitorOn, StopsWithinTwoSeconds)
{
    ZDevice *const device = ZDevice::getInstance();
    ::usleep(1000);
    EXPECT_GT(StopMs, msFor(ZDevice::dropInstance));
    EXPECT_TRUE(device->isFinished());
}

TEST_P(MonitorOn, StopsWithinTwoSecondsWhileAMountHangs)
{
    ZDevice *const device = ZDevice::getInstance();
    standIn("mount", "echo > /tmp/begun; exec sleep 1000");
    EXPECT_TRUE(eventually([] { return ::access("/tmp/begun", F_OK) == 0; }));
    EXPECT_GT(StopMs, msFor(ZDevice::dropInstance));
    EXPECT_TRUE(device->isFinished());
}

INSTANTIATE_TEST_SUITE_P(Hosts, MonitorOn,
                         testing::Values(Host{"Panel", true, "/dev/sda1", "/run/media/sda1"},
                                         Host{"Desktop", false, "/dev/sda1", "/media/usb0"}),
                         [](const testing::TestParamInfo<Host> &host) { return host.param.name; });

/// A mounted file system that answers nothing.
class DeadFileSystem
{
public:
    DeadFileSystem(const std::string &node, const std::string &point)
        : m_point(point), m_server(::open("/dev/fuse", O_RDWR | O_CLOEXEC))
    {
        makeFolders(point);
        const std::string options =
            "fd=" + std::to_string(m_server) + ",rootmode=40000,user_id=0,group_id=0";
        m_mounted =
            m_server >= 0 && ::mount(node.c_str(), point.c_str(), "fuse", 0, options.c_str()) == 0;
    }
    ~DeadFileSystem() { letGo(); }

    bool isMounted() const { return m_mounted; }

    /// Lets those who wait for it go.
    void letGo()
    {
        if (m_server >= 0)
            ::close(m_server);
        m_server = -1;
        ::umount2(m_point.c_str(), MNT_DETACH);
        ::rmdir(m_point.c_str());
    }

private:
    const std::string m_point;
    int m_server;
    bool m_mounted = false;
};

/// The monitor of a panel, which was made before its stick died.
TEST_F(Monitor, LeavesAThreadBehindThatAFileSystemHolds)
{
    setPlatformIsPanel(true);
    const QPointer<ZDevice> device = ZDevice::getInstance();
    DeadFileSystem stick("/dev/sda1", "/run/media/sda1");
    if (!stick.isMounted())
        GTEST_SKIP() << "needs a file system that hangs, and /dev/fuse cannot be had here";
    const auto knowsStick = [&device] { return !device->getMount(DeviceUsb).isEmpty(); };
    EXPECT_TRUE(eventually(knowsStick)); // and then asks for its space
    ::usleep(50000);
    EXPECT_GT(StopMs, msFor([&knowsStick] { EXPECT_TRUE(knowsStick()); }));
    EXPECT_GT(StopMs, msFor(ZDevice::dropInstance));
    EXPECT_TRUE(device->isRunning());
    EXPECT_FALSE(knowsStick());

    setPlatformIsPanel(false);
    EXPECT_NE(device.data(), ZDevice::getInstance());
    stick.letGo();
    EXPECT_TRUE(eventually([&device] {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return device.isNull();
    }));
}

} // namespace
