#include "driver/dmc50v3.h"

#include <algorithm>
#include <limits>
#include <new>
#include <set>
#include <utility>

#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include "common/clock.h"
#include "common/qtcompat.h"
#include "common/tools.h"
#include "cpl/dmc50_polling_thread.h"
#include "hmi/abstractdeviceinterface.h"
#include "recipe/csvimexporter.h"

namespace
{

const int BytesPerDWord = 4;
const size_t ScratchEntries = 50;

bool startsWith(const QString &address, const char *prefix)
{
    return address.startsWith(QLatin1String(prefix), Qt::CaseInsensitive);
}

/// Tags that the driver keeps for the project's sake; nothing stands behind them.
bool isInertTag(const QString &address)
{
    return startsWith(address, "INITDRV") || startsWith(address, "LOWLATENCY");
}

bool isWriteQueueSizeTag(const QString &address)
{
    return startsWith(address, "WRITE_QUE_SIZE");
}

/// Tags of the program transfer.
bool isTransferTag(const QString &address)
{
    return startsWith(address, "VVT_");
}

bool isDataType(const CommunicatorCommand &cmd)
{
    return isByteCommand(cmd) || isWordCommand(cmd) || isDoubleWordCommand(cmd) ||
           isBlockCommand(cmd);
}

bool isBitType(const CommunicatorCommand &cmd)
{
    return isBitCommand(cmd) || cmd.dataType == CommunicatorCommand::BitBlockType;
}

uchar stationOf(AbstractDeviceInterface *link)
{
    return static_cast<uchar>(link->stationId());
}

QRegExp addressPattern(const char *pattern)
{
    return QRegExp(QString::fromLatin1(pattern), Qt::CaseInsensitive);
}

/// The names of the drivers' database connections. A random number alone is not enough: every
/// thread begins the same sequence, and so does whoever seeds it with the same number.
class ConnectionNames
{
public:
    /// Has Qt begin its own list of connections first, so that it ends last.
    ConnectionNames() { QSqlDatabase::connectionNames(); }

    QString claim()
    {
        const QMutexLocker locker(&m_mutex);
        QString name;
        do {
            name = QString::number(drawRandomNumber());
        } while (QSqlDatabase::contains(name) || !m_claimed.insert(name).second);
        return name;
    }

    void release(const QString &name)
    {
        const QMutexLocker locker(&m_mutex);
        m_claimed.erase(name);
    }

private:
    QMutex m_mutex;
    std::set<QString> m_claimed;
};

Q_GLOBAL_STATIC(ConnectionNames, connectionNames)

/// A runtime that leaves its driver to the program's end has it destroyed when the list of
/// connections may be gone already, and the connections with it.
void endConnection(const QString &name)
{
    ConnectionNames *const names = connectionNames();
    if (names == nullptr)
        return;
    QSqlDatabase::removeDatabase(name);
    names->release(name);
}

} // namespace

/// Counts a call of `read` or `write` for as long as it runs, so that the destructor can wait.
class DriverDMC50v3::CallInProgress
{
public:
    explicit CallInProgress(std::atomic<int> &count) : m_count(count) { ++m_count; }
    ~CallInProgress() { --m_count; }

private:
    Q_DISABLE_COPY(CallInProgress)
    std::atomic<int> &m_count;
};

DriverDMC50v3::DriverDMC50v3()
    : m_has_error(false), m_debug_mode(false), m_db_opened(false), m_valid_addresses_ready(false),
      m_default_station_id(1),
      m_station_pa_regexp(addressPattern("^(\\d+)-PA([\\da-f]{3})([\\da-f]+)")),
      m_pa_regexp(addressPattern("^PA([\\da-f]{3})([\\da-f]+)")),
      m_station_na_regexp(addressPattern("^(\\d+)-NA([\\da-f]+)")),
      m_na_regexp(addressPattern("^NA([\\da-f]+)")),
      m_pa_bit_regexp(addressPattern("^PA([\\da-f]{3})([\\da-f]+)\\.(\\d+)")),
      m_na_bit_regexp(addressPattern("^NA([\\da-f]+)\\.(\\d+)")),
      m_connection_name(connectionNames()->claim()), m_csv_im_exporter(nullptr),
      m_transfer_busy(false), m_running_thread(nullptr), m_calls_in_progress(0)
{
    m_comm_addresses.reserve(ScratchEntries);
    m_data_indexes.reserve(ScratchEntries);
}

DriverDMC50v3::~DriverDMC50v3()
{
    while (callsAreUnderWay())
        Clock::system()->sleep(1);
    endTransfers();
    stopThread();
    endConnection(m_connection_name);
}

/// Cuts calls short, the runtime's and the transfer's. A call may only now be making the transfer
/// or starting the thread, hence all of it in each round; once no call is there, nothing is made
/// any more.
bool DriverDMC50v3::callsAreUnderWay()
{
    const bool called = m_calls_in_progress > 0;
    CSVImExporter *const exporter = m_csv_im_exporter;
    if (exporter != nullptr)
        exporter->closeDriver();
    if (PollingThread *const thread = m_running_thread)
        thread->stop();
    return called || (exporter != nullptr && exporter->isInDriver());
}

void DriverDMC50v3::endTransfers()
{
    if (CSVImExporter *const exporter = m_csv_im_exporter.exchange(nullptr))
        exporter->end();
}

// ---- Identity ----------------------------------------------------------------------------------

int DriverDMC50v3::totalSize()
{
    return 1024;
}

bool DriverDMC50v3::initialize(AbstractDeviceInterface *)
{
    return true;
}

bool DriverDMC50v3::validation(const QString &)
{
    return false;
}

QString DriverDMC50v3::name()
{
    return QString::fromLatin1("DMC50 v3");
}

QString DriverDMC50v3::vender()
{
    return QString::fromLatin1("Yamatake");
}

QString DriverDMC50v3::getVersionNumber()
{
    static const QString version = QString::fromLatin1("1.0.0");
    return version;
}

DeviceSetting *DriverDMC50v3::getDefaultSerialDeviceSetting()
{
    return new DeviceSetting(DeviceSetting::Rs485, QString::fromLatin1("COM2"), 38400, 8,
                             DeviceSetting::OneStopBit, DeviceSetting::EvenParity);
}

DriverSetting *DriverDMC50v3::getDefaultDriverSetting()
{
    return new DriverSetting(9000, 1, 1, 20);
}

QString DriverDMC50v3::getStringBasedDefaultDriverSetting()
{
    return QString::fromLatin1("RS485,38400,EVEN,8,1");
}

int DriverDMC50v3::supportedCommunicationFlags()
{
    return 0x10 | 0x20 | 0x40;
}

void DriverDMC50v3::setDebugMode(bool on)
{
    m_debug_mode = on;
}

int DriverDMC50v3::getBlockAccessSize()
{
    return 1024;
}

int DriverDMC50v3::getBitBlockAccessSize()
{
    return 1024;
}

QObject *DriverDMC50v3::getThisObject()
{
    return this;
}

// ---- Session -----------------------------------------------------------------------------------

bool DriverDMC50v3::isSupportSessionCommand()
{
    return true;
}

void DriverDMC50v3::setSessionCommand(QList<CommunicatorCommand> commands)
{
    if (commands.isEmpty())
        return;
    if (m_thread)
        m_thread->setSessionCommand(commands);
    else
        m_session_commands = commands;
}

void DriverDMC50v3::clearSessionCommand()
{
    if (m_thread)
        m_thread->clearSessionCommand();
}

// ---- Errors ------------------------------------------------------------------------------------

bool DriverDMC50v3::hasError()
{
    if (m_thread && m_thread->hasError())
        return true;
    const QMutexLocker locker(&m_error_mutex);
    return m_has_error;
}

QString DriverDMC50v3::getLastError()
{
    if (m_thread && m_thread->hasError())
        return m_thread->getLastError();
    const QMutexLocker locker(&m_error_mutex);
    return m_last_error;
}

void DriverDMC50v3::clearError()
{
    const QMutexLocker locker(&m_error_mutex);
    m_has_error = false;
}

void DriverDMC50v3::setCommError(const QString &text)
{
    const QMutexLocker locker(&m_error_mutex);
    m_has_error = true;
    m_last_error = text;
}

void DriverDMC50v3::addStrToFrontOfErrorDescription(const QString &text)
{
    const QMutexLocker locker(&m_error_mutex);
    if (!m_last_error.contains(QLatin1Char(':')))
        m_last_error.prepend(text);
}

// ---- The polling thread ------------------------------------------------------------------------

/// Makes and starts the thread. Without the memory for it, or when the system has no thread left,
/// there is none, and the next call of the runtime tries again: what was kept for it stays so long.
void DriverDMC50v3::createThread(AbstractDeviceInterface *link)
{
    stopThread();
    std::unique_ptr<PollingThread> thread(
        new PollingThread(link, &m_valid_addresses_map, m_default_station_id));
    if (!m_session_commands.isEmpty())
        thread->setSessionCommand(m_session_commands);
    if (!m_low_latency_stations.empty())
        thread->setLowLatency(m_low_latency_stations);
    m_thread = std::move(thread);
    m_running_thread = m_thread.get();
    m_thread->start(QThread::InheritPriority);
    if (!m_thread->isRunning()) {
        stopThread();
        return;
    }
    m_session_commands.clear();
    m_low_latency_stations.clear();
}

void DriverDMC50v3::stopThread()
{
    m_running_thread = nullptr;
    if (!m_thread)
        return;
    m_thread->stop();
    m_thread->wait();
    m_thread.reset();
}

// ---- The program transfer ----------------------------------------------------------------------

CSVImExporter *DriverDMC50v3::transfers(AbstractDeviceInterface *link)
{
    if (m_csv_im_exporter == nullptr) {
        CSVImExporter *const exporter = new CSVImExporter(nullptr);
        exporter->setRcpDataCommandAddrList(m_rcp_data_command_addr_list);
        m_rcp_data_command_addr_list.clear();
        exporter->setDriverDMC50v3_DeviceInterface(this, link);
        m_csv_im_exporter = exporter;
    }
    return m_csv_im_exporter;
}

void DriverDMC50v3::setTransferBusy(bool busy)
{
    m_transfer_busy = busy;
}

bool DriverDMC50v3::prepare(AbstractDeviceInterface *link)
{
    if (!m_valid_addresses_ready && !readDB(link->deviceSetting()->string))
        return false;
    if (!m_thread)
        createThread(link);
    return m_thread != nullptr;
}

// ---- The project's database --------------------------------------------------------------------

bool DriverDMC50v3::createDBConnection()
{
    if (QSqlDatabase::contains(m_connection_name))
        return true;
    QSqlDatabase database =
        QSqlDatabase::addDatabase(QString::fromLatin1("QSQLITE"), m_connection_name);
    database.setDatabaseName(GetDatabaseName());
    database.setConnectOptions(QString::fromLatin1("QSQLITE_OPEN_READONLY"));
    return database.open();
}

// The file may have come, moved or been replaced since the attempt that failed.
void DriverDMC50v3::reopenDB()
{
    QSqlDatabase database = QSqlDatabase::database(m_connection_name, false);
    database.close();
    database.setDatabaseName(GetDatabaseName());
    database.open();
}

bool DriverDMC50v3::readDB(const QString &device)
{
    try {
        return buildTable(device);
    } catch (const std::bad_alloc &) {
        forgetTable();
        setCommError(QString::fromLatin1("failed to initialize valid addresses table"));
        return false;
    }
}

bool DriverDMC50v3::buildTable(const QString &device)
{
    const bool tried_before = QSqlDatabase::contains(m_connection_name);
    if (!m_db_opened) {
        if (m_valid_addresses_ready)
            return true;
        m_db_opened = createDBConnection();
        if (!m_db_opened) {
            setCommError(QString::fromLatin1("can not open database"));
            return false;
        }
    }
    if (m_valid_addresses_ready)
        return true;
    if (tried_before)
        reopenDB();

    int link_id = 0;
    if (!getLinkIdAndDefaultStationId(DevStrToHmiPort(device), link_id, m_default_station_id)) {
        setCommError(QString::fromLatin1("failed to get default station id"));
        return false;
    }
    if (isCutShort() || !initValidAddressesMap(link_id, m_default_station_id)) {
        setCommError(QString::fromLatin1("failed to initialize valid addresses table"));
        return false;
    }
    m_valid_addresses_ready = true;
    QSqlDatabase::database(m_connection_name, false).close();
    m_db_opened = false;
    return true;
}

/// Whether the file ends within a page, as one does that is still being copied. SQLite takes the
/// missing bytes for zeros: some tags would be lost or crippled without an error. The file's size
/// is asked for because opening a file would drop the locks that the runtime may hold on it.
bool DriverDMC50v3::isCutShort() const
{
    const QSqlDatabase database = QSqlDatabase::database(m_connection_name);
    QSqlQuery query(QString::fromLatin1("PRAGMA page_size"), database);
    const qint64 page_size = query.next() ? query.value(0).toLongLong() : 0;
    return page_size > 0 && QFileInfo(database.databaseName()).size() % page_size != 0;
}

bool DriverDMC50v3::getLinkIdAndDefaultStationId(int hmiPort, int &linkId, uchar &stationId)
{
    return GetLinkIdAndDefaultStationId(m_connection_name, hmiPort, linkId, stationId);
}

bool DriverDMC50v3::initValidAddressesMap(int linkId, uchar defaultStation)
{
    QSqlQuery query(QSqlDatabase::database(m_connection_name));
    query.setForwardOnly(true);
    query.exec(QString::fromLatin1("SELECT address FROM custom_tag_table WHERE connector_id = %1 "
                                   "AND address NOT LIKE '%INITDRV0' "
                                   "AND address NOT LIKE 'WRITE_QUE_SIZE%' "
                                   "AND address NOT LIKE 'VVT_%';")
                   .arg(linkId));
    if (!query.isActive())
        return false;

    m_valid_addresses_map.clear();
    bool more_to_come = true;
    while (query.next()) {
        const QString address = query.value(0).toString();
        if (address.isEmpty() && !hasEmptyAddress(linkId)) {
            forgetTable(); // SQLite had no memory for the text
            return false;
        }
        addProjectAddress(address, defaultStation, &more_to_come);
        if (!more_to_come)
            return true;
    }
    if (query.lastError().isValid()) {
        // The file broke off in the middle: half a table would be wrong without looking wrong.
        forgetTable();
        return false;
    }
    for (auto &station : m_valid_addresses_map)
        std::sort(station.second.begin(), station.second.end(), CompareAddress);
    return true;
}

/// Whether an address of the project is really empty. One that there was no memory for reads so,
/// too, and Qt reports no error.
bool DriverDMC50v3::hasEmptyAddress(int linkId) const
{
    QSqlQuery query(QSqlDatabase::database(m_connection_name));
    query.exec(QString::fromLatin1("SELECT 1 FROM custom_tag_table WHERE connector_id = %1 "
                                   "AND address = '' LIMIT 1;")
                   .arg(linkId));
    return query.next();
}

void DriverDMC50v3::forgetTable()
{
    m_valid_addresses_map.clear();
    m_low_latency_stations.clear();
    m_rcp_data_command_addr_list.clear();
}

/// Files one address of the project under its station.
/// \param moreToCome  set to false by a tag of the program transfer, which ends the list; what
///                    was read until then counts, unsorted
void DriverDMC50v3::addProjectAddress(const QString &address, uchar defaultStation,
                                      bool *moreToCome)
{
    AddressVectorMap &table = m_valid_addresses_map;
    PlainAddress plain;
    if (ParsePlainAddress(address, &plain)) {
        if (plain.isNa)
            m_rcp_data_command_addr_list.append(address);
        table[plain.hasStation ? plain.station : defaultStation].push_back(plain.address);
    } else if (address.contains(QLatin1String("LOWLATENCY"))) {
        addLowLatencyStation(address, defaultStation);
    } else if (m_station_pa_regexp.indexIn(address) != -1) {
        table[StationNumber(m_station_pa_regexp.cap(1))].push_back(
            PaAddress(m_station_pa_regexp.cap(2), m_station_pa_regexp.cap(3)));
    } else if (m_pa_regexp.indexIn(address) != -1) {
        table[defaultStation].push_back(PaAddress(m_pa_regexp.cap(1), m_pa_regexp.cap(2)));
    } else if (m_station_na_regexp.indexIn(address) != -1) {
        m_rcp_data_command_addr_list.append(address);
        table[StationNumber(m_station_na_regexp.cap(1))].push_back(
            NaAddress(m_station_na_regexp.cap(2)));
    } else if (m_na_regexp.indexIn(address) != -1) {
        m_rcp_data_command_addr_list.append(address);
        table[defaultStation].push_back(NaAddress(m_na_regexp.cap(1)));
    } else if (address.contains(QLatin1String("VVT_"))) {
        *moreToCome = false;
    } else {
        assert(0);
    }
}

void DriverDMC50v3::addLowLatencyStation(const QString &address, uchar defaultStation)
{
    const QChar first = address.at(0);
    if (first < QLatin1Char('0') || first > QLatin1Char('9')) {
        m_low_latency_stations.insert(defaultStation);
        return;
    }
    const int id_str_len = address.indexOf(QLatin1Char('-'));
    assert(id_str_len >= 1);
    m_low_latency_stations.insert(StationNumber(address.left(id_str_len)));
}

// ---- Address texts -----------------------------------------------------------------------------

ulong DriverDMC50v3::parseAddrStr(const QString &address)
{
    PlainAddress plain;
    if (ParsePlainAddress(address, &plain) && !plain.hasStation)
        return plain.address;
    const QMutexLocker locker(&m_pattern_mutex);
    if (m_pa_regexp.indexIn(address) != -1)
        return PaAddress(m_pa_regexp.cap(1), m_pa_regexp.cap(2));
    if (m_na_regexp.indexIn(address) != -1)
        return NaAddress(m_na_regexp.cap(1));
    assert(0);
    return 0;
}

bool DriverDMC50v3::parseBitAddr(const QString &address, ulong &wordAddress, uint &bit)
{
    const QMutexLocker locker(&m_pattern_mutex);
    if (m_pa_bit_regexp.indexIn(address) != -1) {
        wordAddress = PaAddress(m_pa_bit_regexp.cap(1), m_pa_bit_regexp.cap(2));
        bit = m_pa_bit_regexp.cap(3).toUInt();
    } else if (m_na_bit_regexp.indexIn(address) != -1) {
        wordAddress = NaAddress(m_na_bit_regexp.cap(1));
        bit = m_na_bit_regexp.cap(2).toUInt();
    } else {
        assert(0);
    }
    return true;
}

// ---- Reading -----------------------------------------------------------------------------------

QByteArray DriverDMC50v3::read(AbstractDeviceInterface *link, const CommunicatorCommand &cmd)
{
    const CallInProgress call(m_calls_in_progress);
    try {
        return readTag(link, cmd);
    } catch (const std::bad_alloc &) {
        return QByteArray(); // the runtime's calls throw nothing
    }
}

QByteArray DriverDMC50v3::readTag(AbstractDeviceInterface *link, const CommunicatorCommand &cmd)
{
    if (!prepare(link))
        return QByteArray();
    if (isInertTag(cmd.address))
        return QByteArray(cmd.getDataSize(), '\0');
    if (isTransferTag(cmd.address))
        return readTransferTag(link, cmd);
    if (isWriteQueueSizeTag(cmd.address))
        return readWriteQueueSize(link, cmd.getDataSize());
    if (m_transfer_busy)
        return QByteArray();
    clearError();
    return readData(link, cmd);
}

QByteArray DriverDMC50v3::readTransferTag(AbstractDeviceInterface *link,
                                          const CommunicatorCommand &cmd)
{
    QByteArray data(cmd.getDataSize(), '\0');
    transfers(link)->processReadCommand(cmd, data);
    return data;
}

QByteArray DriverDMC50v3::readWriteQueueSize(AbstractDeviceInterface *link, int size)
{
    const int queued = m_thread->getAddrArgQueueSize(stationOf(link));
    return wordToByteArray(static_cast<unsigned short>(queued)).leftJustified(size, '\0', true);
}

QByteArray DriverDMC50v3::readData(AbstractDeviceInterface *link, const CommunicatorCommand &cmd)
{
    const uchar station = stationOf(link);
    if (isBitType(cmd))
        return readBits(station, cmd.address, static_cast<uint>(cmd.length));
    if (!isDataType(cmd))
        return QByteArray();
    const int size = std::max(cmd.getDataSize(), 0);
    const uint count = NumOfBytesToNumOfDWords(static_cast<uint>(size));
    return readDWords(station, parseAddrStr(cmd.address), static_cast<int>(count)).left(size);
}

int DriverDMC50v3::getCommAddressesAndDataIndexes(ulong address, uchar count,
                                                  const AddressVector &valid)
{
    m_comm_addresses.clear();
    m_data_indexes.clear();
    for (uchar i = 0; i < count; ++i) {
        const ulong wanted = AddressAt(address, i);
        if (SearchIndex(valid, wanted) >= 0) {
            m_comm_addresses.push_back(wanted);
            m_data_indexes.push_back(i);
        }
    }
    return static_cast<int>(m_comm_addresses.size());
}

QByteArray DriverDMC50v3::readDWords(uchar station, ulong address, int count)
{
    const AddressVectorMap::const_iterator it = m_valid_addresses_map.find(station);
    assert(it != m_valid_addresses_map.end());
    AddressVector addresses;
    UCharVector data_indexes;
    {
        const QMutexLocker locker(&m_scratch_mutex);
        const int rc =
            getCommAddressesAndDataIndexes(address, static_cast<uchar>(count), it->second);
        assert(rc > 0);
        addresses = m_comm_addresses;
        data_indexes = m_data_indexes;
    }
    QByteArray result(count * BytesPerDWord, '\0');
    assert(m_thread.get());

    AddressVector miss_addresses;
    UCharVector miss_data_indexes;
    if (!m_thread->readDataCacheMap(station, addresses, data_indexes, result, miss_addresses,
                                    miss_data_indexes))
        return QByteArray();
    if (miss_addresses.empty())
        return result;
    const QMutexLocker locker(&m_on_demand_mutex);
    if (!m_thread->readOnceData(station, result, miss_addresses, miss_data_indexes))
        return QByteArray();
    return result;
}

QByteArray DriverDMC50v3::readAroundBits(uchar station, const QString &bitAddress, uint bitCount,
                                         ulong &wordAddress, uint &bit)
{
    parseBitAddr(bitAddress, wordAddress, bit);
    // No byte array has room for bits beyond this; the sum must not wrap into one that has.
    if (quint64(bit) + bitCount > quint64(std::numeric_limits<int>::max()))
        return QByteArray();
    return readDWords(station, wordAddress,
                      static_cast<int>(NumOfBitsToNumOfDWords(bit, bitCount)));
}

QByteArray DriverDMC50v3::readBits(uchar station, const QString &bitAddress, uint bitCount)
{
    ulong word_address = 0;
    uint bit = 0;
    QByteArray bits = readAroundBits(station, bitAddress, bitCount, word_address, bit);
    if (bits.isEmpty())
        return bits;
    RightShiftNBits(bits, static_cast<int>(bit));
    FitBitArray(bits, static_cast<int>(bitCount));
    clearUnnecessaryBits(bits, static_cast<int>(bitCount));
    return bits;
}

// ---- Writing -----------------------------------------------------------------------------------

int DriverDMC50v3::write(AbstractDeviceInterface *link, const CommunicatorCommand &cmd,
                         const QByteArray &data)
{
    const CallInProgress call(m_calls_in_progress);
    try {
        return writeTag(link, cmd, data);
    } catch (const std::bad_alloc &) {
        return 0; // a part may be queued; the runtime's next attempt queues all of it
    }
}

int DriverDMC50v3::writeTag(AbstractDeviceInterface *link, const CommunicatorCommand &cmd,
                            const QByteArray &data)
{
    if (!prepare(link))
        return 0;
    if (isInertTag(cmd.address) || isWriteQueueSizeTag(cmd.address))
        return 1;
    if (isTransferTag(cmd.address)) {
        transfers(link)->processWriteCommand(cmd, data);
        return 1;
    }

    int result = 1;
    for (int attempt = 0;; ++attempt) {
        clearError();
        if (DriverDMC50v3::hasError()) // not virtually: the destructor may be waiting for us
            return result;
        if (!isDataType(cmd) && !isBitType(cmd))
            return 0;
        result = writeData(link, cmd, data);
        if (result != 0 || attempt >= link->retry())
            return result;
    }
}

int DriverDMC50v3::writeData(AbstractDeviceInterface *link, const CommunicatorCommand &cmd,
                             const QByteArray &data)
{
    const uchar station = stationOf(link);
    if (isBitType(cmd))
        return writeBits(station, cmd.address, data, static_cast<uint>(cmd.length));
    const ulong address = parseAddrStr(cmd.address);
    return writeDWords(station, address, To32bitsData(ToSafeData(cmd, data))) ? 1 : 0;
}

bool DriverDMC50v3::writeDWords(uchar station, ulong address, const QByteArray &dwords)
{
    // clang-format off
    assert(dwords.size() > 0 && dwords.size()%4==0);
    // clang-format on
    const AddressVectorMap::const_iterator it = m_valid_addresses_map.find(station);
    assert(it != m_valid_addresses_map.end());
    assert(m_thread.get());

    std::vector<AddrArg> pairs;
    for (int i = 0; i < dwords.size() / BytesPerDWord; ++i) {
        const ulong target = AddressAt(address, static_cast<uint>(i));
        if (SearchIndex(it->second, target) < 0)
            continue;
        const QByteArray dword = dwords.mid(i * BytesPerDWord, BytesPerDWord);
        const AddrArg pair = {static_cast<quint32>(target),
                              static_cast<quint32>(QByteArrayToInt(dword))};
        pairs.push_back(pair);
    }
    m_thread->writeDWords(station, pairs);
    return true;
}

int DriverDMC50v3::writeBits(uchar station, const QString &bitAddress, const QByteArray &bits,
                             uint bitCount)
{
    ulong word_address = 0;
    uint bit = 0;
    QByteArray dwords = readAroundBits(station, bitAddress, bitCount, word_address, bit);
    if (dwords.isEmpty())
        return 0;
    const QByteArray source =
        bits.leftJustified(static_cast<int>(NumOfBitsToNumOfBytes(bitCount, 0)), '\0');
    for (uint i = 0; i < bitCount; ++i)
        setBit(dwords, static_cast<int>(bit + i), getBit(source, static_cast<int>(i)) != 0);
    return writeDWords(station, word_address, dwords) ? 1 : 0;
}

// ---- The plug-in's entries ---------------------------------------------------------------------

DriverInterface *CreateDriver()
{
    return new DriverDMC50v3;
}

DMC50_EXPORT_PLUGIN(dmc50v3, DriverDMC50v3)
