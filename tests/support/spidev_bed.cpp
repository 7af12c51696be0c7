#include "tests/support/spidev_bed.h"

#include "tests/support/bytes.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <linux/spi/spidev.h>
#include <sys/stat.h>
#include <umockdev.h>

namespace
{

const char Node[] = "/dev/spidev1.0";
const int HighestDescriptor = 1024;
const char Description[] = "P: /devices/platform/spi1/spi1.0/spidev/spidev1.0\n"
                           "N: spidev1.0\n"
                           "E: DEVNAME=/dev/spidev1.0\n"
                           "E: SUBSYSTEM=spidev\n";

typedef std::lock_guard<std::mutex> Lock;

/// The testbed of the process, with the node. One serves all beds: each one keeps some descriptors
/// for good, and none can make a node twice.
class Testbed
{
public:
    Testbed() : m_testbed(umockdev_testbed_new())
    {
        umockdev_testbed_add_from_string(m_testbed, Description, nullptr);
        gchar *const root = umockdev_testbed_get_root_dir(m_testbed);
        m_node = std::string(root) + Node;
        g_free(root);
    }
    ~Testbed()
    {
        showNode(true);
        g_object_unref(m_testbed);
    }

    Testbed(const Testbed &) = delete;
    Testbed &operator=(const Testbed &) = delete;

    UMockdevTestbed *get() const { return m_testbed; }
    /// Where the node really is.
    const std::string &node() const { return m_node; }

    void showNode(bool shown) const
    {
        const std::string hidden = m_node + ".hidden";
        ::rename((shown ? hidden : m_node).c_str(), (shown ? m_node : hidden).c_str());
    }

private:
    UMockdevTestbed *const m_testbed;
    std::string m_node;
};

// The handlers take the bed from here and not as their argument: ThreadSanitizer sees this lock,
// but not those of the testbed.
std::mutex bedMutex;
SpidevBed *theBed = nullptr; // guarded by bedMutex

SpidevBed *bed()
{
    const Lock lock(bedMutex);
    return theBed;
}

const Testbed &testbed()
{
    static const Testbed theTestbed;
    return theTestbed;
}

/// A copy of some memory of the program that issued the ioctl, written back when it completes.
class Data
{
public:
    /// What the pointer at `offset` in `parent` points to.
    Data(UMockdevIoctlData *parent, size_t offset, size_t length)
        : m_data(umockdev_ioctl_data_resolve(parent, offset, length, nullptr))
    {
    }
    ~Data() { umockdev_ioctl_data_unref(m_data); }

    Data(const Data &) = delete;
    Data &operator=(const Data &) = delete;

    UMockdevIoctlData *raw() const { return m_data; }

    QByteArray content() const
    {
        return QByteArray(reinterpret_cast<const char *>(m_data->data), m_data->data_len);
    }

    void assign(QByteArray content)
    {
        umockdev_ioctl_data_update(m_data, 0, reinterpret_cast<guint8 *>(content.data()),
                                   content.size());
    }

private:
    UMockdevIoctlData *m_data;
};

// The transfers of a message, an array of structures.
size_t transferCount(const Data &array)
{
    return static_cast<size_t>(array.content().size()) / sizeof(spi_ioc_transfer);
}

spi_ioc_transfer transferAt(const Data &array, size_t index)
{
    const QByteArray content = array.content();
    spi_ioc_transfer transfer;
    memcpy(&transfer, content.constData() + index * sizeof transfer, sizeof transfer);
    return transfer;
}

size_t sentPointer(size_t index)
{
    return index * sizeof(spi_ioc_transfer) + offsetof(spi_ioc_transfer, tx_buf);
}

size_t receivedPointer(size_t index)
{
    return index * sizeof(spi_ioc_transfer) + offsetof(spi_ioc_transfer, rx_buf);
}

bool isMessage(unsigned long request)
{
    return _IOC_TYPE(request) == SPI_IOC_MAGIC && _IOC_NR(request) == 0;
}

template <typename Number>
QByteArray bytesOf(Number number)
{
    return QByteArray(reinterpret_cast<const char *>(&number), sizeof number);
}

} // namespace

const int SpidevBed::Whole;

/// What the testbed calls, in a thread of its own, for each ioctl on the node.
struct SpidevBed::Redirection {
    explicit Redirection(Device device);
    ~Redirection();

    static gboolean handle(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer);
    static Answer handleMessage(SpidevBed *bed, unsigned long request, UMockdevIoctlData *argument);
    static std::vector<Transfer> transfersIn(const Data &array);
    static void handBack(const std::vector<Transfer> &transfers, const Data &array);
    static Answer handleSetUp(SpidevBed *bed, unsigned long request, UMockdevIoctlData *argument);

    UMockdevIoctlBase *const handler;
};

SpidevBed::Redirection::Redirection(Device device) : handler(umockdev_ioctl_base_new())
{
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(handle), nullptr);
    umockdev_testbed_attach_ioctl(testbed().get(), Node, handler, nullptr);
    testbed().showNode(device == Present);
}

SpidevBed::Redirection::~Redirection()
{
    umockdev_testbed_detach_ioctl(testbed().get(), Node, nullptr);
    g_object_unref(handler);
}

gboolean SpidevBed::Redirection::handle(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer)
{
    const unsigned long request = umockdev_ioctl_client_get_request(client);
    UMockdevIoctlData *const argument = umockdev_ioctl_client_get_arg(client);
    SpidevBed *const self = bed();
    const Answer answer = isMessage(request) ? handleMessage(self, request, argument)
                                             : handleSetUp(self, request, argument);
    umockdev_ioctl_client_complete(client, answer.result, answer.errorNumber);
    return TRUE;
}

SpidevBed::Answer SpidevBed::Redirection::handleMessage(SpidevBed *bed, unsigned long request,
                                                        UMockdevIoctlData *argument)
{
    const Data array(argument, 0, _IOC_SIZE(request));
    std::vector<Transfer> transfers = transfersIn(array);
    const Answer answer = bed->message(&transfers);
    if (answer.result >= 0) {
        handBack(transfers, array);
    }
    return answer;
}

std::vector<SpidevBed::Transfer> SpidevBed::Redirection::transfersIn(const Data &array)
{
    std::vector<Transfer> transfers(transferCount(array));
    for (size_t i = 0; i < transfers.size(); ++i) {
        const spi_ioc_transfer wanted = transferAt(array, i);
        transfers[i].length = static_cast<int>(wanted.len);
        transfers[i].speed = wanted.speed_hz;
        transfers[i].bits = wanted.bits_per_word;
        if (wanted.tx_buf != 0) {
            transfers[i].sent = Data(array.raw(), sentPointer(i), wanted.len).content();
        }
    }
    return transfers;
}

void SpidevBed::Redirection::handBack(const std::vector<Transfer> &transfers, const Data &array)
{
    for (size_t i = 0; i < transfers.size(); ++i) {
        const spi_ioc_transfer wanted = transferAt(array, i);
        if (wanted.rx_buf != 0) {
            Data(array.raw(), receivedPointer(i), wanted.len).assign(transfers[i].received);
        }
    }
}

SpidevBed::Answer SpidevBed::Redirection::handleSetUp(SpidevBed *bed, unsigned long request,
                                                      UMockdevIoctlData *argument)
{
    Data number(argument, 0, _IOC_SIZE(request));
    QByteArray value = number.content();
    const Answer answer = bed->setUp(request, &value);
    if (answer.result >= 0) {
        number.assign(value);
    }
    return answer;
}

// ---- The bed

SpidevBed::SpidevBed(Device device)
    : m_mode(SPI_MODE_0), m_bits(8), m_max_speed(40000000), m_redirection(new Redirection(device))
{
    const Lock lock(bedMutex);
    theBed = this;
}

SpidevBed::~SpidevBed()
{
    delete m_redirection;
    // Comes after the last message, for ThreadSanitizer too.
    const Lock lock(m_mutex);
}

SpidevBed::Answer SpidevBed::setUp(unsigned long request, QByteArray *argument)
{
    const Lock lock(m_mutex);
    m_requests.push_back(request);
    if (m_refused.count(request) != 0) {
        return {-1, EINVAL};
    }
    switch (request) {
    case SPI_IOC_RD_MODE:
        *argument = bytesOf(m_mode);
        return {0, 0};
    case SPI_IOC_WR_MODE:
        m_written_modes.push_back(static_cast<uint8_t>(argument->at(0)));
        return {0, 0};
    case SPI_IOC_RD_BITS_PER_WORD:
        *argument = bytesOf(m_bits);
        return {0, 0};
    case SPI_IOC_RD_MAX_SPEED_HZ:
        *argument = bytesOf(m_max_speed);
        return {0, 0};
    default:
        return {-1, ENOTTY};
    }
}

SpidevBed::Answer SpidevBed::message(std::vector<Transfer> *transfers)
{
    QByteArray frame;
    QByteArray sent;
    for (const Transfer &transfer : *transfers) {
        sent += transfer.sent;
        frame += transfer.sent.isEmpty() ? QByteArray(transfer.length, '\0') : transfer.sent;
    }
    std::function<void(const QByteArray &)> hook;
    {
        const Lock lock(m_mutex);
        hook = m_hook;
    }
    if (hook) {
        hook(sent);
    }
    const Lock lock(m_mutex);
    Fault fault = {Whole, frame.size(), 0};
    const bool faulty = takeFault(sent, &fault);
    const QByteArray reply = m_chip.exchange(frame.left(fault.arriving));
    int at = 0;
    for (Transfer &transfer : *transfers) {
        transfer.received = reply.mid(at, transfer.length).leftJustified(transfer.length, '\xFF');
        at += transfer.length;
    }
    record(*transfers);
    if (faulty) {
        m_frames.back() += " !";
    }
    return {fault.result, fault.errorNumber};
}

/// The fault of the message that is on its way, when it has one.
bool SpidevBed::takeFault(const QByteArray &sent, Fault *fault)
{
    std::map<int, Fault> later;
    bool found = false;
    for (const auto &entry : m_faults) {
        if (entry.first == 0) {
            *fault = entry.second;
            found = true;
        } else {
            later[entry.first - 1] = entry.second;
        }
    }
    m_faults = later;
    if (!found && m_decide && m_decide(sent)) {
        *fault = {0, -1, EIO};
        found = true;
    }
    return found;
}

void SpidevBed::record(const std::vector<Transfer> &transfers)
{
    std::string text;
    for (const Transfer &transfer : transfers) {
        text += transfer.sent.isEmpty() ? " > " + hexOf(transfer.received) : hexOf(transfer.sent);
        m_speeds.insert(transfer.speed);
        m_word_lengths.insert(transfer.bits);
    }
    m_frames.push_back(text);
}

void SpidevBed::failMessage(int skipped, int arriving)
{
    setFault(skipped, {arriving, -1, EIO});
}

void SpidevBed::setFault(int skipped, const Fault &fault)
{
    const Lock lock(m_mutex);
    m_faults[skipped] = fault;
}

void SpidevBed::failWhere(const std::function<bool(const QByteArray &)> &decide)
{
    const Lock lock(m_mutex);
    m_decide = decide;
}

void SpidevBed::clearFaults()
{
    const Lock lock(m_mutex);
    m_faults.clear();
    m_decide = nullptr;
}

void SpidevBed::refuse(unsigned long request)
{
    const Lock lock(m_mutex);
    m_refused.insert(request);
}

void SpidevBed::onMessage(const std::function<void(const QByteArray &)> &hook)
{
    const Lock lock(m_mutex);
    m_hook = hook;
}

void SpidevBed::setMode(uint8_t mode)
{
    const Lock lock(m_mutex);
    m_mode = mode;
}

void SpidevBed::setBitsPerWord(uint8_t bits)
{
    const Lock lock(m_mutex);
    m_bits = bits;
}

void SpidevBed::setMaxSpeed(uint32_t hertz)
{
    const Lock lock(m_mutex);
    m_max_speed = hertz;
}

std::vector<int> SpidevBed::writtenModes() const
{
    const Lock lock(m_mutex);
    return m_written_modes;
}

std::vector<unsigned long> SpidevBed::setUpRequests() const
{
    const Lock lock(m_mutex);
    return m_requests;
}

std::vector<std::string> SpidevBed::frames() const
{
    const Lock lock(m_mutex);
    return m_frames;
}

void SpidevBed::forgetFrames()
{
    const Lock lock(m_mutex);
    m_frames.clear();
}

std::set<uint32_t> SpidevBed::speeds() const
{
    const Lock lock(m_mutex);
    return m_speeds;
}

std::set<int> SpidevBed::wordLengths() const
{
    const Lock lock(m_mutex);
    return m_word_lengths;
}

std::vector<int> SpidevBed::openDescriptors() const
{
    std::vector<int> found;
    // Asked for by its real path: under its own name its number is made up.
    struct stat node;
    const bool exists = ::stat(testbed().node().c_str(), &node) == 0;
    for (int descriptor = 0; exists && descriptor < HighestDescriptor; ++descriptor) {
        struct stat opened;
        if (::fstat(descriptor, &opened) == 0 && opened.st_rdev == node.st_rdev) {
            found.push_back(descriptor);
        }
    }
    return found;
}

void SpidevBed::withChip(const std::function<void(Fm25v02 &)> &use)
{
    const Lock lock(m_mutex);
    use(m_chip);
}

uint16_t SpidevBed::chipWord(int address)
{
    const Lock lock(m_mutex);
    return m_chip.wordAt(address);
}
