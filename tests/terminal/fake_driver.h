// A driver that answers as the test says, without a line.

#ifndef TESTS_TERMINAL_FAKE_DRIVER_H
#define TESTS_TERMINAL_FAKE_DRIVER_H

#include <functional>
#include <string>
#include <vector>

#include "hmi/abstractdeviceinterface.h"
#include "hmi/driverinterface.h"

class FakeDriver : public DriverInterface
{
public:
    /// Called by the communication thread, inside the driver.
    std::function<QByteArray(const CommunicatorCommand &)> onRead;
    std::function<int(const CommunicatorCommand &, const QByteArray &)> onWrite;
    std::function<std::string()> standingError; ///< empty: none

    std::vector<std::string> calls; ///< such as "read NA20 at 2"
    QList<CommunicatorCommand> session;
    bool usable = true;

    QByteArray read(AbstractDeviceInterface *link, const CommunicatorCommand &command) override
    {
        calls.push_back("read " + command.address.toStdString() + " at " +
                        std::to_string(link->stationId()));
        if (command.address.startsWith("INITDRV"))
            return usable ? QByteArray(4, '\0') : QByteArray();
        return onRead ? onRead(command) : QByteArray(command.getDataSize(), '\1');
    }

    int write(AbstractDeviceInterface *link, const CommunicatorCommand &command,
              const QByteArray &data) override
    {
        calls.push_back("write " + command.address.toStdString() + " at " +
                        std::to_string(link->stationId()) + " " + data.toHex().toStdString());
        return onWrite ? onWrite(command, data) : 1;
    }

    void setSessionCommand(QList<CommunicatorCommand> commands) override { session = commands; }
    bool hasError() override { return standingError && !standingError().empty(); }
    QString getLastError() override
    {
        return standingError ? QString::fromStdString(standingError()) : QString();
    }
    bool initialize(AbstractDeviceInterface *) override { return true; }
    bool isSupportSessionCommand() override { return true; }

    int totalSize() override { return 0; }
    bool validation(const QString &) override { return false; }
    DeviceSetting *getDefaultSerialDeviceSetting() override { return nullptr; }
    DriverSetting *getDefaultDriverSetting() override { return nullptr; }
    int supportedCommunicationFlags() override { return 0; }
    void setDebugMode(bool) override {}
    int getBlockAccessSize() override { return 0; }
    int getBitBlockAccessSize() override { return 0; }
    QObject *getThisObject() override { return nullptr; }
};

#endif // TESTS_TERMINAL_FAKE_DRIVER_H
