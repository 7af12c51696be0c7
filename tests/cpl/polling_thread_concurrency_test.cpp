// The runtime's threads and the polling thread at the same time. Meant for ThreadSanitizer as well.

#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cpl/dmc50_polling_thread.h"
#include "tests/cpl/line_gate.h"
#include "tests/cpl/polling_thread_fixture.h"

namespace
{

/// Stands still until the test moves it, so that nobody's time runs out; sleeping takes a moment.
class StillClock : public Clock
{
public:
    StillClock() : m_now(1000000), m_sleeps(0) {}

    qint64 msecsSinceBoot() override { return m_now; }
    void sleep(ulong) override
    {
        ++m_sleeps;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }

    void advance(qint64 ms) { m_now += ms; }
    void awaitNextSleep()
    {
        const int before = m_sleeps;
        while (m_sleeps == before)
            std::this_thread::yield();
    }

private:
    std::atomic<qint64> m_now;
    std::atomic<int> m_sleeps;
};

class PollingThreadConcurrency : public ::testing::Test
{
protected:
    PollingThreadConcurrency() : requests(0), value(1)
    {
        for (uchar station = 1; station <= 4; ++station) {
            for (ulong address = 0; address < 200; ++address)
                project[station].push_back(address);
        }
        link.answer = valueOfStationAndAddress;
    }

    ~PollingThreadConcurrency() override
    {
        polling().stop();
        polling().wait();
    }

    PollingThread &polling()
    {
        if (!m_polling)
            m_polling.reset(new PollingThread(&link, &project, 1, &clock));
        return *m_polling;
    }

    static uint32_t valueOf(unsigned station, uint32_t address)
    {
        return station << 24 | 0xABC000 | address;
    }

    static std::string valueOfStationAndAddress(const std::string &request)
    {
        const unsigned station = frames::station(request);
        if (!frames::isRead(request))
            return frames::reply(station);
        std::vector<uint32_t> words;
        for (const uint32_t address : frames::fields(request))
            words.push_back(address == 0x2016 ? 200 : valueOf(station, address));
        return frames::reply(station, words);
    }

    /// Reads as the driver does: what is cached from there, the rest on demand.
    bool read(uchar station, ulong first, int count, QByteArray *data)
    {
        AddressVector addresses;
        UCharVector indexes;
        for (int i = 0; i < count; ++i) {
            addresses.push_back(first + static_cast<ulong>(i));
            indexes.push_back(static_cast<uchar>(i));
        }
        AddressVector misses;
        UCharVector missIndexes;
        *data = QByteArray(4 * count, 0);
        return polling().readDataCacheMap(station, addresses, indexes, *data, misses,
                                          missIndexes) &&
               polling().readOnceData(station, *data, misses, missIndexes);
    }

    void expectReads(uchar station, ulong first, int count)
    {
        QByteArray data;
        ASSERT_TRUE(read(station, first, count, &data));
        for (int i = 0; i < count; ++i)
            EXPECT_EQ(valueOf(station, static_cast<uint32_t>(first) + unsigned(i)),
                      wordAt(data, i));
    }

    /// The pairs that went out to a station, in their order.
    std::vector<std::pair<uint32_t, uint32_t>> written(unsigned station)
    {
        std::vector<std::pair<uint32_t, uint32_t>> pairs;
        for (const std::string &frame : link.sent()) {
            if (frames::isRead(frame) || frames::station(frame) != station)
                continue;
            const std::vector<uint32_t> fields = frames::fields(frame);
            for (size_t i = 0; i < fields.size(); i += 2)
                pairs.push_back({fields[i], fields[i + 1]});
        }
        return pairs;
    }

    /// Writes go before everything else: a writer without pauses has the line for itself.
    static void pauseOfAWriter() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

    /// The queue is empty before its last frame is on the line.
    void awaitWritten(unsigned station, size_t pairs)
    {
        while (written(station).size() < pairs)
            std::this_thread::yield();
    }

    StillClock clock;
    FakeLink link;
    AddressVectorMap project;

    // What the line's thread uses outlives it here.
    LineGate line;
    std::atomic<int> requests;
    std::atomic<uint32_t> value;

private:
    std::unique_ptr<PollingThread> m_polling;
};

TEST_F(PollingThreadConcurrency, WritesOfManyThreadsAllGoOutInTheirOrder)
{
    const uint32_t writes = 300;
    polling().setSessionCommand({command("NA0", 120)});
    polling().start();
    std::vector<std::thread> writers;
    writers.reserve(4);
    for (uchar station = 1; station <= 4; ++station) {
        writers.emplace_back([this, station] {
            for (uint32_t i = 0; i < writes; i += 3) {
                EXPECT_TRUE(polling().writeDWord(station, AddrArg{i % 200, i}));
                EXPECT_TRUE(polling().writeDWords(
                    station, {AddrArg{i % 200, i + 1}, AddrArg{i % 200, i + 2}}));
                EXPECT_GE(polling().getAddrArgQueueSize(station), 0);
            }
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    for (unsigned station = 1; station <= 4; ++station)
        awaitWritten(station, writes);
    polling().stop();
    polling().wait();
    for (unsigned station = 1; station <= 4; ++station) {
        const std::vector<std::pair<uint32_t, uint32_t>> pairs = written(station);
        ASSERT_EQ(writes, pairs.size());
        for (uint32_t i = 0; i < writes; ++i)
            EXPECT_EQ(i, pairs[i].second);
    }
}

TEST_F(PollingThreadConcurrency, ReadersOnDemandEachGetTheirOwnValues)
{
    polling().start();
    std::vector<std::thread> readers;
    readers.reserve(4);
    for (int number = 0; number < 4; ++number) {
        readers.emplace_back([this, number] {
            for (int i = 0; i < 50; ++i) {
                const uchar station = static_cast<uchar>(1 + (i + number) % 4);
                expectReads(station, 50 * static_cast<ulong>(number) + static_cast<ulong>(i) % 10,
                            1 + i % 40);
            }
        });
    }
    for (std::thread &reader : readers)
        reader.join();
}

TEST_F(PollingThreadConcurrency, SessionsChangeUnderReadersAndWriters)
{
    // The time moves for the low-latency stations only: no reader gives up in thousands of years.
    link.timeoutMs = 2147483647;
    link.retries = 100000;
    polling().setLowLatency({4});
    polling().start();
    std::atomic<bool> done(false);
    std::thread sessions([&] {
        for (int i = 0; !done; ++i) {
            polling().setSessionCommand(
                {command("NA0", 1 + i % 120), command("2-NA10", 1 + i % 7)});
            if (i % 5 == 4)
                polling().clearSessionCommand();
            if (i % 11 == 10)
                polling().setSessionCommand({});
            polling().setLowLatency({static_cast<uchar>(3 + i % 2)});
            clock.advance(100000);
            std::this_thread::yield();
        }
    });
    std::thread onlooker([&] {
        while (!done) {
            EXPECT_FALSE(polling().hasError());
            EXPECT_TRUE(polling().getLastError().isEmpty());
            EXPECT_EQ(0, polling().getFlag() & ~3);
            EXPECT_EQ(1, polling().numOfLowLatencyStation());
            ulong cached = 0;
            if (polling().getDWordFromDataCacheMap(2, 0x10, cached)) {
                EXPECT_EQ(valueOf(2, 0x10), cached);
            }
            std::this_thread::yield();
        }
    });
    std::thread writer([&] {
        for (uint32_t i = 0; !done; ++i) {
            EXPECT_TRUE(polling().writeDWord(3, AddrArg{i % 200, i}));
            pauseOfAWriter();
        }
    });
    for (int i = 0; i < 100; ++i)
        expectReads(static_cast<uchar>(1 + i % 2), static_cast<ulong>(i % 100), 1 + i % 60);
    done = true;
    sessions.join();
    onlooker.join();
    writer.join();
}

TEST_F(PollingThreadConcurrency, ErrorsComeAndGoUnderReadersAndWriters)
{
    link.answer = [this](const std::string &request) {
        return ++requests % 3 == 0 ? std::string() : valueOfStationAndAddress(request);
    };
    link.retries = 20; // nobody's read runs out of tries
    polling().setSessionCommand({command("NA0", 120)});
    polling().start();
    std::atomic<bool> done(false);
    std::thread writer([&] {
        for (uint32_t i = 0; !done; ++i) {
            polling().writeDWord(2, AddrArg{i % 200, i}); // refused now and then
            pauseOfAWriter();
        }
    });
    std::thread onlooker([&] {
        while (!done) {
            const QString text = polling().getLastError();
            EXPECT_TRUE(text.isEmpty() || text.endsWith("DMC50 no response")) << qPrintable(text);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 60; ++i)
        expectReads(static_cast<uchar>(1 + i % 2), static_cast<ulong>(i % 100), 1 + i % 60);
    done = true;
    writer.join();
    onlooker.join();
}

TEST_F(PollingThreadConcurrency, NewReadsOnDemandWaitForThoseOnTheLine)
{
    line.holdUp(1);
    link.answer = [this](const std::string &request) {
        line.pass();
        return valueOfStationAndAddress(request);
    };
    polling().pushReadAddresses(1, {0x20});
    polling().start();
    line.awaitHeldUp();
    std::atomic<bool> begun(false);
    std::atomic<bool> queued(false);
    std::thread reader([&] {
        begun = true;
        polling().pushReadAddresses(1, {0x30});
        queued = true;
    });
    while (!begun)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // time to do it wrong
    EXPECT_FALSE(queued);
    line.release();
    reader.join();
}

TEST_F(PollingThreadConcurrency, ReadOnTheLineWhenItsReaderGivesUpIsNotHandedToTheNextReader)
{
    line.holdUp(1);
    link.answer = [this](const std::string &request) {
        std::string reply = frames::reply(frames::station(request), {value});
        line.pass();
        return reply;
    };
    AddressVector addresses(1, 0x20);
    UCharVector indexes(1, 0);
    polling().start();
    std::thread first([&] {
        QByteArray data(4, 0);
        EXPECT_FALSE(polling().readOnceData(1, data, addresses, indexes));
    });
    line.awaitHeldUp();
    clock.advance(3000);
    first.join();

    value = 2; // what the next reader must see
    QByteArray data(4, 0);
    std::atomic<bool> begun(false);
    std::thread second([&] {
        begun = true;
        EXPECT_TRUE(polling().readOnceData(1, data, addresses, indexes));
    });
    while (!begun)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // it waits to queue its request
    line.release();
    second.join();
    EXPECT_EQ(2u, wordAt(data, 0));
}

TEST_F(PollingThreadConcurrency, ReadThatIsServedTwiceLeavesNothingForTheNextReader)
{
    // A reader gives up while its request is still queued; the next one queues the same addresses.
    link.answer = [this](const std::string &request) {
        line.pass();
        const uint32_t number = static_cast<uint32_t>(++requests);
        return frames::reply(frames::station(request),
                             std::vector<uint32_t>(frames::fields(request).size(), number));
    };
    AddressVector addresses;
    UCharVector indexes;
    for (uchar i = 0; i < 60; ++i) {
        addresses.push_back(0x20u + i);
        indexes.push_back(i);
    }
    const auto readOnce = [&](bool expected) {
        QByteArray data(4 * 60, 0);
        EXPECT_EQ(expected, polling().readOnceData(1, data, addresses, indexes));
    };
    std::thread first(readOnce, false);
    clock.awaitNextSleep();
    clock.advance(3000);
    first.join();
    std::thread second(readOnce, true);
    clock.awaitNextSleep();
    line.holdUp(3); // two frames have all the values that the reader waits for
    polling().start();
    line.awaitHeldUp();
    second.join();
    line.release();

    AddressVector last(1, addresses.back());
    UCharVector index(1, 0);
    QByteArray data(4, 0);
    EXPECT_TRUE(polling().readOnceData(1, data, last, index));
    EXPECT_EQ(4u, wordAt(data, 0)); // not what the third frame has read
}

TEST_F(PollingThreadConcurrency, ReadersGiveUpWhileTheirValuesArrive)
{
    polling().start();
    std::atomic<bool> done(false);
    std::thread time([&] {
        while (!done) {
            clock.advance(1000);
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
    });
    std::vector<std::thread> readers;
    readers.reserve(4);
    for (uchar station = 1; station <= 4; ++station) {
        readers.emplace_back([this, station] {
            for (uint32_t i = 0; i < 100; ++i) {
                QByteArray data;
                if (read(station, i % 3, 1, &data)) {
                    EXPECT_EQ(valueOf(station, i % 3), wordAt(data, 0));
                }
            }
        });
    }
    for (std::thread &reader : readers)
        reader.join();
    done = true;
    time.join();
}

} // namespace
