#include "terminal/window/terminal_window.h"

#include <gtest/gtest.h>

#include "tests/support/fake_clock.h"
#include "tests/terminal/window/tag_views.h"

namespace
{

TEST(TerminalWindow, OpensWithoutASession)
{
    FakeClock clock;
    TerminalWindow window({}, DefaultStation, 1000, [&clock] { return clock.msecsSinceBoot(); });
    window.resize(800, 480);
    window.show();
    EXPECT_TRUE(window.isVisible());
    window.showRound({}, SessionSummary());
    window.tick();
}

} // namespace
