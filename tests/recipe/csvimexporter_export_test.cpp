// The export: from a controller to a file.

#include "tests/recipe/transfer_fixture.h"

#include "tests/driver/driver_probe.h"
#include "tests/support/eventually.h"
#include "tests/support/frames.h"

#include <sys/stat.h>
#include <unistd.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const char HeaderLine[] =
    " \t設定溫度\t設定時間(時)\t設定時間(分)\t設定時間(秒)\tG. SOAK +\tG. SOAK  -\tPID "
    "群組\tEmpty\t"
    "EVENT1 機械泵ON\tEVENT2 粗抽閥\tEVENT3 魯式ON\tEVENT4 備壓\tEVENT5 氮氣分壓\tEVENT6 加熱\t"
    "EVENT7 混合氣分壓\tEVENT8 測漏\tEVENT9 脈衝換氣\tEVENT10\tEVENT11\tEVENT12\tDI1\tDI2\t"
    "DI3 程式結束\tDI4 真空未達 HOLD\n";

QString header()
{
    return QString::fromUtf8(HeaderLine);
}

/// The row of a step as its controller has it.
QString rowOf(const Controllers &controllers, int step, unsigned station = 1)
{
    QStringList values;
    for (uint32_t i = 0; i < 24; ++i)
        values << QString::number(controllers.word(station, stepAddress(step) + i));
    return fileRow(QString::fromUtf8("程序%1").arg(step), values);
}

QString rowsOf(const Controllers &controllers, int first, int last)
{
    QString rows;
    for (int step = first; step <= last; ++step)
        rows += rowOf(controllers, step);
    return rows;
}

/// The step that a request asks for; 0 for another request.
int stepOf(const std::string &request)
{
    const uint32_t address = frames::isRead(request) ? frames::fields(request).front() : 0;
    return address < 0x1000 || address > 0x13FF ? 0 : int((address - 0x1000) / 0x20) + 1;
}

class Export : public TransferTest
{
protected:
    /// The requests for steps so far.
    std::vector<std::string> stepRequests()
    {
        std::vector<std::string> requests;
        for (const std::string &request : link.sent()) {
            if (stepOf(request) > 0)
                requests.push_back(request);
        }
        return requests;
    }

    /// Called on the line's thread when a step is asked for.
    void onStep(const std::function<void(int step)> &function)
    {
        controllers.answers = [function](const std::string &request) {
            if (stepOf(request) > 0)
                function(stepOf(request));
            return true;
        };
    }

    /// Makes a step take its time.
    void delayStep(int slow, qint64 ms)
    {
        onStep([this, slow, ms](int step) {
            if (step == slow)
                clock.advance(ms);
        });
    }
};

// ---- The file ------------------------------------------------------------------------------

TEST_F(Export, WritesAProgramByteForByte)
{
    for (uint32_t i = 0; i < 24; ++i) {
        controllers.setWord(1, 0x1000 + i, i);
        controllers.setWord(1, 0x1020 + i, 0xFFFFFFFF - i);
    }
    plugIn();
    start();
    exportProgram(5, 2);

    QStringList counted_down;
    for (uint32_t i = 0; i < 24; ++i)
        counted_down << QString::number(4294967295U - i);
    const QString expected = header() + fileRow(QString::fromUtf8("程序1"), countedValues(0)) +
                             fileRow(QString::fromUtf8("程序2"), counted_down);
    EXPECT_EQ(encoded(expected).toHex(), contentOf(onStick("PROG_5.txt")).toHex());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_FALSE(exists(onStick("READ_PROG_5_ERROR.txt")));
    EXPECT_EQ(0, exporter->readingFromDMC50Error());
}

TEST_F(Export, ReadsAllStepsInTheirOrder)
{
    plugIn();
    start();
    exportProgram(7, 32);
    EXPECT_EQ(header() + rowsOf(controllers, 1, 32), textOf(onStick("PROG_7.txt")));
    const std::vector<std::string> requests = stepRequests();
    ASSERT_EQ(32u, requests.size());
    for (int step = 1; step <= 32; ++step) {
        EXPECT_EQ(frames::readRequest(1, frames::run(stepAddress(step), 24)),
                  requests[size_t(step - 1)]);
    }
}

TEST_F(Export, OfNoStepsWritesTheHeader)
{
    plugIn();
    start();
    exportProgram(0, 0);
    EXPECT_EQ(header(), textOf(onStick("PROG_0.txt")));
    EXPECT_THAT(stepRequests(), IsEmpty());
    EXPECT_EQ(100, exporter->readingFromDM50Progress());
}

TEST_F(Export, ReplacesAnOlderFile)
{
    plugIn();
    start();
    ::write(onStick("PROG_5.txt"), QByteArray(100000, 'x'));
    exportProgram(5, 1);
    EXPECT_EQ(header() + rowsOf(controllers, 1, 1), textOf(onStick("PROG_5.txt")));
}

TEST_F(Export, NamesTheFileByTheProgram)
{
    plugIn();
    start();
    exportProgram(-2, 0);
    EXPECT_TRUE(exists(onStick("PROG_-2.txt")));
    runOutReset();
    exportProgram(2147483647, 0);
    EXPECT_TRUE(exists(onStick("PROG_2147483647.txt")));
}

// ---- Steps that the project does not define ------------------------------------------------

TEST_F(Export, LeavesOutStepsThatAreNotDefinedAndCountsThem)
{
    plugIn();
    start({"NA1000", "NA1040", "NA1042", "2-NA1020", "NA20"});
    exportProgram(5, 4);
    EXPECT_EQ(header() + rowOf(controllers, 1) + rowOf(controllers, 3),
              textOf(onStick("PROG_5.txt")));
    EXPECT_EQ(2u, stepRequests().size());
}

TEST_F(Export, KnowsStepsInLowerAndInUpperCase)
{
    plugIn();
    start({"NA13e0", "NA13C0", "na13a0", "NA13A0.1"});
    exportProgram(5, 32);
    EXPECT_EQ(header() + rowOf(controllers, 31) + rowOf(controllers, 32),
              textOf(onStick("PROG_5.txt")));
}

TEST_F(Export, TouchesNoStepWhenNoneIsDefined)
{
    plugIn();
    start(QStringList());
    exportProgram(5, 32);
    EXPECT_EQ(header(), textOf(onStick("PROG_5.txt")));
    EXPECT_THAT(stepRequests(), IsEmpty());
}

TEST_F(Export, KeepsToTheStepsThatItLearntFirst)
{
    plugIn();
    exporter->setRcpDataCommandAddrList({"NA1020", "NA1020"});
    start({"NA1000", "NA1020"});
    for (int round = 0; round < 2; ++round) {
        exportProgram(5, 3);
        EXPECT_EQ(header() + rowsOf(controllers, 1, 2), textOf(onStick("PROG_5.txt")));
        runOutReset();
    }
}

// ---- Progress and flags --------------------------------------------------------------------

TEST_F(Export, TellsItsProgress)
{
    std::vector<int> progress;
    onStep([this, &progress](int) { progress.push_back(exporter->readingFromDM50Progress()); });
    plugIn();
    start();
    exportProgram(5, 7);
    // i / 7 of the steps before, truncated; the first two have none before them that counts
    EXPECT_THAT(progress, ElementsAre(0, 0, 14, 28, 42, 57, 71));
    EXPECT_EQ(100, exporter->readingFromDM50Progress());
}

TEST_F(Export, ShowsItsEndForTwoSeconds)
{
    plugIn();
    start();
    exportProgram(5, 1);
    EXPECT_EQ(QByteArray(1, '\1'), readTag("VVT_ENABLE1"));
    EXPECT_EQ(QByteArray(1, 100), readTag("VVT_PROGRESS1"));
    EXPECT_EQ(2000, resetInterval());
    runOutReset();
    EXPECT_EQ(QByteArray(1, '\0'), readTag("VVT_ENABLE1"));
    EXPECT_EQ(QByteArray(1, '\0'), readTag("VVT_PROGRESS1"));
}

TEST_F(Export, EndsByItselfWithTheTimer)
{
    plugIn();
    start();
    exportProgram(-1, 1); // half a second
    EXPECT_TRUE(exporter->readingFromDMC50Enable());
    EXPECT_TRUE(eventually([this] { return !exporter->readingFromDMC50Enable(); }));
    EXPECT_EQ(0, exporter->readingFromDM50Progress());
}

TEST_F(Export, KeepsTheScreenFromReadingToItsEnd)
{
    plugIn();
    start();
    std::atomic<int> busy(0);
    onStep([this, &busy](int) { busy += probe::state(*driver).transferBusy ? 1 : 0; });
    exportProgram(5, 3);
    EXPECT_EQ(3, busy);
    EXPECT_FALSE(probe::state(*driver).transferBusy);
}

// ---- What changes meanwhile ----------------------------------------------------------------

TEST_F(Export, StaysAtTheStationOfItsStart)
{
    plugIn();
    start();
    onStep([this](int step) { link.station = step % 2 == 0 ? 1 : 2; });
    exportProgram(5, 4);
    EXPECT_EQ(header() + rowsOf(controllers, 1, 4), textOf(onStick("PROG_5.txt")));

    runOutReset();
    link.station = 0x102; // its low byte counts
    exportProgram(5, 2);
    EXPECT_EQ(header() + rowOf(controllers, 1, 2) + rowOf(controllers, 2, 2),
              textOf(onStick("PROG_5.txt")));
}

TEST_F(Export, StaysWithTheProgramOfItsStart)
{
    plugIn();
    start();
    onStep([this](int) { choose(6, 0); });
    exportProgram(5, 2);
    EXPECT_EQ(header() + rowsOf(controllers, 1, 2), textOf(onStick("PROG_5.txt")));
    EXPECT_FALSE(exists(onStick("PROG_6.txt")));
}

// ---- Without a stick -----------------------------------------------------------------------

TEST_F(Export, WithoutAStickTellsTheOperatorForTwoSeconds)
{
    noStick();
    start();
    const qint64 before = clock.msecsSinceBoot();
    bool flags_while_waiting = true;
    clock.onSleep = [this, &flags_while_waiting](ulong) {
        flags_while_waiting = flags_while_waiting && exporter->readingFromDMC50Enable() &&
                              probe::state(*driver).transferBusy;
    };
    exportProgram(5, 1);
    EXPECT_THAT(messages(), ElementsAre("DMC50: The system can't not detect the USB Stick."));
    EXPECT_EQ(2000, clock.msecsSinceBoot() - before);
    EXPECT_TRUE(flags_while_waiting);
    EXPECT_FALSE(exporter->readingFromDMC50Enable());
    EXPECT_FALSE(probe::state(*driver).transferBusy);
    EXPECT_EQ(0, exporter->readingFromDMC50Error());
    EXPECT_EQ(0, exporter->readingFromDM50Progress());
    EXPECT_EQ(-1, resetInterval());
    EXPECT_THAT(stepRequests(), IsEmpty());
}

// ---- A controller that does not answer -----------------------------------------------------

class TimedOutExport : public Export, public testing::WithParamInterface<int>
{
};

TEST_P(TimedOutExport, IsLoggedAndWritesNoProgram)
{
    const int slow = GetParam();
    delayStep(slow, 5001);
    plugIn();
    ::write(onStick("PROG_5.txt"), "older");
    start();
    exportProgram(5, 32);
    const QString address = QString("NA%1").arg(stepAddress(slow), 0, 16);
    EXPECT_EQ("Reading Data Timeout,Please check the communication or the address [" + address +
                  "] is valid or not.",
              contentOf(onStick("READ_PROG_5_ERROR.txt")));
    EXPECT_EQ("older", contentOf(onStick("PROG_5.txt")));
    EXPECT_EQ(1, exporter->readingFromDMC50Error());
    EXPECT_EQ(size_t(slow), stepRequests().size()) << "the rest is not read";
    EXPECT_EQ(100, exporter->readingFromDM50Progress());
    EXPECT_EQ(2000, resetInterval());
    EXPECT_FALSE(probe::state(*driver).transferBusy);
    EXPECT_THAT(messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(AtStep, TimedOutExport, testing::Values(1, 2, 16, 31, 32));

TEST_F(Export, GivesAStepFiveSeconds)
{
    delayStep(2, 5000);
    plugIn();
    start();
    exportProgram(5, 3);
    EXPECT_EQ(header() + rowsOf(controllers, 1, 3), textOf(onStick("PROG_5.txt")));
    EXPECT_EQ(0, exporter->readingFromDMC50Error());
}

TEST_F(Export, MeasuresEachStepByItself)
{
    onStep([this](int) { clock.advance(4000); });
    plugIn();
    start();
    exportProgram(5, 4);
    EXPECT_EQ(header() + rowsOf(controllers, 1, 4), textOf(onStick("PROG_5.txt")));
}

// The driver gives up after 3 seconds.
TEST_F(Export, LeavesOutAStepThatGivesNothingInTime)
{
    controllers.answers = [](const std::string &request) { return stepOf(request) != 2; };
    plugIn();
    start();
    exportProgram(5, 3);
    EXPECT_EQ(header() + rowOf(controllers, 1) + rowOf(controllers, 3),
              textOf(onStick("PROG_5.txt")));
    EXPECT_EQ(0, exporter->readingFromDMC50Error());
}

TEST_F(Export, KeepsAnErrorUntilItIsAcknowledged)
{
    delayStep(2, 5001);
    plugIn();
    start();
    exportProgram(5, 2);
    runOutReset();
    exportProgram(5, 1);
    EXPECT_EQ(header() + rowsOf(controllers, 1, 1), textOf(onStick("PROG_5.txt")));
    EXPECT_EQ(1, exporter->readingFromDMC50Error());
}

TEST_F(Export, ReplacesAnOlderLog)
{
    delayStep(1, 5001);
    plugIn();
    start();
    ::write(onStick("READ_PROG_5_ERROR.txt"), QByteArray(5000, 'x'));
    exportProgram(5, 1);
    EXPECT_EQ(QByteArray("Reading Data Timeout,Please check the communication or the address "
                         "[NA1000] is valid or not."),
              contentOf(onStick("READ_PROG_5_ERROR.txt")));
}

// The stick goes while the step is waited for, and the monitor has noticed.
TEST_F(Export, TellsThatTheStickIsGoneWhenItsLogIsToBeWritten)
{
    plugIn();
    start();
    onStep([this](int) {
        clock.advance(5001);
        stick->pull();
    });
    EXPECT_TRUE(eventually([this] { return exists(stick->point()); }));
    exportProgram(5, 1);
    EXPECT_EQ(1, exporter->readingFromDMC50Error());
    EXPECT_EQ(2000, resetInterval());
    EXPECT_FALSE(exists(onStick("READ_PROG_5_ERROR.txt")));
}

// ---- A stick that does not take the file ---------------------------------------------------

TEST_F(Export, ThatCannotBeSavedIsLogged)
{
    plugIn();
    makeFolders(onStick("PROG_5.txt"));
    start();
    exportProgram(5, 1);
    EXPECT_EQ("File cannot be opened.", contentOf(onStick("READ_PROG_5_ERROR.txt")));
    EXPECT_EQ(1, exporter->readingFromDMC50Error());
    EXPECT_FALSE(exporter->readingFromDMC50Enable()) << "at once";
    EXPECT_EQ(100, exporter->readingFromDM50Progress());
    EXPECT_EQ(2000, resetInterval());
    EXPECT_FALSE(probe::state(*driver).transferBusy);
}

TEST_F(Export, ToAReadOnlyStickShowsWhatItCannotLog)
{
    plugIn();
    stick->setReadOnly(true);
    start();
    exportProgram(5, 1);
    EXPECT_EQ(1, exporter->readingFromDMC50Error());
    EXPECT_FALSE(exporter->readingFromDMC50Enable());
    EXPECT_FALSE(exists(onStick("PROG_5.txt")));
    EXPECT_FALSE(exists(onStick("READ_PROG_5_ERROR.txt")));
    EXPECT_THAT(messages(), ElementsAre("DMC50: File cannot be opened."));
}

TEST_F(Export, ToAStickThatWasPulledFails)
{
    plugIn();
    start();
    onStep([this](int step) {
        if (step == 3)
            stick->pull();
    });
    exportProgram(5, 5);
    EXPECT_EQ(1, exporter->readingFromDMC50Error());
    EXPECT_EQ(2000, resetInterval());
    EXPECT_FALSE(probe::state(*driver).transferBusy);
    EXPECT_EQ("", driver->getLastError().toStdString()) << "the line knows nothing of it";
}

// What cannot be written shows nowhere: the file is what there was room for.
TEST_F(Export, ToAFullStickLeavesWhatFits)
{
    plugIn("size=4k");
    ::write(onStick("filler"), QByteArray(4096, 'x'));
    start();
    exportProgram(5, 32);
    EXPECT_LE(contentOf(onStick("PROG_5.txt")).size(), 0);
    EXPECT_FALSE(probe::state(*driver).transferBusy);
    EXPECT_EQ(2000, resetInterval());
}

TEST_F(Export, DoesNotWriteItsLogThroughALink)
{
    delayStep(1, 5001);
    plugIn();
    ::write("/tmp/foreign", "untouched");
    ASSERT_EQ(0, ::symlink("/tmp/foreign", onStick("READ_PROG_5_ERROR.txt").c_str()));
    start();
    exportProgram(5, 1);
    EXPECT_EQ("untouched", contentOf("/tmp/foreign"));
    EXPECT_NE("untouched", contentOf(onStick("READ_PROG_5_ERROR.txt")));
}

TEST_F(Export, DoesNotWaitForAPipeInPlaceOfItsLog)
{
    delayStep(1, 5001);
    plugIn();
    ASSERT_EQ(0, ::mkfifo(onStick("READ_PROG_5_ERROR.txt").c_str(), 0600));
    start();
    exportProgram(5, 1);
    EXPECT_THAT(contentOf(onStick("READ_PROG_5_ERROR.txt")).toStdString(),
                testing::StartsWith("Reading Data Timeout"));
}

TEST_F(Export, DoesNotWriteAProgramThroughALinkOrIntoAPipe)
{
    plugIn();
    ::write("/tmp/foreign", "untouched");
    ASSERT_EQ(0, ::symlink("/tmp/foreign", onStick("PROG_5.txt").c_str()));
    ASSERT_EQ(0, ::mkfifo(onStick("PROG_6.txt").c_str(), 0600));
    start();
    exportProgram(5, 0);
    EXPECT_EQ("untouched", contentOf("/tmp/foreign"));
    EXPECT_EQ(header(), textOf(onStick("PROG_5.txt")));
    runOutReset();
    exportProgram(6, 0);
    EXPECT_EQ(header(), textOf(onStick("PROG_6.txt")));
}

// ---- The template --------------------------------------------------------------------------

class Template : public Export
{
};

TEST_F(Template, IsATableOfZeros)
{
    plugIn();
    start(QStringList());
    exportProgram(-1, 2);
    QStringList zeros;
    for (int i = 0; i < 24; ++i)
        zeros << "0";
    EXPECT_EQ(header() + fileRow(QString::fromUtf8("程序1"), zeros) +
                  fileRow(QString::fromUtf8("程序2"), zeros),
              textOf(onStick("PROG_template.txt")));
    EXPECT_FALSE(exists(onStick("PROG_-1.txt")));
    EXPECT_THAT(stepRequests(), IsEmpty());
}

TEST_F(Template, ShowsItsEndForHalfASecond)
{
    plugIn();
    start();
    exportProgram(-1, 32);
    EXPECT_TRUE(exporter->readingFromDMC50Enable());
    EXPECT_EQ(100, exporter->readingFromDM50Progress());
    EXPECT_EQ(500, resetInterval());
    EXPECT_FALSE(probe::state(*driver).transferBusy);
}

TEST_F(Template, OfNoStepsIsTheHeader)
{
    plugIn();
    start();
    exportProgram(-1, 0);
    EXPECT_EQ(header(), textOf(onStick("PROG_template.txt")));
}

TEST_F(Template, ThatCannotBeSavedIsToldAndNotLogged)
{
    plugIn();
    makeFolders(onStick("PROG_template.txt"));
    start();
    exportProgram(-1, 1);
    EXPECT_THAT(messages(), ElementsAre("DMC50: File cannot be opened."));
    EXPECT_EQ(0, exporter->readingFromDMC50Error());
    EXPECT_FALSE(exporter->readingFromDMC50Enable());
    EXPECT_EQ(100, exporter->readingFromDM50Progress());
    EXPECT_EQ(500, resetInterval());
    EXPECT_FALSE(exists(onStick("READ_PROG_-1_ERROR.txt")));
    EXPECT_FALSE(probe::state(*driver).transferBusy);
}

// Every "-1" of the path is replaced, the folder's too.
TEST_F(Template, IsLookedForInAFolderOfThatNameWhenTheStickIsCalledMinusOne)
{
    MountedVolume other("/dev/sdb1", "/media/usb-1");
    noStick();
    start();
    exportProgram(-1, 1);
    EXPECT_THAT(messages(), ElementsAre("DMC50: File cannot be opened."));
    makeFolders("/media/usbtemplate");
    exportProgram(-1, 1);
    EXPECT_TRUE(exists("/media/usbtemplate/PROG_template.txt"));
}

} // namespace
