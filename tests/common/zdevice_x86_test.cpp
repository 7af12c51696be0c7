// The desktop's way to find storage, on real mounts.

#include "common/zdevice_platform.h"

#include "tests/common/storage_fixture.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class X86Test : public StorageTest
{
protected:
    X86LinuxHmi x86;
    SignalList signalList{&x86};

    std::vector<std::string> scan()
    {
        x86.processDeviceMountStatus();
        return signalList.take();
    }
};

TEST_F(X86Test, AnnouncesAStickThatIsPluggedInAndPulled)
{
    EXPECT_THAT(scan(), IsEmpty());
    MountedVolume stick("/dev/sda1", "/media/usb0");
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 true"));
    EXPECT_EQ("/media/usb0", x86.getMount(DeviceUsb).toStdString());
    EXPECT_THAT(scan(), IsEmpty());
    stick.pull();
    EXPECT_THAT(scan(), ElementsAre("mounted 1 0 false"));
    EXPECT_EQ("", x86.getMount(DeviceUsb).toStdString());
}

} // namespace
