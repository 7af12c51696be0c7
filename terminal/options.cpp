#include "terminal/options.h"

#include <limits>

#include <QCommandLineParser>
#include <QRegularExpression>

namespace
{

const char DefaultStations[] = "1,2,3";

const char Description[] =
    "Loads the DMC50 driver as the operator terminal does and shows living values.\n"
    "\n"
    "Examples:\n"
    "  dmc50-terminal --simulate\n"
    "      the sample project on simulated controllers, until Ctrl-C\n"
    "  dmc50-terminal --port /dev/ttyUSB0 --project furnaces.csv\n"
    "      your tags on your line\n"
    "  dmc50-terminal --simulate --window\n"
    "      the same on the terminal's screen\n"
    "  dmc50-terminal --simulate --duration 10 --format json\n"
    "      ten seconds, one JSON object a line\n"
    "  dmc50-terminal --simulate=1,2 --fault drop:station=2:every=3 --timeout 3000\n"
    "      what a station looks like that leaves every third request unanswered\n"
    "  dmc50-terminal --simulate --export-program 5 --usb-stick stick\n"
    "      program 5 of the controller as stick/PROG_5.txt\n"
    "  dmc50-terminal --simulate --write furnace1.setpoint=4500\n"
    "      another set point\n"
    "\n"
    "Exit status: 0 no exchange failed, 1 one did, 2 wrong usage, 3 plug-in, port or project\n"
    "cannot be had.";

/// An option that takes a whole number.
struct NumberOption {
    const char *name;
    int least;
    int most;
    int TerminalOptions::*target;
};

const int Unlimited = std::numeric_limits<int>::max();

const NumberOption NumberOptions[] = {
    {"baud", 0, 4000000, &TerminalOptions::baud},
    {"period", 10, 3600000, &TerminalOptions::periodMs},
    {"timeout", 1, 600000, &TerminalOptions::timeoutMs},
    {"retry", 0, 100, &TerminalOptions::retries},
    {"delay", 0, 1000, &TerminalOptions::delayMs}, // the end may have to wait for it
    {"duration", 0, Unlimited, &TerminalOptions::durationS},
};

const int TemplateProgram = -1;

void addOptions(QCommandLineParser *parser)
{
    parser->addOptions({
        {"plugin", "The driver's plug-in.", "file"},
        {"create-driver", "Use the plug-in's CreateDriver instead of the framework's loader."},
        {"port", "A serial device.", "device"},
        {"simulate",
         "Simulated controllers, stations 1,2,3 unless given: --simulate=1,7. The "
         "default without --port.",
         "stations"},
        {"baud", "Bits per second (default: the driver's). 0: a simulated line without pace.",
         "rate"},
        {"project", "The project's tags: CSV with the columns name, address, type, length.",
         "file"},
        {"tags", "Names or addresses of the tags to show, with commas between them.", "list"},
        {"write", "Write a value once the line is up; may be given several times.", "tag=value"},
        {"period", "Milliseconds between two readings (default 1000).", "ms"},
        {"timeout", "Milliseconds that a controller has to answer; the driver takes 3000 for less.",
         "ms"},
        {"retry", "Further attempts after a failure.", "count"},
        {"delay", "Milliseconds before each frame; the driver takes 10 for less.", "ms"},
        {"duration", "Seconds until the end (default 0: until interrupted).", "s"},
        {"format", "table or json (default table).", "format"},
        {"fault",
         "A fault of the simulated line, such as drop:station=2:every=3; may be given "
         "several times. dmc50-sim --help lists them.",
         "fault"},
        {"export-program",
         "Carry a program from the controller to the USB stick, as PROG_number.txt. -1: a "
         "template.",
         "number"},
        {"import-program", "Carry PROG_number.txt from the USB stick to the controller.", "number"},
        {"steps", "Steps of the program, 0 to 32 (default 32).", "count"},
        {"usb-stick", "Let a directory be the USB stick, for this program alone.", "directory"},
        {"window", "Show the terminal's screen."},
        {"panel",
         "Use the devices of a panel: sticks and cards below /run/media, the beeper's PWM files, "
         "settings in FRAM. Otherwise those of a desktop: sticks at /media/usb*, the host's beep."},
        {"trace", "Append every frame to a file, in hex and in readable form.", "file"},
    });
}

/// "--simulate" alone stands for the usual stations.
QStringList completed(QStringList arguments)
{
    arguments.replaceInStrings(QRegularExpression("^--simulate$"),
                               QString("--simulate=") + DefaultStations);
    return arguments;
}

QString readNumbers(const QCommandLineParser &parser, TerminalOptions *options)
{
    for (const NumberOption &option : NumberOptions) {
        if (!parser.isSet(option.name))
            continue;
        bool ok = false;
        const int number = parser.value(option.name).toInt(&ok);
        if (!ok || number < option.least || number > option.most)
            return QString("--%1 takes a number from %2 to %3, not \"%4\"")
                .arg(option.name)
                .arg(option.least)
                .arg(option.most)
                .arg(parser.value(option.name));
        options->*option.target = number;
    }
    return QString();
}

QString readStations(const QString &text, std::vector<int> *stations)
{
    for (const QString &part : text.split(',')) {
        bool ok = false;
        const int station = part.toInt(&ok);
        if (!ok || station < 1 || station > 255)
            return QString("--simulate takes stations from 1 to 255, not \"%1\"").arg(part);
        stations->push_back(station);
    }
    return QString();
}

QString readFaults(const QStringList &texts, std::vector<Fault> *faults)
{
    for (const QString &text : texts) {
        Fault fault;
        std::string reason;
        if (!parseFault(text.toStdString(), &fault, &reason))
            return QString("--fault %1: %2").arg(text, QString::fromStdString(reason));
        faults->push_back(fault);
    }
    return QString();
}

QString readWrites(const QStringList &texts, QList<QPair<QString, QString>> *writes)
{
    for (const QString &text : texts) {
        const int equals = text.indexOf('=');
        if (equals < 1 || equals + 1 == text.size())
            return QString("--write takes tag=value, not \"%1\"").arg(text);
        *writes << qMakePair(text.left(equals), text.mid(equals + 1));
    }
    return QString();
}

QString readLine(const QCommandLineParser &parser, TerminalOptions *options)
{
    options->port = parser.value("port");
    if (parser.isSet("port") && options->port.isEmpty())
        return "--port takes a serial device";
    if (!parser.isSet("port")) {
        const QString stations =
            parser.isSet("simulate") ? parser.value("simulate") : QString(DefaultStations);
        const QString mistake = readStations(stations, &options->stations);
        return mistake.isEmpty() ? readFaults(parser.values("fault"), &options->faults) : mistake;
    }
    if (parser.isSet("simulate"))
        return "--port and --simulate exclude each other";
    if (parser.isSet("fault"))
        return "--fault needs the simulator";
    if (options->baud == 0)
        return "--baud 0 needs the simulator";
    return QString();
}

bool readNumber(const QString &text, int least, int most, int *number)
{
    bool ok = false;
    *number = text.toInt(&ok);
    return ok && *number >= least && *number <= most;
}

QString readTransfer(const QCommandLineParser &parser, TerminalOptions *options)
{
    const bool exports = parser.isSet("export-program");
    options->hasTransfer = exports || parser.isSet("import-program");
    if (exports && parser.isSet("import-program"))
        return "--export-program and --import-program exclude each other";
    if (!options->hasTransfer)
        return parser.isSet("steps") ? "--steps needs --export-program or --import-program" : "";
    const char *const option = exports ? "export-program" : "import-program";
    TransferRequest &transfer = options->transfer;
    transfer.kind = exports ? TransferKind::Export : TransferKind::Import;
    transfer.steps = Tag::ProgramSteps;
    if (!readNumber(parser.value(option), exports ? TemplateProgram : 0, Unlimited,
                    &transfer.program))
        return QString("--%1 takes a program number, not \"%2\"").arg(option, parser.value(option));
    if (parser.isSet("steps") &&
        !readNumber(parser.value("steps"), 0, Tag::ProgramSteps, &transfer.steps))
        return QString("--steps takes a number from 0 to 32, not \"%1\"")
            .arg(parser.value("steps"));
    return options->window ? "a program is carried without --window, or by its program page" : "";
}

QString readStick(const QCommandLineParser &parser, TerminalOptions *options)
{
    options->usbStick = parser.value("usb-stick");
    if (!parser.isSet("usb-stick"))
        return QString();
    if (options->panel)
        return "--usb-stick is a desktop's: it excludes --panel";
    return options->usbStick.isEmpty() ? "--usb-stick takes a directory" : "";
}

QString readFormat(const QCommandLineParser &parser, TerminalOptions *options)
{
    const QString format = parser.isSet("format") ? parser.value("format") : "table";
    if (format != "table" && format != "json")
        return QString("--format is table or json, not \"%1\"").arg(format);
    options->format = format == "json" ? TerminalOptions::Json : TerminalOptions::Table;
    return QString();
}

/// Empty, or the first mistake.
QString readAll(const QCommandLineParser &parser, TerminalOptions *options)
{
    if (!parser.positionalArguments().isEmpty())
        return QString("unexpected argument \"%1\"").arg(parser.positionalArguments().first());
    options->plugin = parser.value("plugin");
    options->createDriver = parser.isSet("create-driver");
    options->window = parser.isSet("window");
    options->panel = parser.isSet("panel");
    options->project = parser.value("project");
    for (const QString &tag : parser.value("tags").split(',', Qt::SkipEmptyParts))
        options->tags << tag.trimmed();
    options->trace = parser.value("trace");
    QString mistake = readNumbers(parser, options);
    if (mistake.isEmpty())
        mistake = readLine(parser, options);
    if (mistake.isEmpty())
        mistake = readFormat(parser, options);
    if (mistake.isEmpty())
        mistake = readTransfer(parser, options);
    if (mistake.isEmpty())
        mistake = readStick(parser, options);
    if (mistake.isEmpty())
        mistake = readWrites(parser.values("write"), &options->writes);
    return mistake;
}

} // namespace

OptionsResult parseOptions(const QStringList &arguments, TerminalOptions *options, QString *text)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(Description);
    addOptions(&parser);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    if (!parser.parse(completed(arguments))) {
        *text = parser.errorText().remove(QRegularExpression("\\.$"));
        return OptionsResult::BadOptions;
    }
    if (parser.isSet(help)) {
        *text = parser.helpText();
        return OptionsResult::ShowText;
    }
    if (parser.isSet(version)) {
        *text = QString("dmc50-terminal %1\n").arg(DMC50_VERSION);
        return OptionsResult::ShowText;
    }
    *text = readAll(parser, options);
    return text->isEmpty() ? OptionsResult::Run : OptionsResult::BadOptions;
}
