#include "tests/simulator/running_simulator.h"

#include <chrono>
#include <thread>

#include "tests/support/frames.h"

Fault fault(const std::string &text)
{
    Fault parsed;
    std::string error;
    EXPECT_TRUE(parseFault(text, &parsed, &error)) << error;
    return parsed;
}

SimulatorOptions unpaced()
{
    SimulatorOptions options;
    options.baud = 0;
    return options;
}

void start(Simulator *simulator)
{
    std::string error;
    ASSERT_TRUE(simulator->start(&error)) << error;
    EXPECT_EQ("", error);
}

std::string startError(Simulator *simulator)
{
    std::string error;
    EXPECT_FALSE(simulator->start(&error));
    EXPECT_EQ("", simulator->portName());
    return error;
}

std::string startError(const SimulatorOptions &options)
{
    Simulator simulator(options);
    return startError(&simulator);
}

void pause(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

RunningSimulator::RunningSimulator() : simulator(unpaced())
{
    for (const int station : {1, 2, 3})
        simulator.setWord(station, Word, 5);
    start(&simulator);
    user.reset(new PortUser(simulator.portName()));
}

std::string RunningSimulator::exchange(unsigned station)
{
    return user->exchange(frames::readRequest(station, {Word}));
}

std::string RunningSimulator::receiveWhileAsking(unsigned station)
{
    const Stopwatch waited;
    std::string received;
    while (received.find('\n') == std::string::npos && waited.ms() < PortUser::PatienceMs) {
        user->send(frames::readRequest(station, {Word}));
        pause(10);
        if (user->hasBytes())
            received += user->receiveSome(1000);
    }
    return received;
}

void RunningSimulator::waitForRequests(size_t count)
{
    const Stopwatch waited;
    while (simulator.requests().size() < count && waited.ms() < PortUser::PatienceMs)
        pause(1);
    ASSERT_EQ(count, simulator.requests().size());
}
