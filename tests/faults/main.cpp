// Lets every allocation and system call of the driver's paths fail once and prints what became of
// it; scripts/faults runs it. The injector has to be preloaded.

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <QCommandLineParser>
#include <QCoreApplication>

#include "tests/faults/faults.h"

namespace
{

/// What docs/reliability.md tells of each path, and a few more: their number differs from run to
/// run.
const std::map<std::string, long> MostUnproven = {
    {"table build", 28}, {"start", 3}, {"open", 1}, {"poll", 1},
    {"write", 1},        {"save", 3},  {"load", 3},
};

enum ExitStatus { Survived = 0, Broken = 1, WrongUsage = 2, Unavailable = 3 };

long sumOf(const std::map<std::string, long> &rows)
{
    long sum = 0;
    for (const auto &row : rows)
        sum += row.second;
    return sum;
}

void printReasons(const char *title, const std::map<std::string, long> &rows)
{
    for (const auto &row : rows)
        printf("    %s: %ld x %s\n", title, row.second, row.first.c_str());
}

void printRow(const FaultTally &tally)
{
    printf("%-12s %8ld %8ld %10ld %10ld %8ld %8ld %8ld\n", tally.path.c_str(), tally.calls,
           tally.failed, tally.succeeded, tally.reported, sumOf(tally.lost), sumOf(tally.unproven),
           sumOf(tally.broken));
    printReasons("lost", tally.lost);
    printReasons("unproven", tally.unproven);
    printReasons("BROKEN", tally.broken);
    fflush(stdout);
}

/// \return whether the path is as it should be
bool judge(const FaultTally &tally)
{
    const long unproven = sumOf(tally.unproven);
    const long most = MostUnproven.at(tally.path);
    if (unproven > most)
        printf("    BROKEN: %ld unproven, only %ld are known\n", unproven, most);
    if (tally.failed == 0)
        printf("    BROKEN: no call was made to fail\n");
    return tally.broken.empty() && unproven <= most && tally.failed > 0;
}

/// A port that is lost and found is no news here.
void ignoreMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

std::vector<std::unique_ptr<FaultPath>> makePaths(Simulator &simulator)
{
    std::vector<std::unique_ptr<FaultPath>> paths;
    paths.push_back(makeTableBuild());
    paths.push_back(makeStart(simulator));
    paths.push_back(makeOpen(simulator));
    paths.push_back(makePoll(simulator));
    paths.push_back(makeWrite(simulator));
    paths.push_back(makeSave());
    paths.push_back(makeLoad());
    return paths;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("dmc50-faults");
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"step", "Lets each Nth call fail only (default 1: each).", "n", "1"});
    parser.addOption({"first", "The first call that fails (default 1).", "n", "1"});
    parser.addOption({"path", "One path only.", "name"});
    parser.process(application);
    const long step = parser.value("step").toLong();
    const long first = parser.value("first").toLong();
    if (step < 1 || first < 1) {
        fprintf(stderr, "dmc50-faults: --first and --step take a number of 1 or more\n");
        return WrongUsage;
    }
    const std::string only = parser.value("path").toStdString();
    if (parser.isSet("path") && MostUnproven.count(only) == 0) {
        fprintf(stderr, "dmc50-faults: there is no path \"%s\"; there are", only.c_str());
        for (const auto &path : MostUnproven)
            fprintf(stderr, " \"%s\"", path.first.c_str());
        fprintf(stderr, "\n");
        return WrongUsage;
    }
    // The terminal's settings are files too, and not those of whoever runs this.
    setenv("XDG_CONFIG_HOME", qPrintable(QCoreApplication::applicationDirPath()), 1);

    qInstallMessageHandler(ignoreMessage);

    SimulatorOptions options;
    options.stations = {1};
    options.baud = 0;
    Simulator simulator(options);
    std::string reason;
    if (!simulator.start(&reason)) {
        fprintf(stderr, "dmc50-faults: %s\n", reason.c_str());
        return Unavailable;
    }
    printf("%-12s %8s %8s %10s %10s %8s %8s %8s\n", "path", "calls", "failed", "succeeded",
           "reported", "lost", "unproven", "broken");
    bool broken = false;
    for (const std::unique_ptr<FaultPath> &path : makePaths(simulator)) {
        if (parser.isSet("path") && only != path->name())
            continue;
        const FaultTally tally = failCalls(path.get(), first, step);
        printRow(tally);
        broken = !judge(tally) || broken;
    }
    printf("succeeded: in spite of the fault; reported: failed as documented; after both the next "
           "attempt\n  succeeded; lost: a library did not bear that its own call failed; unproven: "
           "a library crashed\n  or left something behind later, which may have been our doing\n");
    printf(broken ? "BROKEN\n" : "nothing broken\n");
    return broken ? Broken : Survived;
}
