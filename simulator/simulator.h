// A line of simulated controllers on a pty or a serial device, in a thread of its own.

#ifndef SIMULATOR_SIMULATOR_H
#define SIMULATOR_SIMULATOR_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulator/fault.h"

/// How a simulator is set up.
struct SimulatorOptions {
    std::vector<int> stations{1, 2, 3}; ///< 0 to 255

    /// Bits per second. Every byte takes 11 bit times in both directions, on a pty as well.
    /// 0: bytes take no time, and a device is set to 38400.
    int baud = 38400;

    uint32_t seed = 1; ///< same seed: same programs, same noise

    /// A serial device to play on; empty: a pty is made.
    std::string port;

    /// A symbolic link to the pty, so that its name does not change from run to run. Replaces
    /// another symbolic link, nothing else. Made under this name with ".ptyN" behind it and then
    /// renamed. Empty: none.
    std::string ptyLink;

    std::string imageFile; ///< start values; a line is "station address value". Empty: none
    std::string traceFile; ///< where every frame is written down, appended. Empty: nowhere
    std::vector<Fault> faults;
};

/// Plays the controllers from `start` to `stop`.
///
/// A request that arrives at once on a pty is regarded as arriving byte by byte; the answer begins
/// when its last byte would have come, and its own bytes leave when they would have been sent.
///
/// All operations may be called from any thread; `start` and `stop` from one at a time. A stopped
/// simulator may be started again: words and faults are as they were, the port is a new one.
class Simulator
{
public:
    explicit Simulator(const SimulatorOptions &options);
    ~Simulator(); ///< stops

    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    /// \param error  gets the reason in one line; not null
    /// \return false: the port, the link, the image or the trace cannot be had, and nothing runs;
    ///         or it runs already, and goes on
    bool start(std::string *error);

    /// Ends the thread, closes the port and removes the link; not one that leads elsewhere by now.
    /// Without `start` it does nothing.
    void stop();

    /// What a driver opens: the link, else the pty. Empty before `start` and on a serial device.
    std::string portName() const;

    void addFault(const Fault &fault);
    /// Also ends a babble.
    void clearFaults();

    /// A word of a station; 0 for a station that is not on the line. A process shows its values as
    /// of the last request to its station.
    uint32_t word(int station, uint32_t address) const;
    void setWord(int station, uint32_t address, uint32_t value);

    /// All frames received since `start`, from STX to LF, sound or not; the last `RequestsKept`.
    std::vector<std::string> requests() const;
    static const size_t RequestsKept = 1000;

    /// Bytes received and sent since `start`.
    uint64_t bytesIn() const;
    uint64_t bytesOut() const;

private:
    class Engine;
    std::unique_ptr<Engine> m_engine;
};

#endif // SIMULATOR_SIMULATOR_H
