// What the runtime calls on a communication driver.

#ifndef HMI_DRIVERINTERFACE_H
#define HMI_DRIVERINTERFACE_H

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include "driver/drv_dev_setting.h"

class AbstractDeviceInterface;

/// A communication driver for one family of controllers.
///
/// The runtime obtains a driver through the plug-in root or through the plug-in's exported
/// `CreateDriver()`. The order of the operations is part of the binary contract: the runtime and
/// the driver are built apart and meet in the virtual table.
///
/// Threads: the runtime calls all operations of one driver from one thread, its communication
/// thread. `read` and `write` may block (see there); every other operation returns at once.
///
/// Nothing is thrown. A failure is a return value and, through `hasError` and `getLastError`, a
/// text for the engineer.
class DriverInterface
{
public:
    virtual ~DriverInterface() {}

    /// A driver-wide capacity figure in bytes that the runtime reads once.
    virtual int totalSize() = 0;

    /// Writes a tag. Does not wait for the line, except for bits: the words around them are read
    /// first, which takes as long as a `read`.
    /// \param data  the tag's bytes, least significant byte first; cut or padded with zero bytes to
    ///              the size that the command's type and length give
    /// \return 1 when the write was taken over, 0 when it failed
    virtual int write(AbstractDeviceInterface *link, const CommunicatorCommand &command,
                      const QByteArray &data) = 0;

    /// Reads a tag. A value that is polled comes from the driver's cache at once; another one is
    /// read over the line, which takes at most time-out x (retries + 1) milliseconds for the cache
    /// and as much again for the line.
    /// The first `read` or `write` also reads the project.
    /// \return `command.getDataSize()` bytes (of a block of bits: length / 8, rounded up), least
    ///         significant byte first; empty on failure
    virtual QByteArray read(AbstractDeviceInterface *link, const CommunicatorCommand &command) = 0;

    /// Called once before the first `read` or `write`. False: the driver cannot be used.
    virtual bool initialize(AbstractDeviceInterface *link) = 0;

    /// Whether the driver vouches for an address text. False says nothing about the text.
    virtual bool validation(const QString &address) = 0;

    /// The driver's name as the runtime lists it.
    virtual QString name() { return QString::fromLatin1("Not Assigned"); }

    /// The maker of the controllers.
    virtual QString vender() { return QString::fromLatin1("Not Assigned"); }

    /// The driver's version, "major.minor.patch".
    virtual QString getVersionNumber() { return QString::fromLatin1("Not Assigned"); }

    /// The link settings that suit the controllers. A new object; the caller owns it.
    virtual DeviceSetting *getDefaultSerialDeviceSetting() = 0;

    /// The timing that suits the controllers. A new object; the caller owns it.
    virtual DriverSetting *getDefaultDriverSetting() = 0;

    /// The default link settings as text: kind, baud rate, parity, data bits, stop bits.
    virtual QString getStringBasedDefaultDriverSetting()
    {
        return QString::fromLatin1("RS232,9600,EVEN,7,1");
    }

    /// A bit set of the communication services that the driver supports.
    virtual int supportedCommunicationFlags() = 0;

    /// Switches the driver's debug mode.
    virtual void setDebugMode(bool on) = 0;

    /// The greatest block, in bytes, that the runtime may ask for in one command.
    virtual int getBlockAccessSize() = 0;

    /// The same for blocks of bits.
    virtual int getBitBlockAccessSize() = 0;

    /// Whether an error stands. It goes away by itself when the line works again.
    virtual bool hasError() = 0;

    /// The text of the last error. It stays readable after the error itself has gone.
    virtual QString getLastError() = 0;

    /// The driver as an object of the framework.
    virtual QObject *getThisObject() = 0;

    /// Whether the driver polls the tags that `setSessionCommand` announces.
    virtual bool isSupportSessionCommand() { return false; }

    /// Announces the tags that the runtime needs cyclically from now on; replaces the tags
    /// announced before. An address may carry a station prefix here.
    virtual void setSessionCommand(QList<CommunicatorCommand> commands) { Q_UNUSED(commands); }

    /// Tells the driver that the announced tags are no longer needed.
    virtual void clearSessionCommand() {}

    /// Tells the driver that the link's settings changed. False: the driver cannot follow.
    virtual bool deviceSettingChanged(const DeviceSetting *setting)
    {
        Q_UNUSED(setting);
        return true;
    }

    /// Whether the driver regards the link as connected.
    virtual bool isConnected(AbstractDeviceInterface *link)
    {
        Q_UNUSED(link);
        return true;
    }
};

/// The identifier under which the runtime asks a plug-in for its driver.
#define DRIVER_INTERFACE_IID "com.tarnwick.drivers.DriverInterface/1.1"

Q_DECLARE_INTERFACE(DriverInterface, DRIVER_INTERFACE_IID)

#endif // HMI_DRIVERINTERFACE_H
