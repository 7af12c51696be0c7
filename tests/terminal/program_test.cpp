// The program as a user runs it: what it prints, how it ends, and that nothing of it stays behind.

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include <csignal>
#include <sys/types.h>

namespace
{

using testing::HasSubstr;

const int StartMs = 60000; ///< a slow machine with sanitizers
const int EndMs = 90000;

class Program : public testing::Test
{
protected:
    ~Program() override { EXPECT_THAT(leftBehind(), testing::IsEmpty()); }

    /// The directories that the program made to run in.
    std::vector<std::string> leftBehind() const
    {
        std::vector<std::string> names;
        for (const QString &name : QDir(m_temporary.path()).entryList({"dmc50-terminal.*"}))
            names.push_back(name.toStdString());
        return names;
    }

    void prepare(QProcess *process) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("TMPDIR", m_temporary.path());
        process->setProcessEnvironment(environment);
    }

    void start(QProcess *process, const QStringList &arguments) const
    {
        prepare(process);
        process->start(DMC50_TERMINAL, arguments);
        ASSERT_TRUE(process->waitForStarted(StartMs));
    }

    /// Runs it to its end.
    /// \return the exit status; -1: it was killed
    int run(const QStringList &arguments)
    {
        QProcess process;
        start(&process, arguments);
        EXPECT_TRUE(process.waitForFinished(EndMs));
        out = process.readAllStandardOutput();
        error = process.readAllStandardError();
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    /// Runs a line of shell in which $T is the program.
    int runShell(const QString &line)
    {
        QProcess process;
        prepare(&process);
        QProcessEnvironment environment = process.processEnvironment();
        environment.insert("T", DMC50_TERMINAL);
        process.setProcessEnvironment(environment);
        process.start("bash", {"-c", line});
        EXPECT_TRUE(process.waitForFinished(EndMs));
        out = process.readAllStandardOutput();
        error = process.readAllStandardError();
        return process.exitCode();
    }

    QString file(const QString &name, const QByteArray &content) const
    {
        QFile result(m_temporary.filePath(name));
        EXPECT_TRUE(result.open(QIODevice::WriteOnly));
        result.write(content);
        return result.fileName();
    }

    /// The objects that were printed, the summary apart.
    std::vector<QJsonObject> objects()
    {
        std::vector<QJsonObject> all;
        for (const QByteArray &line : out.split('\n')) {
            if (line.isEmpty())
                continue;
            const QJsonDocument document = QJsonDocument::fromJson(line);
            EXPECT_TRUE(document.isObject()) << line.constData();
            all.push_back(document.object());
        }
        EXPECT_FALSE(all.empty());
        if (all.empty() || !all.back()["summary"].isObject()) {
            ADD_FAILURE() << "no summary at the end: " << error.constData();
            return all;
        }
        summary = all.back()["summary"].toObject();
        all.pop_back();
        return all;
    }

    QJsonObject stationSummary(int number) const
    {
        for (const QJsonValue station : summary["stations"].toArray()) {
            if (station.toObject()["station"].toInt() == number)
                return station.toObject();
        }
        ADD_FAILURE() << "no station " << number;
        return QJsonObject();
    }

    std::string errorText() const { return error.toStdString(); }

    QTemporaryDir m_temporary;
    QByteArray out;
    QByteArray error;
    QJsonObject summary;
};

const QStringList Fast = {"--simulate", "--baud", "0", "--period", "50", "--format", "json"};

// ---- Ends before it runs

TEST_F(Program, ShowsHelpAndVersion)
{
    EXPECT_EQ(0, run({"--help"}));
    EXPECT_THAT(out.toStdString(), HasSubstr("Examples:"));
    EXPECT_EQ(0, run({"--version"}));
    EXPECT_EQ("dmc50-terminal 1.0.0\n", out.toStdString());
}

class ProgramRefuses : public Program
{
protected:
    void expect(int status, const QStringList &arguments, const std::string &reason)
    {
        EXPECT_EQ(status, run(arguments));
        EXPECT_THAT(errorText(), testing::StartsWith("dmc50-terminal: "));
        EXPECT_THAT(errorText(), HasSubstr(reason));
        EXPECT_EQ(1, error.count('\n')) << errorText();
        EXPECT_EQ("", out.toStdString());
    }
};

TEST_F(ProgramRefuses, WrongUsageWith2)
{
    expect(2, {"--nonsense"}, "Unknown option 'nonsense'; see --help");
    expect(2, {"--baud", "-1"}, "--baud takes a number from 0 to 4000000");
    expect(2, {"a\nb"}, "unexpected argument \"a b\"");
}

TEST_F(ProgramRefuses, TagsThatTheProjectLacksWith2)
{
    expect(2, {"--tags", "nobody"}, "--tags: the project has no tag \"nobody\"");
    expect(2, {"--tags", "3-LOWLATENCY0"}, "--tags: the project has no tag \"3-LOWLATENCY0\"");
    expect(2, {"--write", "nobody=1"}, "--write: the project has no tag \"nobody\"");
    expect(2, {"--write", "NA22=65536"},
           "--write: \"65536\" is no value for NA22 (-32768 to 65535)");
}

TEST_F(ProgramRefuses, WhatCannotBeHadWith3)
{
    expect(3, {"--plugin", "/nowhere.so"}, "cannot use plug-in /nowhere.so: no such file");
    expect(3, {"--plugin", DMC50_OTHER_LIBRARY}, "cannot use plug-in");
    expect(3, {"--plugin", DMC50_OTHER_LIBRARY, "--create-driver"}, "cannot use plug-in");
    expect(3, {"--project", "/nowhere.csv"}, "cannot read project /nowhere.csv: ");
    expect(3, {"--port", "/dev/nowhere"}, "/dev/nowhere");
    expect(3, {"--trace", "/nowhere/trace"}, "cannot write trace /nowhere/trace");
}

TEST_F(ProgramRefuses, AProjectWithAMistakeWith3)
{
    expect(3, {"--project", file("p.csv", "name,address,type,length\na,XA1,word,1\n")}, "line 2: ");
}

TEST_F(Program, NamesAPlaceToRunInThatTakesNoDirectory)
{
    EXPECT_EQ(3, runShell("TMPDIR=/proc exec \"$T\" --duration 1"));
    EXPECT_THAT(errorText(), HasSubstr("dmc50-terminal: cannot make a directory to run in: "));
}

// ---- Runs

TEST_F(Program, ShowsValuesOfThreeStationsThatChange)
{
    EXPECT_EQ(0, run(Fast + QStringList{"--duration", "3"})) << errorText();
    std::map<int, std::set<std::string>> values;
    for (const QJsonObject &tag : objects()) {
        for (const char *const key : {"time", "tag", "station", "value", "age_ms", "state"})
            EXPECT_TRUE(tag.contains(key)) << key;
        if (tag["tag"].toString().endsWith("temperature") && tag["state"] == "ok")
            values[tag["station"].toInt()].insert(
                std::to_string(static_cast<qint64>(tag["value"].toDouble())));
    }
    for (int station = 1; station <= 3; ++station)
        EXPECT_GT(values[station].size(), 1U) << "station " << station;
    EXPECT_EQ(0, summary["failed"].toInt());
    EXPECT_EQ(15, summary["tags"].toInt());
    EXPECT_GT(summary["reads"].toInt(), 0);
    EXPECT_GT(summary["exchanges"].toInt(), 0);
    EXPECT_GT(summary["cycle_ms"].toDouble(), 0);
    EXPECT_EQ("", summary["last_error"].toString());
    EXPECT_EQ("", errorText());
}

TEST_F(Program, ShowsAWindowAndPrintsTheEnd)
{
    // The offscreen platform never takes its screen away again.
    const QString leaks = file("leaks", "leak:libqoffscreen.so\n");
    EXPECT_EQ(0, runShell("LSAN_OPTIONS=print_suppressions=0:suppressions=" + leaks +
                          " QT_QPA_PLATFORM=offscreen exec \"$T\" --simulate --baud 0 --period 50 "
                          "--format json --window --duration 2"))
        << errorText();
    EXPECT_EQ(1, out.count('\n')) << out.constData();
    EXPECT_TRUE(objects().empty());
    EXPECT_EQ(0, summary["failed"].toInt());
    EXPECT_GT(summary["reads"].toInt(), 0);
}

TEST_F(Program, SaysSoWhenThereIsNoDisplayForAWindow)
{
    EXPECT_EQ(3, runShell("unset DISPLAY WAYLAND_DISPLAY; QT_QPA_PLATFORM=xcb exec \"$T\" "
                          "--simulate --window --duration 1"));
    EXPECT_THAT(errorText(), HasSubstr("dmc50-terminal: no window can be shown: "));
    EXPECT_EQ(1, error.count('\n')) << errorText();
}

TEST_F(Program, EndsWith1AndNamesTheStationThatFailed)
{
    EXPECT_EQ(1, run(Fast + QStringList{"--duration", "3", "--fault",
                                        "endcode:code=41:station=2:every=3"}));
    std::map<int, std::set<std::string>> values;
    for (const QJsonObject &tag : objects()) {
        if (tag["tag"].toString().endsWith("temperature") && !tag["value"].isNull())
            values[tag["station"].toInt()].insert(
                std::to_string(static_cast<qint64>(tag["value"].toDouble())));
    }
    EXPECT_GT(values[1].size(), 1U);
    EXPECT_GT(values[3].size(), 1U);
    EXPECT_GT(summary["failed"].toInt(), 0);
    EXPECT_GT(stationSummary(2)["end_code"].toInt(), 0);
    EXPECT_EQ(0x41, stationSummary(2)["last_end_code"].toInt());
    EXPECT_EQ(0, stationSummary(1)["failed"].toInt());
    EXPECT_EQ(0, stationSummary(3)["failed"].toInt());
    EXPECT_THAT(summary["last_error"].toString().toStdString(),
                testing::MatchesRegex("(read|write) station id#2 .*end code 41H"));
}

TEST_F(Program, LetsTheOthersGoOnWhenAStationIsSilent)
{
    EXPECT_EQ(1, run(Fast + QStringList{"--duration", "5", "--timeout", "3000", "--fault",
                                        "drop:station=2:count=1"}));
    objects();
    EXPECT_EQ(1, stationSummary(2)["no_answer"].toInt());
    EXPECT_EQ(0, stationSummary(1)["failed"].toInt());
    EXPECT_GT(stationSummary(3)["good"].toInt(), 1);
}

TEST_F(Program, GetsTheDriverByCreateDriverAsWell)
{
    EXPECT_EQ(0, run(Fast + QStringList{"--duration", "1", "--create-driver"})) << errorText();
    objects();
    EXPECT_GT(summary["exchanges"].toInt(), 0);
}

TEST_F(Program, WritesAndShowsWhatComesOfIt)
{
    EXPECT_EQ(
        0, run(Fast + QStringList{"--duration", "2", "--tags", "NA21", "--write", "2-NA20=4321"}))
        << errorText();
    qint64 last = 0;
    for (const QJsonObject &tag : objects()) {
        if (tag["address"] == "2-NA20")
            last = static_cast<qint64>(tag["value"].toDouble());
    }
    EXPECT_EQ(4321, last);
    EXPECT_EQ(1, summary["writes"].toInt());
    EXPECT_EQ(2, summary["tags"].toInt());
}

TEST_F(Program, CountsAWriteThatWasNeverSentAsFailed)
{
    EXPECT_EQ(1, run(Fast + QStringList{"--simulate=1", "--duration", "1", "--tags", "NA20",
                                        "--write", "2-NA20=1"}));
    EXPECT_THAT(errorText(), HasSubstr("1 writes were not taken over"));
}

TEST_F(Program, PrintsATableWithoutTerminalCodesIntoAPipe)
{
    EXPECT_EQ(0, run({"--baud", "0", "--duration", "1", "--tags", "NA20"})) << errorText();
    EXPECT_FALSE(out.contains('\033'));
    EXPECT_THAT(out.toStdString(), HasSubstr("furnace1.setpoint"));
    EXPECT_THAT(out.toStdString(), HasSubstr("last error: none"));
}

TEST_F(Program, WritesDownEveryFrame)
{
    const QString trace = m_temporary.filePath("trace.txt");
    EXPECT_EQ(0, run(Fast + QStringList{"--duration", "1", "--tags", "NA20", "--trace", trace}));
    QFile frames(trace);
    ASSERT_TRUE(frames.open(QIODevice::ReadOnly));
    EXPECT_THAT(frames.readAll().toStdString(), HasSubstr("RN"));
}

TEST_F(Program, RunsSideBySideWithItselfOnOtherProjects)
{
    const QByteArray header = "name,address,type,length\n";
    const QString first = file("first.csv", header + "a,NA20,dword,1\n");
    const QString second = file("second.csv", header + "b,2-NA21,word,1\n");
    QProcess one;
    QProcess other;
    start(&one, Fast + QStringList{"--duration", "2", "--project", first});
    start(&other, Fast + QStringList{"--duration", "2", "--project", second});
    ASSERT_TRUE(one.waitForFinished(EndMs));
    ASSERT_TRUE(other.waitForFinished(EndMs));
    EXPECT_EQ(0, one.exitCode()) << one.readAllStandardError().constData();
    EXPECT_EQ(0, other.exitCode()) << other.readAllStandardError().constData();
    EXPECT_TRUE(one.readAllStandardOutput().contains("\"tag\":\"a\""));
    EXPECT_TRUE(other.readAllStandardOutput().contains("\"tag\":\"b\""));
}

// ---- Ends

class ProgramEnds : public Program
{
protected:
    /// Sends a signal once the program has printed something and then some time has passed.
    /// \return milliseconds until it has ended
    qint64 signalled(int signal, const QStringList &arguments, int afterMs)
    {
        QProcess process;
        start(&process, arguments);
        EXPECT_TRUE(process.waitForReadyRead(StartMs));
        process.waitForFinished(afterMs);
        QElapsedTimer timer;
        timer.start();
        ::kill(static_cast<pid_t>(process.processId()), signal);
        EXPECT_TRUE(process.waitForFinished(EndMs));
        const qint64 took = timer.elapsed();
        EXPECT_EQ(QProcess::NormalExit, process.exitStatus());
        status = process.exitCode();
        out = process.readAllStandardOutput();
        error = process.readAllStandardError();
        return took;
    }

    int status = -1;
};

TEST_F(ProgramEnds, WithinTwoSecondsOfASignalAndSumsUp)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        EXPECT_LE(signalled(signal, Fast, 500), 2000);
        EXPECT_EQ(0, status) << errorText();
        objects();
        EXPECT_EQ(0, summary["failed"].toInt());
    }
}

TEST_F(ProgramEnds, WithinTwoSecondsOnALineThatIsSilent)
{
    EXPECT_LE(signalled(SIGINT, Fast + QStringList{"--fault", "drop"}, 500), 2000);
    objects();
}

TEST_F(ProgramEnds, WithinTwoSecondsWhileARequestIsRepeatedAfterItsTimeOut)
{
    EXPECT_LE(signalled(SIGINT, Fast + QStringList{"--timeout", "3000", "--fault", "drop"}, 4000),
              2000);
    EXPECT_EQ(1, status);
    objects();
    EXPECT_GE(summary["failed"].toInt(), 1);
}

TEST_F(ProgramEnds, WithinTwoSecondsDuringTheLongestPause)
{
    EXPECT_LE(signalled(SIGINT, Fast + QStringList{"--delay", "1000"}, 1300), 2000);
    objects();
}

TEST_F(ProgramEnds, WithinTwoSecondsOnALineThatBabbles)
{
    EXPECT_LE(signalled(SIGTERM, Fast + QStringList{"--fault", "babble"}, 1000), 2000);
    objects();
}

TEST_F(ProgramEnds, WhenNobodyReadsItsOutputAnyMore)
{
    runShell("\"$T\" --simulate --baud 0 --period 50 --format json | head -n 1");
    EXPECT_EQ(1, out.count('\n'));
    EXPECT_THAT(errorText(), HasSubstr("dmc50-terminal: standard output cannot be written"));
}

TEST_F(ProgramEnds, With1WhenItsOutputHasNoRoom)
{
    EXPECT_EQ(1, runShell("exec \"$T\" --simulate --baud 0 --period 50 > /dev/full"));
    EXPECT_THAT(errorText(), HasSubstr("dmc50-terminal: standard output cannot be written"));
}

} // namespace
