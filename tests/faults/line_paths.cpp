// Polling and writing on a real port, with simulated controllers in the parent process.

#include "tests/faults/faults.h"

#include <functional>
#include <new>
#include <stdexcept>

#include "cpl/dmc50_polling_thread.h"
#include "cpl/passing_link.h"
#include "hmi/desktop/serial_link.h"

namespace
{

const uchar Station = 1;
const uint FirstWord = 0x5000;
const int Words = 60; // two frames
const int TimeoutMs = 200;

/// Passes everything on and stops the thread behind a number of requests, or on a quiet line.
class EndingLink : public PassingLink, public Clock
{
public:
    EndingLink(AbstractDeviceInterface *link, int requests)
        : PassingLink(link), m_thread(nullptr), m_left(requests)
    {
    }

    void setThread(PollingThread *thread) { m_thread = thread; }

    int writeData(const char *data, int size) override
    {
        if (--m_left <= 0)
            m_thread->stop();
        return PassingLink::writeData(data, size);
    }

    qint64 msecsSinceBoot() override { return Clock::system()->msecsSinceBoot(); }

    /// The loop cannot go on for ever without a request.
    void sleep(ulong) override
    {
        if (--m_sleeps_left <= 0)
            m_thread->stop();
    }

private:
    PollingThread *m_thread;
    int m_left;
    int m_sleeps_left = 20;
};

quint32 wordOf(int index)
{
    return 0x01000000U + static_cast<quint32>(index);
}

class LinePath : public FaultPath
{
public:
    explicit LinePath(const Simulator &simulator)
        : m_port(QString::fromStdString(simulator.portName()))
    {
        for (int i = 0; i < Words; ++i)
            m_valid[Station].push_back(FirstWord + static_cast<ulong>(i));
    }

    void prepare() override
    {
        const DeviceSetting wiring(DeviceSetting::Rs485, "COM2", 38400, 8,
                                   DeviceSetting::OneStopBit, DeviceSetting::EvenParity);
        m_serial.reset(new SerialLink(m_port, wiring, DriverSetting(TimeoutMs, 0, Station, 10)));
        QString error;
        if (!m_serial->open(&error))
            throw std::runtime_error(error.toStdString());
    }

    void end() override
    {
        m_polling.reset();
        m_ending.reset();
        m_serial.reset();
    }

protected:
    /// Runs the loop for some requests on this very thread. What is asked of it before may find no
    /// memory, the loop itself must not end for that.
    /// \return whether the loop had something to do
    bool run(int requests, const std::function<void(PollingThread &)> &begin)
    {
        if (!m_serial->isUp()) // it is not tried again any earlier
            Clock::system()->sleep(SerialLink::ReopenPauseMs + 1);
        try {
            m_ending.reset(new EndingLink(m_serial.get(), requests));
            m_polling.reset(new PollingThread(m_ending.get(), &m_valid, Station, m_ending.get()));
            m_ending->setThread(m_polling.get());
            begin(*m_polling);
        } catch (const std::bad_alloc &) {
            return false;
        }
        m_polling->run();
        return true;
    }

    bool poll()
    {
        return run(2, [](PollingThread &polling) {
            CommunicatorCommand command;
            command.address = QString("NA%1").arg(FirstWord, 0, 16);
            command.length = Words;
            polling.setSessionCommand(QList<CommunicatorCommand>() << command);
        });
    }

    /// -1: not cached.
    qint64 cached(int index)
    {
        ulong value = 0;
        return m_polling->getDWordFromDataCacheMap(Station, FirstWord + static_cast<ulong>(index),
                                                   value)
                   ? qint64(value)
                   : -1;
    }

    std::unique_ptr<PollingThread> m_polling;

private:
    const QString m_port;
    AddressVectorMap m_valid;
    std::unique_ptr<SerialLink> m_serial;
    std::unique_ptr<EndingLink> m_ending;
};

class Poll : public LinePath
{
public:
    explicit Poll(Simulator &simulator) : LinePath(simulator)
    {
        for (int i = 0; i < Words; ++i)
            simulator.setWord(Station, FirstWord + static_cast<uint>(i), wordOf(i));
    }

    std::string name() const override { return "poll"; }

    bool attempt() override { return poll() && cached(0) >= 0 && cached(Words - 1) >= 0; }

    std::string state(bool succeeded) override
    {
        for (int i = 0; m_polling && i < Words; ++i) {
            if (cached(i) != wordOf(i) && (succeeded || cached(i) >= 0))
                return "a wrong value";
        }
        return "";
    }
};

class Write : public LinePath
{
public:
    explicit Write(const Simulator &simulator) : LinePath(simulator) {}

    std::string name() const override { return "write"; }

    bool attempt() override
    {
        bool queued = false;
        const bool ran = run(3, [this, &queued](PollingThread &polling) {
            std::vector<AddrArg> pairs;
            for (int i = 0; i < Words; ++i)
                pairs.push_back(AddrArg{FirstWord + static_cast<uint>(i), wordOf(i) + 1});
            queued = polling.writeDWords(Station, pairs);
        });
        return ran && queued && m_polling->addrArgQueueMapIsEmpty() &&
               m_polling->getLastError().isEmpty();
    }

    std::string state(bool succeeded) override
    {
        if (!succeeded)
            return "";
        poll();
        for (int i = 0; i < Words; ++i) {
            if (cached(i) != wordOf(i) + 1)
                return "a write did not arrive";
        }
        return "";
    }
};

} // namespace

std::unique_ptr<FaultPath> makePoll(Simulator &simulator)
{
    return std::unique_ptr<FaultPath>(new Poll(simulator));
}

std::unique_ptr<FaultPath> makeWrite(const Simulator &simulator)
{
    return std::unique_ptr<FaultPath>(new Write(simulator));
}
