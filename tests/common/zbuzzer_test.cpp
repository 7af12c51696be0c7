// What the beeper plays, and what it makes of the operator's choice.

#include "common/zbuzzer.h"
#include "tests/driver/vtable_slot.h"

#include <climits>
#include <ostream>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hmi/desktop/desktop_platform.h"
#include "hmi/platform.h"
#include "tests/common/zbuzzer_bench.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

namespace
{

const int HostSoundsType = 4;

class BuzzerTest : public BuzzerBench
{
protected:
    /// A panel that leaves its sounds to the host.
    void beTypeFour() { Platform::getInstance()->type = HostSoundsType; }
    void beDesktop() { setPlatformIsPanel(false); }
};

// ---- The sounds of the terminal ----------------------------------------------------------------

struct SoundRow {
    ZBuzzer::SoundType type;
    int duration;
    const char *period;
    const char *duty;
    int hostDuration;
    int hostFrequency;
};

/// The row's name in the list of tests.
void PrintTo(const SoundRow &row, std::ostream *stream)
{
    *stream << "type " << row.type;
}

const SoundRow Sounds[] = {
    {ZBuzzer::SoundShort, 120, "434782", "217391", 120, 4600},
    {ZBuzzer::SoundLow, 200, "723588", "361794", 200, 2764},
    {ZBuzzer::SoundMiddle, 160, "575372", "287686", 160, 3476},
    {ZBuzzer::SoundLong, 240, "866174", "433087", 240, 2309},
    {ZBuzzer::SoundKeyClick, 100, "344826", "172413", 100, 2900},
    {ZBuzzer::SoundTick, 60, "322580", "161290", 100, 2700},
};

class EachSound : public BuzzerTest, public testing::WithParamInterface<SoundRow>
{
protected:
    void expectHostSound()
    {
        listen();
        bringUp();
        buzzer->makeSound(GetParam().type);
        EXPECT_THAT(hostBeeps(),
                    ElementsAre(Pair(GetParam().hostFrequency, GetParam().hostDuration)));
        EXPECT_EQ(1, done()) << "it is not told at once";
        EXPECT_THAT(journal.deeds(), IsEmpty());
    }
};

TEST_P(EachSound, IsPlayedOnAPanel)
{
    listen();
    bringUp();
    buzzer->makeSound(GetParam().type);
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(tuned(GetParam().period, GetParam().duty) + sounded(GetParam().duration),
              journal.deeds());
    EXPECT_THAT(hostBeeps(), IsEmpty());
}

TEST_P(EachSound, IsTheHostsOnADesktop)
{
    beDesktop();
    expectHostSound();
}

TEST_P(EachSound, IsTheHostsOnTypeFour)
{
    beTypeFour();
    expectHostSound();
}

INSTANTIATE_TEST_SUITE_P(Buzzer, EachSound, testing::ValuesIn(Sounds));

TEST_F(BuzzerTest, NumbersItsSoundsAsCallersKnowThem)
{
    for (int number = 0; number < 6; ++number)
        EXPECT_EQ(number, static_cast<int>(Sounds[number].type));
}

TEST_F(BuzzerTest, KnowsNoOtherSound)
{
    listen();
    bringUp();
    for (const int type : {-1, 6, 7})
        buzzer->makeSound(static_cast<ZBuzzer::SoundType>(type));
    EXPECT_EQ(0, done());
    buzzer->makeSound(10, 4600); // what came before it would have been played before it
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(tuned("434782", "217391") + sounded(10), journal.deeds());
}

// ---- Frequencies -------------------------------------------------------------------------------

TEST_F(BuzzerTest, SwingsAtHalfTheNominalFrequency)
{
    const struct {
        int frequency;
        const char *period;
        const char *duty;
    } rows[] = {
        {1, "2000000000", "1000000000"},
        {2, "1000000000", "500000000"},
        {3, "666666666", "333333333"},
        {7, "285714284", "142857142"},
        {2900, "689654", "344827"},
        {999999999, "2", "1"},
        {1000000000, "2", "1"},
        {1000000001, "0", "0"}, // the kernel refuses it, and a duty of 0 is silent
        {INT_MAX, "0", "0"},
    };
    bringUp();
    for (const auto &row : rows) {
        journal.clear();
        buzzer->setBuzzerFrequency(row.frequency);
        EXPECT_EQ(tuned(row.period, row.duty), journal.deeds()) << row.frequency << " Hz";
    }
}

TEST_F(BuzzerTest, IsTunedOnceForBeepsOfOneFrequency)
{
    bringUp();
    gate.shut();
    buzzer->makeSound(30, 2900);
    buzzer->makeSound(40, 2900);
    buzzer->makeSound(50, 4600);
    buzzer->makeSound(60, 2900);
    gate.open();
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(tuned("689654", "344827") + sounded(30) + sounded(40) + tuned("434782", "217391") +
                  sounded(50) + tuned("689654", "344827") + sounded(60),
              journal.deeds());
}

TEST_F(BuzzerTest, IsNotTunedBelowOneHertz)
{
    bringUp();
    buzzer->setBuzzerFrequency(0);
    buzzer->setBuzzerFrequency(-1);
    buzzer->setBuzzerFrequency(INT_MIN);
    EXPECT_THAT(journal.deeds(), IsEmpty());
    EXPECT_THAT(log.texts(QtDebugMsg), Contains("no frequency of 0 Hz"));
    EXPECT_THAT(log.texts(QtDebugMsg), Contains("no frequency of -1 Hz"));
}

TEST_F(BuzzerTest, SwitchesTheToneAsTold)
{
    bringUp();
    buzzer->setBuzzerSwitch(true);
    buzzer->setBuzzerSwitch(false);
    EXPECT_THAT(journal.deeds(), ElementsAre(OnLine, OffLine));
}

TEST_F(BuzzerTest, KnowsNoCommands)
{
    bringUp();
    buzzer->setBuzzerCommand(0);
    buzzer->setBuzzerCommand(1);
    EXPECT_THAT(journal.deeds(), IsEmpty());
    EXPECT_EQ(0, done());
}

TEST_F(BuzzerTest, TellsTheTimerCountOfATone)
{
    // A row is a tone, a column an octave from -2 to 2.
    const int counts[7][5] = {
        {71120, 35407, 17703, 8851, 4425}, {63461, 31609, 15774, 7887, 3943},
        {59782, 29783, 14891, 7445, 3722}, {53225, 26527, 13263, 6631, 3315},
        {47413, 23638, 11819, 5909, 2954}, {44594, 22297, 11148, 5574, 2787},
        {39855, 19879, 9927, 4963, 2481},
    };
    makeBuzzer();
    for (int tone = 0; tone < 7; ++tone) {
        for (int octave = -2; octave <= 2; ++octave)
            EXPECT_EQ(counts[tone][octave + 2], buzzer->getFrequency(tone, octave))
                << "tone " << tone << ", octave " << octave;
    }
}

TEST_F(BuzzerTest, TellsNoTimerCountOfOtherTones)
{
    makeBuzzer();
    for (const int tone : {INT_MIN, -1, 7, INT_MAX}) {
        for (int octave = -3; octave <= 3; ++octave)
            EXPECT_EQ(0, buzzer->getFrequency(tone, octave)) << tone << ", " << octave;
    }
    for (const int octave : {INT_MIN, -3, 3, INT_MAX}) {
        for (int tone = 0; tone < 7; ++tone)
            EXPECT_EQ(0, buzzer->getFrequency(tone, octave)) << tone << ", " << octave;
    }
}

// ---- Beeps that cannot be ----------------------------------------------------------------------

TEST_F(BuzzerTest, MakesNoBeepBelowOneHertzOrOfNegativeDuration)
{
    listen();
    bringUp();
    buzzer->makeSound(100, 0);
    buzzer->makeSound(100, INT_MIN);
    buzzer->makeSound(-1, 4600);
    buzzer->makeSound(INT_MIN, 4600);
    EXPECT_EQ(4, done());
    EXPECT_THAT(journal.deeds(), IsEmpty());
    for (const char *text :
         {"no beep of 0 Hz for 100 ms", "no beep of -2147483648 Hz for 100 ms",
          "no beep of 4600 Hz for -1 ms", "no beep of 4600 Hz for -2147483648 ms"})
        EXPECT_THAT(log.texts(QtDebugMsg), Contains(text));
}

TEST_F(BuzzerTest, DoesNotBotherTheHostWithBeepsThatCannotBe)
{
    beTypeFour();
    listen();
    bringUp();
    buzzer->makeSound(100, 0);
    buzzer->makeSound(-1, 4600);
    EXPECT_EQ(2, done());
    EXPECT_THAT(hostBeeps(), IsEmpty());
}

TEST_F(BuzzerTest, PlaysTheShortestAndTheLowestBeep)
{
    bringUp();
    buzzer->makeSound(0, 4600);
    ASSERT_TRUE(awaitDone(1));
    buzzer->makeSound(1, 1);
    ASSERT_TRUE(awaitDone(2));
    EXPECT_EQ(tuned("434782", "217391") + sounded(0) + tuned("2000000000", "1000000000") +
                  sounded(1),
              journal.deeds());
}

// ---- The operator's choice ---------------------------------------------------------------------

TEST_F(BuzzerTest, ReadsTheChoiceFromTheSettingsOnAPanel)
{
    const struct {
        int value;
        bool enabled;
        const char *text;
    } rows[] = {{0, false, "buzzer val 0"},
                {1, true, "buzzer val 1"},
                {2, true, "buzzer val 2"},
                {65535, true, "buzzer val 65535"}};
    for (const auto &row : rows) {
        choose(row.value);
        bringUp();
        EXPECT_EQ(row.enabled, buzzer->isBuzzerEnabled()) << row.value;
        EXPECT_THAT(log.texts(QtDebugMsg), Contains(row.text));
    }
}

TEST_F(BuzzerTest, ReadsTheChoiceFromTheSettingsOnTypeFour)
{
    beTypeFour();
    Platform::getInstance()->setBuzzerOn(false);
    bringUp();
    EXPECT_TRUE(buzzer->isBuzzerEnabled());
    EXPECT_THAT(log.texts(QtDebugMsg), Contains("buzzer val 1"));
}

TEST_F(BuzzerTest, ReadsTheChoiceFromTheHostOnADesktop)
{
    beDesktop();
    choose(0);
    bringUp();
    EXPECT_TRUE(buzzer->isBuzzerEnabled());
    Platform::getInstance()->setBuzzerOn(false);
    choose(1);
    bringUp();
    EXPECT_FALSE(buzzer->isBuzzerEnabled());
    EXPECT_THAT(log.texts(QtDebugMsg), Not(Contains(testing::StartsWith("buzzer val "))));
}

TEST_F(BuzzerTest, KeepsAChangedChoiceInTheSettings)
{
    bringUp();
    buzzer->setBuzzerEnabled(false);
    EXPECT_FALSE(buzzer->isBuzzerEnabled());
    EXPECT_EQ(0, chosen());
    buzzer->setBuzzerEnabled(true);
    EXPECT_TRUE(buzzer->isBuzzerEnabled());
    EXPECT_EQ(1, chosen());
    EXPECT_THAT(states(), ElementsAre(false, true));
}

TEST_F(BuzzerTest, LeavesTheHostOutOfAPanelsChoice)
{
    bringUp();
    buzzer->setBuzzerEnabled(false);
    EXPECT_TRUE(Platform::getInstance()->BuzzerOn());
}

TEST_F(BuzzerTest, TellsTheHostOfAChangedChoiceOnADesktop)
{
    beDesktop();
    bringUp();
    buzzer->setBuzzerEnabled(false);
    EXPECT_FALSE(Platform::getInstance()->BuzzerOn());
    EXPECT_EQ(0, chosen());
    buzzer->setBuzzerEnabled(true);
    EXPECT_TRUE(Platform::getInstance()->BuzzerOn());
    EXPECT_EQ(1, chosen());
}

TEST_F(BuzzerTest, TellsTheHostOfAChangedChoiceOnTypeFour)
{
    beTypeFour();
    bringUp();
    buzzer->setBuzzerEnabled(false);
    EXPECT_FALSE(Platform::getInstance()->BuzzerOn());
    EXPECT_EQ(0, chosen());
}

TEST_F(BuzzerTest, WritesNothingWhenTheChoiceStays)
{
    choose(7); // on, yet not the 1 that would be written
    bringUp();
    buzzer->setBuzzerEnabled(true);
    EXPECT_EQ(7, chosen());
    EXPECT_THAT(states(), IsEmpty());
}

/// Runtime and driver are built apart: the order is their contract.
TEST(BuzzerInterface, HasItsOperationsInTheirOrder)
{
    typedef AbstractBuzzerInterface Interface;
    EXPECT_EQ(2U, slotOf<void (Interface::*)(Interface::SoundType)>(&Interface::makeSound));
    EXPECT_EQ(3U, slotOf<void (Interface::*)(int, int)>(&Interface::makeSound));
    EXPECT_EQ(4U, slotOf(&Interface::isBuzzerEnabled));
    EXPECT_EQ(5U, slotOf(&Interface::setBuzzerEnabled));
    EXPECT_EQ(6U, slotOf(&Interface::shutupBuzzer));
    EXPECT_EQ(7U, slotOf(&Interface::getFrequency));
    EXPECT_EQ(8U, slotOf(&Interface::setBuzzerFrequency));
    EXPECT_EQ(9U, slotOf(&Interface::setBuzzerSwitch));
    EXPECT_EQ(10U, slotOf(&Interface::setBuzzerCommand));
}

TEST_F(BuzzerTest, TellsTheNewStateBeforeItIsInForce)
{
    bringUp();
    bool enabledThen = false;
    int chosenThen = -1;
    QObject::connect(
        buzzer.get(), &ZBuzzer::buzzerState, buzzer.get(),
        [&](bool) {
            enabledThen = buzzer->isBuzzerEnabled();
            chosenThen = chosen();
        },
        Qt::DirectConnection);
    const int chosenBefore = chosen();
    buzzer->setBuzzerEnabled(false);
    EXPECT_TRUE(enabledThen);
    EXPECT_EQ(chosenBefore, chosenThen);
    EXPECT_FALSE(buzzer->isBuzzerEnabled());
    EXPECT_EQ(0, chosen());
}

TEST_F(BuzzerTest, StandsWhoeverIsToldOfTheSwitchAndSwitchesBack)
{
    bringUp();
    QObject::connect(
        buzzer.get(), &ZBuzzer::buzzerState, buzzer.get(),
        [this](bool) { buzzer->setBuzzerEnabled(true); }, Qt::DirectConnection);
    buzzer->setBuzzerEnabled(false);
    EXPECT_FALSE(buzzer->isBuzzerEnabled());
    EXPECT_EQ(0, chosen());
}

TEST_F(BuzzerTest, IsSilentWhenDisabledAndSaysSoAtOnce)
{
    choose(0);
    bringUp();
    buzzer->makeSound(ZBuzzer::SoundShort);
    buzzer->makeSound(100, 4600);
    EXPECT_EQ(2, done());
    buzzer->setBuzzerEnabled(true);
    buzzer->makeSound(10, 2900);
    ASSERT_TRUE(awaitDone(3));
    EXPECT_EQ(tuned("689654", "344827") + sounded(10), journal.deeds()) << "a beep was kept";
}

TEST_F(BuzzerTest, IsSilentOnTheHostWhenDisabled)
{
    beTypeFour();
    choose(0);
    listen();
    bringUp();
    buzzer->makeSound(ZBuzzer::SoundShort);
    EXPECT_EQ(1, done());
    EXPECT_THAT(hostBeeps(), IsEmpty());
}

// ---- The queue ---------------------------------------------------------------------------------

TEST_F(BuzzerTest, PlaysBeepsInTheirOrder)
{
    bringUp();
    gate.shut();
    buzzer->makeSound(10, 1000);
    buzzer->makeSound(20, 2000);
    buzzer->makeSound(30, 4000);
    gate.open();
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(tuned("2000000", "1000000") + sounded(10) + tuned("1000000", "500000") + sounded(20) +
                  tuned("500000", "250000") + sounded(30),
              journal.deeds());
    EXPECT_EQ(1, done()) << "told for each beep instead of for all";
}

TEST_F(BuzzerTest, TakesBeepsWhileOneSounds)
{
    bringUp();
    gate.shut();
    buzzer->makeSound(10, 1000);
    gate.awaitVisitor();
    for (int i = 0; i < 5; ++i)
        buzzer->makeSound(20, 1000); // would never return if it waited for the one that sounds
    EXPECT_EQ(0, done());
    gate.open();
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(tuned("2000000", "1000000") + sounded(10) + sounded(20) + sounded(20) + sounded(20) +
                  sounded(20) + sounded(20),
              journal.deeds());
}

TEST_F(BuzzerTest, AnswersEverythingElseWhileABeepSounds)
{
    bringUp();
    gate.shut();
    buzzer->makeSound(10, 1000);
    gate.awaitVisitor();
    EXPECT_TRUE(buzzer->isBuzzerEnabled());
    buzzer->setBuzzerFrequency(2900);
    buzzer->setBuzzerSwitch(false);
    buzzer->shutupBuzzer();
    buzzer->setBuzzerEnabled(false);
    EXPECT_EQ(0, done()) << "the beep ended";
}

TEST_F(BuzzerTest, DropsWaitingBeepsWhenToldToShutUp)
{
    bringUp();
    gate.shut();
    buzzer->makeSound(10, 1000);
    gate.awaitVisitor();
    buzzer->makeSound(20, 2000);
    buzzer->makeSound(30, 4000);
    buzzer->shutupBuzzer();
    buzzer->makeSound(40, 1000);
    gate.open();
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(tuned("2000000", "1000000") + sounded(10) + sounded(40), journal.deeds());
    EXPECT_TRUE(buzzer->isBuzzerEnabled());
}

TEST_F(BuzzerTest, DropsWaitingBeepsWhenDisabled)
{
    bringUp();
    gate.shut();
    buzzer->makeSound(10, 1000);
    gate.awaitVisitor();
    buzzer->makeSound(20, 2000);
    buzzer->setBuzzerEnabled(false);
    buzzer->setBuzzerEnabled(true);
    gate.open();
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(tuned("2000000", "1000000") + sounded(10), journal.deeds());
}

TEST_F(BuzzerTest, TellsOfADisablingOnlyOnce)
{
    bringUp();
    buzzer->setBuzzerEnabled(false);
    buzzer->setBuzzerEnabled(false);
    EXPECT_THAT(states(), ElementsAre(false));
    EXPECT_FALSE(buzzer->isBuzzerEnabled());
}

TEST_F(BuzzerTest, PlaysABeepThatTheEndOfOneAsksFor)
{
    bringUp();
    bool again = true;
    QObject::connect(
        buzzer.get(), &ZBuzzer::allWorkDone, buzzer.get(),
        [&] {
            if (again) {
                again = false;
                buzzer->makeSound(20, 1000);
            }
        },
        Qt::DirectConnection);
    buzzer->makeSound(10, 1000);
    EXPECT_TRUE(awaitDone(2));
    buzzer->stopRunning(); // before `again` goes
    EXPECT_EQ(tuned("2000000", "1000000") + sounded(10) + sounded(20), journal.deeds());
}

TEST_F(BuzzerTest, SleepsInSlicesThatAStopNeedNotWaitFor)
{
    bringUp();
    buzzer->makeSound(1010, 1000);
    ASSERT_TRUE(awaitDone(1));
    EXPECT_EQ(1010, journal.slept());
    EXPECT_EQ(20u, journal.longestSleep());
}

} // namespace
