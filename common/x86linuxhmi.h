// How removable storage is found on a desktop.

#ifndef COMMON_X86LINUXHMI_H
#define COMMON_X86LINUXHMI_H

#include "common/zdevice_platform.h"

#include <QByteArray>
#include <QMap>
#include <QMutex>

/// A desktop: volumes below /media/usb, all of which count as USB sticks.
class X86LinuxHmi : public PlatformInterface
{
    Q_OBJECT

public:
    explicit X86LinuxHmi(QObject *parent = nullptr);
    ~X86LinuxHmi() override;

    /// Nothing: the first `processDeviceMountStatus` announces what is there.
    void checkGlobalMountStatus() override;
    /// Announces the first volume and the going of the last one. When `mount` cannot be run, fails,
    /// takes too long or prints too much, everything stays as it was.
    void processDeviceMountStatus() override;
    /// Looks at the first volume only.
    void processDeviceSpaceStatus() override;
    /// Nothing.
    void processIOStatus() override;

    /// The first volume's, whatever type is asked for. Free space includes what is reserved for the
    /// superuser.
    quint64 getTotalSpace(DeviceType type) override;
    quint64 getFreeSpace(DeviceType type) override;
    /// The first mount point, for `DeviceUsb` only.
    QString getMount(DeviceType type) override;

private:
    static QMap<QString, QString> volumesIn(const QByteArray &output);
    bool listMounts(QByteArray *output);
    void takeOver(const QMap<QString, QString> &mounts);
    QString firstMount();

    QMutex m_lock;                   ///< held for a few instructions only
    Device m_device;                 ///< stands for all volumes; m_lock
    QMap<QString, QString> m_mounts; ///< mount point to device node; m_lock
    bool m_mounted;                  ///< what was announced last; the scanning thread's
};

#endif // COMMON_X86LINUXHMI_H
