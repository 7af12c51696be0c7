#include "recipe/station_line.h"

#include "tests/support/fake_link.h"

#include <gtest/gtest.h>

namespace
{

TEST(StationLine, PassesEverythingThroughButTheStation)
{
    FakeLink link;
    link.answer = [](const std::string &request) { return request + "!"; };
    link.station = 7;
    link.timeoutMs = 4321;
    link.retries = 3;
    link.delayMs = 17;
    StationLine line;
    line.set(&link, 2);

    EXPECT_EQ(2, line.stationId());
    EXPECT_EQ(4321, line.timeout());
    EXPECT_EQ(3, line.retry());
    EXPECT_EQ(17, line.delay());
    EXPECT_EQ(&link.setting, line.deviceSetting());
    line.control(AbstractDeviceInterface::DiscardInput, 0);
    EXPECT_EQ(2, line.writeData("ab", 2));
    char buffer[8] = "";
    EXPECT_EQ(3, line.readData(buffer, sizeof buffer));
    EXPECT_STREQ("ab!", buffer);
    EXPECT_EQ((std::vector<std::string>{"control 12 int 0", "write 2", "read 8"}), link.calls());
}

} // namespace
