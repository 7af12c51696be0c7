#include "common/messagecenter.h"

#include <QListWidget>

#include <gtest/gtest.h>

namespace
{

TEST(MessageCenter, IsNoneBeforeTheScreenCreatesIt)
{
    EXPECT_EQ(nullptr, MessageCenter::getInstance());
}

TEST(MessageCenter, TakesAMessageAndShowsItAtOnce)
{
    MessageCenter *const panel =
        MessageCenter::initInstance(QSize(400, 400), QSize(400, 100), MessageCenter::AboveAnchor,
                                    QRect(0, 440, 800, 40), static_cast<int>(0xFF204060));
    EXPECT_EQ(panel, MessageCenter::getInstance());
    panel->showMessageAsync("DMC50", "done", true);
    EXPECT_EQ(1, panel->findChild<QListWidget *>()->count());
    EXPECT_TRUE(panel->isVisible());
    EXPECT_EQ(QPoint(799 - 400, 440 - 101), panel->pos());
    delete panel;
    EXPECT_EQ(nullptr, MessageCenter::getInstance());
}

} // namespace
