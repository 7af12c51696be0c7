// The program as its user meets it: arguments, first line, signals, exit status.

#include <csignal>
#include <string>

#include <QCoreApplication>
#include <QProcess>
#include <QStringList>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/hmi/pty.h"
#include "tests/simulator/folder.h"
#include "tests/simulator/port_user.h"
#include "tests/support/frames.h"

namespace
{

using ::testing::HasSubstr;
using ::testing::StartsWith;

enum ExitStatus { Ended = 0, WrongUsage = 2, Unavailable = 3 };

const uint32_t Word = 0x5000; // nothing lives there
const std::string Request = frames::readRequest(1, {Word});

/// Starts deaf to SIGINT, as a shell starts what it puts in the background.
class Process : public QProcess
{
public:
    bool deafToInterrupts = false;

protected:
    void setupChildProcess() override
    {
        if (deafToInterrupts)
            signal(SIGINT, SIG_IGN);
    }
};

/// A run of dmc50-sim.
class Program
{
public:
    Program() { process.setProgram(DMC50_SIM); }
    ~Program()
    {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(PortUser::PatienceMs);
        }
    }

    void start(const QStringList &arguments)
    {
        process.setArguments(arguments);
        process.start();
        ASSERT_TRUE(process.waitForStarted(PortUser::PatienceMs))
            << process.errorString().toStdString();
    }

    /// The first line that it prints, without its end; waits for it.
    std::string firstLine()
    {
        while (!process.canReadLine() && process.waitForReadyRead(PortUser::PatienceMs)) {
        }
        return process.readLine().trimmed().toStdString();
    }

    void interrupt(int signalNumber)
    {
        ASSERT_EQ(0, kill(static_cast<pid_t>(process.processId()), signalNumber));
    }

    /// The exit status of a program that ends by itself; -1 when it does not, or crashed.
    int exitStatus()
    {
        const bool over = process.state() == QProcess::NotRunning ||
                          process.waitForFinished(PortUser::PatienceMs);
        return over && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    std::string output() { return process.readAllStandardOutput().toStdString(); }
    std::string errors() { return process.readAllStandardError().toStdString(); }

    Process process;
};

class Dmc50Sim : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        static int count = 1;
        static char name[] = "dmc50_sim_test";
        static char *arguments[] = {name, nullptr};
        static const QCoreApplication application(count, arguments); // QProcess wants one
    }

    std::string path(const char *name) const { return m_folder.path(name); }
    QString argument(const char *name) const { return QString::fromStdString(path(name)); }

    void expectFailure(int status, const QStringList &arguments, const std::string &message)
    {
        Program program;
        program.start(arguments);
        EXPECT_EQ(status, program.exitStatus()) << arguments.join(' ').toStdString();
        EXPECT_EQ("dmc50-sim: " + message + "\n", program.errors());
        EXPECT_EQ("", program.output());
    }
    void expectWrongUsage(const QStringList &arguments, const std::string &message)
    {
        expectFailure(WrongUsage, arguments, message);
    }
    void expectUnavailable(const QStringList &arguments, const std::string &message)
    {
        expectFailure(Unavailable, arguments, message);
    }

private:
    Folder m_folder;
};

// ---- Running ------------------------------------------------------------------------------------

TEST_F(Dmc50Sim, PrintsThePortFirstAndPlaysStations1To3ThereAtThePaceOf38400Baud)
{
    Program program;
    program.start({});
    const std::string port = program.firstLine();
    ASSERT_THAT(port, StartsWith("/dev/pts/"));

    PortUser user(port);
    for (const unsigned station : {1u, 2u, 3u}) {
        const Stopwatch waited;
        EXPECT_EQ(frames::reply(station, {0}), user.exchange(frames::readRequest(station, {Word})));
        EXPECT_LE((25 + 21) * 11 * 1000.0 / 38400, waited.ms());
    }
    user.send(frames::readRequest(4, {Word}));
    EXPECT_EQ(frames::reply(1, {0}), user.exchange(Request));
}

TEST_F(Dmc50Sim, EndsWith0OnSigintAndSigterm)
{
    for (const int signalNumber : {SIGINT, SIGTERM}) {
        Program program;
        program.start({});
        ASSERT_NE("", program.firstLine());

        program.interrupt(signalNumber);

        EXPECT_EQ(Ended, program.exitStatus()) << signalNumber;
        EXPECT_EQ("", program.errors());
        EXPECT_EQ("", program.output()); // nothing but the port
    }
}

TEST_F(Dmc50Sim, EndsOnSigintInTheBackgroundOfAScript)
{
    Program program;
    program.process.deafToInterrupts = true;
    program.start({});
    ASSERT_NE("", program.firstLine());

    program.interrupt(SIGINT);

    EXPECT_EQ(Ended, program.exitStatus());
}

TEST_F(Dmc50Sim, EndsOnSigtermInTheMiddleOfABabble)
{
    Program program;
    program.start({"--fault", "babble"});
    PortUser user(program.firstLine());
    user.send(Request);
    EXPECT_EQ(std::string(20, 'U'), user.receive(20));

    program.interrupt(SIGTERM);

    EXPECT_EQ(Ended, program.exitStatus());
    EXPECT_TRUE(user.hangsUp());
}

TEST_F(Dmc50Sim, MakesALinkNamesItAndRemovesItAtTheEnd)
{
    const std::string link = path("line");
    Program program;
    program.start({"--pty", argument("line")});
    EXPECT_EQ(link, program.firstLine());
    EXPECT_EQ(frames::reply(1, {0}), PortUser(link).exchange(Request));

    program.interrupt(SIGTERM);

    EXPECT_EQ(Ended, program.exitStatus());
    EXPECT_FALSE(exists(link));
}

TEST_F(Dmc50Sim, KeepsTheBytesOfAPathInAnyLocale)
{
    const std::string link = path("\xC3\xB6\x66\x65\x6E"); // "öfen"
    writeFile(path("script"), "exec '" DMC50_SIM "' --pty '" + link + "'");
    QProcessEnvironment plain = QProcessEnvironment::systemEnvironment();
    plain.insert("LC_ALL", "C");
    Program program;
    program.process.setProcessEnvironment(plain);
    program.process.setProgram("/bin/sh");
    program.start({argument("script")});

    EXPECT_EQ(link, program.firstLine());
    EXPECT_TRUE(exists(link));
}

TEST_F(Dmc50Sim, PlaysOnAPortAndNamesIt)
{
    Pty line;
    Program program;
    program.start({"--port", QString::fromStdString(line.path()), "--baud", "0"});
    EXPECT_EQ(line.path(), program.firstLine());

    line.send(Request);
    EXPECT_EQ(frames::reply(1, {0}), line.receive(21));
}

TEST_F(Dmc50Sim, PlaysTheStationsAsked)
{
    Program program;
    program.start({"--stations", "0,17,255", "--baud", "0"});
    PortUser user(program.firstLine());

    user.send(Request);
    for (const unsigned station : {0u, 17u, 255u})
        EXPECT_EQ(frames::reply(station, {0}), user.exchange(frames::readRequest(station, {Word})));
}

TEST_F(Dmc50Sim, HasTheSameProgramsForTheSameSeed)
{
    const auto program = [](const QString &seed) {
        Program run;
        run.start({"--baud", "0", "--seed", seed});
        return PortUser(run.firstLine()).exchange(frames::readRequest(1, frames::run(0x1000, 24)));
    };
    const std::string first = program("4294967295");

    EXPECT_EQ(13u + 24 * 8, first.size());
    EXPECT_EQ(first, program("4294967295"));
    EXPECT_NE(first, program("0"));
}

TEST_F(Dmc50Sim, TakesStartValuesFromAnImageAndWritesATrace)
{
    writeFile(path("image"), "1 0x5000 5\n");
    Program program;
    program.start({"--baud", "0", "--image", argument("image"), "--trace", argument("trace")});
    EXPECT_EQ(frames::reply(1, {5}), PortUser(program.firstLine()).exchange(Request));
    program.interrupt(SIGTERM);
    EXPECT_EQ(Ended, program.exitStatus());

    EXPECT_THAT(contentsOf(path("trace")), HasSubstr("RN station 1: 1 address from 00005000\n"));
    EXPECT_THAT(contentsOf(path("trace")), HasSubstr("reply station 1: end code 00, 1 word\n"));
}

TEST_F(Dmc50Sim, TakesSeveralFaults)
{
    Program program;
    program.start(
        {"--baud", "0", "--fault", "station:as=9:station=2", "--fault", "endcode:code=41:count=1"});
    PortUser user(program.firstLine());

    EXPECT_EQ(frames::reply(1, {}, 0x41), user.exchange(Request));
    EXPECT_EQ(frames::reply(9, {0}), user.exchange(frames::readRequest(2, {Word})));
}

// ---- Wrong usage --------------------------------------------------------------------------------

TEST_F(Dmc50Sim, EndsWith2OnOptionsThatItDoesNotKnow)
{
    expectWrongUsage({"--nonsense"}, "Unknown option 'nonsense'.");
    expectWrongUsage({"--baud"}, "Missing value after '--baud'.");
    expectWrongUsage({"--help=yes"}, "Unexpected value after '--help'.");
    expectWrongUsage({"line"}, "unexpected argument \"line\"; see --help");
    expectWrongUsage({"--baud", "0", "a", "b"}, "unexpected argument \"a\"; see --help");
}

TEST_F(Dmc50Sim, EndsWith2OnStationsThatAreNone)
{
    for (const char *stations :
         {"", "256", "-1", "1,", ",1", "1,,2", "1, 2", "a", "1;2", "0x1", "4294967297"})
        expectWrongUsage({"--stations", stations},
                         "--stations takes numbers from 0 to 255 with commas between them, not \"" +
                             std::string(stations) + "\"; see --help");
}

TEST_F(Dmc50Sim, EndsWith2OnABaudRateThatIsNone)
{
    for (const char *baud : {"-1", "4000001", "", "fast", "38400.5", "99999999999"})
        expectWrongUsage({"--baud", baud}, "--baud takes a number from 0 to 4000000, not \"" +
                                               std::string(baud) + "\"; see --help");
    Program fastest;
    fastest.start({"--baud", "4000000"});
    EXPECT_THAT(fastest.firstLine(), StartsWith("/dev/pts/"));
}

TEST_F(Dmc50Sim, EndsWith2OnASeedThatIsNone)
{
    for (const char *seed : {"-1", "4294967296", "", "x"})
        expectWrongUsage({"--seed", seed}, "--seed takes a number from 0 to 4294967295, not \"" +
                                               std::string(seed) + "\"; see --help");
}

TEST_F(Dmc50Sim, EndsWith2OnAFaultThatIsNone)
{
    expectWrongUsage({"--fault", "late"}, "--fault late: fault late needs ms=; see --help");
    expectWrongUsage({"--fault", "drop", "--fault", "drop:every=0"},
                     "--fault drop:every=0: fault drop: \"every=0\" is no number of 1 or more, at "
                     "most 999999999; see --help");
    expectWrongUsage(
        {"--fault", "x\ny"},
        "--fault x y: no fault is called \"x y\"; there are drop, late, flip, damage, cut, "
        "noise, echo, station, endcode, nolf, swap, babble, powercycle; see --help");
}

TEST_F(Dmc50Sim, EndsWith2OnAPtyAndAPort)
{
    expectWrongUsage({"--pty", argument("line"), "--port", "/dev/null"},
                     "--pty and --port exclude each other; see --help");
    EXPECT_FALSE(exists(path("line")));
}

// ---- What cannot be had -------------------------------------------------------------------------

TEST_F(Dmc50Sim, EndsWith3WhenThePortCannotBeHad)
{
    expectUnavailable({"--port", "/no/such/port"},
                      "cannot open port /no/such/port: No such file or directory");
    expectUnavailable({"--port", "/dev/null"},
                      "cannot open port /dev/null: Inappropriate ioctl for device");
    expectUnavailable({"--port", "/dev/null", "--baud", "12345"},
                      "12345 is no baud rate of a serial port");
}

TEST_F(Dmc50Sim, EndsWith3WhenTheLinkCannotBeMade)
{
    expectUnavailable({"--pty", argument("no/line")},
                      "cannot make link " + path("no/line") + ": No such file or directory");
    writeFile(path("file"), "kept");
    expectUnavailable({"--pty", argument("file")},
                      path("file") + " exists and is no symbolic link");
    EXPECT_EQ("kept", contentsOf(path("file")));
}

TEST_F(Dmc50Sim, EndsWith3WhenTheImageOrTheTraceCannotBeHad)
{
    expectUnavailable({"--image", argument("missing")},
                      "cannot read image " + path("missing") + ": No such file or directory");
    writeFile(path("image"), "1 2 3\n9 2 3\n");
    expectUnavailable({"--image", argument("image")},
                      "image " + path("image") + ": station 9 is not on the line");
    expectUnavailable({"--trace", argument("no/trace")},
                      "cannot write trace " + path("no/trace") + ": No such file or directory");
}

// ---- Help ---------------------------------------------------------------------------------------

TEST_F(Dmc50Sim, ExplainsItselfWithExamples)
{
    for (const char *option : {"--help", "-h"}) {
        Program program;
        program.start({option});
        EXPECT_EQ(Ended, program.exitStatus());
        const std::string help = program.output();
        EXPECT_EQ("", program.errors());
        for (const char *part : {"Usage: ",
                                 "Examples:",
                                 "  dmc50-sim --pty /tmp/furnaces\n",
                                 "--stations <list>",
                                 "--pty <link>",
                                 "--port <device>",
                                 "--baud <rate>",
                                 "--seed <number>",
                                 "--image <file>",
                                 "--trace <file>",
                                 "--fault <fault>",
                                 "--help",
                                 "--version",
                                 "drop",
                                 "late:ms=MS",
                                 "flip[:at=BYTE]",
                                 "damage[:bytes=N]",
                                 "cut:after=N",
                                 "noise[:bytes=N]",
                                 "echo",
                                 "station:as=N",
                                 "endcode:code=HH",
                                 "nolf",
                                 "swap[:at=BYTE]",
                                 "babble[:ms=MS]",
                                 "powercycle",
                                 ":station=N",
                                 ":every=N",
                                 ":count=N"})
            EXPECT_THAT(help, HasSubstr(part));
    }
}

TEST_F(Dmc50Sim, TellsItsVersion)
{
    for (const char *option : {"--version", "-v"}) {
        Program program;
        program.start({option});
        EXPECT_EQ(Ended, program.exitStatus());
        EXPECT_EQ("dmc50-sim " DMC50_VERSION "\n", program.output());
    }
}

} // namespace
