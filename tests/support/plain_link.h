// What links have in common that stand in for a line without being told any settings.

#ifndef TESTS_SUPPORT_PLAIN_LINK_H
#define TESTS_SUPPORT_PLAIN_LINK_H

#include "driver/drv_dev_setting.h"
#include "hmi/abstractdeviceinterface.h"

/// How controllers are wired as a rule.
inline DeviceSetting usualWiring(int baud = 38400)
{
    return DeviceSetting(DeviceSetting::Rs485, QString::fromLatin1("COM2"), baud, 8,
                         DeviceSetting::OneStopBit, DeviceSetting::EvenParity);
}

/// Usual settings: no retries, no pause, station 1. Requests go nowhere.
class PlainLink : public AbstractDeviceInterface
{
public:
    PlainLink() : m_device_setting(usualWiring()) {}

    int writeData(const char *, int size) override { return size; }
    const DeviceSetting *deviceSetting() override { return &m_device_setting; }
    QVariant control(int, const QVariant &) override { return QVariant(); }
    int timeout() override { return 3000; }
    int retry() override { return 0; }
    int stationId() override { return 1; }
    int delay() override { return 0; }

private:
    const DeviceSetting m_device_setting;
};

#endif // TESTS_SUPPORT_PLAIN_LINK_H
