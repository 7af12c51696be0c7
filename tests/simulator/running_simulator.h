// Simulators as the tests start them, in the test's own process.

#ifndef TESTS_SIMULATOR_RUNNING_SIMULATOR_H
#define TESTS_SIMULATOR_RUNNING_SIMULATOR_H

#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "simulator/simulator.h"
#include "tests/simulator/port_user.h"

/// An address where nothing lives.
const uint32_t Word = 0x5000;

Fault fault(const std::string &text);

/// Options of a simulator whose bytes take no time.
SimulatorOptions unpaced();

/// Starts a simulator that must start.
void start(Simulator *simulator);

/// Why a simulator that must not start does not.
std::string startError(Simulator *simulator);
std::string startError(const SimulatorOptions &options);

void pause(int ms);

/// A simulator of stations 1 to 3 that runs without pace; its words `Word` read 5.
class RunningSimulator : public testing::Test
{
protected:
    RunningSimulator();

    /// Reads the `Word` of a station.
    std::string exchange(unsigned station = 1);

    /// All that comes while a station is asked again and again, up to its first answer.
    std::string receiveWhileAsking(unsigned station);

    /// Waits until so many frames were received.
    void waitForRequests(size_t count);

    Simulator simulator;
    std::unique_ptr<PortUser> user;
};

#endif // TESTS_SIMULATOR_RUNNING_SIMULATOR_H
