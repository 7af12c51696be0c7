// How removable storage is found on the terminal.

#ifndef COMMON_ARMLINUXHMI_H
#define COMMON_ARMLINUXHMI_H

#include "common/zdevice_platform.h"

#include <QByteArray>
#include <QList>
#include <QMutex>

#include <vector>

class QIODevice;

/// The terminal: volumes below /run/media, activity from /proc/diskstats.
///
/// A command's result goes through the file /tmp/devchk. Before each command whatever has that name
/// is removed, never what a link points to, and the file is made anew for this user alone; where
/// that is not possible there is no scan. So no other file is written, and neither an old file nor
/// one that somebody puts there meanwhile is read.
class ArmLinuxHmi : public PlatformInterface
{
    Q_OBJECT

public:
    /// Makes the directories /sd and /usb.
    explicit ArmLinuxHmi(QObject *parent = nullptr);
    ~ArmLinuxHmi() override;

    void checkGlobalMountStatus() override;
    void processDeviceMountStatus() override;
    void processDeviceSpaceStatus() override;
    void processIOStatus() override;

    /// Of removable devices the first one of its kind counts. `getFreeSpace` includes what is
    /// reserved for the superuser there, but not for `DeviceSystem`, on purpose.
    quint64 getTotalSpace(DeviceType type) override;
    quint64 getFreeSpace(DeviceType type) override;
    /// The mount point of the first device of a kind. There is none for `DeviceUnknown`.
    QString getMount(DeviceType type) override;

    /// "/usb", "/sd" or nothing.
    QString determineMountPath(DeviceType type);
    /// The kind of device that a name tells.
    DeviceType determineType(const QString &name);

    /// Where a device is mounted, asked anew; the scanning thread's. Nothing when it is not, and
    /// when the text does not look like the path of a device node: such a text never gets near the
    /// shell.
    QString mounted(const QString &devNode);

    /// Forgets all devices, the last one first, and announces nothing; the scanning thread's.
    void testRemove();

protected:
    /// Owned. Changed by the scanning thread alone, under m_lock, which other threads need to read.
    std::vector<Device *> m_devices;

private:
    QList<QByteArray> listMounts(const QString &command);
    bool runShell(const QString &command);
    void forgetVanishedDevices();
    void removeDevice(Device *device);
    void addFoundDevice(const QByteArray &line);
    void addDetectedDevice(const QByteArray &line);
    void addDevice(DeviceType type, const QString &dev_node, const QString &mount_path);
    bool isMountPathKnown(const QString &mount_path) const;
    Device *findByNode(const QString &dev_node) const;
    const Device *findByType(DeviceType type) const;
    void sampleActivities(QIODevice *statistics);
    void sampleActivity(const char *line);
    void noteActivity(Device *device, quint64 counter);
    void store(const struct statvfs &info, struct statvfs *place);

    QMutex m_lock;           ///< held for a few instructions only, never while anybody is called
    struct statvfs m_system; ///< figures of "/"; m_lock
};

#endif // COMMON_ARMLINUXHMI_H
