// How long a write waits for the line while thousands of addresses are polled at the real line's
// pace: from the driver's `write` to its frame on the line.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <QCommandLineParser>
#include <QCoreApplication>

#include "bench/growth_project.h"
#include "bench/measurement.h"
#include "bench/paced_line.h"
#include "cpl/dmc50_cpl.h"
#include "cpl/passing_link.h"
#include "driver/dmc50v3.h"

namespace
{

const int PolledTags = 5000;
const int FullFrameBytes = 417 + 413; ///< 50 addresses there, their values back
const double SlackMs = 5.0;

typedef std::chrono::steady_clock SteadyClock;

double msBetween(SteadyClock::time_point from, SteadyClock::time_point to)
{
    return std::chrono::duration<double, std::milli>(to - from).count();
}

/// Tells when the next write goes out.
class WriteWatch : public PassingLink
{
public:
    explicit WriteWatch(AbstractDeviceInterface *link)
        : PassingLink(link), m_reads(0), m_write_is_out(false)
    {
    }

    int writeData(const char *data, int size) override
    {
        const SteadyClock::time_point now = SteadyClock::now();
        const bool isWrite = size > Cpl::DataPosition && data[6] == 'W';
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (isWrite) {
            m_out_at = now;
            m_write_is_out = true;
        } else {
            ++m_reads;
        }
        m_changed.notify_all();
        return PassingLink::writeData(data, size);
    }

    SteadyClock::time_point waitForWrite()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_write_is_out; });
        m_write_is_out = false;
        return m_out_at;
    }

    /// Waits until so many more requests to read were sent.
    void waitForReads(int reads)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const int end = m_reads + reads;
        m_changed.wait(lock, [&] { return m_reads >= end; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_reads;                      ///< guarded by m_mutex
    bool m_write_is_out;              ///< likewise
    SteadyClock::time_point m_out_at; ///< likewise
};

/// Milliseconds of one exchange of 50 values, the pause before it included.
double exchangeMs(int delayMs)
{
    return PacedLine::msOf(FullFrameBytes) + delayMs;
}

/// Writes tags at random moments of the exchange that is under way.
/// \return the wait of each, in ms; fewer than asked for when a write was refused
std::vector<double> waitsOf(int writes, int delayMs, DriverDMC50v3 *driver, WriteWatch *watch)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> pauseMs(0.0, exchangeMs(delayMs));
    std::vector<double> waits;
    for (int i = 0; i < writes; ++i) {
        std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(pauseMs(random)));
        // The tags of the link's station are every eighth.
        const int tag = (i * GrowthProject::Stations) % PolledTags;
        const SteadyClock::time_point begin = SteadyClock::now();
        if (driver->write(watch, GrowthProject::accessTo(GrowthProject::textOf(tag)),
                          QByteArray(4, '\x2A')) != 1)
            break;
        waits.push_back(msBetween(begin, watch->waitForWrite()));
    }
    return waits;
}

/// One driver on a line of eight stations.
bool measure(int writes, int delayMs, std::vector<double> *waits, QString *error)
{
    PacedLine line;
    if (!line.start(GrowthProject::Stations, delayMs, error))
        return false;
    WriteWatch watch(line.link());
    QList<CommunicatorCommand> session;
    for (int tag = 0; tag < PolledTags; ++tag)
        session << GrowthProject::accessTo(GrowthProject::projectTextOf(tag));
    DriverDMC50v3 driver;
    driver.setSessionCommand(session);
    // Starts the polling thread.
    driver.read(&watch, GrowthProject::accessTo(GrowthProject::textOf(0)));
    watch.waitForReads(3);
    *waits = waitsOf(writes, delayMs, &driver, &watch);
    *error = driver.hasError() ? driver.getLastError() : QString();
    if (error->isEmpty() && static_cast<int>(waits->size()) < writes)
        *error = "a write was refused";
    return error->isEmpty();
}

int report(std::vector<double> waits, int delayMs, const QString &file)
{
    std::sort(waits.begin(), waits.end());
    const double exchange = exchangeMs(delayMs);
    const double bound = exchange + SlackMs;
    const double worst = waits.back();
    printf("one exchange: pause of %d ms and %d bytes at %d baud, %.1f ms\n", delayMs,
           FullFrameBytes, PacedLine::Baud, exchange);
    printf("%zu writes; ms from write to the frame on the line: median %.1f, 99 %% %.1f, worst "
           "%.1f\n",
           waits.size(), median(waits), waits[waits.size() * 99 / 100], worst);
    printf("worst - one exchange: %.1f ms; goal %.0f or less: %s\n", worst - exchange, SlackMs,
           worst <= bound ? "met" : "MISSED");
    printf("without the pause of %d ms before the write's own frame: %.1f ms\n", delayMs,
           worst - exchange - delayMs);
    QJsonObject figures;
    figures["exchange ms"] = exchange;
    figures["pause ms"] = delayMs;
    figures["waits ms"] = toJson(waits);
    return finish(worst <= bound, file, "write", figures);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption(
        {"writes", "Writes to measure (default 1000, about 0.3 s each).", "n", "1000"});
    parser.addOption({"pause-ms", "The link's pause before each frame (default 10).", "ms", "10"});
    parser.addOption({"json", "Writes the figures to a file, too.", "file"});
    parser.process(application);
    int writes = 0;
    int delayMs = 0;
    if (!readNumber(parser.value("writes"), 1, 100000, "--writes", &writes) ||
        !readNumber(parser.value("pause-ms"), 10, 1000, "--pause-ms", &delayMs))
        return Measurement::WrongUsage;
    printMachine();
    printf("%d tags of %d stations polled\n", PolledTags, GrowthProject::Stations);
    fflush(stdout);
    GrowthProject::write(PolledTags);
    std::vector<double> waits;
    QString error;
    const bool measured = measure(writes, delayMs, &waits, &error);
    GrowthProject::remove();
    if (!measured) {
        fprintf(stderr, "dmc50-bench-write: %s\n", qPrintable(error));
        return Measurement::Failed;
    }
    return report(waits, delayMs, parser.value("json"));
}
