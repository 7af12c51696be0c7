// Transfers whose driver is destroyed: none of them hangs, and nothing of them happens afterwards.

#include "tests/recipe/open_dialog.h"
#include "tests/recipe/transfer_fixture.h"

#include "tests/driver/driver_probe.h"
#include "tests/support/eventually.h"
#include "tests/support/frames.h"

#include <QElapsedTimer>

#include <thread>

namespace
{

using testing::IsEmpty;

// ---- The object by itself ------------------------------------------------------------------

class ExporterEnd : public TransferTest
{
protected:
    /// Time stands still: a wait ends when the driver goes, or never.
    void stopTheClock()
    {
        clock.onSleep = [this](ulong ms) {
            clock.advance(-static_cast<qint64>(ms));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        };
    }
};

TEST_F(ExporterEnd, ComesAtOnceWhenNothingRuns)
{
    noStick();
    start();
}

TEST_F(ExporterEnd, CutsTheWaitOfATransferShort)
{
    noStick();
    start();
    stopTheClock();
    requestExport();
    ASSERT_TRUE(eventually([this] { return !messages().empty(); }));
    endExporter();
}

TEST_F(ExporterEnd, CutsTheStartPauseShort)
{
    plugIn();
    start();
    stopTheClock();
    std::thread runtime([this] { requestImport(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    exporter->closeDriver();
    runtime.join();
    waitForWorker();
    EXPECT_EQ(0, exporter->writingToDMC50Error()) << "no import began";
}

TEST_F(ExporterEnd, DropsTransfersThatAreYetToBegin)
{
    plugIn();
    start();
    choose(5, 1);
    std::atomic<bool> ended(false);
    std::thread destroyer;
    {
        const WorkerHold hold(exporter);
        requestExport();
        requestImport();
        CSVImExporter *const ending = exporter;
        exporter = nullptr;
        destroyer = std::thread([ending, &ended] {
            ending->end();
            ended = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(ended) << "it waits for what runs";
    }
    destroyer.join();
    EXPECT_FALSE(exists(onStick("PROG_5.txt")));
    EXPECT_FALSE(exists(onStick("WRITE_PROG_5_ERROR.txt")));
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(ExporterEnd, LeavesNothingOfAnExportThatIsCutShort)
{
    plugIn();
    ::write(onStick("PROG_5.txt"), "older");
    controllers.answers = [this](const std::string &request) {
        if (frames::isRead(request) && frames::fields(request).front() == 0x1040) {
            exporter->closeDriver();
            clock.advance(5001); // is no time-out any more
        }
        return true;
    };
    start();
    exportProgram(5, 5);
    EXPECT_EQ("older", contentOf(onStick("PROG_5.txt")));
    EXPECT_FALSE(exists(onStick("READ_PROG_5_ERROR.txt")));
    EXPECT_EQ(0, exporter->readingFromDMC50Error());
    EXPECT_EQ(3u, link.sent().size());
}

TEST_F(ExporterEnd, LeavesNothingOfAnImportThatIsCutShort)
{
    plugIn();
    ::write(onStick("PROG_5.txt"), programFile(2));
    start();
    probe::endLine(*driver);
    clock.onSleep = [this](ulong) {
        if (exporter->writingToDMC50Enable())
            exporter->closeDriver();
    };
    importProgram(5, 2);
    EXPECT_FALSE(exists(onStick("WRITE_PROG_5_ERROR.txt")));
    EXPECT_EQ(0, exporter->writingToDMC50Error());
    EXPECT_FALSE(exporter->writingToDMC50Enable());
}

TEST_F(ExporterEnd, StopsTheTimerThatStillRuns)
{
    plugIn();
    start();
    exportProgram(5, 0);
    ASSERT_EQ(2000, resetInterval());
}

// ---- Drivers -------------------------------------------------------------------------------

/// The driver's own exporter, on the machine's clock.
class DriverEnd : public TransferTest
{
protected:
    DriverEnd() : gone(false)
    {
        endExporter();
        probe::setProgramDataAddresses(*driver, allSteps());
        link.retries = 5; // 18 seconds if nobody interrupts
    }

    void tag(const char *name, int value)
    {
        CommunicatorCommand command;
        command.address = name;
        command.dataType = CommunicatorCommand::WordType;
        const QByteArray data = QByteArray(1, static_cast<char>(value)) + QByteArray(1, '\0');
        EXPECT_EQ(1, driver->write(&link, command, data));
    }

    int tagValue(const char *name)
    {
        CommunicatorCommand command;
        command.address = name;
        command.dataType = CommunicatorCommand::WordType;
        const QByteArray data = driver->read(&link, command);
        return data.size() == 2 ? uchar(data.at(0)) + 256 * uchar(data.at(1)) : -1;
    }

    void choose(int program, int steps)
    {
        tag("VVT_PROG_ID0", program);
        tag("VVT_PROG_COUNT0", steps);
        QObject::connect(probe::exporter(*driver), &QObject::destroyed, [this] { gone = true; });
    }

    /// Destroys the driver, which must not take longer than one request on the line.
    void destroyAtOnce()
    {
        QElapsedTimer timer;
        timer.start();
        driver.reset();
        EXPECT_GT(2500, timer.elapsed());
    }

    /// Two files that an import has to ask about.
    void putTwoFiles()
    {
        ::write(onStick("PROG_5.txt"), programFile(1));
        ::write(onStick("PROG_5_old.txt"), programFile(2));
    }

    std::atomic<bool> gone; ///< the exporter
};

TEST_F(DriverEnd, MakesItsExporterWithTheFirstTag)
{
    noStick();
    EXPECT_EQ(nullptr, probe::exporter(*driver));
    EXPECT_EQ(allSteps(), probe::programDataAddresses(*driver));
    EXPECT_EQ(0, tagValue("VVT_PROGRESS0"));
    CSVImExporter *const exporter_of_driver = probe::exporter(*driver);
    ASSERT_NE(nullptr, exporter_of_driver);
    EXPECT_THAT(probe::programDataAddresses(*driver), IsEmpty());
    tag("VVT_PROG_ID0", 5);
    EXPECT_EQ(exporter_of_driver, probe::exporter(*driver));
    EXPECT_EQ(5, tagValue("VVT_PROG_ID0"));
    destroyAtOnce();
}

TEST_F(DriverEnd, DoesAWholeTransferByItsTags)
{
    plugIn();
    choose(5, 2);
    tag("VVT_ENABLE1", 1);
    EXPECT_TRUE(eventually([this] { return tagValue("VVT_PROGRESS1") == 100; }));
    EXPECT_TRUE(exists(onStick("PROG_5.txt")));
    EXPECT_EQ(1, tagValue("VVT_ENABLE1"));
    destroyAtOnce(); // with the two seconds running
    EXPECT_TRUE(gone);
}

TEST_F(DriverEnd, CutsTheWaitOfATransferShort)
{
    noStick();
    choose(5, 2);
    tag("VVT_ENABLE1", 1);
    EXPECT_TRUE(eventually([this] { return tagValue("VVT_ENABLE1") == 1; }));
    QElapsedTimer timer;
    timer.start();
    driver.reset();
    EXPECT_GT(1500, timer.elapsed());
    EXPECT_TRUE(gone);
}

TEST_F(DriverEnd, CutsTheReadingOfAStepShort)
{
    plugIn();
    choose(5, 3);
    controllers.answers = [](const std::string &) { return false; };
    tag("VVT_ENABLE1", 1);
    ASSERT_TRUE(eventually([this] { return !link.sent().empty(); }));
    destroyAtOnce();
    EXPECT_TRUE(gone);
    EXPECT_FALSE(exists(onStick("PROG_5.txt")));
    EXPECT_FALSE(exists(onStick("READ_PROG_5_ERROR.txt")));
}

TEST_F(DriverEnd, CutsTheStartOfAnImportShort)
{
    plugIn();
    choose(5, 1);
    CSVImExporter *const exporter_of_driver = probe::exporter(*driver);
    DriverDMC50v3 *const called = driver.get();
    std::atomic<bool> returned(false);
    std::thread runtime([this, called, &returned] {
        CommunicatorCommand command;
        command.address = "VVT_ENABLE0";
        EXPECT_EQ(1, called->write(&link, command, QByteArray(1, '\1')));
        returned = true;
    });
    // The call has begun when it asks for the station.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_FALSE(exporter_of_driver->writingToDMC50Enable());
    destroyAtOnce();
    EXPECT_TRUE(returned);
    runtime.join();
    EXPECT_TRUE(gone);
    EXPECT_FALSE(exists(onStick("WRITE_PROG_5_ERROR.txt")));
}

TEST_F(DriverEnd, CutsTheWatchOverTheQueueShort)
{
    plugIn();
    ::write(onStick("PROG_5.txt"), programFile(32));
    std::atomic<bool> held(true);
    controllers.answers = [&held](const std::string &request) {
        while (!frames::isRead(request) && held)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return true;
    };
    choose(5, 32);
    tag("VVT_ENABLE0", 1);
    ASSERT_TRUE(eventually([this] { return tagValue("WRITE_QUE_SIZE0") > 0; }));
    held = false;
    destroyAtOnce();
    EXPECT_TRUE(gone);
}

class DriverEndAtAMoment : public DriverEnd, public testing::WithParamInterface<int>
{
};

TEST_P(DriverEndAtAMoment, EndsAnExport)
{
    plugIn();
    choose(5, 32);
    tag("VVT_ENABLE1", 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(GetParam()));
    destroyAtOnce();
    EXPECT_TRUE(gone);
}

TEST_P(DriverEndAtAMoment, EndsAnImport)
{
    plugIn();
    ::write(onStick("PROG_5.txt"), programFile(32));
    choose(5, 32);
    tag("VVT_ENABLE0", 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(GetParam()));
    destroyAtOnce();
    EXPECT_TRUE(gone);
}

INSTANTIATE_TEST_SUITE_P(After, DriverEndAtAMoment,
                         testing::Values(0, 1, 2, 5, 10, 20, 30, 50, 80, 130, 210, 340, 550, 890,
                                         1440));

// After so many frames, by the line's own account: always between the same two instructions of the
// line, whatever the machine's load.
class DriverEndAtAFrame : public DriverEnd, public testing::WithParamInterface<int>
{
};

TEST_P(DriverEndAtAFrame, EndsAnExport)
{
    plugIn();
    std::atomic<int> frames_seen(0);
    controllers.answers = [&frames_seen](const std::string &) {
        ++frames_seen;
        return true;
    };
    choose(5, 32);
    tag("VVT_ENABLE1", 1);
    ASSERT_TRUE(eventually([&frames_seen] { return frames_seen >= GetParam(); }));
    destroyAtOnce();
    EXPECT_TRUE(gone);
}

INSTANTIATE_TEST_SUITE_P(Number, DriverEndAtAFrame, testing::Values(1, 2, 3, 8, 16, 31, 32));

// ---- Drivers whose transfer asks the operator ----------------------------------------------

class DriverEndWithDialog : public DriverEnd
{
protected:
    /// Lets the import ask, and does something in the dialog's own event loop.
    void ask(const std::function<void()> &meanwhile)
    {
        plugIn();
        putTwoFiles();
        WhenDialogOpens opens([&meanwhile](ambiguousFilesSelectDialog *) { meanwhile(); });
        choose(5, 2);
        tag("VVT_ENABLE0", 1);
        EXPECT_TRUE(runUntil([&opens] { return opens.opened() > 0; }));
        EXPECT_TRUE(runUntil([this] { return gone.load(); }));
        EXPECT_EQ(nullptr, openDialog());
        // What is left is the thread's own object, which this thread deletes.
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_THAT(link.sent(), IsEmpty()) << "nothing was imported";
        EXPECT_FALSE(exists(onStick("WRITE_PROG_5_ERROR.txt")));
    }
};

TEST_F(DriverEndWithDialog, EndsInTheDialogsOwnEventLoop)
{
    ask([this] {
        destroyAtOnce();
        EXPECT_FALSE(gone) << "the dialog is still open";
        EXPECT_NE(nullptr, openDialog());
    });
}

TEST_F(DriverEndWithDialog, EndsOnAnotherThreadWhileTheDialogIsOpen)
{
    std::thread destroyer;
    ask([this, &destroyer] {
        destroyer = std::thread([this] {
            destroyAtOnce();
            EXPECT_TRUE(gone) << "the dialog closes, and the driver waits for that";
        });
    });
    destroyer.join();
}

TEST_F(DriverEndWithDialog, EndsOnAnotherThreadThatTheScreenWaitsFor)
{
    ask([this] {
        std::thread destroyer([this] {
            destroyAtOnce();
            EXPECT_FALSE(gone) << "the dialog cannot close";
        });
        destroyer.join();
    });
}

// The screen's thread has not come to show the dialog yet.
TEST_F(DriverEndWithDialog, EndsBeforeTheDialogIsShown)
{
    plugIn();
    putTwoFiles();
    choose(5, 2);
    tag("VVT_ENABLE0", 1);
    ASSERT_TRUE(eventually([this] { return tagValue("VVT_ENABLE0") == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    destroyAtOnce();
    EXPECT_TRUE(gone);
    QCoreApplication::processEvents();
    EXPECT_EQ(nullptr, openDialog());
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(DriverEndWithDialog, EndsWhileTheRuntimeGoesOnReading)
{
    const CommunicatorCommand ordinary = [] {
        CommunicatorCommand command;
        command.address = "NA2000";
        return command;
    }();
    plugIn();
    putTwoFiles();
    std::atomic<bool> answered(false);
    WhenDialogOpens opens([this, &ordinary, &answered](ambiguousFilesSelectDialog *dialog) {
        answered = driver->read(&link, ordinary).size() == 4;
        dialog->accept();
    });
    choose(5, 2);
    tag("VVT_ENABLE0", 1);
    EXPECT_TRUE(runUntil([&opens] { return opens.opened() > 0 && openDialog() == nullptr; }));
    EXPECT_TRUE(answered) << "an open question keeps no tag from being read";
    destroyAtOnce();
    EXPECT_TRUE(gone);
}

// ---- The runtime's own calls at the same time ----------------------------------------------

// Of two on-demand reads of the same words at once one would take the other's values.
TEST_F(DriverEnd, LetsTheRuntimeWriteBitsIntoTheStepsThatAreRead)
{
    plugIn();
    link.retries = 0;
    choose(5, 32);
    tag("VVT_ENABLE1", 1);
    CommunicatorCommand bit;
    bit.dataType = CommunicatorCommand::BitType;
    int written = 0;
    while (tagValue("VVT_PROGRESS1") < 100) {
        bit.address = QString("NA%1.0").arg(stepAddress(written % 32 + 1), 0, 16);
        ASSERT_EQ(1, driver->write(&link, bit, QByteArray(1, '\0'))) << written;
        ++written;
    }
    EXPECT_LT(0, written);
    EXPECT_EQ(0, tagValue("VVT_ERROR1"));
    EXPECT_EQ(33, textOf(onStick("PROG_5.txt")).count('\n')) << "no step is missing";
}

TEST_F(DriverEnd, KeepsTheRuntimesReadsAndTheImportsWritesApart)
{
    plugIn();
    link.retries = 0;
    ::write(onStick("PROG_5.txt"), programFile(32));
    choose(5, 32);
    tag("VVT_ENABLE0", 1);
    CommunicatorCommand ordinary;
    ordinary.dataType = CommunicatorCommand::DoubleWordType;
    int reads = 0;
    EXPECT_TRUE(eventually([this, &ordinary, &reads] {
        ordinary.address = QString("NA%1").arg(0x1000 + 0x20 * (reads % 32), 0, 16);
        ordinary.length = 1 + reads % 24;
        const QByteArray data = driver->read(&link, ordinary);
        EXPECT_EQ(ordinary.length * 4, data.size());
        ++reads;
        return controllers.word(1, stepAddress(32) + 23) == 32000 + 23;
    }));
    EXPECT_EQ(0, tagValue("VVT_ERROR0"));
}

} // namespace
