#include "terminal/window/tag_table_model.h"

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include "tests/terminal/window/tag_views.h"

namespace
{

const qint64 Begin = 1000;
const qint64 StaleAfter = 5000;

std::string text(const TagTableModel &model, int row, int column)
{
    return model.index(row, column).data().toString().toStdString();
}

TagState state(const TagTableModel &model, int row)
{
    return static_cast<TagState>(model.index(row, 0).data(TagTableModel::StateRole).toInt());
}

TEST(TagTableModel, ShowsWaitingTagsBeforeTheFirstRound)
{
    TagTableModel model(tagsOf(oneOfEachState()), 7);
    const QAbstractItemModelTester tester(&model);
    ASSERT_EQ(4, model.rowCount());
    ASSERT_EQ(6, model.columnCount());
    EXPECT_EQ("furnace1.setpoint", text(model, 0, TagTableModel::Name));
    EXPECT_EQ("7", text(model, 0, TagTableModel::Station));
    EXPECT_EQ("2", text(model, 1, TagTableModel::Station));
    EXPECT_EQ("-", text(model, 0, TagTableModel::Value));
    EXPECT_EQ("never", text(model, 0, TagTableModel::Age));
    EXPECT_EQ("waiting", text(model, 0, TagTableModel::State));
    EXPECT_FALSE(model.index(0, 0).data(TagTableModel::HasValueRole).toBool());
}

TEST(TagTableModel, ShowsTheRoundInEachColumn)
{
    TagTableModel model(tagsOf(oneOfEachState()), DefaultStation);
    const QAbstractItemModelTester tester(&model);
    model.showRound(oneOfEachState(), Begin, StaleAfter);
    EXPECT_EQ("furnace3.temperature", text(model, 3, TagTableModel::Name));
    EXPECT_EQ("3-PA0000021", text(model, 3, TagTableModel::Address));
    EXPECT_EQ("3", text(model, 3, TagTableModel::Station));
    EXPECT_EQ("4200", text(model, 0, TagTableModel::Value));
    EXPECT_EQ("65.0 s", text(model, 3, TagTableModel::Age));
    const char *const states[] = {"ok", "waiting", "stale", "failed"};
    for (int row = 0; row < 4; ++row)
        EXPECT_EQ(states[row], text(model, row, TagTableModel::State));
    EXPECT_TRUE(model.index(3, 0).data(TagTableModel::HasValueRole).toBool());
}

TEST(TagTableModel, MarksAValueThatIsNotLiveWhereItStands)
{
    TagTableModel model({}, DefaultStation);
    std::vector<TagView> round = oneOfEachState();
    round.push_back(tagView("a", "NA30", {7}, TagState::Waiting));
    model.showRound(round, Begin, StaleAfter);
    EXPECT_EQ("4200", text(model, 0, TagTableModel::Value));
    EXPECT_EQ("-", text(model, 1, TagTableModel::Value)) << "there is nothing to mistake";
    EXPECT_EQ("? 512", text(model, 2, TagTableModel::Value));
    EXPECT_EQ("? 3999", text(model, 3, TagTableModel::Value));
    EXPECT_EQ("? 7", text(model, 4, TagTableModel::Value));
}

TEST(TagTableModel, CountsTheLiveValues)
{
    TagTableModel model(tagsOf(oneOfEachState()), DefaultStation);
    EXPECT_EQ(0, model.liveTags());
    model.showRound(oneOfEachState(), Begin, StaleAfter);
    EXPECT_EQ(1, model.liveTags());
    model.setNow(Begin + StaleAfter);
    EXPECT_EQ(0, model.liveTags());
}

TEST(TagTableModel, NamesItsColumns)
{
    const TagTableModel model({}, DefaultStation);
    const char *const headings[] = {"Tag", "Address", "Station", "Value", "Age", "State"};
    for (int column = 0; column < 6; ++column)
        EXPECT_STREQ(headings[column],
                     qPrintable(model.headerData(column, Qt::Horizontal).toString()));
    EXPECT_FALSE(model.headerData(6, Qt::Horizontal).isValid());
    EXPECT_FALSE(model.headerData(-1, Qt::Horizontal).isValid());
    EXPECT_FALSE(model.headerData(0, Qt::Vertical).isValid());
}

TEST(TagTableModel, LetsAgesGrowBetweenRounds)
{
    TagTableModel model(tagsOf(oneOfEachState()), DefaultStation);
    model.showRound(oneOfEachState(), Begin, StaleAfter);
    model.setNow(Begin + 500);
    EXPECT_EQ("580 ms", text(model, 0, TagTableModel::Age));
    EXPECT_EQ("never", text(model, 1, TagTableModel::Age));
    EXPECT_EQ("12.8 s", text(model, 2, TagTableModel::Age));
}

TEST(TagTableModel, TurnsAValueStaleOnceItIsOlderThanTheLimit)
{
    TagTableModel model({}, DefaultStation);
    model.showRound(oneOfEachState(), Begin, StaleAfter);
    model.setNow(Begin + StaleAfter - 80);
    EXPECT_EQ(TagState::Ok, state(model, 0));
    model.setNow(Begin + StaleAfter - 80 + 1);
    EXPECT_EQ(TagState::Stale, state(model, 0));
    EXPECT_EQ("stale", text(model, 0, TagTableModel::State));
    EXPECT_EQ(TagState::Failed, state(model, 3)) << "what has failed stays failed";
    EXPECT_EQ(TagState::Waiting, state(model, 1));
}

TEST(TagTableModel, IsLiveAgainWithTheNextRound)
{
    TagTableModel model({}, DefaultStation);
    model.showRound(oneOfEachState(), Begin, StaleAfter);
    model.setNow(Begin + 60000);
    ASSERT_EQ(TagState::Stale, state(model, 0));
    model.showRound(oneOfEachState(), Begin + 60000, StaleAfter);
    EXPECT_EQ(TagState::Ok, state(model, 0));
    EXPECT_EQ("80 ms", text(model, 0, TagTableModel::Age));
}

TEST(TagTableModel, OnlySaysThatDataChangedAsLongAsTheTagsAreTheSame)
{
    TagTableModel model(tagsOf(oneOfEachState()), DefaultStation);
    const QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    const QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    model.showRound(oneOfEachState(), Begin, StaleAfter);
    model.setNow(Begin + 1);
    EXPECT_EQ(2, changes.size());
    EXPECT_EQ(0, resets.size());
    model.setNow(Begin + 1);
    EXPECT_EQ(2, changes.size()) << "nothing changed";
}

TEST(TagTableModel, SaysThatAllChangedWhenTheNumberOfTagsDoes)
{
    TagTableModel model(tagsOf(oneOfEachState()), DefaultStation);
    model.setPen(0, 3);
    const QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    model.showRound({tagView("other", "NA30", {1})}, Begin, StaleAfter);
    EXPECT_EQ(1, resets.size());
    EXPECT_EQ(1, model.rowCount());
    EXPECT_EQ(-1, model.rowOfPen(0));
    model.showRound({}, Begin, StaleAfter);
    EXPECT_EQ(0, model.rowCount());
    model.setNow(Begin + 1);
}

TEST(TagTableModel, KnowsWhichPenDrawsARow)
{
    TagTableModel model(tagsOf(oneOfEachState()), DefaultStation);
    EXPECT_EQ(-1, model.penOf(2));
    model.setPen(1, 2);
    EXPECT_EQ(1, model.penOf(2));
    EXPECT_EQ(1, model.index(2, 0).data(TagTableModel::PenRole).toInt());
    EXPECT_EQ(2, model.rowOfPen(1));
    model.setPen(1, -1);
    EXPECT_EQ(-1, model.penOf(2));
    EXPECT_EQ(-1, model.index(2, 0).data(TagTableModel::PenRole).toInt());
}

TEST(TagTableModel, DescribesATagInWholeWithoutTakingItsNameForMarkup)
{
    TagTableModel model({}, DefaultStation);
    model.showRound({tagView("<b>hot & cold</b>", "3-NA20", {1, 2, 255})}, Begin, StaleAfter);
    const std::string tip = model.index(0, 0).data(Qt::ToolTipRole).toString().toStdString();
    EXPECT_NE(std::string::npos, tip.find("&lt;b&gt;hot &amp; cold&lt;/b&gt;")) << tip;
    EXPECT_NE(std::string::npos, tip.find("1 2 255 (hex 00000001 00000002 000000FF)")) << tip;
    EXPECT_NE(std::string::npos, tip.find("3-NA20, station 3")) << tip;
}

} // namespace
