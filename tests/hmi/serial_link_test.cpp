#include "hmi/desktop/serial_link.h"

#include "tests/hmi/message_log.h"
#include "tests/hmi/pty.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;

namespace
{

typedef std::chrono::steady_clock SteadyClock;

const int BriefMs = 150;     ///< a time-out that a test waits for
const int EndlessMs = 60000; ///< a time-out that no test waits for
const int LoadMs = 4000;     ///< what a loaded machine may add to any wait

DeviceSetting wiring()
{
    return DeviceSetting(DeviceSetting::Rs485, "COM2", 38400, 8, 0, 2);
}

DriverSetting timing(int timeoutMs)
{
    return DriverSetting(timeoutMs, 1, 1, 20);
}

QVariant discard(AbstractDeviceInterface *link)
{
    return link->control(AbstractDeviceInterface::DiscardInput, QVariant(0));
}

int writeAll(AbstractDeviceInterface *link, const std::string &bytes)
{
    return link->writeData(bytes.data(), static_cast<int>(bytes.size()));
}

/// One call of readData.
std::string readOnce(AbstractDeviceInterface *link, int maxSize = 420)
{
    std::string buffer(static_cast<size_t>(maxSize), '\0');
    const int count = link->readData(&buffer[0], maxSize);
    return buffer.substr(0, static_cast<size_t>(std::max(count, 0)));
}

/// Calls of readData until all bytes are there or one gives nothing.
std::string readBytes(AbstractDeviceInterface *link, size_t count)
{
    std::string bytes;
    std::string piece;
    do {
        piece = readOnce(link, static_cast<int>(count - bytes.size()));
        bytes += piece;
    } while (!piece.empty() && bytes.size() < count);
    return bytes;
}

qint64 msSince(SteadyClock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - start)
        .count();
}

template <typename Action>
qint64 msFor(Action action)
{
    const SteadyClock::time_point start = SteadyClock::now();
    action();
    return msSince(start);
}

void sleepMs(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

qint64 cpuMs()
{
    timespec time;
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

/// A link on a pty of its own, open.
struct OpenLine {
    explicit OpenLine(int timeoutMs)
        : link(QString::fromStdString(pty.path()), wiring(), timing(timeoutMs))
    {
        QString error;
        EXPECT_TRUE(link.open(&error)) << qPrintable(error);
    }

    Pty pty;
    SerialLink link;
};

std::string openError(const std::string &path, const DeviceSetting &setting)
{
    SerialLink link(QString::fromStdString(path), setting, timing(BriefMs));
    QString error;
    EXPECT_FALSE(link.open(&error));
    EXPECT_FALSE(link.isUp());
    EXPECT_EQ(error, link.lastError());
    return error.toStdString();
}

// --- settings ---

TEST(SerialLink, ReportsTheSettingsItWasMadeWith)
{
    SerialLink link("/dev/ttyS9", wiring(), DriverSetting(9000, 2, 31, 25));
    EXPECT_EQ(QString("COM2"), link.deviceSetting()->string);
    EXPECT_EQ(38400, link.deviceSetting()->baudrate);
    EXPECT_EQ(9000, link.timeout());
    EXPECT_EQ(2, link.retry());
    EXPECT_EQ(31, link.stationId());
    EXPECT_EQ(25, link.delay());
}

TEST(SerialLink, KeepsCopiesOfItsSettings)
{
    DeviceSetting device = wiring();
    DriverSetting driver = timing(BriefMs);
    SerialLink link("/dev/ttyS9", device, driver);
    device.string = "COM3";
    driver.timeout = 1;
    EXPECT_EQ(QString("COM2"), link.deviceSetting()->string);
    EXPECT_EQ(BriefMs, link.timeout());
}

TEST(SerialLink, AnswersTheStationSetLast)
{
    SerialLink link("/dev/ttyS9", wiring(), timing(BriefMs));
    link.setStationId(3);
    EXPECT_EQ(3, link.stationId());
    link.setStationId(255);
    EXPECT_EQ(255, link.stationId());
}

// --- opening ---

TEST(SerialLinkOpen, MakesThePortReady)
{
    OpenLine line(BriefMs);
    EXPECT_TRUE(line.link.isUp());
    EXPECT_EQ(QString(), line.link.lastError());
}

TEST(SerialLinkOpen, IsNeededBeforeAnythingElse)
{
    Pty pty;
    SerialLink link(QString::fromStdString(pty.path()), wiring(), timing(BriefMs));
    EXPECT_FALSE(link.isUp());
    EXPECT_EQ(QString("COM2 (%1) is not open").arg(pty.path().c_str()), link.lastError());
    EXPECT_EQ(0, writeAll(&link, "request"));
    EXPECT_EQ("", readOnce(&link));
    EXPECT_EQ(0, discard(&link).toInt());
}

TEST(SerialLinkOpen, SaysThatADeviceIsMissing)
{
    const LinkedPath nowhere;
    EXPECT_EQ("cannot open COM2 (" + nowhere.path() + "): there is no such device",
              openError(nowhere.path(), wiring()));
}

TEST(SerialLinkOpen, SaysThatAFileIsNoSerialPort)
{
    EXPECT_EQ("cannot open COM2 (/dev/null): it is not a serial port",
              openError("/dev/null", wiring()));
}

TEST(SerialLinkOpen, SaysThatADirectoryIsNoSerialPort)
{
    EXPECT_EQ("cannot open COM2 (/dev): it is not a serial port", openError("/dev", wiring()));
}

TEST(SerialLinkOpen, SaysThatPermissionIsMissing)
{
    const uid_t nobody = 65534;
    const bool root = ::geteuid() == 0;
    const Pty pty;
    ASSERT_EQ(0, ::chmod(pty.path().c_str(), 0));
    if (root && ::seteuid(nobody) != 0) {
        GTEST_SKIP() << "root may open everything, and this one cannot become anybody else";
    }
    const std::string error = openError(pty.path(), wiring());
    if (root) {
        ASSERT_EQ(0, ::seteuid(0));
    }
    EXPECT_EQ("cannot open COM2 (" + pty.path() + "): no permission to use it", error);
}

TEST(SerialLinkOpen, SaysThatAnotherProgramHasThePort)
{
    OpenLine line(BriefMs);
    EXPECT_EQ("cannot open COM2 (" + line.pty.path() + "): it is in use by another program",
              openError(line.pty.path(), wiring()));
    EXPECT_TRUE(line.link.isUp());
}

/// While it lives, this process may open nothing more than it has open.
class NoDescriptorsLeft
{
public:
    NoDescriptorsLeft()
    {
        EXPECT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &m_before));
        rlimit none = m_before;
        none.rlim_cur = 0;
        EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
    }

    ~NoDescriptorsLeft() { EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &m_before)); }

    NoDescriptorsLeft(const NoDescriptorsLeft &) = delete;
    NoDescriptorsLeft &operator=(const NoDescriptorsLeft &) = delete;

private:
    rlimit m_before;
};

class SerialLinkWithoutDescriptors : public testing::Test
{
protected:
    void SetUp() override
    {
#if defined(__SANITIZE_ADDRESS__)
        GTEST_SKIP() << "UndefinedBehaviorSanitizer opens a pipe to look at an object's type, and "
                        "takes the object for broken when no descriptor is left";
#endif
    }
};

TEST_F(SerialLinkWithoutDescriptors, SaysThatItCannotWaitWhenItWasMadeSo)
{
    const Pty pty;
    std::unique_ptr<SerialLink> link;
    {
        const NoDescriptorsLeft none;
        link.reset(new SerialLink(QString::fromStdString(pty.path()), wiring(), timing(BriefMs)));
    }
    QString error;
    EXPECT_FALSE(link->open(&error));
    EXPECT_EQ("cannot open COM2 (" + pty.path() + "): Too many open files", error.toStdString());
    EXPECT_FALSE(link->isUp());
    EXPECT_EQ("", readOnce(link.get()));
    EXPECT_EQ(0, writeAll(link.get(), "request"));
}

TEST_F(SerialLinkWithoutDescriptors, OpensOnceThereAreSomeAgain)
{
    const Pty pty;
    SerialLink link(QString::fromStdString(pty.path()), wiring(), timing(BriefMs));
    {
        const NoDescriptorsLeft none;
        QString error;
        EXPECT_FALSE(link.open(&error));
        EXPECT_EQ("cannot open COM2 (" + pty.path() + "): Too many open files",
                  error.toStdString());
    }
    EXPECT_TRUE(link.open(nullptr)) << qPrintable(link.lastError());
    EXPECT_TRUE(link.isUp());
}

TEST(SerialLinkOpen, SucceedsOnceTheOtherProgramHasClosedIt)
{
    OpenLine line(BriefMs);
    line.link.close();
    SerialLink second(QString::fromStdString(line.pty.path()), wiring(), timing(BriefMs));
    EXPECT_TRUE(second.open(nullptr));
}

TEST(SerialLinkOpen, SaysThatThePortRefusesTheBaudRate)
{
    const Pty pty;
    DeviceSetting setting = wiring();
    setting.baudrate = 12345;
    EXPECT_EQ("cannot open COM2 (" + pty.path() + "): it refuses 12345 baud",
              openError(pty.path(), setting));
}

TEST(SerialLinkOpen, SaysWhichSettingCannotBeUsed)
{
    const Pty pty;
    DeviceSetting setting = wiring();
    setting.parity = 9;
    EXPECT_EQ("cannot open COM2 (" + pty.path() +
                  "): parity code 9 is not 0 (none), 1 (odd) or 2 (even)",
              openError(pty.path(), setting));
}

TEST(SerialLinkOpen, AcceptsEveryWiringThatHasACode)
{
    for (int parity : {0, 1, 2}) {
        for (int stopbits : {0, 2}) {
            const Pty pty;
            const DeviceSetting setting(DeviceSetting::Rs485, "COM2", 9600, 7, stopbits, parity);
            SerialLink link(QString::fromStdString(pty.path()), setting, timing(BriefMs));
            QString error;
            EXPECT_TRUE(link.open(&error)) << qPrintable(error);
        }
    }
}

TEST(SerialLinkOpen, DropsWhatThePortHeldBefore)
{
    Pty pty;
    pty.sendAndSettle("stale\n");
    SerialLink link(QString::fromStdString(pty.path()), wiring(), timing(0));
    ASSERT_TRUE(link.open(nullptr));
    EXPECT_EQ("", readOnce(&link));
}

TEST(SerialLinkOpen, AgainStartsAfresh)
{
    OpenLine line(BriefMs);
    EXPECT_TRUE(line.link.open(nullptr));
    EXPECT_EQ(7, writeAll(&line.link, "request"));
    EXPECT_EQ("request", line.pty.receive(7));
}

TEST(SerialLinkOpen, HidesThePortFromProgramsStartedLater)
{
    OpenLine line(BriefMs);
    struct stat port;
    ASSERT_EQ(0, ::stat(line.pty.path().c_str(), &port));
    int found = 0;
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
        struct stat open;
        if (descriptor != line.pty.slave() && ::fstat(descriptor, &open) == 0 &&
            open.st_rdev == port.st_rdev && S_ISCHR(open.st_mode)) {
            ++found;
            EXPECT_NE(0, ::fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
        }
    }
    EXPECT_EQ(1, found);
}

TEST(SerialLinkClose, LeavesTheLinkClosed)
{
    OpenLine line(BriefMs);
    line.link.close();
    EXPECT_FALSE(line.link.isUp());
    EXPECT_EQ(0, writeAll(&line.link, "request"));
    EXPECT_EQ(QString("COM2 (%1) is not open").arg(line.pty.path().c_str()), line.link.lastError());
}

TEST(SerialLinkClose, MakesARequestWaitForItsTimeOut)
{
    OpenLine line(BriefMs);
    line.link.close();
    const SteadyClock::time_point start = SteadyClock::now();
    writeAll(&line.link, "request");
    EXPECT_EQ("", readOnce(&line.link));
    EXPECT_GE(msSince(start), BriefMs);
}

// --- bytes ---

TEST(SerialLinkBytes, GoThroughUnchangedBothWays)
{
    OpenLine line(EndlessMs);
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(256, writeAll(&line.link, all));
    EXPECT_EQ(all, line.pty.receive(all.size()));
    line.pty.send(all);
    EXPECT_EQ(all, readBytes(&line.link, all.size()));
}

TEST(SerialLinkBytes, AreGivenAsSoonAsTheyAreThere)
{
    OpenLine line(EndlessMs);
    writeAll(&line.link, "request");
    line.pty.sendAndSettle("re");
    EXPECT_EQ("re", readOnce(&line.link));
}

TEST(SerialLinkBytes, EndTheWaitThatTheyFind)
{
    OpenLine line(EndlessMs);
    writeAll(&line.link, "request");
    std::thread station([&line] {
        sleepMs(30);
        line.pty.send("reply\r\n");
    });
    EXPECT_LT(msFor([&line] { EXPECT_EQ("reply\r\n", readBytes(&line.link, 7)); }), EndlessMs / 2);
    station.join();
}

TEST(SerialLinkBytes, AreGivenInPiecesOfTheSizeAskedFor)
{
    OpenLine line(BriefMs);
    writeAll(&line.link, "request");
    line.pty.sendAndSettle("0123456789");
    EXPECT_EQ("0123", readOnce(&line.link, 4));
    EXPECT_EQ("4567", readOnce(&line.link, 4));
    EXPECT_EQ("89", readOnce(&line.link, 4));
}

TEST(SerialLinkBytes, AreNotTakenWithoutRoom)
{
    OpenLine line(BriefMs);
    writeAll(&line.link, "request");
    line.pty.sendAndSettle("a");
    char byte = 0;
    EXPECT_EQ(0, line.link.readData(&byte, 0));
    EXPECT_EQ(0, line.link.readData(&byte, -1));
    EXPECT_EQ("a", readOnce(&line.link));
}

TEST(SerialLinkBytes, OfALongFrameAllGoOut)
{
    OpenLine line(EndlessMs);
    const std::string frame(100000, 'x');
    std::string received;
    std::thread station([&] { received = line.pty.receive(frame.size()); });
    EXPECT_EQ(100000, writeAll(&line.link, frame));
    station.join();
    EXPECT_EQ(frame, received);
}

TEST(SerialLinkBytes, ThatTheLineDoesNotTakeAreDroppedAtTheTimeOut)
{
    OpenLine line(BriefMs);
    const std::string tooMuch(1000000, 'x');
    int sent = 0;
    const qint64 waited = msFor([&] { sent = writeAll(&line.link, tooMuch); });
    EXPECT_LT(sent, 1000000);
    EXPECT_GE(waited, BriefMs);
    EXPECT_LT(waited, BriefMs + LoadMs);
    EXPECT_TRUE(line.link.isUp());
    EXPECT_EQ(4, writeAll(&line.link, "next"));
    const std::string received = line.pty.receiveAll();
    EXPECT_LT(received.size(), static_cast<size_t>(sent)) << "what was held back came too";
    EXPECT_EQ("next", received.substr(received.size() - 4));
}

// --- time-out ---

TEST(SerialLinkTimeOut, EndsTheWaitForAReply)
{
    OpenLine line(BriefMs);
    const SteadyClock::time_point start = SteadyClock::now();
    writeAll(&line.link, "request");
    EXPECT_EQ("", readOnce(&line.link));
    const qint64 waited = msSince(start);
    EXPECT_GE(waited, BriefMs);
    EXPECT_LT(waited, BriefMs + LoadMs);
    EXPECT_TRUE(line.link.isUp());
}

TEST(SerialLinkTimeOut, IsMeasuredFromTheRequest)
{
    const int timeoutMs = 1000;
    OpenLine line(timeoutMs);
    writeAll(&line.link, "request");
    sleepMs(timeoutMs + 1);
    EXPECT_LT(msFor([&line] { EXPECT_EQ("", readOnce(&line.link)); }), timeoutMs);
}

TEST(SerialLinkTimeOut, IsOverBeforeTheFirstRequest)
{
    OpenLine line(EndlessMs);
    EXPECT_LT(msFor([&line] { EXPECT_EQ("", readOnce(&line.link)); }), EndlessMs / 2);
}

TEST(SerialLinkTimeOut, IsNotProlongedByBytesThatDribbleIn)
{
    const int timeoutMs = 300;
    OpenLine line(timeoutMs);
    std::atomic<bool> stop(false);
    std::thread station([&] {
        while (!stop) {
            line.pty.send("x");
            sleepMs(20);
        }
    });
    const SteadyClock::time_point start = SteadyClock::now();
    writeAll(&line.link, "request");
    while (!readOnce(&line.link).empty() && msSince(start) < 2 * LoadMs) {
    }
    const qint64 waited = msSince(start);
    stop = true;
    station.join();
    EXPECT_GE(waited, timeoutMs);
    EXPECT_LT(waited, timeoutMs + LoadMs);
}

TEST(SerialLinkTimeOut, DoesNotHoldBackBytesThatCameInTime)
{
    OpenLine line(BriefMs);
    writeAll(&line.link, "request");
    line.pty.sendAndSettle("reply\r\n");
    sleepMs(BriefMs);
    EXPECT_EQ("reply\r\n", readOnce(&line.link));
}

TEST(SerialLinkTimeOut, OfLessThanNothingIsNone)
{
    OpenLine line(-1);
    writeAll(&line.link, "request");
    EXPECT_EQ("", readOnce(&line.link));
    EXPECT_EQ(-1, line.link.timeout());
}

TEST(SerialLinkTimeOut, CostsNoProcessorTime)
{
    OpenLine line(1000);
    const qint64 before = cpuMs();
    writeAll(&line.link, "request");
    EXPECT_EQ("", readOnce(&line.link));
    EXPECT_LT(cpuMs() - before, 200);
}

// --- discarding ---

TEST(SerialLinkDiscard, DropsWhatArrivedUnasked)
{
    OpenLine line(BriefMs);
    line.pty.sendAndSettle("unasked\r\n");
    EXPECT_EQ(QVariant(9), discard(&line.link));
    writeAll(&line.link, "request");
    line.pty.send("reply\r\n");
    EXPECT_EQ("reply\r\n", readBytes(&line.link, 7));
}

TEST(SerialLinkDiscard, OfAQuietLineDropsNothing)
{
    OpenLine line(BriefMs);
    EXPECT_EQ(QVariant(0), discard(&line.link));
}

TEST(SerialLinkDiscard, IsTheOnlyServiceOfTheLink)
{
    OpenLine line(BriefMs);
    line.pty.sendAndSettle("kept");
    for (int code : {-1, 0, 1, 11, 13, 1000}) {
        EXPECT_FALSE(line.link.control(code, QVariant(0)).isValid()) << code;
    }
    EXPECT_EQ("kept", readOnce(&line.link));
}

TEST(SerialLinkDiscard, DropsAReplyThatCameTooLate)
{
    OpenLine line(BriefMs);
    writeAll(&line.link, "first");
    EXPECT_EQ("", readOnce(&line.link));
    line.pty.sendAndSettle("late reply\r\n");
    EXPECT_EQ(QVariant(12), discard(&line.link));
    writeAll(&line.link, "second");
    line.pty.send("second reply\r\n");
    EXPECT_EQ("second reply\r\n", readBytes(&line.link, 14));
}

/// Sends the second part of a late reply as soon as the first has been taken.
bool swallowsAReplyThatIsArriving()
{
    OpenLine line(0);
    writeAll(&line.link, "request");
    EXPECT_EQ("", readOnce(&line.link));
    line.pty.sendAndSettle("late ");
    std::thread station([&line] {
        while (line.pty.readableBySlave() > 0) {
            std::this_thread::yield();
        }
        line.pty.send("reply\r\n");
    });
    const int dropped = discard(&line.link).toInt();
    station.join();
    return dropped == 12;
}

TEST(SerialLinkDiscard, SwallowsALateReplyWholeWhileItIsArriving)
{
    bool swallowed = false;
    // A machine that leaves the station's thread alone for the length of the gap spoils one try.
    for (int tries = 0; tries < 20 && !swallowed; ++tries) {
        swallowed = swallowsAReplyThatIsArriving();
    }
    EXPECT_TRUE(swallowed);
}

TEST(SerialLinkDiscard, WaitsForQuietBeforeTheTwoFramesAfterATimeOut)
{
    OpenLine line(0);
    writeAll(&line.link, "request");
    EXPECT_EQ("", readOnce(&line.link));
    EXPECT_GE(msFor([&line] { discard(&line.link); }), SerialLink::QuietGapMs);
    EXPECT_GE(msFor([&line] { discard(&line.link); }), SerialLink::QuietGapMs);
}

TEST(SerialLinkDiscard, DoesNotWaitWhileAllIsWell)
{
    OpenLine line(EndlessMs);
    const int frames = 100;
    const qint64 waited = msFor([&line] {
        for (int frame = 0; frame < frames; ++frame) {
            discard(&line.link);
            writeAll(&line.link, "request");
            line.pty.send("reply\r\n");
            readBytes(&line.link, 7);
        }
    });
    EXPECT_LT(waited, frames * SerialLink::QuietGapMs);
}

TEST(SerialLinkDiscard, IsNotHeldByALineThatBabbles)
{
    OpenLine line(BriefMs);
    std::atomic<bool> stop(false);
    std::thread station([&] {
        while (!stop) {
            line.pty.send(std::string(4000, 'b'));
        }
    });
    sleepMs(20);
    const qint64 waited = msFor([&line] { EXPECT_GT(discard(&line.link).toInt(), 0); });
    stop = true;
    std::thread sink([&line] { // lets go of a station that waits for room
        while (!readOnce(&line.link).empty()) {
        }
    });
    station.join();
    sink.join();
    EXPECT_LT(waited, SerialLink::LongestDiscardMs + LoadMs);
}

// --- a port that vanishes ---

std::string goneText(const std::string &path, const std::string &reason)
{
    return "COM2 (" + path + ") is gone: " + reason;
}

std::string goneWarning(const std::string &path, const std::string &reason)
{
    return goneText(path, reason) + "; it is tried again every 500 ms";
}

TEST(SerialLinkVanishing, IsNoticedWhileWaitingForAReply)
{
    const MessageLog log;
    OpenLine line(EndlessMs);
    writeAll(&line.link, "request");
    std::thread station([&line] {
        sleepMs(30);
        line.pty.hangUp();
    });
    EXPECT_LT(msFor([&line] { EXPECT_EQ("", readOnce(&line.link)); }), EndlessMs / 2);
    station.join();
    EXPECT_FALSE(line.link.isUp());
    EXPECT_EQ(goneText(line.pty.path(), "the device hung up"), line.link.lastError().toStdString());
    EXPECT_THAT(log.texts(QtWarningMsg),
                ElementsAre(goneWarning(line.pty.path(), "the device hung up")));
}

TEST(SerialLinkVanishing, IsNoticedWhenARequestIsSent)
{
    const MessageLog log;
    OpenLine line(BriefMs);
    line.pty.hangUp();
    EXPECT_EQ(0, writeAll(&line.link, "request"));
    EXPECT_FALSE(line.link.isUp());
    EXPECT_THAT(log.texts(QtWarningMsg),
                ElementsAre(goneWarning(line.pty.path(), "Input/output error")));
}

TEST(SerialLinkVanishing, IsNoticedWhenInputIsDiscarded)
{
    const MessageLog log;
    OpenLine line(0);
    writeAll(&line.link, "request");
    readOnce(&line.link); // the link is wary now: two rounds of discarding
    line.pty.hangUp();
    EXPECT_EQ(QVariant(0), discard(&line.link));
    EXPECT_FALSE(line.link.isUp());
    EXPECT_THAT(log.texts(QtWarningMsg),
                ElementsAre(goneWarning(line.pty.path(), "the device hung up")));
}

/// A line whose port is gone, and stays away: its path names nothing, lest it be that of the next
/// pty that somebody opens.
struct LostLine {
    explicit LostLine(int timeoutMs)
        : link(QString::fromStdString(path.path()), wiring(), timing(timeoutMs))
    {
        path.pointTo(pty.path());
        EXPECT_TRUE(link.open(nullptr));
        path.pointTo("nothing");
        pty.hangUp();
    }

    /// Exchanges of a thread that never pauses by itself, for three pauses of the link.
    int exchangeForAWhile()
    {
        int exchanges = 0;
        const SteadyClock::time_point start = SteadyClock::now();
        while (msSince(start) < 3 * SerialLink::ReopenPauseMs) {
            discard(&link);
            writeAll(&link, "request");
            readOnce(&link);
            ++exchanges;
        }
        return exchanges;
    }

    LinkedPath path;
    Pty pty;
    SerialLink link;
};

TEST(SerialLinkVanishing, IsReportedOnceHoweverLongItLasts)
{
    const MessageLog log;
    LostLine line(BriefMs);
    line.exchangeForAWhile();
    EXPECT_EQ(1u, log.texts(QtWarningMsg).size());
    EXPECT_EQ("cannot open COM2 (" + line.path.path() + "): there is no such device",
              line.link.lastError().toStdString());
}

TEST(SerialLinkVanishing, DoesNotMakeThePollingThreadSpin)
{
    const MessageLog log;
    const qint64 before = cpuMs();
    const int aPause = 1 + SerialLink::ReopenPauseMs / BriefMs;
    EXPECT_LE(LostLine(EndlessMs).exchangeForAWhile(), 5); // one for each attempt to open it
    EXPECT_LE(LostLine(BriefMs).exchangeForAWhile(), 3 * aPause + 2);
    EXPECT_LT(cpuMs() - before, 500);
}

/// Whole exchanges until the link takes a request.
bool sendsWithin(SerialLink *link, const std::string &request, int ms)
{
    const SteadyClock::time_point start = SteadyClock::now();
    while (msSince(start) < ms) {
        discard(link);
        if (writeAll(link, request) == static_cast<int>(request.size())) {
            return true;
        }
        readOnce(link);
    }
    return false;
}

TEST(SerialLinkVanishing, EndsWhenThePortIsBack)
{
    const MessageLog log;
    LinkedPath path;
    Pty first;
    path.pointTo(first.path());
    SerialLink link(QString::fromStdString(path.path()), wiring(), timing(2 * LoadMs));
    ASSERT_TRUE(link.open(nullptr));
    Pty second;
    first.hangUp();
    EXPECT_EQ("", readOnce(&link));
    EXPECT_FALSE(link.isUp());
    path.pointTo(second.path());
    ASSERT_TRUE(sendsWithin(&link, "request", SerialLink::ReopenPauseMs + LoadMs));
    EXPECT_EQ("request", second.receive(7));
    second.send("reply\r\n");
    EXPECT_EQ("reply\r\n", readBytes(&link, 7));
    EXPECT_TRUE(link.isUp());
    EXPECT_EQ(QString(), link.lastError());
    EXPECT_THAT(log.texts(QtWarningMsg), ElementsAre(goneWarning(path.path(), "the device hung up"),
                                                     "COM2 (" + path.path() + ") is back"));
}

TEST(SerialLinkVanishing, IsReportedAgainTheNextTime)
{
    const MessageLog log;
    LinkedPath path;
    Pty first;
    path.pointTo(first.path());
    SerialLink link(QString::fromStdString(path.path()), wiring(), timing(BriefMs));
    ASSERT_TRUE(link.open(nullptr));
    Pty second;
    first.hangUp();
    readOnce(&link);
    path.pointTo(second.path());
    ASSERT_TRUE(sendsWithin(&link, "request", SerialLink::ReopenPauseMs + LoadMs));
    second.hangUp();
    discard(&link);
    EXPECT_EQ(3u, log.texts(QtWarningMsg).size());
    EXPECT_FALSE(link.isUp());
}

TEST(SerialLinkVanishing, IsFollowedByAPauseBeforeTheNextAttempt)
{
    const MessageLog log;
    LinkedPath path;
    Pty first;
    path.pointTo(first.path());
    SerialLink link(QString::fromStdString(path.path()), wiring(), timing(0));
    ASSERT_TRUE(link.open(nullptr));
    Pty second;
    path.pointTo(second.path());
    first.hangUp();
    const SteadyClock::time_point start = SteadyClock::now();
    readOnce(&link);
    while (writeAll(&link, "request") == 0 && msSince(start) < LoadMs) {
        sleepMs(10);
    }
    EXPECT_TRUE(link.isUp());
    EXPECT_GE(msSince(start), SerialLink::ReopenPauseMs);
}

TEST(SerialLinkVanishing, EndsWithCloseNotWithAnotherAttempt)
{
    const MessageLog log;
    LinkedPath path;
    Pty first;
    path.pointTo(first.path());
    SerialLink link(QString::fromStdString(path.path()), wiring(), timing(0));
    ASSERT_TRUE(link.open(nullptr));
    Pty second;
    first.hangUp();
    readOnce(&link);
    path.pointTo(second.path());
    link.close();
    sleepMs(SerialLink::ReopenPauseMs + 1);
    EXPECT_EQ(0, writeAll(&link, "request"));
    EXPECT_FALSE(link.isUp());
}

TEST(SerialLink, LeavesTheOtherLinksOfTheProcessAlone)
{
    const MessageLog log;
    OpenLine one(BriefMs);
    OpenLine two(BriefMs);
    one.pty.hangUp();
    readOnce(&one.link);
    EXPECT_FALSE(one.link.isUp());
    writeAll(&two.link, "request");
    two.pty.send("reply\r\n");
    EXPECT_EQ("reply\r\n", readBytes(&two.link, 7));
}

// --- shutting down ---

TEST(SerialLinkInterrupt, EndsTheWaitForAReply)
{
    OpenLine line(EndlessMs);
    writeAll(&line.link, "request");
    std::thread host([&line] {
        sleepMs(30);
        line.link.interrupt();
    });
    EXPECT_LT(msFor([&line] { EXPECT_EQ("", readOnce(&line.link)); }), EndlessMs / 2);
    host.join();
    EXPECT_TRUE(line.link.isUp());
}

TEST(SerialLinkInterrupt, EndsTheWaitForAPortThatIsAway)
{
    const MessageLog log;
    OpenLine line(EndlessMs);
    line.link.close();
    writeAll(&line.link, "request");
    std::thread host([&line] {
        sleepMs(30);
        line.link.interrupt();
    });
    EXPECT_LT(msFor([&line] { EXPECT_EQ("", readOnce(&line.link)); }), EndlessMs / 2);
    host.join();
}

TEST(SerialLinkInterrupt, EndsAWriteThatWaitsForRoom)
{
    OpenLine line(EndlessMs);
    std::thread host([&line] {
        sleepMs(30);
        line.link.interrupt();
    });
    const std::string tooMuch(1000000, 'x');
    EXPECT_LT(writeAll(&line.link, tooMuch), 1000000);
    host.join();
}

TEST(SerialLinkInterrupt, HoldsForAllLaterRequests)
{
    OpenLine line(EndlessMs);
    line.link.interrupt();
    for (int exchange = 0; exchange < 3; ++exchange) {
        EXPECT_EQ(QVariant(0), discard(&line.link));
        EXPECT_EQ(0, writeAll(&line.link, "request"));
        EXPECT_EQ("", readOnce(&line.link));
    }
}

TEST(SerialLinkInterrupt, IsForgottenByOpen)
{
    OpenLine line(EndlessMs);
    line.link.interrupt();
    ASSERT_TRUE(line.link.open(nullptr));
    EXPECT_EQ(7, writeAll(&line.link, "request"));
    line.pty.send("reply\r\n");
    EXPECT_EQ("reply\r\n", readBytes(&line.link, 7));
}

TEST(SerialLinkInterrupt, IsNeverMissedWhenItMeetsTheStartOfAWait)
{
    OpenLine line(EndlessMs);
    for (int round = 0; round < 200; ++round) {
        ASSERT_TRUE(line.link.open(nullptr));
        std::thread lineThread([&line] {
            writeAll(&line.link, "r");
            readOnce(&line.link);
        });
        line.link.interrupt();
        lineThread.join();
    }
}

TEST(SerialLinkThreads, MayAskAndSetWhileTheLineWorks)
{
    const MessageLog log;
    OpenLine line(1);
    std::thread lineThread([&line] {
        for (int exchange = 0; exchange < 50; ++exchange) {
            discard(&line.link);
            writeAll(&line.link, "r");
            readOnce(&line.link);
        }
    });
    for (int station = 0; station < 200; ++station) {
        line.link.setStationId(station);
        EXPECT_EQ(station, line.link.stationId());
        EXPECT_EQ(1, line.link.timeout());
        EXPECT_EQ(QString("COM2"), line.link.deviceSetting()->string);
        EXPECT_TRUE(line.link.isUp());
        EXPECT_EQ(QString(), line.link.lastError());
    }
    lineThread.join();
}

} // namespace
