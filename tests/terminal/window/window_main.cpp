// main() of tests of widgets: without a display, with the fonts that every desktop has.

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_SCALE_FACTOR", "1");
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
