// The one owner of the line to the controllers.

#ifndef CPL_DMC50_POLLING_THREAD_H
#define CPL_DMC50_POLLING_THREAD_H

#include <atomic>
#include <map>
#include <queue>
#include <set>
#include <vector>

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QRegExp>
#include <QString>
#include <QThread>

#include "common/clock.h"
#include "cpl/dmc50_cpl.h"
#include "driver/dmc50_share.h"
#include "driver/drv_dev_setting.h"

class AbstractDeviceInterface;

/// Does all traffic on one line: polls the addresses of the current session into a cache, reads
/// other addresses once on demand, sends queued writes ahead of both and keeps the low-latency
/// stations in their mode.
///
/// Threads: the runtime's threads queue requests and take results; `run` and what is said below to
/// be the line's belong to this thread alone. They meet in the members that a mutex guards. An
/// operation takes one mutex at a time. The two exceptions: the read-queue mutex is held while
/// on-demand reads are served, the low-latency mutex while writes are queued for the low-latency
/// stations or these are checked; both only take mutexes that are held for a few instructions.
///
/// Memory: an operation that finds none throws std::bad_alloc, and a queue or a cache may have a
/// part of what it was given. The thread itself goes on: a request that there was no memory for has
/// failed like one without an answer, and everything else is tried anew in the next pass.
///
/// Stations are numbers from 1 to 255, addresses and values 32-bit words.
class PollingThread : public QThread
{
public:
    /// Reads time-out, retries and delay from the link, once.
    ///
    /// \param interface  the line; not owned, outlives the thread; not null
    /// \param valid_addresses_map  the addresses that the project defines, ascending for each
    ///                   station; not owned, unchanged while the thread lives; not null
    /// \param default_station_id  station of addresses without a prefix; 1 to 255
    /// \param clock      what the thread and its readers measure and wait by; not owned
    PollingThread(AbstractDeviceInterface *interface, const AddressVectorMap *valid_addresses_map,
                  uchar default_station_id, Clock *clock = Clock::system());

    /// Asks the thread and its waiting readers to end. Returns at once, from any thread; `run` ends
    /// at the latest when the request on the line was answered or timed out. The owner calls this
    /// and `wait` before it deletes the thread.
    void stop();

    // ---- Flags; any thread -------------------------------------------------------------------

    /// Bits of the flag byte. Any of them cuts a pass over the polled addresses short.
    enum Flag {
        SessionChanged = 1, ///< a new session waits to be taken over
        SessionCleared = 2  ///< the session was cleared; stays set until the next one is announced
    };
    void setFlag(uchar bits);
    void clearFlag(uchar bits);
    uchar getFlag();

    // ---- Session; the runtime's communication thread ------------------------------------------

    /// Replaces the session: from the next pass on, the thread polls the addresses of `commands`
    /// that the project defines. A command stands for as many consecutive addresses as its length
    /// says. The driver's own tags are passed over; a station that the project does not know, or an
    /// address text of no known form, ends the program.
    void setSessionCommand(const QList<CommunicatorCommand> &commands);

    /// Marks the session as cleared: until the next one is announced, only the first chunk of the
    /// lowest station is polled.
    void clearSessionCommand();

    /// Empties the announced session without a mark.
    void clearSessionAddrMap();

    /// Takes apart an address text with or without station prefix. Without one, the station is the
    /// default station. A text of no known form ends the program; the result is always true. Only
    /// for the thread that sets the session.
    bool parseAddrStr(const QString &address, ulong &wordAddress, uchar &station);

    // ---- Reading; the runtime's threads --------------------------------------------------------

    /// Takes polled values out of the cache. Waits while the line has an error, at most time-out x
    /// (retries + 1) milliseconds.
    /// \param addresses     what to read
    /// \param data_indexes  parallel to `addresses`: the number of the 32-bit word in `data` where
    ///                      the value goes, least significant byte first
    /// \param data          long enough for every index; what is missing stays as it is
    /// \param miss_addresses, miss_data_indexes
    ///                      what the cache does not hold is appended; the whole request replaces
    ///                      them when nothing of the station is cached
    /// \return false: the error outlasted the wait, or the thread was stopped during it
    bool readDataCacheMap(uchar station_id, const AddressVector &addresses,
                          const UCharVector &data_indexes, QByteArray &data,
                          AddressVector &miss_addresses, UCharVector &miss_data_indexes);

    /// Has addresses read once over the line and takes the values; they are handed out once. Waits
    /// at most time-out x (retries + 1) milliseconds. Arguments as for `readDataCacheMap`.
    /// \return false: not all values came in time, or the thread is stopping
    bool readOnceData(uchar station_id, QByteArray &data, AddressVector &addresses,
                      UCharVector &data_indexes);

    bool addrInDataCache(uchar station_id, ulong address);
    bool addrInReadOnceDataMap(uchar station_id, ulong address);

    /// \param value  gets the cached value; unchanged when there is none
    bool getDWordFromDataCacheMap(uchar station_id, ulong address, ulong &value);

    void insertDWordToReadOnceDataMap(uchar station_id, ulong address, ulong value);
    void clearDataCacheMap();

    /// Queues addresses to be read once. Waits for on-demand reads that are already on the line.
    void pushReadAddresses(uchar station_id, const AddressVector &addresses);
    bool readAddrQueueMapIsEmpty();

    // ---- Writing; any thread -------------------------------------------------------------------

    /// Queue writes, in the order given. True means queued, not written.
    /// \return false, and nothing is queued, while the line has an error
    bool writeDWord(uchar station_id, const AddrArg &arg);
    bool writeDWords(uchar station_id, const std::vector<AddrArg> &args);

    bool addrArgQueueMapIsEmpty();

    /// The number of writes queued for a station.
    int getAddrArgQueueSize(uchar station_id);

    // ---- Errors of the line; any thread --------------------------------------------------------

    void setCommError(const QString &message);
    bool hasError();
    /// The last error's text; stays when the error is cleared.
    QString getLastError();
    void clearError();

    // ---- Low latency ---------------------------------------------------------------------------

    /// Replaces the set of stations to keep in low-latency mode; any thread.
    void setLowLatency(const std::set<uchar> &stations);
    int numOfLowLatencyStation();

    // ---- The line's own; the polling thread only -----------------------------------------------

    void run() override;

    void resetRspBuf();
    /// Collects reply bytes up to a line feed, a silent link or the buffer's end. The buffer must
    /// have room left.
    /// \return the number of bytes that came
    int readRspUntilLF();
    uchar getStationIdFromRsp() const;
    uchar getEndCodeFromRsp() const;

    /// Judge the reply in the buffer against the request's station and first address. A failure
    /// becomes the error of the line.
    bool checkReadRsp(uchar station_id, ulong start_address);
    bool checkWriteRsp(uchar station_id, ulong address);

    /// Store the values of a good RN reply under the request's addresses. A value is stored only
    /// when its eight digits came and are hexadecimal.
    void readRspToDataCacheMap(uchar station_id, ulong *addresses, int num_of_addresses);
    void readRspToReadOnceDataMap(uchar station_id, ulong *addresses, int num_of_addresses);

    /// Adds the session's addresses to the polled ones.
    void sessionAddrMapToCacheAddrMap();
    /// Drops the session and stops polling its addresses.
    void endSession();
    /// Polls queued on-demand addresses cyclically from now on.
    void readAddrQueueMapToCacheAddrMap();

    /// Sends the queued writes. False: an error stands, a batch failed on every try (it is
    /// dropped), or the thread is stopping.
    bool addrArgQueueToDMC50();
    /// Serves the queued on-demand reads.
    void readAddrQueueMapToReadOnceDataMap();

    void initLowLatencyAddrArgs();
    /// Queues the mode's writes for every low-latency station.
    void initLowLatencyStations();
    /// Queues the first of these writes for every low-latency station.
    void kickLowLatencyWatchDog();
    /// Asks every low-latency station, once, whether it is in the mode.
    bool checkLowLatency();

private:
    typedef std::map<ulong, ulong> ValueMap;
    typedef std::map<uchar, ValueMap> ValueMapMap;
    typedef std::vector<AddrArg> AddrArgVector;
    typedef std::map<ulong, quint32> RunMap; ///< address to the run that read it last

    // Steps of one pass.
    void begin();
    void pass();
    void startLowLatency();
    void takeOverSession();
    void sendQueuedWrites();
    void superviseLowLatency();
    bool pollPass();
    bool serveOnDemandReads();
    void renewLowLatency();
    bool passMustEnd();

    // Requests.
    void pollChunk(uchar station_id, ulong *addresses, int count);
    void readChunkOnce(uchar station_id, ulong *addresses, int count);
    AddressVector takeUncachedAddresses(uchar station_id, std::queue<ulong> &queue);
    bool takeWrites(uchar &station_id, AddrArgVector &args);
    bool sendWrites(uchar station_id, AddrArgVector &args);
    bool requestRead(uchar station_id, ulong *addresses, int count);
    bool requestWrite(uchar station_id, AddrArgVector &args);
    bool pauseBeforeRequest();
    void exchange(int request_size);
    void setCommErrorWithoutText();

    // Replies.
    QString replyFault(uchar station_id, const char *short_reply) const;
    bool getDWordFromRsp(int position, quint32 &value) const;
    void storeRsp(ValueMap &values, const ulong *addresses, int num_of_addresses) const;

    // Readers.
    qint64 requestDeadline() const;
    static void takeCachedData(const ValueMap &cached, const AddressVector &addresses,
                               const UCharVector &data_indexes, QByteArray &data,
                               AddressVector &miss_addresses, UCharVector &miss_data_indexes);
    bool takeReadOnceData(uchar station_id, QByteArray &data, const AddressVector &addresses,
                          const UCharVector &data_indexes);
    quint32 queueReads(uchar station_id, const AddressVector &addresses);
    void forgetAbandonedReads(uchar station_id, const AddressVector &addresses, quint32 last_run);
    void abandonReads(uchar station_id, const AddressVector &addresses);
    void noteRunOfAbandonedRead(uchar station_id, ulong address);

    void addSessionAddresses(const CommunicatorCommand &command);
    void queueLowLatencyWrites();

    AbstractDeviceInterface *m_interface;
    const AddressVectorMap *m_valid_addresses_map;
    Clock *m_clock;
    qint64 m_low_latency_init_time;     ///< ms since boot; the line's
    qint64 m_low_latency_watchdog_time; ///< ms since boot; the line's
    qint64 m_timeout;                   ///< of one request, ms; fixed
    int m_rsp_len;                      ///< bytes in m_rsp_buf; the line's
    quint32 m_interval;                 ///< pause before each frame, ms; fixed
    quint32 m_retry;                    ///< repeats of a failed request; fixed
    uchar m_default_station_id;         ///< fixed
    uchar m_flags;                      ///< bits of Flag; m_flag_mutex
    std::atomic<bool> m_stop;
    bool m_error;                                             ///< m_error_mutex
    bool m_low_latency_enabled;                               ///< the watchdog is armed; the line's
    QRegExp m_pa_regexp;                                      ///< m_session_mutex
    QRegExp m_na_regexp;                                      ///< m_session_mutex
    std::map<ulong, std::set<ulong>> m_session_addr_map;      ///< m_session_mutex
    AddressVectorMap m_cache_addr_map;                        ///< what is polled; the line's
    std::map<uchar, std::queue<ulong>> m_read_addr_queue_map; ///< m_read_queue_mutex
    ValueMapMap m_data_cache_map;                             ///< m_data_cache_mutex
    ValueMapMap m_read_once_data_map;                         ///< m_read_once_mutex
    std::map<uchar, RunMap> m_abandoned_read_map;             ///< m_read_once_mutex
    std::atomic<quint32> m_on_demand_runs; ///< begun so far; changes under m_read_queue_mutex
    std::map<uchar, std::queue<AddrArg>> m_addr_arg_queue_map; ///< m_write_queue_mutex
    std::set<uchar> m_low_latency_stations;                    ///< m_low_latency_mutex
    AddrArgVector m_low_latency_addr_args;                     ///< the line's
    QMutex m_session_mutex;
    QMutex m_flag_mutex;
    QMutex m_read_queue_mutex;
    QMutex m_error_mutex;
    QMutex m_data_cache_mutex;
    QMutex m_read_once_mutex;
    QMutex m_reserved_mutex_1; ///< guards nothing; keeps the number of mutexes as documented
    QMutex m_write_queue_mutex;
    QMutex m_reserved_mutex_2; ///< guards nothing, likewise
    QMutex m_low_latency_mutex;
    std::vector<char> m_rsp_buf; ///< the line's
    std::vector<char> m_tx_buf;  ///< the line's
    QString m_last_error;        ///< m_error_mutex
};

#endif // CPL_DMC50_POLLING_THREAD_H
