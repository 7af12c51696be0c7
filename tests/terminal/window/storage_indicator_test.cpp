#include "terminal/window/storage_indicator.h"

#include <limits>

#include <gtest/gtest.h>

#include "tests/terminal/window/sample_screen.h"

namespace
{

typedef BarCell::Tone Tone;

struct BytesCase {
    quint64 bytes;
    const char *text;
};

class BytesText : public testing::TestWithParam<BytesCase>
{
};

TEST_P(BytesText, HasTheUnitThatSuitsAndIsRoundedDown)
{
    EXPECT_EQ(GetParam().text, bytesText(GetParam().bytes).toStdString());
}

INSTANTIATE_TEST_SUITE_P(
    All, BytesText,
    testing::Values(BytesCase{0, "0 B"}, BytesCase{999, "999 B"}, BytesCase{1000, "1.0 kB"},
                    BytesCase{1999, "1.9 kB"}, BytesCase{99999, "99.9 kB"},
                    BytesCase{100000, "100 kB"}, BytesCase{999999, "999 kB"},
                    BytesCase{1000000, "1.0 MB"}, BytesCase{12345678901U, "12.3 GB"},
                    BytesCase{1999999999999U, "1.9 TB"}, BytesCase{5000000000000000U, "5.0 PB"},
                    BytesCase{std::numeric_limits<quint64>::max(), "18.4 EB"}));

TEST(StorageIndicator, SaysThatNothingIsPluggedIn)
{
    const StorageIndicator usb(StorageIndicator::Device::UsbStick);
    EXPECT_EQ("USB", usb.title());
    EXPECT_EQ("no stick", usb.detail());
    EXPECT_EQ(Tone::Quiet, usb.tone());
    const StorageIndicator card(StorageIndicator::Device::Card);
    EXPECT_EQ("Card", card.title());
    EXPECT_EQ("no card", card.detail());
}

TEST(StorageIndicator, ShowsTheRoomOnWhatIsMounted)
{
    StorageIndicator usb(StorageIndicator::Device::UsbStick);
    usb.setState(sampleStick());
    EXPECT_EQ("USB", usb.title());
    EXPECT_EQ("12.3 GB free", usb.detail());
    EXPECT_EQ(Tone::Normal, usb.tone());
    EXPECT_TRUE(usb.toolTip().contains("/run/media/sda1")) << usb.toolTip().toStdString();
    EXPECT_TRUE(usb.toolTip().contains("16.0 GB"));
}

TEST(StorageIndicator, WarnsInWordsAndColourWhileTheDeviceIsBusy)
{
    StorageIndicator card(StorageIndicator::Device::Card);
    StorageState state = sampleStick();
    state.busy = true;
    card.setState(state);
    EXPECT_EQ("Card busy", card.title());
    EXPECT_EQ("12.3 GB free", card.detail());
    EXPECT_EQ(Tone::Warning, card.tone());
    EXPECT_TRUE(card.toolTip().contains("do not pull it"));
}

TEST(StorageIndicator, WarnsOfAFullDevice)
{
    StorageIndicator usb(StorageIndicator::Device::UsbStick);
    StorageState state = sampleStick();
    state.freeBytes = 0;
    usb.setState(state);
    EXPECT_EQ("full", usb.detail());
    EXPECT_EQ(Tone::Warning, usb.tone());
}

TEST(StorageIndicator, DoesNotTakeAnUnknownSizeForAFullDevice)
{
    StorageIndicator usb(StorageIndicator::Device::UsbStick);
    StorageState state;
    state.mounted = true;
    usb.setState(state);
    EXPECT_EQ("size unknown", usb.detail());
    EXPECT_EQ(Tone::Normal, usb.tone());
}

TEST(StorageIndicator, ForgetsADeviceThatWasPulled)
{
    StorageIndicator usb(StorageIndicator::Device::UsbStick);
    StorageState state = sampleStick();
    state.busy = true;
    usb.setState(state);
    state.mounted = false;
    usb.setState(state);
    EXPECT_EQ("USB", usb.title());
    EXPECT_EQ("no stick", usb.detail());
    EXPECT_EQ(Tone::Quiet, usb.tone());
    EXPECT_FALSE(usb.toolTip().contains("/run/media"));
}

TEST(StorageIndicator, TakesNoMountPointForMarkup)
{
    StorageIndicator usb(StorageIndicator::Device::UsbStick);
    StorageState state = sampleStick();
    state.path = "/run/media/<b>%1 %2</b>";
    usb.setState(state);
    EXPECT_TRUE(usb.toolTip().contains("&lt;b&gt;%1 %2&lt;/b&gt;")) << usb.toolTip().toStdString();
}

TEST(StorageIndicator, IsAlwaysOfOneWidthThatHoldsItsTexts)
{
    StorageIndicator usb(StorageIndicator::Device::UsbStick);
    const QSize empty = usb.sizeHint();
    StorageState state = sampleStick();
    state.busy = true;
    usb.setState(state);
    EXPECT_EQ(empty, usb.sizeHint());
}

} // namespace
