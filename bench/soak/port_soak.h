// The polling thread among faults on a real port, for what only a real port has: descriptors.

#ifndef BENCH_SOAK_PORT_SOAK_H
#define BENCH_SOAK_PORT_SOAK_H

#include <cstdint>
#include <string>

#include <QString>

struct PortSoakOptions {
    uint64_t exchanges = 5000; ///< at least so many; 500 or more
    QString error_texts;       ///< path of docs/errors.md
};

struct PortSoakResult {
    std::string no_start;   ///< why there was no port; empty: there was one
    uint64_t exchanges = 0; ///< begun while faults struck
    uint64_t refused = 0;   ///< of these without a good reply
    int vanished = 0;       ///< how often the link saw that the port was gone
    bool healed = false;    ///< all values were true when the faults had ended
    qint64 heap_early = 0;  ///< most bytes in use in the second fifth of the run; -1: not counted
    qint64 heap_late = 0;   ///< most bytes in use in the last fifth
    int descriptors_early = 0; ///< most open ones in these two fifths
    int descriptors_late = 0;
    uint64_t other_texts = 0; ///< error texts that should have been another
    std::string other_text;   ///< the first of these
    double seconds = 0;
};

/// Runs a polling thread on the serial link and simulated controllers behind a pty, without a pause
/// before its requests. Every fault of the simulator strikes at its own rate, and the port vanishes
/// between the fifths of the run.
PortSoakResult runPortSoak(const PortSoakOptions &options);

/// What does not hold, a line each; empty when all does.
std::string shortcomings(const PortSoakResult &result);

/// The result as a few lines of text.
std::string table(const PortSoakResult &result);

#endif // BENCH_SOAK_PORT_SOAK_H
