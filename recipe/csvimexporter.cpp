#include "recipe/csvimexporter.h"

#include <algorithm>

#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QThread>
#include <QTimer>

#include "common/messagecenter.h"
#include "common/zdevice.h"
#include "driver/dmc50v3.h"
#include "hmi/abstractdeviceinterface.h"
#include "recipe/dialogwrapper.h"
#include "recipe/zcsvloader.h"

namespace
{

const int StartPauseMs = 500;   ///< before an import begins
const int WaitSliceMs = 20;     ///< how soon a wait notices that the driver goes
const ulong JoinSliceMs = 10;   ///< how often the end of the worker looks for the dialog
const qint64 PatienceMs = 1000; ///< how long a dialog may take to close

const char MessageTitle[] = "DMC50";

/// The byte behind the data of an empty array is 0.
uchar firstByte(const QByteArray &data)
{
    return data.isEmpty() ? uchar(0) : static_cast<uchar>(data.at(0));
}

quint32 littleEndian(const QByteArray &data, int count)
{
    quint32 value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = value << 8 | static_cast<uchar>(data.at(i));
    return value;
}

/// One and two bytes carry a sign, three do not.
int writtenNumber(const QByteArray &data)
{
    switch (data.size()) {
    case 0:
        return firstByte(data);
    case 1:
        return static_cast<signed char>(data.at(0));
    case 2:
        return static_cast<qint16>(littleEndian(data, 2));
    case 3:
        return static_cast<int>(littleEndian(data, 3));
    default:
        return static_cast<int>(littleEndian(data, Program::BytesPerValue));
    }
}

/// As many of the number's bytes as there is room for.
void putNumber(QByteArray &data, int value)
{
    const int count = std::min(data.size(), int(Program::BytesPerValue));
    for (int i = 0; i < count; ++i)
        data[i] = static_cast<char>(static_cast<quint32>(value) >> (8 * i) & 0xFF);
}

QString joined(const QString &folder, const QString &name)
{
    return folder + QDir::separator() + name;
}

/// A program without widgets has nobody to ask.
bool hasUserInterface()
{
    return qobject_cast<QApplication *>(QCoreApplication::instance()) != nullptr;
}

bool isUserInterfaceThread()
{
    return hasUserInterface() && QThread::currentThread() == QCoreApplication::instance()->thread();
}

} // namespace

// ---- Life --------------------------------------------------------------------------------------

CSVImExporter::CSVImExporter(QObject *parent, Clock *clock)
    : QObject(parent), m_clock(clock), m_driver(nullptr), m_interface(nullptr), m_writing(false),
      m_reading(false), m_writing_error(0), m_reading_error(0), m_writing_progress(0),
      m_reading_progress(0), m_prog_id(0), m_prog_count(0), m_writing_station(0),
      m_reading_station(0), m_thread(new QThread), m_reset_timer(new QTimer(this)), m_program(0),
      m_steps(0), m_dialog(nullptr), m_abandoned(false)
{
    m_reset_timer->setSingleShot(true);
    connect(m_reset_timer, SIGNAL(timeout()), this, SLOT(resetReadingFlag()));
    if (MessageCenter *const center = MessageCenter::getInstance()) {
        connect(this, SIGNAL(showMessage(QString, QString, bool)), center,
                SLOT(showMessageAsync(QString, QString, bool)));
        connect(this, SIGNAL(destroyed(QObject *)), center, SLOT(forgetSender(QObject *)));
    }
    // There it can be deleted by an event when nobody waits for its end.
    if (QCoreApplication *const application = QCoreApplication::instance())
        m_thread->moveToThread(application->thread());
}

CSVImExporter::~CSVImExporter()
{
    if (!m_abandoned) // else it is running this very function
        delete m_thread;
}

void CSVImExporter::setRcpDataCommandAddrList(const QStringList &addresses)
{
    m_rcp_data_command_addr_list += addresses;
    m_rcp_data_command_addr_list.removeDuplicates();
}

void CSVImExporter::setDriverDMC50v3_DeviceInterface(DriverDMC50v3 *driver,
                                                     AbstractDeviceInterface *link)
{
    m_driver = driver;
    m_interface = link;
    moveToThread(m_thread);
    connect(this, SIGNAL(readDataFromDMC50Signal()), this, SLOT(readDataFromDMC50Slot()));
    connect(this, SIGNAL(writeDataToDMC50Signal()), this, SLOT(writeDataToDMC50Slot()));
    m_thread->start(QThread::InheritPriority);
}

void CSVImExporter::closeDriver()
{
    if (!m_gate.close())
        return;
    const QMutexLocker locker(&m_dialog_mutex);
    if (m_dialog != nullptr)
        QMetaObject::invokeMethod(m_dialog, "closeDialog", Qt::QueuedConnection);
}

void CSVImExporter::end()
{
    closeDriver();
    if (QCoreApplication::instance() != nullptr)
        QMetaObject::invokeMethod(this, "leave", Qt::QueuedConnection);
    else
        m_thread->quit(); // no event has ever reached the worker
    const qint64 deadline = Clock::system()->msecsSinceBoot() + PatienceMs;
    while (m_thread->isRunning() && !m_thread->wait(JoinSliceMs)) {
        if (abandonWorker(Clock::system()->msecsSinceBoot() < deadline))
            return;
    }
    delete this;
}

/// Leaves the worker to itself if it waits for the operator and cannot be waited for.
/// \param patient  the dialog may still close
bool CSVImExporter::abandonWorker(bool patient)
{
    const QMutexLocker locker(&m_dialog_mutex);
    if (m_dialog == nullptr)
        return false;
    const bool waits_in_vain = isUserInterfaceThread() ? !m_dialog->withdraw() : !patient;
    m_abandoned = waits_in_vain;
    return waits_in_vain;
}

bool CSVImExporter::isAbandoned()
{
    const QMutexLocker locker(&m_dialog_mutex);
    return m_abandoned;
}

/// Ends the worker thread, behind whatever waits in its queue.
void CSVImExporter::leave()
{
    m_reset_timer->stop();
    if (isAbandoned()) {
        connect(m_thread, SIGNAL(finished()), m_thread, SLOT(deleteLater()));
        deleteLater();
    }
    m_thread->quit();
}

// ---- Tags --------------------------------------------------------------------------------------

CSVImExporter::Tag CSVImExporter::tagOf(const QString &address)
{
    static const struct {
        const char *name;
        Tag tag;
    } tags[] = {{"VVT_ENABLE0", WritingEnable},     {"VVT_ENABLE1", ReadingEnable},
                {"VVT_ERROR0", WritingError},       {"VVT_ERROR1", ReadingError},
                {"VVT_PROG_ID0", ProgramId},        {"VVT_PROG_COUNT0", ProgramCount},
                {"VVT_PROGRESS0", WritingProgress}, {"VVT_PROGRESS1", ReadingProgress}};
    for (const auto &known : tags) {
        if (address.contains(QLatin1String(known.name)))
            return known.tag;
    }
    return UnknownTag;
}

int CSVImExporter::tagValue(Tag tag) const
{
    switch (tag) {
    case WritingEnable:
        return writingToDMC50Enable() ? 1 : 0;
    case ReadingEnable:
        return readingFromDMC50Enable() ? 1 : 0;
    case WritingError:
        return writingToDMC50Error();
    case ReadingError:
        return readingFromDMC50Error();
    case ProgramId:
        return progID();
    case ProgramCount:
        return progCount();
    case WritingProgress:
        return writingToDMC50Progress();
    case ReadingProgress:
        return readingFromDM50Progress();
    case UnknownTag:
        break;
    }
    return 0;
}

// The data are zeros, so a flag's byte may be put like a number.
void CSVImExporter::processReadCommand(const CommunicatorCommand &command, QByteArray &data)
{
    const Tag tag = tagOf(command.address);
    if (tag != UnknownTag)
        putNumber(data, tagValue(tag));
}

void CSVImExporter::processWriteCommand(const CommunicatorCommand &command, const QByteArray &data)
{
    const bool start = firstByte(data) != 0;
    const bool acknowledge = !start;
    const int number = writtenNumber(data);
    switch (tagOf(command.address)) {
    case WritingEnable:
        return start ? writeDataToDMC50() : void();
    case ReadingEnable:
        return start ? readDataFromDMC50() : void();
    case WritingError:
        return acknowledge ? resetWritingToDMC50Error() : void();
    case ReadingError:
        return acknowledge ? resetReadingFromDMC50Error() : void();
    case ProgramId:
        return setProgID(number);
    case ProgramCount:
        return number >= 0 && number <= Program::MaxSteps ? setProgCount(number) : void();
    case WritingProgress:
    case ReadingProgress:
    case UnknownTag:
        break;
    }
}

void CSVImExporter::writeDataToDMC50()
{
    if (m_writing)
        return;
    m_writing_station = m_interface->stationId();
    if (wait(StartPauseMs))
        emit writeDataToDMC50Signal();
}

void CSVImExporter::readDataFromDMC50()
{
    if (m_reading)
        return;
    m_reading_station = m_interface->stationId();
    setDriverBusy(true);
    emit readDataFromDMC50Signal();
}

void CSVImExporter::resetReadingFlag()
{
    m_reading_progress = 0;
    m_reading = false;
}

// ---- What both transfers need ------------------------------------------------------------------

void CSVImExporter::beginTransfer(int station)
{
    m_line.set(m_interface, station);
    m_program = m_prog_id;
    m_steps = m_prog_count;
}

void CSVImExporter::initReadWriteCommandList()
{
    if (!m_command_list.isEmpty())
        return;
    m_command_list = Program::stepCommands();
    for (int i = 0; i < m_command_list.size(); ++i) {
        if (!isDefined(m_command_list.at(i)))
            m_invalid_addresses.append(m_command_list.at(i).address);
    }
    m_rcp_data_command_addr_list.clear();
}

bool CSVImExporter::isDefined(const CommunicatorCommand &step) const
{
    return m_rcp_data_command_addr_list.contains(step.address) ||
           m_rcp_data_command_addr_list.contains(step.address.toUpper());
}

/// \return false: the driver goes, and the time was not waited for
bool CSVImExporter::wait(int ms)
{
    const qint64 end = m_clock->msecsSinceBoot() + ms;
    while (!driverGoes()) {
        const qint64 left = end - m_clock->msecsSinceBoot();
        if (left <= 0)
            return true;
        m_clock->sleep(static_cast<ulong>(std::min(left, qint64(WaitSliceMs))));
    }
    return false;
}

void CSVImExporter::tell(const QString &text)
{
    if (!driverGoes())
        emit showMessage(QString::fromLatin1(MessageTitle), text, true);
}

QString CSVImExporter::getStorageMountPath()
{
    // Two drivers may be the first to ask.
    static QMutex creation;
    const QMutexLocker locker(&creation);
    return ZDevice::getInstance()->getMount(DeviceUsb);
}

/// Where the stick is mounted; when there is none, the operator is told.
QString CSVImExporter::stickPath(bool &ok)
{
    QString path = getStorageMountPath();
    ok = !path.isEmpty();
    if (!ok) {
        tell(QString::fromLatin1("The system can't not detect the %1.")
                 .arg(QString::fromLatin1("USB Stick")));
    }
    return path;
}

QString CSVImExporter::getErrorLogFileName(int type, bool &ok)
{
    const Program::Transfer transfer =
        type == WriteMode ? Program::Transfer::Import : Program::Transfer::Export;
    const QString folder = stickPath(ok);
    return ok ? joined(folder, Program::errorLogName(transfer, m_program)) : QString();
}

/// What is in the way of a file that is to be written is removed unless it is a file itself: a
/// stick comes from anywhere, and a link on it would lead the writing away from it, a pipe would
/// keep it waiting for ever.
void CSVImExporter::clearTheWay(const QString &path)
{
    const QFileInfo info(path);
    if (info.isSymLink() || (info.exists() && !info.isFile() && !info.isDir()))
        QFile::remove(path);
}

/// A log that the stick does not take, because it has been pulled or is full, is shown instead.
void CSVImExporter::writeLog(const QString &path, const QStringList &errors)
{
    clearTheWay(path);
    const QString text = errors.join(QString::fromLatin1("\n"));
    QFile file(path);
    bool written = file.open(QIODevice::WriteOnly | QIODevice::Text);
    if (written) {
        written = file.write(text.toUtf8()) >= 0 && file.flush();
        file.close();
    }
    ::sync();
    if (!written)
        tell(text);
}

void CSVImExporter::outputErrorLog(const QStringList &errors, const int &type)
{
    bool ok = false;
    const QString path = getErrorLogFileName(type, ok);
    if (ok)
        writeLog(path, errors);
    if (type == WriteMode)
        m_writing_error = 1;
    else if (type == ReadMode)
        m_reading_error = 1;
}

/// The file of a program: the export's, which need not exist, or the one that the import is to
/// read; that is empty when there is none.
QString CSVImExporter::getFileName(const int &progId, bool &ok, int mode)
{
    const QString folder = stickPath(ok);
    if (!ok)
        return QString();
    return mode == WriteMode ? findFile(folder, progId) : joined(folder, Program::fileName(progId));
}

// A link is no file: it would have a file of the terminal read, and quoted in the error log.
QString CSVImExporter::findFile(const QString &folder, int program)
{
    QStringList paths;
    const QDir directory(folder);
    const QStringList names = directory.entryList(Program::fileNameFilters(program),
                                                  QDir::Files | QDir::NoSymLinks, QDir::Name);
    for (const QString &name : names)
        paths.append(directory.absoluteFilePath(name));
    if (paths.size() <= 1)
        return paths.isEmpty() ? QString() : paths.first();
    return hasUserInterface() ? askForFile(paths) : paths.first();
}

QString CSVImExporter::askForFile(const QStringList &files)
{
    dialogWrapper *const dialog = new dialogWrapper;
    dialog->moveToThread(QCoreApplication::instance()->thread());
    if (beginDialog(dialog)) {
        dialog->showDialog(files);
        endDialog();
    }
    QString name = dialog->getSelectedFileName();
    dialog->deleteLater();
    return name;
}

/// \return false: the driver goes, and nobody is to be asked
bool CSVImExporter::beginDialog(dialogWrapper *dialog)
{
    const QMutexLocker locker(&m_dialog_mutex);
    if (driverGoes())
        return false;
    m_dialog = dialog;
    return true;
}

void CSVImExporter::endDialog()
{
    const QMutexLocker locker(&m_dialog_mutex);
    m_dialog = nullptr;
}

// ---- The driver, as long as it is there --------------------------------------------------------
// Its operations are not called virtually: its destructor may have begun, and waits for the call.

void CSVImExporter::setDriverBusy(bool busy)
{
    const DriverGate::Pass pass(m_gate);
    if (pass.isOpen())
        m_driver->setTransferBusy(busy);
}

QByteArray CSVImExporter::readDriverDWords(const CommunicatorCommand &step)
{
    const DriverGate::Pass pass(m_gate);
    if (!pass.isOpen())
        return QByteArray();
    return m_driver->readDWords(static_cast<uchar>(m_line.stationId()),
                                m_driver->parseAddrStr(step.address), step.length);
}

void CSVImExporter::writeDriver(const CommunicatorCommand &step, const QByteArray &block)
{
    const DriverGate::Pass pass(m_gate);
    if (pass.isOpen())
        m_driver->DriverDMC50v3::write(&m_line, step, block);
}

/// What the tag of the write queue says: 16 bits, sign-extended.
quint32 CSVImExporter::writeQueueSize()
{
    CommunicatorCommand command;
    command.address = QString::fromLatin1("WRITE_QUE_SIZE0");
    command.dataType = CommunicatorCommand::WordType;
    command.length = 1;
    const DriverGate::Pass pass(m_gate);
    if (!pass.isOpen())
        return 0;
    const QByteArray data = m_driver->DriverDMC50v3::read(&m_line, command);
    return static_cast<quint32>(writtenNumber(data));
}
