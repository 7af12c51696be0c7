// The two sides of the comparison: each a master, and a responder in another process.

#ifndef BENCH_PEER_SIDE_H
#define BENCH_PEER_SIDE_H

#include <string>

#include <sys/types.h>

/// What a master is to do.
struct ExchangePlan {
    int warmUp;    ///< exchanges before those that count
    int exchanges; ///< those that count
    int pauseMs;   ///< before each; 0: none
};

/// What it took, of all the plan's exchanges that count.
struct ExchangeCost {
    double wallUs;
    double userUs;   ///< processor time of the whole process outside the system
    double systemUs; ///< and inside
};

/// Takes the cost of what happens between two moments in this process, all its threads together.
class CostMeter
{
public:
    void begin();
    ExchangeCost end() const;

private:
    static ExchangeCost now();
    ExchangeCost m_at_begin;
};

/// One way to carry 50 values of 32 bits over a line.
struct PeerSide {
    const char *name;
    const char *version; ///< with a blank before it; empty for our own
    int requestBytes;
    int replyBytes;

    /// Makes a pty, writes the path of its other end and a line feed to `ready`, and answers for
    /// ever. Returns only on a failure.
    void (*respond)(int ready);

    /// Runs a plan's exchanges one after the other and checks the values that the last one brought.
    /// \return an empty text, or what went wrong
    std::string (*exchange)(const std::string &port, const ExchangePlan &plan, ExchangeCost *cost);
};

extern const PeerSide DriverSide; ///< our polling thread, controllers of the simulator
extern const PeerSide ModbusSide; ///< libmodbus at both ends

namespace peer
{
const int Values = 50;

/// What the responders hold.
unsigned int valueAt(int index);

bool writePath(int descriptor, const std::string &path);
} // namespace peer

#endif // BENCH_PEER_SIDE_H
