// The desktop's way to find storage, on real mounts and hostile programs.

#include "common/x86linuxhmi.h"

#include "common/shell_command.h"
#include "tests/common/scripted_statvfs.h"
#include "tests/common/storage_fixture.h"
#include "tests/support/eventually.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <signal.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const int ShortMs = 300;
const qint64 StopMs = 2000; ///< what stopping may take

typedef std::vector<std::string> Texts;

class X86Test : public StorageTest
{
protected:
    X86LinuxHmi x86;
    SignalList signalList{&x86};

    Texts scan()
    {
        x86.processDeviceMountStatus();
        return signalList.take();
    }

    std::string mountOf(DeviceType type) { return x86.getMount(type).toStdString(); }
};

bool isThere(const char *path)
{
    return ::access(path, F_OK) == 0;
}

// ---- Scans ----

TEST_F(X86Test, AnnouncesAStickThatIsPluggedInAndPulled)
{
    EXPECT_THAT(scan(), IsEmpty());
    MountedVolume stick("/dev/sda1", "/media/usb0");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_EQ("/media/usb0", mountOf(DeviceUsb));
    EXPECT_THAT(scan(), IsEmpty());
    stick.pull();
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
    EXPECT_EQ("", mountOf(DeviceUsb));
    EXPECT_THAT(scan(), IsEmpty());
}

TEST_F(X86Test, AnnouncesTheFirstAndTheLastStickOnly)
{
    MountedVolume second("/dev/sdb1", "/media/usb1");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_EQ("/media/usb1", mountOf(DeviceUsb));
    MountedVolume first("/dev/sda1", "/media/usb0");
    EXPECT_THAT(scan(), IsEmpty());
    EXPECT_EQ("/media/usb0", mountOf(DeviceUsb));
    first.pull();
    EXPECT_THAT(scan(), IsEmpty());
    EXPECT_EQ("/media/usb1", mountOf(DeviceUsb));
    second.pull();
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
}

TEST_F(X86Test, LooksAtTheBeginningOfTheMountPoint)
{
    const struct {
        const char *line;
        const char *mountPoint;
    } rows[] = {{"/dev/sda1 on /media/usb type vfat\n", "/media/usb"},
                {"/dev/sda1 on /media/usb/stick type vfat\n", "/media/usb/stick"},
                {"/dev/sda1 on /media/usbstick type vfat\n", "/media/usbstick"},
                {"tmpfs   at   /media/usb7   type tmpfs\n", "/media/usb7"},
                {"/dev/sda1 on /media/usb my stick type vfat\n", ""},
                {"/dev/sda1 on /media/us type vfat\n", ""},
                {"/dev/sda1 on /mnt/media/usb type vfat\n", ""},
                {"/dev/sda1 on /media/USB type vfat\n", ""},
                {"/media/usb on /mnt type none\n", ""},
                {"/dev/sda1 on\n", ""},
                {"/dev/sda1 on /media/usb", ""}, // cut off
                {"\n", ""},
                {"", ""}};
    for (const auto &row : rows) {
        letMountPrint(row.line);
        scan();
        EXPECT_EQ(row.mountPoint, mountOf(DeviceUsb)) << row.line;
    }
}

TEST_F(X86Test, GivesNoMountPointToAShell)
{
    for (const char *name : {";touch$IFS/tmp/owned", "$(touch${IFS}/tmp/owned)", "`id`", "*"}) {
        const std::string point = std::string("/media/usb") + name;
        const MountedVolume stick("/dev/sda1", point, "size=64k");
        scan();
        x86.processDeviceSpaceStatus();
        EXPECT_EQ(point, mountOf(DeviceUsb));
        EXPECT_EQ(65536u, x86.getTotalSpace(DeviceUsb)) << name;
    }
    EXPECT_FALSE(isThere("/tmp/owned"));
}

TEST_F(X86Test, FindsNothingInTheFirstScan)
{
    const MountedVolume stick("/dev/sda1", "/media/usb0");
    x86.checkGlobalMountStatus();
    x86.processIOStatus();
    EXPECT_THAT(signalList.take(), IsEmpty());
    EXPECT_EQ("", mountOf(DeviceUsb));
}

TEST_F(X86Test, SaysWhichPlatformItIs)
{
    const MessageLog log;
    const X86LinuxHmi another;
    EXPECT_THAT(log.texts(QtDebugMsg), ElementsAre("XLH"));
}

TEST_F(X86Test, LeavesTheTerminalsFileAlone)
{
    scan();
    EXPECT_FALSE(isThere(ListingFile));
}

// ---- Answers ----

TEST_F(X86Test, HasAMountPointForSticksOnly)
{
    const MountedVolume stick("/dev/sda1", "/media/usb0");
    scan();
    for (const int number : {-1, 0, 2, 3, 99})
        EXPECT_EQ("", mountOf(static_cast<DeviceType>(number))) << number;
}

TEST_F(X86Test, TellsTheSpaceOfTheFirstStickWhateverIsAskedFor)
{
    ScriptedStatvfs script;
    script.answer("/media/usb0", 512, 1000, 600, 400);
    script.answer("/media/usb1", 512, 10, 6, 4);
    letMountPrint("/dev/sdb1 on /media/usb1 type vfat\n/dev/sda1 on /media/usb0 type vfat\n");
    scan();
    EXPECT_EQ(0u, x86.getTotalSpace(DeviceUsb));
    x86.processDeviceSpaceStatus();
    for (const int number : {-1, 0, 1, 2, 3, 99}) {
        EXPECT_EQ(512u * 1000, x86.getTotalSpace(static_cast<DeviceType>(number))) << number;
        EXPECT_EQ(512u * 600, x86.getFreeSpace(static_cast<DeviceType>(number))) << number;
    }
}

TEST_F(X86Test, TellsNoSpaceWithoutAStick)
{
    ScriptedStatvfs script;
    script.answer("/media/usb0", 512, 1000, 600, 400);
    x86.processDeviceSpaceStatus();
    EXPECT_EQ(0u, x86.getTotalSpace(DeviceUsb));
    letMountPrint("/dev/sda1 on /media/usb0 type vfat\n");
    scan();
    x86.processDeviceSpaceStatus();
    letMountPrint("");
    scan();
    EXPECT_EQ(0u, x86.getTotalSpace(DeviceUsb));
    EXPECT_EQ(0u, x86.getFreeSpace(DeviceUsb));
}

TEST_F(X86Test, ForgetsTheSpaceOfAStickThatCannotBeAsked)
{
    ScriptedStatvfs script;
    script.answer("/media/usb0", 512, 1000, 600, 400);
    letMountPrint("/dev/sda1 on /media/usb0 type vfat\n");
    scan();
    x86.processDeviceSpaceStatus();
    script.fail("/media/usb0", EIO);
    const MessageLog log;
    x86.processDeviceSpaceStatus();
    EXPECT_EQ(0u, x86.getTotalSpace(DeviceUsb));
    EXPECT_EQ(0u, x86.getFreeSpace(DeviceUsb));
    EXPECT_THAT(log.texts(QtDebugMsg), ElementsAre("get file system info failed"));
}

TEST_F(X86Test, SeesAFullStick)
{
    const MountedVolume stick("/dev/sda1", "/media/usb0", "size=64k");
    writeFile("/media/usb0/file", std::string(65536, 'x'));
    scan();
    x86.processDeviceSpaceStatus();
    EXPECT_EQ(65536u, x86.getTotalSpace(DeviceUsb));
    EXPECT_EQ(0u, x86.getFreeSpace(DeviceUsb));
}

// ---- Scans that fail change nothing ----

TEST_F(X86Test, KeepsWhatItKnowsWhenMountFails)
{
    letMountPrint("/dev/sda1 on /media/usb0 type vfat\n");
    scan();
    x86.setCommandLimit(ShortMs);
    for (const char *script :
         {"exit 1", "echo '/dev/sdb1 on /media/usb1 type vfat'; exit 1", "kill -9 $$",
          "echo '/dev/sdb1 on /media/usb1 type vfat'; exec sleep 1000",
          "exec yes '/dev/sdb1 on /media/usb1 type vfat'"}) {
        standIn("mount", script);
        EXPECT_THAT(scan(), IsEmpty()) << script;
        EXPECT_EQ("/media/usb0", mountOf(DeviceUsb)) << script;
    }
    x86.setCommandLimit(PlatformInterface::CommandLimitMs);
    letMountPrint("");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
}

TEST_F(X86Test, KeepsWhatItKnowsWithoutAMountProgram)
{
    letMountPrint("/dev/sda1 on /media/usb0 type vfat\n");
    scan();
    ::setenv("PATH", "/nowhere", 1);
    EXPECT_THAT(scan(), IsEmpty());
    EXPECT_EQ("/media/usb0", mountOf(DeviceUsb));
}

TEST_F(X86Test, TakesOutputUpToItsLimit)
{
    const std::string stick = "/dev/sda1 on /media/usb0 type vfat\n";
    const std::string fitting = std::string(ShellFileLimit - stick.size() - 1, 'x') + "\n" + stick;
    letMountPrint("x" + fitting);
    EXPECT_THAT(scan(), IsEmpty());
    letMountPrint(fitting);
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
}

TEST_F(X86Test, EndsAMountThatHangs)
{
    x86.setCommandLimit(ShortMs);
    standIn("mount", "echo $$ > /tmp/pid; exec sleep 1000");
    EXPECT_LE(ShortMs, msFor([this] { scan(); }));
    const pid_t mount = std::atoi(readFile("/tmp/pid").c_str());
    ASSERT_LT(0, mount);
    EXPECT_TRUE(eventually([mount] { return ::kill(mount, 0) != 0; }));
}

TEST_F(X86Test, StopsWhileAMountHangs)
{
    standIn("mount", "echo > /tmp/begun; exec sleep 1000");
    std::thread scanning([this] { scan(); });
    EXPECT_TRUE(eventually([] { return isThere("/tmp/begun"); }));
    EXPECT_GT(StopMs, msFor([&] {
                  x86.stopScanning();
                  scanning.join();
              }));
}

TEST_F(X86Test, DoesNotScanOnceStopped)
{
    const MountedVolume stick("/dev/sda1", "/media/usb0");
    x86.stopScanning();
    EXPECT_THAT(scan(), IsEmpty());
    EXPECT_EQ("", mountOf(DeviceUsb));
}

TEST_F(X86Test, AnswersWhileSticksComeAndGo)
{
    std::atomic<bool> done(false);
    std::thread caller([this, &done] {
        while (!done) {
            const std::string path = mountOf(DeviceUsb);
            EXPECT_TRUE(path.empty() || path == "/media/usb0") << path;
            EXPECT_GE(65536u, x86.getTotalSpace(DeviceUsb));
            EXPECT_GE(65536u, x86.getFreeSpace(DeviceUsb));
        }
    });
    for (int i = 0; i < 10; ++i) {
        MountedVolume stick("/dev/sda1", "/media/usb0", "size=64k");
        EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
        x86.processDeviceSpaceStatus();
        stick.pull();
        EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
    }
    done = true;
    caller.join();
}

} // namespace
