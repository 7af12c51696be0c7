// How near the polling thread comes to the line's own limit, at the real line's pace: few and many
// addresses, one station and all that a line carries.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include <QCommandLineParser>
#include <QCoreApplication>

#include "bench/measurement.h"
#include "bench/paced_line.h"
#include "cpl/dmc50_polling_thread.h"
#include "cpl/passing_link.h"

namespace
{

const ulong FirstAddress = 0x1000;
const int DelayMs = 20;
const double Goal = 1.01;

/// What is polled, and how many cycles are measured unless told otherwise.
struct Load {
    int stations;
    int addressesPerStation;
    int cycles;

    int addresses() const { return stations * addressesPerStation; }
    int framesPerCycle() const
    {
        return stations *
               ((addressesPerStation + Cpl::MaxReadAddresses - 1) / Cpl::MaxReadAddresses);
    }
};

const Load Loads[] = {{1, 50, 19}, {1, 500, 5}, {1, 5000, 3},
                      {8, 50, 7},  {31, 50, 3}, {31, 150, 2}};

typedef std::chrono::steady_clock SteadyClock;

/// Passes everything on, counts bytes and notes when each cycle begins.
class CycleMeter : public PassingLink
{
public:
    CycleMeter(AbstractDeviceInterface *link, int framesPerCycle)
        : PassingLink(link), m_frames_per_cycle(framesPerCycle), m_frames(0), m_bytes(0)
    {
    }

    /// Waits until so many cycles are over, after a first one to warm up.
    void waitFor(int cycles)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_begun.wait(lock, [&] { return m_begins.size() >= static_cast<size_t>(cycles) + 2; });
    }

    /// Milliseconds of each cycle but the first.
    std::vector<double> cycles() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<double> durations;
        for (size_t i = 2; i < m_begins.size(); ++i)
            durations.push_back(
                std::chrono::duration<double, std::milli>(m_begins[i] - m_begins[i - 1]).count());
        return durations;
    }

    /// Bytes in both directions of one cycle, as measured over the whole cycles.
    double bytesPerCycle() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const size_t last = m_bytes_at_begin.size() - 1;
        return static_cast<double>(m_bytes_at_begin[last] - m_bytes_at_begin[1]) /
               static_cast<double>(last - 1);
    }

    int writeData(const char *data, int size) override
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_frames++ % m_frames_per_cycle == 0) {
                m_begins.push_back(SteadyClock::now());
                m_bytes_at_begin.push_back(m_bytes);
                m_begun.notify_all();
            }
            m_bytes += static_cast<quint64>(size);
        }
        return PassingLink::writeData(data, size);
    }

    int readData(char *buffer, int max_size) override
    {
        const int count = PassingLink::readData(buffer, max_size);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bytes += static_cast<quint64>(count > 0 ? count : 0);
        return count;
    }

private:
    const int m_frames_per_cycle;
    mutable std::mutex m_mutex;
    std::condition_variable m_begun;
    std::vector<SteadyClock::time_point> m_begins;
    std::vector<quint64> m_bytes_at_begin;
    int m_frames;
    quint64 m_bytes;
};

QList<CommunicatorCommand> session(const Load &load)
{
    QList<CommunicatorCommand> commands;
    for (int station = 1; station <= load.stations; ++station) {
        CommunicatorCommand command;
        command.address = QString("%1-NA%2").arg(station).arg(FirstAddress, 0, 16);
        command.length = load.addressesPerStation;
        commands << command;
    }
    return commands;
}

AddressVectorMap table(const Load &load)
{
    AddressVectorMap valid;
    for (int station = 1; station <= load.stations; ++station) {
        for (int i = 0; i < load.addressesPerStation; ++i)
            valid[static_cast<uchar>(station)].push_back(AddressAt(FirstAddress, uint(i)));
    }
    return valid;
}

/// Runs the line and returns the meter's figures in the last two arguments.
bool measure(const Load &load, int cycles, std::vector<double> *durations, double *bytes,
             QString *error)
{
    PacedLine line;
    if (!line.start(load.stations, DelayMs, error))
        return false;
    CycleMeter meter(line.link(), load.framesPerCycle());
    const AddressVectorMap valid = table(load);
    PollingThread polling(&meter, &valid, 1);
    polling.setSessionCommand(session(load));
    polling.start();
    meter.waitFor(cycles);
    polling.stop();
    polling.wait();
    *error = polling.getLastError();
    *durations = meter.cycles();
    *bytes = meter.bytesPerCycle();
    return error->isEmpty();
}

/// Milliseconds that the line itself needs: its bytes, and the pauses that the link asks for.
double limitMs(const Load &load, double bytes)
{
    return PacedLine::msOf(bytes) + DelayMs * load.framesPerCycle();
}

/// Prints a load's row.
/// \return the median ratio, or a negative number: the line failed
double measureAndPrint(const Load &load, int cycles, QJsonArray *rows)
{
    std::vector<double> durations;
    double bytes = 0.0;
    QString error;
    if (!measure(load, cycles, &durations, &bytes, &error)) {
        fprintf(stderr, "dmc50-bench-line: %s\n", qPrintable(error));
        return -1.0;
    }
    const double limit = limitMs(load, bytes);
    const auto ends = std::minmax_element(durations.begin(), durations.end());
    const double ratio = median(durations) / limit;
    printf("%8d %9d %7d %9.0f %10.1f %7d %10.1f %10.1f %10.1f %8.4f\n", load.stations,
           load.addresses(), load.framesPerCycle(), bytes, limit, cycles, *ends.first,
           median(durations), *ends.second, ratio);
    fflush(stdout);
    QJsonObject row;
    row["stations"] = load.stations;
    row["addresses"] = load.addresses();
    row["bytes"] = bytes;
    row["limit ms"] = limit;
    row["cycles ms"] = toJson(durations);
    row["ratio"] = ratio;
    rows->append(row);
    return ratio;
}

int measureAll(int cycles, const QString &file)
{
    printMachine();
    printf("%d baud, %d bits a byte, pause of %d ms before each frame; ms\n", PacedLine::Baud,
           PacedLine::BitsPerByte, DelayMs);
    printf("%8s %9s %7s %9s %10s %7s %10s %10s %10s %8s\n", "stations", "addresses", "frames",
           "bytes", "limit", "cycles", "least", "median", "worst", "ratio");
    QJsonArray rows;
    double worst = 0.0;
    for (const Load &load : Loads) {
        const double ratio = measureAndPrint(load, cycles > 0 ? cycles : load.cycles, &rows);
        if (ratio < 0.0)
            return Measurement::Failed;
        worst = std::max(worst, ratio);
    }
    printf("median cycle / limit, worst of the rows: %.4f; goal %.2f or less: %s\n", worst, Goal,
           worst <= Goal ? "met" : "MISSED");
    QJsonObject figures;
    figures["rows"] = rows;
    figures["worst ratio"] = worst;
    return finish(worst <= Goal, file, "line", figures);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"cycles",
                      "Cycles to measure of each row (default: the longer a cycle, the fewer). "
                      "The longest takes about 26 s.",
                      "n", "0"});
    parser.addOption({"json", "Writes the figures to a file, too.", "file"});
    parser.process(application);
    int cycles = 0;
    if (!readNumber(parser.value("cycles"), 0, 10000, "--cycles", &cycles))
        return Measurement::WrongUsage;
    return measureAll(cycles, parser.value("json"));
}
