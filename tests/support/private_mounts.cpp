#include "tests/support/private_mounts.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

const char Unshare[] = "unshare";

// Tells a program that it was started in a namespace of its own, and how far that one is.
const char StageVariable[] = "DMC50_TEST_PRIVATE_MOUNTS";
const char MadeStage[] = "made";
const char FilledStage[] = "filled";

std::string fault = "this program's main() does not ask for mounts of its own";

std::string reason(const std::string &what)
{
    return what + ": " + std::strerror(errno);
}

bool listsTestsOnly(char **argv)
{
    const char option[] = "--gtest_list_tests";
    for (; *argv != nullptr; ++argv) {
        if (std::strncmp(*argv, option, sizeof option - 1) == 0)
            return true;
    }
    return false;
}

std::string programFile()
{
    char path[PATH_MAX];
    const ssize_t size = ::readlink("/proc/self/exe", path, sizeof path);
    return size > 0 ? std::string(path, static_cast<size_t>(size)) : std::string();
}

std::vector<char *> unshareCommand(const std::string &options)
{
    static std::string shown;
    shown = options;
    return {const_cast<char *>(Unshare), &shown[0]};
}

/// Whether the namespace is allowed here: found out in a child, because there is no way back.
bool mayUnshare(const std::string &options)
{
    const pid_t child = ::fork();
    if (child == 0) {
        std::vector<char *> command = unshareCommand(options);
        command.push_back(const_cast<char *>("true"));
        command.push_back(nullptr);
        ::execvp(Unshare, command.data());
        ::_exit(127);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status == 0;
}

/// Starts this program anew, through another one when it is given. Returns only when it fails.
void startAnew(const char *stage, std::vector<char *> command, char **argv)
{
    std::string program = programFile();
    command.push_back(&program[0]);
    while (*++argv != nullptr)
        command.push_back(*argv);
    command.push_back(nullptr);
    ::setenv(StageVariable, stage, 1);
    ::execvp(command[0], command.data());
    ::unsetenv(StageVariable);
}

bool makeFolder(const std::string &path)
{
    return ::mkdir(path.c_str(), 0755) == 0 || errno == EEXIST;
}

bool mountTmpfs(const char *node, const std::string &point, const std::string &options)
{
    return ::mount(node, point.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

/// The entry of a folder that holds the program; empty when the program is elsewhere.
std::string ownEntryOf(const std::string &folder)
{
    const std::string program = programFile();
    const size_t start = folder.size() + 1;
    if (program.compare(0, start, folder + "/") != 0)
        return std::string();
    return program.substr(0, program.find('/', start));
}

/// A new, empty folder in place of one of the machine's. The program itself, its libraries and
/// their neighbours must stay within reach.
bool renew(const std::string &folder, const std::string &options)
{
    const std::string entry = ownEntryOf(folder);
    const int kept = entry.empty() ? -1 : ::open(entry.c_str(), O_PATH | O_CLOEXEC);
    if (!mountTmpfs("tmpfs", folder, options))
        return false;
    if (kept < 0)
        return entry.empty();
    const std::string source = "/proc/self/fd/" + std::to_string(kept);
    const bool done = makeFolder(entry) && ::mount(source.c_str(), entry.c_str(), nullptr,
                                                   MS_BIND | MS_REC, nullptr) == 0;
    ::close(kept);
    return done;
}

std::string fillNamespace()
{
    const struct {
        const char *path;
        const char *options;
    } folders[] = {{"/tmp", "mode=1777"}, {"/run", "mode=0755"}, {"/media", "mode=0755"}};
    for (const auto &folder : folders) {
        if (!renew(folder.path, folder.options))
            return reason(std::string("no private ") + folder.path);
    }
    return std::string();
}

std::string protectMachine()
{
    if (::mount(nullptr, "/", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
        return reason("no protection of the machine's files");
    return std::string();
}

void makeNamespace(char **argv)
{
    for (const char *options : {"-m", "-rm"}) {
        if (mayUnshare(options))
            startAnew(MadeStage, unshareCommand(options), argv);
    }
    fault = "unshare makes no mount namespace here";
}

/// The program that fills the namespace may have a file of the machine open: ThreadSanitizer keeps
/// one in /tmp. The next one finds the new /tmp.
void completeNamespace(char **argv)
{
    fault = fillNamespace();
    if (fault.empty()) {
        startAnew(FilledStage, {}, argv);
        fault = "this program cannot be started again";
    }
}

} // namespace

void enterPrivateMounts(char **argv)
{
    if (listsTestsOnly(argv))
        return;
    const char *const variable = std::getenv(StageVariable);
    const std::string stage = variable != nullptr ? variable : "";
    // A program that this one starts is in the namespace already and does not look for one.
    ::unsetenv(StageVariable);
    if (stage.empty())
        makeNamespace(argv);
    else if (stage == MadeStage)
        completeNamespace(argv);
    else
        fault = protectMachine();
}

std::string privateMountsFault()
{
    return fault;
}

MountedVolume::MountedVolume(const std::string &node, const std::string &point,
                             const std::string &options)
    : m_node(node), m_point(point), m_mounted(false)
{
    makeFolders(point);
    m_mounted = mountTmpfs(node.c_str(), point, options);
    EXPECT_TRUE(m_mounted) << reason(point);
}

MountedVolume::~MountedVolume()
{
    pull();
}

void MountedVolume::pull()
{
    if (m_mounted) {
        unmount();
        EXPECT_EQ(0, ::rmdir(m_point.c_str())) << reason(m_point);
    }
}

void MountedVolume::unmount()
{
    EXPECT_EQ(0, ::umount2(m_point.c_str(), MNT_DETACH)) << reason(m_point);
    m_mounted = false;
}

void MountedVolume::setReadOnly(bool read_only)
{
    const unsigned long keeping = MS_REMOUNT | MS_BIND;
    const unsigned long flags = read_only ? keeping | MS_RDONLY : keeping;
    EXPECT_EQ(0, ::mount(nullptr, m_point.c_str(), nullptr, flags, nullptr)) << reason(m_point);
}

void makeFolders(const std::string &path)
{
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
        EXPECT_TRUE(makeFolder(path.substr(0, end))) << reason(path);
    EXPECT_TRUE(makeFolder(path)) << reason(path);
}
