#include "common/zdevice_platform.h"

#include "common/clock.h"
#include "common/shell_command.h"

#include <QFile>
#include <QMutexLocker>
#include <QProcess>
#include <QRegExp>
#include <QtDebug>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

const int CommandLimitMs = 30000; ///< for a start of `mount` and for its work, each
const int CommandLookMs = 100;    ///< how often a running `mount` is looked at
const int CommandKillMs = 500;    ///< how long a killed `mount` may take to die

const int StateMounted = 2;
const int NoIndex = 0; ///< the index of every signal

const char ListingPath[] = "/tmp/devchk";
const mode_t ListingMode = S_IRUSR | S_IWUSR;
const char Root[] = "/";
const char X86MountFolder[] = "/media/usb";

const char DiskStatsPath[] = "/proc/diskstats";
const size_t DiskStatsLineLength = 128; ///< what is read of a line at a time
const int DeviceNameSize = 12 + 1;
const char DeviceNameFormat[] = "%*s %*s %12s";
const char PartitionFormat[] = "%*s %*s %*s %*s %*s %llu %llu";
const char WholeDeviceFormat[] = "%*s %*s %*s %*s %*s %llu %*s %llu";

// A line of `mount`: /dev/sda1 on /run/media/sda1 type vfat (rw)
enum Field { NodeField = 0, OnField = 1, MountPathField = 2, FieldCount = 3 };

/// The fields of a line of `mount` that are of interest; empty when it has fewer.
QList<QByteArray> fieldsOf(const QByteArray &line)
{
    QList<QByteArray> fields;
    foreach (const QByteArray &part, line.split(' ')) {
        if (!part.isEmpty() && fields.size() < FieldCount) {
            fields.append(part);
        }
    }
    return fields.size() == FieldCount ? fields : QList<QByteArray>();
}

/// The lines of an output. What follows the last line feed was cut off and is no line.
QList<QByteArray> completeLines(const QByteArray &output)
{
    QList<QByteArray> lines = output.split('\n');
    lines.removeLast();
    return lines;
}

/// The file that a command writes its result to.
class Listing
{
public:
    Listing() : m_fd(-1) {}
    ~Listing();
    Q_DISABLE_COPY(Listing)

    /// Makes the file, new and empty. A link or a pipe of that name goes instead of being followed
    /// or opened; from then on, in a folder like /tmp, nobody else can replace the file.
    bool create();

    /// What the command wrote into this very file. False when it cannot be read or the command was
    /// killed for writing too much.
    bool read(QList<QByteArray> *lines) const;

private:
    int m_fd;
};

Listing::~Listing()
{
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

bool Listing::create()
{
    ::unlink(ListingPath); // what this cannot remove, such as a folder, makes the opening fail
    m_fd = ::open(ListingPath, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ListingMode);
    return m_fd >= 0;
}

bool Listing::read(QList<QByteArray> *lines) const
{
    QFile file;
    if (!file.open(m_fd, QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray content = file.read(ShellFileLimit);
    *lines = completeLines(content);
    return content.size() < ShellFileLimit;
}

/// The paths of device nodes have no other characters, and a shell finds nothing special in these.
bool isDeviceNode(const QString &text)
{
    return QRegExp("/dev(/[A-Za-z0-9_-]+)+").exactMatch(text);
}

bool isPartition(const QString &dev_node)
{
    return QRegExp("/dev/sd[a-z][1-4]").exactMatch(dev_node) ||
           QRegExp("/dev/mmcblk[0-9]p[1-4]").exactMatch(dev_node);
}

bool exists(const QString &path)
{
    struct stat status;
    return ::stat(QFile::encodeName(path).constData(), &status) == 0;
}

/// The figures of the file system at a path; all zero when there are none.
struct statvfs queryFileSystem(const QString &path)
{
    struct statvfs info = {};
    if (::statvfs(QFile::encodeName(path).constData(), &info) != 0) {
        info = {};
        qDebug() << "get file system info failed";
    }
    return info;
}

// The counts of blocks are in units of f_frsize.

quint64 totalBytes(const struct statvfs &info)
{
    return static_cast<quint64>(info.f_blocks) * info.f_frsize;
}

quint64 freeBytes(const struct statvfs &info)
{
    return static_cast<quint64>(info.f_bfree) * info.f_frsize;
}

quint64 availableBytes(const struct statvfs &info)
{
    return static_cast<quint64>(info.f_bavail) * info.f_frsize;
}

/// The name of the device that a line of /proc/diskstats tells of; empty when it has none.
QString deviceNameIn(const char *line)
{
    char name[DeviceNameSize];
    return std::sscanf(line, DeviceNameFormat, name) == 1 ? QString::fromLatin1(name) : QString();
}

/// The sum of the two counters that tell of activity. False when the line lacks them.
bool activityIn(const char *line, bool partition, quint64 *sum)
{
    unsigned long long first = 0;
    unsigned long long second = 0;
    const char *const format = partition ? PartitionFormat : WholeDeviceFormat;
    const int count = std::sscanf(line, format, &first, &second);
    *sum = first + second;
    return count == 2;
}

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
    while (!process->waitForStarted(CommandLookMs)) {
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
        process->waitForReadyRead(CommandLookMs);
        output->append(process->readAllStandardOutput());
        if (output->size() > ShellFileLimit || patience.isOver()) {
            return false;
        }
    }
    output->append(process->readAllStandardOutput());
    return process->exitStatus() == QProcess::NormalExit && process->exitCode() == 0;
}

} // namespace

Device::Device() : type(DeviceUnknown), state(0), fsInfo(), ioCounter(0), inIO(false) {}

// ---- PlatformInterface ----------------------------------------------------------------------

PlatformInterface::PlatformInterface(QObject *parent)
    : QObject(parent), m_stop_scanning(false), m_command_limit(CommandLimitMs)
{
}

PlatformInterface::~PlatformInterface() = default;

bool PlatformInterface::runCommandDetached(const QString &program, const QStringList &args)
{
    return QProcess::startDetached(program, args);
}

int PlatformInterface::runCommand(const QString &program, const QStringList &args)
{
    return QProcess::execute(program, args);
}

void PlatformInterface::stopScanning()
{
    m_stop_scanning = true;
}

bool PlatformInterface::isStopped() const
{
    return m_stop_scanning;
}

// ---- ArmLinuxHmi ----------------------------------------------------------------------------

ArmLinuxHmi::ArmLinuxHmi(QObject *parent) : PlatformInterface(parent), m_system()
{
    runShellCommand("mkdir /sd", m_command_limit, m_stop_scanning);
    runShellCommand("mkdir /usb", m_command_limit, m_stop_scanning);
}

ArmLinuxHmi::~ArmLinuxHmi()
{
    testRemove();
}

QString ArmLinuxHmi::determineMountPath(DeviceType type) const
{
    switch (type) {
    case DeviceUsb:
        return "/usb";
    case DeviceSdCard:
        return "/sd";
    default:
        return QString();
    }
}

DeviceType ArmLinuxHmi::determineType(const QString &name) const
{
    if (name.contains("sd")) {
        return DeviceUsb;
    }
    return name.contains("mmcblk0") ? DeviceSdCard : DeviceUnknown;
}

void ArmLinuxHmi::checkGlobalMountStatus()
{
    foreach (const QByteArray &line, listMounts("mount | grep '/run/media' > ")) {
        addFoundDevice(line);
    }
}

void ArmLinuxHmi::addFoundDevice(const QByteArray &line)
{
    const QList<QByteArray> fields = fieldsOf(line);
    if (fields.isEmpty() || fields[OnField] != "on") {
        return;
    }
    const QString dev_node = QFile::decodeName(fields[NodeField]);
    const QString mount_path = QFile::decodeName(fields[MountPathField]);
    const DeviceType type = determineType(dev_node);
    if (type != DeviceUnknown && !isMountPathKnown(mount_path)) {
        addDevice(type, dev_node, mount_path);
        qDebug() << "Found:" << dev_node;
    }
}

void ArmLinuxHmi::processDeviceMountStatus()
{
    forgetVanishedDevices();
    foreach (const QByteArray &line, listMounts("mount | grep '/run/media' > ")) {
        addDetectedDevice(line);
    }
}

void ArmLinuxHmi::forgetVanishedDevices()
{
    std::vector<Device *> vanished;
    for (Device *device : m_devices) {
        if (!isStopped() && !exists(device->mountPath)) {
            vanished.push_back(device);
        }
    }
    for (Device *device : vanished) {
        qDebug() << "REMOVE:" << device->devNode << device->mountPath;
        removeDevice(device);
    }
}

void ArmLinuxHmi::removeDevice(Device *device)
{
    {
        const QMutexLocker locker(&m_lock);
        m_devices.erase(std::find(m_devices.begin(), m_devices.end(), device));
    }
    emit platDeviceMounted(device->type, NoIndex, false);
    delete device;
}

void ArmLinuxHmi::addDetectedDevice(const QByteArray &line)
{
    const QList<QByteArray> fields = fieldsOf(line);
    if (fields.isEmpty()) {
        return;
    }
    const QString dev_node = QFile::decodeName(fields[NodeField]);
    const QString mount_path = QFile::decodeName(fields[MountPathField]);
    if (determineType(dev_node) == DeviceUnknown || isMountPathKnown(mount_path)) {
        return;
    }
    const DeviceType type = determineType(mount_path);
    addDevice(type, dev_node, mount_path);
    emit platDeviceMounted(type, NoIndex, true);
    qDebug() << "******************************************************** DETECT:" << type;
}

void ArmLinuxHmi::addDevice(DeviceType type, const QString &dev_node, const QString &mount_path)
{
    Device *const device = new Device;
    device->state = StateMounted;
    device->type = type;
    device->devNode = dev_node;
    device->mountPath = mount_path;
    const QMutexLocker locker(&m_lock);
    m_devices.push_back(device);
}

/// Runs a command and gives the lines that it printed: none when it was stopped, took too long,
/// printed too much or had nowhere to print to.
/// \param command  all but the file that the output goes to
QList<QByteArray> ArmLinuxHmi::listMounts(const QString &command)
{
    Listing listing;
    QList<QByteArray> lines;
    if (isStopped() || !listing.create() || !runShell(command + ListingPath) ||
        !listing.read(&lines)) {
        lines.clear();
    }
    return lines;
}

/// The outer shell, which runs this line, also does what stands behind the first blank of the
/// command: the inner one is only given that far.
bool ArmLinuxHmi::runShell(const QString &command)
{
    const QStringList arguments = QStringList() << "-c" << command;
    const QString line = QString("sh %1").arg(arguments.join(" "));
    return runShellCommand(QFile::encodeName(line), m_command_limit, m_stop_scanning);
}

void ArmLinuxHmi::processDeviceSpaceStatus()
{
    for (Device *device : m_devices) {
        if (device->state == StateMounted && !isStopped()) {
            store(queryFileSystem(device->mountPath), &device->fsInfo);
        }
    }
    store(queryFileSystem(Root), &m_system);
}

void ArmLinuxHmi::store(const struct statvfs &info, struct statvfs *place)
{
    const QMutexLocker locker(&m_lock);
    *place = info;
}

void ArmLinuxHmi::processIOStatus()
{
    QFile file(DiskStatsPath);
    if (!file.open(QIODevice::ReadOnly)) {
        return;
    }
    // A file of the kernel tells no size, so its end is where a read gives nothing.
    char line[DiskStatsLineLength + 1];
    while (file.readLine(line, sizeof line) > 0) {
        sampleActivity(line);
    }
}

void ArmLinuxHmi::sampleActivity(const char *line)
{
    Device *const device = findByNode("/dev/" + deviceNameIn(line));
    quint64 counter = 0;
    if (device != nullptr && activityIn(line, isPartition(device->devNode), &counter)) {
        noteActivity(device, counter);
    }
}

void ArmLinuxHmi::noteActivity(Device *device, quint64 counter)
{
    const bool busy = counter != device->ioCounter;
    device->ioCounter = counter;
    if (busy != device->inIO) {
        device->inIO = busy;
        emit platDeviceInIO(device->type, NoIndex, busy);
    }
}

quint64 ArmLinuxHmi::getTotalSpace(DeviceType type)
{
    const QMutexLocker locker(&m_lock);
    if (type == DeviceSystem) {
        return totalBytes(m_system);
    }
    const Device *const device = findByType(type);
    return device != nullptr ? totalBytes(device->fsInfo) : 0;
}

quint64 ArmLinuxHmi::getFreeSpace(DeviceType type)
{
    const QMutexLocker locker(&m_lock);
    if (type == DeviceSystem) {
        return availableBytes(m_system);
    }
    const Device *const device = findByType(type);
    return device != nullptr ? freeBytes(device->fsInfo) : 0;
}

QString ArmLinuxHmi::getMount(DeviceType type)
{
    const QMutexLocker locker(&m_lock);
    const Device *const device = findByType(type);
    return device != nullptr ? device->mountPath : QString();
}

QString ArmLinuxHmi::mounted(const QString &devNode)
{
    if (!isDeviceNode(devNode)) {
        return QString();
    }
    const QList<QByteArray> lines = listMounts("mount | grep " + devNode + " > ");
    const QList<QByteArray> fields = fieldsOf(lines.value(0));
    if (fields.isEmpty() || QFile::decodeName(fields[NodeField]) != devNode) {
        return QString();
    }
    qDebug() << " ArmLinuxHmi::mounted ";
    return QFile::decodeName(fields[MountPathField]);
}

void ArmLinuxHmi::testRemove()
{
    const QMutexLocker locker(&m_lock);
    while (!m_devices.empty()) {
        delete m_devices.back();
        m_devices.pop_back();
    }
}

bool ArmLinuxHmi::isMountPathKnown(const QString &mount_path) const
{
    for (const Device *device : m_devices) {
        if (device->mountPath == mount_path) {
            return true;
        }
    }
    return false;
}

Device *ArmLinuxHmi::findByNode(const QString &dev_node) const
{
    for (Device *device : m_devices) {
        if (device->devNode == dev_node) {
            return device;
        }
    }
    return nullptr;
}

/// The first device of a kind; the caller holds m_lock. Volumes that nobody could make out are of
/// no kind.
const Device *ArmLinuxHmi::findByType(DeviceType type) const
{
    for (const Device *device : m_devices) {
        if (device->type == type && type != DeviceUnknown) {
            return device;
        }
    }
    return nullptr;
}

// ---- X86LinuxHmi ----------------------------------------------------------------------------

X86LinuxHmi::X86LinuxHmi(QObject *parent) : PlatformInterface(parent), m_mounted(false)
{
    qDebug() << "XLH";
}

X86LinuxHmi::~X86LinuxHmi() = default;

void X86LinuxHmi::checkGlobalMountStatus() {}

void X86LinuxHmi::processDeviceMountStatus()
{
    QByteArray output;
    if (isStopped() || !listMounts(&output)) {
        return;
    }
    QMap<QString, QString> mounts;
    foreach (const QByteArray &line, completeLines(output)) {
        const QList<QByteArray> fields = fieldsOf(line);
        if (!fields.isEmpty() && fields[MountPathField].startsWith(X86MountFolder)) {
            mounts.insert(QFile::decodeName(fields[MountPathField]),
                          QFile::decodeName(fields[NodeField]));
        }
    }
    takeOver(mounts);
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
        mount.waitForFinished(CommandKillMs);
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
