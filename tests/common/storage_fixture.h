// What the tests of the storage monitor share: private mounts, programs that stand in for the
// machine's, and a list of the signals that came.

#ifndef TESTS_COMMON_STORAGE_FIXTURE_H
#define TESTS_COMMON_STORAGE_FIXTURE_H

#include "common/clock.h"
#include "common/zdevice_platform.h"
#include "tests/hmi/message_log.h"
#include "tests/support/private_mounts.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

/// The output file of the listing command.
extern const char ListingFile[];

/// Sees to private mounts, and stands programs in front of the machine's in PATH.
class StorageTest : public testing::Test
{
protected:
    StorageTest();
    ~StorageTest() override;

    /// Skips the test where there are no private mounts.
    void SetUp() override;

    /// Makes a shell script of this name, which the shell and QProcess find first. $PATH has the
    /// machine's programs too.
    void standIn(const std::string &program, const std::string &script) const;

    /// Makes `mount` print these lines.
    void letMountPrint(const std::string &lines) const;

    /// The stand-in is gone.
    void restore(const std::string &program) const;

private:
    const std::string m_path; ///< PATH before the test
};

/// The signals of a platform or a monitor, in order, as "mounted 1 0 true" and "busy 1 0 false".
/// Connected directly: they are written down in the thread that emits them.
class SignalList
{
public:
    explicit SignalList(const PlatformInterface *platform);
    ~SignalList();

    SignalList(const SignalList &) = delete;
    SignalList &operator=(const SignalList &) = delete;

    /// What came since the last call.
    std::vector<std::string> take();

private:
    void add(const char *what, int type, int index, bool on);

    QObject m_context;
    std::mutex m_mutex;
    std::vector<std::string> m_signals; ///< guarded by m_mutex
};

void writeFile(const std::string &path, const std::string &content);
std::string readFile(const std::string &path);

/// Milliseconds that an action takes.
template <typename Action>
qint64 msFor(Action action)
{
    Clock *const clock = Clock::system();
    const qint64 start = clock->msecsSinceBoot();
    action();
    return clock->msecsSinceBoot() - start;
}

#endif // TESTS_COMMON_STORAGE_FIXTURE_H
