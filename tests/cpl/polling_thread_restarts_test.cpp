// A thousand starts and stops in each state of the loop. Nothing may stay behind.

#include "bench/soak/process_figures.h"
#include "cpl/passing_link.h"
#include "hmi/desktop/serial_link.h"
#include "simulator/simulator.h"
#include "tests/cpl/polling_thread_fixture.h"
#include "tests/hmi/pty.h"
#include "tests/support/eventually.h"
#include "tests/support/figure.h"

namespace
{

const int Restarts = 1000;
const int LatestRequest = 4;  // that a stop waits for
const int Interval = 20;      // ms before each request; no other pause is that long
const qint64 SomeTime = 5000; // ms; so that a quiet line need not idle for long

/// Where in a request the thread is stopped.
enum StopPlace { InThePauseBefore, WhileItIsWritten, WhileItsReplyIsRead, StopPlaces };

/// The threads and descriptors of this process. Make one when the first thread has come and gone:
/// what Qt and a sanitizer keep for good is there from then on.
class Leftovers
{
public:
    Leftovers() : m_threads(runningThreads()), m_descriptors(openDescriptors()) {}

    void expectNone() const
    {
        EXPECT_TRUE(eventually([this] { return runningThreads() <= m_threads; }));
        EXPECT_EQ(m_descriptors, openDescriptors());
    }

private:
    const int m_threads;
    const int m_descriptors;
};

std::string silence(const std::string &)
{
    return std::string();
}

std::string babble(const std::string &)
{
    return std::string(1000, 'U');
}

/// In which state the loop is stopped: how it gets there, and how the controllers answer.
struct StateCase {
    const char *name;
    std::function<void(PollingThread &)> begin;
    std::function<std::string(const std::string &)> answer;
    int retries;
};

void PrintTo(const StateCase &state, std::ostream *stream)
{
    *stream << state.name;
}

void poll(PollingThread &polling)
{
    polling.setSessionCommand({command("NA20", 120)});
}

void write(PollingThread &polling)
{
    EXPECT_TRUE(polling.writeDWords(1, std::vector<AddrArg>(200, AddrArg{0x20, 1})));
}

void readOnDemand(PollingThread &polling)
{
    polling.pushReadAddresses(1, AddressVector(500, 0x20));
}

void checkLowLatency(PollingThread &polling)
{
    polling.setLowLatency({1, 2, 3}); // three writes, then the line idles to the check
}

std::string notInTheMode(const std::string &request)
{
    return frames::isRead(request) ? frames::reply(frames::station(request), {199})
                                   : frames::reply(frames::station(request));
}

class PollingThreadRestarts : public testing::TestWithParam<StateCase>
{
protected:
    PollingThreadRestarts()
    {
        for (unsigned i = 0; i < 120; ++i)
            m_project[1].push_back(0x20 + i);
    }

    /// One start, and one stop in the N-th request. No later one is begun.
    void startAndStop(int request, StopPlace place)
    {
        FakeClock clock;
        FakeLink link;
        link.delayMs = Interval;
        link.retries = GetParam().retries;
        PollingThread polling(&link, &m_project, 1, &clock);
        int pauses = 0;
        int requests = 0;
        clock.onSleep = [&](ulong ms) {
            clock.advance(SomeTime);
            pauses += ms == Interval ? 1 : 0;
            if (place == InThePauseBefore && pauses == request)
                polling.stop();
        };
        link.answer = [&](const std::string &frame) {
            if (++requests == request && place == WhileItIsWritten)
                polling.stop();
            return GetParam().answer(frame);
        };
        link.onCall = [&](const std::string &call) {
            if (call.find("read") == 0 && requests == request && place == WhileItsReplyIsRead)
                polling.stop();
        };
        GetParam().begin(polling);
        polling.start();
        ASSERT_TRUE(polling.wait(20000));
        const int last = place == InThePauseBefore ? request - 1 : request;
        ASSERT_EQ(static_cast<size_t>(last), link.sent().size());
    }

private:
    AddressVectorMap m_project;
};

TEST_P(PollingThreadRestarts, AThousandTimesLeaveNoThreadAndNoDescriptorBehind)
{
    startAndStop(1, WhileItIsWritten);
    const Leftovers leftovers;
    for (int i = 0; i < Restarts && !HasFatalFailure(); ++i)
        startAndStop(1 + i / StopPlaces % LatestRequest, static_cast<StopPlace>(i % StopPlaces));
    leftovers.expectNone();
    figure("%d starts and stops %s, in the pause before a request, while it is written, while its "
           "reply is read: no later request, no thread and no descriptor stays",
           Restarts, GetParam().name);
}

const StateCase States[] = {
    {"WhilePolling", poll, frames::echoAddresses, 0},
    {"WhilePollingTheDead", poll, silence, 9},
    {"WhilePollingABabble", poll, babble, 9},
    {"WhileWriting", write, frames::echoAddresses, 0},
    {"WhileWritingToTheDead", write, silence, 9},
    {"WhileReadingOnDemand", readOnDemand, frames::echoAddresses, 0},
    {"WhileReadingTheDeadOnDemand", readOnDemand, silence, 9},
    {"WhileCheckingLowLatency", checkLowLatency, notInTheMode, 0},
};

std::string nameOf(const testing::TestParamInfo<StateCase> &info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Every, PollingThreadRestarts, testing::ValuesIn(States), nameOf);

TEST(PollingThreadRestartsOnAQuietLine, AThousandTimesWhileItIdlesAndRightBehindTheStart)
{
    AddressVectorMap project;
    project[1].push_back(0x20);
    FakeLink link;
    const auto startAndStop = [&](int pause) {
        FakeClock clock;
        std::atomic<int> idles(0);
        clock.onSleep = [&](ulong) { ++idles; };
        PollingThread polling(&link, &project, 1, &clock);
        polling.start();
        while (idles < pause)
            std::this_thread::yield();
        polling.stop();
        ASSERT_TRUE(polling.wait(20000));
    };
    startAndStop(0);
    const Leftovers leftovers;
    for (int i = 0; i < Restarts && !HasFatalFailure(); ++i)
        startAndStop(i % 3);
    EXPECT_TRUE(link.calls().empty());
    leftovers.expectNone();
    figure("%d starts and stops on a quiet line: no call of the line, no thread and no descriptor "
           "stays",
           Restarts);
}

TEST(PollingThreadRestartsUnderAReader, AThousandTimesEndTheReaderEachTime)
{
    AddressVectorMap project;
    project[1].push_back(0x20);
    const auto startAndStop = [&] {
        FakeClock clock;
        FakeLink link;
        link.timeoutMs = 2147483647; // nobody gives up
        std::atomic<bool> asked(false);
        std::atomic<bool> stopped(false);
        link.answer = [&](const std::string &) {
            asked = true;
            while (!stopped)
                std::this_thread::yield();
            return std::string();
        };
        PollingThread polling(&link, &project, 1, &clock);
        polling.start();
        std::atomic<bool> read(true);
        std::thread reader([&] {
            QByteArray data(4, '\0');
            AddressVector addresses(1, 0x20);
            UCharVector indexes(1, 0);
            read = polling.readOnceData(1, data, addresses, indexes);
        });
        while (!asked) // its request is the only one
            std::this_thread::yield();
        polling.stop();
        stopped = true;
        const bool ended = polling.wait(20000);
        reader.join();
        ASSERT_TRUE(ended);
        ASSERT_FALSE(read);
    };
    startAndStop();
    const Leftovers leftovers;
    for (int i = 0; i < Restarts && !HasFatalFailure(); ++i)
        startAndStop();
    leftovers.expectNone();
    figure("%d starts and stops under a waiting reader: it ends each time, no thread and no "
           "descriptor stays",
           Restarts);
}

// ---- A real port -------------------------------------------------------------------------------

/// Stops the thread when its N-th request is about to be written.
class StoppingLink : public PassingLink
{
public:
    StoppingLink(AbstractDeviceInterface *link, int request)
        : PassingLink(link), m_request(request), m_requests(0), m_polling(nullptr)
    {
    }

    /// Not owned. Call before the thread starts.
    void setThread(PollingThread *polling) { m_polling = polling; }

    /// When the thread has ended.
    int requests() const { return m_requests; }

    int writeData(const char *data, int size) override
    {
        if (++m_requests == m_request)
            m_polling->stop();
        return PassingLink::writeData(data, size);
    }

private:
    const int m_request;
    int m_requests;
    PollingThread *m_polling;
};

/// One start on a link, and one stop in the N-th request, which is the last one.
void startAndStopOn(AbstractDeviceInterface *link, int request)
{
    AddressVectorMap project;
    for (unsigned i = 0; i < 120; ++i)
        project[1].push_back(0x20 + i);
    FakeClock clock; // no pauses
    StoppingLink stopping(link, request);
    PollingThread polling(&stopping, &project, 1, &clock);
    stopping.setThread(&polling);
    poll(polling);
    polling.start();
    ASSERT_TRUE(polling.wait(20000));
    ASSERT_EQ(request, stopping.requests());
}

TEST(PollingThreadRestartsOnAPort, AThousandTimesWithThePortOpenedAnewEachTime)
{
    SimulatorOptions options;
    options.baud = 0;
    Simulator simulator(options);
    std::string reason;
    ASSERT_TRUE(simulator.start(&reason)) << reason;
    const auto startAndStop = [&](int request) {
        SerialLink link(QString::fromStdString(simulator.portName()), usualWiring(),
                        DriverSetting(3000, 0, 1, 0));
        QString error;
        ASSERT_TRUE(link.open(&error)) << qPrintable(error);
        startAndStopOn(&link, request);
    };
    startAndStop(1);
    const Leftovers leftovers;
    for (int i = 0; i < Restarts && !testing::Test::HasFatalFailure(); ++i)
        startAndStop(1 + i % LatestRequest);
    leftovers.expectNone();
    figure("%d starts and stops on a port that is opened each time: no later request, no thread "
           "and no descriptor stays",
           Restarts);
}

TEST(PollingThreadRestartsOnAPort, AThousandTimesWhileThePortIsAway)
{
    LinkedPath path;
    Pty pty;
    path.pointTo(pty.path());
    const int shortTimeoutMs = 1;
    SerialLink link(QString::fromStdString(path.path()), usualWiring(),
                    DriverSetting(shortTimeoutMs, 0, 1, 0));
    QString error;
    ASSERT_TRUE(link.open(&error)) << qPrintable(error);
    pty.hangUp();
    path.pointTo("/nowhere"); // the pty's number may go to somebody else
    startAndStopOn(&link, 1);
    ASSERT_FALSE(link.isUp());
    const Leftovers leftovers;
    for (int i = 0; i < Restarts && !testing::Test::HasFatalFailure(); ++i)
        startAndStopOn(&link, 1 + i % LatestRequest);
    leftovers.expectNone();
    figure("%d starts and stops while the port is away: no later request, no thread and no "
           "descriptor stays",
           Restarts);
}

} // namespace
