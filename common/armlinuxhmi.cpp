#include "common/armlinuxhmi.h"

#include "common/shell_command.h"
#include "common/volume_query.h"

#include <QFile>
#include <QMutexLocker>
#include <QRegExp>
#include <QtDebug>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

const int StateMounted = 2;
const int NoIndex = 0; ///< the index of every signal

const char ListCommand[] = "mount | grep '/run/media' > "; ///< goes on with ListingPath
const char ListingPath[] = "/tmp/devchk";
const mode_t ListingMode = S_IRUSR | S_IWUSR;
const char Root[] = "/";

const char DiskStatsPath[] = "/proc/diskstats";
const size_t DiskStatsLineLength = 128; ///< what is read of a line at a time
const int DeviceNameSize = 12 + 1;
const char DeviceNameFormat[] = "%*s %*s %12s";
const char PartitionFormat[] = "%*s %*s %*s %*s %*s %llu %llu";
const char WholeDeviceFormat[] = "%*s %*s %*s %*s %*s %llu %*s %llu";

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

} // namespace

ArmLinuxHmi::ArmLinuxHmi(QObject *parent) : PlatformInterface(parent), m_system()
{
    runShellCommand("mkdir /sd", m_command_limit, m_stop_scanning);
    runShellCommand("mkdir /usb", m_command_limit, m_stop_scanning);
}

ArmLinuxHmi::~ArmLinuxHmi()
{
    testRemove();
}

QString ArmLinuxHmi::determineMountPath(DeviceType type)
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

DeviceType ArmLinuxHmi::determineType(const QString &name)
{
    if (name.contains("sd")) {
        return DeviceUsb;
    }
    return name.contains("mmcblk0") ? DeviceSdCard : DeviceUnknown;
}

void ArmLinuxHmi::checkGlobalMountStatus()
{
    foreach (const QByteArray &line, listMounts(ListCommand)) {
        addFoundDevice(line);
    }
}

void ArmLinuxHmi::addFoundDevice(const QByteArray &line)
{
    const QList<QByteArray> fields = mountFields(line);
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
    foreach (const QByteArray &line, listMounts(ListCommand)) {
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
    const QList<QByteArray> fields = mountFields(line);
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
    if (file.open(QIODevice::ReadOnly)) {
        sampleActivities(&file);
    }
}

void ArmLinuxHmi::sampleActivities(QIODevice *statistics)
{
    // A file of the kernel tells no size, so its end is where a read gives nothing.
    char line[DiskStatsLineLength + 1];
    while (statistics->readLine(line, sizeof line) > 0) {
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
    const QList<QByteArray> fields = mountFields(lines.value(0));
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
