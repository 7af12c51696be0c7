// How near the polling thread comes to the line's own limit: 500 addresses of one station in 10
// frames, at the real line's pace.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include <QCommandLineParser>
#include <QCoreApplication>

#include "cpl/dmc50_polling_thread.h"
#include "hmi/desktop/serial_link.h"
#include "simulator/simulator.h"

namespace
{

const int Station = 1;
const ulong FirstAddress = 0x1000;
const int Addresses = 500;
const int FramesPerCycle = Addresses / Cpl::MaxReadAddresses;
const int Baud = 38400;
const int BitsPerByte = 11;
const int DelayMs = 20;
const double Tolerance = 0.02;

typedef std::chrono::steady_clock SteadyClock;

/// Passes everything on, counts bytes and notes when each cycle begins.
class CycleMeter : public AbstractDeviceInterface
{
public:
    explicit CycleMeter(AbstractDeviceInterface *link) : m_link(link), m_frames(0), m_bytes(0) {}

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
            if (m_frames++ % FramesPerCycle == 0) {
                m_begins.push_back(SteadyClock::now());
                m_bytes_at_begin.push_back(m_bytes);
                m_begun.notify_all();
            }
            m_bytes += static_cast<quint64>(size);
        }
        return m_link->writeData(data, size);
    }

    int readData(char *buffer, int max_size) override
    {
        const int count = m_link->readData(buffer, max_size);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bytes += static_cast<quint64>(count > 0 ? count : 0);
        return count;
    }

    const DeviceSetting *deviceSetting() override { return m_link->deviceSetting(); }
    QVariant control(int code, const QVariant &argument) override
    {
        return m_link->control(code, argument);
    }
    int timeout() override { return m_link->timeout(); }
    int retry() override { return m_link->retry(); }
    int stationId() override { return m_link->stationId(); }
    int delay() override { return m_link->delay(); }

private:
    AbstractDeviceInterface *m_link;
    mutable std::mutex m_mutex;
    std::condition_variable m_begun;
    std::vector<SteadyClock::time_point> m_begins;
    std::vector<quint64> m_bytes_at_begin;
    int m_frames;
    quint64 m_bytes;
};

QList<CommunicatorCommand> session()
{
    CommunicatorCommand command;
    command.address = QString("NA%1").arg(FirstAddress, 0, 16);
    command.length = Addresses;
    return QList<CommunicatorCommand>() << command;
}

/// Runs the line and returns the meter's figures in the last two arguments.
bool measure(int cycles, std::vector<double> *durations, double *bytes, QString *error)
{
    SimulatorOptions options;
    options.stations = {Station};
    options.baud = Baud;
    Simulator simulator(options);
    std::string reason;
    if (!simulator.start(&reason)) {
        *error = QString::fromStdString(reason);
        return false;
    }
    const DeviceSetting wiring(DeviceSetting::Rs485, "COM2", Baud, 8, DeviceSetting::OneStopBit,
                               DeviceSetting::EvenParity);
    SerialLink serial(QString::fromStdString(simulator.portName()), wiring,
                      DriverSetting(9000, 0, Station, DelayMs));
    if (!serial.open(error))
        return false;
    CycleMeter meter(&serial);

    AddressVectorMap valid;
    for (int i = 0; i < Addresses; ++i)
        valid[Station].push_back(AddressAt(FirstAddress, static_cast<uint>(i)));
    PollingThread polling(&meter, &valid, Station);
    polling.setSessionCommand(session());
    polling.start();
    meter.waitFor(cycles);
    polling.stop();
    polling.wait();
    *error = polling.getLastError();
    *durations = meter.cycles();
    *bytes = meter.bytesPerCycle();
    return error->isEmpty();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"cycles", "Cycles to measure (default 5, about 2.6 s each).", "n", "5"});
    parser.process(application);
    const int cycles = parser.value("cycles").toInt();
    if (cycles < 1) {
        fprintf(stderr, "dmc50-bench-line: --cycles takes a number of 1 or more\n");
        return 2;
    }

    std::vector<double> durations;
    double bytes = 0.0;
    QString error;
    if (!measure(cycles, &durations, &bytes, &error)) {
        fprintf(stderr, "dmc50-bench-line: %s\n", qPrintable(error));
        return 3;
    }
    const double limit = bytes * BitsPerByte * 1000.0 / Baud + DelayMs * FramesPerCycle;
    printf("%d addresses of one station, %d frames a cycle, %d baud\n", Addresses, FramesPerCycle,
           Baud);
    printf("line's own limit: %.0f bytes x %d / %d s + %d x %d ms = %.1f ms\n", bytes, BitsPerByte,
           Baud, FramesPerCycle, DelayMs, limit);
    for (const double duration : durations)
        printf("cycle: %.1f ms, %+.2f %%\n", duration, (duration / limit - 1.0) * 100.0);
    std::sort(durations.begin(), durations.end());
    const double over = durations[durations.size() / 2] / limit - 1.0;
    const bool within = over <= Tolerance && over >= -Tolerance;
    printf("median: %+.2f %%, %s\n", over * 100.0,
           within ? "within 2 % of the limit" : "NOT within 2 % of the limit");
    return within ? 0 : 1;
}
