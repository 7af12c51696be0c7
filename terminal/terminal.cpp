#include "terminal/terminal.h"

#include <chrono>
#include <cstdio>
#include <mutex>

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QTimer>

#include "common/messagecenter.h"
#include "common/zdevice.h"
#include "hmi/desktop/desktop_platform.h"
#include "terminal/printable.h"
#include "terminal/program_preview.h"
#include "terminal/storage_watch.h"
#include "terminal/transfer_report.h"
#include "terminal/unanswered_dialog.h"
#include "terminal/window_report.h"

namespace
{

const int EndTickMs = 50;
const QSize HiddenPanelSize(400, 300);
const int NamedFiles = 5; ///< of a stick that has more of them than a line can name

/// The first of some files that exists, or the last.
QString firstExisting(const QStringList &files)
{
    for (const QString &file : files) {
        if (QFileInfo(file).isFile())
            return file;
    }
    return files.last();
}

QString namesOf(const QStringList &files)
{
    const QString names = files.mid(0, NamedFiles).join(", ");
    const int more = files.size() - NamedFiles;
    return printable(more <= 0 ? names : QString("%1 and %2 more").arg(names).arg(more));
}

} // namespace

Terminal::Terminal(const TerminalOptions &options, const QString &home)
    : m_options(options), m_home(home)
{
}

void Terminal::setUp()
{
    setPlatformIsPanel(m_options.panel); // before anything that asks for it
    loadDriver();
    takeSettings();
    setUpProject();
    setUpLine();
    writeDatabase();
}

ExitStatus Terminal::run(EndSignals *endSignals)
{
    const std::unique_ptr<Report> report = makeReport();
    std::mutex reporting; // rounds come from the communication thread, the rest from this one
    Session *current = nullptr;
    SessionLine line = sessionLine();
    m_programs.reset(new ProgramTags(m_host.driver(), line, [&](const TransferViews &views) {
        const std::lock_guard<std::mutex> lock(reporting);
        report->transfers(views);
    }));
    line.aside = [this] { m_programs->serve(); };
    report->usePrograms(m_programs.get(), m_timing->stationid);
    std::unique_ptr<StorageWatch> storage(
        new StorageWatch([&](StorageKind kind, const StorageState &state) {
            const std::lock_guard<std::mutex> lock(reporting);
            report->storage(kind, state);
        }));
    startTransfer();
    Session session(m_host.driver(), line, m_tags, m_writes, m_options.periodMs,
                    [&](const std::vector<TagView> &views) {
                        const std::lock_guard<std::mutex> lock(reporting);
                        report->round(views, summaryOf(*current));
                        if (std::ferror(stdout) != 0)
                            current->stop();
                    });
    current = &session;
    std::atomic<bool> ended(false);
    bool started = false;
    std::thread communication([&] {
        started = session.run();
        ended = true;
    });
    waitForEnd(endSignals, [&] { return ended || report->isOver(); });
    storage.reset();
    // Before the line is taken down: what fails from now on is no failure of the line.
    SessionSummary summary = summaryOf(session);
    end(&session, &communication);
    if (!started)
        throw Failure{NotAvailable, "the driver cannot start: " + session.lastError()};
    summary.reads = session.reads();
    summary.writes = session.writesDone();
    report->end(summary);
    return statusOf(summary, session, *report);
}

// ---- Set-up

void Terminal::loadDriver()
{
    const QString file =
        m_options.plugin.isEmpty()
            ? firstExisting({m_home + "/../" + DMC50_PLUGIN_DIRECTORY + "/libdmc50v3.so",
                             m_home + "/../plugins/libdmc50v3.so"})
            : QFileInfo(m_options.plugin).absoluteFilePath();
    const DriverHost::Road road =
        m_options.createDriver ? DriverHost::Road::CreateDriver : DriverHost::Road::PluginRoot;
    QString error;
    if (!m_host.load(file, road, &error))
        throw Failure{NotAvailable, error};
}

/// The driver's settings, with what the user wants otherwise.
void Terminal::takeSettings()
{
    m_wiring.reset(m_host.driver()->getDefaultSerialDeviceSetting());
    m_timing.reset(m_host.driver()->getDefaultDriverSetting());
    if (m_options.baud > 0)
        m_wiring->baudrate = m_options.baud;
    if (m_options.timeoutMs != TerminalOptions::DriversDefault)
        m_timing->timeout = m_options.timeoutMs;
    if (m_options.retries != TerminalOptions::DriversDefault)
        m_timing->retry = m_options.retries;
    if (m_options.delayMs != TerminalOptions::DriversDefault)
        m_timing->delay = m_options.delayMs;
}

void Terminal::setUpProject()
{
    const QString file =
        m_options.project.isEmpty()
            ? firstExisting({m_home + "/../" + DMC50_DATA_DIRECTORY + "/project.csv",
                             m_home + "/sample/project.csv"})
            : m_options.project;
    QString error;
    if (!loadProject(file, &m_project, &error))
        throw Failure{NotAvailable, error};
    chooseTags();
    chooseWrites();
}

const Tag &Terminal::readableTag(const QString &name, const char *option) const
{
    const Tag *const tag = m_project.find(name, m_timing->stationid);
    if (tag == nullptr || tag->isDriverTag)
        throw Failure{WrongUsage, QString("%1: the project has no tag \"%2\"").arg(option, name)};
    return *tag;
}

void Terminal::chooseTags()
{
    for (const QString &name : m_options.tags)
        m_tags << readableTag(name, "--tags");
    if (!m_tags.isEmpty())
        return;
    for (const Tag &tag : qAsConst(m_project.tags)) {
        if (!tag.isDriverTag)
            m_tags << tag;
    }
}

void Terminal::chooseWrites()
{
    for (const QPair<QString, QString> &write : m_options.writes) {
        TagWrite tagWrite;
        tagWrite.tag = readableTag(write.first, "--write");
        QString error;
        if (!tagData(tagWrite.tag, write.second, &tagWrite.data, &error))
            throw Failure{WrongUsage, "--write: " + error};
        m_writes << tagWrite;
        readWhatIsWritten(tagWrite.tag);
    }
}

/// A tag is written once it was read, and the user wants to see what comes of it.
void Terminal::readWhatIsWritten(const Tag &tag)
{
    for (const Tag &read : qAsConst(m_tags)) {
        if (read.name == tag.name)
            return;
    }
    m_tags << tag;
}

void Terminal::setUpLine()
{
    const QString port = m_options.port.isEmpty() ? startSimulator() : m_options.port;
    m_serial.reset(new SerialLink(port, *m_wiring, *m_timing));
    QString error;
    if (!m_serial->open(&error))
        throw Failure{NotAvailable, error};
    m_monitor.reset(new LineMonitor(m_serial.get()));
    m_link.reset(new SessionLink(m_monitor.get()));
    openTrace();
}

QString Terminal::startSimulator()
{
    SimulatorOptions options;
    options.stations = m_options.stations;
    options.faults = m_options.faults;
    options.baud = m_options.baud == 0 ? 0 : m_wiring->baudrate;
    m_simulator.reset(new Simulator(options));
    std::string error;
    if (!m_simulator->start(&error))
        throw Failure{NotAvailable, QString::fromStdString(error)};
    return QString::fromStdString(m_simulator->portName());
}

void Terminal::openTrace()
{
    if (m_options.trace.isEmpty())
        return;
    m_trace.open(QFile::encodeName(m_options.trace).constData(), std::ios::app);
    if (!m_trace)
        throw Failure{NotAvailable, "cannot write trace " + m_options.trace};
    m_monitor->setTrace(&m_trace);
}

/// The driver looks for it beside the running program.
void Terminal::writeDatabase()
{
    const QString file = QCoreApplication::applicationDirPath() + "/compile/database/database";
    QString error;
    if (!writeProjectDatabase(file, m_project, m_wiring->string, m_timing->stationid, &error))
        throw Failure{NotAvailable, error};
}

// ---- Running

/// The message panel is there also where nobody looks at it: it gets what a transfer has to say.
std::unique_ptr<Report> Terminal::makeReport()
{
    if (m_options.hasTransfer) {
        MessageCenter::initInstance(HiddenPanelSize, HiddenPanelSize, 0, QRect(), 0);
        return std::unique_ptr<Report>(
            new TransferReport(m_options.transfer, m_options.format, m_options.usbStick, stdout));
    }
    std::unique_ptr<Report> printed = Report::create(m_options.format, stdout);
    if (!m_options.window)
        return printed;
    return std::unique_ptr<Report>(
        new WindowReport(m_tags, m_timing->stationid, m_options.periodMs, std::move(printed)));
}

void Terminal::startTransfer()
{
    if (!m_options.hasTransfer)
        return;
    TransferRequest request = m_options.transfer;
    if (request.kind == TransferKind::Import)
        refuseAmbiguousImport(request.program);
    request.station = m_timing->stationid;
    m_programs->start(request);
}

/// Of several files the driver has the operator choose, by a dialog; without a screen nobody sees
/// it.
void Terminal::refuseAmbiguousImport(int program) const
{
    const QStringList files = programFiles(ZDevice::getInstance()->getMount(DeviceUsb), program);
    if (files.size() > 1)
        throw Failure{SomethingFailed,
                      QString("import of program %1: several files match: %2; leave the one that "
                              "is meant on the stick, or choose at the screen, with --window")
                          .arg(QString::number(program), namesOf(files))};
}

SessionLine Terminal::sessionLine()
{
    SessionLine line;
    line.link = m_link.get();
    line.defaultStation = m_timing->stationid;
    line.selectStation = [this](int station) { m_serial->setStationId(station); };
    line.ageOf = [this](int station, quint32 address) {
        return m_monitor->msSinceLastGoodRead(station, address);
    };
    line.stationFails = [this](int station) { return isFailing(station); };
    return line;
}

bool Terminal::isFailing(int station) const
{
    for (const StationReport &report : m_monitor->report().stations) {
        if (report.station == station)
            return report.failingForMs >= 0;
    }
    return false;
}

SessionSummary Terminal::summaryOf(const Session &session) const
{
    SessionSummary summary;
    summary.tags = m_tags.size();
    summary.reads = session.reads();
    summary.writes = session.writesDone();
    summary.line = m_monitor->report();
    summary.cycleMs = m_link->cycleMs();
    summary.lastError = session.lastError();
    return summary;
}

/// Serves the main thread's events until the session is to end.
void Terminal::waitForEnd(EndSignals *endSignals, const std::function<bool()> &ended) const
{
    const auto begin = std::chrono::steady_clock::now();
    const auto limit = std::chrono::seconds(m_options.durationS);
    const auto isOver = [&] {
        return ended() || endSignals->arrived() ||
               (m_options.durationS > 0 && std::chrono::steady_clock::now() - begin >= limit);
    };
    QEventLoop loop;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &loop, [&] {
        const bool over = isOver();
        if (over)
            loop.quit();
        if (over || m_options.hasTransfer) // nobody can answer, or not any more
            leaveUnansweredDialog();
    });
    tick.start(EndTickMs);
    loop.exec();
}

/// Ends whatever waits: the session, the line, the driver with its thread, in this order.
void Terminal::end(Session *session, std::thread *communication)
{
    session->stop();
    m_link->closeCalls();
    m_serial->interrupt();
    m_host.destroyDriver();
    communication->join();
    m_serial->close();
}

ExitStatus Terminal::statusOf(const SessionSummary &summary, const Session &session,
                              const Report &report) const
{
    const quint64 notWritten = session.writesRefused() + static_cast<quint64>(session.writesLeft());
    if (notWritten > 0)
        fprintf(stderr, "dmc50-terminal: %llu writes were not taken over\n",
                static_cast<unsigned long long>(notWritten));
    if (std::ferror(stdout) != 0)
        fprintf(stderr, "dmc50-terminal: standard output cannot be written\n");
    // A transfer gets over a failed exchange, or fails itself.
    const bool lineGood = m_options.hasTransfer || summary.line.failed == 0;
    const bool allGood =
        notWritten == 0 && std::ferror(stdout) == 0 && lineGood && report.hasSucceeded();
    return allGood ? AllGood : SomethingFailed;
}
