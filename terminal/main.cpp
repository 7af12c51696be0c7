// dmc50-terminal: the operator terminal's runtime, as far as a driver sees of it.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <memory>
#include <thread>

#include <unistd.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include "hmi/desktop/line_monitor.h"
#include "hmi/desktop/serial_link.h"
#include "simulator/simulator.h"
#include "terminal/driver_host.h"
#include "terminal/options.h"
#include "terminal/project.h"
#include "terminal/report.h"
#include "terminal/run_directory.h"
#include "terminal/session.h"
#include "terminal/session_link.h"

namespace
{

const int SignalCheckMs = 50;

/// What ends the program before it ran: a status and one line for the user.
struct Failure {
    ExitStatus status;
    QString reason;
};

Failure failure(ExitStatus status, const QString &reason)
{
    return Failure{status, reason};
}

/// The first of some files that exists, or the last.
QString firstExisting(const QStringList &files)
{
    for (const QString &file : files) {
        if (QFileInfo(file).isFile())
            return file;
    }
    return files.last();
}

/// SIGINT and SIGTERM, which no thread takes but the one that asks for them.
class EndSignals
{
public:
    EndSignals()
    {
        sigemptyset(&m_set);
        sigaddset(&m_set, SIGINT);
        sigaddset(&m_set, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &m_set, nullptr); // before there is another thread
    }

    /// Waits a moment. True: the program is to end.
    bool arrived()
    {
        const struct timespec moment = {0, SignalCheckMs * 1000000L};
        return sigtimedwait(&m_set, nullptr, &moment) > 0;
    }

private:
    sigset_t m_set;
};

/// The program from the plug-in to the line, in the order in which things depend on each other.
class Terminal
{
public:
    Terminal(const TerminalOptions &options, const QString &home) : m_options(options), m_home(home)
    {
    }

    /// Everything up to the point where a session can begin; throws a Failure.
    void setUp()
    {
        setUpProject();
        loadDriver();
        setUpLine();
        writeDatabase();
    }

    /// Runs the session until its time is over or a signal comes.
    ExitStatus run(EndSignals *endSignals)
    {
        const std::unique_ptr<Report> report = Report::create(m_options.format, stdout);
        Session session(m_host.driver(), sessionLine(), m_tags, m_writes, m_options.periodMs,
                        [&](const std::vector<TagView> &views) {
                            report->round(views, summaryOf(*m_session));
                        });
        m_session = &session;
        std::atomic<bool> ended(false);
        bool started = false;
        std::thread communication([&] {
            started = session.run();
            ended = true;
        });
        waitForEnd(endSignals, ended);
        // Before the line is taken down: what fails from now on is no failure of the line.
        SessionSummary summary = summaryOf(session);
        end(&session, &communication);
        if (!started)
            throw failure(NotAvailable, "the driver cannot start: " + session.lastError());
        summary.reads = session.reads();
        summary.writes = session.writesDone();
        report->end(summary);
        return statusOf(summary, session);
    }

private:
    void setUpProject()
    {
        const QString file =
            m_options.project.isEmpty()
                ? firstExisting({m_home + "/../" + DMC50_DATA_DIRECTORY + "/project.csv",
                                 m_home + "/sample/project.csv"})
                : m_options.project;
        QString error;
        if (!loadProject(file, &m_project, &error))
            throw failure(NotAvailable, error);
        chooseTags();
        chooseWrites();
    }

    void chooseTags()
    {
        for (const QString &name : m_options.tags) {
            const Tag *const tag = m_project.find(name);
            if (tag == nullptr || tag->isDriverTag)
                throw failure(WrongUsage, "--tags: the project has no tag \"" + name + "\"");
            m_tags << *tag;
        }
        if (!m_tags.isEmpty())
            return;
        for (const Tag &tag : m_project.tags) {
            if (!tag.isDriverTag)
                m_tags << tag;
        }
    }

    void chooseWrites()
    {
        for (const QPair<QString, QString> &write : m_options.writes) {
            const Tag *const tag = m_project.find(write.first);
            if (tag == nullptr || tag->isDriverTag)
                throw failure(WrongUsage,
                              "--write: the project has no tag \"" + write.first + "\"");
            TagWrite tagWrite;
            tagWrite.tag = *tag;
            QString error;
            if (!tagData(*tag, write.second, &tagWrite.data, &error))
                throw failure(WrongUsage, "--write: " + error);
            m_writes << tagWrite;
        }
    }

    void loadDriver()
    {
        const QString file =
            m_options.plugin.isEmpty()
                ? firstExisting({m_home + "/../" + DMC50_PLUGIN_DIRECTORY + "/libdmc50v3.so",
                                 m_home + "/../plugins/libdmc50v3.so"})
                : QFileInfo(m_options.plugin).absoluteFilePath();
        QString error;
        if (!m_host.load(file,
                         m_options.createDriver ? DriverHost::Road::CreateDriver
                                                : DriverHost::Road::PluginRoot,
                         &error))
            throw failure(NotAvailable, error);
    }

    /// The driver's settings, with what the user wants otherwise.
    void takeSettings()
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

    void setUpLine()
    {
        takeSettings();
        const QString port = m_options.port.isEmpty() ? startSimulator() : m_options.port;
        m_serial.reset(new SerialLink(port, *m_wiring, *m_timing));
        QString error;
        if (!m_serial->open(&error))
            throw failure(NotAvailable, error);
        m_monitor.reset(new LineMonitor(m_serial.get()));
        m_link.reset(new SessionLink(m_monitor.get()));
        openTrace();
    }

    QString startSimulator()
    {
        SimulatorOptions options;
        options.stations = m_options.stations;
        options.faults = m_options.faults;
        options.baud = m_options.baud == 0 ? 0 : m_wiring->baudrate;
        m_simulator.reset(new Simulator(options));
        std::string error;
        if (!m_simulator->start(&error))
            throw failure(NotAvailable, QString::fromStdString(error));
        return QString::fromStdString(m_simulator->portName());
    }

    void openTrace()
    {
        if (m_options.trace.isEmpty())
            return;
        m_trace.open(QFile::encodeName(m_options.trace).constData(), std::ios::app);
        if (!m_trace)
            throw failure(NotAvailable, "cannot write trace " + m_options.trace);
        m_monitor->setTrace(&m_trace);
    }

    /// The driver looks for it beside the running program.
    void writeDatabase()
    {
        const QString file = QCoreApplication::applicationDirPath() + "/compile/database/database";
        QString error;
        if (!writeProjectDatabase(file, m_project, m_wiring->string, m_timing->stationid, &error))
            throw failure(NotAvailable, error);
    }

    SessionLine sessionLine()
    {
        SessionLine line;
        line.link = m_link.get();
        line.defaultStation = m_timing->stationid;
        line.selectStation = [this](int station) { m_serial->setStationId(station); };
        line.ageOf = [this](int station, quint32 address) {
            return m_monitor->msSinceLastGoodRead(station, address);
        };
        line.stationFails = [this](int station) {
            for (const StationReport &report : m_monitor->report().stations) {
                if (report.station == station)
                    return report.failingForMs >= 0;
            }
            return false;
        };
        return line;
    }

    SessionSummary summaryOf(const Session &session) const
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

    void waitForEnd(EndSignals *endSignals, const std::atomic<bool> &ended)
    {
        const auto begin = std::chrono::steady_clock::now();
        const auto limit = std::chrono::seconds(m_options.durationS);
        while (!ended && !endSignals->arrived()) {
            if (m_options.durationS > 0 && std::chrono::steady_clock::now() - begin >= limit)
                return;
        }
    }

    /// Ends whatever waits: the session, the line, the driver with its thread, in this order.
    void end(Session *session, std::thread *communication)
    {
        session->stop();
        m_link->closeCalls();
        m_serial->interrupt();
        m_host.destroyDriver();
        communication->join();
        m_serial->close();
    }

    ExitStatus statusOf(const SessionSummary &summary, const Session &session) const
    {
        const bool allWritten = session.writesRefused() == 0 && session.writesLeft() == 0;
        if (!allWritten)
            fprintf(stderr, "dmc50-terminal: %d writes were not taken over\n",
                    session.writesLeft() + static_cast<int>(session.writesRefused()));
        return allWritten && summary.line.failed == 0 ? AllGood : SomethingFailed;
    }

    const TerminalOptions m_options;
    const QString m_home; ///< where the program is installed
    Project m_project;
    QList<Tag> m_tags;
    QList<TagWrite> m_writes;
    std::ofstream m_trace;
    std::unique_ptr<DeviceSetting> m_wiring;
    std::unique_ptr<DriverSetting> m_timing;
    std::unique_ptr<Simulator> m_simulator;
    std::unique_ptr<SerialLink> m_serial;
    std::unique_ptr<LineMonitor> m_monitor;
    std::unique_ptr<SessionLink> m_link;
    DriverHost m_host; ///< last, so that the driver ends before its line
    Session *m_session = nullptr;
};

int report(const Failure &failed)
{
    fprintf(stderr, "dmc50-terminal: %s\n", qPrintable(failed.reason));
    return failed.status;
}

} // namespace

int main(int argc, char **argv)
{
    EndSignals endSignals;
    QCoreApplication application(argc, argv);
    RunDirectory directory;
    TerminalOptions options;
    QString text;
    switch (parseOptions(QCoreApplication::arguments(), &options, &text)) {
    case OptionsResult::ShowText:
        fputs(qPrintable(text), stdout);
        return AllGood;
    case OptionsResult::BadOptions:
        return report(failure(WrongUsage, text + "; see --help"));
    case OptionsResult::Run:
        break;
    }
    if (!directory.entered())
        return report(failure(NotAvailable, directory.enter(argv)));
    try {
        Terminal terminal(options, directory.home());
        terminal.setUp();
        return terminal.run(&endSignals);
    } catch (const Failure &failed) {
        return report(failed);
    }
}
