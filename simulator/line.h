// The controllers of one line and what goes wrong on it: request in, what comes back out. No
// thread, no port, no time of its own.

#ifndef SIMULATOR_LINE_H
#define SIMULATOR_LINE_H

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "simulator/fault.h"
#include "simulator/station.h"

/// What a line gives back to a request.
struct LineAnswer {
    std::string bytes; ///< empty: silence
    int lateMs = 0;    ///< how much later than usual the first byte comes

    /// Instead of `bytes`, senseless bytes without end: for so many milliseconds, or, below 0,
    /// until the faults are cleared. 0: no.
    int babbleMs = 0;

    /// Whether a fault made something else of the station's answer, or of its time. One that
    /// changes a byte into itself, or a place behind the end, does not.
    bool spoiled = false;
};

/// Not thread-safe.
class Line
{
public:
    /// What a babbling station sends.
    static const char BabbleByte = 'U';

    /// \param stations  numbers, 0 to 255
    /// \param seed      same seed, same line
    Line(const std::vector<int> &stations, uint32_t seed);

    /// The answer to one frame, from STX to LF. A frame with a wrong checksum, or for a station
    /// that is not here, is answered with silence.
    /// \param nowMs  the time up to which the stations' processes run
    LineAnswer answer(const std::string &frame, int64_t nowMs);

    void addFault(const Fault &fault);
    void clearFaults();

    bool hasStation(int station) const;
    /// Words of a station that is on the line; 0 and nothing otherwise.
    uint32_t word(int station, uint32_t address) const;
    void setWord(int station, uint32_t address, uint32_t value);

private:
    /// A fault and how often it has met and hit.
    struct ArmedFault {
        Fault fault;
        int met;
        int hits;
    };

    bool strikes(ArmedFault *armed, int station) const;
    void apply(const Fault &fault, const std::string &request, Station *station,
               LineAnswer *answer);
    std::string noise(int bytes);
    void damage(std::string *bytes, int times);

    std::map<int, Station> m_stations;
    std::vector<ArmedFault> m_faults;
    std::mt19937 m_random;
};

#endif // SIMULATOR_LINE_H
