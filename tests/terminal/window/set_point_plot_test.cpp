#include "terminal/window/set_point_plot.h"

#include <QImage>

#include <gtest/gtest.h>

#include "terminal/window/theme.h"
#include "tests/terminal/window/sample_program.h"

namespace
{

const QSize Sizes[] = {QSize(800, 480), QSize(1920, 1080)};
const double Near = 1e-6; ///< pixels
const double Most = 4294967295.0;

struct DurationCase {
    double seconds;
    const char *text;
};

class Duration : public testing::TestWithParam<DurationCase>
{
};

TEST_P(Duration, IsShortToRead)
{
    EXPECT_EQ(GetParam().text, durationText(GetParam().seconds).toStdString());
}

INSTANTIATE_TEST_SUITE_P(All, Duration,
                         testing::Values(DurationCase{0, "0 s"}, DurationCase{59.4, "59 s"},
                                         DurationCase{59.5, "0:01"}, DurationCase{60, "0:01"},
                                         DurationCase{119, "0:01"}, DurationCase{3599, "0:59"},
                                         DurationCase{3600, "1:00"}, DurationCase{7500, "2:05"},
                                         DurationCase{360000, "100:00"}));

class Plot : public testing::Test
{
protected:
    Plot()
    {
        m_plot.setFont(Theme::fontFor(Sizes[0]));
        m_plot.resize(500, 150);
        m_plot.show();
    }

    /// How many pixels of a picture have the pen's colour.
    int ink()
    {
        const QImage picture = m_plot.grab().toImage();
        int pixels = 0;
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x)
                pixels += picture.pixelColor(x, y) == QColor(Theme::Pens[0]) ? 1 : 0;
        }
        return pixels;
    }

    SetPointPlot m_plot;
};

TEST_F(Plot, DrawsNoLineWithoutSteps)
{
    EXPECT_TRUE(m_plot.line().isEmpty());
    EXPECT_EQ(0, ink());
}

TEST_F(Plot, DrawsALevelForEachStepAsLongAsTheStepTakes)
{
    m_plot.setSegments({{100, 60}, {300, 180}});
    const QPolygonF line = m_plot.line();
    const QRectF area = m_plot.plotArea();
    ASSERT_EQ(4, line.size());
    EXPECT_NEAR(area.left(), line[0].x(), Near);
    EXPECT_NEAR(area.left() + area.width() / 4, line[1].x(), Near);
    EXPECT_NEAR(line[1].x(), line[2].x(), Near);
    EXPECT_NEAR(area.right(), line[3].x(), 1 + Near);
    EXPECT_EQ(line[0].y(), line[1].y());
    EXPECT_EQ(line[2].y(), line[3].y());
    EXPECT_NEAR(area.top(), line[2].y(), Near) << "300 is the top of its scale";
    EXPECT_NEAR(area.bottom() - area.height() / 3, line[0].y(), Near) << "the scale begins at 0";
    EXPECT_GT(ink(), m_plot.plotArea().width() / 2);
}

TEST_F(Plot, DrawsStepsWithoutTimeSideBySide)
{
    m_plot.setSegments({{1, 0}, {2, 0}, {3, 0}, {4, 0}});
    const QPolygonF line = m_plot.line();
    const QRectF area = m_plot.plotArea();
    ASSERT_EQ(8, line.size());
    for (int step = 0; step < 4; ++step)
        EXPECT_NEAR(area.left() + area.width() * step / 4, line[2 * step].x(), Near);
}

TEST_F(Plot, DrawsAStepWithoutTimeAmongOthersAsAnEdge)
{
    m_plot.setSegments({{1, 10}, {5, 0}, {2, 10}});
    const QPolygonF line = m_plot.line();
    ASSERT_EQ(6, line.size());
    EXPECT_EQ(line[2].x(), line[3].x());
    EXPECT_NEAR(m_plot.plotArea().left() + QRectF(m_plot.plotArea()).width() / 2, line[3].x(),
                Near);
}

TEST_F(Plot, KeepsItsLineWithinItsArea)
{
    const std::vector<std::vector<ProgramSegment>> programs = {
        {{0, 0}},
        {{0, 1}},
        {{1, 1}},
        {{Most, Most * 3661}},
        {{Most, 1}, {0, Most * 3661}, {1, 1}},
        std::vector<ProgramSegment>(32, {Most, Most * 3661}),
        programSegments(sampleProgram().rows)};
    for (const std::vector<ProgramSegment> &program : programs) {
        m_plot.setSegments(program);
        const QRectF area = QRectF(m_plot.plotArea()).adjusted(-Near, -Near, 1 + Near, 1 + Near);
        EXPECT_TRUE(m_plot.rect().contains(m_plot.plotArea()));
        EXPECT_EQ(2 * static_cast<int>(program.size()), m_plot.line().size());
        for (const QPointF &corner : m_plot.line())
            EXPECT_TRUE(area.contains(corner)) << corner.x() << ' ' << corner.y();
        EXPECT_GT(ink(), 0);
    }
}

TEST_F(Plot, ShowsAnotherProgramAtOnce)
{
    m_plot.setSegments({{100, 60}});
    const QImage before = m_plot.grab().toImage();
    m_plot.setSegments({{100, 60}, {50, 60}});
    EXPECT_NE(before, m_plot.grab().toImage());
    m_plot.setSegments({});
    EXPECT_EQ(0, ink());
}

TEST_F(Plot, LeavesRoomForItsScaleAndTimes)
{
    for (const QSize size : Sizes) {
        m_plot.setFont(Theme::fontFor(size));
        m_plot.resize(m_plot.sizeHint());
        m_plot.setSegments({{6000, 60}});
        const QFont small = Theme::smallFont(m_plot.font());
        EXPECT_GE(m_plot.plotArea().left(), Theme::textWidth(small, "6000") + Theme::Gap);
        EXPECT_GE(m_plot.plotArea().top(), QFontMetrics(small).height() / 2);
        EXPECT_GE(m_plot.height() - m_plot.plotArea().bottom(), QFontMetrics(small).height());
        EXPECT_GE(m_plot.plotArea().width(), 100);
        EXPECT_GE(m_plot.plotArea().height(), 50);
    }
}

TEST_F(Plot, AsksForMoreRoomBesideLargerText)
{
    const QSize small = m_plot.minimumSizeHint();
    m_plot.setFont(Theme::fontFor(Sizes[1]));
    EXPECT_GT(m_plot.minimumSizeHint().width(), small.width());
    EXPECT_GT(m_plot.minimumSizeHint().height(), small.height());
}

TEST_F(Plot, SurvivesBeingTiny)
{
    m_plot.setSegments(programSegments(sampleProgram().rows));
    for (const QSize size : {QSize(40, 20), QSize(1, 1)}) {
        m_plot.resize(size);
        EXPECT_FALSE(m_plot.grab().isNull());
    }
}

} // namespace
