// The terminal's beeper, as everything that wants to be heard sees it.

#ifndef HMI_ABSTRACTBUZZERINTERFACE_H
#define HMI_ABSTRACTBUZZERINTERFACE_H

/// A beeper that plays what it is asked for, one sound after another.
///
/// The order of the operations is part of the binary contract: the runtime and those who beep are
/// built apart and meet in the virtual table.
///
/// Threads: every operation may be called from any thread and returns without waiting for a sound.
class AbstractBuzzerInterface
{
public:
    /// The sounds of the terminal.
    enum SoundType {
        SoundShort,    ///< 120 ms at 4600 Hz
        SoundLow,      ///< 200 ms at 2764 Hz
        SoundMiddle,   ///< 160 ms at 3476 Hz
        SoundLong,     ///< 240 ms at 2309 Hz
        SoundKeyClick, ///< 100 ms at 5800 Hz; 2900 Hz where the host sounds it
        SoundTick      ///< 60 ms at 6200 Hz; 100 ms at 2700 Hz where the host sounds it
    };

    virtual ~AbstractBuzzerInterface() {}

    /// Asks for one of the terminal's sounds; another value makes none.
    virtual void makeSound(SoundType type) = 0;

    /// Asks for a sound.
    /// \param duration   in milliseconds, 0 or more
    /// \param frequency  nominal, in hertz, 1 or more
    virtual void makeSound(int duration, int frequency) = 0;

    /// Whether sounds are played at all.
    virtual bool isBuzzerEnabled() = 0;

    /// Switches sounds on or off, for good: the choice outlives the process.
    virtual void setBuzzerEnabled(bool on) = 0;

    /// Drops the sounds that wait to be played.
    virtual void shutupBuzzer() = 0;

    /// The timer count of a tone, for boards that count instead of being told a frequency.
    /// \param tone    0 to 6
    /// \param octave  -2 to 2
    /// \return 0 for any other argument
    virtual int getFrequency(int tone, int octave) = 0;

    /// Tunes the beeper. Nominal, in hertz, 1 or more.
    virtual void setBuzzerFrequency(int frequency) = 0;

    /// Switches the tone itself on or off.
    virtual void setBuzzerSwitch(bool on) = 0;

    /// For boards whose beeper knows commands; this one knows none.
    virtual void setBuzzerCommand(int command) = 0;
};

#endif // HMI_ABSTRACTBUZZERINTERFACE_H
