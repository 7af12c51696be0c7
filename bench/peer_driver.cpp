// Our side: the driver's own polling loop on the desktop's serial link.

#include "bench/peer_side.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>

#include <unistd.h>

#include "common/clock.h"
#include "cpl/dmc50_polling_thread.h"
#include "cpl/passing_link.h"
#include "hmi/desktop/serial_link.h"
#include "simulator/simulator.h"
#include "tests/support/plain_link.h"

namespace
{

const int Station = 1;
const ulong FirstAddress = 0x1000;
const int Baud = 38400;
const int TimeoutMs = 3000;

/// The machine's time with a pause of one's own choice in place of the driver's least one, 10 ms.
class PauseClock : public Clock
{
public:
    explicit PauseClock(int pause_ms) : m_pause_ms(static_cast<ulong>(pause_ms)) {}

    qint64 msecsSinceBoot() override { return Clock::system()->msecsSinceBoot(); }
    void sleep(ulong) override
    {
        if (m_pause_ms > 0)
            Clock::system()->sleep(m_pause_ms);
    }

private:
    const ulong m_pause_ms;
};

/// Passes everything on and takes the cost of the plan's exchanges. An exchange lasts from one
/// frame to the next: all that the loop does belongs to it.
class MeteredLink : public PassingLink
{
public:
    MeteredLink(AbstractDeviceInterface *link, const ExchangePlan &plan)
        : PassingLink(link), m_first(plan.warmUp), m_end(plan.warmUp + plan.exchanges), m_frames(0),
          m_cost(), m_over(false)
    {
    }

    /// Waits until the exchanges are over.
    ExchangeCost waitForCost()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_ended.wait(lock, [this] { return m_over; });
        return m_cost;
    }

    int writeData(const char *data, int size) override
    {
        if (m_frames == m_first)
            m_meter.begin();
        if (m_frames == m_end)
            takeCost();
        ++m_frames;
        return PassingLink::writeData(data, size);
    }

private:
    void takeCost()
    {
        const ExchangeCost cost = m_meter.end();
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_cost = cost;
        m_over = true;
        m_ended.notify_all();
    }

    const int m_first;
    const int m_end;
    int m_frames; ///< the line's
    CostMeter m_meter;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    ExchangeCost m_cost; ///< guarded by m_mutex
    bool m_over;         ///< likewise
};

void respond(int ready)
{
    SimulatorOptions options;
    options.stations = {Station};
    options.baud = 0;
    Simulator simulator(options);
    for (int i = 0; i < peer::Values; ++i)
        simulator.setWord(Station, static_cast<uint32_t>(AddressAt(FirstAddress, uint(i))),
                          peer::valueAt(i));
    std::string error;
    if (!simulator.start(&error) || !peer::writePath(ready, simulator.portName())) {
        fprintf(stderr, "simulator: %s\n", error.c_str());
        return;
    }
    for (;;)
        pause();
}

QList<CommunicatorCommand> session()
{
    CommunicatorCommand command;
    command.address = QString("NA%1").arg(FirstAddress, 0, 16);
    command.length = peer::Values;
    return QList<CommunicatorCommand>() << command;
}

bool holdsTheValues(PollingThread *polling)
{
    for (int i = 0; i < peer::Values; ++i) {
        ulong value = 0;
        if (!polling->getDWordFromDataCacheMap(Station, AddressAt(FirstAddress, uint(i)), value) ||
            value != peer::valueAt(i))
            return false;
    }
    return true;
}

std::string exchange(const std::string &port, const ExchangePlan &plan, ExchangeCost *cost)
{
    SerialLink serial(QString::fromStdString(port), usualWiring(Baud),
                      DriverSetting(TimeoutMs, 0, Station, 0));
    QString error;
    if (!serial.open(&error))
        return error.toStdString();
    MeteredLink link(&serial, plan);
    AddressVectorMap valid;
    for (int i = 0; i < peer::Values; ++i)
        valid[Station].push_back(AddressAt(FirstAddress, uint(i)));
    PauseClock clock(plan.pauseMs);
    PollingThread polling(&link, &valid, Station, &clock);
    polling.setSessionCommand(session());
    polling.start();
    *cost = link.waitForCost();
    polling.stop();
    polling.wait();
    if (!polling.getLastError().isEmpty())
        return polling.getLastError().toStdString();
    return holdsTheValues(&polling) ? std::string() : "the values are not the controller's";
}

} // namespace

const PeerSide DriverSide = {"driver", "", 417, 413, respond, exchange};
