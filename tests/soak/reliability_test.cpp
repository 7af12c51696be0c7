// What the polling thread bears, each with the figure that must hold, in virtual time.

#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <QtEndian>

#include "bench/soak/virtual_line.h"
#include "cpl/dmc50_polling_thread.h"
#include "tests/support/figure.h"
#include "tests/support/frames.h"

namespace
{

const int Stations = 31;
const int Words = 10;
const uint32_t FirstWord = 0x5000;
const uint32_t FirstWritten = 0x6000;
const int PauseMs = 10; // before each request

// What a silent station costs: its time-out, and the quiet that the next two frames wait for.
const int SilenceMs = VirtualLine::TimeoutMs + 2 * VirtualLine::QuietGapMs;

std::vector<int> allStations()
{
    std::vector<int> numbers;
    for (int station = 1; station <= Stations; ++station)
        numbers.push_back(station);
    return numbers;
}

/// Notes who was asked when, and what was written.
class WatchedLine : public AbstractDeviceInterface
{
public:
    explicit WatchedLine(VirtualClock *clock)
        : m_clock(clock), m_line(allStations(), 1, 0, clock), m_requests(0)
    {
    }

    /// Any thread: runs on the line's thread before the next request.
    void before(const std::function<void(Line &)> &change)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_change = change;
    }

    /// Any thread: the times in ms at which a station was asked for its words.
    std::vector<qint64> asked(unsigned station) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_asked[station];
    }

    /// Any thread: the pairs that came for a station, in their order.
    std::vector<std::pair<uint32_t, uint32_t>> written(unsigned station) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_written[station];
    }

    int requests() const { return m_requests; }

    int writeData(const char *data, int size) override
    {
        ++m_requests;
        note(std::string(data, static_cast<size_t>(size)));
        return m_line.writeData(data, size);
    }

    int readData(char *buffer, int max_size) override { return m_line.readData(buffer, max_size); }
    QVariant control(int code, const QVariant &argument) override
    {
        return m_line.control(code, argument);
    }
    const DeviceSetting *deviceSetting() override { return m_line.deviceSetting(); }
    int timeout() override { return m_line.timeout(); }
    int retry() override { return m_line.retry(); }
    int stationId() override { return 1; }
    int delay() override { return PauseMs; }

private:
    void note(const std::string &request)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_change)
            m_change(m_line.line());
        m_change = nullptr;
        const unsigned station = frames::station(request);
        if (frames::isRead(request)) {
            m_asked[station].push_back(m_clock->msecsSinceBoot());
            return;
        }
        const std::vector<uint32_t> fields = frames::fields(request);
        for (size_t i = 0; i < fields.size(); i += 2)
            m_written[station].push_back({fields[i], fields[i + 1]});
    }

    VirtualClock *m_clock;
    VirtualLine m_line;
    std::atomic<int> m_requests;
    mutable std::mutex m_mutex;
    std::function<void(Line &)> m_change;
    std::vector<qint64> m_asked[256];
    std::vector<std::pair<uint32_t, uint32_t>> m_written[256];
};

/// 31 stations with ten polled words each; a failed request is not repeated.
class Reliability : public testing::Test
{
protected:
    Reliability() : line(&clock)
    {
        for (const int station : allStations()) {
            for (int i = 0; i < Words; ++i)
                m_valid[static_cast<uchar>(station)].push_back(FirstWord + static_cast<ulong>(i));
        }
        polling.reset(new PollingThread(&line, &m_valid, 1, &clock));
        clock.setDriver(polling.get());
    }

    ~Reliability() override { end(); }

    void end()
    {
        polling->stop();
        polling->wait();
        clock.end();
    }

    void announceAll()
    {
        QList<CommunicatorCommand> session;
        for (const int station : allStations()) {
            CommunicatorCommand command;
            command.address = QString("%1-NA%2").arg(station).arg(FirstWord, 0, 16);
            command.length = Words;
            session << command;
        }
        polling->setSessionCommand(session);
    }

    /// The stations with the highest numbers fall silent.
    static void silence(Line &silenced, int stations)
    {
        for (int station = Stations - stations + 1; station <= Stations; ++station) {
            Fault fault;
            fault.kind = Fault::Drop;
            fault.station = station;
            silenced.addFault(fault);
        }
    }

    /// Waits in virtual time. Whoever does not sleep may find a lot of it gone between two looks:
    /// the last look is behind the end.
    bool within(qint64 ms, const std::function<bool()> &condition)
    {
        const qint64 end = clock.msecsSinceBoot() + ms;
        while (!condition()) {
            if (clock.msecsSinceBoot() >= end)
                return condition();
            clock.sleep(1);
        }
        return true;
    }

    VirtualClock clock;
    WatchedLine line;
    std::unique_ptr<PollingThread> polling;

private:
    AddressVectorMap m_valid;
};

// ---- Dead stations ------------------------------------------------------------------------------

class ReliabilityWithDeadStations : public Reliability, public testing::WithParamInterface<int>
{
};

TEST_P(ReliabilityWithDeadStations, APassTakesTheirTimeOutsAndNoMore)
{
    const int dead = GetParam();
    const size_t passes = 4;
    line.before([dead](Line &silenced) { silence(silenced, dead); });
    announceAll();
    polling->start();
    const qint64 longest = qint64(dead) * SilenceMs + Stations * PauseMs;
    ASSERT_TRUE(
        within(qint64(passes + 1) * longest, [&] { return line.asked(Stations).size() > passes; }));
    end();

    for (const int station : allStations()) {
        const std::vector<qint64> asked = line.asked(static_cast<unsigned>(station));
        ASSERT_LE(passes, asked.size()) << station;
        for (size_t pass = 1; pass < asked.size(); ++pass) {
            EXPECT_LE(qint64(dead) * VirtualLine::TimeoutMs, asked[pass] - asked[pass - 1]);
            EXPECT_GE(longest, asked[pass] - asked[pass - 1]) << station;
        }
    }
    const std::vector<qint64> first = line.asked(1);
    figure("%d dead of %d stations: a pass takes %lld ms, every living station is asked once in it",
           dead, Stations, static_cast<long long>(first[2] - first[1]));
}

TEST_P(ReliabilityWithDeadStations, TheOthersValuesStayInTheCache)
{
    const int dead = GetParam();
    line.before([dead](Line &silenced) { silence(silenced, dead); });
    announceAll();
    polling->start();
    ASSERT_TRUE(within(qint64(dead) * 2 * SilenceMs + 10000,
                       [&] { return line.asked(Stations).size() > 1; }));
    for (const int station : allStations())
        EXPECT_EQ(station <= Stations - dead,
                  polling->addrInDataCache(static_cast<uchar>(station), FirstWord))
            << station;
    EXPECT_TRUE(polling->getLastError().endsWith("DMC50 no response"));
}

INSTANTIATE_TEST_SUITE_P(OneFiveThirty, ReliabilityWithDeadStations, testing::Values(1, 5, 30));

TEST_F(Reliability, AStationThatComesBackIsReadWithinATimeOutAndAPass)
{
    line.before([](Line &silenced) { silence(silenced, 1); });
    announceAll();
    polling->start();
    ASSERT_TRUE(within(3 * SilenceMs, [&] { return line.asked(Stations).size() > 1; }));
    ASSERT_FALSE(polling->addrInDataCache(Stations, FirstWord));

    line.before([](Line &healed) { healed.clearFaults(); });
    const qint64 back = clock.msecsSinceBoot();
    const qint64 longest = SilenceMs + 2 * Stations * PauseMs;
    EXPECT_TRUE(within(longest, [&] { return polling->addrInDataCache(Stations, FirstWord); }));
    EXPECT_TRUE(within(longest, [&] { return !polling->hasError(); }));
    figure("a station that comes back is read after %lld ms; at most %lld",
           static_cast<long long>(clock.msecsSinceBoot() - back), static_cast<long long>(longest));
}

// ---- A clock that jumps -------------------------------------------------------------------------

const qint64 TwoHoursMs = 7200000;

TEST_F(Reliability, AClockThatJumpsTwoHoursCostsNoExchange)
{
    announceAll();
    polling->start();
    ASSERT_TRUE(within(10000, [&] { return line.asked(Stations).size() > 1; }));
    const int before = line.requests();
    clock.jump(TwoHoursMs);
    const qint64 behind = clock.msecsSinceBoot();
    ASSERT_TRUE(within(10 * Stations * PauseMs, [&] { return line.requests() > before + 200; }));
    EXPECT_FALSE(polling->hasError());
    EXPECT_TRUE(polling->getLastError().isEmpty());
    figure("a clock that jumps two hours: %d requests in the next %lld ms, no error",
           line.requests() - before, static_cast<long long>(clock.msecsSinceBoot() - behind));
}

TEST_F(Reliability, AClockThatJumpsTwoHoursRenewsTheLowLatencyModeOnce)
{
    polling->setLowLatency({1});
    announceAll();
    polling->start();
    const auto writes = [this] { return line.written(1).size(); };
    ASSERT_TRUE(within(10000, [&] { return writes() == 4; }));
    clock.jump(TwoHoursMs);
    ASSERT_TRUE(within(1000, [&] { return writes() == 8; }));
    EXPECT_FALSE(within(60000, [&] { return writes() > 8; }));
    figure("a clock that jumps two hours renews the low-latency mode once");
}

TEST_F(Reliability, AClockThatJumpsTwoHoursEndsAWaitingReadAndNoLaterOne)
{
    std::promise<void> ended;
    std::atomic<qint64> jumped(0);
    line.before([&](Line &silenced) { // the read's own request
        silence(silenced, Stations);
        while (clock.sleepers() == 0) // the reader knows its end by then
            std::this_thread::yield();
        jumped = clock.msecsSinceBoot() + TwoHoursMs;
        clock.jump(TwoHoursMs);
        // This thread moves the time on, so it waits for the reader to have seen the jump.
        ended.get_future().wait_for(std::chrono::seconds(30));
    });
    polling->start();
    QByteArray data(4, '\0');
    AddressVector addresses(1, FirstWord);
    UCharVector indexes(1, 0);
    EXPECT_FALSE(polling->readOnceData(1, data, addresses, indexes));
    const qint64 waited = clock.msecsSinceBoot() - jumped;
    ended.set_value();
    EXPECT_LE(0, waited);
    EXPECT_GE(2 * SilenceMs, waited);

    line.before([](Line &healed) { healed.clearFaults(); });
    clock.sleep(SilenceMs); // the request that was on the line
    EXPECT_TRUE(polling->readOnceData(2, data, addresses, indexes));
    figure("a clock that jumps two hours under a waiting read: it ends %lld ms after the jump, at "
           "most %d, and the next one succeeds",
           static_cast<long long>(waited), 2 * SilenceMs);
}

// ---- Floods ------------------------------------------------------------------------------------

TEST_F(Reliability, FortyThousandWritesOfFourThreadsToOneStationAllArriveInOrder)
{
    const uint32_t threads = 4;
    const uint32_t writes = 10000;
    announceAll();
    polling->start();
    std::vector<std::thread> writers;
    writers.reserve(threads);
    for (uint32_t number = 0; number < threads; ++number) {
        writers.emplace_back([this, number] {
            for (uint32_t i = 0; i < writes; ++i)
                EXPECT_TRUE(polling->writeDWord(7, AddrArg{FirstWritten + number, i}));
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    ASSERT_TRUE(within(threads * writes, [&] { // 10 ms for 25 of them, and some time to spare
        return line.written(7).size() >= threads * writes;
    }));

    std::vector<uint32_t> next(threads, 0);
    for (const auto &pair : line.written(7))
        EXPECT_EQ(next[pair.first - FirstWritten]++, pair.second);
    for (const uint32_t count : next)
        EXPECT_EQ(writes, count);
    EXPECT_EQ(0, polling->getAddrArgQueueSize(7));
    figure("%u writes of %u threads to one station: all arrived, in order", threads * writes,
           threads);
}

uint32_t ownValue(int station, uint32_t address)
{
    return static_cast<uint32_t>(station) << 24 | address;
}

void giveOwnValues(Line &line)
{
    for (const int station : allStations()) {
        for (int i = 0; i < Words; ++i) {
            const uint32_t address = FirstWord + static_cast<uint32_t>(i);
            line.setWord(station, address, ownValue(station, address));
        }
    }
}

TEST_F(Reliability, FourThousandReadsOfFourThreadsAreAllAnsweredAndNoneWrong)
{
    const uint32_t threads = 4;
    const int reads = 1000;
    line.before(giveOwnValues);
    polling->start();
    std::atomic<uint32_t> answered(0);
    std::atomic<int> wrong(0);
    std::vector<std::thread> readers;
    readers.reserve(threads);
    for (uint32_t number = 0; number < threads; ++number) {
        readers.emplace_back([&, number] {
            // One after the other for each word, because a value is handed out once.
            AddressVector addresses(1, FirstWord + number);
            UCharVector indexes(1, 0);
            for (int i = 0; i < reads; ++i) {
                QByteArray data(4, '\0');
                const uchar station = static_cast<uchar>(1 + i % Stations);
                answered += polling->readOnceData(station, data, addresses, indexes) ? 1 : 0;
                const quint32 value = qFromLittleEndian<quint32>(data.constData());
                wrong += value == ownValue(station, FirstWord + number) ? 0 : 1;
            }
        });
    }
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(threads * reads, answered);
    EXPECT_EQ(0, wrong);
    EXPECT_TRUE(polling->readAddrQueueMapIsEmpty());
    figure("%u reads on demand of %u threads: %u answered, %d values wrong", threads * reads,
           threads, answered.load(), wrong.load());
}

} // namespace
