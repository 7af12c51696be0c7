// A short soak on a real port: what the long one must show holds from the beginning.

#include "bench/soak/port_soak.h"

#include <gtest/gtest.h>

#include "bench/soak/formatted.h"

namespace
{

TEST(PortSoak, Of1000ExchangesLeavesNoDescriptorAndNoMemoryBehind)
{
    PortSoakOptions options;
    options.exchanges = 1000;
    options.error_texts = DMC50_ERROR_TEXTS;
    const PortSoakResult result = runPortSoak(options);

    EXPECT_EQ("", shortcomings(result)) << table(result);
    EXPECT_LE(options.exchanges, result.exchanges);
    EXPECT_LT(options.exchanges / 4, result.refused); // of each three replies one is damaged
    EXPECT_EQ(4, result.vanished);
    EXPECT_LT(3, result.descriptors_early); // more than a program without a port has
}

TEST(PortSoakResult, NamesWhatDoesNotHold)
{
    PortSoakResult result;
    result.healed = true;
    result.vanished = 4;
    EXPECT_EQ("", shortcomings(result));

    PortSoakResult other = result;
    other.no_start = "no pty";
    EXPECT_EQ("  port: no pty\n", shortcomings(other));
    other = result;
    other.healed = false;
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.vanished = 3;
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.heap_late = HeapTolerance;
    EXPECT_EQ("", shortcomings(other));
    other.heap_late = HeapTolerance + 1;
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.descriptors_late = 1;
    EXPECT_NE("", shortcomings(other));
    other = result;
    other.other_texts = 1;
    EXPECT_NE("", shortcomings(other));
}

} // namespace
