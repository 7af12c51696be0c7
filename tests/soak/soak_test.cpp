// A short soak: everything that the long one must show holds from the first exchange on.

#include "bench/soak/soak.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/soak/formatted.h"
#include "bench/soak/soak_project.h"
#include "cpl/dmc50_polling_thread.h"

namespace
{

class Soak : public testing::TestWithParam<uint32_t>
{
};

TEST_P(Soak, Of2000FaultsDeliversNoWrongValueAndLosesNothing)
{
    SoakOptions options;
    options.exchanges = 2000;
    options.seed = GetParam();
    options.error_texts = DMC50_ERROR_TEXTS;
    const SoakResult result = runSoak(options);

    EXPECT_EQ("", shortcomings(result)) << table(options, result);
    EXPECT_EQ(0u, result.line.violations);
    EXPECT_EQ(0u, result.user.violations);
    EXPECT_LE(options.exchanges, result.with_fault);
    EXPECT_LT(result.with_fault, result.exchanges);
    EXPECT_EQ(1u + FaultSource::allKinds().size(), result.line.outcomes.size());
    EXPECT_EQ(0u, result.line.reasons.count(""));
    for (const char *reason : {"DMC50 no response", "checksum error", "end code %02XH",
                               "invalid station id from DMC50"}) // the others are rarer
        EXPECT_LT(0u, result.line.reasons.count(reason)) << reason;
    EXPECT_EQ(result.user.writes, result.line.sent);
    EXPECT_LT(0u, result.line.arrived);
    EXPECT_LT(0u, result.healed);
    EXPECT_LT(0u, result.user.cache_reads);
    EXPECT_LT(0u, result.user.on_demand);

    const Outcomes sound = result.line.outcomes.at("none");
    EXPECT_LT(500u, sound.exchanges);
    EXPECT_EQ(sound.exchanges, sound.unharmed);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Soak, testing::Values(1, 2));

TEST(SoakResult, NamesWhatDoesNotHold)
{
    SoakResult result;
    for (const Fault::Kind kind : FaultSource::allKinds())
        result.line.outcomes[FaultSource::name(kind)];
    result.line.outcomes["none"];
    result.healed = 1;
    EXPECT_EQ("", shortcomings(result));

    SoakResult other = result;
    other.line.outcomes.erase("swap");
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.line.examples.push_back("a value");
    EXPECT_EQ("  a value\n", shortcomings(other));
    other = result;
    other.user.writes[1] = 1;
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.healed = 0;
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.heap_late = HeapTolerance + 1;
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.line.outcomes["none"].refused = 1;
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.line.damaged = 25600; // 100 are to be expected
    EXPECT_NE("", shortcomings(other));
    other.line.damaged_sum_right = 100;
    EXPECT_EQ("", shortcomings(other));
    EXPECT_DOUBLE_EQ(0, deviationOfMisses(other.line));
    other.line.damaged_sum_right = 200;
    EXPECT_NE("", shortcomings(other));
}

TEST(SoakResult, ToleratesWrongValuesOfThoseFaultsOnlyThatNoCheckCanTell)
{
    SoakResult result;
    result.line.outcomes["none"];
    for (const Fault::Kind kind : FaultSource::allKinds())
        result.line.outcomes[FaultSource::name(kind)];
    result.healed = 1;
    const std::set<std::string> forgers = {"damage", "cut", "nolf", "swap"};
    for (const auto &row : result.line.outcomes) {
        SoakResult missed = result;
        missed.line.outcomes[row.first].missed = 1;
        EXPECT_EQ(forgers.count(row.first) > 0, shortcomings(missed).empty()) << row.first;
        SoakResult wrong = result;
        wrong.line.outcomes[row.first].wrong = 1;
        EXPECT_EQ(forgers.count(row.first) > 0, shortcomings(wrong).empty()) << row.first;
    }
}

/// A polling thread on a judged line that nobody spoils but the test.
class Judge : public testing::Test
{
protected:
    Judge()
        : texts(DMC50_ERROR_TEXTS), line(SoakProject::stations(), 1, 1, &clock),
          link(&line, &texts, 1), valid(SoakProject::validAddresses()),
          polling(&link, &valid, 1, &clock)
    {
        clock.setDriver(&polling);
        link.setThread(&polling);
        link.endFaults();
        polling.setSessionCommand(SoakProject::session());
    }

    /// Polls a while.
    const Findings &judge()
    {
        polling.start();
        while (link.exchanges() < 100)
            clock.sleep(1);
        polling.stop();
        polling.wait();
        clock.end();
        link.settle();
        return link.findings();
    }

    void spoil(const std::string &fault)
    {
        Fault parsed;
        std::string error;
        ASSERT_TRUE(parseFault(fault, &parsed, &error)) << error;
        line.line().addFault(parsed);
    }

    const ErrorTexts texts;
    VirtualClock clock;
    VirtualLine line;
    JudgedLink link;
    const AddressVectorMap valid;
    PollingThread polling;
};

TEST_F(Judge, FindsNothingOnASoundLine)
{
    const Findings &findings = judge();
    EXPECT_EQ(0u, findings.violations);
    EXPECT_EQ(1u, findings.outcomes.size());
    const Outcomes sound = findings.outcomes.at("none");
    EXPECT_EQ(sound.exchanges, sound.unharmed);
}

TEST_F(Judge, FindsAReplyThatBelongsToAnEarlierExchange)
{
    // After the time-out and the quiet behind it, when the request was just repeated.
    spoil("late:count=1:ms=" +
          std::to_string(VirtualLine::TimeoutMs + VirtualLine::QuietGapMs + 15));
    SoakResult result;
    result.line = judge();
    const Outcomes others = result.line.outcomes.at("none");
    EXPECT_EQ(1u, others.missed);
    EXPECT_EQ(50u, others.wrong);
    EXPECT_THAT(shortcomings(result), testing::HasSubstr("1 replies were taken for others"));
}

TEST_F(Judge, CountsAFaultThatChangesNothingAsNone)
{
    spoil("flip:at=511");
    spoil("cut:after=511");
    judge();
    EXPECT_EQ(0u, link.exchangesWithFault());
}

} // namespace
