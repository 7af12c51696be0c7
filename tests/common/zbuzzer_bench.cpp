#include "tests/common/zbuzzer_bench.h"

#include <algorithm>

#include "common/zsetting.h"
#include "hmi/desktop/desktop_platform.h"
#include "hmi/platform.h"
#include "tests/support/eventually.h"

const char ExportLine[] = "echo 0 > /sys/class/pwm/pwmchip1/export";
const char OnLine[] = "echo 1 > /sys/class/pwm/pwmchip1/pwm0/enable";
const char OffLine[] = "echo 0 > /sys/class/pwm/pwmchip1/pwm0/enable";
const char DutyZeroLine[] = "echo 0 > /sys/class/pwm/pwmchip1/pwm0/duty_cycle";

namespace
{

const int BeeperSetting = 12;

} // namespace

Deeds tuned(const std::string &period, const std::string &duty)
{
    return {DutyZeroLine, "echo " + period + " > /sys/class/pwm/pwmchip1/pwm0/period",
            "echo " + duty + " > /sys/class/pwm/pwmchip1/pwm0/duty_cycle"};
}

Deeds sounded(int duration)
{
    if (duration == 0)
        return {OnLine, OffLine};
    return {OnLine, std::to_string(duration) + " ms", OffLine};
}

Deeds operator+(Deeds first, const Deeds &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// ---- Journal -----------------------------------------------------------------------------------

void Journal::add(const std::string &line)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_slept_since_line > 0)
        m_deeds.push_back(std::to_string(m_slept_since_line) + " ms");
    m_slept_since_line = 0;
    m_deeds.push_back(line);
}

void Journal::addSleep(ulong ms)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_slept_since_line += static_cast<qint64>(ms);
    m_slept += static_cast<qint64>(ms);
    m_longest_sleep = std::max(m_longest_sleep, ms);
}

Deeds Journal::deeds() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_deeds;
}

void Journal::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deeds.clear();
}

qint64 Journal::slept() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_slept;
}

ulong Journal::longestSleep() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_longest_sleep;
}

// ---- Gate --------------------------------------------------------------------------------------

void Gate::shut()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_shut = true;
    m_visited = false;
}

void Gate::open()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_shut = false;
    m_changed.notify_all();
}

void Gate::pass()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_visited = true;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return !m_shut; });
}

void Gate::awaitVisitor()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_visited; });
}

// ---- ToldBuzzer --------------------------------------------------------------------------------

void ToldBuzzer::_system(const char *command, char *buffer)
{
    m_journal->add(command);
    if (runsLines)
        ZBuzzer::_system(command, buffer);
    if (afterEachLine)
        afterEachLine();
}

// ---- BuzzerBench -------------------------------------------------------------------------------

BuzzerBench::BuzzerBench() : m_done(0)
{
    setPlatformIsPanel(true);
    Platform::getInstance()->setBuzzerOn(true);
    choose(1);
    clock.onSleep = [this](ulong ms) {
        journal.addSleep(ms);
        gate.pass();
    };
}

BuzzerBench::~BuzzerBench()
{
    gate.open();
    buzzer.reset();
    ZSetting::drop();
    setBeepListener(nullptr);
    setPlatformIsPanel(false);
    Platform::getInstance()->setBuzzerOn(true);
}

void BuzzerBench::choose(int value)
{
    ZSetting::getInstance()->setSettingValue(BeeperSetting, value);
}

int BuzzerBench::chosen()
{
    return ZSetting::getInstance()->getSettingValue(BeeperSetting);
}

void BuzzerBench::makeBuzzer()
{
    buzzer.reset(new ToldBuzzer(&clock, &journal));
    // Told in the thread that emits, so that nothing is missed and nothing waits for an event loop.
    QObject::connect(
        buzzer.get(), &ZBuzzer::allWorkDone, buzzer.get(), [this] { ++m_done; },
        Qt::DirectConnection);
    QObject::connect(
        buzzer.get(), &ZBuzzer::buzzerState, buzzer.get(),
        [this](bool on) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_states.push_back(on);
        },
        Qt::DirectConnection);
}

void BuzzerBench::startBuzzer()
{
    buzzer->delayedInitial();
    ASSERT_TRUE(awaitDone(1)) << "the thread does not begin";
    m_done = 0;
    journal.clear();
}

void BuzzerBench::bringUp()
{
    makeBuzzer();
    startBuzzer();
}

bool BuzzerBench::awaitDone(int count)
{
    return eventually([this, count] { return m_done >= count; });
}

std::vector<bool> BuzzerBench::states() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_states;
}

void BuzzerBench::listen()
{
    setBeepListener([this](int frequency, int duration) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_host_beeps.emplace_back(frequency, duration);
    });
}

std::vector<std::pair<int, int>> BuzzerBench::hostBeeps() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_host_beeps;
}
