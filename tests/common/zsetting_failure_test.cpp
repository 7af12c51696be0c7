// The settings on a bus that fails, on a chip that is not there, and at random.

#include "tests/common/zsetting_fixture.h"

#include <random>

using testing::Contains;
using testing::IsEmpty;

namespace
{

typedef ZSettingTest ZSettingFailedLoad;
typedef ZSettingTest ZSettingFailedSave;
typedef ZSettingTest ZSettingAtRandom;

const int ReadsOfALoad = 3;
const int LengthRead = 0;
const int TableRead = 1;
const int CheckSumRead = 2;

// The messages of a word's writing.
const int WriteEnable = 0;
const int Data = 1;
const int WriteDisable = 2;
const int MessagesOfAWord = 3;

const std::vector<int> AllZero(SettingCount, 0);

// --- loading ---

TEST_F(ZSettingFailedLoad, OfTheTableGivesZerosThatCanBeReadAndSet)
{
    fillChip();
    bed.failMessage(TableRead, SpidevBed::Whole);
    EXPECT_EQ(AllZero, table());
    EXPECT_TRUE(store()->setSettingValue(3, 9));
    EXPECT_EQ(9, store()->getSettingValue(3));
    EXPECT_THAT(log.texts(QtDebugMsg), Contains("SpiFram::FM25V02_READ fail"));
}

TEST_F(ZSettingFailedLoad, OfTheTableLeavesWordsThatNobodySetAsTheyAre)
{
    fillChip();
    const std::vector<int> before = chipTable();
    bed.failMessage(TableRead);
    load();
    store()->manualSave();
    EXPECT_EQ(writes({{2, 0}}), bed.frames());
    EXPECT_EQ(before, chipTable());
}

TEST_F(ZSettingFailedLoad, OfTheTableWritesWhatIsSetEvenWhenItIsZero)
{
    fillChip();
    bed.failMessage(TableRead);
    load();
    store()->setSettingValue(3, 0);
    store()->setSettingValue(4, 9);
    letTheSecondPass();
    EXPECT_EQ(writes({{10, 0}, {12, 9}, {2, 9}}), bed.frames());
}

TEST_F(ZSettingFailedLoad, OfTheTableWritesAWordOnlyOnce)
{
    fillChip();
    bed.failMessage(TableRead);
    load();
    store()->setSettingValue(3, 0);
    store()->manualSave();
    bed.forgetFrames();
    store()->setSettingValue(3, 0);
    store()->manualSave();
    EXPECT_EQ(writes({{2, 0}}), bed.frames());
}

TEST_F(ZSettingFailedLoad, OfLengthAndSumChangesNothing)
{
    fillChip();
    bed.failMessage(LengthRead);
    bed.failMessage(CheckSumRead);
    load();
    EXPECT_EQ(chipTable(), table());
    store()->setSettingValue(3, 0x1003);
    store()->manualSave();
    EXPECT_EQ(static_cast<size_t>(MessagesOfAWord), bed.frames().size());
}

TEST_F(ZSettingFailedLoad, ThatCameShortCountsAsFailed)
{
    fillChip();
    bed.setFault(TableRead, {SpidevBed::Whole, 202, 0});
    EXPECT_EQ(AllZero, table());
}

// --- saving ---

class ZSettingLosingAMessage : public ZSettingTest, public testing::WithParamInterface<int>
{
};

TEST_P(ZSettingLosingAMessage, WritesTheWordWithTheNextSave)
{
    fillChip();
    load();
    store()->setSettingValue(3, 9);
    bed.failMessage(GetParam());
    store()->manualSave();
    bed.forgetFrames();
    store()->manualSave();
    EXPECT_EQ(writes({{10, 9}, {2, bed.chipWord(CheckSumAddress)}}), bed.frames());
    EXPECT_EQ(table(), chipTable());
    EXPECT_EQ(0, checkSumError());
}

TEST_P(ZSettingLosingAMessage, ChangesNoOtherWordAndWritesTheOthers)
{
    fillChip();
    load();
    std::vector<int> wanted = chipTable();
    for (const int setting : {2, 3, 4}) {
        store()->setSettingValue(setting, setting);
        wanted[static_cast<size_t>(setting)] = setting;
    }
    bed.failMessage(MessagesOfAWord + GetParam());
    store()->manualSave();
    wanted[3] = 0x1003;
    EXPECT_EQ(wanted, chipTable());
    EXPECT_EQ(4u * MessagesOfAWord, bed.frames().size());
}

TEST_P(ZSettingLosingAMessage, WritesAWordThatWasTakenBackMeanwhile)
{
    putInChip(3, 5);
    load();
    store()->setSettingValue(3, 6);
    bed.failMessage(GetParam(), SpidevBed::Whole);
    store()->manualSave();
    bed.forgetFrames();
    store()->setSettingValue(3, 5);
    store()->manualSave();
    EXPECT_EQ(writes({{10, 5}, {2, 5}}), bed.frames());
    EXPECT_EQ(5, inChip(3));
}

TEST_P(ZSettingLosingAMessage, IsMadeUpForAtTheEndOfTheProgram)
{
    load();
    store()->setSettingValue(3, 9);
    bed.failMessage(GetParam());
    store()->manualSave();
    ZSetting::drop();
    EXPECT_EQ(9, inChip(3));
    EXPECT_EQ(0, checkSumError());
}

INSTANTIATE_TEST_SUITE_P(BeforeTheChipHasTheWord, ZSettingLosingAMessage,
                         testing::Values(WriteEnable, Data));

TEST_F(ZSettingFailedSave, ThatOnlyLostTheWriteDisableIsComplete)
{
    load();
    store()->setSettingValue(3, 9);
    bed.failMessage(WriteDisable);
    store()->manualSave();
    EXPECT_EQ(9, inChip(3));
    bed.forgetFrames();
    store()->manualSave();
    EXPECT_EQ(writes({{2, 9}}), bed.frames());
}

TEST_F(ZSettingFailedSave, ThatTheChipGotAllTheSameIsRepeated)
{
    load();
    store()->setSettingValue(3, 9);
    bed.failMessage(Data, SpidevBed::Whole);
    store()->manualSave();
    EXPECT_EQ(9, inChip(3));
    bed.forgetFrames();
    store()->manualSave();
    EXPECT_EQ(writes({{10, 9}, {2, 9}}), bed.frames());
}

TEST_F(ZSettingFailedSave, ThatWasCutWithinAWordIsRepeated)
{
    putInChip(3, 0x1111);
    putInChip(4, 0x2222);
    load();
    store()->setSettingValue(3, 0x3333);
    bed.failMessage(Data, 4);
    store()->manualSave();
    EXPECT_EQ(0x1133, inChip(3));
    EXPECT_EQ(0x2222, inChip(4));
    store()->setSettingValue(3, 0x1111);
    store()->manualSave();
    EXPECT_EQ(0x1111, inChip(3));
}

TEST_F(ZSettingFailedSave, OfTheSumIsMadeUpForAtTheEndOfTheProgram)
{
    load();
    store()->setSettingValue(3, 9);
    bed.failMessage(MessagesOfAWord + Data);
    store()->manualSave();
    EXPECT_EQ(-9, checkSumError());
    bed.forgetFrames();
    ZSetting::drop();
    EXPECT_EQ(writes({{2, 9}}), bed.frames());
}

TEST_F(ZSettingFailedSave, IsNotRepeatedByItself)
{
    load();
    store()->setSettingValue(3, 9);
    bed.failMessage(Data);
    letTheSecondPass();
    EXPECT_FALSE(timer()->isActive());
}

TEST_F(ZSettingFailedSave, KeepsTheValue)
{
    load();
    store()->setSettingValue(3, 9);
    bed.failWhere([](const QByteArray &) { return true; });
    store()->manualSave();
    EXPECT_EQ(9, store()->getSettingValue(3));
}

TEST_F(ZSettingFailedSave, DoesNotBringBackAnOldValue)
{
    load();
    store()->setSettingValue(3, 9);
    bed.failWhere([](const QByteArray &) { return true; });
    for (int i = 0; i < 3; ++i) {
        store()->manualSave();
    }
    bed.clearFaults();
    store()->setSettingValue(3, 10);
    bed.forgetFrames();
    store()->manualSave();
    EXPECT_EQ(writes({{10, 10}, {2, 10}}), bed.frames());
}

// --- no device ---

class ZSettingWithoutChip : public ZSettingTest
{
protected:
    ZSettingWithoutChip() : ZSettingTest(SpidevBed::Absent) {}
};

TEST_F(ZSettingWithoutChip, SaysSoAndHasAllSettingsAtZero)
{
    EXPECT_EQ("Can't open SPI device ,load parameter by default!\n", printedBy([] { store(); }));
    EXPECT_EQ(AllZero, table());
    EXPECT_EQ(static_cast<size_t>(ReadsOfALoad) + 1, log.texts(QtDebugMsg).size());
}

TEST_F(ZSettingWithoutChip, KeepsValuesAsLongAsItLives)
{
    EXPECT_TRUE(store()->setSettingValue(12, 1));
    letTheSecondPass();
    store()->manualSave();
    EXPECT_EQ(1, store()->getSettingValue(12));
    EXPECT_THAT(log.texts(QtDebugMsg), Contains("SpiFram::MSPISendData fail"));
    ZSetting::drop();
    EXPECT_EQ(0, store()->getSettingValue(12));
}

TEST_F(ZSettingWithoutChip, StillKnowsItsIndexes)
{
    EXPECT_EQ(-1, store()->getSettingValue(100));
    EXPECT_FALSE(store()->setSettingValue(100, 1));
    EXPECT_FALSE(timer()->isActive());
}

TEST_F(ZSettingWithoutChip, IsDroppedWithoutHarm)
{
    store()->setSettingValue(12, 1);
    ZSetting::drop();
    EXPECT_THAT(bed.frames(), IsEmpty());
}

// --- at random ---

/// Random work on the settings and on a plain table beside them.
class Work
{
public:
    explicit Work(unsigned seed) : m_random(seed) {}

    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

    /// Sets the even settings only, and often to what they are.
    void set(ZSetting *settings, std::vector<int> *wanted)
    {
        const int setting = 2 * below(SettingCount / 2);
        const int value = below(2) == 0 ? below(3) : below(65536);
        settings->setSettingValue(setting, value);
        (*wanted)[static_cast<size_t>(setting)] = value;
    }

    void spoil(SpidevBed *bed)
    {
        static const int lengths[] = {0, 1, 2, 3, 4, 5, SpidevBed::Whole};
        const int faults = below(4);
        for (int i = 0; i < faults; ++i) {
            bed->failMessage(below(30), lengths[below(7)]);
        }
    }

private:
    std::mt19937 m_random;
};

class ZSettingSeeds : public ZSettingTest, public testing::WithParamInterface<unsigned>
{
};

TEST_P(ZSettingSeeds, TheChipHasTheTableAfterAGoodSaveAndOtherWordsAsTheyWere)
{
    Work work(GetParam());
    fillChip();
    std::vector<int> wanted = chipTable();
    store();
    for (int round = 0; round < 25; ++round) {
        for (int i = work.below(8); i > 0; --i) {
            work.set(store(), &wanted);
        }
        work.spoil(&bed);
        store()->manualSave();
        EXPECT_EQ(wanted, table());
    }
    bed.clearFaults();
    store()->manualSave();
    EXPECT_EQ(wanted, chipTable());
    EXPECT_EQ(0, checkSumError());
}

TEST_P(ZSettingSeeds, WordsThatWereNeverSetStayWhenTheChipCouldNotBeRead)
{
    Work work(GetParam());
    fillChip();
    bed.failMessage(TableRead);
    load();
    std::vector<int> wanted = chipTable();
    for (int round = 0; round < 25; ++round) {
        work.set(store(), &wanted);
        work.spoil(&bed);
        store()->manualSave();
    }
    bed.clearFaults();
    store()->manualSave();
    EXPECT_EQ(wanted, chipTable());
}

INSTANTIATE_TEST_SUITE_P(Some, ZSettingSeeds, testing::Range(1u, 21u));

} // namespace
