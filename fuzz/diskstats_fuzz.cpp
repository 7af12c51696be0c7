// The kernel's disk statistics: a device is announced as busy when its counters have changed and as
// quiet when they have not, whatever else the text holds.
//
// An input is samples of the text, each ended by a zero byte.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/expect.h"
#include "fuzz/storage_probe.h"

namespace
{

const size_t LongestLine = 128; ///< bytes read at a time; a longer line is several
const size_t LongestName = 12;
const size_t NameField = 2;
const size_t CounterField = 5;

struct KnownDevice {
    const char *node;
    DeviceType type;
    bool partition;
};
const KnownDevice KnownDevices[] = {{"/dev/sda1", DeviceUsb, true},
                                    {"/dev/sdb", DeviceUsb, false},
                                    {"/dev/sdc5", DeviceUsb, false},
                                    {"/dev/mmcblk0p2", DeviceSdCard, true},
                                    {"/dev/mmcblk0", DeviceSdCard, false}};
const size_t DeviceCount = sizeof KnownDevices / sizeof KnownDevices[0];

bool isBlank(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// ---- A second reading of the statistics --------------------------------------------------------

/// Goes through a line from left to right.
class LineReader
{
public:
    explicit LineReader(const std::string &line) : m_next(line.c_str()) {}

    /// The next run of characters that are no blanks; empty at the end.
    std::string word()
    {
        skipBlanks();
        const char *const start = m_next;
        while (*m_next != '\0' && !isBlank(*m_next))
            ++m_next;
        return std::string(start, m_next);
    }

    /// The number that begins here; false when none does.
    bool number(quint64 &value)
    {
        skipBlanks();
        char *end = nullptr;
        value = std::strtoull(m_next, &end, 10);
        const bool found = end != m_next;
        m_next = end;
        return found;
    }

private:
    void skipBlanks()
    {
        while (isBlank(*m_next))
            ++m_next;
    }

    const char *m_next;
};

std::string nodeIn(const std::string &line)
{
    LineReader reader(line);
    for (size_t i = 0; i < NameField; ++i)
        reader.word();
    return "/dev/" + reader.word().substr(0, LongestName);
}

bool activityIn(const std::string &line, bool partition, quint64 &sum)
{
    LineReader reader(line);
    for (size_t i = 0; i < CounterField; ++i)
        reader.word();
    quint64 first = 0;
    quint64 second = 0;
    if (!reader.number(first) || (!partition && reader.word().empty()) || !reader.number(second))
        return false;
    sum = first + second;
    return true;
}

std::vector<std::string> linesIn(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start);
        const size_t length = end == std::string::npos ? text.size() - start : end + 1 - start;
        lines.push_back(text.substr(start, std::min(length, LongestLine)));
        start += lines.back().size();
    }
    return lines;
}

// ---- What must be announced --------------------------------------------------------------------

struct Announcement {
    int type;
    bool busy;
    bool operator==(const Announcement &other) const
    {
        return type == other.type && busy == other.busy;
    }
};
typedef std::vector<Announcement> Announcements;

struct DeviceModel {
    quint64 counter;
    bool busy;
};

void takeLine(const std::string &line, DeviceModel *models, Announcements &expected)
{
    const std::string node = nodeIn(line);
    for (size_t i = 0; i < DeviceCount; ++i) {
        quint64 counter = 0;
        const KnownDevice &known = KnownDevices[i];
        if (node != known.node || !activityIn(line, known.partition, counter))
            continue;
        const bool busy = counter != models[i].counter;
        if (busy != models[i].busy)
            expected.push_back({known.type, busy});
        models[i].counter = counter;
        models[i].busy = busy;
    }
}

void run(TerminalStorage &storage, Announcements &announced, const std::string &samples)
{
    for (Device *const device : storage.devices()) {
        device->ioCounter = 0;
        device->inIO = false;
    }
    DeviceModel models[DeviceCount] = {};
    for (size_t start = 0; start < samples.size();) {
        const std::string sample = samples.substr(start, samples.find('\0', start) - start);
        start += sample.size() + 1;
        Announcements expected;
        for (const std::string &line : linesIn(sample))
            takeLine(line, models, expected);
        announced.clear();
        storage.sample(QByteArray(sample.data(), static_cast<int>(sample.size())));
        EXPECT(announced == expected);
    }
    for (size_t i = 0; i < DeviceCount; ++i) {
        EXPECT(storage.devices()[i]->ioCounter == models[i].counter);
        EXPECT(storage.devices()[i]->inIO == models[i].busy);
    }
}

void addDevices(TerminalStorage &storage)
{
    for (const KnownDevice &known : KnownDevices)
        storage.add(known.type, QLatin1String(known.node), QLatin1String(known.node));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static TerminalStorage storage;
    static Announcements announced;
    static const QMetaObject::Connection connection =
        QObject::connect(&storage.platform(), &PlatformInterface::platDeviceInIO,
                         [](int type, int index, bool busy) {
                             EXPECT(index == 0);
                             announced.push_back({type, busy});
                         });
    EXPECT(connection);
    if (storage.devices().empty())
        addDevices(storage);
    run(storage, announced, std::string(reinterpret_cast<const char *>(data), size));
    return 0;
}
