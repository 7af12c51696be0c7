// The terminal's way to find storage, among hostile files, mounts and programs.

#include "common/armlinuxhmi.h"

#include "common/shell_command.h"
#include "tests/common/storage_fixture.h"
#include "tests/support/eventually.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char StickLine[] = "/dev/sda1 on /run/media/sda1 type vfat (rw)\n";
const char Victim[] = "/tmp/victim";

/// What the monitor may take for stopping, and what a loaded machine may add to anything.
const qint64 StopMs = 2000;

typedef std::vector<std::string> Texts;

class Arm : public ArmLinuxHmi
{
public:
    using ArmLinuxHmi::m_devices;
};

class ArmFaults : public StorageTest
{
protected:
    Arm arm;
    SignalList signalList{&arm};

    Texts scan()
    {
        arm.processDeviceMountStatus();
        return signalList.take();
    }

    Texts mountPaths() const
    {
        Texts paths;
        for (const Device *device : arm.m_devices)
            paths.push_back(device->mountPath.toStdString());
        return paths;
    }

    std::string mountOf(DeviceType type) { return arm.getMount(type).toStdString(); }
};

bool isRegularFileOfOurs(const char *path)
{
    struct stat status;
    return ::lstat(path, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid();
}

bool isGone(const std::string &path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) != 0;
}

// ---- The listing's file ----

TEST_F(ArmFaults, LeavesWhatALinkPointsTo)
{
    writeFile(Victim, "precious");
    ASSERT_EQ(0, ::symlink(Victim, ListingFile));
    letMountPrint(StickLine);
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_EQ("precious", readFile(Victim));
    EXPECT_TRUE(isRegularFileOfOurs(ListingFile));
}

TEST_F(ArmFaults, MakesNoFileWhereALinkPointsTo)
{
    ASSERT_EQ(0, ::symlink("/tmp/nowhere", ListingFile));
    letMountPrint(StickLine);
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_TRUE(isGone("/tmp/nowhere"));
}

TEST_F(ArmFaults, LeavesAFileThatIsAlsoKnownByAnotherName)
{
    writeFile(Victim, "precious");
    ASSERT_EQ(0, ::link(Victim, ListingFile));
    letMountPrint(StickLine);
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_EQ("precious", readFile(Victim));
}

TEST_F(ArmFaults, DoesNotWaitAtAPipe)
{
    ASSERT_EQ(0, ::mkfifo(ListingFile, 0666));
    letMountPrint(StickLine);
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_TRUE(isRegularFileOfOurs(ListingFile));
}

TEST_F(ArmFaults, GivesUpAtAFolder)
{
    makeFolders(std::string(ListingFile) + "/kept");
    letMountPrint(StickLine);
    EXPECT_THAT(scan(), IsEmpty());
    arm.checkGlobalMountStatus();
    EXPECT_THAT(mountPaths(), IsEmpty());
    EXPECT_EQ("", arm.mounted("/dev/sda1").toStdString());
    EXPECT_FALSE(isGone(std::string(ListingFile) + "/kept"));
    ::rmdir((std::string(ListingFile) + "/kept").c_str());
    ::rmdir(ListingFile);
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
}

TEST_F(ArmFaults, GivesUpWhereNothingCanBeWritten)
{
    const MountedVolume stick("/dev/sda1", "/run/media/sda1");
    ASSERT_EQ(0, ::mount("tmpfs", "/tmp", "tmpfs", 0, nullptr));
    writeFile(ListingFile, "/dev/sdb1 on /run/media/sdb1 type vfat (rw)\n");
    ASSERT_EQ(0, ::mount(nullptr, "/tmp", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
    EXPECT_THAT(scan(), IsEmpty());
    ASSERT_EQ(0, ::umount2("/tmp", MNT_DETACH));
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
}

TEST_F(ArmFaults, NeitherReadsNorTouchesTheFileOfAnotherUser)
{
    const uid_t nobody = 65534;
    const std::string foreign = "/dev/sdb1 on /run/media/sdb1 type vfat (rw)\n";
    letMountPrint(StickLine);
    writeFile(ListingFile, foreign);
    if (::seteuid(nobody) != 0)
        GTEST_SKIP() << "needs a file of another user, and this namespace has only one user";
    const Texts announced = scan();
    ASSERT_EQ(0, ::seteuid(0));
    EXPECT_THAT(announced, IsEmpty());
    EXPECT_EQ(foreign, readFile(ListingFile));
}

TEST_F(ArmFaults, DoesNotBelieveAnOldFile)
{
    for (const char *script : {"exit 1", "kill -9 $$", "exit 0"}) {
        writeFile(ListingFile, StickLine);
        standIn("mount", script);
        EXPECT_THAT(scan(), IsEmpty()) << script;
    }
    writeFile(ListingFile, StickLine);
    standIn("grep", "kill -9 $$");
    EXPECT_THAT(scan(), IsEmpty());
}

TEST_F(ArmFaults, DoesNotBelieveAFileThatTakesTheNameMeanwhile)
{
    standIn("mount", "rm /tmp/devchk; echo '/dev/sda1 on /run/media/sda1 x' > /tmp/devchk");
    EXPECT_THAT(scan(), IsEmpty());
}

TEST_F(ArmFaults, KeepsTheListingToItself)
{
    letMountPrint(StickLine);
    scan();
    struct stat status;
    ASSERT_EQ(0, ::lstat(ListingFile, &status));
    EXPECT_EQ(0600u, status.st_mode & 07777u);
    EXPECT_EQ(StickLine, readFile(ListingFile));
}

// ---- Mount points ----

TEST_F(ArmFaults, GivesNoMountPointToAShell)
{
    for (const char *name : {"sd;touch$IFS/tmp/owned", "sd$(touch${IFS}/tmp/owned)", "sd`id`",
                             "sd&", "sd|sh", "sd>x", "sd*", "sd'", "sd\"", "sd\\", "sd%n%s%1"}) {
        const std::string point = std::string("/run/media/") + name;
        const MountedVolume stick("/dev/sda1", point);
        EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true")) << name;
        arm.processDeviceSpaceStatus();
        EXPECT_EQ(point, mountOf(DeviceUsb));
        EXPECT_EQ(1024u * 1024u, arm.getTotalSpace(DeviceUsb)) << name;
        arm.testRemove();
    }
    EXPECT_TRUE(isGone("/tmp/owned"));
}

/// The part before the blank may be no folder at all: it would be announced and taken back with
/// every scan.
TEST_F(ArmFaults, PassesOverAMountPointWithABlank)
{
    makeFolders("/run/media/sda1");
    const MountedVolume mine("/dev/sda1", "/run/media/sda1 of mine");
    const MountedVolume other("/dev/sdb1", "/run/media/MY STICK");
    for (int i = 0; i < 3; ++i)
        EXPECT_THAT(scan(), IsEmpty());
    EXPECT_EQ("", mountOf(DeviceUsb));
    ::rmdir("/run/media/sda1");
}

TEST_F(ArmFaults, SurvivesLinesOfAnyShape)
{
    std::string lines = "/run/media\n/dev/sda1 /run/media\n\n   \n/dev/sda2 on /run/media";
    const char zeros[] = "\0/dev/sdb1\0on\0/run/media/sdb1\0\n";
    lines.append(zeros, sizeof zeros - 1);
    lines += "/dev/sd" + std::string(1000000, 'x') + " on /run/media/sdlong type\n";
    lines += StickLine;
    lines += "/dev/sdc1 on /run/media/sdc1 cut off";
    letMountPrint(lines);
    standIn("grep", "exec cat"); // the real one shows no lines of what it takes for binary
    arm.checkGlobalMountStatus();
    arm.testRemove();
    scan();
    EXPECT_EQ("/run/media/sda1", arm.m_devices.back()->mountPath.toStdString());
}

TEST_F(ArmFaults, SurvivesAStickThatVanishesDuringAScan)
{
    letMountPrint(StickLine); // `mount` still knew it
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    const MessageLog log;
    arm.processDeviceSpaceStatus();
    EXPECT_THAT(log.texts(QtDebugMsg), ElementsAre("get file system info failed"));
    EXPECT_EQ(0u, arm.getTotalSpace(DeviceUsb));
    letMountPrint("");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
}

// ---- Programs ----

TEST_F(ArmFaults, GivesUpOnAMountThatPrintsMegabytes)
{
    letMountPrint(StickLine);
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    makeFolders("/run/media/sda1");
    standIn("mount", "exec yes '/dev/sdb1 on /run/media/sdb1 type vfat (rw)'");
    EXPECT_THAT(scan(), IsEmpty());
    EXPECT_THAT(mountPaths(), ElementsAre("/run/media/sda1"));
    EXPECT_EQ(static_cast<size_t>(ShellFileLimit), readFile(ListingFile).size());
    ::rmdir("/run/media/sda1");
}

TEST_F(ArmFaults, GivesUpOnAMountThatHangs)
{
    const int limitMs = 2000; // a shell has begun by then, also under emulation
    arm.setCommandLimit(limitMs);
    standIn("mount", "echo $$ > /tmp/pid; exec sleep 1000");
    EXPECT_LE(limitMs, msFor([this] { scan(); }));
    EXPECT_THAT(mountPaths(), IsEmpty());
    const pid_t mount = std::atoi(readFile("/tmp/pid").c_str());
    ASSERT_LT(0, mount);
    EXPECT_TRUE(eventually([mount] { return ::kill(mount, 0) != 0; }));
}

TEST_F(ArmFaults, StopsWhileAMountHangs)
{
    standIn("mount", "echo > /tmp/begun; exec sleep 1000");
    std::thread scanning([this] { scan(); });
    EXPECT_TRUE(eventually([] { return !isGone("/tmp/begun"); }));
    EXPECT_GT(StopMs, msFor([&] {
                  arm.stopScanning();
                  scanning.join();
              }));
}

TEST_F(ArmFaults, DoesNotScanOnceStopped)
{
    letMountPrint(StickLine);
    arm.stopScanning();
    EXPECT_THAT(scan(), IsEmpty());
    arm.checkGlobalMountStatus();
    EXPECT_EQ("", arm.mounted("/dev/sda1").toStdString());
    EXPECT_TRUE(isGone(ListingFile));
}

TEST_F(ArmFaults, AnswersWhileAMountHangs)
{
    const MountedVolume stick("/dev/sda1", "/run/media/sda1");
    scan();
    standIn("mount", "echo > /tmp/begun; exec sleep 1000");
    std::thread scanning([this] { scan(); });
    EXPECT_TRUE(eventually([] { return !isGone("/tmp/begun"); }));
    EXPECT_GT(StopMs, msFor([this] { EXPECT_EQ("/run/media/sda1", mountOf(DeviceUsb)); }));
    arm.stopScanning();
    scanning.join();
}

TEST_F(ArmFaults, AnswersWhileDevicesComeAndGo)
{
    std::atomic<bool> done(false);
    std::vector<std::thread> callers;
    const int count = 3;
    callers.reserve(count);
    for (int i = 0; i < count; ++i) {
        callers.emplace_back([this, &done] {
            while (!done) {
                const std::string path = mountOf(DeviceUsb);
                EXPECT_TRUE(path.empty() || path == "/run/media/sda1") << path;
                EXPECT_GE(65536u, arm.getTotalSpace(DeviceUsb));
                EXPECT_GE(65536u, arm.getFreeSpace(DeviceUsb));
                arm.getFreeSpace(DeviceSystem);
            }
        });
    }
    for (int i = 0; i < 10; ++i) {
        MountedVolume stick("/dev/sda1", "/run/media/sda1", "size=64k");
        EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
        arm.processDeviceSpaceStatus();
        arm.processIOStatus();
        stick.pull();
        EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
    }
    done = true;
    for (std::thread &caller : callers)
        caller.join();
}

} // namespace
