// A host that carries none of the terminal's services: the plug-in brings its own.

#include "loaded_plugin.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

namespace
{

class OwnService : public testing::TestWithParam<const char *>
{
};

TEST_P(OwnService, IsMadeOnceByThePlugin)
{
    ASSERT_EQ(nullptr, ::dlsym(RTLD_DEFAULT, GetParam())) << "the host has it";
    const LoadedPlugin plugin;
    void *const service = plugin.call(GetParam());
    ASSERT_NE(nullptr, service);
    EXPECT_EQ(service, plugin.call(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Services, OwnService,
                         testing::Values("_ZN8ZSetting11getInstanceEv", "_ZN7SpiFram8instanceEv",
                                         "_ZN7ZBuzzer11getInstanceEv",
                                         "_ZN7ZDevice11getInstanceEv"));

TEST(OwnPanel, IsMissingUntilSomebodyMakesIt)
{
    EXPECT_EQ(nullptr, LoadedPlugin().call("_ZN13MessageCenter11getInstanceEv"));
}

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
