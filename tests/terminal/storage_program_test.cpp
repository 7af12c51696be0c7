// The program while sticks and cards come and go: real mounts, in a namespace of this test's own.

#include "tests/support/private_mounts.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

#include <functional>

namespace
{

const int StartMs = 60000; ///< a slow machine with sanitizers
const int ScanPeriodMs = 2000;
const int ToleranceMs = 1500; ///< for `mount` itself and a machine that runs other tests

/// The running program and what it says of its storage.
class RunningTerminal
{
public:
    explicit RunningTerminal(const QStringList &options)
    {
        m_process.start(DMC50_TERMINAL, QStringList{"--simulate=1", "--baud", "0", "--period", "50",
                                                    "--tags", "NA20", "--format", "json"} +
                                            options);
        EXPECT_TRUE(m_process.waitForStarted(StartMs));
        // The session runs: so does the monitor.
        EXPECT_TRUE(waitUntil([this] { return m_reads > 0; }, StartMs));
    }

    ~RunningTerminal()
    {
        m_process.terminate();
        EXPECT_TRUE(m_process.waitForFinished(StartMs));
        EXPECT_EQ(0, m_process.exitCode()) << m_process.readAllStandardError().constData();
    }

    /// The first message not yet asked for of that kind and state; empty when none comes in time.
    QJsonObject waitForStorage(const QString &kind, bool mounted)
    {
        QJsonObject found;
        waitUntil(
            [&] {
                while (found.isEmpty() && !m_storage.isEmpty()) {
                    const QJsonObject next = m_storage.takeFirst();
                    if (next["kind"] == kind && next["mounted"] == mounted)
                        found = next;
                }
                return !found.isEmpty();
            },
            ScanPeriodMs + ToleranceMs);
        return found;
    }

private:
    bool waitUntil(const std::function<bool()> &isSo, int limitMs)
    {
        QElapsedTimer timer;
        timer.start();
        while (!isSo()) {
            if (timer.elapsed() > limitMs)
                return false;
            m_process.waitForReadyRead(20);
            while (m_process.canReadLine())
                take(QJsonDocument::fromJson(m_process.readLine()).object());
        }
        return true;
    }

    void take(const QJsonObject &line)
    {
        if (line.contains("tag"))
            ++m_reads;
        if (line.contains("storage"))
            m_storage << line["storage"].toObject();
    }

    QProcess m_process;
    int m_reads = 0;
    QList<QJsonObject> m_storage; ///< not yet asked for
};

struct Storage {
    const char *name;
    const char *kind;
    const char *node;
    const char *point;
    QStringList options;
};

class ProgramStorage : public testing::TestWithParam<Storage>
{
};

TEST_P(ProgramStorage, IsAnnouncedWithinAScanPeriodAndDisappearsAgain)
{
    if (!privateMountsFault().empty())
        GTEST_SKIP() << "needs a stick of its own: " << privateMountsFault();
    RunningTerminal terminal(GetParam().options);

    QElapsedTimer timer;
    timer.start();
    MountedVolume volume(GetParam().node, GetParam().point);
    const QJsonObject plugged = terminal.waitForStorage(GetParam().kind, true);
    EXPECT_EQ(GetParam().point, plugged["path"].toString());
    RecordProperty("plugged_ms", static_cast<int>(timer.elapsed()));

    timer.start();
    volume.pull();
    const QJsonObject pulled = terminal.waitForStorage(GetParam().kind, false);
    EXPECT_EQ(QJsonValue(false), pulled["mounted"]);
    EXPECT_EQ("", pulled["path"].toString());
    RecordProperty("pulled_ms", static_cast<int>(timer.elapsed()));
}

TEST_P(ProgramStorage, ThatIsThereAtTheStartIsAnnouncedAtOnce)
{
    if (!privateMountsFault().empty())
        GTEST_SKIP() << "needs a stick of its own: " << privateMountsFault();
    const MountedVolume volume(GetParam().node, GetParam().point, "size=256k");
    RunningTerminal terminal(GetParam().options);
    QJsonObject there = terminal.waitForStorage(GetParam().kind, true);
    EXPECT_EQ(GetParam().point, there["path"].toString());
    if (there["total_bytes"].isNull()) // its space is looked at with the first scan
        there = terminal.waitForStorage(GetParam().kind, true);
    EXPECT_EQ(256 * 1024, there["total_bytes"].toInt());
    EXPECT_EQ(256 * 1024, there["free_bytes"].toInt());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ProgramStorage,
    testing::Values(
        Storage{"DesktopStick", "usb", "/dev/sda1", "/media/usb1", {}},
        Storage{"PanelStick", "usb", "/dev/sda1", "/run/media/sda1", {"--panel"}},
        Storage{"PanelCard", "card", "/dev/mmcblk0p1", "/run/media/mmcblk0p1", {"--panel"}}),
    [](const testing::TestParamInfo<Storage> &test) { return test.param.name; });

} // namespace
