// The loaded plug-in on a line on which one of two stations misbehaves: the text that the engineer
// sees, no wrong value for the operator, and everything well again with the fault's end.

#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/plugged_in.h"

namespace
{

enum class Reach { TheStationOnly, TheWholeLine };

struct FaultCase {
    const char *name;
    const char *fault;
    /// The reasons that may be given. More than one where it depends on how the bytes happen to be
    /// cut; none where the driver has no reason to complain.
    std::vector<std::string> reasons;
    Reach reach;
};

void PrintTo(const FaultCase &fault, std::ostream *stream)
{
    *stream << fault.fault;
}

class LineFault : public testing::TestWithParam<FaultCase>
{
protected:
    /// Every value that can be read must be one that the word had.
    void expectOnlyTrueValues(int station, const std::vector<quint32> &generations)
    {
        for (quint32 word = PluggedIn::FirstWord; word <= PluggedIn::LastWord; ++word) {
            quint32 value = 0;
            if (!line.read(station, word, &value))
                continue;
            bool known = false;
            for (const quint32 generation : generations)
                known = known || value == PluggedIn::value(station, word, generation);
            EXPECT_TRUE(known) << std::hex << value << " at " << word << " of station " << station;
        }
    }

    void makeFaulty() { line.addFault(std::string(GetParam().fault) + ":station=2"); }

    /// Waits for one of the case's reasons; notes whatever else is said meanwhile.
    void expectReason(const std::string &prefix)
    {
        if (GetParam().reasons.empty())
            return;
        std::set<std::string> others;
        const bool named = comesTrue([&] {
            const std::string text = currentError();
            for (const std::string &reason : GetParam().reasons) {
                if (text == prefix + reason)
                    return true;
            }
            if (!text.empty())
                others.insert(text);
            return false;
        });
        EXPECT_TRUE(named);
        if (GetParam().reach == Reach::TheStationOnly) {
            EXPECT_THAT(others, testing::IsEmpty());
        }
    }

    std::string currentError()
    {
        return line.driver().hasError() ? line.driver().getLastError().toStdString() : "";
    }

    PluggedIn line;
};

class ReadFault : public LineFault
{
};

class WriteFault : public LineFault
{
};

std::string nameOf(const testing::TestParamInfo<FaultCase> &info)
{
    return info.param.name;
}

TEST_P(ReadFault, IsNamedHarmsNoValueAndHeals)
{
    line.announceAll();
    ASSERT_TRUE(comesTrue([this] { return line.allRead(1, 0) && line.allRead(2, 0); }));

    makeFaulty();
    line.setGeneration(2, 1);
    expectReason("read station id#2 start address 00005000:");
    expectOnlyTrueValues(2, {0, 1});
    line.setGeneration(1, 2);
    EXPECT_TRUE(comesTrue([this] { return line.allRead(1, 2); }))
        << "the sound station stands still";
    expectOnlyTrueValues(2, {0, 1});

    line.simulator().clearFaults();
    EXPECT_TRUE(comesTrue([this] { return line.allRead(2, 1); })) << "no recovery";
    EXPECT_TRUE(comesTrue([this] { return currentError().empty(); }));
}

TEST_P(WriteFault, IsNamedAndALaterWriteArrives)
{
    line.announce(PluggedIn::SoundStation);
    ASSERT_TRUE(comesTrue([this] { return line.allRead(1, 0); }));

    makeFaulty();
    ASSERT_EQ(1, line.write(2, PluggedIn::FirstWord, 2));
    expectReason("write station id#2 address 00005000");

    line.simulator().clearFaults();
    EXPECT_TRUE(comesTrue([this] {
        line.write(2, PluggedIn::FirstWord, 3);
        return line.simulator().word(2, PluggedIn::FirstWord) == 3;
    }));
    EXPECT_TRUE(comesTrue([this] { return currentError().empty(); }));
}

const char NoResponse[] = "DMC50 no response";
const char Checksum[] = "checksum error";
const char OtherStation[] = "invalid station id from DMC50";

const FaultCase ReadFaults[] = {
    {"NoAnswer", "drop", {NoResponse}, Reach::TheStationOnly},
    {"LateAnswer", "late:ms=3300", {NoResponse}, Reach::TheStationOnly},
    {"FlippedBit", "flip", {Checksum}, Reach::TheStationOnly},
    {"CutToOneByte", "cut:after=1", {"read: packet loss"}, Reach::TheStationOnly},
    {"CutToTwelveBytes", "cut:after=12", {"read: packet loss"}, Reach::TheStationOnly},
    {"CutToThirteenBytes", "cut:after=13", {Checksum}, Reach::TheStationOnly},
    {"NoiseBefore", "noise:bytes=5", {Checksum}, Reach::TheStationOnly},
    {"OtherStationsNumber", "station:as=3", {OtherStation}, Reach::TheStationOnly},
    {"EndCode", "endcode:code=41", {"end code 41H"}, Reach::TheStationOnly},
    {"NoLineFeed", "nolf", {Checksum}, Reach::TheStationOnly},
    {"Echo", "echo", {Checksum, "end code FFH"}, Reach::TheStationOnly},
    {"Babble", "babble:ms=300", {Checksum}, Reach::TheWholeLine},
    {"PowerCycle", "powercycle", {NoResponse}, Reach::TheStationOnly},
    // The sum cannot see bytes that changed places; here the last digit and ETX did.
    {"SwappedBytes", "swap", {}, Reach::TheStationOnly},
};

INSTANTIATE_TEST_SUITE_P(Every, ReadFault, testing::ValuesIn(ReadFaults), nameOf);

const FaultCase WriteFaults[] = {
    {"NoAnswer", "drop", {NoResponse}, Reach::TheStationOnly},
    {"LateAnswer", "late:ms=3300", {NoResponse}, Reach::TheStationOnly},
    {"FlippedBit", "flip", {Checksum}, Reach::TheStationOnly},
    {"CutToOneByte", "cut:after=1", {"packet loss"}, Reach::TheStationOnly},
    {"CutToTwelveBytes", "cut:after=12", {"packet loss"}, Reach::TheStationOnly},
    {"NoiseBefore", "noise:bytes=5", {Checksum}, Reach::TheStationOnly},
    {"OtherStationsNumber", "station:as=3", {OtherStation}, Reach::TheStationOnly},
    {"EndCode", "endcode:code=41", {"end code 41H"}, Reach::TheStationOnly},
    {"NoLineFeed", "nolf", {"packet loss"}, Reach::TheStationOnly},
    {"Echo", "echo", {Checksum, "end code FFH"}, Reach::TheStationOnly},
    {"Babble", "babble:ms=300", {Checksum}, Reach::TheWholeLine},
    {"PowerCycle", "powercycle", {NoResponse}, Reach::TheStationOnly},
    {"SwappedBytes", "swap", {"end code FFH"}, Reach::TheStationOnly},
};

INSTANTIATE_TEST_SUITE_P(Every, WriteFault, testing::ValuesIn(WriteFaults), nameOf);

} // namespace
