#include "tests/common/zsetting_fixture.h"

#include <climits>
#include <cstdio>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

typedef ZSettingTest ZSettingLoading;
typedef ZSettingTest ZSettingReading;
typedef ZSettingTest ZSettingWriting;
typedef ZSettingTest ZSettingSaving;
typedef ZSettingTest ZSettingDropping;
typedef ZSettingTest ZSettingOnTheBus;

const int BeeperSwitch = 12;

// --- the frames of a whole life ---

TEST_F(ZSettingOnTheBus, LoadChangeTwoAndSave)
{
    putInChip(BeeperSwitch, 0);
    putInChip(99, 0x1234);
    const std::string zeros = hexOf(QByteArray(198, '\0'));

    ZSetting *const settings = store();
    settings->setSettingValue(BeeperSwitch, 1);
    settings->setSettingValue(98, 0xABCD);
    letTheSecondPass();

    for (const std::string &frame : bed.frames()) {
        printf("%s\n", frame.c_str());
    }
    EXPECT_THAT(bed.frames(), ElementsAre("03 00 00 > 00 00",               // length
                                          "03 00 04 > " + zeros + " 34 12", // table
                                          "03 00 02 > 00 00",               // sum
                                          "06", "02 00 1C 01 00", "04",     // setting 12
                                          "06", "02 00 C8 CD AB", "04",     // setting 98
                                          "06", "02 00 02 02 BE", "04"));   // the new sum
}

// --- loading ---

TEST_F(ZSettingLoading, HappensOnceWithTheFirstCall)
{
    ZSetting *const first = store();
    EXPECT_EQ(3u, bed.frames().size());
    EXPECT_EQ(first, store());
    EXPECT_EQ(3u, bed.frames().size());
}

TEST_F(ZSettingLoading, TellsWhereTheTableIs)
{
    store();
    EXPECT_THAT(log.texts(QtDebugMsg), ElementsAre(StartsWith(" m_settingbuffer's pointer is 0x")));
}

TEST_F(ZSettingLoading, TakesWordsLeastSignificantByteFirst)
{
    bed.withChip([](Fm25v02 &chip) {
        chip.setByteAt(4, 0x34);
        chip.setByteAt(5, 0x12);
        chip.setByteAt(202, 0xFF);
        chip.setByteAt(203, 0x80);
        chip.setByteAt(204, 0x77);
    });
    EXPECT_EQ(0x1234, store()->getSettingValue(0));
    EXPECT_EQ(0x80FF, store()->getSettingValue(99));
}

TEST_F(ZSettingLoading, TakesEverySettingFromItsPlace)
{
    fillChip();
    store();
    EXPECT_EQ(chipTable(), table());
}

TEST_F(ZSettingLoading, IgnoresTheLengthWord)
{
    fillChip();
    for (const int length : {0, 1, 199, 201, 0xFFFF}) {
        putWord(LengthAddress, length);
        store();
        EXPECT_EQ(chipTable(), table()) << length;
        ZSetting::drop();
    }
}

TEST_F(ZSettingLoading, AcceptsATableThatItsSumDoesNotFit)
{
    fillChip();
    putWord(CheckSumAddress, 0xDEAD);
    store();
    EXPECT_EQ(chipTable(), table());
    EXPECT_EQ(0xDEAD, bed.chipWord(CheckSumAddress));
}

TEST_F(ZSettingLoading, StartsNoTimer)
{
    store();
    EXPECT_FALSE(timer()->isActive());
}

// --- reading ---

TEST_F(ZSettingReading, GivesValuesFrom0To65535)
{
    putInChip(0, 0);
    putInChip(1, 0x7FFF);
    putInChip(98, 0x8000);
    putInChip(99, 0xFFFF);
    EXPECT_EQ(0, store()->getSettingValue(0));
    EXPECT_EQ(32767, store()->getSettingValue(1));
    EXPECT_EQ(32768, store()->getSettingValue(98));
    EXPECT_EQ(65535, store()->getSettingValue(99));
}

TEST_F(ZSettingReading, GivesMinusOneForAnyOtherIndex)
{
    fillChip();
    for (const int index : {100, 101, 65536, INT_MAX, -1, -100, INT_MIN}) {
        EXPECT_EQ(-1, store()->getSettingValue(index)) << index;
    }
}

TEST_F(ZSettingReading, PutsNothingOnTheBus)
{
    load();
    table();
    EXPECT_THAT(bed.frames(), IsEmpty());
}

// --- writing ---

TEST_F(ZSettingWriting, IsSeenAtOnceAndLogged)
{
    EXPECT_TRUE(store()->setSettingValue(BeeperSwitch, 1));
    EXPECT_EQ(1, store()->getSettingValue(BeeperSwitch));
    EXPECT_THAT(log.texts(QtDebugMsg), Contains("field = 12 val = 1"));
}

TEST_F(ZSettingWriting, ReachesTheFirstAndTheLastSetting)
{
    load();
    EXPECT_TRUE(store()->setSettingValue(0, 7));
    EXPECT_TRUE(store()->setSettingValue(99, 8));
    store()->manualSave();
    EXPECT_EQ(writes({{4, 7}, {202, 8}, {2, 15}}), bed.frames());
}

TEST_F(ZSettingWriting, RefusesAnyOtherIndexAndStartsNoTimer)
{
    fillChip();
    store();
    const std::vector<int> before = table();
    for (const int index : {100, 101, 65536, INT_MAX, -1, -100, INT_MIN}) {
        EXPECT_FALSE(store()->setSettingValue(index, 1)) << index;
        EXPECT_THAT(log.texts(QtDebugMsg),
                    Contains("field = " + std::to_string(index) + " val = 1"));
    }
    EXPECT_FALSE(timer()->isActive());
    EXPECT_EQ(before, table());
}

struct Kept {
    int value;
    int kept;
};

void PrintTo(const Kept &kept, std::ostream *out)
{
    *out << kept.value;
}

class ZSettingValues : public ZSettingTest, public testing::WithParamInterface<Kept>
{
};

TEST_P(ZSettingValues, KeepTheirLowest16Bits)
{
    EXPECT_TRUE(store()->setSettingValue(5, GetParam().value));
    EXPECT_EQ(GetParam().kept, store()->getSettingValue(5));
    store()->manualSave();
    EXPECT_EQ(GetParam().kept, inChip(5));
}

INSTANTIATE_TEST_SUITE_P(BothSidesOfEachBound, ZSettingValues,
                         testing::Values(Kept{0, 0}, Kept{1, 1}, Kept{255, 255}, Kept{256, 256},
                                         Kept{32767, 32767}, Kept{32768, 32768}, Kept{65535, 65535},
                                         Kept{65536, 0}, Kept{65537, 1}, Kept{-1, 65535},
                                         Kept{-65536, 0}, Kept{INT_MAX, 65535}, Kept{INT_MIN, 0}));

TEST_F(ZSettingWriting, StartsASingleShotOfASecond)
{
    store()->setSettingValue(3, 9);
    EXPECT_TRUE(timer()->isActive());
    EXPECT_TRUE(timer()->isSingleShot());
    EXPECT_EQ(1000, timer()->interval());
}

TEST_F(ZSettingWriting, StartsTheSecondAnew)
{
    store()->setSettingValue(3, 9);
    timer()->start(50);
    store()->setSettingValue(4, 9);
    EXPECT_EQ(1000, timer()->interval());
    EXPECT_GT(timer()->remainingTime(), 50);
}

TEST_F(ZSettingWriting, WritesNothingBeforeTheSecondHasPassed)
{
    load();
    store()->setSettingValue(3, 9);
    QCoreApplication::processEvents();
    EXPECT_THAT(bed.frames(), IsEmpty());
    EXPECT_TRUE(timer()->isActive());
}

TEST_F(ZSettingWriting, OfTheSameValueStartsTheSecondButWritesOnlyTheSum)
{
    putInChip(3, 9);
    load();
    EXPECT_TRUE(store()->setSettingValue(3, 9));
    letTheSecondPass();
    EXPECT_EQ(writes({{2, 9}}), bed.frames());
}

// --- saving ---

TEST_F(ZSettingSaving, OfSeveralChangesTakesOneSave)
{
    load();
    for (int value = 1; value <= 20; ++value) {
        store()->setSettingValue(3, value);
        store()->setSettingValue(4, 100 - value);
    }
    letTheSecondPass();
    EXPECT_EQ(writes({{10, 20}, {12, 80}, {2, 100}}), bed.frames());
    EXPECT_FALSE(timer()->isActive());
}

TEST_F(ZSettingSaving, GoesFromTheFirstSettingToTheLast)
{
    load();
    for (const int setting : {99, 0, 50}) {
        store()->setSettingValue(setting, setting + 1);
    }
    store()->saveSetting();
    EXPECT_EQ(writes({{4, 1}, {104, 51}, {202, 100}, {2, 152}}), bed.frames());
}

TEST_F(ZSettingSaving, NeverRewritesUnchangedWords)
{
    fillChip();
    load();
    store()->setSettingValue(7, 1);
    store()->manualSave();
    bed.forgetFrames();
    store()->setSettingValue(8, 2);
    store()->manualSave();
    const int sum = bed.chipWord(CheckSumAddress);
    EXPECT_EQ(writes({{addressOf(8), 2}, {2, sum}}), bed.frames());
    EXPECT_EQ(0, checkSumError());
}

TEST_F(ZSettingSaving, WithoutChangesWritesOnlyTheSum)
{
    putInChip(3, 0x0102);
    load();
    store()->saveSetting();
    store()->autoSave();
    EXPECT_EQ(writes({{2, 0x0102}, {2, 0x0102}}), bed.frames());
}

TEST_F(ZSettingSaving, OfAValueThatWasTakenBackWritesOnlyTheSum)
{
    putInChip(3, 5);
    load();
    store()->setSettingValue(3, 6);
    store()->setSettingValue(3, 5);
    store()->manualSave();
    EXPECT_EQ(writes({{2, 5}}), bed.frames());
}

TEST_F(ZSettingSaving, FollowsAValueThereAndBack)
{
    putInChip(3, 5);
    load();
    store()->setSettingValue(3, 6);
    store()->manualSave();
    store()->setSettingValue(3, 5);
    store()->manualSave();
    EXPECT_EQ(writes({{10, 6}, {2, 6}, {10, 5}, {2, 5}}), bed.frames());
}

TEST_F(ZSettingSaving, TakesTheSumModulo65536)
{
    load();
    store()->setSettingValue(0, 0xFFFF);
    store()->setSettingValue(1, 0x0001);
    store()->setSettingValue(2, 0x00A5);
    store()->manualSave();
    EXPECT_EQ(0x00A5, bed.chipWord(CheckSumAddress));
}

TEST_F(ZSettingSaving, OfTheLargestTableHasItsSum)
{
    load();
    for (int i = 0; i < SettingCount; ++i) {
        store()->setSettingValue(i, 65535);
    }
    store()->manualSave();
    EXPECT_EQ(65536 - 100, bed.chipWord(CheckSumAddress));
    EXPECT_EQ(3u * 101u, bed.frames().size());
}

TEST_F(ZSettingSaving, ByHandStopsTheTimer)
{
    load();
    store()->setSettingValue(3, 9);
    store()->manualSave();
    EXPECT_FALSE(timer()->isActive());
    EXPECT_EQ(9, inChip(3));
    EXPECT_EQ(6u, bed.frames().size());
}

TEST_F(ZSettingSaving, LeavesTheLengthAndTheRestOfTheChipAlone)
{
    putWord(LengthAddress, 0x4711);
    putWord(TableAddress + 2 * SettingCount, 0x0815);
    load();
    for (int i = 0; i < SettingCount; ++i) {
        store()->setSettingValue(i, 0xFFFF);
    }
    store()->manualSave();
    EXPECT_EQ(0x4711, bed.chipWord(LengthAddress));
    EXPECT_EQ(0x0815, bed.chipWord(TableAddress + 2 * SettingCount));
}

TEST_F(ZSettingSaving, PrintsNothing)
{
    load();
    store()->setSettingValue(3, 9);
    EXPECT_EQ("", printedBy([] { store()->manualSave(); }));
}

// --- the end of the program ---

TEST_F(ZSettingDropping, SavesWhatTheTimerHadToSave)
{
    load();
    store()->setSettingValue(3, 9);
    ZSetting::drop();
    EXPECT_EQ(writes({{10, 9}, {2, 9}}), bed.frames());
}

TEST_F(ZSettingDropping, WritesNothingWhenAllIsSaved)
{
    load();
    store()->setSettingValue(3, 9);
    store()->manualSave();
    bed.forgetFrames();
    ZSetting::drop();
    EXPECT_THAT(bed.frames(), IsEmpty());
}

TEST_F(ZSettingDropping, WritesNothingWhenNothingWasSet)
{
    load();
    table();
    ZSetting::drop();
    EXPECT_THAT(bed.frames(), IsEmpty());
}

TEST_F(ZSettingDropping, DoesNothingWithoutAnObject)
{
    ZSetting::drop();
    ZSetting::drop();
    EXPECT_THAT(bed.frames(), IsEmpty());
    EXPECT_THAT(bed.setUpRequests(), IsEmpty());
}

TEST_F(ZSettingDropping, LetsTheNextObjectLoadWhatWasSaved)
{
    store()->setSettingValue(3, 9);
    ZSetting::drop();
    bed.forgetFrames();
    EXPECT_EQ(9, store()->getSettingValue(3));
    EXPECT_EQ(3u, bed.frames().size());
}

TEST_F(ZSettingDropping, OfAnObjectWithQueuedCallsDeliversNoneOfThem)
{
    store();
    std::thread([] { store()->setSettingValue(3, 9); }).join();
    ZSetting::drop();
    bed.forgetFrames();
    QCoreApplication::processEvents();
    EXPECT_EQ(9, inChip(3));
    EXPECT_THAT(bed.frames(), IsEmpty());
}

} // namespace
