// The terminal's way to find storage, on real mounts.

#include "common/zdevice_platform.h"

#include "tests/common/storage_fixture.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class Arm : public ArmLinuxHmi
{
public:
    using ArmLinuxHmi::m_command_limit;
    using ArmLinuxHmi::m_devices;

    std::vector<std::string> mountPaths() const
    {
        std::vector<std::string> paths;
        for (const Device *device : m_devices)
            paths.push_back(device->mountPath.toStdString());
        return paths;
    }
};

typedef std::vector<std::string> Texts;

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
};

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
    } rows[] = {{"/dev/sda1", DeviceUsb},      {"/dev/mmcblk0p1", DeviceSdCard},
                {"mmcblk0", DeviceSdCard},     {"/dev/mmcblk1p1", DeviceUnknown},
                {"/dev/sdmmcblk0", DeviceUsb}, {"/dev/hda1", DeviceUnknown},
                {"", DeviceUnknown},           {"/dev/SDA1", DeviceUnknown},
                {"/run/media/a/sd", DeviceUsb}};
    for (const auto &row : rows)
        EXPECT_EQ(row.type, arm.determineType(row.name)) << row.name;
}

// ---- First scan ----

TEST_F(ArmTest, FindsWhatIsMountedAlreadyWithoutASignal)
{
    const MountedVolume stick("/dev/sda1", "/run/media/sda1");
    arm.checkGlobalMountStatus();
    EXPECT_THAT(signalList.take(), IsEmpty());
    ASSERT_EQ(1u, arm.m_devices.size());
    EXPECT_EQ(DeviceUsb, arm.m_devices[0]->type);
    EXPECT_EQ(2, arm.m_devices[0]->state);
    EXPECT_EQ("/dev/sda1", arm.m_devices[0]->devNode.toStdString());
    EXPECT_EQ("/run/media/sda1", arm.m_devices[0]->mountPath.toStdString());
    EXPECT_THAT(scan(), IsEmpty());
}

// ---- Hot plug ----

TEST_F(ArmTest, AnnouncesAStickThatIsPluggedInAndPulled)
{
    EXPECT_THAT(scan(), IsEmpty());
    MountedVolume stick("/dev/sda1", "/run/media/sda1");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_EQ("/run/media/sda1", arm.getMount(DeviceUsb).toStdString());
    EXPECT_THAT(scan(), IsEmpty());
    stick.pull();
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
    EXPECT_EQ("", arm.getMount(DeviceUsb).toStdString());
}

} // namespace
