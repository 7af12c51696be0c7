#include "common/x86linuxhmi.h"

#include "common/clock.h"
#include "common/shell_command.h"
#include "common/volume_query.h"

#include <QFile>
#include <QMutexLocker>
#include <QProcess>
#include <QtDebug>

namespace
{

const int LookMs = 100;                 ///< how often a running `mount` is looked at
const int KillMs = 500;                 ///< how long a killed `mount` may take to die
const int OutputLimit = ShellFileLimit; ///< bytes

const int NoIndex = 0; ///< the index of every signal
const char MountFolder[] = "/media/usb";

/// The time that a process may still take for a step, which may be stopped.
class Patience
{
public:
    Patience(int limit_ms, const std::atomic<bool> *stop)
        : m_end(Clock::system()->msecsSinceBoot() + limit_ms), m_stop(stop)
    {
    }

    bool isOver() const { return *m_stop || Clock::system()->msecsSinceBoot() >= m_end; }

private:
    const qint64 m_end;
    const std::atomic<bool> *m_stop;
};

bool waitForStart(QProcess *process, const Patience &patience)
{
    while (!process->waitForStarted(LookMs)) {
        if (process->state() == QProcess::NotRunning || patience.isOver()) {
            return false;
        }
    }
    return true;
}

/// Takes the output until the process ends. False when it takes too long or says too much.
bool collectOutput(QProcess *process, const Patience &patience, QByteArray *output)
{
    while (process->state() != QProcess::NotRunning) {
        process->waitForReadyRead(LookMs);
        output->append(process->readAllStandardOutput());
        if (output->size() > OutputLimit || patience.isOver()) {
            return false;
        }
    }
    output->append(process->readAllStandardOutput());
    return process->exitStatus() == QProcess::NormalExit && process->exitCode() == 0;
}

} // namespace

X86LinuxHmi::X86LinuxHmi(QObject *parent) : PlatformInterface(parent), m_mounted(false)
{
    qDebug() << "XLH";
}

X86LinuxHmi::~X86LinuxHmi() = default;

void X86LinuxHmi::checkGlobalMountStatus() {}

void X86LinuxHmi::processDeviceMountStatus()
{
    QByteArray output;
    if (!isStopped() && listMounts(&output)) {
        takeOver(volumesIn(output));
    }
}

QMap<QString, QString> X86LinuxHmi::volumesIn(const QByteArray &output)
{
    QMap<QString, QString> mounts;
    foreach (const QByteArray &line, completeLines(output)) {
        const QList<QByteArray> fields = mountFields(line);
        if (!fields.isEmpty() && fields[MountPathField].startsWith(MountFolder)) {
            mounts.insert(QFile::decodeName(fields[MountPathField]),
                          QFile::decodeName(fields[NodeField]));
        }
    }
    return mounts;
}

/// The output of `mount`; false when it is not to be had, or not whole.
bool X86LinuxHmi::listMounts(QByteArray *output)
{
    QProcess mount;
    mount.setStandardInputFile("/dev/null");
    mount.setStandardErrorFile("/dev/null");
    mount.start("mount", QStringList());
    const bool whole = waitForStart(&mount, Patience(m_command_limit, &m_stop_scanning)) &&
                       collectOutput(&mount, Patience(m_command_limit, &m_stop_scanning), output);
    if (mount.state() != QProcess::NotRunning) {
        mount.kill();
        mount.waitForFinished(KillMs);
    }
    return whole;
}

void X86LinuxHmi::takeOver(const QMap<QString, QString> &mounts)
{
    {
        const QMutexLocker locker(&m_lock);
        m_mounts = mounts;
    }
    const bool mounted = !mounts.isEmpty();
    if (mounted != m_mounted) {
        m_mounted = mounted;
        emit platDeviceMounted(DeviceUsb, NoIndex, mounted);
    }
}

QString X86LinuxHmi::firstMount()
{
    const QMutexLocker locker(&m_lock);
    return m_mounts.isEmpty() ? QString() : m_mounts.constBegin().key();
}

void X86LinuxHmi::processDeviceSpaceStatus()
{
    const QString mount_path = firstMount();
    if (mount_path.isEmpty() || isStopped()) {
        return;
    }
    const struct statvfs info = queryFileSystem(mount_path);
    const QMutexLocker locker(&m_lock);
    m_device.fsInfo = info;
}

void X86LinuxHmi::processIOStatus() {}

quint64 X86LinuxHmi::getTotalSpace(DeviceType type)
{
    Q_UNUSED(type);
    const QMutexLocker locker(&m_lock);
    return m_mounts.isEmpty() ? 0 : totalBytes(m_device.fsInfo);
}

quint64 X86LinuxHmi::getFreeSpace(DeviceType type)
{
    Q_UNUSED(type);
    const QMutexLocker locker(&m_lock);
    return m_mounts.isEmpty() ? 0 : freeBytes(m_device.fsInfo);
}

QString X86LinuxHmi::getMount(DeviceType type)
{
    return type == DeviceUsb ? firstMount() : QString();
}
