#include "terminal/options.h"

#include <gtest/gtest.h>

namespace
{

/// Reads a command line that is in order.
TerminalOptions options(const QStringList &arguments)
{
    TerminalOptions result;
    QString text;
    EXPECT_EQ(OptionsResult::Run,
              parseOptions(QStringList("dmc50-terminal") + arguments, &result, &text))
        << text.toStdString();
    return result;
}

/// Reads a command line that is not in order; gives the reason.
std::string mistake(const QStringList &arguments)
{
    TerminalOptions ignored;
    QString text;
    EXPECT_EQ(OptionsResult::BadOptions,
              parseOptions(QStringList("dmc50-terminal") + arguments, &ignored, &text));
    EXPECT_FALSE(text.contains('\n')) << text.toStdString();
    return text.toStdString();
}

std::string shown(const QString &option)
{
    TerminalOptions ignored;
    QString text;
    EXPECT_EQ(OptionsResult::ShowText, parseOptions({"dmc50-terminal", option}, &ignored, &text));
    return text.toStdString();
}

TEST(ParseOptions, WithoutAnySimulatesThreeStationsWithTheDriversSettings)
{
    const TerminalOptions result = options({});
    EXPECT_TRUE(result.port.isEmpty());
    EXPECT_EQ((std::vector<int>{1, 2, 3}), result.stations);
    EXPECT_EQ(TerminalOptions::DriversDefault, result.baud);
    EXPECT_EQ(TerminalOptions::DriversDefault, result.timeoutMs);
    EXPECT_EQ(TerminalOptions::DriversDefault, result.retries);
    EXPECT_EQ(TerminalOptions::DriversDefault, result.delayMs);
    EXPECT_EQ(1000, result.periodMs);
    EXPECT_EQ(0, result.durationS);
    EXPECT_EQ(TerminalOptions::Table, result.format);
    EXPECT_FALSE(result.createDriver);
    EXPECT_TRUE(result.tags.isEmpty());
    EXPECT_TRUE(result.writes.isEmpty());
    EXPECT_TRUE(result.faults.empty());
    EXPECT_TRUE(result.plugin.isEmpty());
    EXPECT_TRUE(result.project.isEmpty());
    EXPECT_TRUE(result.trace.isEmpty());
}

TEST(ParseOptions, TakesEveryOption)
{
    const TerminalOptions result =
        options({"--plugin",  "d.so",  "--create-driver", "--simulate=7,255",
                 "--baud",    "9600",  "--project",       "p.csv",
                 "--tags",    "a, b",  "--write",         "a=1",
                 "--write",   "b=0x2", "--period",        "250",
                 "--timeout", "4000",  "--retry",         "2",
                 "--delay",   "30",    "--duration",      "10",
                 "--format",  "json",  "--fault",         "drop:station=7:every=3",
                 "--trace",   "t.txt"});
    EXPECT_EQ("d.so", result.plugin);
    EXPECT_TRUE(result.createDriver);
    EXPECT_EQ((std::vector<int>{7, 255}), result.stations);
    EXPECT_EQ(9600, result.baud);
    EXPECT_EQ("p.csv", result.project);
    EXPECT_EQ((QStringList{"a", "b"}), result.tags);
    ASSERT_EQ(2, result.writes.size());
    EXPECT_EQ(qMakePair(QString("a"), QString("1")), result.writes.at(0));
    EXPECT_EQ(qMakePair(QString("b"), QString("0x2")), result.writes.at(1));
    EXPECT_EQ(250, result.periodMs);
    EXPECT_EQ(4000, result.timeoutMs);
    EXPECT_EQ(2, result.retries);
    EXPECT_EQ(30, result.delayMs);
    EXPECT_EQ(10, result.durationS);
    EXPECT_EQ(TerminalOptions::Json, result.format);
    ASSERT_EQ(1U, result.faults.size());
    EXPECT_EQ(Fault::Drop, result.faults[0].kind);
    EXPECT_EQ(7, result.faults[0].station);
    EXPECT_EQ("t.txt", result.trace);
}

TEST(ParseOptions, TakesSimulateWithAndWithoutStations)
{
    EXPECT_EQ((std::vector<int>{1, 2, 3}), options({"--simulate"}).stations);
    EXPECT_EQ((std::vector<int>{5}), options({"--simulate=5"}).stations);
    EXPECT_EQ(10, options({"--simulate", "--duration", "10"}).durationS);
}

TEST(ParseOptions, TakesAProgramToCarry)
{
    EXPECT_FALSE(options({}).hasTransfer);
    const TerminalOptions out =
        options({"--export-program", "5", "--steps", "3", "--usb-stick", "stick"});
    EXPECT_TRUE(out.hasTransfer);
    EXPECT_EQ(TransferKind::Export, out.transfer.kind);
    EXPECT_EQ(5, out.transfer.program);
    EXPECT_EQ(3, out.transfer.steps);
    EXPECT_EQ("stick", out.usbStick);
    const TerminalOptions in = options({"--import-program", "0"});
    EXPECT_EQ(TransferKind::Import, in.transfer.kind);
    EXPECT_EQ(0, in.transfer.program);
    EXPECT_EQ(32, in.transfer.steps);
    EXPECT_EQ(-1, options({"--export-program=-1"}).transfer.program) << "the template";
}

TEST(ParseOptions, RefusesAProgramThatCannotBeCarried)
{
    EXPECT_EQ("--export-program and --import-program exclude each other",
              mistake({"--export-program", "1", "--import-program", "1"}));
    EXPECT_EQ("--steps needs --export-program or --import-program", mistake({"--steps", "1"}));
    EXPECT_EQ("--export-program takes a program number, not \"x\"",
              mistake({"--export-program", "x"}));
    EXPECT_EQ("--export-program takes a program number, not \"-2\"",
              mistake({"--export-program=-2"}));
    EXPECT_EQ("--import-program takes a program number, not \"-1\"",
              mistake({"--import-program=-1"}));
    EXPECT_EQ("--steps takes a number from 0 to 32, not \"33\"",
              mistake({"--export-program", "1", "--steps", "33"}));
    EXPECT_EQ("--steps takes a number from 0 to 32, not \"-1\"",
              mistake({"--export-program", "1", "--steps=-1"}));
    EXPECT_EQ(0, options({"--export-program", "1", "--steps", "0"}).transfer.steps);
    EXPECT_EQ("a program is carried without --window, or by its program page",
              mistake({"--window", "--export-program", "1"}));
    EXPECT_EQ("--usb-stick takes a directory", mistake({"--usb-stick", ""}));
    EXPECT_EQ("--usb-stick is a desktop's: it excludes --panel",
              mistake({"--panel", "--usb-stick", "stick"}));
}

TEST(ParseOptions, NeedsToBeToldOfAWindowAndOfAPanel)
{
    EXPECT_FALSE(options({}).window);
    EXPECT_FALSE(options({}).panel);
    EXPECT_TRUE(options({"--window"}).window);
    EXPECT_TRUE(options({"--panel"}).panel);
}

TEST(ParseOptions, TakesAPortInsteadOfTheSimulator)
{
    EXPECT_EQ("/dev/ttyUSB0", options({"--port", "/dev/ttyUSB0"}).port);
}

TEST(ParseOptions, KeepsAnEqualsSignInTheValueToWrite)
{
    EXPECT_EQ("1=2", options({"--write", "a=1=2"}).writes.at(0).second);
}

struct Bounds {
    const char *option;
    int least;
    int most;
};

class NumberOption : public testing::TestWithParam<Bounds>
{
protected:
    QStringList given(qint64 number) const
    {
        return {QString("--%1=%2").arg(GetParam().option).arg(number)};
    }

    std::string refusal(const std::string &text) const
    {
        return "--" + std::string(GetParam().option) + " takes a number from " +
               std::to_string(GetParam().least) + " to " + std::to_string(GetParam().most) +
               ", not \"" + text + "\"";
    }
};

TEST_P(NumberOption, TakesBothBoundsAndNothingBeyond)
{
    options(given(GetParam().least));
    options(given(GetParam().most));
    const std::string below = std::to_string(qint64(GetParam().least) - 1);
    const std::string above = std::to_string(qint64(GetParam().most) + 1);
    EXPECT_EQ(refusal(below), mistake(given(qint64(GetParam().least) - 1)));
    EXPECT_EQ(refusal(above), mistake(given(qint64(GetParam().most) + 1)));
}

TEST_P(NumberOption, TakesNumbersOnly)
{
    for (const char *const text : {"", "x", "1x", "1.5", "99999999999999999999"}) {
        EXPECT_EQ(refusal(text), mistake({QString("--%1=%2").arg(GetParam().option, text)}));
    }
}

const Bounds AllBounds[] = {{"baud", 0, 4000000},   {"period", 10, 3600000},
                            {"timeout", 1, 600000}, {"retry", 0, 100},
                            {"delay", 0, 1000},     {"duration", 0, 2147483647}};

INSTANTIATE_TEST_SUITE_P(All, NumberOption, testing::ValuesIn(AllBounds),
                         [](const testing::TestParamInfo<Bounds> &each) {
                             return std::string(each.param.option);
                         });

struct Refused {
    const char *name;
    QStringList arguments;
    const char *reason;
};

class RefusedOptions : public testing::TestWithParam<Refused>
{
};

TEST_P(RefusedOptions, AreNamedInOneLine)
{
    EXPECT_EQ(GetParam().reason, mistake(GetParam().arguments));
}

const Refused AllRefused[] = {
    {"UnknownOption", {"--nonsense"}, "Unknown option 'nonsense'"},
    {"MissingValue", {"--port"}, "Missing value after '--port'"},
    {"Argument", {"file"}, "unexpected argument \"file\""},
    {"StationsApart", {"--simulate", "1,2"}, "unexpected argument \"1,2\""},
    {"EmptyPort", {"--port="}, "--port takes a serial device"},
    {"PortAndSimulate",
     {"--port", "/dev/ttyUSB0", "--simulate"},
     "--port and --simulate exclude each other"},
    {"PortAndFault", {"--port", "/dev/ttyUSB0", "--fault", "drop"}, "--fault needs the simulator"},
    {"PortUnpaced", {"--port", "/dev/ttyUSB0", "--baud", "0"}, "--baud 0 needs the simulator"},
    {"StationZero", {"--simulate=0"}, "--simulate takes stations from 1 to 255, not \"0\""},
    {"Station256", {"--simulate=1,256"}, "--simulate takes stations from 1 to 255, not \"256\""},
    {"NoStation", {"--simulate="}, "--simulate takes stations from 1 to 255, not \"\""},
    {"StationMissing", {"--simulate=1,,2"}, "--simulate takes stations from 1 to 255, not \"\""},
    {"StationText", {"--simulate=x"}, "--simulate takes stations from 1 to 255, not \"x\""},
    {"Format", {"--format", "xml"}, "--format is table or json, not \"xml\""},
    {"WriteWithoutValue", {"--write", "a"}, "--write takes tag=value, not \"a\""},
    {"WriteOfNothing", {"--write", "a="}, "--write takes tag=value, not \"a=\""},
    {"WriteToNothing", {"--write", "=1"}, "--write takes tag=value, not \"=1\""},
};

INSTANTIATE_TEST_SUITE_P(All, RefusedOptions, testing::ValuesIn(AllRefused),
                         [](const testing::TestParamInfo<Refused> &each) {
                             return std::string(each.param.name);
                         });

TEST(ParseOptions, PassesOnWhatIsWrongWithAFault)
{
    const std::string reason = mistake({"--fault", "drop:station=x"});
    EXPECT_EQ(0U, reason.find("--fault drop:station=x: ")) << reason;
}

TEST(ParseOptions, ShowsHelpWithExamplesAndExitStatus)
{
    const std::string help = shown("--help");
    for (const char *const part :
         {"Examples:",  "Exit status: 0 no exchange failed, 1 one did, 2 wrong usage",
          "--plugin",   "--create-driver",
          "--port",     "--simulate",
          "--baud",     "--project",
          "--tags",     "--write",
          "--period",   "--timeout",
          "--retry",    "--delay",
          "--duration", "--format",
          "--fault",    "--trace",
          "--window",   "--panel",
          "--version"}) {
        EXPECT_NE(std::string::npos, help.find(part)) << part;
    }
}

TEST(ParseOptions, ShowsItsVersion)
{
    EXPECT_EQ("dmc50-terminal 1.0.0\n", shown("--version"));
}

} // namespace
