// How removable storage is found, whatever the platform.
//
// Both platforms read what the `mount` program prints and split it at blanks: a mount point with a
// blank in its name is passed over.

#ifndef COMMON_ZDEVICE_PLATFORM_H
#define COMMON_ZDEVICE_PLATFORM_H

#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <sys/statvfs.h>

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
    /// How long a command of a scan may take unless told otherwise, in milliseconds. A command that
    /// takes longer is killed, and its scan finds nothing.
    static const int CommandLimitMs = 30000;

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

    /// Another limit, for later scans; the scanning thread's.
    void setCommandLimit(int ms);

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
    int m_command_limit; ///< longest time of a command, ms; the scanning thread's
};

#endif // COMMON_ZDEVICE_PLATFORM_H
