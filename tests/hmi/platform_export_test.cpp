// A host that never mentions the platform itself must still offer it to the drivers it loads.

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace
{

class HostSymbols : public testing::TestWithParam<const char *>
{
};

TEST_P(HostSymbols, AreThereForADriver)
{
    EXPECT_NE(nullptr, ::dlsym(RTLD_DEFAULT, GetParam())) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Platform, HostSymbols,
                         testing::Values("_ZN8Platform11getInstanceEv", "_ZNK8Platform8isX86HMIEv",
                                         "_ZN8Platform11BuzzerAlarmEii", "_ZNK8Platform8BuzzerOnEv",
                                         "_ZN8Platform11setBuzzerOnEb"));

} // namespace
