#include "recipe/queue_progress.h"

#include <gtest/gtest.h>

namespace
{

TEST(QueueProgress, IsWhatHasBeenWorkedOff)
{
    QueueProgress progress(48);
    EXPECT_EQ(0, progress.percent());
    progress.look(48);
    EXPECT_EQ(0, progress.percent());
    progress.look(47);
    EXPECT_EQ(2, progress.percent()) << "truncated";
    progress.look(24);
    EXPECT_EQ(50, progress.percent());
    progress.look(1);
    EXPECT_EQ(97, progress.percent());
}

TEST(QueueProgress, IsNeverBelowZero)
{
    QueueProgress progress(2);
    progress.look(0xFFFFFFFF);
    EXPECT_EQ(0, progress.percent());
}

/// How many looks at an unchanging length it takes.
int looksUntilStalled(QueueProgress progress, quint32 remaining)
{
    int looks = 0;
    while (!progress.isStalled() && looks < 100) {
        progress.look(remaining);
        ++looks;
    }
    return looks;
}

TEST(QueueProgress, StallsAtTheSeventhLookWithoutAMove)
{
    EXPECT_EQ(7, looksUntilStalled(QueueProgress(48), 48));
    EXPECT_EQ(7, looksUntilStalled(QueueProgress(48), 1));
    EXPECT_EQ(7, looksUntilStalled(QueueProgress(1), 1));
}

TEST(QueueProgress, CountsAnewWhenTheQueueMoves)
{
    QueueProgress progress(10);
    for (int i = 0; i < 6; ++i)
        progress.look(9);
    EXPECT_FALSE(progress.isStalled());
    progress.look(8);
    EXPECT_EQ(6, looksUntilStalled(progress, 8));
    progress.look(9); // somebody else writes
    EXPECT_EQ(6, looksUntilStalled(progress, 9));
}

// The ratio is -1 then.
TEST(QueueProgress, StallsAtTwiceTheLengthToo)
{
    EXPECT_EQ(7, looksUntilStalled(QueueProgress(24), 48));
}

TEST(QueueProgress, OfAnEmptyQueueStallsWhenItStaysFull)
{
    EXPECT_EQ(7, looksUntilStalled(QueueProgress(0), 3));
    QueueProgress progress(0);
    for (quint32 others = 1; others < 7; ++others)
        progress.look(others);
    EXPECT_FALSE(progress.isStalled());
    progress.look(9);
    EXPECT_TRUE(progress.isStalled()) << "what others write is no progress";
    EXPECT_EQ(0, progress.percent());
}

} // namespace
