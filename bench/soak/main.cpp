// Soaks the polling thread in faults and prints what became of them; scripts/soak runs it.

#include <cstdio>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

#include "bench/soak/port_soak.h"
#include "bench/soak/soak.h"

namespace
{

enum ExitStatus { Passed = 0, NotPassed = 1, WrongUsage = 2 };

const uint FewestExchanges = 1000;

bool takeNumber(const QCommandLineParser &parser, const char *name, uint least, uint *out)
{
    bool ok = false;
    *out = parser.value(name).toUInt(&ok);
    if (!ok || *out < least)
        fprintf(stderr, "dmc50-soak: --%s takes a number of %u or more\n", name, least);
    return ok && *out >= least;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Runs the polling thread on a line whose replies are spoiled at random, in virtual time, "
        "and then for some thousand exchanges on a port whose replies are spoiled.");
    parser.addHelpOption();
    parser.addOption({"exchanges",
                      "How many with a fault (1000 or more, default 100000); about half of all.",
                      "n", "100000"});
    parser.addOption({"seed",
                      "The same seed gives the same faults in the same order (default 1). Which "
                      "requests they strike, and so the figures, differs a little from run to run: "
                      "the runtime's thread asks while the line's thread polls.",
                      "s", "1"});
    parser.process(application);

    uint exchanges = 0;
    uint seed = 0;
    if (!takeNumber(parser, "exchanges", FewestExchanges, &exchanges) ||
        !takeNumber(parser, "seed", 0, &seed))
        return WrongUsage;
    SoakOptions options;
    options.exchanges = exchanges;
    options.seed = seed;
    options.error_texts = QFile::decodeName(DMC50_ERROR_TEXTS);
    const SoakResult result = runSoak(options);
    fputs(table(options, result).c_str(), stdout);

    PortSoakOptions port_options;
    port_options.error_texts = options.error_texts;
    const PortSoakResult port_result = runPortSoak(port_options);
    fputs(table(port_result).c_str(), stdout);

    const std::string missing = shortcomings(result) + shortcomings(port_result);
    puts(missing.empty() ? "passed" : "NOT PASSED");
    fputs(missing.c_str(), stdout);
    return missing.empty() ? Passed : NotPassed;
}
