#include "bench/soak/port_soak.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>

#include <QTemporaryDir>
#include <QThread>

#include "bench/soak/error_texts.h"
#include "bench/soak/formatted.h"
#include "bench/soak/process_figures.h"
#include "bench/soak/reading.h"
#include "bench/soak/soak_project.h"
#include "common/clock.h"
#include "cpl/dmc50_polling_thread.h"
#include "cpl/passing_link.h"
#include "hmi/desktop/serial_link.h"
#include "simulator/simulator.h"
#include "tests/support/plain_link.h"

namespace
{

typedef std::chrono::steady_clock SteadyClock;

// Those that cost a time-out are rarer. The time-out is the link's own; the thread's is 3000 ms.
const char *const Faults[] = {"damage:every=3",           "flip:every=11",
                              "noise:every=13",           "echo:every=17",
                              "late:ms=5:every=31",       "station:as=9:every=19",
                              "endcode:code=41:every=23", "swap:every=29",
                              "drop:every=101",           "cut:after=20:every=103",
                              "nolf:every=107",           "powercycle:every=109",
                              "babble:ms=20:every=211"};
const int TimeoutMs = 30;
const int Retries = 1;
const int QueueIsFull = 100; // pairs
const ulong LookPauseMs = 1;
const int LongestHealingMs = 60000;

enum : uint64_t { Parts = 5, EarlyPart = 1, LatePart = Parts - 1 };

/// The machine's time without pauses.
class UnpacedClock : public Clock
{
public:
    qint64 msecsSinceBoot() override { return Clock::system()->msecsSinceBoot(); }
    void sleep(ulong) override {}
};

/// Passes everything on, counts the exchanges and compares their error texts.
class CountingLink : public PassingLink
{
public:
    CountingLink(AbstractDeviceInterface *link, const ErrorTexts *texts)
        : PassingLink(link), m_texts(texts), m_thread(nullptr), m_exchanges(0), m_refused(0),
          m_other_texts(0)
    {
    }

    /// Not owned. Call before the thread starts.
    void setThread(PollingThread *thread) { m_thread = thread; }

    /// Any thread.
    uint64_t exchanges() const { return m_exchanges; }
    uint64_t refused() const { return m_refused; }

    /// When the thread has ended.
    uint64_t otherTexts() const { return m_other_texts; }
    std::string otherText() const { return m_other_text; }

    QVariant control(int code, const QVariant &argument) override
    {
        if (m_exchanges > 0)
            judge();
        return PassingLink::control(code, argument);
    }

    int writeData(const char *data, int size) override
    {
        ++m_exchanges;
        m_reply.clear();
        m_request = CplRequest();
        decodeRequest(std::string(data, static_cast<size_t>(size)), &m_request);
        return PassingLink::writeData(data, size);
    }

    int readData(char *buffer, int max_size) override
    {
        const int count = PassingLink::readData(buffer, max_size);
        if (count > 0)
            m_reply.append(buffer, static_cast<size_t>(count));
        return count;
    }

private:
    void judge()
    {
        const std::string refusal = readReply(m_request, m_reply).refusal;
        if (refusal.empty())
            return;
        ++m_refused;
        const QString text = m_thread->getLastError();
        if (text.toStdString() == errorText(m_request, refusal) && !m_texts->reasonOf(text).empty())
            return;
        if (m_other_texts++ == 0)
            m_other_text = text.toStdString();
    }

    const ErrorTexts *m_texts;
    PollingThread *m_thread;
    std::atomic<uint64_t> m_exchanges;
    std::atomic<uint64_t> m_refused;
    CplRequest m_request; ///< this and what follows: the line's thread only
    std::string m_reply;
    uint64_t m_other_texts;
    std::string m_other_text;
};

SimulatorOptions simulatorOptions(const QString &folder)
{
    SimulatorOptions options;
    options.stations = SoakProject::stations();
    options.baud = 0;
    options.ptyLink = (folder + "/line").toStdString(); // goes with its pty
    for (const char *text : Faults) {
        Fault fault;
        std::string error;
        if (!parseFault(text, &fault, &error))
            qFatal("%s", error.c_str());
        options.faults.push_back(fault);
    }
    return options;
}

/// A polling thread on a port, with all that it needs.
class PortBench
{
public:
    explicit PortBench(const PortSoakOptions &options)
        : m_options(options), m_texts(options.error_texts),
          m_simulator(simulatorOptions(m_folder.path())),
          m_serial(m_folder.path() + "/line", usualWiring(),
                   DriverSetting(TimeoutMs, Retries, SoakProject::stations().front(), 0)),
          m_link(&m_serial, &m_texts), m_valid(SoakProject::validAddresses()),
          m_polling(&m_link, &m_valid, 1, &m_clock)
    {
        m_link.setThread(&m_polling);
        m_polling.setSessionCommand(SoakProject::session());
        for (const int station : SoakProject::stations()) {
            for (uint32_t i = 0; i < SoakProject::PolledCount; ++i)
                m_simulator.setWord(station, SoakProject::FirstPolled + i,
                                    SoakProject::value(station, SoakProject::FirstPolled + i, 0));
        }
    }

    void run(PortSoakResult *result)
    {
        QString reason;
        if (!m_simulator.start(&result->no_start))
            return;
        if (!m_serial.open(&reason)) {
            result->no_start = reason.toStdString();
            return;
        }
        m_polling.start();
        for (uint64_t part = 0; part < Parts && result->no_start.empty(); ++part)
            runPart(part, result);
        result->exchanges = m_link.exchanges();
        result->refused = m_link.refused();
        m_simulator.clearFaults();
        result->healed = comesTrue([this] { return allTrue(); });
        m_polling.stop();
        m_polling.wait();
        result->other_texts = m_link.otherTexts();
        result->other_text = m_link.otherText();
    }

private:
    void runPart(uint64_t part, PortSoakResult *result)
    {
        if (part > 0)
            vanish(result);
        while (m_link.exchanges() < (part + 1) * m_options.exchanges / Parts) {
            write();
            if (part == EarlyPart)
                note(&result->heap_early, &result->descriptors_early);
            else if (part == LatePart)
                note(&result->heap_late, &result->descriptors_late);
            QThread::msleep(LookPauseMs);
        }
    }

    void vanish(PortSoakResult *result)
    {
        m_simulator.stop();
        if (comesTrue([this] { return !m_serial.isUp(); }))
            ++result->vanished;
        m_simulator.start(&result->no_start);
    }

    void write()
    {
        const AddrArg pair = {SoakProject::FirstWritten, 1};
        for (const int number : SoakProject::stations()) {
            const uchar station = static_cast<uchar>(number);
            if (m_polling.getAddrArgQueueSize(station) < QueueIsFull)
                m_polling.writeDWord(station, pair);
        }
    }

    bool allTrue()
    {
        for (const int station : SoakProject::stations()) {
            for (uint32_t i = 0; i < SoakProject::PolledCount; ++i) {
                const uint32_t address = SoakProject::FirstPolled + i;
                ulong value = 0;
                if (!m_polling.getDWordFromDataCacheMap(static_cast<uchar>(station), address,
                                                        value) ||
                    value != SoakProject::value(station, address, 0))
                    return false;
            }
        }
        return true;
    }

    static bool comesTrue(const std::function<bool()> &condition)
    {
        const SteadyClock::time_point end =
            SteadyClock::now() + std::chrono::milliseconds(LongestHealingMs);
        while (!condition()) {
            if (SteadyClock::now() > end)
                return false;
            QThread::msleep(LookPauseMs);
        }
        return true;
    }

    static void note(qint64 *heap, int *descriptors)
    {
        *heap = std::max(*heap, heapInUse());
        *descriptors = std::max(*descriptors, openDescriptors());
    }

    const PortSoakOptions m_options;
    const QTemporaryDir m_folder;
    const ErrorTexts m_texts;
    Simulator m_simulator;
    SerialLink m_serial;
    CountingLink m_link;
    const AddressVectorMap m_valid;
    UnpacedClock m_clock;
    PollingThread m_polling;
};

} // namespace

PortSoakResult runPortSoak(const PortSoakOptions &options)
{
    PortSoakResult result;
    result.heap_early = result.heap_late = heapInUse() < 0 ? -1 : 0;
    const SteadyClock::time_point begin = SteadyClock::now();
    PortBench(options).run(&result);
    result.seconds = std::chrono::duration<double>(SteadyClock::now() - begin).count();
    return result;
}

std::string shortcomings(const PortSoakResult &result)
{
    if (!result.no_start.empty())
        return "  port: " + result.no_start + "\n";
    std::string text;
    if (result.vanished != Parts - 1)
        text += "  port: the link did not see each time that it was gone\n";
    if (!result.healed)
        text += "  port: not all values were true again after the faults\n";
    if (result.heap_late > result.heap_early + HeapTolerance)
        text += "  port: the heap grew\n";
    if (result.descriptors_late != result.descriptors_early)
        text += "  port: descriptors were left open\n";
    if (result.other_texts > 0)
        text += "  port: an error text should have been another: " + result.other_text + "\n";
    return text;
}

std::string table(const PortSoakResult &result)
{
    std::string text =
        formatted("on a port: %llu exchanges, %llu refused, %d times the port "
                  "vanished: %.1f s\n",
                  Count(result.exchanges), Count(result.refused), result.vanished, result.seconds);
    text += heapText(result.heap_early, result.heap_late, "fifth");
    text += formatted("descriptors: at most %d in the second fifth of the run, %d in the last\n",
                      result.descriptors_early, result.descriptors_late);
    return text + formatted("other error texts: %llu; all values true after the faults: %s\n",
                            Count(result.other_texts), result.healed ? "yes" : "no");
}
