#include "terminal/transfer_watch.h"

#include <gtest/gtest.h>

namespace
{

TransferView view(bool running, int percent, bool failed = false)
{
    TransferView result;
    result.running = running;
    result.percent = percent;
    result.failed = failed;
    return result;
}

TEST(TransferWatch, WaitsRunsAndIsDone)
{
    TransferWatch watch(1000);
    EXPECT_EQ(TransferWatch::Waiting, watch.state());
    watch.see(view(false, 0), 1100);
    EXPECT_EQ(TransferWatch::Waiting, watch.state());
    watch.see(view(true, 0), 1200);
    EXPECT_EQ(TransferWatch::Running, watch.state());
    watch.see(view(true, 40), 1300);
    EXPECT_EQ(40, watch.percent());
    watch.see(view(true, 100), 1400);
    EXPECT_FALSE(watch.isOver());
    watch.see(view(false, 0), 3400);
    EXPECT_EQ(TransferWatch::Done, watch.state());
    EXPECT_TRUE(watch.isOver());
    EXPECT_EQ(100, watch.percent()) << "what it came to";
}

TEST(TransferWatch, HasFailedWithItsErrorTag)
{
    TransferWatch watch(0);
    watch.see(view(true, 100, true), 1);
    watch.see(view(false, 0, true), 2);
    EXPECT_EQ(TransferWatch::Failed, watch.state());
}

/// Without a stick there is no error tag.
TEST(TransferWatch, HasFailedWhenItWasNeverComplete)
{
    TransferWatch watch(0);
    watch.see(view(true, 99), 1);
    watch.see(view(false, 0), 2);
    EXPECT_EQ(TransferWatch::Failed, watch.state());
}

TEST(TransferWatch, TakesNoErrorOfAnEarlierTransferForItsOwn)
{
    TransferWatch watch(0);
    watch.see(view(false, 0, true), 1);
    EXPECT_EQ(TransferWatch::Waiting, watch.state());
}

TEST(TransferWatch, GivesUpWhatDoesNotBegin)
{
    TransferWatch watch(1000);
    watch.see(view(false, 0), 1000 + TransferWatch::BeginWithinMs);
    EXPECT_EQ(TransferWatch::Waiting, watch.state());
    watch.see(view(false, 0), 1001 + TransferWatch::BeginWithinMs);
    EXPECT_EQ(TransferWatch::Failed, watch.state());
}

TEST(TransferWatch, IsOverForGood)
{
    TransferWatch watch(0);
    watch.see(view(true, 100), 1);
    watch.see(view(false, 0), 2);
    watch.see(view(true, 10), 3);
    EXPECT_EQ(TransferWatch::Done, watch.state());
    EXPECT_EQ(100, watch.percent());
}

} // namespace
