// The runtime: reads and writes at random while the line is soaked in faults.

#ifndef BENCH_SOAK_RUNTIME_USER_H
#define BENCH_SOAK_RUNTIME_USER_H

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <QByteArray>
#include <QtGlobal>

#include "driver/dmc50_share.h"

class Clock;
class JudgedLink;
class PollingThread;

/// What the runtime got.
struct UserFindings {
    uint64_t cache_reads = 0; ///< answered from the cache
    uint64_t on_demand = 0;   ///< answered by the line
    uint64_t given_up = 0;    ///< no answer in time
    uint64_t values = 0;      ///< delivered
    uint64_t disguised = 0;   ///< of these wrong, and no check could have told
    uint64_t refused_writes = 0;
    std::map<int, uint32_t> writes; ///< numbered writes taken, by station

    uint64_t violations = 0;
    std::vector<std::string> examples; ///< of violations, the first ones
};

/// Uses the polling thread as the driver does, on one thread.
class RuntimeUser
{
public:
    /// Nothing is owned.
    RuntimeUser(PollingThread *polling, const JudgedLink *link, Clock *clock, uint32_t seed);

    /// One read or write, then a short pause.
    void act();

    /// Whether all polled words have values that came after an exchange.
    bool allFreshSince(uint64_t exchange);

    const UserFindings &findings() const { return m_findings; }

private:
    uint32_t draw(uint32_t count);
    uchar drawStation();
    void read(uchar station, uint32_t first, uint32_t count);
    void check(uchar station, uint32_t address, uint32_t value, uint64_t asked);
    void write(uchar station, uint32_t count);
    void violation(const std::string &text);

    PollingThread *m_polling;
    const JudgedLink *m_link;
    Clock *m_clock;
    std::mt19937 m_random;
    UserFindings m_findings;
};

#endif // BENCH_SOAK_RUNTIME_USER_H
