// dmc50-terminal: the operator terminal's runtime, as far as a driver sees of it.

#include <cstdio>
#include <memory>
#include <unistd.h>

#include <QApplication>
#include <QCoreApplication>
#include <QLoggingCategory>

#include "terminal/end_signals.h"
#include "terminal/options.h"
#include "terminal/run_directory.h"
#include "terminal/terminal.h"
#include "terminal/usb_stick.h"

namespace
{

/// One line, whatever the arguments that it quotes contain.
int fail(ExitStatus status, const QString &reason)
{
    fprintf(stderr, "dmc50-terminal: %s\n", qPrintable(reason.simplified()));
    return status;
}

RunDirectory *directoryToLeave = nullptr;

/// The framework's way to say that there is no screen is to abort.
void endWithoutScreen(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type != QtFatalMsg)
        return;
    fail(NotAvailable, "no window can be shown: " + text);
    directoryToLeave->leave();
    _exit(NotAvailable);
}

/// Only a window needs a display.
std::unique_ptr<QCoreApplication> makeApplication(const TerminalOptions &options,
                                                  RunDirectory *directory, int &argc, char **argv)
{
    if (options.hasTransfer) // the message panel is a widget; nobody is to see it
        qputenv("QT_QPA_PLATFORM", "offscreen");
    else if (!options.window)
        return std::unique_ptr<QCoreApplication>(new QCoreApplication(argc, argv));
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    directoryToLeave = directory;
    const QtMessageHandler usual = qInstallMessageHandler(endWithoutScreen);
    std::unique_ptr<QCoreApplication> application(new QApplication(argc, argv));
    qInstallMessageHandler(usual);
    return application;
}

/// Reads the command line and enters the run directory, which starts the program anew.
/// \return whether the program is to run; otherwise `status` is how it ends
bool prepare(int argc, char **argv, TerminalOptions *options, RunDirectory *directory, int *status)
{
    const QCoreApplication forTheParser(argc, argv);
    QString text;
    switch (parseOptions(QCoreApplication::arguments(), options, &text)) {
    case OptionsResult::ShowText:
        fputs(qPrintable(text), stdout);
        *status = AllGood;
        return false;
    case OptionsResult::BadOptions:
        *status = fail(WrongUsage, text + "; see --help");
        return false;
    case OptionsResult::Run:
        break;
    }
    directory->look();
    if (!directory->entered())
        *status = fail(NotAvailable, directory->enter(argv));
    return directory->entered();
}

} // namespace

int main(int argc, char **argv)
{
    EndSignals endSignals;
    // What the driver and the services tell their developers: QT_LOGGING_RULES="default.debug=true"
    // shows it.
    QLoggingCategory::setFilterRules("default.debug=false");
    TerminalOptions options;
    RunDirectory directory;
    int status = AllGood;
    if (!prepare(argc, argv, &options, &directory, &status))
        return status;
    if (!options.usbStick.isEmpty()) {
        const QString mistake = mountAsUsbStick(options.usbStick);
        if (!mistake.isEmpty())
            return fail(NotAvailable, mistake);
    }
    const std::unique_ptr<QCoreApplication> application =
        makeApplication(options, &directory, argc, argv);
    try {
        Terminal terminal(options, directory.home());
        terminal.setUp();
        return terminal.run(&endSignals);
    } catch (const Failure &failed) {
        return fail(failed.status, failed.reason);
    }
}
