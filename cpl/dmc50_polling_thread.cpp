#include "cpl/dmc50_polling_thread.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <new>

#include <QMutexLocker>
#include <QVariant>
#include <QtEndian>

#include "common/qtcompat.h"
#include "common/tools.h"
#include "hmi/abstractdeviceinterface.h"

namespace
{

// Periods in milliseconds.
const int ShortestTimeout = 3000;
const int ShortestInterval = 10;
const ulong IdlePause = 10;
const ulong ErrorCheckPause = 10;
const ulong ReadOnceCheckPause = 30;
const qint64 LowLatencyWatchdogPeriod = 30000;
const qint64 LowLatencyRenewPeriod = 540000;

const quint32 LowLatencyStateAddress = 0x2016;
const quint32 LowLatencyStateOn = 200;
const AddrArg LowLatencyWrites[] = {{0x2012, 1}, {0x2013, 5}, {0x2014, 200}, {0x2015, 5}};

const uchar ControllerItself = 0; // the only sub-address in use

/// Tags that the driver answers itself; they stand for no address of a controller.
bool isDriverTag(const QString &address)
{
    static const char *const prefixes[] = {"INITDRV", "WRITE_QUE_SIZE", "LOW", "VVT_"};
    for (const char *prefix : prefixes) {
        if (address.startsWith(QLatin1String(prefix), Qt::CaseInsensitive))
            return true;
    }
    return false;
}

__attribute__((format(printf, 1, 2))) QString formatted(const char *format, ...)
{
    char text[64];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return QString::fromLatin1(text);
}

void storeDWord(QByteArray &data, uchar index, ulong value)
{
    qToLittleEndian(static_cast<quint32>(value),
                    reinterpret_cast<uchar *>(data.data()) + 4 * index);
}

} // namespace

PollingThread::PollingThread(AbstractDeviceInterface *interface,
                             const AddressVectorMap *valid_addresses_map, uchar default_station_id,
                             Clock *clock)
    : m_interface(interface), m_valid_addresses_map(valid_addresses_map), m_clock(clock),
      m_low_latency_init_time(0), m_low_latency_watchdog_time(0), m_timeout(ShortestTimeout),
      m_rsp_len(0), m_interval(ShortestInterval), m_retry(0),
      m_default_station_id(default_station_id), m_flags(0), m_stop(false), m_error(false),
      m_low_latency_enabled(false),
      m_pa_regexp(QString::fromLatin1("^(?:(\\d+)-)?PA([\\da-f]{3})([\\da-f]+)"),
                  Qt::CaseInsensitive),
      m_na_regexp(QString::fromLatin1("^(?:(\\d+)-)?NA([\\da-f]+)"), Qt::CaseInsensitive),
      m_on_demand_runs(0)
{
    assert(m_interface != 0);
    m_interval = static_cast<quint32>(std::max(m_interface->delay(), ShortestInterval));
    m_timeout = std::max(m_interface->timeout(), ShortestTimeout);
    m_retry = static_cast<quint32>(m_interface->retry());
    assert(m_valid_addresses_map);
    assert(m_default_station_id > 0);
}

void PollingThread::stop()
{
    m_stop = true;
}

// ---- Flags -------------------------------------------------------------------------------------

void PollingThread::setFlag(uchar bits)
{
    const QMutexLocker locker(&m_flag_mutex);
    m_flags = static_cast<uchar>(m_flags | bits);
}

void PollingThread::clearFlag(uchar bits)
{
    const QMutexLocker locker(&m_flag_mutex);
    m_flags = static_cast<uchar>(m_flags & ~bits);
}

uchar PollingThread::getFlag()
{
    const QMutexLocker locker(&m_flag_mutex);
    return m_flags;
}

// ---- Session -----------------------------------------------------------------------------------

void PollingThread::setSessionCommand(const QList<CommunicatorCommand> &commands)
{
    {
        const QMutexLocker locker(&m_session_mutex);
        m_session_addr_map.clear();
        for (const CommunicatorCommand &command : commands) {
            if (!isDriverTag(command.address))
                addSessionAddresses(command);
        }
    }
    setFlag(SessionChanged);
}

void PollingThread::addSessionAddresses(const CommunicatorCommand &command)
{
    ulong start = 0;
    uchar station = 0;
    parseAddrStr(command.address, start, station);
    const AddressVectorMap::const_iterator lookup_map_it = m_valid_addresses_map->find(station);
    assert(m_valid_addresses_map->end() != lookup_map_it);

    std::map<ulong, std::set<ulong>>::iterator addresses = m_session_addr_map.find(station);
    if (addresses == m_session_addr_map.end()) {
        const std::pair<std::map<ulong, std::set<ulong>>::iterator, bool> insert_result =
            m_session_addr_map.insert(std::make_pair(ulong(station), std::set<ulong>()));
        assert(insert_result.second);
        addresses = insert_result.first;
    }
    for (int i = 0; i < command.length; ++i) {
        const ulong address = AddressAt(start, static_cast<uint>(i));
        if (SearchIndex(lookup_map_it->second, address) >= 0)
            addresses->second.insert(address);
    }
}

void PollingThread::clearSessionCommand()
{
    setFlag(SessionCleared);
}

void PollingThread::clearSessionAddrMap()
{
    const QMutexLocker locker(&m_session_mutex);
    m_session_addr_map.clear();
}

bool PollingThread::parseAddrStr(const QString &address, ulong &wordAddress, uchar &station)
{
    PlainAddress plain;
    if (ParsePlainAddress(address, &plain)) {
        wordAddress = plain.address;
        station = plain.hasStation ? plain.station : m_default_station_id;
        return true;
    }
    const QRegExp *matched = nullptr;
    if (m_na_regexp.indexIn(address) != -1) {
        matched = &m_na_regexp;
        wordAddress = NaAddress(m_na_regexp.cap(2));
    } else if (m_pa_regexp.indexIn(address) != -1) {
        matched = &m_pa_regexp;
        wordAddress = PaAddress(m_pa_regexp.cap(2), m_pa_regexp.cap(3));
    } else {
        assert(0);
    }
    const QString prefix = matched->cap(1);
    station = prefix.isEmpty() ? m_default_station_id : StationNumber(prefix);
    return true;
}

void PollingThread::sessionAddrMapToCacheAddrMap()
{
    const QMutexLocker locker(&m_session_mutex);
    for (const auto &session : m_session_addr_map) {
        const std::set<ulong> &wanted = session.second;
        AddressVector &av = m_cache_addr_map[static_cast<uchar>(session.first)];
        if (av.empty()) {
            av.assign(wanted.begin(), wanted.end());
        } else {
            const AddressVector polled(av);
            for (const ulong address : wanted) {
                if (SearchIndex(polled, address) < 0)
                    av.push_back(address);
            }
            std::sort(av.begin(), av.end(), CompareAddress);
        }
        assert(av.size() > 0);
    }
}

void PollingThread::endSession()
{
    std::map<ulong, std::set<ulong>> ended;
    {
        const QMutexLocker locker(&m_session_mutex);
        ended.swap(m_session_addr_map);
    }
    for (auto &polled : m_cache_addr_map) {
        const auto session = ended.find(polled.first);
        if (session == ended.end())
            continue;
        const std::set<ulong> &dropped = session->second;
        AddressVector &av = polled.second;
        av.erase(std::remove_if(av.begin(), av.end(),
                                [&dropped](ulong address) { return dropped.count(address) > 0; }),
                 av.end());
    }
}

// ---- Reading -----------------------------------------------------------------------------------

qint64 PollingThread::requestDeadline() const
{
    return m_clock->msecsSinceBoot() + m_timeout * (qint64(m_retry) + 1);
}

void PollingThread::takeCachedData(const ValueMap &cached, const AddressVector &addresses,
                                   const UCharVector &data_indexes, QByteArray &data,
                                   AddressVector &miss_addresses, UCharVector &miss_data_indexes)
{
    for (size_t i = 0; i < addresses.size(); ++i) {
        const ValueMap::const_iterator value = cached.find(addresses[i]);
        if (value != cached.end()) {
            storeDWord(data, data_indexes[i], value->second);
        } else {
            miss_addresses.push_back(addresses[i]);
            miss_data_indexes.push_back(data_indexes[i]);
        }
    }
}

bool PollingThread::readDataCacheMap(uchar station_id, const AddressVector &addresses,
                                     const UCharVector &data_indexes, QByteArray &data,
                                     AddressVector &miss_addresses, UCharVector &miss_data_indexes)
{
    const qint64 deadline = requestDeadline();
    while (hasError()) {
        if (m_stop || m_clock->msecsSinceBoot() >= deadline)
            return false;
        m_clock->sleep(ErrorCheckPause);
    }

    const QMutexLocker locker(&m_data_cache_mutex);
    const ValueMapMap::const_iterator cache = m_data_cache_map.find(station_id);
    if (cache == m_data_cache_map.end()) {
        miss_addresses = addresses;
        miss_data_indexes = data_indexes;
    } else {
        takeCachedData(cache->second, addresses, data_indexes, data, miss_addresses,
                       miss_data_indexes);
    }
    assert(miss_addresses.size() == miss_data_indexes.size());
    return true;
}

bool PollingThread::readOnceData(uchar station_id, QByteArray &data, AddressVector &addresses,
                                 UCharVector &data_indexes)
{
    if (addresses.empty())
        return true;
    const quint32 last_run = queueReads(station_id, addresses);
    forgetAbandonedReads(station_id, addresses, last_run);

    const qint64 deadline = requestDeadline();
    bool arrived = addrInReadOnceDataMap(station_id, addresses.back());
    while (!arrived && !m_stop && m_clock->msecsSinceBoot() < deadline) {
        m_clock->sleep(ReadOnceCheckPause);
        arrived = addrInReadOnceDataMap(station_id, addresses.back());
    }
    // A reader that was kept from running finds its time gone though its value has come.
    arrived = arrived || (!m_stop && addrInReadOnceDataMap(station_id, addresses.back()));
    if (arrived && takeReadOnceData(station_id, data, addresses, data_indexes))
        return true;
    abandonReads(station_id, addresses);
    return false;
}

bool PollingThread::takeReadOnceData(uchar station_id, QByteArray &data,
                                     const AddressVector &addresses,
                                     const UCharVector &data_indexes)
{
    const QMutexLocker locker(&m_read_once_mutex);
    ValueMap &values = m_read_once_data_map[station_id];
    for (size_t i = 0; i < addresses.size(); ++i) {
        const ValueMap::const_iterator value = values.find(addresses[i]);
        if (value == values.end())
            return false;
        storeDWord(data, data_indexes[i], value->second);
    }
    for (const ulong address : addresses)
        values.erase(address);
    return true;
}

// A value may still arrive for a reader that has given up. It stays in the map for nobody, and a
// later reader of the address would take it for the answer to its own request.
void PollingThread::abandonReads(uchar station_id, const AddressVector &addresses)
{
    const QMutexLocker locker(&m_read_once_mutex);
    for (const ulong address : addresses)
        m_abandoned_read_map[station_id][address] = m_on_demand_runs;
}

/// Drops what arrived for readers that gave up, up to a run of the on-demand reads. What a later
/// run read was asked for anew. The addresses stay marked: what the reader that gave up has queued
/// may be served beside the new request, and its value would be left over.
void PollingThread::forgetAbandonedReads(uchar station_id, const AddressVector &addresses,
                                         quint32 last_run)
{
    const QMutexLocker locker(&m_read_once_mutex);
    const RunMap &abandoned = m_abandoned_read_map[station_id];
    for (const ulong address : addresses) {
        const RunMap::const_iterator run = abandoned.find(address);
        if (run != abandoned.end() && run->second <= last_run)
            m_read_once_data_map[station_id].erase(address);
    }
}

/// Called with m_read_once_mutex held, when a value has arrived.
void PollingThread::noteRunOfAbandonedRead(uchar station_id, ulong address)
{
    RunMap &abandoned = m_abandoned_read_map[station_id];
    const RunMap::iterator run = abandoned.find(address);
    if (run != abandoned.end())
        run->second = m_on_demand_runs;
}

bool PollingThread::addrInDataCache(uchar station_id, ulong address)
{
    ulong ignored = 0;
    return getDWordFromDataCacheMap(station_id, address, ignored);
}

bool PollingThread::addrInReadOnceDataMap(uchar station_id, ulong address)
{
    const QMutexLocker locker(&m_read_once_mutex);
    const ValueMapMap::const_iterator values = m_read_once_data_map.find(station_id);
    return values != m_read_once_data_map.end() && values->second.count(address) > 0;
}

bool PollingThread::getDWordFromDataCacheMap(uchar station_id, ulong address, ulong &value)
{
    const QMutexLocker locker(&m_data_cache_mutex);
    const ValueMapMap::const_iterator values = m_data_cache_map.find(station_id);
    if (values == m_data_cache_map.end())
        return false;
    const ValueMap::const_iterator cached = values->second.find(address);
    if (cached == values->second.end())
        return false;
    value = cached->second;
    return true;
}

void PollingThread::insertDWordToReadOnceDataMap(uchar station_id, ulong address, ulong value)
{
    const QMutexLocker locker(&m_read_once_mutex);
    m_read_once_data_map[station_id][address] = value;
    noteRunOfAbandonedRead(station_id, address);
}

void PollingThread::clearDataCacheMap()
{
    const QMutexLocker locker(&m_data_cache_mutex);
    m_data_cache_map.clear();
}

void PollingThread::pushReadAddresses(uchar station_id, const AddressVector &addresses)
{
    queueReads(station_id, addresses);
}

/// Returns the number of the latest run of the on-demand reads. That run is over; the next one
/// serves these addresses.
quint32 PollingThread::queueReads(uchar station_id, const AddressVector &addresses)
{
    const QMutexLocker locker(&m_read_queue_mutex);
    std::queue<ulong> &queue = m_read_addr_queue_map[station_id];
    for (const ulong address : addresses)
        queue.push(address);
    return m_on_demand_runs;
}

bool PollingThread::readAddrQueueMapIsEmpty()
{
    const QMutexLocker locker(&m_read_queue_mutex);
    for (const auto &station : m_read_addr_queue_map) {
        if (!station.second.empty())
            return false;
    }
    return true;
}

void PollingThread::readAddrQueueMapToCacheAddrMap()
{
    const QMutexLocker locker(&m_read_queue_mutex);
    for (auto &station : m_read_addr_queue_map) {
        if (station.second.empty())
            continue;
        AddressVector &polled = m_cache_addr_map[station.first];
        for (; !station.second.empty(); station.second.pop())
            polled.push_back(station.second.front());
        std::sort(polled.begin(), polled.end(), CompareAddress);
        polled.erase(std::unique(polled.begin(), polled.end()), polled.end());
    }
}

// The mutex is held over the line's traffic: who wants more reads waits until these are done.
void PollingThread::readAddrQueueMapToReadOnceDataMap()
{
    const QMutexLocker locker(&m_read_queue_mutex);
    ++m_on_demand_runs;
    for (auto &station : m_read_addr_queue_map) {
        AddressVector missing = takeUncachedAddresses(station.first, station.second);
        for (size_t first = 0; first < missing.size() && !m_stop; first += Cpl::MaxReadAddresses) {
            const size_t rest = missing.size() - first;
            readChunkOnce(station.first, &missing[first],
                          static_cast<int>(std::min<size_t>(rest, Cpl::MaxReadAddresses)));
        }
        if (m_stop)
            return;
    }
}

AddressVector PollingThread::takeUncachedAddresses(uchar station_id, std::queue<ulong> &queue)
{
    AddressVector uncached;
    for (; !queue.empty(); queue.pop()) {
        ulong value = 0;
        if (getDWordFromDataCacheMap(station_id, queue.front(), value))
            insertDWordToReadOnceDataMap(station_id, queue.front(), value);
        else
            uncached.push_back(queue.front());
    }
    return uncached;
}

void PollingThread::readChunkOnce(uchar station_id, ulong *addresses, int count)
{
    for (quint32 attempt = 0; !m_stop; ++attempt) {
        if (requestRead(station_id, addresses, count)) {
            clearError();
            readRspToReadOnceDataMap(station_id, addresses, count);
            return;
        }
        if (attempt >= m_retry)
            return;
    }
}

// ---- Writing -----------------------------------------------------------------------------------

bool PollingThread::writeDWord(uchar station_id, const AddrArg &arg)
{
    return writeDWords(station_id, AddrArgVector(1, arg));
}

bool PollingThread::writeDWords(uchar station_id, const std::vector<AddrArg> &args)
{
    if (hasError())
        return false;
    const QMutexLocker locker(&m_write_queue_mutex);
    std::queue<AddrArg> &queue = m_addr_arg_queue_map[station_id];
    for (const AddrArg &arg : args)
        queue.push(arg);
    return true;
}

bool PollingThread::addrArgQueueMapIsEmpty()
{
    const QMutexLocker locker(&m_write_queue_mutex);
    for (const auto &station : m_addr_arg_queue_map) {
        if (!station.second.empty())
            return false;
    }
    return true;
}

int PollingThread::getAddrArgQueueSize(uchar station_id)
{
    const QMutexLocker locker(&m_write_queue_mutex);
    const auto queue = m_addr_arg_queue_map.find(station_id);
    return queue == m_addr_arg_queue_map.end() ? 0 : static_cast<int>(queue->second.size());
}

bool PollingThread::addrArgQueueToDMC50()
{
    if (hasError())
        return false;
    uchar station_id = 0;
    AddrArgVector args;
    while (takeWrites(station_id, args)) {
        if (!sendWrites(station_id, args))
            return false;
    }
    return true;
}

/// Takes the writes of one frame, of the lowest station that has any.
bool PollingThread::takeWrites(uchar &station_id, AddrArgVector &args)
{
    args.clear();
    args.reserve(Cpl::MaxWritePairs); // what was taken must not be lost for want of memory
    const QMutexLocker locker(&m_write_queue_mutex);
    for (auto &station : m_addr_arg_queue_map) {
        std::queue<AddrArg> &queue = station.second;
        for (; !queue.empty() && args.size() < size_t(Cpl::MaxWritePairs); queue.pop())
            args.push_back(queue.front());
        if (!args.empty()) {
            station_id = station.first;
            return true;
        }
    }
    return false;
}

bool PollingThread::sendWrites(uchar station_id, AddrArgVector &args)
{
    for (quint32 attempt = 0; !m_stop; ++attempt) {
        clearError();
        if (requestWrite(station_id, args))
            return true;
        if (attempt >= m_retry)
            return false;
    }
    return false;
}

// ---- One request on the line -------------------------------------------------------------------

/// False: the thread shall stop, and no further request is to be begun.
bool PollingThread::pauseBeforeRequest()
{
    m_clock->sleep(m_interval);
    return !m_stop;
}

bool PollingThread::requestRead(uchar station_id, ulong *addresses, int count)
{
    if (!pauseBeforeRequest())
        return false;
    try {
        exchange(CPLPackRNCmd(m_tx_buf.data(), static_cast<int>(m_tx_buf.size()), station_id,
                              ControllerItself, addresses, static_cast<uint>(count)));
        return checkReadRsp(station_id, addresses[0]);
    } catch (const std::bad_alloc &) {
        resetRspBuf(); // as good as no answer
        setCommErrorWithoutText();
    }
    return checkReadRsp(station_id, addresses[0]);
}

bool PollingThread::requestWrite(uchar station_id, AddrArgVector &args)
{
    if (!pauseBeforeRequest())
        return false;
    try {
        exchange(CPLPackWNCmd(m_tx_buf.data(), static_cast<int>(m_tx_buf.size()), station_id,
                              ControllerItself, args.data(), static_cast<int>(args.size())));
        return checkWriteRsp(station_id, args.front().address);
    } catch (const std::bad_alloc &) {
        resetRspBuf();
        setCommErrorWithoutText();
    }
    return checkWriteRsp(station_id, args.front().address);
}

void PollingThread::exchange(int request_size)
{
    m_interface->control(AbstractDeviceInterface::DiscardInput, QVariant(0));
    m_interface->writeData(m_tx_buf.data(), request_size);
    resetRspBuf();
    readRspUntilLF();
}

void PollingThread::resetRspBuf()
{
    std::fill(m_rsp_buf.begin(), m_rsp_buf.end(), '\0');
    m_rsp_len = 0;
}

int PollingThread::readRspUntilLF()
{
    assert(m_rsp_len < int(m_rsp_buf.size()));
    const int size = static_cast<int>(m_rsp_buf.size());
    const int length_before = m_rsp_len;
    while (m_rsp_len < size) {
        const int gained = m_interface->readData(&m_rsp_buf[size_t(m_rsp_len)], size - m_rsp_len);
        if (gained < 1)
            break;
        m_rsp_len += gained;
        if (m_rsp_buf[size_t(m_rsp_len - 1)] == '\n')
            break;
    }
    return m_rsp_len - length_before;
}

// ---- Replies -----------------------------------------------------------------------------------

uchar PollingThread::getStationIdFromRsp() const
{
    return static_cast<uchar>(HexToUInt(&m_rsp_buf[Cpl::StationPosition], Cpl::ByteDigits));
}

// A line that echoes gives the request back: a whole frame of the right station, with its command's
// letters here. Read as a number they would be 0, success.
uchar PollingThread::getEndCodeFromRsp() const
{
    quint32 end_code = Cpl::NoEndCode;
    CPLParseHex(&m_rsp_buf[Cpl::EndCodePosition], Cpl::ByteDigits, end_code);
    return static_cast<uchar>(end_code);
}

/// What is wrong with the reply, or an empty text.
QString PollingThread::replyFault(uchar station_id, const char *short_reply) const
{
    if (m_rsp_len < 1)
        return QString::fromLatin1("DMC50 no response");
    if (m_rsp_len < Cpl::ShortestReply)
        return QString::fromLatin1(short_reply);
    if (!CPLValidateChecksum(m_rsp_buf.data(), m_rsp_len))
        return QString::fromLatin1("checksum error");
    if (getStationIdFromRsp() != station_id)
        return QString::fromLatin1("invalid station id from DMC50");
    if (getEndCodeFromRsp() != 0)
        return formatted("end code %02XH", getEndCodeFromRsp());
    return QString();
}

bool PollingThread::checkReadRsp(uchar station_id, ulong start_address)
{
    const QString fault = replyFault(station_id, "read: packet loss");
    if (fault.isEmpty())
        return true;
    setCommError(formatted("read station id#%u start address %08X:", station_id,
                           static_cast<quint32>(start_address)) +
                 fault);
    return false;
}

bool PollingThread::checkWriteRsp(uchar station_id, ulong address)
{
    const QString fault = replyFault(station_id, "packet loss");
    if (fault.isEmpty())
        return true;
    setCommError(
        formatted("write station id#%u address %08X", station_id, static_cast<quint32>(address)) +
        fault);
    return false;
}

/// The double word whose eight digits begin at a position of the reply; false when they are not
/// all there. The checksum cannot tell: a reply may be whole and yet shorter than what was asked.
bool PollingThread::getDWordFromRsp(int position, quint32 &value) const
{
    if (position + Cpl::DWordDigits > m_rsp_len - Cpl::ReplyTail)
        return false;
    return CPLParseHex(&m_rsp_buf[size_t(position)], Cpl::DWordDigits, value);
}

void PollingThread::storeRsp(ValueMap &values, const ulong *addresses, int num_of_addresses) const
{
    const int digits_there = m_rsp_len - Cpl::ReplyTail - Cpl::DataPosition;
    const int values_there = std::min(num_of_addresses, digits_there / Cpl::DWordDigits);
    const char *digits = &m_rsp_buf[Cpl::DataPosition];
    // Polled addresses ascend, so a value's place is mostly the one behind the last value's.
    ValueMap::iterator place = values.lower_bound(addresses[0]);
    for (int k = 0; k < values_there; ++k, digits += Cpl::DWordDigits) {
        quint32 value = 0;
        if (!CPLParseHex(digits, Cpl::DWordDigits, value))
            continue;
        if (place == values.end() || place->first != addresses[k])
            place = values.insert(place, ValueMap::value_type(addresses[k], value));
        place->second = value;
        ++place;
    }
}

void PollingThread::readRspToDataCacheMap(uchar station_id, ulong *addresses, int num_of_addresses)
{
    assert(addresses != 0);
    assert(num_of_addresses > 0);
    const QMutexLocker locker(&m_data_cache_mutex);
    storeRsp(m_data_cache_map[station_id], addresses, num_of_addresses);
}

void PollingThread::readRspToReadOnceDataMap(uchar station_id, ulong *addresses,
                                             int num_of_addresses)
{
    assert(addresses != 0);
    assert(num_of_addresses > 0);
    const QMutexLocker locker(&m_read_once_mutex);
    storeRsp(m_read_once_data_map[station_id], addresses, num_of_addresses);
    for (int i = 0; i < num_of_addresses; ++i)
        noteRunOfAbandonedRead(station_id, addresses[i]);
}

// ---- Errors of the line ------------------------------------------------------------------------

void PollingThread::setCommError(const QString &message)
{
    const QMutexLocker locker(&m_error_mutex);
    m_error = true;
    m_last_error = message;
}

/// For a request that there was no memory for: there may be none for the text, either.
void PollingThread::setCommErrorWithoutText()
{
    const QMutexLocker locker(&m_error_mutex);
    m_error = true;
}

bool PollingThread::hasError()
{
    const QMutexLocker locker(&m_error_mutex);
    return m_error;
}

QString PollingThread::getLastError()
{
    const QMutexLocker locker(&m_error_mutex);
    return m_last_error;
}

void PollingThread::clearError()
{
    const QMutexLocker locker(&m_error_mutex);
    m_error = false;
}

// ---- Low latency -------------------------------------------------------------------------------

void PollingThread::setLowLatency(const std::set<uchar> &stations)
{
    const QMutexLocker locker(&m_low_latency_mutex);
    m_low_latency_stations = stations;
}

int PollingThread::numOfLowLatencyStation()
{
    const QMutexLocker locker(&m_low_latency_mutex);
    return static_cast<int>(m_low_latency_stations.size());
}

void PollingThread::initLowLatencyAddrArgs()
{
    m_low_latency_addr_args.assign(std::begin(LowLatencyWrites), std::end(LowLatencyWrites));
}

void PollingThread::initLowLatencyStations()
{
    assert(m_low_latency_addr_args.size() > 0);
    const QMutexLocker locker(&m_low_latency_mutex);
    for (const uchar station_id : m_low_latency_stations)
        writeDWords(station_id, m_low_latency_addr_args);
}

void PollingThread::kickLowLatencyWatchDog()
{
    assert(m_low_latency_addr_args.size() > 0);
    const QMutexLocker locker(&m_low_latency_mutex);
    for (const uchar station_id : m_low_latency_stations)
        writeDWord(station_id, m_low_latency_addr_args.front());
}

bool PollingThread::checkLowLatency()
{
    assert(m_low_latency_addr_args.size() > 0);
    const QMutexLocker locker(&m_low_latency_mutex);
    for (const uchar station_id : m_low_latency_stations) {
        ulong address = LowLatencyStateAddress;
        if (m_stop || !requestRead(station_id, &address, 1))
            return false;
        clearError();
        quint32 state = 0;
        if (!getDWordFromRsp(Cpl::DataPosition, state) || state != LowLatencyStateOn)
            return false;
    }
    return true;
}

/// Stations may be named after the thread's start, so the writes are built when first needed.
void PollingThread::queueLowLatencyWrites()
{
    if (m_low_latency_addr_args.empty())
        initLowLatencyAddrArgs();
    initLowLatencyStations();
}

void PollingThread::startLowLatency()
{
    queueLowLatencyWrites();
    m_low_latency_init_time = m_clock->msecsSinceBoot();
    m_low_latency_watchdog_time = m_low_latency_init_time;
    m_low_latency_enabled = true;
}

void PollingThread::superviseLowLatency()
{
    if (!m_low_latency_enabled ||
        m_clock->msecsSinceBoot() - m_low_latency_watchdog_time < LowLatencyWatchdogPeriod)
        return;
    if (checkLowLatency()) {
        m_low_latency_enabled = false;
    } else {
        queueLowLatencyWrites();
        m_low_latency_watchdog_time = m_clock->msecsSinceBoot();
    }
}

void PollingThread::renewLowLatency()
{
    if (numOfLowLatencyStation() > 0 &&
        m_clock->msecsSinceBoot() - m_low_latency_init_time >= LowLatencyRenewPeriod)
        startLowLatency();
}

// ---- The loop ----------------------------------------------------------------------------------

/// A pass that there was no memory for ends, and the next one begins anew.
void PollingThread::run()
{
    do {
        try {
            begin();
            while (!m_stop)
                pass();
        } catch (const std::bad_alloc &) {
            m_clock->sleep(IdlePause);
        }
    } while (!m_stop);
}

void PollingThread::begin()
{
    m_tx_buf.assign(Cpl::BufferSize, '\0');
    m_rsp_buf.assign(Cpl::BufferSize, '\0');
    if (numOfLowLatencyStation() > 0)
        startLowLatency();
}

void PollingThread::pass()
{
    takeOverSession();
    sendQueuedWrites();
    superviseLowLatency();
    const bool polled = pollPass();
    const bool served = serveOnDemandReads();
    renewLowLatency();
    if (!polled && !served) {
        clearError();
        m_clock->sleep(IdlePause);
    }
}

void PollingThread::takeOverSession()
{
    if ((getFlag() & SessionChanged) == 0)
        return;
    clearFlag(SessionChanged | SessionCleared);
    try {
        m_cache_addr_map.clear();
        sessionAddrMapToCacheAddrMap();
        clearDataCacheMap();
    } catch (const std::bad_alloc &) {
        setFlag(SessionChanged); // it still waits
        throw;
    }
}

void PollingThread::sendQueuedWrites()
{
    if (!addrArgQueueMapIsEmpty())
        addrArgQueueToDMC50();
}

/// Polls every chunk once, or up to the first one after which something more urgent waits.
/// \return whether the pass ended on a station with something to poll
bool PollingThread::pollPass()
{
    bool polled = false;
    for (auto &station : m_cache_addr_map) {
        AddressVector &addresses = station.second;
        polled = !addresses.empty();
        for (size_t first = 0; first < addresses.size(); first += Cpl::MaxReadAddresses) {
            const size_t rest = addresses.size() - first;
            pollChunk(station.first, &addresses[first],
                      static_cast<int>(std::min<size_t>(rest, Cpl::MaxReadAddresses)));
            if (passMustEnd())
                return true;
        }
    }
    return polled;
}

bool PollingThread::passMustEnd()
{
    return getFlag() != 0 || !readAddrQueueMapIsEmpty() || m_stop;
}

void PollingThread::pollChunk(uchar station_id, ulong *addresses, int count)
{
    for (quint32 attempt = 0; !m_stop; ++attempt) {
        sendQueuedWrites();
        if (m_stop)
            return;
        if (requestRead(station_id, addresses, count)) {
            readRspToDataCacheMap(station_id, addresses, count);
            clearError();
            return;
        }
        if (attempt >= m_retry)
            return;
    }
}

bool PollingThread::serveOnDemandReads()
{
    if (readAddrQueueMapIsEmpty())
        return false;
    readAddrQueueMapToReadOnceDataMap();
    return true;
}
