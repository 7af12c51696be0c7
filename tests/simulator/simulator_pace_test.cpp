// How long bytes take. A loaded machine makes everything slower, so only what may never be faster
// is measured each time; what should not be slower is measured at the best of many.

#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "simulator/simulator.h"
#include "tests/simulator/port_user.h"
#include "tests/simulator/running_simulator.h"
#include "tests/support/frames.h"

namespace
{

const double LoadMs = 100; // what the best of many exchanges may take beyond its ideal

double msOnTheLine(size_t bytes, int baud)
{
    return static_cast<double>(bytes) * 11 * 1000 / baud;
}

/// A running simulator of a speed.
struct PacedSimulator {
    explicit PacedSimulator(int baud) : simulator(withBaud(baud))
    {
        start(&simulator);
        user.reset(new PortUser(simulator.portName()));
    }
    static SimulatorOptions withBaud(int baud)
    {
        SimulatorOptions options;
        options.baud = baud;
        return options;
    }

    Simulator simulator;
    std::unique_ptr<PortUser> user;
};

/// The shortest of some exchanges, after none was found faster than the line.
double bestExchangeMs(PortUser *user, const std::string &request, int baud)
{
    double best = PortUser::PatienceMs;
    for (int i = 0; i < 10; ++i) {
        const Stopwatch waited;
        const std::string reply = user->exchange(request);
        const double took = waited.ms();
        EXPECT_EQ('\n', reply.empty() ? '\0' : reply.back());
        EXPECT_LE(msOnTheLine(request.size() + reply.size(), baud), took);
        best = std::min(best, took);
    }
    return best;
}

TEST(SimulatorPace, IsThatOf38400BaudUnlessToldOtherwise)
{
    EXPECT_EQ(38400, SimulatorOptions().baud);
}

TEST(SimulatorPace, IsNeverFasterThanTheLineAndHardlySlower)
{
    PacedSimulator paced(38400);

    const std::string shortest = frames::readRequest(1, {Word});
    EXPECT_GT(msOnTheLine(25 + 21, 38400) + LoadMs,
              bestExchangeMs(paced.user.get(), shortest, 38400));
    const std::string longest = frames::readRequest(1, frames::run(Word, 50));
    EXPECT_GT(msOnTheLine(417 + 413, 38400) + LoadMs,
              bestExchangeMs(paced.user.get(), longest, 38400));
}

TEST(SimulatorPace, HoldsForEveryByteOfAReply)
{
    const int baud = 19200;
    PacedSimulator paced(baud);
    const std::string request = frames::readRequest(1, frames::run(Word, 50));
    const Stopwatch waited;
    paced.user->send(request);
    size_t received = 0;
    while (received < 413) {
        const size_t piece = paced.user->receiveSome(1000).size();
        ASSERT_LT(0u, piece);
        received += piece;
        EXPECT_LE(msOnTheLine(request.size() + received, baud), waited.ms());
    }
}

TEST(SimulatorPace, HoldsForAReplyThatHasToWaitForAnother)
{
    const int baud = 19200;
    PacedSimulator paced(baud);
    const std::string longRequest = frames::readRequest(1, frames::run(Word, 50));
    const Stopwatch waited;
    paced.user->send(longRequest + frames::readRequest(2, {Word}));
    paced.user->receiveLine();
    EXPECT_EQ(frames::reply(2, {0}), paced.user->receiveLine());

    EXPECT_LE(msOnTheLine(longRequest.size() + 413 + 21, baud), waited.ms());
}

TEST(SimulatorPace, HoldsForABabble)
{
    const int baud = 9600;
    PacedSimulator paced(baud);
    paced.simulator.addFault(fault("babble"));
    const std::string request = frames::readRequest(1, {Word});
    const Stopwatch waited;
    paced.user->send(request);
    paced.user->receive(200);

    EXPECT_LE(msOnTheLine(request.size() + 200, baud), waited.ms());
}

TEST(SimulatorPace, ComesBeforeTheDelayOfALateReply)
{
    const int baud = 9600;
    PacedSimulator paced(baud);
    paced.simulator.addFault(fault("late:ms=100"));
    const Stopwatch waited;
    const std::string reply = paced.user->exchange(frames::readRequest(1, {Word}));

    EXPECT_EQ(frames::reply(1, {0}), reply);
    EXPECT_LE(msOnTheLine(25 + 21, baud) + 100, waited.ms());
}

TEST(SimulatorPace, MayBeASpeedThatNoPortHas)
{
    PacedSimulator paced(12345);
    EXPECT_GT(PortUser::PatienceMs,
              bestExchangeMs(paced.user.get(), frames::readRequest(1, {Word}), 12345));
}

typedef RunningSimulator SimulatorWithoutPace;

TEST_F(SimulatorWithoutPace, TakesHardlyAnyTime)
{
    const std::string longest = frames::readRequest(1, frames::run(Word, 50));
    double best = PortUser::PatienceMs;
    for (int i = 0; i < 10; ++i) {
        const Stopwatch waited;
        EXPECT_EQ(413u, user->exchange(longest).size());
        best = std::min(best, waited.ms());
    }
    EXPECT_GT(msOnTheLine(417 + 413, 38400) / 2, best);
}

} // namespace
