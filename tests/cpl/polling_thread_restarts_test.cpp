// A thousand starts and stops in each state of the loop. Nothing may stay behind.

#include <QDir>

#include "tests/cpl/polling_thread_fixture.h"
#include "tests/support/eventually.h"
#include "tests/support/figure.h"

namespace
{

const int Restarts = 1000;
const int LatestRequest = 4;  // that a stop waits for
const qint64 SomeTime = 5000; // ms; so that a quiet line need not idle for long

int entries(const char *directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

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

    /// One start, and one stop while a request is on the line. The request is the last one.
    void startAndStop(int request)
    {
        FakeClock clock;
        clock.onSleep = [&clock](ulong) { clock.advance(SomeTime); };
        FakeLink link;
        link.retries = GetParam().retries;
        PollingThread *running = nullptr;
        int requests = 0;
        link.answer = [&](const std::string &frame) {
            if (++requests == request)
                running->stop();
            return GetParam().answer(frame);
        };
        PollingThread polling(&link, &m_project, 1, &clock);
        running = &polling;
        GetParam().begin(polling);
        polling.start();
        ASSERT_TRUE(polling.wait(20000));
        ASSERT_EQ(static_cast<size_t>(request), link.sent().size());
    }

private:
    AddressVectorMap m_project;
};

TEST_P(PollingThreadRestarts, AThousandTimesLeaveNoThreadAndNoDescriptorBehind)
{
    startAndStop(1); // what Qt and a sanitizer keep for good is there from now on
    const int threads = entries("/proc/self/task");
    const int descriptors = entries("/proc/self/fd");
    for (int i = 0; i < Restarts && !HasFatalFailure(); ++i)
        startAndStop(1 + i % LatestRequest);
    EXPECT_TRUE(eventually([&] { return entries("/proc/self/task") <= threads; }));
    EXPECT_EQ(descriptors, entries("/proc/self/fd"));
    figure("%d starts and stops %s: the request on the line is the last one, no thread and no "
           "descriptor stays",
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
    for (int i = 0; i < Restarts; ++i) {
        FakeClock clock;
        std::atomic<int> idles(0);
        clock.onSleep = [&](ulong) { ++idles; };
        PollingThread polling(&link, &project, 1, &clock);
        polling.start();
        while (idles < i % 3)
            std::this_thread::yield();
        polling.stop();
        ASSERT_TRUE(polling.wait(20000));
    }
    EXPECT_TRUE(link.calls().empty());
    figure("%d starts and stops on a quiet line: no call of the line", Restarts);
}

TEST(PollingThreadRestartsUnderAReader, AThousandTimesEndTheReaderEachTime)
{
    AddressVectorMap project;
    project[1].push_back(0x20);
    for (int i = 0; i < Restarts; ++i) {
        FakeClock clock;
        FakeLink link;
        link.timeoutMs = 2147483647; // nobody gives up
        link.answer = silence;
        PollingThread polling(&link, &project, 1, &clock);
        polling.start();
        std::atomic<bool> read(true);
        std::thread reader([&] {
            QByteArray data(4, '\0');
            AddressVector addresses(1, 0x20);
            UCharVector indexes(1, 0);
            read = polling.readOnceData(1, data, addresses, indexes);
        });
        std::this_thread::yield();
        polling.stop();
        ASSERT_TRUE(polling.wait(20000));
        reader.join();
        ASSERT_FALSE(read);
    }
    figure("%d starts and stops under a waiting reader: it ends each time", Restarts);
}

} // namespace
