// The driver that the runtime loads: DMC50 controllers on one line.

#ifndef DRIVER_DMC50V3_H
#define DRIVER_DMC50V3_H

#include <atomic>
#include <memory>
#include <set>

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QRegExp>
#include <QString>
#include <QStringList>

#include "driver/dmc50_share.h"
#include "hmi/driverinterface.h"

class CSVImExporter;
class PollingThread;

/// Answers the runtime's reads from the values that its polling thread collects, and hands writes
/// to that thread; it never touches the line itself.
///
/// The addresses that exist are those of the project's database, which is read by the first `read`
/// or `write`; these also start the polling thread. A command whose address has no known form, or
/// names a station or a datum that the project does not define, is an error of the project and ends
/// the program through an assertion.
///
/// Memory: where there is none, `read`, `write` and the table fail as for any other reason, and the
/// next call tries again.
///
/// Threads: one thread makes all calls, with two exceptions. The driver may be destroyed by another
/// thread while a `read` or a `write` is in progress, if that thread knows the call to have begun
/// (it has when the call asks its link something). The call then ends as a failure, the destructor
/// waits for it, and there must be no further call. And the program transfer that the driver makes
/// for the tags "VVT_..." reads and writes in a thread of its own: `read`, `write`, `readDWords`,
/// `parseAddrStr` and the error operations are safe for both. Of two on-demand reads one waits for
/// the other.
class DriverDMC50v3 : public QObject, public DriverInterface
{
    Q_OBJECT
    Q_INTERFACES(DriverInterface)
#if QT_VERSION >= 0x050000
    Q_PLUGIN_METADATA(IID DRIVER_INTERFACE_IID)
#endif

public:
    DriverDMC50v3();

    /// Ends the program transfer, if there is one, and the polling thread, and waits for them:
    /// until the request on the line was answered or timed out, the pause before a request is over,
    /// or a file that is being written is on the stick. Nothing of either runs afterwards, with one
    /// exception, when the transfer asks the operator for a file: see `CSVImExporter::end`.
    ~DriverDMC50v3() override;

    // ---- The runtime's calls -------------------------------------------------------------------

    int totalSize() override;
    int write(AbstractDeviceInterface *link, const CommunicatorCommand &cmd,
              const QByteArray &data) override;
    QByteArray read(AbstractDeviceInterface *link, const CommunicatorCommand &cmd) override;
    bool initialize(AbstractDeviceInterface *link) override;
    bool validation(const QString &address) override;
    QString name() override;
    QString vender() override;
    QString getVersionNumber() override;
    DeviceSetting *getDefaultSerialDeviceSetting() override;
    DriverSetting *getDefaultDriverSetting() override;
    QString getStringBasedDefaultDriverSetting() override;
    int supportedCommunicationFlags() override;
    void setDebugMode(bool on) override;
    int getBlockAccessSize() override;
    int getBitBlockAccessSize() override;
    bool hasError() override;
    QString getLastError() override;
    QObject *getThisObject() override;
    bool isSupportSessionCommand() override;
    void setSessionCommand(QList<CommunicatorCommand> commands) override;
    void clearSessionCommand() override;

    // ---- The driver's own error; the line's is the polling thread's and goes before it ----------

    void clearError();
    void setCommError(const QString &text);
    /// Puts a prefix in front of the error text unless that holds a ":" already.
    void addStrToFrontOfErrorDescription(const QString &text);

    // ---- Reading and writing behind the tags ---------------------------------------------------

    /// Reads consecutive double words. Addresses that the project does not define read 0.
    /// \param count  1 to 255, of which at least one must be defined; of a greater count the low 8
    ///               bits say how many are read
    /// \return 4 bytes a double word, least significant first; empty on failure
    QByteArray readDWords(uchar station, ulong address, int count);

    /// Reads consecutive bits.
    /// \param bitAddress  address text with bit suffix, without station prefix
    /// \return the bits from bit 0 of the first byte on, unused bits 0; empty on failure
    QByteArray readBits(uchar station, const QString &bitAddress, uint bitCount);

    /// Queues consecutive double words. Those that the project does not define are dropped.
    /// \param dwords  4 bytes a double word, least significant first; at least one
    bool writeDWords(uchar station, ulong address, const QByteArray &dwords);

    /// Reads the double words around some bits, changes the bits and queues the double words.
    /// \param bits  from bit 0 of the first byte on; missing ones are 0
    /// \return 1, or 0 when the double words could not be read
    int writeBits(uchar station, const QString &bitAddress, const QByteArray &bits, uint bitCount);

    /// Collects which of `count` addresses from `address` on are in `valid`, into the driver's
    /// scratch lists. Returns how many. One caller at a time.
    int getCommAddressesAndDataIndexes(ulong address, uchar count, const AddressVector &valid);

    /// While set, `read` gives nothing but the driver's own tags. Any thread.
    void setTransferBusy(bool busy);

    // ---- Address texts without station prefix --------------------------------------------------

    ulong parseAddrStr(const QString &address);
    /// \return true always; a text of no known form ends the program
    bool parseBitAddr(const QString &address, ulong &wordAddress, uint &bit);

    // ---- Set-up --------------------------------------------------------------------------------

    /// Reads the project's database, if that has not been done.
    /// \param device  the link's port name, for example "COM2"
    /// \return false, with the reason as the driver's error; the next call tries again
    bool readDB(const QString &device);
    bool createDBConnection();
    bool getLinkIdAndDefaultStationId(int hmiPort, int &linkId, uchar &stationId);
    bool initValidAddressesMap(int linkId, uchar defaultStation);

    /// Starts the polling thread on a link and hands it what was kept for it.
    void createThread(AbstractDeviceInterface *link);

private:
    class CallInProgress;

    bool prepare(AbstractDeviceInterface *link);
    void reopenDB();
    bool buildTable(const QString &device);
    bool hasEmptyAddress(int linkId) const;
    void forgetTable();
    bool isCutShort() const;
    void addProjectAddress(const QString &address, uchar defaultStation, bool *moreToCome);
    void addLowLatencyStation(const QString &address, uchar defaultStation);
    QByteArray readTag(AbstractDeviceInterface *link, const CommunicatorCommand &cmd);
    int writeTag(AbstractDeviceInterface *link, const CommunicatorCommand &cmd,
                 const QByteArray &data);
    QByteArray readTransferTag(AbstractDeviceInterface *link, const CommunicatorCommand &cmd);
    QByteArray readWriteQueueSize(AbstractDeviceInterface *link, int size);
    QByteArray readData(AbstractDeviceInterface *link, const CommunicatorCommand &cmd);
    int writeData(AbstractDeviceInterface *link, const CommunicatorCommand &cmd,
                  const QByteArray &data);
    QByteArray readAroundBits(uchar station, const QString &bitAddress, uint bitCount,
                              ulong &wordAddress, uint &bit);
    bool callsAreUnderWay();
    void endTransfers();
    void stopThread();
    CSVImExporter *transfers(AbstractDeviceInterface *link);

    bool m_has_error; ///< m_error_mutex
    bool m_debug_mode;
    bool m_db_opened;
    bool m_valid_addresses_ready;
    uchar m_default_station_id;
    QRegExp m_station_pa_regexp; ///< patterns keep what they found last: m_pattern_mutex
    QRegExp m_pa_regexp;         ///< likewise
    QRegExp m_station_na_regexp; ///< likewise
    QRegExp m_na_regexp;         ///< likewise
    QRegExp m_pa_bit_regexp;     ///< likewise
    QRegExp m_na_bit_regexp;     ///< likewise
    QString m_connection_name;
    QString m_last_error; ///< m_error_mutex
    AddressVectorMap m_valid_addresses_map;
    AddressVector m_comm_addresses; ///< of getCommAddressesAndDataIndexes; m_scratch_mutex
    UCharVector m_data_indexes;     ///< likewise, parallel
    std::set<uchar> m_low_latency_stations;
    std::unique_ptr<PollingThread> m_thread;
    QList<CommunicatorCommand> m_session_commands;  ///< kept until the thread exists
    std::atomic<CSVImExporter *> m_csv_im_exporter; ///< null until a "VVT_" tag is used; owned
    QStringList m_rcp_data_command_addr_list;      ///< NA texts of the project, as they stand there
    std::atomic<bool> m_transfer_busy;             ///< a program is being read out of a controller
    std::atomic<PollingThread *> m_running_thread; ///< m_thread, for a destructor on another thread
    std::atomic<int> m_calls_in_progress;          ///< of read and write
    QMutex m_error_mutex;
    QMutex m_pattern_mutex;
    QMutex m_scratch_mutex;
    QMutex m_on_demand_mutex; ///< held during an on-demand read: a value is handed out once
};

/// Creates a driver; the caller owns it. Exported by the plug-in.
extern "C" Q_DECL_EXPORT DriverInterface *CreateDriver();

/// The text by which a Qt 4.8 loader recognises a plug-in of its own build. Exported by the
/// plug-in.
extern "C" Q_DECL_EXPORT const char *qt_plugin_query_verification_data();

#endif // DRIVER_DMC50V3_H
