// dmc50-sim: controllers for everyone who has none.

#include <csignal>
#include <cstdio>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QStringList>

#include "simulator/simulator.h"

namespace
{

enum ExitStatus { Ended = 0, WrongUsage = 2, Unavailable = 3 };

const char Examples[] =
    "Plays DMC50 controllers on a pty or a serial port.\n"
    "\n"
    "Examples:\n"
    "  dmc50-sim --pty /tmp/furnaces\n"
    "      stations 1, 2 and 3, as slow as the real line, at /tmp/furnaces\n"
    "  dmc50-sim --pty /tmp/furnaces --stations 1,7 --baud 0 --trace frames.txt\n"
    "      stations 1 and 7, as fast as the machine, every frame written down\n"
    "  dmc50-sim --port /dev/ttyUSB0 --fault drop:station=2:every=3\n"
    "      on a real port; station 2 leaves every third request unanswered\n"
    "\n"
    "Faults: drop, late:ms=MS, flip[:at=BYTE], damage[:bytes=N], cut:after=N, noise[:bytes=N], "
    "echo,\n"
    "station:as=N, endcode:code=HH, nolf, swap[:at=BYTE], babble[:ms=MS], powercycle; each also\n"
    "takes :station=N, :every=N and :count=N.";

/// One line, whatever the arguments that it quotes contain.
int fail(ExitStatus status, const QString &message)
{
    fprintf(stderr, "dmc50-sim: %s\n", qPrintable(message.simplified()));
    return status;
}

/// The bytes of a path as they were given, in any locale.
std::string path(const QString &argument)
{
    return QFile::encodeName(argument).toStdString();
}

bool parseStations(const QString &text, std::vector<int> *stations)
{
    stations->clear();
    for (const QString &part : text.split(',')) {
        bool ok = false;
        const uint number = part.toUInt(&ok);
        if (!ok || number > 255 || part.trimmed() != part)
            return false;
        stations->push_back(static_cast<int>(number));
    }
    return true;
}

void addOptions(QCommandLineParser *parser)
{
    parser->addOptions({
        {"stations", "Station numbers, 0 to 255, with commas between them.", "list", "1,2,3"},
        {"pty", "Make a pty and a symbolic link to it.", "link"},
        {"port", "Play on a serial port.", "device"},
        {"baud", "Bits per second; bytes take their time. 0: as fast as it goes.", "rate", "38400"},
        {"seed", "Seed of programs and noise.", "number", "1"},
        {"image", "Start values: lines of \"station address value\".", "file"},
        {"trace", "Append every frame to a file, in hex and in readable form.", "file"},
        {"fault", "Something that goes wrong; may be given several times.", "fault"},
    });
}

/// Empty, or what is wrong.
QString readOptions(const QCommandLineParser &parser, SimulatorOptions *options)
{
    if (!parser.positionalArguments().isEmpty())
        return "unexpected argument \"" + parser.positionalArguments().first() + "\"";
    if (!parseStations(parser.value("stations"), &options->stations))
        return "--stations takes numbers from 0 to 255 with commas between them, not \"" +
               parser.value("stations") + "\"";
    if (parser.isSet("pty") && parser.isSet("port"))
        return "--pty and --port exclude each other";
    bool ok = false;
    options->baud = parser.value("baud").toInt(&ok);
    if (!ok || options->baud < 0 || options->baud > 4000000)
        return "--baud takes a number from 0 to 4000000, not \"" + parser.value("baud") + "\"";
    options->seed = parser.value("seed").toUInt(&ok);
    if (!ok)
        return "--seed takes a number from 0 to 4294967295, not \"" + parser.value("seed") + "\"";
    for (const QString &text : parser.values("fault")) {
        Fault fault;
        std::string error;
        if (!parseFault(text.toStdString(), &fault, &error))
            return "--fault " + text + ": " + QString::fromStdString(error);
        options->faults.push_back(fault);
    }
    options->ptyLink = path(parser.value("pty"));
    options->port = path(parser.value("port"));
    options->imageFile = path(parser.value("image"));
    options->traceFile = path(parser.value("trace"));
    return QString();
}

/// Waits for SIGINT or SIGTERM, which are blocked in every thread.
void waitForEnd(const sigset_t &endSignals)
{
    int received = 0;
    while (sigwait(&endSignals, &received) != 0) {
    }
}

} // namespace

int main(int argc, char **argv)
{
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr); // before any thread is there to take them

    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("dmc50-sim");
    QCoreApplication::setApplicationVersion(DMC50_VERSION);
    QCommandLineParser parser;
    parser.setApplicationDescription(Examples);
    addOptions(&parser);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    if (!parser.parse(QCoreApplication::arguments()))
        return fail(WrongUsage, parser.errorText());
    if (parser.isSet(version))
        parser.showVersion();
    if (parser.isSet(help))
        parser.showHelp(Ended);

    SimulatorOptions options;
    const QString mistake = readOptions(parser, &options);
    if (!mistake.isEmpty())
        return fail(WrongUsage, mistake + "; see --help");
    Simulator simulator(options);
    std::string error;
    if (!simulator.start(&error))
        return fail(Unavailable, QString::fromLocal8Bit(error.c_str()));

    printf("%s\n", options.port.empty() ? simulator.portName().c_str() : options.port.c_str());
    fflush(stdout);
    waitForEnd(endSignals);
    simulator.stop();
    return Ended;
}
