// Thousands of exchanges with faults of every kind, and what became of them.

#ifndef BENCH_SOAK_SOAK_H
#define BENCH_SOAK_SOAK_H

#include <cstdint>
#include <string>

#include <QString>

#include "bench/soak/judged_link.h"
#include "bench/soak/runtime_user.h"

struct SoakOptions {
    uint64_t exchanges = 100000; ///< at least so many with a fault; 1000 or more
    uint32_t seed = 1;
    QString error_texts; ///< path of docs/errors.md
};

struct SoakResult {
    Findings line;
    UserFindings user;
    uint64_t exchanges = 0;
    uint64_t with_fault = 0; ///< of these a fault struck
    uint64_t healed = 0;   ///< exchanges after the last fault until all values were fresh; 0: never
    qint64 heap_early = 0; ///< most bytes in use in the second tenth of the run; -1: not counted
    qint64 heap_late = 0;  ///< most bytes in use in the last tenth
    double virtual_hours = 0;
    double seconds = 0;
};

/// Runs a polling thread on a virtual line, with a runtime that reads and writes.
SoakResult runSoak(const SoakOptions &options);

/// How far from its expectation, 1 in 256, the number of damaged replies with a right sum is, in
/// standard deviations.
double deviationOfMisses(const Findings &findings);

/// What does not hold, a line each; empty when all does.
std::string shortcomings(const SoakResult &result);

/// The result as a table.
std::string table(const SoakOptions &options, const SoakResult &result);

#endif // BENCH_SOAK_SOAK_H
