// Faults of every kind at random.

#ifndef BENCH_SOAK_FAULT_SOURCE_H
#define BENCH_SOAK_FAULT_SOURCE_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "simulator/fault.h"

/// The same seed gives the same faults in the same order.
class FaultSource
{
public:
    explicit FaultSource(uint32_t seed);

    /// A fault for one reply of a station, of any kind; damage as often as all others together,
    /// because it takes many to see the one in 256 that the checksum misses.
    Fault next(int station);

    /// How many replies are spared before the next fault.
    int gap();

    static std::vector<Fault::Kind> allKinds();
    static const char *name(Fault::Kind kind);

    /// Whether a fault of this name can give a reply a right checksum with values wrong or missing.
    /// False for "none".
    static bool forges(const std::string &name);

private:
    int between(int least, int most);
    int ownValue(Fault::Kind kind);

    std::mt19937 m_random;
};

#endif // BENCH_SOAK_FAULT_SOURCE_H
