// How removable storage is found: the one way on the terminal, the other on a desktop.
//
// Both read what the `mount` program prints, which splits its lines at blanks: of a mount point
// with a blank in its name only the part before it is known.

#ifndef COMMON_ZDEVICE_PLATFORM_H
#define COMMON_ZDEVICE_PLATFORM_H

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <sys/statvfs.h>
#include <vector>

/// Kinds of storage.
enum DeviceType : int {
    DeviceUnknown = 0, ///< not a storage device of interest
    DeviceUsb = 1,     ///< USB stick: names with "sd"
    DeviceSdCard = 2,  ///< SD card: names with "mmcblk0"
    DeviceSystem = 3   ///< the terminal's own file system at "/"; for questions about space only
};

/// One volume.
struct Device {
    /// Everything zero or empty.
    Device();

    DeviceType type;
    int state;             ///< 2 once known to be mounted; only then its space is looked at
    struct statvfs fsInfo; ///< last figures of the file system; all zero after a failed query
    QString devNode;       ///< such as "/dev/sda1"
    QString mountPath;
    quint64 ioCounter; ///< last sum of two activity counters of the kernel
    bool inIO;         ///< activity is being reported
};

/// What the storage monitor needs of a platform.
///
/// Threads: one thread scans, that is, calls the first four operations (the thread that creates
/// the object may, before that one starts). `getTotalSpace`, `getFreeSpace`, `getMount` and
/// `stopScanning` may be called from any thread at any time; they never wait for a scan, a command
/// or a file system. The signals come from the scanning thread, which holds no lock then.
///
/// No operation reports a failure: what cannot be found out is not there.
class PlatformInterface : public QObject
{
    Q_OBJECT

public:
    explicit PlatformInterface(QObject *parent = nullptr);
    ~PlatformInterface() override;

    // The order of these is part of the contract with hosts that carry the class.

    /// The first scan, which announces nothing.
    virtual void checkGlobalMountStatus() = 0;
    /// Finds and announces volumes that came or went.
    virtual void processDeviceMountStatus() = 0;
    /// Refreshes the figures that the questions about space are answered from.
    virtual void processDeviceSpaceStatus() = 0;
    /// Finds and announces devices that became busy or quiet.
    virtual void processIOStatus() = 0;

    /// Bytes; 0 when there is no such device.
    virtual quint64 getTotalSpace(DeviceType type) = 0;
    virtual quint64 getFreeSpace(DeviceType type) = 0;
    /// Empty when there is no such device.
    virtual QString getMount(DeviceType type) = 0;

    /// Starts a process that nobody waits for. \return whether it started
    bool runCommandDetached(const QString &program, const QStringList &args);
    /// Runs a process to its end, however long that takes.
    /// \return its exit code; -1: it crashed, -2: it could not be started
    int runCommand(const QString &program, const QStringList &args);

    /// Cuts short the scan that is going on and all later ones: they end as soon as the file
    /// system lets them, and a command that they wait for is killed.
    void stopScanning();

signals:
    /// A volume of a kind came or went. The index is always 0.
    void platDeviceMounted(int type, int index, bool mounted);
    /// A device became busy or quiet. The index is always 0.
    void platDeviceInIO(int type, int index, bool inIO);

protected:
    bool isStopped() const;

    std::atomic<bool> m_stop_scanning;
    int m_command_limit; ///< longest time of a command, ms; set before the first scan
};

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
    QString determineMountPath(DeviceType type) const;
    /// The kind of device that a name tells.
    DeviceType determineType(const QString &name) const;

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
    void sampleActivity(const char *line);
    void noteActivity(Device *device, quint64 counter);
    void store(const struct statvfs &info, struct statvfs *place);

    QMutex m_lock;           ///< held for a few instructions only, never while anybody is called
    struct statvfs m_system; ///< figures of "/"; m_lock
};

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
    bool listMounts(QByteArray *output);
    void takeOver(const QMap<QString, QString> &mounts);
    QString firstMount();

    QMutex m_lock;                   ///< held for a few instructions only
    Device m_device;                 ///< stands for all volumes; m_lock
    QMap<QString, QString> m_mounts; ///< mount point to device node; m_lock
    bool m_mounted;                  ///< what was announced last; the scanning thread's
};

#endif // COMMON_ZDEVICE_PLATFORM_H
