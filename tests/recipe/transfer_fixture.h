// A program transfer with everything around it: a driver on a line to controllers that keep
// programs, a stick, and a clock that nobody has to wait for.

#ifndef TESTS_RECIPE_TRANSFER_FIXTURE_H
#define TESTS_RECIPE_TRANSFER_FIXTURE_H

#include "driver/dmc50v3.h"
#include "recipe/csvimexporter.h"
#include "tests/hmi/message_log.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fake_link.h"
#include "tests/support/private_mounts.h"

#include <QObject>
#include <QStringList>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Controllers with memories. Every word begins with a value of its own.
class Controllers
{
public:
    /// The value that a word begins with; its bits 16 to 23 are never all 0.
    static uint32_t firstValue(unsigned station, uint32_t address);

    uint32_t word(unsigned station, uint32_t address) const;
    void setWord(unsigned station, uint32_t address, uint32_t value);

    /// What they answer to a frame.
    std::string answer(const std::string &request);

    /// Asked before each answer; false is silence. Called on the line's thread; set it before a
    /// transfer begins.
    std::function<bool(const std::string &request)> answers;

private:
    mutable std::mutex m_mutex;
    std::map<std::pair<unsigned, uint32_t>, uint32_t> m_words;
};

/// The first address of a step, from 1.
uint32_t stepAddress(int step);

/// A line of a program file that holds these values, and the header before it.
QString fileRow(const QString &label, const QStringList &values);

/// 24 values that count up from the given one.
QStringList countedValues(uint32_t first);

/// The content of a file, and of a text file in UTF-16LE with byte order mark; fails the test when
/// there is none.
QByteArray contentOf(const std::string &path);
QString textOf(const std::string &path);
void write(const std::string &path, const QByteArray &content);
QByteArray encoded(const QString &text);
bool exists(const std::string &path);

/// The content of a program file with so many rows, of which row i begins with 1000 * i.
QByteArray programFile(int rows);

/// The addresses of all steps, as projects have them.
QStringList allSteps();

/// Keeps the worker thread of an exporter busy from its begin to its end.
class WorkerHold
{
public:
    explicit WorkerHold(CSVImExporter *exporter);
    ~WorkerHold();

    WorkerHold(const WorkerHold &) = delete;
    WorkerHold &operator=(const WorkerHold &) = delete;

private:
    struct State {
        std::atomic<bool> held{false};
        std::atomic<bool> released{false};
    };
    const std::shared_ptr<State> m_state;
};

class TransferTest : public testing::Test
{
protected:
    /// Two stations with whole programs, station 1 on the link, and the line is running.
    TransferTest();
    /// Ends the exporter and the driver.
    ~TransferTest() override;

    /// Skips the test where there are no private mounts.
    void SetUp() override;

    /// Mounts a stick, and starts the storage monitor, so that it finds what is mounted.
    void plugIn(const std::string &options = "size=1m");
    void noStick();

    /// Starts the exporter; the project defines these step addresses, all of them when not given.
    void start();
    void start(const QStringList &addresses);

    // The tags as the runtime uses them.
    void writeTag(const char *name, const QByteArray &data);
    QByteArray readTag(const char *name, int dataSize = 1);
    void choose(int program, int steps);

    /// Starts a transfer by its tag.
    void requestExport() { writeTag("VVT_ENABLE1", QByteArray(1, '\1')); }
    void requestImport() { writeTag("VVT_ENABLE0", QByteArray(1, '\1')); }

    /// Runs a function in the worker thread, behind what waits there, and waits for it.
    void inWorker(const std::function<void()> &function);
    void waitForWorker()
    {
        inWorker([] {});
    }

    /// Transfers until the worker is done; the flags are as a transfer leaves them.
    void exportProgram(int program, int steps);
    void importProgram(int program, int steps);

    /// The interval of the timer that ends what the screen sees of an export; -1 when it does not
    /// run.
    int resetInterval();
    /// Has it run out.
    void runOutReset();

    std::string onStick(const std::string &name) const { return stick->point() + "/" + name; }

    /// The messages for the panel so far, as "title: text".
    std::vector<std::string> messages();

    /// Ends the exporter, as the driver's destructor does.
    void endExporter();

    MessageLog log;
    FakeClock clock;
    Controllers controllers;
    FakeLink link;
    std::unique_ptr<MountedVolume> stick;
    std::unique_ptr<DriverDMC50v3> driver;
    CSVImExporter *exporter; ///< null once it was ended

private:
    void restartMonitor();

    std::mutex m_mutex;
    std::vector<std::string> m_messages; ///< m_mutex
};

#endif // TESTS_RECIPE_TRANSFER_FIXTURE_H
