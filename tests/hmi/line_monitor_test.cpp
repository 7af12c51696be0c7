#include "hmi/desktop/line_monitor.h"

#include "driver/drv_dev_setting.h"
#include "tests/hmi/cpl_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <sstream>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const qint64 Ms = 1000; ///< in microseconds

const std::string ReadOne = framed("0100XRN00LL00001000");
const std::string OneWord = framed("0100X0000000005");

/// A line that gives what it was told to, and takes the time that it was told to.
class ScriptedLink : public AbstractDeviceInterface
{
public:
    struct Step {
        int result;        ///< what readData answers
        std::string bytes; ///< what it places in the buffer
        qint64 takes;      ///< microseconds
    };

    explicit ScriptedLink(qint64 *now)
        : m_now(now), m_setting(DeviceSetting::Rs485, "COM2", 38400, 8, 0, 2)
    {
    }

    void willGive(const std::string &bytes, qint64 takes = 0)
    {
        script.push_back({static_cast<int>(bytes.size()), bytes, takes});
    }
    void willFail(int result, qint64 takes = 0) { script.push_back({result, "", takes}); }

    int readData(char *buffer, int max_size) override
    {
        lastMaxSize = max_size;
        if (script.empty()) {
            return 0;
        }
        const Step step = script.front();
        script.pop_front();
        std::copy(step.bytes.begin(), step.bytes.end(), buffer);
        *m_now += step.takes;
        return step.result;
    }

    int writeData(const char *data, int size) override
    {
        written.emplace_back(data, static_cast<size_t>(size));
        *m_now += writeTakes;
        return takesBytes < 0 ? size : takesBytes;
    }

    const DeviceSetting *deviceSetting() override { return &m_setting; }

    QVariant control(int code, const QVariant &argument) override
    {
        controls.emplace_back(code, argument);
        return QVariant(42);
    }

    int timeout() override { return 9000; }
    int retry() override { return 3; }
    int stationId() override { return 31; }
    int delay() override { return 25; }

    std::deque<Step> script;
    std::vector<std::string> written;
    std::vector<std::pair<int, QVariant>> controls;
    int lastMaxSize = 0;
    int takesBytes = -1; ///< what writeData answers; -1 = the size
    qint64 writeTakes = 0;

private:
    qint64 *const m_now;
    const DeviceSetting m_setting;
};

/// A monitored line whose time the test sets.
struct MonitoredLine {
    MonitoredLine() : link(&now), monitor(&link, [this] { return now; }) {}

    void request(const std::string &frame)
    {
        monitor.writeData(frame.data(), static_cast<int>(frame.size()));
    }

    /// As the driver reads: until a line feed, nothing, or 420 bytes.
    std::string readReply()
    {
        std::string reply(420, '\0');
        size_t length = 0;
        while (length < reply.size()) {
            const int count =
                monitor.readData(&reply[length], static_cast<int>(reply.size() - length));
            if (count < 1) {
                break;
            }
            length += static_cast<size_t>(count);
            if (reply[length - 1] == '\n') {
                break;
            }
        }
        return reply.substr(0, length);
    }

    StationReport station(int number)
    {
        for (const StationReport &station : monitor.report().stations) {
            if (station.station == number) {
                return station;
            }
        }
        ADD_FAILURE() << "station " << number << " was not asked";
        return StationReport();
    }

    qint64 now = 50 * Ms;
    ScriptedLink link;
    LineMonitor monitor;
};

// --- passing through ---

TEST(LineMonitorPasses, TheSettingsOfTheLink)
{
    MonitoredLine line;
    EXPECT_EQ(line.link.deviceSetting(), line.monitor.deviceSetting());
    EXPECT_EQ(9000, line.monitor.timeout());
    EXPECT_EQ(3, line.monitor.retry());
    EXPECT_EQ(31, line.monitor.stationId());
    EXPECT_EQ(25, line.monitor.delay());
}

TEST(LineMonitorPasses, WrittenBytesAndTheirResult)
{
    MonitoredLine line;
    const std::string odd("\0\xFF\x03\n garbage\0", 13);
    EXPECT_EQ(13, line.monitor.writeData(odd.data(), 13));
    line.link.takesBytes = 5;
    EXPECT_EQ(5, line.monitor.writeData(ReadOne.data(), static_cast<int>(ReadOne.size())));
    line.link.takesBytes = 0;
    EXPECT_EQ(0, line.monitor.writeData(ReadOne.data(), static_cast<int>(ReadOne.size())));
    EXPECT_THAT(line.link.written, ElementsAre(odd, ReadOne, ReadOne));
}

TEST(LineMonitorPasses, ReadBytesAndTheirResult)
{
    MonitoredLine line;
    line.link.willGive(std::string("\0\xFF\n", 3));
    line.link.willFail(0);
    line.link.willFail(-7);
    char buffer[16];
    std::memset(buffer, 'u', sizeof buffer);
    EXPECT_EQ(3, line.monitor.readData(buffer, 16));
    EXPECT_EQ(16, line.link.lastMaxSize);
    EXPECT_EQ(std::string("\0\xFF\nuuuuuuuuuuuuu", 16), std::string(buffer, 16));
    EXPECT_EQ(0, line.monitor.readData(buffer, 9));
    EXPECT_EQ(9, line.link.lastMaxSize);
    EXPECT_EQ(-7, line.monitor.readData(buffer, 1));
}

TEST(LineMonitorPasses, ControlsAndTheirResult)
{
    MonitoredLine line;
    EXPECT_EQ(QVariant(42), line.monitor.control(12, QVariant(0)));
    EXPECT_EQ(QVariant(42), line.monitor.control(-5, QVariant("text")));
    ASSERT_EQ(2u, line.link.controls.size());
    EXPECT_EQ(12, line.link.controls[0].first);
    EXPECT_EQ(QVariant(0), line.link.controls[0].second);
    EXPECT_EQ(-5, line.link.controls[1].first);
    EXPECT_EQ(QVariant("text"), line.link.controls[1].second);
}

TEST(LineMonitorPasses, NothingOfItsOwn)
{
    MonitoredLine line;
    line.request(ReadOne);
    line.link.willGive(OneWord);
    EXPECT_EQ(OneWord, line.readReply());
    line.monitor.report();
    EXPECT_EQ(1u, line.link.written.size());
    EXPECT_THAT(line.link.controls, IsEmpty());
    EXPECT_THAT(line.link.script, IsEmpty());
}

// --- where exchanges begin and end ---

TEST(LineMonitor, TimesAReplyFromItsRequestToItsLineFeed)
{
    MonitoredLine line;
    line.link.writeTakes = 2 * Ms;
    line.request(ReadOne);
    line.now += 3 * Ms;
    line.link.willGive(OneWord.substr(0, 4), 10 * Ms);
    line.link.willGive(OneWord.substr(4), 20 * Ms);
    EXPECT_EQ(OneWord, line.readReply());
    EXPECT_EQ(35 * Ms, line.station(1).medianRoundTripUs);
    EXPECT_EQ(35 * Ms, line.monitor.report().elapsedUs);
}

TEST(LineMonitor, TakesAReplyThatComesByteByByte)
{
    MonitoredLine line;
    line.request(ReadOne);
    for (const char byte : OneWord) {
        line.link.willGive(std::string(1, byte), Ms);
    }
    EXPECT_EQ(OneWord, line.readReply());
    EXPECT_EQ(1u, line.station(1).goodReplies);
    EXPECT_EQ(static_cast<qint64>(OneWord.size()) * Ms, line.station(1).leastRoundTripUs);
    EXPECT_EQ(OneWord.size(), line.monitor.report().bytesIn);
}

TEST(LineMonitor, EndsAnExchangeWithItsTimeOut)
{
    MonitoredLine line;
    line.request(ReadOne);
    line.link.willFail(0, 500 * Ms);
    line.readReply();
    line.now += 500 * Ms;
    EXPECT_EQ(1u, line.station(1).noAnswer);
    EXPECT_EQ(500, line.station(1).failingForMs);
    EXPECT_DOUBLE_EQ(0.5, line.monitor.report().busyShare);
}

TEST(LineMonitor, EndsAnExchangeWithALineThatIsDown)
{
    MonitoredLine line;
    line.link.takesBytes = 0;
    line.request(ReadOne);
    line.link.willFail(-1);
    line.readReply();
    EXPECT_EQ(1u, line.station(1).noAnswer);
    EXPECT_EQ(0u, line.station(1).bytesOut);
}

TEST(LineMonitor, CallsAReplyThatStopsHalfWayShort)
{
    MonitoredLine line;
    line.request(ReadOne);
    line.link.willGive(OneWord.substr(0, 15));
    line.link.willFail(0);
    EXPECT_EQ(OneWord.substr(0, 15), line.readReply());
    EXPECT_EQ(1u, line.station(1).shortReplies);
}

TEST(LineMonitor, EndsAnExchangeThatItsReaderLeftWithTheNextRequest)
{
    MonitoredLine line;
    line.request(ReadOne);
    line.link.willGive(std::string(420, 'U'), 100 * Ms);
    line.readReply();
    EXPECT_EQ(0u, line.monitor.report().exchanges);
    line.now += 900 * Ms;
    line.request(ReadOne);
    const LineReport report = line.monitor.report();
    EXPECT_EQ(1u, report.exchanges);
    EXPECT_EQ(1u, line.station(1).shortReplies);
    EXPECT_DOUBLE_EQ(0.1, report.busyShare) << "the line was free from its last byte on";
}

TEST(LineMonitor, EndsAnExchangeThatItsReaderLeftWithTheNextControl)
{
    MonitoredLine line;
    line.request(ReadOne);
    line.monitor.control(12, QVariant(0));
    EXPECT_EQ(1u, line.station(1).noAnswer);
    line.monitor.control(12, QVariant(0));
    EXPECT_EQ(1u, line.monitor.report().exchanges);
}

TEST(LineMonitor, JudgesAnExchangeOnce)
{
    MonitoredLine line;
    line.request(ReadOne);
    line.link.willGive(OneWord);
    line.readReply();
    line.link.willFail(0);
    line.link.willGive("stray\n");
    line.readReply();
    line.readReply();
    line.monitor.control(12, QVariant(0));
    const LineReport report = line.monitor.report();
    EXPECT_EQ(1u, report.exchanges);
    EXPECT_EQ(0u, report.failed);
    EXPECT_EQ(OneWord.size() + 6, report.bytesIn);
}

TEST(LineMonitor, KeepsInterleavedStationsApart)
{
    MonitoredLine line;
    const std::string readOther = framed("0A00XRN00LL00001000");
    for (int round = 0; round < 3; ++round) {
        line.request(ReadOne);
        line.link.willGive(OneWord, 5 * Ms);
        line.readReply();
        line.monitor.control(12, QVariant(0));
        line.request(readOther);
        line.link.willFail(0, 50 * Ms);
        line.readReply();
    }
    EXPECT_EQ(3u, line.station(1).goodReplies);
    EXPECT_EQ(0u, line.station(1).failed());
    EXPECT_EQ(-1, line.station(1).failingForMs);
    EXPECT_EQ(3u, line.station(10).noAnswer);
    EXPECT_EQ(110, line.station(10).failingForMs);
    EXPECT_EQ(6u, line.monitor.report().exchanges);
    EXPECT_EQ(3u, line.monitor.report().failed);
}

TEST(LineMonitor, BlamesTheStationAskedForEachKindOfFailure)
{
    MonitoredLine line;
    std::string damaged = OneWord;
    damaged[9] = '7';
    for (const std::string &reply :
         {std::string("\n"), damaged, framed("0200X0000000005"), framed("0100X41")}) {
        line.request(ReadOne);
        line.link.willGive(reply);
        line.readReply();
    }
    line.request(ReadOne);
    line.readReply();
    const StationReport station = line.station(1);
    EXPECT_EQ(1u, station.shortReplies);
    EXPECT_EQ(1u, station.checksumErrors);
    EXPECT_EQ(1u, station.otherStation);
    EXPECT_EQ(1u, station.endCodes);
    EXPECT_EQ(0x41, station.lastEndCode);
    EXPECT_EQ(1u, station.noAnswer);
    EXPECT_EQ(5u, station.failed());
    EXPECT_EQ(5u, line.monitor.report().failed);
    EXPECT_EQ(1u, line.monitor.report().stations.size());
}

TEST(LineMonitor, SurvivesRequestsThatAreNone)
{
    MonitoredLine line;
    for (const std::string &frame : {std::string(), std::string("\n"), std::string("\x02\x03"),
                                     std::string(5000, '\xFF'), ReadOne.substr(1)}) {
        line.request(frame);
        line.readReply();
    }
    EXPECT_EQ(0, line.monitor.writeData(nullptr, 0));
    EXPECT_EQ(6u, line.monitor.report().unreadableRequests);
    EXPECT_EQ(0u, line.monitor.report().exchanges);
    EXPECT_THAT(line.monitor.report().stations, IsEmpty());
}

// --- age of a value ---

TEST(LineMonitorAge, IsUnknownUntilAGoodRead)
{
    MonitoredLine line;
    EXPECT_EQ(-1, line.monitor.msSinceLastGoodRead(1, 0x1000));
    line.request(ReadOne);
    line.readReply();
    EXPECT_EQ(-1, line.monitor.msSinceLastGoodRead(1, 0x1000));
}

TEST(LineMonitorAge, GrowsUntilTheNextGoodRead)
{
    MonitoredLine line;
    line.request(ReadOne);
    line.link.willGive(OneWord);
    line.readReply();
    EXPECT_EQ(0, line.monitor.msSinceLastGoodRead(1, 0x1000));
    line.now += 1999 * Ms;
    EXPECT_EQ(1999, line.monitor.msSinceLastGoodRead(1, 0x1000));
    line.request(ReadOne);
    line.readReply();
    EXPECT_EQ(1999, line.monitor.msSinceLastGoodRead(1, 0x1000));
    line.request(ReadOne);
    line.link.willGive(OneWord);
    line.readReply();
    EXPECT_EQ(0, line.monitor.msSinceLastGoodRead(1, 0x1000));
    EXPECT_EQ(-1, line.monitor.msSinceLastGoodRead(1, 0x1001));
    EXPECT_EQ(-1, line.monitor.msSinceLastGoodRead(3, 0x1000));
}

// --- trace ---

const char *const TracedRequest =
    "02 30 31 30 30 58 52 4E 30 30 4C 4C 30 30 30 30 31 30 30 30 03 43 39 0D 0A";

TEST(LineMonitorTrace, HasALineForEachFrame)
{
    MonitoredLine line;
    std::ostringstream trace;
    line.monitor.setTrace(&trace);
    line.now += 1500 * Ms;
    line.link.writeTakes = 7 * Ms;
    line.request(ReadOne);
    line.link.willGive(OneWord.substr(0, 9), 10 * Ms);
    line.link.willGive(OneWord.substr(9), 5 * Ms);
    line.readReply();
    EXPECT_EQ(std::string("    1.500000 out   25 bytes | ") + TracedRequest +
                  " | RN station 1: 1 address from 00001000\n"
                  "    1.522000 in    21 bytes | 02 30 31 30 30 58 30 30 30 30 30 30 30 30 30 35 "
                  "03 46 44 0D 0A | reply station 1: end code 00, 1 word\n",
              trace.str());
}

TEST(LineMonitorTrace, ShowsWhatWentWrong)
{
    MonitoredLine line;
    std::ostringstream trace;
    line.monitor.setTrace(&trace);
    line.request("\x55");
    line.link.willGive("\x02\n");
    line.readReply();
    line.request("\x55");
    line.readReply();
    line.link.willGive("\xFF\n");
    line.readReply();
    EXPECT_EQ("    0.000000 out    1 bytes | 55 | no STX\n"
              "    0.000000 in     2 bytes | 02 0A | incomplete\n"
              "    0.000000 out    1 bytes | 55 | no STX\n"
              "    0.000000 in     0 bytes |  | no answer\n"
              "    0.000000 in     2 bytes | FF 0A | unasked\n",
              trace.str());
}

TEST(LineMonitorTrace, IsOffUntilSetAndEndsWhenTakenAway)
{
    MonitoredLine line;
    line.request(ReadOne);
    line.readReply();
    std::ostringstream trace;
    line.monitor.setTrace(&trace);
    EXPECT_EQ("", trace.str());
    line.request(ReadOne);
    line.monitor.setTrace(nullptr);
    line.readReply();
    EXPECT_EQ(std::string("    0.000000 out   25 bytes | ") + TracedRequest +
                  " | RN station 1: 1 address from 00001000\n",
              trace.str());
}

// --- clock and threads ---

TEST(LineMonitorClock, IsTheMachinesUnlessOneIsGiven)
{
    qint64 now = 0;
    ScriptedLink link(&now);
    LineMonitor monitor(&link);
    monitor.writeData(ReadOne.data(), static_cast<int>(ReadOne.size()));
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_GE(monitor.report().elapsedUs, 5 * Ms);
    EXPECT_DOUBLE_EQ(1.0, monitor.report().busyShare);
}

TEST(LineMonitorThreads, MayAskWhileTheLineWorks)
{
    qint64 now = 0;
    ScriptedLink link(&now);
    LineMonitor monitor(&link);
    std::ostringstream trace;
    std::atomic<bool> stop(false);
    std::thread lineThread([&] {
        char buffer[420];
        while (!stop) {
            monitor.control(12, QVariant(0));
            monitor.writeData(ReadOne.data(), static_cast<int>(ReadOne.size()));
            link.willGive(OneWord);
            monitor.readData(buffer, sizeof buffer);
            link.written.clear();
            link.controls.clear();
        }
    });
    quint64 seen = 0;
    for (int round = 0; round < 200 || seen == 0; ++round) {
        monitor.setTrace(round % 2 == 0 ? &trace : nullptr);
        const LineReport report = monitor.report();
        EXPECT_GE(report.exchanges, seen);
        seen = report.exchanges;
        EXPECT_EQ(0u, report.failed);
        EXPECT_LE(monitor.msSinceLastGoodRead(1, 0x1000), 60000);
    }
    stop = true;
    lineThread.join();
    EXPECT_EQ(monitor.report().exchanges, monitor.report().stations.front().goodReplies);
}

} // namespace
