// How the driver's costs grow with the project and with the session. All times are processor time
// of the thread that does the work, so that other programs disturb them least.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <malloc.h>
#include <sqlite3.h>
#include <time.h>

#include "bench/answering_link.h"
#include "bench/growth_project.h"
#include "bench/growth_series.h"
#include "bench/measurement.h"
#include "cpl/dmc50_polling_thread.h"
#include "driver/dmc50v3.h"

namespace
{

const int ProjectSizes[] = {100, 200, 500, 1000, 2000, 5000, 10000, 20000, 50000, 100000};
const int SessionSizes[] = {10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000};
const int WholeProject = 100000;
const int Reads = 20000;
const double BytesPerKilobyte = 1024.0;
const double TableGoal = 2.0;

const char Query[] = "SELECT address FROM custom_tag_table WHERE connector_id = 5 "
                     "AND address NOT LIKE '%INITDRV0' AND address NOT LIKE 'WRITE_QUE_SIZE%' "
                     "AND address NOT LIKE 'VVT_%';";

/// Processor time that this thread has used, in microseconds.
double threadUs()
{
    struct timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

/// Memory that the program has asked for and not given back.
double heapKilobytes()
{
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd) / BytesPerKilobyte;
}

template <typename Action>
double usOf(Action action)
{
    const double begin = threadUs();
    action();
    return threadUs() - begin;
}

/// How often a measurement is repeated, so that small sizes are not left to chance.
int repetitions(int size)
{
    return std::max(15, 20000 / size);
}

// ---- The project -------------------------------------------------------------------------------

typedef void (*Fetch)(sqlite3_stmt *statement);

/// As Qt takes a text, and so the driver.
void fetchUtf16(sqlite3_stmt *statement)
{
    sqlite3_column_text16(statement, 0);
}

/// As it lies in the file.
void fetchUtf8(sqlite3_stmt *statement)
{
    sqlite3_column_text(statement, 0);
}

/// The query alone, by SQLite's own interface: every row's text is fetched, nothing is done with
/// it.
double bareQueryUs(Fetch fetch)
{
    sqlite3 *database = nullptr;
    sqlite3_open_v2(qPrintable(GrowthProject::databaseFile()), &database, SQLITE_OPEN_READONLY,
                    nullptr);
    const double us = usOf([database, fetch] {
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(database, Query, -1, &statement, nullptr);
        while (sqlite3_step(statement) == SQLITE_ROW)
            fetch(statement);
        sqlite3_finalize(statement);
    });
    sqlite3_close(database);
    return us;
}

double tableUs()
{
    DriverDMC50v3 driver;
    if (!driver.createDBConnection())
        qFatal("cannot open the project");
    bool built = false;
    const double us = usOf([&] {
        built = driver.initValidAddressesMap(GrowthProject::LinkId, GrowthProject::DefaultStation);
    });
    if (!built)
        qFatal("cannot build the table");
    return us;
}

/// What a driver keeps for its table.
double tableKilobytes()
{
    const double before = heapKilobytes();
    DriverDMC50v3 driver;
    if (!driver.readDB("COM2"))
        qFatal("cannot build the table: %s", qPrintable(driver.getLastError()));
    return heapKilobytes() - before;
}

/// \return the worst ratio of table to query
double measureProjects(SeriesGroup *times, SeriesGroup *ratios, SeriesGroup *memory)
{
    Series table("table");
    Series query("bare query");
    Series utf8Query("bare query, UTF-8");
    Series kept("table");
    Series ratio("table / bare query");
    for (const int size : ProjectSizes) {
        GrowthProject::write(size);
        std::vector<double> tables;
        std::vector<double> queries;
        std::vector<double> utf8Queries;
        std::vector<double> pairs; // of runs one behind the other, which the machine disturbs alike
        for (int i = 0; i < repetitions(size); ++i) {
            queries.push_back(bareQueryUs(fetchUtf16));
            utf8Queries.push_back(bareQueryUs(fetchUtf8));
            tables.push_back(tableUs());
            pairs.push_back(tables.back() / queries.back());
        }
        table.add(size, median(tables) / 1000.0);
        query.add(size, median(queries) / 1000.0);
        utf8Query.add(size, median(utf8Queries) / 1000.0);
        kept.add(size, tableKilobytes());
        ratio.add(size, median(pairs));
    }
    times->series = {table, query, utf8Query};
    memory->series = {kept};
    ratios->series = {ratio};
    return *std::max_element(ratio.values.begin(), ratio.values.end());
}

// ---- The session -------------------------------------------------------------------------------

/// A session of tags that are spread over the whole project.
QList<CommunicatorCommand> session(int size)
{
    QList<CommunicatorCommand> commands;
    for (int i = 0; i < size; ++i) {
        CommunicatorCommand command;
        command.address = GrowthProject::projectTextOf(i * (WholeProject / size));
        command.length = 1;
        commands << command;
    }
    return commands;
}

double takeOverUs(const AddressVectorMap &table, AnsweringLink *link,
                  const QList<CommunicatorCommand> &commands)
{
    PollingThread polling(link, &table, GrowthProject::DefaultStation);
    return usOf([&] {
        polling.setSessionCommand(commands);
        polling.sessionAddrMapToCacheAddrMap();
    });
}

Series measureTakeOvers()
{
    Series series("take over");
    AnsweringLink link;
    const AddressVectorMap table = GrowthProject::table(WholeProject);
    for (const int size : SessionSizes) {
        const QList<CommunicatorCommand> commands = session(size);
        std::vector<double> times;
        times.reserve(static_cast<size_t>(repetitions(size)));
        for (int i = 0; i < repetitions(size); ++i)
            times.push_back(takeOverUs(table, &link, commands));
        series.add(size, median(times) / 1000.0);
    }
    return series;
}

/// Reads tags of the session in random order.
double readUs(DriverDMC50v3 *driver, AnsweringLink *link, int size)
{
    std::vector<int> tags(Reads);
    std::mt19937 random(1);
    for (int &tag : tags)
        tag = static_cast<int>(random() % static_cast<uint>(size)) * (WholeProject / size);
    std::vector<CommunicatorCommand> commands;
    commands.reserve(tags.size());
    for (const int tag : tags)
        commands.push_back(GrowthProject::accessTo(GrowthProject::textOf(tag)));
    const double us = usOf([&] {
        for (size_t i = 0; i < commands.size(); ++i) {
            link->setStationId(GrowthProject::stationOf(tags[i]));
            if (driver->read(link, commands[i]).size() != 4)
                qFatal("a tag could not be read");
        }
    });
    return us / Reads;
}

/// One session from its announcement on, with a driver of its own.
void measureSession(int size, Series *readTime, Series *memory)
{
    AnsweringLink link;
    DriverDMC50v3 driver;
    link.setStationId(GrowthProject::DefaultStation);
    driver.read(&link, GrowthProject::accessTo(GrowthProject::textOf(
                           0))); // builds the table and starts the polling thread
    const QList<CommunicatorCommand> commands = session(size);
    const double before = heapKilobytes();
    driver.setSessionCommand(commands);
    link.waitForValues(2 * size); // the first pass and most of a second one
    memory->add(size, heapKilobytes() - before);
    readTime->add(size, readUs(&driver, &link, size));
}

void measureSessions(SeriesGroup *takeOver, SeriesGroup *reading, SeriesGroup *memory)
{
    GrowthProject::write(WholeProject);
    Series readTime("read");
    Series kept("session and cache");
    for (const int size : SessionSizes)
        measureSession(size, &readTime, &kept);
    takeOver->series = {measureTakeOvers()};
    reading->series = {readTime};
    memory->series = {kept};
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"data", "Writes the plots' data into a directory.", "directory"});
    parser.addOption({"json", "Writes the figures to a file, too.", "file"});
    parser.process(application);

    SeriesGroup table = {
        "growth-table", "tags of the project", "ms of processor time to build the table", {}};
    SeriesGroup ratios = {
        "growth-ratio", "tags of the project", "ratio, median of the pairs of runs", {}};
    SeriesGroup project = {
        "growth-project-memory", "tags of the project", "kB kept for the table", {}};
    SeriesGroup takeOver = {
        "growth-session", "tags of the session", "ms of processor time to take over", {}};
    SeriesGroup reading = {
        "growth-read", "tags of the session", "us of processor time to read a cached tag", {}};
    SeriesGroup kept = {
        "growth-session-memory", "tags of the session", "kB kept for the session", {}};
    printMachine();
    const double ratio = measureProjects(&table, &ratios, &project);
    measureSessions(&takeOver, &reading, &kept);
    GrowthProject::remove();

    QJsonObject figures;
    for (const SeriesGroup *group : {&table, &ratios, &project, &takeOver, &reading, &kept}) {
        group->print();
        figures[group->file] = group->toJson();
        if (parser.isSet("data") && !group->writeData(parser.value("data")))
            return Measurement::Failed;
    }
    printf("\ntable / bare query, worst of the sizes: %.2f; goal %.2f or less: %s\n", ratio,
           TableGoal, ratio <= TableGoal ? "met" : "MISSED");
    figures["worst ratio of table to query"] = ratio;
    return finish(ratio <= TableGoal, parser.value("json"), "growth", figures);
}
