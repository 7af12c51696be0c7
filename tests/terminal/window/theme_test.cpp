#include "terminal/window/theme.h"

#include <QFontMetricsF>

#include <cmath>

#include <gtest/gtest.h>

#include "terminal/window/state_sign.h"

namespace
{

const double LeastForTexts = 4.5; ///< WCAG 2.1, level AA
const double LeastForSigns = 3.0;

double linear(double part)
{
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &colour)
{
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double contrast(QRgb one, QRgb other)
{
    const double a = luminance(QColor(one)) + 0.05;
    const double b = luminance(QColor(other)) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

struct Pair {
    const char *what;
    QRgb text;
    QRgb surface;
};

void PrintTo(const Pair &pair, std::ostream *out)
{
    *out << pair.what;
}

TEST(Contrast, IsThatOfTheDefinition)
{
    EXPECT_NEAR(21.0, contrast(0xFF000000, 0xFFFFFFFF), 0.001);
    EXPECT_NEAR(1.0, contrast(0xFF123456, 0xFF123456), 0.001);
    EXPECT_NEAR(4.48, contrast(0xFF777777, 0xFFFFFFFF), 0.01);
}

class ThemeText : public testing::TestWithParam<Pair>
{
};

TEST_P(ThemeText, CanBeReadOnItsSurface)
{
    EXPECT_GE(contrast(GetParam().text, GetParam().surface), LeastForTexts);
}

INSTANTIATE_TEST_SUITE_P(
    All, ThemeText,
    testing::Values(Pair{"text on tables", Theme::Text, Theme::Surface},
                    Pair{"text on the window", Theme::Text, Theme::Background},
                    Pair{"quiet text on tables", Theme::QuietText, Theme::Surface},
                    Pair{"quiet text on what is old", Theme::QuietText, Theme::Warning},
                    Pair{"figures on what is old", Theme::Text, Theme::Warning},
                    Pair{"warning", Theme::WarningText, Theme::Warning},
                    Pair{"hint on the trend", Theme::WarningText, Theme::Surface},
                    Pair{"alarm", Theme::AlarmText, Theme::Alarm},
                    Pair{"alarm on tables", Theme::AlarmText, Theme::Surface},
                    Pair{"error among figures that are old", Theme::AlarmText, Theme::Warning},
                    Pair{"name in an alarm", Theme::Text, Theme::Alarm},
                    Pair{"bar", Theme::BarText, Theme::Bar},
                    Pair{"quiet text on the bar", Theme::BarQuietText, Theme::Bar},
                    Pair{"button", Theme::BarText, Theme::BarButton},
                    Pair{"quiet button", Theme::BarQuietText, Theme::BarButton},
                    Pair{"pressed button", Theme::BarText, Theme::BarButtonDown},
                    Pair{"lit button", Theme::Text, Theme::Lit},
                    Pair{"pen's number 1", Theme::Surface, Theme::Pens[0]},
                    Pair{"pen's number 2", Theme::Surface, Theme::Pens[1]},
                    Pair{"pen's number 3", Theme::Surface, Theme::Pens[2]},
                    Pair{"pen's number 4", Theme::Surface, Theme::Pens[3]}));

TEST(ThemeSigns, StandOutFromWhatTheyAreOn)
{
    for (const QRgb pen : Theme::Pens) {
        EXPECT_GE(contrast(pen, Theme::Surface), LeastForSigns);
        EXPECT_GE(contrast(pen, Theme::Warning), LeastForSigns);
        EXPECT_GE(contrast(pen, Theme::Alarm), LeastForSigns);
    }
    EXPECT_GE(contrast(Theme::Axis, Theme::Surface), LeastForSigns) << "axes and scroll bars";
    EXPECT_GE(contrast(Theme::Lit, Theme::BarButton), LeastForSigns) << "the beep indicator";
}

TEST(ThemeStates, HaveTextsThatCanBeReadAndAreAllDifferent)
{
    const TagState states[] = {TagState::Waiting, TagState::Ok, TagState::Stale, TagState::Failed};
    for (const TagState state : states) {
        EXPECT_GE(contrast(stateText(state), stateSurface(state)), LeastForTexts);
        EXPECT_EQ(state != TagState::Ok, isDoubtful(state));
        for (const TagState other : states) {
            if (other != state) {
                EXPECT_NE(stateText(state), stateText(other));
            }
        }
    }
    EXPECT_NE(stateSurface(TagState::Ok), stateSurface(TagState::Stale));
    EXPECT_NE(stateSurface(TagState::Ok), stateSurface(TagState::Failed));
}

TEST(ThemeSizes, GrowWithTheWindowAndNeverShrinkBelowTheSmallestScreen)
{
    EXPECT_EQ(15, Theme::pixelSizeFor(QSize(800, 480)));
    EXPECT_EQ(15, Theme::pixelSizeFor(QSize(320, 200)));
    EXPECT_EQ(15, Theme::pixelSizeFor(QSize(1920, 480))) << "the narrower side decides";
    EXPECT_EQ(15, Theme::pixelSizeFor(QSize(800, 2000)));
    EXPECT_EQ(17, Theme::pixelSizeFor(QSize(1024, 600)));
    EXPECT_EQ(26, Theme::pixelSizeFor(QSize(1920, 1080)));
}

TEST(ThemeSizes, AreScaledLikeTheText)
{
    EXPECT_EQ(40, Theme::scaled(Theme::fontFor(QSize(800, 480)), 40));
    EXPECT_EQ(69, Theme::scaled(Theme::fontFor(QSize(1920, 1080)), 40));
    QFont points;
    points.setPointSize(12);
    EXPECT_GT(Theme::scaled(points, 40), 0) << "a widget's font before it is in a window";
}

TEST(ThemeSizes, LeaveATextItsWholeWidth)
{
    for (const int width : {800, 1024, 1920}) {
        const QFont font = Theme::fontFor(QSize(width, width * 9 / 16));
        for (const char *const text : {"Beep", "waiting", "2-PA0000031", ""})
            EXPECT_GE(Theme::textWidth(font, text), QFontMetricsF(font).horizontalAdvance(text));
    }
}

} // namespace
