// main() of tests that load the plug-in and need sticks, a project and a screen of their own.

#include "tests/support/private_mounts.h"

#include <QApplication>
#include <QFile>

#include <gtest/gtest.h>

#include <cstdio>
#include <sys/mount.h>

namespace
{

/// The project's database lies beside the running program, where nobody may write who has mounts of
/// his own. So a folder in memory is laid over the program's.
bool makeRoomForProject()
{
    // Asked for while the program can be found there: the answer is kept.
    const QByteArray folder = QFile::encodeName(QCoreApplication::applicationDirPath());
    return ::mount("tmpfs", folder.constData(), "tmpfs", 0, "mode=0755") == 0;
}

} // namespace

int main(int argc, char **argv)
{
    enterPrivateMounts(argv);
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    if (privateMountsFault().empty() && !makeRoomForProject()) {
        std::perror("no room for a project");
        return 2;
    }
    return RUN_ALL_TESTS();
}
