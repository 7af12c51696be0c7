// What one exchange of 50 values costs the driver, beside a Modbus RTU master that carries as much.
// Both masters run in processes of their own, one after the other, over a pty without pace.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/measurement.h"
#include "bench/peer_side.h"

namespace
{

const double Goal = 1.0;

/// Of one exchange, in microseconds.
struct Figures {
    double wall;
    double user;
    double system;
    double responder; ///< processor time of the other process

    double processor() const { return user + system; }
};

/// A process that is a copy of this one, and the end of a pipe from it.
struct Child {
    pid_t pid;
    int from;
};

template <typename Body>
Child startChild(Body body)
{
    int ends[2];
    if (pipe(ends) != 0) {
        perror("pipe");
        exit(Measurement::Failed);
    }
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        close(ends[0]);
        body(ends[1]);
        _exit(Measurement::Failed);
    }
    close(ends[1]);
    const Child child = {pid, ends[0]};
    return child;
}

/// Waits for a child's end.
/// \param processorUs  gets the processor time of its whole life
/// \return whether it ended well
bool endOf(const Child &child, double *processorUs)
{
    int status = 0;
    struct rusage usage = {};
    wait4(child.pid, &status, 0, &usage);
    close(child.from);
    *processorUs = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 +
                   static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string readLine(int descriptor)
{
    std::string line;
    char byte = 0;
    while (read(descriptor, &byte, 1) == 1 && byte != '\n')
        line += byte;
    return line;
}

/// What the master's process does: exchanges, and the cost into the pipe.
void runMaster(const PeerSide &side, const std::string &port, const ExchangePlan &plan, int result)
{
    ExchangeCost cost = {};
    const std::string error = side.exchange(port, plan, &cost);
    if (!error.empty()) {
        fprintf(stderr, "%s: %s\n", side.name, error.c_str());
        _exit(Measurement::Failed);
    }
    _exit(write(result, &cost, sizeof cost) == sizeof cost ? Measurement::GoalMet
                                                           : Measurement::Failed);
}

/// One master and one responder from beginning to end.
bool run(const PeerSide &side, const ExchangePlan &plan, Figures *figures)
{
    const Child responder = startChild([&](int ready) { side.respond(ready); });
    const std::string port = readLine(responder.from);
    const Child master = startChild([&](int result) { runMaster(side, port, plan, result); });
    ExchangeCost cost = {};
    const bool came = read(master.from, &cost, sizeof cost) == sizeof cost;
    double masterUs = 0.0;
    double responderUs = 0.0;
    const bool well = endOf(master, &masterUs);
    kill(responder.pid, SIGTERM);
    endOf(responder, &responderUs);
    const double count = plan.exchanges;
    *figures = {cost.wallUs / count, cost.userUs / count, cost.systemUs / count,
                responderUs / (count + plan.warmUp)};
    return came && well;
}

typedef double (*Part)(const Figures &);

double wall(const Figures &figures)
{
    return figures.wall;
}
double processor(const Figures &figures)
{
    return figures.processor();
}
double user(const Figures &figures)
{
    return figures.user;
}
double systemTime(const Figures &figures)
{
    return figures.system;
}
double responder(const Figures &figures)
{
    return figures.responder;
}

std::vector<double> column(const std::vector<Figures> &rows, Part part)
{
    std::vector<double> values;
    values.reserve(rows.size());
    for (const Figures &row : rows)
        values.push_back(part(row));
    return values;
}

std::vector<double> ratios(const std::vector<Figures> &ours, const std::vector<Figures> &theirs,
                           Part part)
{
    std::vector<double> values;
    for (size_t i = 0; i < ours.size(); ++i)
        values.push_back(part(ours[i]) / part(theirs[i]));
    return values;
}

void printRow(const char *name, const Figures &figures)
{
    printf("%-18s %9.1f %9.1f %9.1f %9.1f %11.1f\n", name, figures.processor(), figures.user,
           figures.system, figures.wall, figures.responder);
}

QJsonObject printMedians(const PeerSide &side, const std::vector<Figures> &rows)
{
    const Figures middle = {median(column(rows, wall)), median(column(rows, user)),
                            median(column(rows, systemTime)), median(column(rows, responder))};
    printf("%-18s %9.1f %9.1f %9.1f %9.1f %11.1f\n",
           qPrintable(QString("%1, median").arg(side.name)), median(column(rows, processor)),
           middle.user, middle.system, middle.wall, middle.responder);
    QJsonObject figures;
    figures["request bytes"] = side.requestBytes;
    figures["reply bytes"] = side.replyBytes;
    figures["processor us"] = toJson(column(rows, processor));
    figures["user us"] = toJson(column(rows, user));
    figures["system us"] = toJson(column(rows, systemTime));
    figures["wall us"] = toJson(column(rows, wall));
    figures["responder processor us"] = toJson(column(rows, responder));
    return figures;
}

/// Runs the pairs, each side first in every other one.
bool runPairs(int pairs, const ExchangePlan &plan, std::vector<Figures> *ours,
              std::vector<Figures> *theirs)
{
    for (int i = 0; i < pairs; ++i) {
        Figures our = {};
        Figures their = {};
        const bool first = i % 2 == 0;
        const bool ran = first ? run(DriverSide, plan, &our) && run(ModbusSide, plan, &their)
                               : run(ModbusSide, plan, &their) && run(DriverSide, plan, &our);
        if (!ran)
            return false;
        ours->push_back(our);
        theirs->push_back(their);
        printRow(DriverSide.name, our);
        printRow(ModbusSide.name, their);
    }
    return true;
}

int compare(int pairs, const ExchangePlan &plan, const QString &file)
{
    printf("one exchange of %d values: %s %d + %d bytes, %s%s %d + %d bytes; pause %d ms\n",
           peer::Values, DriverSide.name, DriverSide.requestBytes, DriverSide.replyBytes,
           ModbusSide.name, ModbusSide.version, ModbusSide.requestBytes, ModbusSide.replyBytes,
           plan.pauseMs);
    printMachine();
    printf("%d pairs of %d exchanges; us of one exchange\n%-18s %9s %9s %9s %9s %11s\n", pairs,
           plan.exchanges, "", "CPU", "user", "system", "wall", "responder");
    std::vector<Figures> ours;
    std::vector<Figures> theirs;
    if (!runPairs(pairs, plan, &ours, &theirs))
        return Measurement::Failed;
    QJsonObject figures;
    figures["exchanges"] = plan.exchanges;
    figures["pause ms"] = plan.pauseMs;
    figures[DriverSide.name] = printMedians(DriverSide, ours);
    figures[ModbusSide.name] = printMedians(ModbusSide, theirs);
    const std::vector<double> processorRatios = ratios(ours, theirs, processor);
    const double ratio = median(processorRatios);
    const double wallRatio = median(ratios(ours, theirs, wall));
    const auto ends = std::minmax_element(processorRatios.begin(), processorRatios.end());
    printf("driver / libmodbus, median of the pairs: CPU %.2f (%.2f to %.2f), wall %.2f; goal CPU "
           "%.2f or less: %s\n",
           ratio, *ends.first, *ends.second, wallRatio, Goal, ratio <= Goal ? "met" : "MISSED");
    figures["processor ratio"] = ratio;
    figures["wall ratio"] = wallRatio;
    return finish(ratio <= Goal, file, "peer", figures);
}

/// One run of one side.
int runAlone(const QString &name, const ExchangePlan &plan)
{
    for (const PeerSide *side : {&DriverSide, &ModbusSide}) {
        Figures figures = {};
        if (name != side->name)
            continue;
        if (!run(*side, plan, &figures))
            return Measurement::Failed;
        printRow(side->name, figures);
        return Measurement::GoalMet;
    }
    fprintf(stderr, "--side takes %s or %s\n", DriverSide.name, ModbusSide.name);
    return Measurement::WrongUsage;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"pairs", "Pairs of runs (default 15).", "n", "15"});
    parser.addOption({"exchanges", "Exchanges of one run (default 5000).", "n", "5000"});
    parser.addOption({"pause-ms", "Pause before each exchange (default 0: none).", "ms", "0"});
    parser.addOption({"side", "Runs one side only, once, for a profiler to watch.", "name"});
    parser.addOption({"json", "Writes the figures to a file, too.", "file"});
    parser.process(application);
    int pairs = 0;
    ExchangePlan plan = {};
    if (!readNumber(parser.value("pairs"), 1, 1000, "--pairs", &pairs) ||
        !readNumber(parser.value("exchanges"), 1, 10000000, "--exchanges", &plan.exchanges) ||
        !readNumber(parser.value("pause-ms"), 0, 1000, "--pause-ms", &plan.pauseMs))
        return Measurement::WrongUsage;
    plan.warmUp = plan.exchanges / 10;
    if (parser.isSet("side"))
        return runAlone(parser.value("side"), plan);
    return compare(pairs, plan, parser.value("json"));
}
