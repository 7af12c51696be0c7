// The terminal's way to find storage, on real mounts.

#include "common/zdevice.h"

#include "tests/common/scripted_statvfs.h"
#include "tests/common/storage_fixture.h"
#include "tests/driver/vtable_slot.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char DiskStats[] = "/proc/diskstats";
const char ListingLines[] = "/dev/sda1 on /run/media/sda1 type vfat (rw)\n"
                            "/dev/mmcblk0p1 on /run/media/mmcblk0p1 type vfat (rw)\n";

typedef std::vector<std::string> Texts;

class Arm : public ArmLinuxHmi
{
public:
    using ArmLinuxHmi::m_devices;
};

class ArmTest : public StorageTest
{
protected:
    Arm arm;
    SignalList signalList{&arm};

    Texts scan()
    {
        arm.processDeviceMountStatus();
        return signalList.take();
    }

    Texts sampleActivity()
    {
        arm.processIOStatus();
        return signalList.take();
    }

    std::string mountOf(DeviceType type) { return arm.getMount(type).toStdString(); }

    /// Nodes, mount points and types of what is known, in order.
    Texts devices() const
    {
        Texts texts;
        for (const Device *device : arm.m_devices) {
            texts.push_back(device->devNode.toStdString() + " " + device->mountPath.toStdString() +
                            " " + std::to_string(device->type));
        }
        return texts;
    }
};

// ---- What hosts rely on ----

TEST(PlatformInterface, KeepsTheOrderOfItsOperations)
{
    const size_t operationsOfQObject = 12;
    EXPECT_EQ(operationsOfQObject, slotOf(&PlatformInterface::checkGlobalMountStatus));
    EXPECT_EQ(operationsOfQObject + 1, slotOf(&PlatformInterface::processDeviceMountStatus));
    EXPECT_EQ(operationsOfQObject + 2, slotOf(&PlatformInterface::processDeviceSpaceStatus));
    EXPECT_EQ(operationsOfQObject + 3, slotOf(&PlatformInterface::processIOStatus));
    EXPECT_EQ(operationsOfQObject + 4, slotOf(&PlatformInterface::getTotalSpace));
    EXPECT_EQ(operationsOfQObject + 5, slotOf(&PlatformInterface::getFreeSpace));
    EXPECT_EQ(operationsOfQObject + 6, slotOf(&PlatformInterface::getMount));
}

TEST(PlatformInterface, IsKnownToTheMetaObjectSystem)
{
    EXPECT_STREQ("PlatformInterface", PlatformInterface::staticMetaObject.className());
    EXPECT_STREQ("ArmLinuxHmi", ArmLinuxHmi::staticMetaObject.className());
    EXPECT_STREQ("X86LinuxHmi", X86LinuxHmi::staticMetaObject.className());
    const QMetaObject &meta = PlatformInterface::staticMetaObject;
    EXPECT_LE(0, meta.indexOfSignal("platDeviceMounted(int,int,bool)"));
    EXPECT_LE(0, meta.indexOfSignal("platDeviceInIO(int,int,bool)"));
}

TEST(DeviceType, HasTheNumbersOfTheContract)
{
    EXPECT_EQ(0, DeviceUnknown);
    EXPECT_EQ(1, DeviceUsb);
    EXPECT_EQ(2, DeviceSdCard);
    EXPECT_EQ(3, DeviceSystem);
}

TEST(Device, StartsEmpty)
{
    const Device device;
    EXPECT_EQ(DeviceUnknown, device.type);
    EXPECT_EQ(0, device.state);
    EXPECT_EQ(0u, device.fsInfo.f_blocks);
    EXPECT_EQ(0u, device.ioCounter);
    EXPECT_FALSE(device.inIO);
}

TEST_F(ArmTest, RunsProgramsForItsUsers)
{
    EXPECT_EQ(3, arm.runCommand("sh", QStringList() << "-c"
                                                    << "exit 3"));
    EXPECT_EQ(-2, arm.runCommand("/no/such/program", QStringList()));
    EXPECT_TRUE(arm.runCommandDetached("true", QStringList()));
    EXPECT_FALSE(arm.runCommandDetached("/no/such/program", QStringList()));
}

TEST_F(ArmTest, MakesTheTwoFolders)
{
    standIn("mkdir", "echo \"$@\" >> /tmp/made");
    const Arm another;
    EXPECT_EQ("/sd\n/usb\n", readFile("/tmp/made"));
}

// ---- Names ----

TEST_F(ArmTest, KnowsWhereEachKindBelongs)
{
    EXPECT_EQ("/usb", arm.determineMountPath(DeviceUsb).toStdString());
    EXPECT_EQ("/sd", arm.determineMountPath(DeviceSdCard).toStdString());
    EXPECT_EQ("", arm.determineMountPath(DeviceUnknown).toStdString());
    EXPECT_EQ("", arm.determineMountPath(DeviceSystem).toStdString());
}

TEST_F(ArmTest, TellsTheKindFromTheName)
{
    const struct {
        const char *name;
        DeviceType type;
    } rows[] = {{"/dev/sda1", DeviceUsb},         {"/dev/mmcblk0p1", DeviceSdCard},
                {"mmcblk0", DeviceSdCard},        {"/dev/mmcblk1p1", DeviceUnknown},
                {"/dev/sdmmcblk0", DeviceUsb},    {"/dev/mmcblk0sd", DeviceUsb},
                {"/dev/hda1", DeviceUnknown},     {"", DeviceUnknown},
                {"/dev/SDA1", DeviceUnknown},     {"/run/media/a/sd", DeviceUsb},
                {"/run/media/s d", DeviceUnknown}};
    for (const auto &row : rows)
        EXPECT_EQ(row.type, arm.determineType(row.name)) << row.name;
}

// ---- First scan ----

TEST_F(ArmTest, FindsWhatIsMountedAlreadyWithoutASignal)
{
    const MountedVolume stick("/dev/sda1", "/run/media/sda1");
    const MessageLog log;
    arm.checkGlobalMountStatus();
    EXPECT_THAT(signalList.take(), IsEmpty());
    EXPECT_THAT(devices(), ElementsAre("/dev/sda1 /run/media/sda1 1"));
    EXPECT_EQ(2, arm.m_devices[0]->state);
    EXPECT_THAT(log.texts(QtDebugMsg), ElementsAre("Found: \"/dev/sda1\""));
    EXPECT_THAT(scan(), IsEmpty());
}

TEST_F(ArmTest, TakesTheKindFromTheNodeInTheFirstScan)
{
    letMountPrint("/dev/mmcblk0p1 on /run/media/sda1 type vfat (rw)\n"
                  "/dev/sdb1 on /run/media/STICK type vfat (rw)\n"
                  "/dev/hda1 on /run/media/sdc1 type vfat (rw)\n");
    arm.checkGlobalMountStatus();
    EXPECT_THAT(devices(),
                ElementsAre("/dev/mmcblk0p1 /run/media/sda1 2", "/dev/sdb1 /run/media/STICK 1"));
}

TEST_F(ArmTest, WantsTheWordOnInTheFirstScan)
{
    letMountPrint("/dev/sda1 at /run/media/sda1 type vfat (rw)\n"
                  "/dev/sdb1 ON /run/media/sdb1 type vfat (rw)\n"
                  "/dev/sdc1   on   /run/media/sdc1   type vfat (rw)\n");
    arm.checkGlobalMountStatus();
    EXPECT_THAT(devices(), ElementsAre("/dev/sdc1 /run/media/sdc1 1"));
}

TEST_F(ArmTest, AddsAMountPointOnceInTheFirstScan)
{
    letMountPrint("/dev/sda1 on /run/media/sda1 type vfat (rw)\n"
                  "/dev/sdb1 on /run/media/sda1 type vfat (rw)\n");
    arm.checkGlobalMountStatus();
    arm.checkGlobalMountStatus();
    EXPECT_THAT(devices(), ElementsAre("/dev/sda1 /run/media/sda1 1"));
}

TEST_F(ArmTest, PassesOverWhatIsMountedElsewhere)
{
    const MountedVolume stick("/dev/sda1", "/media/sda1");
    arm.checkGlobalMountStatus();
    EXPECT_THAT(scan(), IsEmpty());
    EXPECT_THAT(devices(), IsEmpty());
}

// ---- Hot plug ----

TEST_F(ArmTest, AnnouncesAStickThatIsPluggedInAndPulled)
{
    EXPECT_THAT(scan(), IsEmpty());
    MountedVolume stick("/dev/sda1", "/run/media/sda1");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_EQ("/run/media/sda1", mountOf(DeviceUsb));
    EXPECT_EQ(2, arm.m_devices[0]->state);
    EXPECT_THAT(scan(), IsEmpty());
    stick.pull();
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
    EXPECT_EQ("", mountOf(DeviceUsb));
    EXPECT_THAT(scan(), IsEmpty());
}

TEST_F(ArmTest, AnnouncesACard)
{
    MountedVolume card("/dev/mmcblk0p1", "/run/media/mmcblk0p1");
    EXPECT_THAT(scan(), ElementsAre("mounted 2 0 true"));
    EXPECT_EQ("/run/media/mmcblk0p1", mountOf(DeviceSdCard));
    EXPECT_EQ("", mountOf(DeviceUsb));
    card.pull();
    EXPECT_THAT(scan(), ElementsAre("mounted 2 0 false"));
}

TEST_F(ArmTest, LogsWhatComesAndGoes)
{
    const MessageLog log;
    MountedVolume stick("/dev/sda1", "/run/media/sda1");
    scan();
    stick.pull();
    scan();
    EXPECT_THAT(log.texts(QtDebugMsg),
                ElementsAre("******************************************************** DETECT: 1",
                            "REMOVE: \"/dev/sda1\" \"/run/media/sda1\""));
}

TEST_F(ArmTest, TakesTheKindFromTheMountPointLater)
{
    letMountPrint("/dev/mmcblk0p1 on /run/media/sda1 type vfat (rw)\n"
                  "/dev/sdb1 on /run/media/mmcblk0p1 type vfat (rw)\n"
                  "/dev/sdc1 on /run/media/STICK type vfat (rw)\n"
                  "/dev/hda1 on /run/media/sdc1 type vfat (rw)\n");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true", "mounted 2 0 true", "mounted 0 0 true"));
    EXPECT_THAT(devices(),
                ElementsAre("/dev/mmcblk0p1 /run/media/sda1 1", "/dev/sdb1 /run/media/mmcblk0p1 2",
                            "/dev/sdc1 /run/media/STICK 0"));
}

TEST_F(ArmTest, DoesNotLookForTheWordOnLater)
{
    letMountPrint("/dev/sda1 at /run/media/sda1 type vfat (rw)\n");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
}

TEST_F(ArmTest, AddsAMountPointOnce)
{
    letMountPrint("/dev/sda1 on /run/media/sda1 type vfat (rw)\n"
                  "/dev/sdb1 on /run/media/sda1 type vfat (rw)\n");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_THAT(devices(), ElementsAre("/dev/sda1 /run/media/sda1 1"));
}

TEST_F(ArmTest, KeepsAVolumeAsLongAsItsFolderIsThere)
{
    MountedVolume stick("/dev/sda1", "/run/media/sda1");
    scan();
    stick.unmount();
    EXPECT_THAT(scan(), IsEmpty());
    ::rmdir("/run/media/sda1");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
}

TEST_F(ArmTest, AnnouncesWhatWentBeforeWhatCame)
{
    MountedVolume first("/dev/sda1", "/run/media/sda1");
    MountedVolume second("/dev/mmcblk0p1", "/run/media/mmcblk0p1");
    scan();
    first.pull();
    second.pull();
    const MountedVolume third("/dev/sdb1", "/run/media/sdb1");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false", "mounted 2 0 false", "mounted 1 0 true"));
    EXPECT_THAT(devices(), ElementsAre("/dev/sdb1 /run/media/sdb1 1"));
}

TEST_F(ArmTest, NamesTheFirstOfSeveralSticks)
{
    MountedVolume first("/dev/sdb1", "/run/media/sdb1");
    scan();
    const MountedVolume second("/dev/sda1", "/run/media/sda1");
    scan();
    EXPECT_EQ("/run/media/sdb1", mountOf(DeviceUsb));
    first.pull();
    scan();
    EXPECT_EQ("/run/media/sda1", mountOf(DeviceUsb));
}

TEST_F(ArmTest, HandsTheShellTheLineOfTheContract)
{
    standIn("sh", "echo \"$@\" > /tmp/inner");
    standIn("grep", "echo \"$@\" > /tmp/grepped; cat > /dev/null");
    scan();
    EXPECT_EQ("-c mount\n", readFile("/tmp/inner"));
    EXPECT_EQ("/run/media\n", readFile("/tmp/grepped"));
    restore("sh");
    restore("grep");
}

TEST_F(ArmTest, ForgetsAllInSilence)
{
    letMountPrint(ListingLines);
    scan();
    arm.testRemove();
    EXPECT_THAT(devices(), IsEmpty());
    EXPECT_THAT(signalList.take(), IsEmpty());
}

// ---- Answers ----

TEST_F(ArmTest, KnowsNothingOfWhatIsNotThere)
{
    for (const int number : {-1, 0, 1, 2, 3, 4, 99}) {
        const DeviceType type = static_cast<DeviceType>(number);
        EXPECT_EQ("", mountOf(type)) << number;
        EXPECT_EQ(0u, arm.getTotalSpace(type)) << number;
        EXPECT_EQ(0u, arm.getFreeSpace(type)) << number;
    }
}

TEST_F(ArmTest, HasNoAnswerForAVolumeOfUnknownKind)
{
    const MountedVolume stick("/dev/sda1", "/run/media/STICK");
    EXPECT_THAT(scan(), ElementsAre("mounted 0 0 true"));
    arm.processDeviceSpaceStatus();
    EXPECT_EQ("", mountOf(DeviceUnknown));
    EXPECT_EQ(0u, arm.getTotalSpace(DeviceUnknown));
    EXPECT_EQ(0u, arm.getFreeSpace(DeviceUnknown));
}

TEST_F(ArmTest, TellsTheSpaceOfAStick)
{
    const MountedVolume stick("/dev/sda1", "/run/media/sda1", "size=64k");
    scan();
    EXPECT_EQ(0u, arm.getTotalSpace(DeviceUsb));
    arm.processDeviceSpaceStatus();
    EXPECT_EQ(65536u, arm.getTotalSpace(DeviceUsb));
    EXPECT_EQ(65536u, arm.getFreeSpace(DeviceUsb));
    writeFile("/run/media/sda1/file", std::string(65536, 'x'));
    arm.processDeviceSpaceStatus();
    EXPECT_EQ(65536u, arm.getTotalSpace(DeviceUsb));
    EXPECT_EQ(0u, arm.getFreeSpace(DeviceUsb));
    EXPECT_EQ(0u, arm.getTotalSpace(DeviceSdCard));
}

TEST_F(ArmTest, TellsTheSpaceOfAReadOnlyCard)
{
    MountedVolume card("/dev/mmcblk0p1", "/run/media/mmcblk0p1", "size=64k");
    card.setReadOnly(true);
    EXPECT_THAT(scan(), ElementsAre("mounted 2 0 true"));
    arm.processDeviceSpaceStatus();
    EXPECT_EQ(65536u, arm.getTotalSpace(DeviceSdCard));
    EXPECT_EQ(65536u, arm.getFreeSpace(DeviceSdCard));
}

TEST_F(ArmTest, CountsReservedBlocksAsFreeOnRemovableDevicesOnly)
{
    ScriptedStatvfs script;
    script.answer("/run/media/sda1", 512, 1000, 600, 400);
    script.answer("/", 4096, 100, 50, 30);
    letMountPrint(ListingLines);
    scan();
    arm.processDeviceSpaceStatus();
    EXPECT_EQ(512u * 1000, arm.getTotalSpace(DeviceUsb));
    EXPECT_EQ(512u * 600, arm.getFreeSpace(DeviceUsb));
    EXPECT_EQ(4096u * 100, arm.getTotalSpace(DeviceSystem));
    EXPECT_EQ(4096u * 30, arm.getFreeSpace(DeviceSystem));
}

TEST_F(ArmTest, TellsMoreBytesThan32BitsHold)
{
    ScriptedStatvfs script;
    script.answer("/run/media/sda1", 32768, 0xFFFFFFFFul, 0xFFFFFFFEul, 0);
    letMountPrint(ListingLines);
    scan();
    arm.processDeviceSpaceStatus();
    EXPECT_EQ(0xFFFFFFFFull * 32768, arm.getTotalSpace(DeviceUsb));
    EXPECT_EQ(0xFFFFFFFEull * 32768, arm.getFreeSpace(DeviceUsb));
}

TEST_F(ArmTest, ForgetsTheSpaceOfWhatCannotBeAsked)
{
    ScriptedStatvfs script;
    script.answer("/run/media/sda1", 512, 1000, 600, 400);
    script.answer("/run/media/mmcblk0p1", 512, 10, 6, 4);
    script.answer("/", 4096, 100, 50, 30);
    letMountPrint(ListingLines);
    scan();
    arm.processDeviceSpaceStatus();
    script.fail("/run/media/sda1", EIO);
    script.fail("/", EIO);
    const MessageLog log;
    arm.processDeviceSpaceStatus();
    EXPECT_EQ(0u, arm.getTotalSpace(DeviceUsb));
    EXPECT_EQ(0u, arm.getFreeSpace(DeviceUsb));
    EXPECT_EQ(0u, arm.getTotalSpace(DeviceSystem));
    EXPECT_EQ(512u * 10, arm.getTotalSpace(DeviceSdCard));
    EXPECT_THAT(log.texts(QtDebugMsg),
                ElementsAre("get file system info failed", "get file system info failed"));
}

TEST_F(ArmTest, AsksMountedVolumesOnlyForTheirSpace)
{
    ScriptedStatvfs script;
    script.answer("/run/media/sda1", 512, 1000, 600, 400);
    letMountPrint(ListingLines);
    scan();
    arm.m_devices[0]->state = 1;
    arm.processDeviceSpaceStatus();
    EXPECT_EQ(0u, arm.getTotalSpace(DeviceUsb));
}

// ---- Activity ----

/// The kernel's counters, as the test says.
class ArmActivity : public ArmTest
{
protected:
    void SetUp() override
    {
        ArmTest::SetUp();
        if (IsSkipped())
            return;
        writeFile("/tmp/diskstats", "");
        ASSERT_EQ(0, ::mount("/tmp/diskstats", DiskStats, nullptr, MS_BIND, nullptr));
    }

    void TearDown() override { ::umount2(DiskStats, MNT_DETACH); }

    /// A device of this node that is mounted, quiet since long.
    void plugIn(const std::string &node)
    {
        letMountPrint(node + " on /run/media" + node.substr(4) + " type vfat (rw)\n");
        makeFolders("/run/media" + node.substr(4));
        scan();
    }

    static void letKernelTell(const std::string &lines) { writeFile("/tmp/diskstats", lines); }
};

TEST_F(ArmActivity, IsReportedOnceForABurst)
{
    plugIn("/dev/sda1");
    const struct {
        int counter;
        Texts signalTexts;
    } seconds[] = {{0, {}},
                   {1, {"busy 1 0 true"}},
                   {2, {}},
                   {3, {}},
                   {3, {"busy 1 0 false"}},
                   {3, {}},
                   {9, {"busy 1 0 true"}},
                   {9, {"busy 1 0 false"}}};
    for (const auto &second : seconds) {
        letKernelTell("   8       1 sda1 5 6 " + std::to_string(second.counter) + " 0 7 8 9\n");
        EXPECT_EQ(second.signalTexts, sampleActivity()) << second.counter;
    }
}

TEST_F(ArmActivity, ComesFromTheFieldsOfAPartitionOrOfAWholeDevice)
{
    const struct {
        const char *node;
        bool partition;
    } rows[] = {{"/dev/sda1", true},       {"/dev/sdz4", true},       {"/dev/mmcblk0p1", true},
                {"/dev/mmcblk0p4", true},  {"/dev/sda", false},       {"/dev/sda0", false},
                {"/dev/sda5", false},      {"/dev/sda11", false},     {"/dev/sdaa1", false},
                {"/dev/mmcblk0", false},   {"/dev/mmcblk0p0", false}, {"/dev/mmcblk0p5", false},
                {"/dev/mmcblk0p11", false}};
    for (const auto &row : rows) {
        plugIn(row.node);
        ASSERT_EQ(1u, arm.m_devices.size()) << row.node;
        letKernelTell(std::string("8 1 ") + (row.node + 5) + " 1 2 100 10 1000 5 6\n");
        sampleActivity();
        EXPECT_EQ(row.partition ? 110u : 1100u, arm.m_devices[0]->ioCounter) << row.node;
        arm.testRemove();
    }
}

TEST_F(ArmActivity, IsSeenInEitherCounter)
{
    plugIn("/dev/sda1");
    const MountedVolume card("/dev/mmcblk0", "/run/media/mmcblk0");
    restore("mount");
    scan();
    letKernelTell("8 1 sda1 1 2 0 1 4\n179 0 mmcblk0 1 2 0 4 1\n");
    EXPECT_THAT(sampleActivity(), ElementsAre("busy 1 0 true", "busy 2 0 true"));
    EXPECT_THAT(sampleActivity(), ElementsAre("busy 1 0 false", "busy 2 0 false"));
    letKernelTell("8 1 sda1 1 2 0 1 5\n179 0 mmcblk0 1 2 0 5 1\n");
    EXPECT_THAT(sampleActivity(), IsEmpty());
}

TEST_F(ArmActivity, OfOtherDevicesDoesNotMatter)
{
    plugIn("/dev/sda1");
    letKernelTell("8 0 sda 1 2 3 4 5 6\n8 2 sda2 1 2 3 4 5 6\n8 1 xsda1 1 2 3 4 5 6\n"
                  "254 0 vda 1 2 3 4 5 6\n8 1 sda11 1 2 3 4 5 6\n");
    EXPECT_THAT(sampleActivity(), IsEmpty());
}

TEST_F(ArmActivity, NeedsBothCounters)
{
    plugIn("/dev/sda1");
    for (const char *line : {"", "\n", "8\n", "8 1\n", "8 1 sda1\n", "8 1 sda1 1 2 3\n",
                             "8 1 sda1 1 2 x 4\n", "8 1 sda1 1 2 3 x\n"}) {
        letKernelTell(line);
        EXPECT_THAT(sampleActivity(), IsEmpty()) << line;
    }
    letKernelTell("8 1 sda1 1 2 3 4");
    EXPECT_THAT(sampleActivity(), ElementsAre("busy 1 0 true"));
}

TEST_F(ArmActivity, HasCountersOf64Bits)
{
    plugIn("/dev/sda1");
    letKernelTell("8 1 sda1 1 2 18446744073709551615 0\n");
    EXPECT_THAT(sampleActivity(), ElementsAre("busy 1 0 true"));
    EXPECT_EQ(18446744073709551615ull, arm.m_devices[0]->ioCounter);
    letKernelTell("8 1 sda1 1 2 18446744073709551615 2\n");
    EXPECT_THAT(sampleActivity(), IsEmpty());
    EXPECT_EQ(1u, arm.m_devices[0]->ioCounter);
}

TEST_F(ArmActivity, HasNamesOfTwelveCharacters)
{
    plugIn("/dev/sdabcdefghij");
    letKernelTell("8 1 sdabcdefghij 1 2 3 4 5 6\n");
    EXPECT_THAT(sampleActivity(), ElementsAre("busy 1 0 true"));
    arm.testRemove();
    plugIn("/dev/sdabcdefghijk");
    letKernelTell("8 1 sdabcdefghijk 1 2 3 4 5 6\n");
    EXPECT_THAT(sampleActivity(), IsEmpty());
}

TEST_F(ArmActivity, HasLinesOf128Characters)
{
    plugIn("/dev/sda1");
    const std::string start = "8 1 sda1 1 2 3";
    const std::string end = "4\n";
    const std::string fitting(128 - start.size() - end.size(), ' ');
    letKernelTell(start + fitting + ' ' + end); // the counter is cut off
    EXPECT_THAT(sampleActivity(), ElementsAre("busy 1 0 true"));
    arm.testRemove();
    scan();
    letKernelTell(start + fitting + "  " + end);
    EXPECT_THAT(sampleActivity(), IsEmpty());
}

TEST_F(ArmActivity, IsSeenInTheKernelsOwnFile)
{
    ::umount2(DiskStats, MNT_DETACH);
    const std::string stats = readFile(DiskStats);
    ASSERT_FALSE(stats.empty());
    EXPECT_THAT(sampleActivity(), IsEmpty());
}

// ---- One device asked for ----

TEST_F(ArmTest, TellsWhereADeviceIsMounted)
{
    const MountedVolume stick("/dev/sda1", "/run/media/sda1");
    const MountedVolume other("/dev/sdb1", "/media/elsewhere");
    const MessageLog log;
    EXPECT_EQ("/run/media/sda1", arm.mounted("/dev/sda1").toStdString());
    EXPECT_EQ("/media/elsewhere", arm.mounted("/dev/sdb1").toStdString());
    EXPECT_THAT(log.texts(QtDebugMsg),
                ElementsAre(" ArmLinuxHmi::mounted ", " ArmLinuxHmi::mounted "));
}

TEST_F(ArmTest, SaysNothingOfADeviceThatIsNotMounted)
{
    const MessageLog log;
    EXPECT_EQ("", arm.mounted("/dev/sdq1").toStdString());
    EXPECT_THAT(log.texts(QtDebugMsg), IsEmpty());
}

TEST_F(ArmTest, LooksAtTheFirstLineOnly)
{
    letMountPrint("/dev/sda11 on /run/media/sda11 type vfat (rw)\n"
                  "/dev/sda1 on /run/media/sda1 type vfat (rw)\n");
    EXPECT_EQ("", arm.mounted("/dev/sda1").toStdString());
}

TEST_F(ArmTest, WantsThreeFieldsForAMountedDevice)
{
    letMountPrint("/dev/sda1 on\n");
    EXPECT_EQ("", arm.mounted("/dev/sda1").toStdString());
    letMountPrint("/dev/sda1 on /usb\n");
    EXPECT_EQ("/usb", arm.mounted("/dev/sda1").toStdString());
}

TEST_F(ArmTest, AsksNoShellAboutWhatIsNoDeviceNode)
{
    standIn("mount", "touch /tmp/asked");
    for (const char *text : {"",
                             "/dev",
                             "/dev/",
                             "dev/sda1",
                             "/etc/passwd",
                             "/dev/sda1; touch /tmp/owned",
                             "/dev/$(touch /tmp/owned)",
                             "/dev/`touch /tmp/owned`",
                             "/dev/sda1 -e .",
                             "/dev/sda1\n",
                             "/dev/sda1|sh",
                             "/dev/sda1>/tmp/owned",
                             "/dev/../etc/passwd",
                             "/dev//sda1",
                             "/dev/sda*",
                             "/dev/'sda1'",
                             "/dev/sda1&",
                             "/dev/sda1\\",
                             "-f /dev/sda1",
                             " /dev/sda1",
                             "/dev/sd\xe4",
                             "/dev/.",
                             "/dev/sda1/"}) {
        EXPECT_EQ("", arm.mounted(QString::fromLatin1(text)).toStdString()) << text;
        EXPECT_NE(0, ::access("/tmp/asked", F_OK)) << text;
        EXPECT_NE(0, ::access(ListingFile, F_OK)) << text;
    }
    arm.mounted("/dev/disk/by-id/usb-A_b-0");
    EXPECT_EQ(0, ::access("/tmp/asked", F_OK));
    EXPECT_NE(0, ::access("/tmp/owned", F_OK));
}

} // namespace
