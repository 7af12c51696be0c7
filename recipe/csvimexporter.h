// Programs between a controller and a USB stick, driven by the tags that begin with "VVT_".

#ifndef RECIPE_CSVIMEXPORTER_H
#define RECIPE_CSVIMEXPORTER_H

#include <atomic>
#include <memory>

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>

#include "common/clock.h"
#include "driver/drv_dev_setting.h"
#include "recipe/driver_gate.h"
#include "recipe/program_file.h"
#include "recipe/station_line.h"

class AbstractDeviceInterface;
class DriverDMC50v3;
class NarrowCodec;
class QThread;
class QTimer;
class ZCSVLoader;
class ZCSVSaver;
class dialogWrapper;

/// Answers the tags of the program transfer and does the transfers, one at a time, in a thread of
/// its own: the export reads a program's steps out of a controller into "PROG_5.txt" on the stick,
/// the import writes such a file into a controller. Both report by tags, by the message panel and
/// by an error log on the stick.
///
/// A transfer keeps to the station, the program and the number of steps that were set when it
/// began. Of several files that match, the operator chooses one; in a program without widgets the
/// first is taken.
///
/// Threads: "the driver's" operations belong to the runtime's communication thread. The tags are
/// single values that one thread writes and the other samples.
///
/// Lifetime: `setDriverDMC50v3_DeviceInterface` starts the worker thread, into which the object
/// moves; from then on it ends by `end` only, and an object that was never started is deleted.
class CSVImExporter : public QObject
{
    Q_OBJECT

public:
    /// \param parent  null for an object that is to be started
    /// \param clock   what a transfer waits and measures by; not owned, outlives the object
    explicit CSVImExporter(QObject *parent, Clock *clock = Clock::system());
    ~CSVImExporter() override;

    // ---- Set-up; the driver's ------------------------------------------------------------------

    /// Adds addresses of program data that the project defines. Duplicates are dropped.
    void setRcpDataCommandAddrList(const QStringList &addresses);

    /// Starts the worker thread. Once.
    /// \param driver  not owned; not touched any more once `end` has been called
    /// \param link    likewise
    void setDriverDMC50v3_DeviceInterface(DriverDMC50v3 *driver, AbstractDeviceInterface *link);

    // ---- The end; any thread -------------------------------------------------------------------

    /// From now on no call enters the driver, waits end, and a transfer ends without a report: the
    /// driver is going. For good. A call that is in the driver goes on.
    void closeDriver();

    /// Whether a call of the worker is in the driver.
    bool isInDriver() const { return m_gate.isBusy(); }

    /// Ends the worker and deletes the object. Waits for what the worker does: a file that is being
    /// written, or a call of the driver. Only for the operator it does not wait: a file dialog is
    /// closed, and a caller who keeps the user-interface thread from doing so (because he is it, in
    /// the dialog's event loop, or because it waits for him) is not kept waiting. The worker then
    /// ends by itself, and deletes the object, when the dialog is gone.
    void end();

    // ---- Tags; the driver's --------------------------------------------------------------------

    /// Answers a read of a "VVT_" tag; an unknown one leaves the data as they are.
    /// \param data  the command's data size, zeros
    void processReadCommand(const CommunicatorCommand &command, QByteArray &data);

    /// Acts on a write of a "VVT_" tag; an unknown one is ignored. The start of an import takes
    /// half a second.
    void processWriteCommand(const CommunicatorCommand &command, const QByteArray &data);

    /// Start a transfer, unless one of the kind is running.
    void writeDataToDMC50();
    void readDataFromDMC50();

    bool writingToDMC50Enable() const { return m_writing; }
    bool readingFromDMC50Enable() const { return m_reading; }
    uchar writingToDMC50Error() const { return m_writing_error; }
    uchar readingFromDMC50Error() const { return m_reading_error; }
    void resetWritingToDMC50Error() { m_writing_error = 0; }
    void resetReadingFromDMC50Error() { m_reading_error = 0; }
    /// Percent, 0 to 100.
    int writingToDMC50Progress() const { return m_writing_progress; }
    int readingFromDM50Progress() const { return m_reading_progress; }
    void setProgID(int id) { m_prog_id = id; }
    int progID() const { return m_prog_id; }
    void setProgCount(int count) { m_prog_count = count; }
    int progCount() const { return m_prog_count; }

signals:
    void readDataFromDMC50Signal();
    void writeDataToDMC50Signal();
    /// For the message panel; the last argument has it shown at once.
    void showMessage(QString title, QString text, bool showInstant);

public slots:
    // The worker's.
    void readDataFromDMC50Slot();
    void writeDataToDMC50Slot();
    void resetReadingFlag();

private slots:
    void leave();

private:
    enum Tag {
        WritingEnable,
        ReadingEnable,
        WritingError,
        ReadingError,
        ProgramId,
        ProgramCount,
        WritingProgress,
        ReadingProgress,
        UnknownTag
    };
    static Tag tagOf(const QString &address);
    int tagValue(Tag tag) const;

    // What both transfers need.
    void beginTransfer(int station);
    void initReadWriteCommandList();
    bool isDefined(const CommunicatorCommand &step) const;
    bool wait(int ms);
    bool driverGoes() const { return m_gate.isClosed(); }
    void tell(const QString &text);
    QString getStorageMountPath();
    QString stickPath(bool &ok);
    QString getErrorLogFileName(int type, bool &ok);
    static void clearTheWay(const QString &path);
    void writeLog(const QString &path, const QStringList &errors);
    void outputErrorLog(const QStringList &errors, const int &type);

    // Modes of getFileName and types of the error log.
    enum { ReadMode = 0, WriteMode = 1 };
    QString getFileName(const int &progId, bool &ok, int mode);
    QString findFile(const QString &folder, int program);
    QString askForFile(const QStringList &files);
    bool beginDialog(dialogWrapper *dialog);
    void endDialog();

    // The export.
    void exportProgram(const QString &path);
    void exportTemplate(const QString &path, const NarrowCodec &labels);
    void exportSteps(const QString &path, const NarrowCodec &labels);
    bool readSteps(const NarrowCodec &labels, QList<QStringList> *table, QStringList *errors);
    bool readStep(const CommunicatorCommand &step, QByteArray *values);
    void saveTable(const QList<QStringList> &table, const QString &path);
    bool save(const QList<QStringList> &table, const QString &path);

    // The import.
    enum ImportEnd {
        Told,   ///< success, or a failure whose flag is set if it has one
        Refused ///< the flag is to be set with the end
    };
    ImportEnd importProgram();
    bool loadTable(const QString &path, QList<QStringList> *rows, ImportEnd *end);
    ImportEnd refuse(const QString &text);
    QList<QByteArray> blocksOf(const QList<QStringList> &rows, QStringList *errors) const;
    void writeSteps(const QList<QByteArray> &blocks);
    bool followWriteQueue();

    // Through the gate; the driver may be gone.
    void setDriverBusy(bool busy);
    QByteArray readDriverDWords(const CommunicatorCommand &step);
    void writeDriver(const CommunicatorCommand &step, const QByteArray &block);
    quint32 writeQueueSize();

    bool abandonWorker(bool patient);
    bool isAbandoned();

    Clock *const m_clock;
    DriverDMC50v3 *m_driver;              ///< not owned; behind m_gate
    AbstractDeviceInterface *m_interface; ///< not owned; the driver's thread, and behind m_gate
    DriverGate m_gate;
    std::unique_ptr<ZCSVLoader> m_loader; ///< null until the first import; the worker's
    std::unique_ptr<ZCSVSaver> m_saver;   ///< null until the first export; the worker's
    std::atomic<bool> m_writing;
    std::atomic<bool> m_reading;
    std::atomic<uchar> m_writing_error;
    std::atomic<uchar> m_reading_error;
    std::atomic<int> m_writing_progress;
    std::atomic<int> m_reading_progress;
    std::atomic<int> m_prog_id;
    std::atomic<int> m_prog_count;
    std::atomic<int> m_writing_station; ///< of the last start
    std::atomic<int> m_reading_station;
    QThread *m_thread;                         ///< owned
    QTimer *m_reset_timer;                     ///< a child; the worker's
    QList<CommunicatorCommand> m_command_list; ///< the worker's
    QStringList m_rcp_data_command_addr_list;  ///< the driver's, the worker's once started
    QStringList m_invalid_addresses;           ///< the worker's
    StationLine m_line;                        ///< of the running transfer; the worker's
    int m_program;                             ///< likewise
    int m_steps;                               ///< likewise
    QMutex m_dialog_mutex;
    dialogWrapper *m_dialog; ///< that the worker waits for; not owned; m_dialog_mutex
    bool m_abandoned;        ///< the worker deletes the object; m_dialog_mutex
};

#endif // RECIPE_CSVIMEXPORTER_H
