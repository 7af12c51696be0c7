// Opening, starting, polling and writing on a real port, with simulated controllers in the parent
// process.

#include "tests/faults/faults.h"

#include <functional>
#include <new>
#include <stdexcept>

#include <QRegularExpression>

#include "bench/soak/process_figures.h"
#include "common/tools.h"
#include "cpl/dmc50_polling_thread.h"
#include "cpl/passing_link.h"
#include "driver/dmc50v3.h"
#include "hmi/desktop/serial_link.h"
#include "tests/driver/driver_probe.h"
#include "tests/faults/fault_injector.h"
#include "tests/support/plain_link.h"

namespace
{

const uchar Station = 1;
const uint FirstWord = 0x5000;
const int Words = 60; // two frames
const int TimeoutMs = 200;

/// Passes everything on and stops the thread when it is done, behind a number of requests, or on a
/// quiet line. Sees the thread's errors before each pause, as a good reply or the idle pause takes
/// them away.
class EndingLink : public PassingLink, public Clock
{
public:
    EndingLink(AbstractDeviceInterface *link, int requests, const std::function<bool()> &isDone)
        : PassingLink(link), m_thread(nullptr), m_left(requests), m_is_done(isDone)
    {
    }

    void setThread(PollingThread *thread) { m_thread = thread; }

    bool sawError() const { return m_saw_error; }

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
        m_saw_error = m_saw_error || m_thread->hasError();
        if (--m_sleeps_left <= 0 || m_is_done())
            m_thread->stop();
    }

private:
    PollingThread *m_thread;
    int m_left;
    const std::function<bool()> m_is_done;
    int m_sleeps_left = 20;
    bool m_saw_error = false;
};

const char ReadError[] = "read station id#1 start address [0-9A-F]{8}:(DMC50 no response|read: "
                         "packet loss|checksum error|invalid station id from DMC50|end code "
                         "[0-9A-F]{2}H)";
const char WriteError[] = "write station id#1 address [0-9A-F]{8}(DMC50 no response|packet loss|"
                          "checksum error|invalid station id from DMC50|end code [0-9A-F]{2}H)";

bool isDocumented(const QString &text, const char *pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(text).hasMatch();
}

bool allocationFailed()
{
    const std::string failed = faultInjectorFailed();
    return failed == "malloc" || failed == "calloc" || failed == "realloc";
}

SerialLink *makeLink(const QString &port)
{
    return new SerialLink(port, usualWiring(), DriverSetting(TimeoutMs, 0, Station, 10));
}

/// Opens the link's port where no fault strikes.
void openForSure(SerialLink &link)
{
    QString error;
    if (!link.open(&error))
        throw std::runtime_error(error.toStdString());
}

quint32 wordOf(int index)
{
    return 0x01000000U + static_cast<quint32>(index);
}

/// The port is opened.
class Open : public FaultPath
{
public:
    explicit Open(const Simulator &simulator) : m_port(QString::fromStdString(simulator.portName()))
    {
    }

    std::string name() const override { return "open"; }
    void prepare() override {}

    bool attempt() override
    {
        m_no_memory = false;
        m_error.clear();
        try {
            m_link.reset(makeLink(m_port));
            return m_link->open(&m_error);
        } catch (const std::bad_alloc &) {
            m_no_memory = true;
            return false;
        }
    }

    std::string state(bool succeeded, bool) override
    {
        if (succeeded)
            return m_link->isUp() && m_link->lastError().isEmpty() ? "" : "open, but not up";
        if (m_link && m_link->isUp())
            return "up, but not open";
        return m_no_memory || !m_error.isEmpty() ? "" : "a failure that nobody reports";
    }

    void end() override { m_link.reset(); }

private:
    const QString m_port;
    std::unique_ptr<SerialLink> m_link;
    QString m_error;
    bool m_no_memory = false;
};

/// The driver's first read makes and starts the thread, which polls the value.
class Start : public FaultPath
{
public:
    explicit Start(Simulator &simulator) : m_port(QString::fromStdString(simulator.portName()))
    {
        simulator.setWord(Station, FirstWord, wordOf(0));
        m_tag.address = QString("NA%1").arg(FirstWord, 0, 16);
        m_tag.length = 1;
        m_tag.dataType = CommunicatorCommand::DoubleWordType;
    }

    std::string name() const override { return "start"; }

    void prepare() override
    {
        m_threads = runningThreads();
        m_link.reset(makeLink(m_port));
        openForSure(*m_link);
        m_driver.reset(new DriverDMC50v3);
        AddressVectorMap valid;
        valid[Station].push_back(FirstWord);
        probe::setValidAddresses(*m_driver, valid);
        m_driver->setSessionCommand(QList<CommunicatorCommand>() << m_tag);
    }

    bool attempt() override
    {
        m_value = m_driver->read(m_link.get(), m_tag);
        return !m_value.isEmpty();
    }

    std::string state(bool succeeded, bool) override
    {
        if (!succeeded)
            return m_value.isEmpty() ? "" : "a value in spite of an error";
        return m_value == intToByteArray(static_cast<int>(wordOf(0))) ? "" : "a wrong value";
    }

    /// The C library gives back what a thread kept only behind the end that others wait for.
    void end() override
    {
        m_driver.reset();
        while (runningThreads() > m_threads)
            Clock::system()->sleep(1);
        m_link.reset();
    }

private:
    const QString m_port;
    int m_threads = 0; ///< of this process when the path begins
    CommunicatorCommand m_tag;
    std::unique_ptr<SerialLink> m_link;
    std::unique_ptr<DriverDMC50v3> m_driver;
    QByteArray m_value;
};

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
        m_serial.reset(makeLink(m_port));
        openForSure(*m_serial);
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
    bool run(int requests, const std::function<void(PollingThread &)> &begin,
             const std::function<bool()> &isDone)
    {
        m_no_memory = false;
        if (!m_serial->isUp()) // it is not tried again any earlier
            Clock::system()->sleep(SerialLink::ReopenPauseMs + 1);
        try {
            m_ending.reset(new EndingLink(m_serial.get(), requests, isDone));
            m_polling.reset(new PollingThread(m_ending.get(), &m_valid, Station, m_ending.get()));
            m_ending->setThread(m_polling.get());
            begin(*m_polling);
        } catch (const std::bad_alloc &) {
            m_no_memory = true; // whoever asks is told
            return false;
        }
        m_polling->run();
        return true;
    }

    /// \return what is wrong with the report of a failure, empty when it is as documented
    std::string faultOfReport(const char *pattern)
    {
        if (m_no_memory)
            return "";
        const QString text = m_polling->getLastError();
        if (!text.isEmpty())
            return isDocumented(text, pattern) ? "" : "undocumented: " + text.toStdString();
        return sawError() && allocationFailed() ? "" : "a failure that nobody reports";
    }

    /// As many requests as a pass takes, and those of one that is begun anew.
    bool poll()
    {
        return run(
            4,
            [](PollingThread &polling) {
                CommunicatorCommand command;
                command.address = QString("NA%1").arg(FirstWord, 0, 16);
                command.length = Words;
                polling.setSessionCommand(QList<CommunicatorCommand>() << command);
            },
            [this] { return cached(0) >= 0 && cached(Words - 1) >= 0; });
    }

    bool sawError() { return m_ending->sawError() || m_polling->hasError(); }

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
    bool m_no_memory = false; ///< for what was asked before the loop
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

    bool attempt() override
    {
        return poll() && cached(0) >= 0 && cached(Words - 1) >= 0 && !sawError();
    }

    std::string state(bool succeeded, bool) override
    {
        for (int i = 0; m_polling && i < Words; ++i) {
            if (cached(i) != wordOf(i) && (succeeded || cached(i) >= 0))
                return "a wrong value";
        }
        return succeeded ? "" : faultOfReport(ReadError);
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
        const bool ran = run(
            3,
            [this, &queued](PollingThread &polling) {
                std::vector<AddrArg> pairs;
                pairs.reserve(Words);
                for (int i = 0; i < Words; ++i)
                    pairs.push_back(AddrArg{FirstWord + static_cast<uint>(i), wordOf(i) + 1});
                queued = polling.writeDWords(Station, pairs);
            },
            [] { return false; });
        return ran && queued && m_polling->addrArgQueueMapIsEmpty() &&
               m_polling->getLastError().isEmpty();
    }

    std::string state(bool succeeded, bool) override
    {
        if (!succeeded)
            return faultOfReport(WriteError);
        poll();
        for (int i = 0; i < Words; ++i) {
            if (cached(i) != wordOf(i) + 1)
                return "a write did not arrive";
        }
        return "";
    }
};

} // namespace

std::unique_ptr<FaultPath> makeStart(Simulator &simulator)
{
    return std::unique_ptr<FaultPath>(new Start(simulator));
}

std::unique_ptr<FaultPath> makeOpen(const Simulator &simulator)
{
    return std::unique_ptr<FaultPath>(new Open(simulator));
}

std::unique_ptr<FaultPath> makePoll(Simulator &simulator)
{
    return std::unique_ptr<FaultPath>(new Poll(simulator));
}

std::unique_ptr<FaultPath> makeWrite(const Simulator &simulator)
{
    return std::unique_ptr<FaultPath>(new Write(simulator));
}
