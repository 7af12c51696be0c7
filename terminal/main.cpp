// dmc50-terminal: the operator terminal's runtime, as far as a driver sees of it.

#include <cstdio>

#include <QCoreApplication>

#include "terminal/end_signals.h"
#include "terminal/options.h"
#include "terminal/run_directory.h"
#include "terminal/terminal.h"

namespace
{

/// One line, whatever the arguments that it quotes contain.
int fail(ExitStatus status, const QString &reason)
{
    fprintf(stderr, "dmc50-terminal: %s\n", qPrintable(reason.simplified()));
    return status;
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
        return fail(WrongUsage, text + "; see --help");
    case OptionsResult::Run:
        break;
    }
    if (!directory.entered())
        return fail(NotAvailable, directory.enter(argv));
    try {
        Terminal terminal(options, directory.home());
        terminal.setUp();
        return terminal.run(&endSignals);
    } catch (const Failure &failed) {
        return fail(failed.status, failed.reason);
    }
}
