// The terminal's monitor of removable storage.

#ifndef COMMON_ZDEVICE_H
#define COMMON_ZDEVICE_H

#include "common/armlinuxhmi.h"
#include "common/clock.h"
#include "common/x86linuxhmi.h"
#include "common/zdevice_platform.h"

#include <QMetaType>
#include <QMutex>
#include <QThread>

#include <atomic>

/// Knows which USB stick and SD card are mounted, how full they are and whether they are busy.
///
/// Its thread samples activity every second, and every two seconds looks for volumes and their
/// space. The questions are answered from what the thread found last; they may be asked from any
/// thread and never wait for a scan.
///
/// The signals are emitted in the monitor's thread: a receiver that lives in another thread gets
/// them through its event loop.
class ZDevice : public QThread
{
    Q_OBJECT

public:
    /// The process's only monitor. The first call, which is the main thread's, makes it, looks for
    /// what is mounted already, publishes it as the application's property "ZDevice" and starts it.
    /// It waits for two runs of `mount`, at most five seconds each (a desktop's for one). A file
    /// system that does not answer from the start holds it. Never null.
    static ZDevice *getInstance();

    /// Stops the monitor, if there is one. The object lives on, without an answer to anything,
    /// until a later `getInstance` makes a new one. The main thread's.
    static void dropInstance();

    /// Stops and waits, without limit, until the thread has ended.
    ~ZDevice() override;

    /// Ends the thread and forgets the platform; the owner's thread. A command that a scan waits
    /// for is killed. Returns within two seconds in any case: a thread that hangs inside the kernel
    /// by then, on a file system that does not answer, is left behind. It announces nothing any
    /// more and ends, with the platform, when the file system lets it go.
    void stopRunning();

    /// The mount point of a device of this type; empty when there is none.
    QString getMount(DeviceType type);
    QString getMount(int type);

    /// Bytes; 0 when there is no such device.
    quint64 getTotalSpace(DeviceType type);
    quint64 getFreeSpace(DeviceType type);

signals:
    /// A volume came or went: the number of its `DeviceType`; the index is always 0.
    void deviceMounted(int type, int index, bool mounted);
    /// A device became busy or quiet.
    void deviceInIO(int type, int index, bool inIO);

protected:
    /// \param platform  owned from now on; null for none
    /// \param clock     what the thread sleeps by; not owned, outlives the thread
    ZDevice(PlatformInterface *platform, Clock *clock);

    void run() override;

    /// The platform of this number, new: 2 is the desktop, any other the panel.
    static PlatformInterface *createPlatform(int number);

private:
    static void discard(ZDevice *device);
    bool forgetPlatform();

    static std::atomic<ZDevice *> m_instance; ///< made and deleted by the main thread
    static std::atomic<bool> m_dropped;       ///< that one was stopped; the next is a new one

    Clock *const m_clock;
    std::atomic<bool> m_stop_flag;
    QMutex m_platform_mutex;       ///< held while the platform answers, which takes no time
    PlatformInterface *m_platform; ///< what is asked; null once stopped; m_platform_mutex
    PlatformInterface *m_scanned;  ///< owned; the thread's while it runs, else the owner's thread's
};

Q_DECLARE_METATYPE(ZDevice *)

#endif // COMMON_ZDEVICE_H
