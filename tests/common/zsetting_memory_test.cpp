// The settings without memory for their table. Its allocation is the only one here that may fail
// without an exception, so that is the one to replace.

#include "tests/common/zsetting_fixture.h"

#include <climits>
#include <cstdlib>
#include <new>

using testing::IsEmpty;

namespace
{

bool memoryIsFull = false;

} // namespace

void *operator new[](std::size_t size, const std::nothrow_t &) noexcept
{
    return memoryIsFull ? nullptr : ::operator new[](size);
}

namespace
{

class ZSettingWithoutMemory : public ZSettingTest
{
protected:
    ZSettingWithoutMemory()
    {
        fillChip();
        memoryIsFull = true;
        printed = printedBy([] { store(); });
        memoryIsFull = false;
    }

    std::string printed;
};

TEST_F(ZSettingWithoutMemory, SaysSoAndReadsNoTable)
{
    EXPECT_THAT(printed, testing::EndsWith("\nm_settingbuffer _mmap_failed\n"));
    EXPECT_THAT(bed.frames(), testing::ElementsAre("03 00 00 > 00 00"));
    EXPECT_THAT(log.texts(QtDebugMsg), IsEmpty());
}

TEST_F(ZSettingWithoutMemory, GivesMinusOneForEveryIndex)
{
    for (const int index : {0, 12, 99, 100, -1, INT_MAX}) {
        EXPECT_EQ(-1, store()->getSettingValue(index)) << index;
    }
}

TEST_F(ZSettingWithoutMemory, KeepsNoValueAndStartsNoTimer)
{
    EXPECT_TRUE(store()->setSettingValue(12, 1));
    EXPECT_FALSE(store()->setSettingValue(100, 1));
    EXPECT_EQ(-1, store()->getSettingValue(12));
    EXPECT_FALSE(timer()->isActive());
}

TEST_F(ZSettingWithoutMemory, SavesNothingAndSaysSo)
{
    bed.forgetFrames();
    EXPECT_EQ("no valid setting!\n", printedBy([] { store()->manualSave(); }));
    EXPECT_EQ("no valid setting!\n", printedBy([] { store()->autoSave(); }));
    EXPECT_THAT(bed.frames(), IsEmpty());
}

TEST_F(ZSettingWithoutMemory, IsDroppedAndLoadsWithTheNextObject)
{
    store()->setSettingValue(12, 1);
    EXPECT_EQ("", printedBy([] { ZSetting::drop(); }));
    EXPECT_EQ(0x100C, store()->getSettingValue(12));
}

} // namespace
