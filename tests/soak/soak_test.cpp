// A short soak: everything that the long one must show holds from the first exchange on.

#include "bench/soak/soak.h"

#include <gtest/gtest.h>

namespace
{

class Soak : public testing::TestWithParam<uint32_t>
{
};

TEST_P(Soak, Of2000ExchangesDeliversNoWrongValueAndLosesNothing)
{
    SoakOptions options;
    options.exchanges = 2000;
    options.seed = GetParam();
    options.error_texts = DMC50_ERROR_TEXTS;
    const SoakResult result = runSoak(options);

    EXPECT_EQ("", shortcomings(result)) << table(options, result);
    EXPECT_EQ(0u, result.line.violations);
    EXPECT_EQ(0u, result.user.violations);
    EXPECT_LE(options.exchanges, result.exchanges);
    EXPECT_EQ(1u + FaultSource::allKinds().size(), result.line.outcomes.size());
    EXPECT_EQ(0u, result.line.reasons.count(""));
    EXPECT_EQ(6u, result.line.reasons.size()); // all that are documented
    EXPECT_EQ(result.user.writes, result.line.written);
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
    other.descriptors_late = 1;
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

} // namespace
