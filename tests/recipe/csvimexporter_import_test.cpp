// The import: from a file to a controller.

#include "tests/recipe/transfer_fixture.h"

#include "cpl/dmc50_polling_thread.h"
#include "tests/driver/driver_probe.h"
#include "tests/support/eventually.h"
#include "tests/support/frames.h"

#include <algorithm>
#include <random>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const char InLog[] = "WRITE_PROG_5_ERROR.txt";
const char Stalled[] = "Writing Data Fail,No Response in communication.";

QString headerOf(int fields)
{
    QStringList labels;
    for (int i = 0; i < fields; ++i)
        labels << QString("label %1").arg(i);
    return labels.join("\t") + "\n";
}

class Import : public TransferTest
{
protected:
    /// Puts the file of program 5 on the stick: a header of 25 fields and these rows.
    void putFile(const QString &rows, const char *name = "PROG_5.txt", int headerFields = 25)
    {
        ::write(onStick(name), encoded(headerOf(headerFields) + rows));
    }

    /// Rows that begin with 1000, 2000, ...
    static QString rows(int count)
    {
        QString text;
        for (int i = 1; i <= count; ++i)
            text += fileRow("row", countedValues(static_cast<uint32_t>(1000 * i)));
        return text;
    }

    /// The clock runs ahead of the line: the worker's first pause lasts until all is sent.
    Import()
    {
        clock.onSleep = [this](ulong) {
            if (exporter->writingToDMC50Enable() && line().isRunning()) {
                EXPECT_TRUE(eventually([this] { return line().addrArgQueueMapIsEmpty(); }));
            }
        };
    }

    void expectStep(int step, uint32_t first, unsigned station = 1)
    {
        EXPECT_TRUE(eventually([this, step, first, station] { // the last frame was just sent
            return controllers.word(station, stepAddress(step) + 23) == first + 23;
        }));
        for (uint32_t i = 0; i < 24; ++i)
            EXPECT_EQ(first + i, controllers.word(station, stepAddress(step) + i)) << step;
    }

    void expectUntouched(int step, unsigned station = 1)
    {
        for (uint32_t i = 0; i < 24; ++i) {
            EXPECT_EQ(Controllers::firstValue(station, stepAddress(step) + i),
                      controllers.word(station, stepAddress(step) + i))
                << step;
        }
    }

    std::vector<std::string> writeFrames()
    {
        std::vector<std::string> requests;
        for (const std::string &request : link.sent()) {
            if (!frames::isRead(request))
                requests.push_back(request);
        }
        return requests;
    }

    PollingThread &line() { return *probe::thread(*driver); }

    /// Queues writes beside the transfer's.
    void queueOthers(int count)
    {
        const AddrArg pair = {0x2000, 1};
        line().writeDWords(1, std::vector<AddrArg>(size_t(count), pair));
    }

    QByteArray logText() { return contentOf(onStick(InLog)); }
};

// ---- Success -------------------------------------------------------------------------------

TEST_F(Import, WritesTheStepsOfTheFile)
{
    plugIn();
    putFile(rows(3));
    start();
    importProgram(5, 3);
    expectStep(1, 1000);
    expectStep(2, 2000);
    expectStep(3, 3000);
    expectUntouched(4);
    EXPECT_EQ(0, exporter->writingToDMC50Error());
    EXPECT_FALSE(exists(onStick(InLog)));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Import, WritesInTheOrderOfTheAddresses)
{
    plugIn();
    putFile(rows(32));
    start();
    importProgram(5, 32);
    expectStep(32, 32000);
    std::vector<uint32_t> addresses;
    for (const std::string &request : writeFrames()) {
        const std::vector<uint32_t> fields = frames::fields(request);
        for (size_t i = 0; i < fields.size(); i += 2)
            addresses.push_back(fields[i]);
    }
    std::vector<uint32_t> expected;
    for (int step = 1; step <= 32; ++step) {
        for (uint32_t i = 0; i < 24; ++i)
            expected.push_back(stepAddress(step) + i);
    }
    EXPECT_EQ(expected, addresses);
}

TEST_F(Import, OfMoreRowsThanStepsWritesTheSteps)
{
    plugIn();
    putFile(rows(5));
    start();
    importProgram(5, 2);
    expectStep(2, 2000);
    expectUntouched(3);
}

TEST_F(Import, OfMoreStepsThanRowsWritesTheRows)
{
    plugIn();
    putFile(rows(2));
    start();
    importProgram(5, 5);
    expectStep(2, 2000);
    expectUntouched(3);
    EXPECT_EQ(0, exporter->writingToDMC50Error());
}

TEST_F(Import, OfMoreRowsThanAProgramHasWritesAProgram)
{
    plugIn();
    putFile(rows(40));
    start();
    importProgram(5, 32);
    expectStep(32, 32000);
    EXPECT_EQ(0, exporter->writingToDMC50Error());
}

TEST_F(Import, OfNoStepsWritesNothing)
{
    plugIn();
    putFile(rows(2) + fileRow("bad", {"x"}));
    start();
    importProgram(5, 0);
    expectUntouched(1);
    EXPECT_EQ(0, exporter->writingToDMC50Error());
}

TEST_F(Import, LosesBits16To23)
{
    plugIn();
    putFile(fileRow("row", QStringList({"70000", "4294967295"}) + countedValues(0).mid(2)));
    start();
    importProgram(5, 1);
    EXPECT_TRUE(eventually([this] { return controllers.word(1, 0x1017) == 23; }));
    EXPECT_EQ(4464u, controllers.word(1, 0x1000));
    EXPECT_EQ(0xFF00FFFFu, controllers.word(1, 0x1001));
}

TEST_F(Import, LeavesOutStepsThatAreNotDefined)
{
    plugIn();
    putFile(rows(3));
    start({"NA1000", "NA1040"});
    importProgram(5, 3);
    expectStep(1, 1000);
    expectUntouched(2);
    expectStep(3, 3000);
}

TEST_F(Import, StaysAtTheStationOfItsStart)
{
    plugIn();
    putFile(rows(4));
    start();
    link.station = 2;
    choose(5, 4);
    {
        const WorkerHold hold(exporter);
        requestImport();
        link.station = 1;
    }
    waitForWorker();
    expectStep(4, 4000, 2);
    expectUntouched(1, 1);
}

TEST_F(Import, TakesAFileOfASpreadsheet)
{
    plugIn();
    QString file = headerOf(25) + fileRow("\"row \"\"1\"\"\"", countedValues(1)) +
                   fileRow("row", countedValues(2));
    file.replace("\n", "\r\n").replace("\t", ",");
    ::write(onStick("PROG_5.txt"), encoded(file));
    start();
    importProgram(5, 2);
    expectStep(1, 1);
    expectStep(2, 2);
}

TEST_F(Import, BringsBackWhatAnExportWrote)
{
    std::mt19937 random(3);
    for (int step = 1; step <= 32; ++step) {
        for (uint32_t i = 0; i < 24; ++i)
            controllers.setWord(1, stepAddress(step) + i, static_cast<uint32_t>(random()));
    }
    plugIn();
    start();
    exportProgram(5, 32);
    link.station = 2;
    importProgram(5, 32);
    EXPECT_TRUE(eventually([this] {
        return controllers.word(2, 0x13F7) == (controllers.word(1, 0x13F7) & 0xFF00FFFFU);
    }));
    for (int step = 1; step <= 32; ++step) {
        for (uint32_t i = 0; i < 24; ++i) {
            EXPECT_EQ(controllers.word(1, stepAddress(step) + i) & 0xFF00FFFFU,
                      controllers.word(2, stepAddress(step) + i));
        }
    }
}

// ---- Flags and time ------------------------------------------------------------------------

TEST_F(Import, ShowsItsEndForTwoSeconds)
{
    plugIn();
    putFile(rows(1));
    start();
    probe::endLine(*driver);
    std::vector<int> shown;
    choose(5, 0);
    const qint64 before = clock.msecsSinceBoot();
    clock.onSleep = [this, &shown](ulong) {
        if (exporter->writingToDMC50Enable())
            shown.push_back(exporter->writingToDMC50Progress());
    };
    requestImport();
    waitForWorker();
    EXPECT_EQ(500 + 2000, clock.msecsSinceBoot() - before);
    EXPECT_EQ(100u, shown.size());
    EXPECT_THAT(shown, testing::Each(100)) << "an empty queue is done at the first look";
    EXPECT_EQ(QByteArray(1, '\0'), readTag("VVT_ENABLE0"));
    EXPECT_EQ(QByteArray(1, '\0'), readTag("VVT_PROGRESS0"));
}

TEST_F(Import, EndsWhatTheScreenShowsOfAnExport)
{
    plugIn();
    putFile(rows(1));
    start();
    exportProgram(6, 0);
    EXPECT_TRUE(exporter->readingFromDMC50Enable());
    importProgram(5, 1);
    EXPECT_EQ(2000, resetInterval());
    runOutReset();
    EXPECT_FALSE(exporter->readingFromDMC50Enable());
    EXPECT_EQ(0, exporter->readingFromDM50Progress());
}

TEST_F(Import, LetsTheScreenRead)
{
    plugIn();
    putFile(rows(1));
    start();
    std::atomic<int> busy(0);
    controllers.answers = [this, &busy](const std::string &) {
        busy += probe::state(*driver).transferBusy ? 1 : 0;
        return true;
    };
    importProgram(5, 1);
    expectStep(1, 1000);
    EXPECT_EQ(0, busy);
    EXPECT_THAT(writeFrames(), testing::Not(IsEmpty()));
}

TEST_F(Import, ClearsTheErrorOfAnEarlierOne)
{
    plugIn();
    start();
    importProgram(5, 1);
    ASSERT_EQ(1, exporter->writingToDMC50Error());
    putFile(rows(1));
    importProgram(5, 1);
    EXPECT_EQ(0, exporter->writingToDMC50Error());
    EXPECT_TRUE(exists(onStick(InLog))) << "the old log stays";
}

TEST_F(Import, IsNotStartedWhileOneRuns)
{
    plugIn();
    putFile(rows(1));
    start();
    probe::endLine(*driver);
    int requests = 0;
    clock.onSleep = [this, &requests](ulong) {
        if (exporter->writingToDMC50Enable()) {
            ++requests;
            requestImport(); // would sleep, and come here again without end
        }
    };
    importProgram(5, 0);
    EXPECT_EQ(100, requests);
    const qint64 now = clock.msecsSinceBoot();
    waitForWorker();
    EXPECT_EQ(now, clock.msecsSinceBoot()) << "no other one waits";
}

// ---- Both at once --------------------------------------------------------------------------

TEST_F(Import, IsFollowedByTheExportThatWasRequestedMeanwhile)
{
    plugIn();
    putFile(rows(2));
    start();
    choose(5, 2);
    {
        const WorkerHold hold(exporter);
        requestImport();
        requestExport();
    }
    waitForWorker();
    const QString exported = textOf(onStick("PROG_5.txt"));
    EXPECT_TRUE(exported.endsWith(fileRow("", countedValues(2000)))) << "the import came first";
    EXPECT_FALSE(exporter->writingToDMC50Enable());
    EXPECT_TRUE(exporter->readingFromDMC50Enable());
    EXPECT_EQ(100, exporter->readingFromDM50Progress());
    EXPECT_EQ(2000, resetInterval());
}

TEST_F(Import, WaitsForTheExportThatWasRequestedBefore)
{
    plugIn();
    start();
    choose(5, 2);
    {
        const WorkerHold hold(exporter);
        requestExport();
        requestImport();
    }
    waitForWorker();
    EXPECT_EQ(0, exporter->writingToDMC50Error()) << "the file was there";
    EXPECT_TRUE(eventually([this] {
        return controllers.word(1, 0x1000) == (Controllers::firstValue(1, 0x1000) & 0xFF00FFFFU);
    }));
}

// ---- Without a stick, a file or rows -------------------------------------------------------

TEST_F(Import, WithoutAStickTellsTheOperator)
{
    noStick();
    start();
    const qint64 before = clock.msecsSinceBoot();
    importProgram(5, 1);
    EXPECT_THAT(messages(), ElementsAre("DMC50: The system can't not detect the USB Stick."));
    EXPECT_EQ(500 + 2000, clock.msecsSinceBoot() - before);
    EXPECT_EQ(0, exporter->writingToDMC50Error());
    EXPECT_FALSE(exporter->writingToDMC50Enable());
    EXPECT_EQ(-1, resetInterval());
}

TEST_F(Import, WithoutAFileIsLogged)
{
    plugIn();
    ::write(onStick("PROG_55.txt"), "");
    ::write(onStick("PROG_5x.txt"), "");
    ::write(onStick("PROG_5.txt.bak"), "");
    makeFolders(onStick("PROG_5_folder.txt"));
    start();
    const qint64 before = clock.msecsSinceBoot();
    importProgram(5, 1);
    EXPECT_EQ("The file name is empty.", logText());
    EXPECT_EQ(1, exporter->writingToDMC50Error());
    EXPECT_EQ(500 + 2000, clock.msecsSinceBoot() - before);
    EXPECT_FALSE(exporter->writingToDMC50Enable());
    EXPECT_EQ(0, exporter->writingToDMC50Progress());
}

TEST_F(Import, OfAFileWithoutRowsIsLogged)
{
    plugIn();
    start();
    for (const QString &text : {QString(), headerOf(25)}) {
        ::write(onStick("PROG_5.txt"), encoded(text));
        importProgram(5, 1);
        EXPECT_EQ("No content found in the imported file.", logText());
        EXPECT_EQ(1, exporter->writingToDMC50Error());
        writeTag("VVT_ERROR0", QByteArray(1, '\0'));
    }
}

TEST_F(Import, OfNoisePutsTheLoadersMessagesIntoTheLog)
{
    plugIn();
    ::write(onStick("PROG_5.txt"), encoded(QString(1000, 'x') + "\nyyy\n"));
    start();
    importProgram(5, 1);
    EXPECT_THAT(logText().toStdString(), testing::HasSubstr("Cannot detect delimiter."));
    EXPECT_EQ(1, exporter->writingToDMC50Error());
}

TEST_F(Import, TakesAFileWithAnAddition)
{
    plugIn();
    putFile(rows(1), "PROG_5_furnace 2.txt");
    start();
    importProgram(5, 1);
    expectStep(1, 1000);
}

TEST_F(Import, DoesNotFollowALinkOnTheStick)
{
    plugIn();
    ::write("/tmp/secret", encoded(headerOf(25) + fileRow("secret", {"secret"})));
    ASSERT_EQ(0, ::symlink("/tmp/secret", onStick("PROG_5.txt").c_str()));
    ASSERT_EQ(0, ::mkfifo(onStick("PROG_5_pipe.txt").c_str(), 0600));
    start();
    importProgram(5, 1);
    EXPECT_EQ("The file name is empty.", logText());
}

// ---- Rows that are too short ---------------------------------------------------------------

TEST_F(Import, OfAHeaderThatIsTooShortIsRefused)
{
    plugIn();
    putFile(rows(1), "PROG_5.txt", 24);
    start();
    bool flag_while_waiting = false;
    clock.onSleep = [this, &flag_while_waiting](ulong) {
        flag_while_waiting = flag_while_waiting || exporter->writingToDMC50Error() != 0;
    };
    const qint64 before = clock.msecsSinceBoot();
    importProgram(5, 1);
    EXPECT_THAT(messages(), ElementsAre("DMC50: The field Num is not 25."));
    EXPECT_EQ(500 + 2000, clock.msecsSinceBoot() - before);
    EXPECT_FALSE(flag_while_waiting);
    EXPECT_EQ(1, exporter->writingToDMC50Error());
    EXPECT_FALSE(exporter->writingToDMC50Enable());
    EXPECT_FALSE(exists(onStick(InLog)));
    expectUntouched(1);
}

TEST_F(Import, OfAWiderHeaderIsTaken)
{
    plugIn();
    putFile(rows(1), "PROG_5.txt", 30);
    start();
    importProgram(5, 1);
    expectStep(1, 1000);
}

TEST_F(Import, OfAShortRowReportsWhatItLacks)
{
    plugIn();
    putFile(rows(1) + fileRow("short", countedValues(1).mid(0, 22)));
    start();
    importProgram(5, 2);
    EXPECT_EQ("The value [] at row 1 and column 23 is invalid, please check it.\n\n"
              "The value [] at row 1 and column 24 is invalid, please check it.\n",
              logText());
    expectUntouched(1);
}

// ---- Bad values ----------------------------------------------------------------------------

TEST_F(Import, ReportsEveryBadValueAtOnceAndWritesNothing)
{
    plugIn();
    QStringList first = countedValues(1);
    first[2] = "1.5";
    QStringList third = countedValues(3);
    third[0] = "-1";
    third[23] = QString::fromUtf8("程 7");
    putFile(fileRow("1", first) + fileRow("2", countedValues(2)) + fileRow("3", third));
    start();
    const qint64 before = clock.msecsSinceBoot();
    importProgram(5, 3);
    EXPECT_EQ(
        QString::fromUtf8("The value [1.5] at row 0 and column 3 is invalid, please check it.\n\n"
                          "The value [-1] at row 2 and column 1 is invalid, please check it.\n\n"
                          "The value [程 7] at row 2 and column 24 is invalid, please check it.\n"),
        QString::fromUtf8(logText()));
    EXPECT_EQ(1, exporter->writingToDMC50Error());
    EXPECT_EQ(500 + 2000, clock.msecsSinceBoot() - before);
    EXPECT_FALSE(exporter->writingToDMC50Enable());
    EXPECT_THAT(writeFrames(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(-1, resetInterval());
}

TEST_F(Import, DoesNotLookAtRowsBehindTheSteps)
{
    plugIn();
    putFile(rows(2) + fileRow("bad", {"x"}));
    start();
    importProgram(5, 2);
    EXPECT_EQ(0, exporter->writingToDMC50Error());
    expectStep(2, 2000);
}

// ---- A stick with faults -------------------------------------------------------------------

TEST_F(Import, FromAStickThatWasPulledFails)
{
    plugIn();
    putFile(rows(1));
    start();
    stick->pull();
    importProgram(5, 1);
    EXPECT_EQ(1, exporter->writingToDMC50Error());
    EXPECT_FALSE(exporter->writingToDMC50Enable());
    expectUntouched(1);
}

TEST_F(Import, FromAReadOnlyStickWorks)
{
    plugIn();
    putFile(rows(1));
    stick->setReadOnly(true);
    start();
    importProgram(5, 1);
    expectStep(1, 1000);
    EXPECT_EQ(0, exporter->writingToDMC50Error());
}

TEST_F(Import, FromAFullStickStillSetsItsFlag)
{
    plugIn("size=8k");
    putFile(fileRow("bad", {"x"}));
    ::write(onStick("filler"), QByteArray(4096, 'x'));
    start();
    importProgram(5, 1);
    EXPECT_EQ(1, exporter->writingToDMC50Error());
}

// ---- The write queue -----------------------------------------------------------------------

TEST_F(Import, FollowsTheQueueToItsEnd)
{
    plugIn();
    putFile(rows(32));
    start();
    std::vector<int> shown;
    int sleeps = 0;
    int length = 32 * 24;
    clock.onSleep = [this, &shown, &sleeps, &length](ulong) {
        if (!exporter->writingToDMC50Enable())
            return;
        shown.push_back(exporter->writingToDMC50Progress());
        if (++sleeps % 50 != 0)
            return;
        // A second is over: the line must have got somewhere.
        EXPECT_TRUE(eventually([this, length] {
            const int now = line().getAddrArgQueueSize(1);
            return now == 0 || now < length - 100;
        }));
        length = line().getAddrArgQueueSize(1);
    };
    importProgram(5, 32);
    EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end()));
    EXPECT_LE(3u, std::set<int>(shown.begin(), shown.end()).size());
    EXPECT_EQ(100, shown.back());
    EXPECT_EQ(0, exporter->writingToDMC50Error());
    expectStep(32, 32000);
}

TEST_F(Import, FailsWhenTheQueueDoesNotMove)
{
    plugIn();
    putFile(rows(2));
    start();
    probe::endLine(*driver);
    const qint64 before = clock.msecsSinceBoot();
    importProgram(5, 2);
    EXPECT_EQ(Stalled, logText());
    EXPECT_EQ(1, exporter->writingToDMC50Error());
    // Seven looks with a second between them, and the time for the screen.
    EXPECT_EQ(500 + 6000 + 2000, clock.msecsSinceBoot() - before);
    EXPECT_FALSE(exporter->writingToDMC50Enable());
    EXPECT_EQ(0, exporter->writingToDMC50Progress());
    EXPECT_EQ(48, line().getAddrArgQueueSize(1)) << "what was queued stays queued";
}

TEST_F(Import, CountsFromTheLastMoveOfTheQueue)
{
    plugIn();
    putFile(rows(2));
    start();
    probe::endLine(*driver);
    int sleeps = 0;
    clock.onSleep = [this, &sleeps](ulong) {
        ++sleeps;
        // In the sixth second after the start pause; the seventh look sees it.
        if (sleeps == 25 + 6 * 50)
            queueOthers(1);
    };
    const qint64 before = clock.msecsSinceBoot();
    importProgram(5, 2);
    EXPECT_EQ(Stalled, logText());
    EXPECT_EQ(500 + 12000 + 2000, clock.msecsSinceBoot() - before);
}

TEST_F(Import, ShowsNoProgressBelowZero)
{
    plugIn();
    putFile(rows(1));
    start();
    probe::endLine(*driver);
    int least = 100;
    bool queued = false;
    clock.onSleep = [this, &least, &queued](ulong) {
        if (!exporter->writingToDMC50Enable())
            return;
        if (!queued)
            queueOthers(10);
        queued = true;
        least = std::min(least, exporter->writingToDMC50Progress());
    };
    importProgram(5, 1);
    EXPECT_TRUE(queued);
    EXPECT_EQ(0, least);
    EXPECT_EQ(Stalled, logText());
}

// Twice as many writes as at the first look is a ratio of -1.
TEST_F(Import, FailsAlsoWhenTheQueueStaysTwiceAsLong)
{
    plugIn();
    putFile(rows(1));
    start();
    probe::endLine(*driver);
    bool queued = false;
    clock.onSleep = [this, &queued](ulong) {
        if (exporter->writingToDMC50Enable() && !queued) {
            queued = true;
            queueOthers(24);
        }
    };
    importProgram(5, 1);
    EXPECT_EQ(Stalled, logText());
}

// While the line has an error the driver takes no writes and calls that a success.
TEST_F(Import, OnALineWithAnErrorWritesNothing)
{
    plugIn();
    putFile(rows(1));
    start();
    probe::endLine(*driver);
    line().setCommError("no reply");
    importProgram(5, 1);
    EXPECT_EQ(0, line().getAddrArgQueueSize(1));
    EXPECT_EQ(0, exporter->writingToDMC50Error());
}

} // namespace
