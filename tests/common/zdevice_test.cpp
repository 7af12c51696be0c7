// The monitor itself: its thread, its life and its answers.

#include "common/zdevice.h"

#include "hmi/desktop/desktop_platform.h"
#include "tests/common/storage_fixture.h"
#include "tests/support/eventually.h"

#include <QCoreApplication>
#include <QVariant>

#include <gmock/gmock.h>

namespace
{

typedef StorageTest Monitor;

TEST_F(Monitor, IsOneForTheProcess)
{
    ZDevice *const device = ZDevice::getInstance();
    EXPECT_EQ(device, ZDevice::getInstance());
    EXPECT_EQ(device, qApp->property("ZDevice").value<ZDevice *>());
    EXPECT_TRUE(device->isRunning());
    EXPECT_EQ(QThread::LowestPriority, device->priority());
    ZDevice::dropInstance();
    EXPECT_TRUE(device->isFinished());
}

} // namespace
