// A host of somebody else: offers its platform, loads the installed driver, shares its services.

#include <QCoreApplication>
#include <QPluginLoader>

#include <cstdio>
#include <dlfcn.h>
#include <memory>

#include "common/armlinuxhmi.h"
#include "common/clock.h"
#include "common/lib_crc.h"
#include "common/messagecenter.h"
#include "common/qtcompat.h"
#include "common/spifram.h"
#include "common/tools.h"
#include "common/txpackage.h"
#include "common/x86linuxhmi.h"
#include "common/zbuzzer.h"
#include "common/zdevice.h"
#include "common/zdevice_platform.h"
#include "common/zsetting.h"
#include "driver/drv_dev_setting.h"
#include "hmi/abstractbuzzerinterface.h"
#include "hmi/abstractdeviceinterface.h"
#include "hmi/driverinterface.h"
#include "hmi/platform.h"

Platform *Platform::getInstance()
{
    static Platform only;
    return &only;
}

bool Platform::isX86HMI() const
{
    return true;
}

void Platform::BuzzerAlarm(int, int) {}

bool Platform::BuzzerOn() const
{
    return false;
}

void Platform::setBuzzerOn(bool) {}

namespace
{

/// Whether the driver would use this program's class rather than its own copy.
bool isShared()
{
    void *const program = ::dlopen(nullptr, RTLD_NOW);
    return ::dlsym(program, "_ZN8ZSetting11getInstanceEv") ==
           reinterpret_cast<void *>(&ZSetting::getInstance);
}

int fail(const QString &reason)
{
    fprintf(stderr, "host: %s\n", qPrintable(reason));
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (!isShared())
        return fail("the services are not offered to drivers");
    QPluginLoader loader(DRIVER_FILE);
    DriverInterface *const driver = qobject_cast<DriverInterface *>(loader.instance());
    if (driver == nullptr)
        return fail(loader.errorString());
    const std::unique_ptr<DeviceSetting> link(driver->getDefaultSerialDeviceSetting());
    printf("%s %s of %s, %d baud\n", qPrintable(driver->name()),
           qPrintable(driver->getVersionNumber()), qPrintable(driver->vender()), link->baudrate);
    return 0;
}
