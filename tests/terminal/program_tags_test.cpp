#include "terminal/program_tags.h"

#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fake_link.h"
#include "tests/terminal/fake_driver.h"

namespace
{

using testing::ElementsAre;

class ProgramTagsTest : public testing::Test
{
protected:
    ProgramTagsTest() : link(&line)
    {
        driver.onRead = [this](const CommunicatorCommand &command) {
            return values.count(command.address) > 0 ? values[command.address]
                                                     : QByteArray(command.getDataSize(), '\0');
        };
        SessionLine sessionLine;
        sessionLine.link = &link;
        sessionLine.selectStation = [this](int station) { line.station = station; };
        sessionLine.defaultStation = 1;
        tags.reset(new ProgramTags(&driver, sessionLine,
                                   [this](const TransferViews &views) { seen.push_back(views); }));
    }

    std::vector<std::string> writes() const
    {
        std::vector<std::string> some;
        for (const std::string &call : driver.calls) {
            if (call.compare(0, 5, "write") == 0)
                some.push_back(call);
        }
        return some;
    }

    static TransferRequest request(TransferKind kind, int program, int steps, int station)
    {
        TransferRequest result;
        result.kind = kind;
        result.program = program;
        result.steps = steps;
        result.station = station;
        return result;
    }

    FakeLink line;
    SessionLink link;
    FakeDriver driver;
    std::map<QString, QByteArray> values; ///< of tags; others are 0
    std::vector<TransferViews> seen;
    std::unique_ptr<ProgramTags> tags;
};

TEST_F(ProgramTagsTest, StartsAnExportByItsTags)
{
    tags->start(request(TransferKind::Export, 5, 32, 3));
    EXPECT_THAT(writes(), ElementsAre()) << "the communication thread writes";
    tags->serve();
    EXPECT_THAT(writes(),
                ElementsAre("write VVT_PROG_ID0 at 3 05000000",
                            "write VVT_PROG_COUNT0 at 3 20000000", "write VVT_ENABLE1 at 3 01"));
}

TEST_F(ProgramTagsTest, StartsAnImportByItsTags)
{
    tags->start(request(TransferKind::Import, -1, 0, 1));
    tags->serve();
    EXPECT_THAT(writes(),
                ElementsAre("write VVT_PROG_ID0 at 1 ffffffff",
                            "write VVT_PROG_COUNT0 at 1 00000000", "write VVT_ENABLE0 at 1 01"));
}

TEST_F(ProgramTagsTest, WritesWhatWasAskedForOnce)
{
    tags->start(request(TransferKind::Export, 5, 32, 1));
    tags->serve();
    tags->serve();
    EXPECT_EQ(3U, writes().size());
}

TEST_F(ProgramTagsTest, AcknowledgesEachTransfersError)
{
    tags->acknowledge(TransferKind::Import);
    tags->acknowledge(TransferKind::Export);
    tags->serve();
    EXPECT_THAT(writes(), ElementsAre("write VVT_ERROR0 at 1 00", "write VVT_ERROR1 at 1 00"));
}

TEST_F(ProgramTagsTest, ShowsWhatTheTagsShow)
{
    values["VVT_ENABLE1"] = QByteArray("\1", 1);
    values["VVT_PROGRESS1"] = QByteArray("\x32\0\0\0", 4);
    values["VVT_ERROR0"] = QByteArray("\1", 1);
    tags->serve();
    ASSERT_EQ(1U, seen.size());
    const TransferView into = seen[0].of(TransferKind::Import);
    const TransferView out = seen[0].of(TransferKind::Export);
    EXPECT_FALSE(into.running);
    EXPECT_TRUE(into.failed);
    EXPECT_EQ(0, into.percent);
    EXPECT_TRUE(out.running);
    EXPECT_FALSE(out.failed);
    EXPECT_EQ(50, out.percent);
}

TEST_F(ProgramTagsTest, ShowsNoMoreThanAllAndNoLessThanNothing)
{
    values["VVT_PROGRESS0"] = QByteArray("\xFF\xFF\xFF\x7F", 4);
    values["VVT_PROGRESS1"] = QByteArray("\xFF\xFF\xFF\xFF", 4);
    tags->serve();
    EXPECT_EQ(100, seen.at(0).of(TransferKind::Import).percent);
    EXPECT_EQ(0, seen.at(0).of(TransferKind::Export).percent);
}

TEST_F(ProgramTagsTest, TakesNoAnswerForNothingRunning)
{
    driver.onRead = [](const CommunicatorCommand &) { return QByteArray(); };
    tags->serve();
    EXPECT_FALSE(seen.at(0).of(TransferKind::Export).running);
    EXPECT_EQ(0, seen.at(0).of(TransferKind::Export).percent);
}

TEST_F(ProgramTagsTest, LeavesADriverAloneThatIsGoing)
{
    tags->start(request(TransferKind::Export, 5, 32, 1));
    link.closeCalls();
    tags->serve();
    EXPECT_THAT(driver.calls, ElementsAre());
}

} // namespace
