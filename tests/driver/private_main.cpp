// main() of tests that need an application directory of their own.
//
// The driver looks for the project's database beside the running program, and ctest runs several
// tests of one program at the same time. So the program goes on as a hard link of itself in a new
// directory, which it removes at its end.

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace
{

// Holds the process number of the program whose directory is its own; death tests inherit it.
const char OwnerVariable[] = "DMC50_TEST_DIRECTORY_OWNER";

std::string programFile()
{
    return QFile::symLinkTarget("/proc/self/exe").toStdString();
}

bool listsTestsOnly(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--gtest_list_tests", 18) == 0)
            return true;
    }
    return false;
}

/// Where hard links are not to be had, a copy does.
bool place(const std::string &program, const std::string &target)
{
    return ::link(program.c_str(), target.c_str()) == 0 ||
           QFile::copy(QString::fromStdString(program), QString::fromStdString(target));
}

/// Returns only when it fails.
void goOnInDirectoryOfOwn(char **argv)
{
    const std::string program = programFile();
    std::string directory = program + ".XXXXXX"; // mkdtemp replaces the last six
    if (::mkdtemp(&directory[0]) == nullptr)
        return;
    const std::string target =
        directory + "/" + QFileInfo(QString::fromStdString(program)).fileName().toStdString();
    if (!place(program, target))
        return;
    ::setenv(OwnerVariable, std::to_string(::getpid()).c_str(), 1);
    std::string name = target;
    argv[0] = &name[0];
    ::execv(target.c_str(), argv);
}

} // namespace

int main(int argc, char **argv)
{
    const char *const owner = std::getenv(OwnerVariable);
    if (owner == nullptr && !listsTestsOnly(argc, argv)) {
        goOnInDirectoryOfOwn(argv);
        std::perror("cannot run in a directory of its own");
        return 2;
    }
    testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    const int result = RUN_ALL_TESTS();
    if (owner != nullptr && owner == std::to_string(::getpid()))
        QDir(QCoreApplication::applicationDirPath()).removeRecursively();
    return result;
}
