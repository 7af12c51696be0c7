// A polling thread between a fake line and a fake clock.

#ifndef TESTS_CPL_POLLING_THREAD_FIXTURE_H
#define TESTS_CPL_POLLING_THREAD_FIXTURE_H

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cpl/dmc50_polling_thread.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fake_link.h"
#include "tests/support/frames.h"

/// The message of a failed assertion, for EXPECT_DEATH.
inline ::testing::Matcher<const std::string &> assertion(const std::string &condition)
{
    return ::testing::HasSubstr("Assertion `" + condition + "' failed");
}

inline CommunicatorCommand command(const char *address, int length = 1)
{
    CommunicatorCommand tag;
    tag.address = QString::fromLatin1(address);
    tag.length = length;
    return tag;
}

/// A 32-bit word of a reader's result, least significant byte first.
inline uint32_t wordAt(const QByteArray &data, int index)
{
    uint32_t word = 0;
    for (int i = 3; i >= 0; --i)
        word = word << 8 | static_cast<uchar>(data.at(4 * index + i));
    return word;
}

typedef std::vector<std::string> Strings;

/// Runs the loop on the test's own thread: until the N-th request was answered, or until the N-th
/// idle pause. What the loop must never do alone, such as spin, fails the test.
///
/// Set up the link and the project's addresses before the first use of `thread()`.
class PollingThreadFixture : public ::testing::Test
{
protected:
    enum {
        Interval = 20, ///< pause before each request; no other pause is that long
        IdlePause = 10,
        ReadOnceCheckPause = 30,
        MostSleeps = 200000
    };

    PollingThreadFixture()
        : m_requests(0), m_idles(0), m_sleeps(0), m_last_request(0), m_last_idle(0)
    {
        ::testing::FLAGS_gtest_death_test_style = "threadsafe";
        for (uchar station = 1; station <= 3; ++station)
            define(station, 0x20, 120);
        controllers = frames::echoAddresses;
        link.delayMs = Interval;
        link.answer = [this](const std::string &request) { return answer(request); };
        link.onCall = [this](const std::string &call) { events.push_back(call); };
        clock.onSleep = [this](ulong ms) { slept(ms); };
    }

    /// Adds consecutive addresses to what the project defines.
    void define(uchar station, ulong first, unsigned count)
    {
        AddressVector &addresses = project[station];
        for (unsigned i = 0; i < count; ++i)
            addresses.push_back(first + i);
    }

    PollingThread &thread()
    {
        if (!m_thread)
            m_thread.reset(new PollingThread(&link, &project, 1, &clock));
        return *m_thread;
    }

    void announce(const QList<CommunicatorCommand> &session)
    {
        thread().setSessionCommand(session);
    }

    /// Runs the loop; stops it while the N-th request is on the line.
    void runRequests(int count)
    {
        m_last_request = count;
        thread().run();
    }

    /// Runs the loop; stops it in its N-th idle pause.
    void runIdles(int count)
    {
        m_last_idle = count;
        thread().run();
    }

    /// Makes the buffers without running a pass. The thread is stopped for good afterwards.
    void prepareBuffers()
    {
        thread().stop();
        thread().run();
    }

    /// Puts a reply into the buffer, as after a request.
    void receive(const std::string &reply)
    {
        link.preload(reply);
        thread().resetRspBuf();
        thread().readRspUntilLF();
    }

    std::string lastError() { return thread().getLastError().toStdString(); }

    /// A cached value; -1 when there is none.
    qint64 cached(uchar station, ulong address)
    {
        ulong value = 0;
        return thread().getDWordFromDataCacheMap(station, address, value) ? qint64(value) : -1;
    }

    bool queueWrites(uchar station, uint32_t first, unsigned count)
    {
        std::vector<AddrArg> pairs;
        for (unsigned i = 0; i < count; ++i)
            pairs.push_back(AddrArg{first + i, i});
        return thread().writeDWords(station, pairs);
    }

    /// The frame of what `queueWrites` queued, or of a part of it.
    static std::string writesFrame(uchar station, uint32_t first, unsigned begin, unsigned end)
    {
        std::vector<std::pair<uint32_t, uint32_t>> pairs;
        for (unsigned i = begin; i < end; ++i)
            pairs.push_back({first + i, i});
        return frames::writeRequest(station, pairs);
    }

    /// The frame that reads consecutive addresses.
    static std::string readFrame(uchar station, uint32_t first, unsigned count)
    {
        return frames::readRequest(station, frames::run(first, count));
    }

    FakeClock clock;
    FakeLink link;
    AddressVectorMap project;

    /// The controllers on the line. Every word of theirs is its own address unless a test has
    /// others.
    std::function<std::string(const std::string &request)> controllers;

    /// Called while a request is on the line, with its number from 1 on.
    std::function<void(int request)> onRequest;

    /// Called in each idle pause, with its number from 1 on.
    std::function<void(int idle)> onIdle;

    /// Called in every sleep, of the loop or of a reader.
    std::function<void(ulong ms)> onSleep;

    /// All sleeps and all calls of the line, in their order.
    Strings events;

private:
    std::string answer(const std::string &request)
    {
        std::string reply = controllers(request);
        ++m_requests;
        if (onRequest)
            onRequest(m_requests);
        if (m_requests == m_last_request)
            thread().stop();
        return reply;
    }

    void slept(ulong ms)
    {
        events.push_back("sleep " + std::to_string(ms));
        if (onSleep)
            onSleep(ms);
        if (ms == IdlePause && ++m_idles && onIdle)
            onIdle(m_idles);
        if (m_idles == m_last_idle && m_last_idle > 0)
            thread().stop();
        if (++m_sleeps == MostSleeps) {
            ADD_FAILURE() << "the loop did not come to its end";
            thread().stop();
        }
    }

    std::unique_ptr<PollingThread> m_thread;
    int m_requests;
    int m_idles;
    int m_sleeps;
    int m_last_request;
    int m_last_idle;
};

#endif // TESTS_CPL_POLLING_THREAD_FIXTURE_H
