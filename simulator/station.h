// One simulated controller: a memory of 32-bit words with a living process behind part of it.

#ifndef SIMULATOR_STATION_H
#define SIMULATOR_STATION_H

#include <array>
#include <cstdint>
#include <random>
#include <unordered_map>

#include "simulator/cpl_frame.h"

/// Where things lie in a station's memory.
namespace StationMap
{
enum : uint32_t {
    // Loops: control loops of a furnace with two zones. Loop n (0, 1) begins at FirstLoop + n x
    // LoopStride.
    FirstLoop = 0x0020,
    LoopStride = 0x0010,
    LoopCount = 2,
    SetPoint = 0,     ///< 0.1 degrees; may be written
    ProcessValue = 1, ///< 0.1 degrees; follows the set point
    Output = 2,       ///< 0.1 percent, 0 to 1000
    Alarms = 3,       ///< bits of LoopAlarm

    // Programs: 32 steps of 24 values each.
    FirstStep = 0x1000,
    StepStride = 0x0020,
    StepCount = 32,
    StepValues = 24,

    // Low latency. These words are forgotten with the power.
    LowLatencyBegin = 0x2012,
    LowLatencyCommand = 0x2014, ///< 200 switches the mode on
    LowLatencyState = 0x2016,   ///< 200 while it is on; only read
    LowLatencyEnd = 0x2017,
    LowLatencyOn = 200,

    LastAddress = 0x00FFFFFF ///< words that nothing else is said of read 0 until written
};
enum LoopAlarm : uint32_t {
    AlarmHigh = 1,   ///< process value more than 10 degrees above the set point
    AlarmLow = 2,    ///< more than 10 degrees below it
    AlarmReached = 4 ///< within 1 degree of it
};
} // namespace StationMap

/// End codes of a station's replies.
enum StationEndCode : uint8_t {
    EndGood = 0x00,
    EndUnknownCommand = 0x40,
    EndAddressRange = 0x41,
    EndTooManyItems = 0x42
};

/// Not thread-safe; `Line` is used by one thread at a time.
class Station
{
public:
    /// \param number  0 to 255
    /// \param seed    same seed and number: same programs, same noise
    Station(uint8_t number, uint32_t seed);

    /// Lets the process run up to a time in milliseconds, 0 or more, of any origin. The first call
    /// only sets the clock; going back does nothing.
    void advanceTo(int64_t nowMs);

    /// Any address; nothing is refused here.
    uint32_t word(uint32_t address) const;
    void setWord(uint32_t address, uint32_t value);

    /// Carries out a request and answers it. A request that is refused changes nothing.
    CplReply handle(const CplRequest &request);

    /// Forgets what is not kept without power.
    void powerCycle();

private:
    /// A loop between two steps; the words show it rounded.
    struct Loop {
        double processValue; ///< 0.1 degrees
    };

    uint8_t refusal(const CplRequest &request) const;
    void write(uint32_t address, uint32_t value);
    void step();
    void stepLoop(uint32_t index);

    uint8_t m_number;
    std::mt19937 m_noise;
    std::unordered_map<uint32_t, uint32_t> m_words;
    std::array<Loop, StationMap::LoopCount> m_loops;
    int64_t m_now_ms; ///< up to when the process has run; below 0: not yet
};

#endif // SIMULATOR_STATION_H
