// The text that `mount` prints: each volume is found once, with the kind, node and mount point that
// its line tells, and is announced when it should be.
//
// An input is the text.

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <QFile>
#include <QtDebug>

#include "common/volume_query.h"
#include "fuzz/expect.h"
#include "fuzz/storage_probe.h"

namespace
{

const int Mounted = 2; ///< state of every device

/// A line read a second time.
struct Mount {
    QString node;
    QString path;
    bool on;
};

QString decoded(const std::string &name)
{
    return QFile::decodeName(QByteArray(name.data(), static_cast<int>(name.size())));
}

/// The runs of characters between blanks.
std::vector<std::string> fieldsIn(const std::string &line)
{
    std::vector<std::string> fields;
    size_t start = line.find_first_not_of(' ');
    while (start != std::string::npos) {
        const size_t end = std::min(line.find(' ', start), line.size());
        fields.push_back(line.substr(start, end - start));
        start = line.find_first_not_of(' ', end);
    }
    return fields;
}

/// False for a line without a mount point, and for one whose mount point has blanks: then the word
/// "type" stands too far behind.
bool readLine(const std::string &line, Mount &mount)
{
    const std::vector<std::string> fields = fieldsIn(line);
    if (fields.size() < 3)
        return false;
    size_t type = 0;
    while (type < fields.size() && fields[type] != "type")
        ++type;
    mount = {decoded(fields[0]), decoded(fields[2]), fields[1] == "on"};
    return type == fields.size() || type <= 3;
}

std::vector<Mount> mountsIn(const std::string &output)
{
    std::vector<Mount> mounts;
    size_t start = 0;
    // What no line feed ends was cut off.
    for (size_t end = output.find('\n'); end != std::string::npos; end = output.find('\n', start)) {
        Mount mount;
        if (readLine(output.substr(start, end - start), mount))
            mounts.push_back(mount);
        start = end + 1;
    }
    return mounts;
}

DeviceType kindOf(const QString &name)
{
    if (name.contains(QLatin1String("sd")))
        return DeviceUsb;
    return name.contains(QLatin1String("mmcblk0")) ? DeviceSdCard : DeviceUnknown;
}

/// What the terminal keeps of the mounts: those of known kind, each mount point once.
std::vector<Mount> volumesOf(const std::vector<Mount> &mounts, bool onlyOn)
{
    std::vector<Mount> volumes;
    std::set<QString> paths;
    for (const Mount &mount : mounts) {
        const bool counts = kindOf(mount.node) != DeviceUnknown && (!onlyOn || mount.on);
        if (counts && paths.insert(mount.path).second)
            volumes.push_back(mount);
    }
    return volumes;
}

/// Writes down what the platform announces.
class Announcements
{
public:
    explicit Announcements(ArmLinuxHmi &platform)
    {
        QObject::connect(&platform, &PlatformInterface::platDeviceMounted,
                         [this](int type, int index, bool mounted) {
                             EXPECT(index == 0 && mounted);
                             kinds.push_back(type);
                         });
    }

    std::vector<int> kinds;
};

void expectDevices(const TerminalStorage &storage, const std::vector<Mount> &volumes, bool byPath)
{
    EXPECT(storage.devices().size() == volumes.size());
    for (size_t i = 0; i < volumes.size(); ++i) {
        const Device &device = *storage.devices()[i];
        EXPECT(device.devNode == volumes[i].node);
        EXPECT(device.mountPath == volumes[i].path);
        EXPECT(device.type == kindOf(byPath ? device.mountPath : device.devNode));
        EXPECT(device.state == Mounted && device.ioCounter == 0 && !device.inIO);
    }
}

void expectAnswers(TerminalStorage &storage, DeviceType type)
{
    QString first;
    for (const Device *const device : storage.devices()) {
        if (device->type == type) {
            first = device->mountPath;
            break;
        }
    }
    EXPECT(storage.platform().getMount(type) == first);
}

void expectFirstScan(TerminalStorage &storage, Announcements &announced,
                     const QList<QByteArray> &lines, const std::vector<Mount> &mounts)
{
    foreach (const QByteArray &line, lines)
        storage.find(line);
    expectDevices(storage, volumesOf(mounts, true), false);
    EXPECT(announced.kinds.empty());
    storage.platform().testRemove();
}

void expectLaterScans(TerminalStorage &storage, Announcements &announced,
                      const QList<QByteArray> &lines, const std::vector<Mount> &mounts)
{
    const std::vector<Mount> volumes = volumesOf(mounts, false);
    for (int scan = 0; scan < 2; ++scan) { // the second one has nothing new
        foreach (const QByteArray &line, lines)
            storage.detect(line);
        expectDevices(storage, volumes, true);
        EXPECT(announced.kinds.size() == volumes.size());
    }
    for (size_t i = 0; i < volumes.size(); ++i)
        EXPECT(announced.kinds[i] == kindOf(volumes[i].path));
    expectAnswers(storage, DeviceUsb);
    expectAnswers(storage, DeviceSdCard);
    EXPECT(storage.platform().getMount(DeviceUnknown).isEmpty());
    announced.kinds.clear();
    storage.platform().testRemove();
}

void expectOnDesktop(const QByteArray &output, const std::vector<Mount> &mounts)
{
    QMap<QString, QString> volumes;
    for (const Mount &mount : mounts) {
        if (mount.path.startsWith(QLatin1String("/media/usb")))
            volumes[mount.path] = mount.node;
    }
    EXPECT(desktopVolumes(output) == volumes);
}

void dropMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qInstallMessageHandler(dropMessage);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static TerminalStorage storage;
    static Announcements announced(storage.platform());

    const char *const text = reinterpret_cast<const char *>(data);
    const QByteArray output(text, static_cast<int>(size));
    const QList<QByteArray> lines = completeLines(output);
    const std::vector<Mount> mounts = mountsIn(std::string(text, size));
    expectFirstScan(storage, announced, lines, mounts);
    expectLaterScans(storage, announced, lines, mounts);
    expectOnDesktop(output, mounts);
    return 0;
}
