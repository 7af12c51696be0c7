// What the user asks of the terminal.

#ifndef TERMINAL_OPTIONS_H
#define TERMINAL_OPTIONS_H

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include "simulator/fault.h"
#include "terminal/program_tags.h"

#include <vector>

/// How the program ends.
enum ExitStatus {
    AllGood = 0,     ///< no exchange failed
    SomethingFailed, ///< an exchange failed, or a write was not taken over
    WrongUsage = 2,  ///< nothing was done
    NotAvailable = 3 ///< plug-in, port or project cannot be had
};

/// Settings that the user did not give are the driver's.
struct TerminalOptions {
    enum Format { Table, Json };
    enum { DriversDefault = -1 };

    QString plugin; ///< file of the plug-in; empty: the one that belongs to this program
    bool createDriver = false;
    QString usbStick; ///< a directory that plays the stick; empty: none

    bool hasTransfer = false; ///< carries one program instead of showing tags
    TransferRequest transfer;

    bool window = false; ///< shows the terminal's screen
    bool panel = false;  ///< uses a panel's devices in place of the desktop's

    QString port;              ///< a serial device; empty: the simulator
    std::vector<int> stations; ///< of the simulator
    std::vector<Fault> faults; ///< for the simulator

    QString project;                       ///< tag list; empty: the sample project
    QStringList tags;                      ///< what is read; empty: all tags of the project
    QList<QPair<QString, QString>> writes; ///< tag and value, in the order given
    QString trace;                         ///< file for every frame; empty: none

    int baud = DriversDefault; ///< 0 only for the simulator: bytes take no time
    int periodMs = 1000;
    int timeoutMs = DriversDefault;
    int retries = DriversDefault;
    int delayMs = DriversDefault;
    int durationS = 0; ///< 0: until interrupted
    Format format = Table;
};

/// What became of reading the command line.
enum class OptionsResult {
    Run,
    ShowText,  ///< help or version, in `text`, for standard output
    BadOptions ///< `text` says why, in one line
};

/// Reads the command line.
/// \param arguments  the program's name and what the user gave
/// \param text       help, version or the reason; not null
OptionsResult parseOptions(const QStringList &arguments, TerminalOptions *options, QString *text);

#endif // TERMINAL_OPTIONS_H
