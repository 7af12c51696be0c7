// The host that a driver runs on, as the runtime presents it.

#ifndef HMI_PLATFORM_H
#define HMI_PLATFORM_H

/// The one description of the host platform in a process.
///
/// The functions are defined by the host program, not by a driver: a driver's references are
/// resolved when the host loads it. All operations may be called from any thread.
class Platform
{
public:
    /// The process's only object, created by the first call; never null.
    static Platform *getInstance();

    /// True on a desktop PC, false on a panel.
    bool isX86HMI() const;

    /// Sounds the host's own beep.
    /// \param frequency  in hertz, 1 or more
    /// \param duration   in milliseconds, 0 or more
    void BuzzerAlarm(int frequency, int duration);

    /// Whether the operator has beeps switched on.
    bool BuzzerOn() const;

    /// Switches beeps on or off.
    void setBuzzerOn(bool on);

    /// The host platform's type number; the host sets it before it loads a driver.
    int type;
};

#endif // HMI_PLATFORM_H
