// The program from the plug-in to the line.

#ifndef TERMINAL_TERMINAL_H
#define TERMINAL_TERMINAL_H

#include <atomic>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include <QList>
#include <QString>

#include "hmi/desktop/line_monitor.h"
#include "hmi/desktop/serial_link.h"
#include "simulator/simulator.h"
#include "terminal/driver_host.h"
#include "terminal/end_signals.h"
#include "terminal/options.h"
#include "terminal/program_tags.h"
#include "terminal/project.h"
#include "terminal/report.h"
#include "terminal/session.h"
#include "terminal/session_link.h"

/// What ends the program before it ran: a status and one line for the user.
struct Failure {
    ExitStatus status;
    QString reason;
};

/// Driver, project, line and session of one run, in the order in which they depend on each other.
/// To be used by the main thread, in the program's own run directory.
class Terminal
{
public:
    /// \param home  where the program is installed
    Terminal(const TerminalOptions &options, const QString &home);

    /// Everything up to the point where a session can begin; throws a Failure.
    void setUp();

    /// Runs the session until its time is over, a signal comes or standard output fails, and
    /// reports it there. Throws a Failure when the driver cannot start, and when the program that
    /// is to be imported has several files.
    ExitStatus run(EndSignals *endSignals);

private:
    void loadDriver();
    void takeSettings();
    void setUpProject();
    const Tag &readableTag(const QString &name, const char *option) const;
    void chooseTags();
    void chooseWrites();
    void readWhatIsWritten(const Tag &tag);
    void setUpLine();
    QString startSimulator();
    void openTrace();
    void writeDatabase();
    std::unique_ptr<Report> makeReport();
    void startTransfer();
    void refuseAmbiguousImport(int program) const;
    SessionLine sessionLine();
    bool isFailing(int station) const;
    SessionSummary summaryOf(const Session &session) const;
    void waitForEnd(EndSignals *endSignals, const std::function<bool()> &ended) const;
    void end(Session *session, std::thread *communication);
    ExitStatus statusOf(const SessionSummary &summary, const Session &session,
                        const Report &report) const;

    const TerminalOptions m_options;
    const QString m_home;
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
    std::unique_ptr<ProgramTags> m_programs;
    DriverHost m_host; ///< last, so that the driver ends before its line
};

#endif // TERMINAL_TERMINAL_H
