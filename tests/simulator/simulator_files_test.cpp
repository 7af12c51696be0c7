// What a simulator takes from the file system and leaves there: link, image, trace, device.

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/simulator.h"
#include "tests/hmi/pty.h"
#include "tests/simulator/folder.h"
#include "tests/simulator/port_user.h"
#include "tests/simulator/running_simulator.h"
#include "tests/support/frames.h"

namespace
{

using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

// ---- The link -----------------------------------------------------------------------------------

/// A simulator with a link, in a folder of its own.
class SimulatorLink : public testing::Test
{
protected:
    SimulatorLink() : link(folder.path("line")), options(unpaced()) { options.ptyLink = link; }

    std::string exchangeOverLink()
    {
        return PortUser(link).exchange(frames::readRequest(1, {Word}));
    }

    Folder folder;
    const std::string link;
    SimulatorOptions options;
};

TEST_F(SimulatorLink, LeadsToThePtyAndIsThePortsName)
{
    Simulator simulator(options);
    start(&simulator);

    EXPECT_EQ(link, simulator.portName());
    EXPECT_THAT(linkTarget(link), StartsWith("/dev/pts/"));
    EXPECT_EQ(frames::reply(1, {0}), exchangeOverLink());
    EXPECT_EQ(1, folder.entries());
}

TEST_F(SimulatorLink, IsRemovedAtTheEnd)
{
    Simulator simulator(options);
    start(&simulator);
    simulator.stop();
    EXPECT_EQ(0, folder.entries());

    start(&simulator);
    EXPECT_EQ(frames::reply(1, {0}), exchangeOverLink());
}

TEST_F(SimulatorLink, ReplacesAnotherLinkAndNotWhatItLedTo)
{
    const std::string elsewhere = folder.path("elsewhere");
    writeFile(elsewhere, "kept");
    for (const std::string &target : {elsewhere, std::string("/no/such/file")}) {
        unlink(link.c_str());
        ASSERT_EQ(0, symlink(target.c_str(), link.c_str()));
        Simulator simulator(options);
        start(&simulator);
        EXPECT_EQ(frames::reply(1, {0}), exchangeOverLink());
    }
    EXPECT_EQ("kept", contentsOf(elsewhere));
}

TEST_F(SimulatorLink, ReplacesNoFileAndNoFolder)
{
    writeFile(link, "kept");
    EXPECT_EQ(link + " exists and is no symbolic link", startError(options));
    EXPECT_EQ("kept", contentsOf(link));

    unlink(link.c_str());
    ASSERT_EQ(0, mkdir(link.c_str(), 0700));
    EXPECT_EQ(link + " exists and is no symbolic link", startError(options));
    EXPECT_TRUE(exists(link));
    EXPECT_EQ(1, folder.entries());
}

TEST_F(SimulatorLink, TouchesNoFileWithANameLikeItsOwn)
{
    writeFile(link + ".new", "kept");
    Simulator simulator(options);
    start(&simulator);
    simulator.stop();

    EXPECT_EQ("kept", contentsOf(link + ".new"));
    EXPECT_EQ(1, folder.entries());
}

TEST_F(SimulatorLink, CannotBeMadeInAFolderThatIsNotThere)
{
    options.ptyLink = folder.path("no/line");
    EXPECT_EQ("cannot make link " + options.ptyLink + ": No such file or directory",
              startError(options));
}

TEST_F(SimulatorLink, CanBeMadeOnceTheObstacleIsGone)
{
    writeFile(link, "in the way");
    Simulator simulator(options);
    EXPECT_NE("", startError(&simulator));
    unlink(link.c_str());

    start(&simulator);

    EXPECT_EQ(frames::reply(1, {0}), exchangeOverLink());
}

TEST_F(SimulatorLink, StaysWithTheSimulatorThatTookItOver)
{
    Simulator first(options);
    Simulator second(options);
    start(&first);
    second.setWord(1, Word, 2);
    start(&second);

    first.stop();
    EXPECT_EQ(frames::reply(1, {2}), exchangeOverLink());
    second.stop();
    EXPECT_FALSE(exists(link));
}

TEST_F(SimulatorLink, IsLeftAloneWhenItWasReplacedByAFile)
{
    Simulator simulator(options);
    start(&simulator);
    unlink(link.c_str());
    writeFile(link, "kept");
    simulator.stop();

    EXPECT_EQ("kept", contentsOf(link));
}

TEST_F(SimulatorLink, IsNotMadeForADevice)
{
    const Pty line;
    options.port = line.path();
    Simulator simulator(options);
    start(&simulator);

    EXPECT_EQ("", simulator.portName());
    EXPECT_FALSE(exists(link));
}

// ---- The image ----------------------------------------------------------------------------------

class SimulatorImage : public testing::Test
{
protected:
    SimulatorImage() : image(folder.path("image")), options(unpaced())
    {
        options.imageFile = image;
    }

    Folder folder;
    const std::string image;
    SimulatorOptions options;
};

TEST_F(SimulatorImage, GivesTheStartValues)
{
    writeFile(image, "# furnace\n1 0x5000 5\n2 0x5000 0xFFFFFFFF\n1 0x1000 7\n");
    Simulator simulator(options);
    start(&simulator);
    PortUser user(simulator.portName());

    EXPECT_EQ(frames::reply(1, {5, 7}), user.exchange(frames::readRequest(1, {Word, 0x1000})));
    EXPECT_EQ(frames::reply(2, {0xFFFFFFFFu}), user.exchange(frames::readRequest(2, {Word})));
}

TEST_F(SimulatorImage, ThatIsMissingIsTold)
{
    EXPECT_EQ("cannot read image " + image + ": No such file or directory", startError(options));
}

TEST_F(SimulatorImage, ThatIsAFolderIsTold)
{
    ASSERT_EQ(0, mkdir(image.c_str(), 0700));
    EXPECT_EQ("image " + image + ", line 1: cannot be read", startError(options));
}

TEST_F(SimulatorImage, WithAMistakeIsToldWithItsLine)
{
    writeFile(image, "1 2 3\n1 2\n");
    EXPECT_EQ("image " + image + ", line 2: expected three numbers: station address value",
              startError(options));
}

TEST_F(SimulatorImage, ForAStationThatIsNotOnTheLineIsTold)
{
    writeFile(image, "1 2 3\n4 2 3\n");
    EXPECT_EQ("image " + image + ": station 4 is not on the line", startError(options));
}

TEST_F(SimulatorImage, IsReadAgainAtEachStart)
{
    Simulator simulator(options);
    EXPECT_NE("", startError(&simulator));
    writeFile(image, "1 0x5000 5\n");
    start(&simulator);
    EXPECT_EQ(5u, simulator.word(1, Word));
    simulator.setWord(1, Word, 6);
    simulator.stop();
    start(&simulator);
    EXPECT_EQ(5u, simulator.word(1, Word));
}

// ---- The trace ----------------------------------------------------------------------------------

class SimulatorTrace : public testing::Test
{
protected:
    SimulatorTrace() : trace(folder.path("trace")), options(unpaced())
    {
        options.traceFile = trace;
    }

    /// Runs a simulator for as long as it takes to answer a request with as many bytes.
    void run(const std::string &request, size_t bytes)
    {
        Simulator simulator(options);
        start(&simulator);
        PortUser user(simulator.portName());
        user.send(request);
        EXPECT_EQ(bytes, user.receive(bytes).size());
    }
    std::vector<std::string> lines() const
    {
        std::istringstream stream(contentsOf(trace));
        std::vector<std::string> found;
        for (std::string line; std::getline(stream, line);)
            found.push_back(line);
        return found;
    }

    Folder folder;
    const std::string trace;
    SimulatorOptions options;
};

const char TimeStamp[] = " *[0-9]+\\.[0-9][0-9][0-9] ";

testing::Matcher<const std::string &> line(const std::string &text)
{
    return MatchesRegex(TimeStamp + text);
}

TEST_F(SimulatorTrace, HasEveryFrameWithTimeDirectionHexAndMeaning)
{
    run(frames::readRequest(1, {0x1000}), 21);

    EXPECT_THAT(
        lines(),
        ElementsAre(line("in  02 30 31 30 30 58 52 4E 30 30 4C 4C 30 30 30 30 31 30 30 30 03 43 39 "
                         "0D 0A  RN station 1: 1 address from 00001000"),
                    line("out 02 30 31 30 30 58 30 30( 3[0-9A-F]| 4[1-6])+ 03 .. .. 0D 0A  "
                         "reply station 1: end code 00, 1 word")));
}

TEST_F(SimulatorTrace, TellsWhatIsWrongWithAFrame)
{
    run(frames::readRequest(9, {Word}) + "\x02short\n" +
            "\x02"
            "0100XRN00LL00001000\x03"
            "00\r\n" +
            frames::framed("0100XZZ"),
        13);

    EXPECT_THAT(lines(), ElementsAre(line("in .*  RN station 9: 1 address from 00005000"),
                                     line("in  02 73 68 6F 72 74 0A  incomplete"),
                                     line("in .*  wrong checksum"),
                                     line("in .*  unknown command station 1: \"ZZ\""),
                                     line("out .*  reply station 1: end code 40")));
}

TEST_F(SimulatorTrace, ShowsWhatAFaultMadeOfAReply)
{
    options.faults = {fault("cut:after=3")};
    run(frames::readRequest(1, {Word}), 3);

    EXPECT_THAT(lines(), ElementsAre(line("in .*"), line("out 02 30 31  incomplete")));
}

TEST_F(SimulatorTrace, IsAppendedToWhatIsThere)
{
    writeFile(trace, "before\n");
    run(frames::readRequest(1, {Word}), 21);
    run(frames::readRequest(1, {Word}), 21);

    EXPECT_THAT(lines(), ElementsAre("before", line("in .*"), line("out .*"), line("in .*"),
                                     line("out .*")));
}

TEST_F(SimulatorTrace, GoesOnAfterARestart)
{
    Simulator simulator(options);
    for (int i = 0; i < 3; ++i) {
        start(&simulator);
        PortUser(simulator.portName()).exchange(frames::readRequest(1, {Word}));
        simulator.stop();
    }
    EXPECT_EQ(6u, lines().size());
}

TEST_F(SimulatorTrace, HasTimesThatDoNotGoBack)
{
    Simulator simulator(options);
    start(&simulator);
    PortUser user(simulator.portName());
    for (int i = 0; i < 20; ++i)
        user.exchange(frames::readRequest(1, {Word}));
    simulator.stop();

    double last = 0;
    ASSERT_EQ(40u, lines().size());
    for (const std::string &each : lines()) {
        EXPECT_LE(last, std::stod(each));
        last = std::stod(each);
    }
}

TEST_F(SimulatorTrace, ThatCannotBeWrittenIsTold)
{
    options.traceFile = folder.path("no/trace");
    EXPECT_EQ("cannot write trace " + options.traceFile + ": No such file or directory",
              startError(options));
    options.traceFile = folder.path("");
    EXPECT_EQ("cannot write trace " + options.traceFile + ": Is a directory", startError(options));
}

TEST_F(SimulatorTrace, OnAFullDiskDisturbsNobody)
{
    options.traceFile = "/dev/full";
    Simulator simulator(options);
    start(&simulator);
    PortUser user(simulator.portName());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(frames::reply(1, {0}), user.exchange(frames::readRequest(1, {Word})));
}

// ---- On a device --------------------------------------------------------------------------------

/// Another pty is the device; the test is at its far end.
class SimulatorDevice : public testing::Test
{
protected:
    SimulatorDevice() : options(unpaced()) { options.port = line.path(); }

    Pty line;
    SimulatorOptions options;
};

TEST_F(SimulatorDevice, AnswersThere)
{
    Simulator simulator(options);
    start(&simulator);
    EXPECT_EQ("", simulator.portName());

    line.send(frames::readRequest(1, {Word}));
    EXPECT_EQ(frames::reply(1, {0}), line.receive(21));
}

TEST_F(SimulatorDevice, SetsItsSpeedAnd38400WithoutAPace)
{
    const struct {
        int baud;
        speed_t speed;
    } cases[] = {{0, B38400},     {1200, B1200},   {2400, B2400},   {4800, B4800},    {9600, B9600},
                 {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}};
    for (const auto &each : cases) {
        options.baud = each.baud;
        Simulator simulator(options);
        start(&simulator);
        struct termios settings;
        ASSERT_EQ(0, tcgetattr(line.slave(), &settings));
        EXPECT_EQ(each.speed, cfgetispeed(&settings)) << each.baud;
        EXPECT_EQ(each.speed, cfgetospeed(&settings)) << each.baud;
    }
}

TEST_F(SimulatorDevice, RefusesASpeedThatNoPortHas)
{
    options.baud = 12345;
    EXPECT_EQ("12345 is no baud rate of a serial port", startError(options));
}

TEST_F(SimulatorDevice, ThatIsMissingOrNoSerialPortIsTold)
{
    options.port = "/no/such/port";
    EXPECT_EQ("cannot open port /no/such/port: No such file or directory", startError(options));
    options.port = "/dev/null";
    EXPECT_EQ("cannot open port /dev/null: Inappropriate ioctl for device", startError(options));
}

double processorMs()
{
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const struct timeval &time) {
        return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

TEST_F(SimulatorDevice, ThatIsPulledNeitherSpinsNorHoldsUpStopping)
{
    Simulator simulator(options);
    start(&simulator);
    line.hangUp();
    const double before = processorMs();
    pause(400);
    EXPECT_GT(150, processorMs() - before);
    const Stopwatch waited;
    simulator.stop();
    EXPECT_GT(PortUser::PatienceMs, waited.ms());
}

} // namespace
