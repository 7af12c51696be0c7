#include "terminal/window/trend_data.h"

#include <gtest/gtest.h>

namespace
{

const qint64 Span = 1000;
const qint64 LongestStep = 300;

class TrendDataTest : public testing::Test
{
protected:
    TrendDataTest() : m_data(Span) {}

    void add(qint64 at, double value) { m_data.add(at, value, LongestStep); }

    /// Runs of times: "0 100|300".
    std::string runs() const
    {
        std::string text;
        for (const TrendData::Run &run : m_data.runs()) {
            text += text.empty() ? "" : "|";
            for (size_t i = 0; i < run.size(); ++i)
                text += (i == 0 ? "" : " ") + std::to_string(run[i].atMs);
        }
        return text;
    }

    TrendData m_data;
};

TEST_F(TrendDataTest, IsEmptyAtFirst)
{
    EXPECT_EQ("", runs());
    m_data.addGap();
    m_data.forget(5000);
    EXPECT_EQ("", runs());
}

TEST_F(TrendDataTest, JoinsLiveValues)
{
    add(0, 1);
    add(100, 2);
    add(200, 3);
    EXPECT_EQ("0 100 200", runs());
    EXPECT_EQ(3.0, m_data.runs()[0][2].value);
}

TEST_F(TrendDataTest, LeavesOutAReadingThatItHas)
{
    add(100, 1);
    add(100, 2);
    add(50, 3);
    EXPECT_EQ("100", runs());
    EXPECT_EQ(1.0, m_data.runs()[0][0].value);
}

TEST_F(TrendDataTest, HasAGapWhereTheValueWasNotLive)
{
    add(0, 1);
    add(100, 2);
    m_data.addGap();
    m_data.addGap();
    add(200, 3);
    add(300, 4);
    EXPECT_EQ("0 100|200 300", runs());
}

TEST_F(TrendDataTest, HasAGapWhereNothingCameForTooLong)
{
    add(0, 1);
    add(LongestStep, 2);
    add(2 * LongestStep + 1, 3);
    EXPECT_EQ("0 300|601", runs());
}

TEST_F(TrendDataTest, StaysBrokenAfterAReadingThatItLeftOut)
{
    add(0, 1);
    m_data.addGap();
    add(0, 1);
    add(100, 2);
    EXPECT_EQ("0|100", runs());
}

TEST_F(TrendDataTest, ForgetsWhatIsOlderThanItsSpanButTheBeginningOfALine)
{
    for (qint64 at = 0; at <= 500; at += 100)
        add(at, 1);
    m_data.forget(Span + 200);
    EXPECT_EQ("100 200 300 400 500", runs()) << "the line enters from 100";
    m_data.forget(Span + 201);
    EXPECT_EQ("200 300 400 500", runs());
}

TEST_F(TrendDataTest, ForgetsARunThatHasLeftInWhole)
{
    add(0, 1);
    m_data.addGap();
    add(500, 2);
    m_data.forget(Span + 1);
    EXPECT_EQ("500", runs());
    m_data.forget(Span + 501);
    EXPECT_EQ("", runs());
}

TEST_F(TrendDataTest, BeginsAnewAfterEverythingWasForgotten)
{
    add(0, 1);
    m_data.forget(10 * Span);
    add(10 * Span, 2);
    EXPECT_EQ("10000", runs());
}

TEST_F(TrendDataTest, KeepsSoManyPointsHoweverFastTheyCome)
{
    TrendData fast(1000000);
    for (qint64 at = 0; at < 2 * static_cast<qint64>(TrendData::MostPoints); ++at)
        fast.add(at, 1, LongestStep);
    ASSERT_EQ(1u, fast.runs().size());
    EXPECT_EQ(TrendData::MostPoints, fast.runs()[0].size());
    EXPECT_EQ(2 * static_cast<qint64>(TrendData::MostPoints) - 1, fast.runs()[0].back().atMs);
}

TEST_F(TrendDataTest, IsEmptyAfterClearing)
{
    add(0, 1);
    m_data.clear();
    EXPECT_EQ("", runs());
    add(0, 1);
    EXPECT_EQ("0", runs());
}

// ---- Scale

struct ScaleCase {
    double least, greatest;
    double bottom, top, step;
};

class TrendScaleTest : public testing::TestWithParam<ScaleCase>
{
};

TEST_P(TrendScaleTest, HasRoundNumbersAroundTheValues)
{
    const ScaleCase &expected = GetParam();
    const TrendScale scale = TrendScale::around(expected.least, expected.greatest, 4);
    EXPECT_EQ(expected.bottom, scale.bottom);
    EXPECT_EQ(expected.top, scale.top);
    EXPECT_EQ(expected.step, scale.step);
    EXPECT_LE(scale.bottom, expected.least);
    EXPECT_GE(scale.top, expected.greatest);
    EXPECT_LT(scale.bottom, scale.top);
}

INSTANTIATE_TEST_SUITE_P(
    All, TrendScaleTest,
    testing::Values(ScaleCase{0, 4, 0, 4, 1}, ScaleCase{344, 4200, 0, 5000, 1000},
                    ScaleCase{0, 5, 0, 6, 2}, ScaleCase{10, 29, 10, 30, 5},
                    ScaleCase{4190, 4210, 4190, 4210, 5}, ScaleCase{4200, 4200, 4199, 4201, 1},
                    ScaleCase{0, 0, 0, 1, 1}, ScaleCase{1, 1, 0, 2, 1},
                    ScaleCase{0, 4294967295.0, 0, 6e9, 2e9},
                    ScaleCase{4294967295.0, 4294967295.0, 4294967294.0, 4294967296.0, 1}));

} // namespace
