// The terminal's beeper: beeps are queued, and a thread plays them on the board's PWM output.

#ifndef COMMON_ZBUZZER_H
#define COMMON_ZBUZZER_H

#include <mutex>

#include <QList>
#include <QMutex>
#include <QThread>
#include <QWaitCondition>

#include "common/clock.h"
#include "hmi/abstractbuzzerinterface.h"

/// A beep that waits to be played.
struct ZBuzzerQueueItem {
    int duration;  ///< milliseconds, 0 or more
    int frequency; ///< nominal, hertz, 1 or more
};

/// The one beeper of the process.
///
/// Where the board has a PWM output, beeps wait in a queue of no fixed length and the thread plays
/// them in their order, through the kernel's PWM class files and a shell. A desktop, and a host of
/// type 4, sound beeps themselves: there they go to `Platform::BuzzerAlarm` without a detour.
///
/// Whether the beeper is enabled is the operator's choice: word 12 of `ZSetting`, and on a desktop
/// what the host keeps.
///
/// Threads: every operation may be called from any thread, and none waits for a beep to end but
/// `stopRunning` and `dropInstance`. `setBuzzerFrequency` and `setBuzzerSwitch` run the shell in
/// the calling thread, a few milliseconds. Signals come from the thread that causes them;
/// nothing is locked while they are emitted, except that changes of the enabled state follow one
/// another.
///
/// Failures: PWM files that are missing or refuse a value, and a shell that cannot be started, cost
/// the sound and nothing else.
class ZBuzzer : public QThread, public AbstractBuzzerInterface
{
    Q_OBJECT

public:
    /// The beeper, created by the first call; never null. It is not deleted before `dropInstance`.
    static ZBuzzer *getInstance();

    /// Stops the beeper, if there is one, and deletes it; the next `getInstance` makes a new one.
    /// To be called at the end of the program, when nobody uses the beeper any more, and not by the
    /// beeper's own thread.
    static void dropInstance();

    /// Stops the beeper.
    ~ZBuzzer() override;

    /// Drops the queue, cuts short the beep that sounds, switches the tone off and waits for the
    /// thread to end. Takes one slice of the sleep (20 ms) and three shell lines at most, which
    /// are ended when they hang, after half a second each. For good: later beeps are ignored,
    /// without a signal. Not for the beeper's own thread.
    void stopRunning();

public slots:
    /// Asks for one of the terminal's sounds; another value makes none and gives no signal.
    void makeSound(AbstractBuzzerInterface::SoundType type) override;

    /// Asks for a beep. A frequency below 1 Hz or a negative duration makes no sound and is told on
    /// the debug output.
    /// \param duration   milliseconds
    /// \param frequency  nominal, hertz
    void makeSound(int duration, int frequency) override;

    bool isBuzzerEnabled() override;

    /// Enables the beeper or disables it, which drops the queue. The beep that sounds ends by
    /// itself. A change goes to the settings.
    void setBuzzerEnabled(bool on) override;

    /// Drops the queue. The beep that sounds ends by itself.
    void shutupBuzzer() override;

    /// 8250000 / the tone's base frequency in the octave, for `tone` 0 to 6 and `octave` -2 to 2;
    /// otherwise 0.
    int getFrequency(int tone, int octave) override;

    /// Tunes the PWM output, unless it is tuned so already. It swings at half the nominal
    /// frequency, on purpose. Below 1 Hz nothing happens but a line on the debug output.
    void setBuzzerFrequency(int frequency) override;

    /// Switches the PWM output on or off.
    void setBuzzerSwitch(bool on) override;

    /// Does nothing.
    void setBuzzerCommand(int command) override;

signals:
    /// The beeper is being enabled or disabled; the new state is in force a moment later. What
    /// hears this must not wait for another thread that switches the beeper.
    void buzzerState(bool on);

    /// The queue was played out or dropped, or a beep was asked for that is not queued. Also once
    /// when the thread begins, and once when it ends.
    void allWorkDone();

protected:
    /// The thread is not running yet: `delayedInitial` starts it.
    /// \param clock  what a beep's duration is measured and slept by; not owned
    explicit ZBuzzer(Clock *clock = Clock::system());

    /// Reads the enabled state, exports the PWM output if it is not there, and starts the thread at
    /// the lowest priority.
    void delayedInitial();

    void run() override;

    /// Runs a shell line and waits for its end. Unlike the C library's `system`, it keeps what the
    /// line prints away from the terminal's console.
    /// \param command  one of the lines of this class; nothing from outside gets into it
    /// \param buffer   gets the first byte that the line prints, if it prints any
    virtual void _system(const char *command, char *buffer);

private:
    bool readLocalSetting() const;
    void setLocalSetting(bool on);

    bool queueBeep(int duration, int frequency);
    void exportPwm();
    void runLine(const char *line, int value);

    bool waitForWork();
    bool takeBeep(ZBuzzerQueueItem &item);
    void processBeep();
    void play(const ZBuzzerQueueItem &item);
    void sleepUnlessStopped(int duration);
    bool stopping();

    static std::mutex m_instance_mutex;
    static ZBuzzer *m_instance; ///< guarded by m_instance_mutex

    Clock *const m_clock;

    QMutex m_mutex; ///< held for a few instructions, never while a beep sounds
    QWaitCondition m_wait_condition;
    QList<ZBuzzerQueueItem> m_queue; ///< guarded by m_mutex
    bool m_work_waits;               ///< queued since the thread last looked; guarded by m_mutex
    bool m_enabled;                  ///< guarded by m_mutex
    bool m_stop_flag;                ///< guarded by m_mutex

    std::recursive_mutex m_setting_mutex; ///< so that the last change is also the last one written

    QMutex m_pwm_mutex; ///< keeps the lines of one frequency together
    int m_frequency;    ///< hertz, last written; 0 is none; guarded by m_pwm_mutex
};

#endif // COMMON_ZBUZZER_H
