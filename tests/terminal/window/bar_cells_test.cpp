#include "terminal/window/bar_cell.h"

#include <QSignalSpy>
#include <QTest>
#include <QToolTip>

#include <gtest/gtest.h>

#include "terminal/window/beep_switch.h"
#include "terminal/window/live_badge.h"
#include "terminal/window/message_button.h"
#include "terminal/window/storage_indicator.h"
#include "terminal/window/theme.h"

namespace
{

typedef BarCell::Tone Tone;

void showAtItsSize(BarCell *cell)
{
    cell->setFont(Theme::fontFor(QSize(800, 480)));
    cell->resize(cell->sizeHint());
    cell->show();
}

QColor backgroundOf(BarCell *cell)
{
    return cell->grab().toImage().pixelColor(cell->width() / 2, 6);
}

// ---- Beep switch

TEST(BeepSwitch, IsOffAtFirstAndSaysSo)
{
    BeepSwitch beep;
    EXPECT_FALSE(beep.isOn());
    EXPECT_EQ("Beep", beep.title());
    EXPECT_EQ("off", beep.detail());
}

TEST(BeepSwitch, SwitchesWithEachTouchAndTellsIt)
{
    BeepSwitch beep;
    showAtItsSize(&beep);
    const QSignalSpy switched(&beep, &BeepSwitch::switched);
    QTest::mouseClick(&beep, Qt::LeftButton);
    ASSERT_EQ(1, switched.size());
    EXPECT_TRUE(switched.at(0).at(0).toBool());
    EXPECT_EQ("on", beep.detail());
    QTest::mouseClick(&beep, Qt::LeftButton);
    ASSERT_EQ(2, switched.size());
    EXPECT_FALSE(switched.at(1).at(0).toBool());
    EXPECT_EQ("off", beep.detail());
}

TEST(BeepSwitch, TellsNothingWhenItIsSet)
{
    BeepSwitch beep;
    const QSignalSpy switched(&beep, &BeepSwitch::switched);
    beep.setOn(true);
    beep.setOn(false);
    EXPECT_EQ(0, switched.size());
}

TEST(BeepSwitch, LightsUpWhileItSoundsWhetherItIsOnOrOff)
{
    BeepSwitch beep;
    showAtItsSize(&beep);
    for (const bool on : {false, true}) {
        beep.setOn(on);
        EXPECT_EQ(QColor(Theme::BarButton), backgroundOf(&beep));
        beep.setLit(true);
        EXPECT_EQ(Tone::Lit, beep.tone());
        EXPECT_EQ(QColor(Theme::Lit), backgroundOf(&beep));
        beep.setLit(false);
        EXPECT_EQ(on ? Tone::Normal : Tone::Quiet, beep.tone());
    }
}

TEST(BeepSwitch, HasAnotherSignWhenItIsOff)
{
    BeepSwitch beep;
    showAtItsSize(&beep);
    const QRect sign(0, 0, 28, beep.height());
    beep.setLit(true); // the same colours for both
    beep.setLit(false);
    beep.setOn(true);
    const QImage on = beep.grab(sign).toImage();
    beep.setOn(false);
    EXPECT_NE(on, beep.grab(sign).toImage());
}

// ---- Live badge

TEST(LiveBadge, WarnsUntilTheFirstValues)
{
    const LiveBadge badge;
    EXPECT_EQ("WAITING", badge.title());
    EXPECT_EQ(Tone::Warning, badge.tone());
}

TEST(LiveBadge, IsCalmOnlyWhenAllIsLive)
{
    LiveBadge badge;
    badge.showTags(16, 16);
    EXPECT_EQ("LIVE", badge.title());
    EXPECT_EQ("16 tags", badge.detail());
    EXPECT_EQ(Tone::Normal, badge.tone());
    badge.showTags(15, 16);
    EXPECT_EQ("PARTLY LIVE", badge.title());
    EXPECT_EQ("15 of 16", badge.detail());
    EXPECT_EQ(Tone::Warning, badge.tone());
}

TEST(LiveBadge, RaisesAnAlarmWhenNothingComes)
{
    LiveBadge badge;
    badge.showSilence(12300);
    EXPECT_EQ("NO DATA", badge.title());
    EXPECT_EQ("for 12.3 s", badge.detail());
    EXPECT_EQ(Tone::Alarm, badge.tone());
}

TEST(LiveBadge, IsWideEnoughForAllItSays)
{
    LiveBadge badge;
    showAtItsSize(&badge);
    const QFont small = Theme::smallFont(badge.font());
    const QFont bold = Theme::boldFont(badge.font());
    for (const char *const title : {"WAITING", "LIVE", "PARTLY LIVE", "NO DATA"})
        EXPECT_LE(Theme::textWidth(bold, title) + 12, badge.width()) << title;
    for (const char *const detail : {"no values yet", "10000 of 10000", "for 99999.9 s"})
        EXPECT_LE(Theme::textWidth(small, detail) + 12, badge.width()) << detail;
}

// ---- All cells

TEST(BarCell, IsLargeEnoughForAFinger)
{
    BeepSwitch beep;
    MessageButton messages;
    for (BarCell *const cell : {static_cast<BarCell *>(&beep), static_cast<BarCell *>(&messages)}) {
        showAtItsSize(cell);
        EXPECT_GE(cell->width(), Theme::TouchTarget);
        EXPECT_GE(cell->height(), Theme::TouchTarget);
    }
}

TEST(BarCell, ShowsThatItIsPressed)
{
    MessageButton messages;
    showAtItsSize(&messages);
    EXPECT_EQ(QColor(Theme::BarButton), backgroundOf(&messages));
    QTest::mousePress(&messages, Qt::LeftButton);
    EXPECT_EQ(QColor(Theme::BarButtonDown), backgroundOf(&messages));
    QTest::mouseRelease(&messages, Qt::LeftButton);
    EXPECT_EQ(QColor(Theme::BarButton), backgroundOf(&messages));
}

TEST(BarCell, ShowsItsToolTipAtATouchWhenItIsNoButton)
{
    LiveBadge badge;
    showAtItsSize(&badge);
    const QSignalSpy clicks(&badge, &QAbstractButton::clicked);
    QTest::mouseClick(&badge, Qt::LeftButton);
    EXPECT_EQ(0, clicks.size());
    EXPECT_EQ(badge.toolTip(), QToolTip::text());
    QToolTip::hideText();
}

TEST(BarCell, PaintsInWhateverRoomItGets)
{
    BeepSwitch beep;
    LiveBadge badge;
    StorageIndicator usb(StorageIndicator::Device::UsbStick);
    for (BarCell *const cell : {static_cast<BarCell *>(&beep), static_cast<BarCell *>(&badge),
                                static_cast<BarCell *>(&usb)}) {
        for (const QSize size : {QSize(1, 1), QSize(10, 60), QSize(1000, 5)}) {
            cell->resize(size);
            EXPECT_FALSE(cell->grab().isNull());
        }
    }
}

} // namespace
