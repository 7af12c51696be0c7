#include "common/zbuzzer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFile>
#include <QMutexLocker>
#include <QString>
#include <QtDebug>

#include "common/zsetting.h"
#include "hmi/platform.h"

namespace
{

const int BeeperSetting = 12;
const int HostSoundsType = 4; // the host platform that sounds beeps itself, beside the desktop

// Found only from the root directory, where the terminal's runtime is started.
const char PwmDirectory[] = "sys/class/pwm/pwmchip1/pwm0";

// The lines for the shell. A number is all that is ever put into one.
const char ExportLine[] = "echo 0 > /sys/class/pwm/pwmchip1/export";
const char SwitchLine[] = "echo %1 > /sys/class/pwm/pwmchip1/pwm0/enable";
const char DutyLine[] = "echo %1 > /sys/class/pwm/pwmchip1/pwm0/duty_cycle";
const char PeriodLine[] = "echo %1 > /sys/class/pwm/pwmchip1/pwm0/period";

const int LowestFrequency = 1;
const int NanosecondsPerSecond = 1000000000;

// How long a stop may have to wait for a beep, in milliseconds.
const qint64 SleepSlice = 20;

// A shell line takes a few milliseconds; one that takes longer than this, in milliseconds, hangs.
const int ShellLimit = 500;

const int ToneClock = 8250000;
const int base_tone[] = {466, 523, 554, 622, 698, 740, 831};
const int Tones = sizeof base_tone / sizeof *base_tone;
const int HighestOctave = 2;

bool hostSounds()
{
    const Platform *const platform = Platform::getInstance();
    return platform->isX86HMI() || platform->type == HostSoundsType;
}

bool playable(int duration, int frequency)
{
    if (duration >= 0 && frequency >= LowestFrequency)
        return true;
    qDebug("no beep of %d Hz for %d ms", frequency, duration);
    return false;
}

/// The child's side of a fork: only what is safe beside threads that may hold locks.
void becomeShell(const char *command, int output, int error)
{
    ::setpgid(0, 0); // so that it can be ended with whatever it started
    ::dup2(output, STDOUT_FILENO);
    ::dup2(error, STDERR_FILENO);
    ::execl("/bin/sh", "sh", "-c", command, static_cast<char *>(nullptr));
    ::_exit(127);
}

/// Waits for a child to end, and ends it when that takes too long. One that hangs inside the kernel
/// is left alone.
void reap(pid_t child)
{
    Clock *const clock = Clock::system();
    const qint64 begin = clock->msecsSinceBoot();
    for (;;) {
        const pid_t ended = ::waitpid(child, nullptr, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR))
            return;
        const qint64 elapsed = clock->msecsSinceBoot() - begin;
        if (elapsed > 2 * ShellLimit)
            return;
        if (elapsed > ShellLimit)
            ::kill(-child, SIGKILL);
        clock->sleep(1);
    }
}

/// Takes the first byte, or finds the end of the output, or gives up.
void readByte(int descriptor, char *buffer)
{
    struct pollfd output = {descriptor, POLLIN, 0};
    while (::poll(&output, 1, ShellLimit) < 0 && errno == EINTR) {
    }
    if (output.revents == 0)
        return;
    while (::read(descriptor, buffer, 1) < 0 && errno == EINTR) {
    }
}

} // namespace

std::mutex ZBuzzer::m_instance_mutex;
ZBuzzer *ZBuzzer::m_instance = nullptr;

ZBuzzer *ZBuzzer::getInstance()
{
    const std::lock_guard<std::mutex> lock(m_instance_mutex);
    if (m_instance == nullptr) {
        m_instance = new ZBuzzer;
        m_instance->delayedInitial();
    }
    return m_instance;
}

void ZBuzzer::dropInstance()
{
    ZBuzzer *dropped = nullptr;
    {
        // Not locked any longer: what hears the last signal may ask for the beeper.
        const std::lock_guard<std::mutex> lock(m_instance_mutex);
        std::swap(dropped, m_instance);
    }
    delete dropped;
}

ZBuzzer::ZBuzzer(Clock *clock)
    : m_clock(clock), m_work_waits(false), m_enabled(false), m_stop_flag(false), m_frequency(0)
{
}

ZBuzzer::~ZBuzzer()
{
    stopRunning();
}

void ZBuzzer::delayedInitial()
{
    const bool enabled = readLocalSetting();
    exportPwm();
    {
        const QMutexLocker locker(&m_mutex);
        m_enabled = enabled;
        m_queue.clear();
        m_stop_flag = false;
    }
    if (!isRunning())
        start(QThread::LowestPriority);
}

void ZBuzzer::exportPwm()
{
    if (!QFile::exists(QString::fromLatin1(PwmDirectory))) {
        char output = 0;
        _system(ExportLine, &output);
    }
}

void ZBuzzer::stopRunning()
{
    {
        const QMutexLocker locker(&m_mutex);
        m_stop_flag = true;
        m_queue.clear();
        m_wait_condition.wakeAll();
    }
    wait();
}

// ---- The enabled state -------------------------------------------------------------------------

bool ZBuzzer::readLocalSetting() const
{
    const Platform *const platform = Platform::getInstance();
    if (platform->isX86HMI())
        return platform->BuzzerOn();
    const int value = ZSetting::getInstance()->getSettingValue(BeeperSetting);
    qDebug("buzzer val %d", value);
    return value > 0;
}

void ZBuzzer::setLocalSetting(bool on)
{
    if (hostSounds())
        Platform::getInstance()->setBuzzerOn(on);
    ZSetting::getInstance()->setSettingValue(BeeperSetting, on ? 1 : 0);
}

bool ZBuzzer::isBuzzerEnabled()
{
    const QMutexLocker locker(&m_mutex);
    return m_enabled;
}

void ZBuzzer::setBuzzerEnabled(bool on)
{
    // One change after the other: the last one told and written is the one in force.
    const std::lock_guard<std::recursive_mutex> settingLock(m_setting_mutex);
    if (isBuzzerEnabled() != on) {
        emit buzzerState(on);
        setLocalSetting(on);
    }
    const QMutexLocker locker(&m_mutex);
    m_enabled = on;
    if (!on)
        m_queue.clear();
}

// ---- Asking for beeps --------------------------------------------------------------------------

void ZBuzzer::makeSound(AbstractBuzzerInterface::SoundType type)
{
    switch (type) {
    case SoundShort:
        return makeSound(120, 4600);
    case SoundLow:
        return makeSound(200, 2764);
    case SoundMiddle:
        return makeSound(160, 3476);
    case SoundLong:
        return makeSound(240, 2309);
    case SoundKeyClick:
        return hostSounds() ? makeSound(100, 2900) : makeSound(100, 5800);
    case SoundTick:
        return hostSounds() ? makeSound(100, 2700) : makeSound(60, 6200);
    }
}

void ZBuzzer::makeSound(int duration, int frequency)
{
    if (stopping())
        return;
    if (isBuzzerEnabled() && playable(duration, frequency)) {
        if (hostSounds())
            Platform::getInstance()->BuzzerAlarm(frequency, duration);
        else if (queueBeep(duration, frequency))
            return;
    }
    emit allWorkDone();
}

bool ZBuzzer::queueBeep(int duration, int frequency)
{
    const QMutexLocker locker(&m_mutex);
    if (!m_enabled || m_stop_flag)
        return false;
    const ZBuzzerQueueItem item = {duration, frequency};
    m_queue.append(item);
    m_work_waits = true;
    m_wait_condition.wakeAll();
    return true;
}

void ZBuzzer::shutupBuzzer()
{
    const QMutexLocker locker(&m_mutex);
    m_queue.clear();
}

bool ZBuzzer::stopping()
{
    const QMutexLocker locker(&m_mutex);
    return m_stop_flag;
}

// ---- The thread --------------------------------------------------------------------------------

void ZBuzzer::run()
{
    processBeep();
    while (waitForWork())
        processBeep();
    emit allWorkDone();
}

bool ZBuzzer::waitForWork()
{
    const QMutexLocker locker(&m_mutex);
    // Not for the queue itself: whoever queued a beep that was dropped since hears of its end too.
    while (!m_work_waits && !m_stop_flag)
        m_wait_condition.wait(&m_mutex);
    return !m_stop_flag;
}

void ZBuzzer::processBeep()
{
    ZBuzzerQueueItem item;
    while (takeBeep(item))
        play(item);
    emit allWorkDone();
}

bool ZBuzzer::takeBeep(ZBuzzerQueueItem &item)
{
    const QMutexLocker locker(&m_mutex);
    if (m_queue.isEmpty()) {
        m_work_waits = false;
        return false;
    }
    item = m_queue.takeFirst();
    return true;
}

void ZBuzzer::play(const ZBuzzerQueueItem &item)
{
    setBuzzerFrequency(item.frequency);
    if (stopping())
        return;
    setBuzzerSwitch(true);
    sleepUnlessStopped(item.duration);
    setBuzzerSwitch(false);
}

void ZBuzzer::sleepUnlessStopped(int duration)
{
    const qint64 end = m_clock->msecsSinceBoot() + duration;
    qint64 left = duration;
    while (left > 0 && !stopping()) {
        m_clock->sleep(static_cast<ulong>(std::min(left, SleepSlice)));
        left = end - m_clock->msecsSinceBoot();
    }
}

// ---- The PWM output ----------------------------------------------------------------------------

int ZBuzzer::getFrequency(int tone, int octave)
{
    if (tone < 0 || tone >= Tones || octave < -HighestOctave || octave > HighestOctave)
        return 0;
    const int base = base_tone[tone];
    return ToneClock / (octave < 0 ? base >> -octave : base << octave);
}

void ZBuzzer::setBuzzerFrequency(int frequency)
{
    if (frequency < LowestFrequency) {
        qDebug("no frequency of %d Hz", frequency);
        return;
    }
    const QMutexLocker locker(&m_pwm_mutex);
    if (frequency == m_frequency)
        return;
    // Twice the nominal period, on purpose. 1 Hz makes 2,000,000,000: an int takes it.
    const int period = NanosecondsPerSecond / frequency * 2;
    // The kernel refuses a period below the duty.
    runLine(DutyLine, 0);
    runLine(PeriodLine, period);
    runLine(DutyLine, period / 2);
    m_frequency = frequency;
}

void ZBuzzer::setBuzzerSwitch(bool on)
{
    runLine(SwitchLine, on ? 1 : 0);
}

void ZBuzzer::setBuzzerCommand(int) {}

void ZBuzzer::runLine(const char *line, int value)
{
    char output = 0;
    _system(QString::fromLatin1(line).arg(value).toLatin1().constData(), &output);
}

void ZBuzzer::_system(const char *command, char *buffer)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        qDebug("no pipe to the shell: %s", std::strerror(errno));
        return;
    }
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t child = ::fork();
    if (child == 0)
        becomeShell(command, ends[1], nowhere);
    if (child < 0)
        qDebug("no shell: %s", std::strerror(errno));
    ::close(nowhere);
    ::close(ends[1]);
    readByte(ends[0], buffer); // at once the end, when there is no child
    ::close(ends[0]);
    if (child > 0)
        reap(child);
}
