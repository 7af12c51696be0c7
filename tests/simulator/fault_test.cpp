#include "simulator/fault.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace
{

const int AnyStation = -1;
const int WithoutEnd = -1;

Fault parsed(const std::string &text)
{
    Fault fault;
    std::string error;
    EXPECT_TRUE(parseFault(text, &fault, &error)) << text << ": " << error;
    EXPECT_EQ("", error);
    return fault;
}

/// What is wrong with a text that must be refused.
std::string errorOf(const std::string &text)
{
    Fault fault;
    std::string error;
    EXPECT_FALSE(parseFault(text, &fault, &error)) << text;
    return error;
}

void expectFault(const std::string &text, Fault::Kind kind, int value)
{
    const Fault fault = parsed(text);
    EXPECT_EQ(kind, fault.kind) << text;
    EXPECT_EQ(value, fault.value) << text;
    EXPECT_EQ(AnyStation, fault.station) << text;
    EXPECT_EQ(1, fault.every) << text;
    EXPECT_EQ(WithoutEnd, fault.count) << text;
}

/// A number setting: both of its bounds are taken, what lies beyond is not.
void expectBounds(const std::string &name, const std::string &key, int least, int most)
{
    const std::string start = name + ":" + key + "=";
    const std::string range = std::to_string(least) + " or more, at most " + std::to_string(most);
    parsed(start + std::to_string(least));
    parsed(start + std::to_string(most));
    for (const std::string &value :
         {std::to_string(least - 1), std::to_string(most + 1LL), std::string(), std::string("x")}) {
        std::ostringstream expected;
        expected << "fault " << name << ": \"" << key << '=' << value << "\" is no number of "
                 << range;
        EXPECT_EQ(expected.str(), errorOf(start + value));
    }
}

// ---- Every kind ---------------------------------------------------------------------------------

TEST(ParseFault, KnowsTheKindsWithoutASetting)
{
    expectFault("drop", Fault::Drop, Fault::Default);
    expectFault("echo", Fault::Echo, Fault::Default);
    expectFault("nolf", Fault::NoLineFeed, Fault::Default);
    expectFault("powercycle", Fault::PowerCycle, Fault::Default);
}

TEST(ParseFault, GivesAKindItsDefault)
{
    expectFault("flip", Fault::Flip, Fault::Default);
    expectFault("damage", Fault::Damage, 4);
    expectFault("noise", Fault::Noise, 8);
    expectFault("swap", Fault::Swap, Fault::Default);
    expectFault("babble", Fault::Babble, Fault::Default);
}

TEST(ParseFault, GivesAKindItsOwnSetting)
{
    expectFault("late:ms=250", Fault::Late, 250);
    expectFault("flip:at=7", Fault::Flip, 7);
    expectFault("damage:bytes=9", Fault::Damage, 9);
    expectFault("cut:after=12", Fault::Cut, 12);
    expectFault("noise:bytes=3", Fault::Noise, 3);
    expectFault("station:as=9", Fault::WrongStation, 9);
    expectFault("endcode:code=41", Fault::EndCode, 0x41);
    expectFault("swap:at=4", Fault::Swap, 4);
    expectFault("babble:ms=100", Fault::Babble, 100);
}

TEST(ParseFault, ReadsAnEndCodeInHexadecimalOfEitherCase)
{
    EXPECT_EQ(0xAB, parsed("endcode:code=AB").value);
    EXPECT_EQ(0xAB, parsed("endcode:code=ab").value);
    EXPECT_EQ(0x10, parsed("endcode:code=10").value);
    EXPECT_EQ(0x0C, parsed("endcode:code=00C").value);
}

TEST(ParseFault, DemandsTheSettingThatAKindCannotDoWithout)
{
    EXPECT_EQ("fault late needs ms=", errorOf("late"));
    EXPECT_EQ("fault cut needs after=", errorOf("cut"));
    EXPECT_EQ("fault station needs as=", errorOf("station"));
    EXPECT_EQ("fault endcode needs code=", errorOf("endcode"));
    EXPECT_EQ("fault late needs ms=", errorOf("late:station=1:every=2:count=3"));
}

// ---- Limits -------------------------------------------------------------------------------------

TEST(ParseFault, LimitsAnyFaultToAStationEveryNthReplyAndACount)
{
    for (const char *kind :
         {"drop", "late:ms=1", "flip", "damage", "cut:after=1", "noise", "echo", "station:as=1",
          "endcode:code=1", "nolf", "swap", "babble", "powercycle"}) {
        const Fault fault = parsed(kind + std::string(":station=2:every=3:count=4"));
        EXPECT_EQ(2, fault.station) << kind;
        EXPECT_EQ(3, fault.every) << kind;
        EXPECT_EQ(4, fault.count) << kind;
    }
}

TEST(ParseFault, TakesSettingsInAnyOrderAndTheLastOfTwo)
{
    const Fault fault = parsed("late:count=4:ms=7:station=2:ms=8");
    EXPECT_EQ(8, fault.value);
    EXPECT_EQ(2, fault.station);
    EXPECT_EQ(4, fault.count);
}

TEST(ParseFault, KeepsToTheBoundsOfEverySetting)
{
    expectBounds("late", "ms", 1, 600000);
    expectBounds("flip", "at", 0, 511);
    expectBounds("cut", "after", 0, 511);
    expectBounds("damage", "bytes", 1, 200);
    expectBounds("noise", "bytes", 1, 200);
    expectBounds("station", "as", 0, 255);
    expectBounds("swap", "at", 0, 510);
    expectBounds("babble", "ms", 1, 600000);
    expectBounds("drop", "station", 0, 255);
    expectBounds("drop", "every", 1, 999999999);
    expectBounds("drop", "count", 1, 999999999);
}

TEST(ParseFault, KeepsToTheBoundsOfAnEndCode)
{
    EXPECT_EQ(0x01, parsed("endcode:code=1").value);
    EXPECT_EQ(0xFF, parsed("endcode:code=FF").value);
    for (const char *value : {"0", "100", "", "-1", "0x41", "4G"})
        EXPECT_EQ("fault endcode: \"code=" + std::string(value) +
                      "\" is no number of 1 or more, at most 255, in hexadecimal",
                  errorOf("endcode:code=" + std::string(value)));
}

TEST(ParseFault, TakesDigitsOnly)
{
    for (const char *value : {" 7", "7 ", "+7", "-7", "7.0", "1e2", "0x7", "7A", "A", "7=7", "\t7",
                              "99999999999999999999"})
        EXPECT_EQ("fault drop: \"every=" + std::string(value) +
                      "\" is no number of 1 or more, at most 999999999",
                  errorOf("drop:every=" + std::string(value)));
}

// ---- What else may be wrong ---------------------------------------------------------------------

TEST(ParseFault, NamesAllFaultsWhenItKnowsNone)
{
    const std::string all = "\"; there are drop, late, flip, damage, cut, noise, echo, station, "
                            "endcode, nolf, swap, babble, powercycle";
    for (const char *name : {"", "Drop", "drops", "dro", " drop", "drop ", "drop=1", "every"})
        EXPECT_EQ("no fault is called \"" + std::string(name) + all, errorOf(name));
    EXPECT_EQ("no fault is called \"" + all, errorOf(":station=1"));
}

TEST(ParseFault, NamesTheSettingsThatAFaultTakes)
{
    EXPECT_EQ("fault drop has no setting \"ms\"; it takes station, every, count",
              errorOf("drop:ms=5"));
    EXPECT_EQ("fault late has no setting \"at\"; it takes ms, station, every, count",
              errorOf("late:at=5"));
    EXPECT_EQ("fault station has no setting \"AS\"; it takes as, station, every, count",
              errorOf("station:AS=5"));
    EXPECT_EQ("fault drop has no setting \"\"; it takes station, every, count", errorOf("drop:=5"));
}

TEST(ParseFault, RefusesAnEmptySettingWhereverItStands)
{
    const std::string error = "fault drop has no setting \"\"; it takes station, every, count";
    EXPECT_EQ(error, errorOf("drop:"));
    EXPECT_EQ(error, errorOf("drop::station=1"));
    EXPECT_EQ(error, errorOf("drop:station=1:"));
}

TEST(ParseFault, RefusesASettingWithoutAValue)
{
    EXPECT_EQ("fault drop: \"station\" is no number of 0 or more, at most 255",
              errorOf("drop:station"));
}

TEST(ParseFault, LeavesItsTargetAloneOnFailure)
{
    Fault fault = parsed("late:ms=5:station=2:every=3:count=4");
    for (const char *text : {"", "nothing", "cut", "drop:station=300", "echo:every=7:at=1"}) {
        std::string error;
        EXPECT_FALSE(parseFault(text, &fault, &error));
        EXPECT_EQ(Fault::Late, fault.kind);
        EXPECT_EQ(5, fault.value);
        EXPECT_EQ(2, fault.station);
        EXPECT_EQ(3, fault.every);
        EXPECT_EQ(4, fault.count);
    }
}

TEST(ParseFault, BearsATextOfAMillionBytes)
{
    EXPECT_NE("", errorOf(std::string(1000000, 'x')));
    EXPECT_NE("", errorOf("drop" + std::string(1000000, ':')));
    EXPECT_NE("", errorOf("drop:every=" + std::string(1000000, '1')));
}

} // namespace
