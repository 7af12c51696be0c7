#include "recipe/driver_gate.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{

TEST(Gate, LetsCallsThroughAndCountsThem)
{
    DriverGate gate;
    EXPECT_FALSE(gate.isBusy());
    {
        const DriverGate::Pass one(gate);
        const DriverGate::Pass other(gate);
        EXPECT_TRUE(one.isOpen());
        EXPECT_TRUE(other.isOpen());
        EXPECT_TRUE(gate.isBusy());
    }
    EXPECT_FALSE(gate.isBusy());
    EXPECT_FALSE(gate.isClosed());
}

TEST(Gate, LetsNobodyThroughWhenItIsClosed)
{
    DriverGate gate;
    EXPECT_TRUE(gate.close());
    EXPECT_FALSE(gate.close()) << "once";
    EXPECT_TRUE(gate.isClosed());
    const DriverGate::Pass pass(gate);
    EXPECT_FALSE(pass.isOpen());
}

TEST(Gate, IsBusyWithACallThatBeganBeforeItWasClosed)
{
    DriverGate gate;
    {
        const DriverGate::Pass pass(gate);
        gate.close();
        EXPECT_TRUE(pass.isOpen());
        EXPECT_TRUE(gate.isBusy());
    }
    EXPECT_FALSE(gate.isBusy());
}

// Whoever finds the gate free after closing it may destroy what lies behind.
TEST(Gate, NeverLetsACallMeetTheDestruction)
{
    for (int round = 0; round < 2000; ++round) {
        DriverGate gate;
        int behind = 1; // a race, or 0 where a call still reads it, is the mistake
        std::thread caller([&gate, &behind] {
            while (!gate.isClosed()) {
                const DriverGate::Pass pass(gate);
                if (pass.isOpen()) {
                    EXPECT_EQ(1, behind);
                }
            }
        });
        gate.close();
        while (gate.isBusy())
            std::this_thread::yield();
        behind = 0;
        caller.join();
    }
}

} // namespace
