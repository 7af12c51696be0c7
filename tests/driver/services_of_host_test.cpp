// A host that carries the terminal's services: the plug-in, which carries them too, uses the
// host's.

#include "loaded_plugin.h"

#include "common/messagecenter.h"
#include "common/messagecenterlistwidget.h"
#include "common/spifram.h"
#include "common/zbuzzer.h"
#include "common/zdevice.h"
#include "common/zsetting.h"

#include <QApplication>
#include <QLabel>

#include <gtest/gtest.h>

namespace
{

TEST(ServicesOfTheHost, AreThePluginsToo)
{
    const LoadedPlugin plugin;
    EXPECT_EQ(ZSetting::getInstance(), plugin.call("_ZN8ZSetting11getInstanceEv"));
    EXPECT_EQ(SpiFram::instance(), plugin.call("_ZN7SpiFram8instanceEv"));
    EXPECT_EQ(ZBuzzer::getInstance(), plugin.call("_ZN7ZBuzzer11getInstanceEv"));
    EXPECT_EQ(ZDevice::getInstance(), plugin.call("_ZN7ZDevice11getInstanceEv"));
    ZDevice::dropInstance();
    ZBuzzer::dropInstance();
    ZSetting::drop();
}

TEST(ServicesOfTheHost, WhichThePluginMadeAreTheHosts)
{
    const LoadedPlugin plugin;
    void *const made = plugin.call("_ZN8ZSetting11getInstanceEv");
    EXPECT_EQ(made, ZSetting::getInstance());
    ZSetting::drop();
}

TEST(ServicesOfTheHost, ShowAMessageOfThePluginOnTheHostsPanel)
{
    const LoadedPlugin plugin;
    EXPECT_EQ(nullptr, plugin.call("_ZN13MessageCenter11getInstanceEv")) << "no panel yet";

    MessageCenter *const panel = MessageCenter::initInstance(
        QSize(300, 400), QSize(300, 100), 0, QRect(0, 400, 300, 20), static_cast<int>(0xFF203040));
    ASSERT_EQ(panel, plugin.call("_ZN13MessageCenter11getInstanceEv"));

    typedef void (*Show)(void *, const QString &, const QString &, bool);
    const Show show = plugin.function<Show>("_ZN13MessageCenter16showMessageAsyncERK7QStringS2_b");
    show(plugin.call("_ZN13MessageCenter11getInstanceEv"), "DMC50", "the stick is full", true);

    MessageCenterListWidget *const list = panel->findChild<MessageCenterListWidget *>();
    ASSERT_NE(nullptr, list);
    ASSERT_EQ(1, list->count());
    delete panel;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
