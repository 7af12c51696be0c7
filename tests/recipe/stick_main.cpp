// main() of tests that need sticks of their own and widgets, drawn in memory.

#include "tests/support/private_mounts.h"

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    enterPrivateMounts(argv);
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
