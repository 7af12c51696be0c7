// The tags of the program transfer.

#include "tests/recipe/transfer_fixture.h"

#include "tests/driver/driver_probe.h"
#include "tests/support/bytes.h"

#include <QThread>

namespace
{

class Tags : public TransferTest
{
protected:
    std::string read(const char *name, int dataSize = 1) { return hexOf(readTag(name, dataSize)); }
    void write(const char *name, const char *data) { writeTag(name, bytes(data)); }
};

TEST_F(Tags, BeginWithZeros)
{
    for (const char *name : {"VVT_ENABLE0", "VVT_ENABLE1", "VVT_ERROR0", "VVT_ERROR1"})
        EXPECT_EQ("00", read(name)) << name;
    for (const char *name : {"VVT_PROG_ID0", "VVT_PROG_COUNT0", "VVT_PROGRESS0", "VVT_PROGRESS1"})
        EXPECT_EQ("00 00 00 00", read(name, 4)) << name;
}

TEST_F(Tags, OfNumbersGiveAsManyBytesAsAreAskedFor)
{
    exporter->setProgID(0x12345678);
    EXPECT_EQ("", read("VVT_PROG_ID0", 0));
    EXPECT_EQ("78", read("VVT_PROG_ID0", 1));
    EXPECT_EQ("78 56", read("VVT_PROG_ID0", 2));
    EXPECT_EQ("78 56 34", read("VVT_PROG_ID0", 3));
    EXPECT_EQ("78 56 34 12", read("VVT_PROG_ID0", 4));
    EXPECT_EQ("78 56 34 12 00 00 00 00", read("VVT_PROG_ID0", 8));
}

TEST_F(Tags, OfNumbersAreSigned)
{
    exporter->setProgID(-1);
    EXPECT_EQ("FF", read("VVT_PROG_ID0", 1));
    EXPECT_EQ("FF FF FF FF", read("VVT_PROG_ID0", 4));
    EXPECT_EQ("FF FF FF FF 00 00", read("VVT_PROG_ID0", 6));
    EXPECT_EQ(-1, exporter->progID());
}

TEST_F(Tags, OfFlagsGiveOneByte)
{
    exporter->setProgCount(32);
    EXPECT_EQ("20 00", read("VVT_PROG_COUNT0", 2));
    EXPECT_EQ("00 00 00", read("VVT_ENABLE1", 3));
    EXPECT_EQ("", read("VVT_ENABLE1", 0));
    EXPECT_EQ("", read("VVT_ERROR0", 0));
}

TEST_F(Tags, OfUnknownNamesChangeNothing)
{
    exporter->setProgID(5);
    QByteArray data = bytes("01 02");
    CommunicatorCommand command;
    for (const char *name : {"VVT_", "VVT_ENABLE2", "VVT_PROG_ID", "vvt_prog_id0", "VVT_Enable0"}) {
        command.address = name;
        exporter->processReadCommand(command, data);
        EXPECT_EQ("01 02", hexOf(data)) << name;
        write(name, "09");
    }
    EXPECT_EQ(5, exporter->progID());
}

// ---- Recognition ---------------------------------------------------------------------------

TEST_F(Tags, AreFoundAnywhereInAnAddress)
{
    write("VVT_PROG_ID01", "05");
    EXPECT_EQ(5, exporter->progID());
    write("VVT_x_VVT_PROG_COUNT0", "06");
    EXPECT_EQ(6, exporter->progCount());
    EXPECT_EQ("06", read("VVT_PROG_COUNT07"));
}

TEST_F(Tags, AreTriedInTheirOrder)
{
    exporter->setProgID(5);
    exporter->setProgCount(7);
    EXPECT_EQ("05", read("VVT_PROG_COUNT0VVT_PROG_ID0"));
    EXPECT_EQ("05", read("VVT_PROG_ID0VVT_PROG_COUNT0"));
    EXPECT_EQ("00", read("VVT_PROG_ID0VVT_ERROR1"));
    EXPECT_EQ("07", read("VVT_PROGRESS1VVT_PROGRESS0VVT_PROG_COUNT0"));
}

// ---- Written numbers -----------------------------------------------------------------------

struct Written {
    const char *data;
    int number;
};

class WrittenNumber : public Tags, public testing::WithParamInterface<Written>
{
};

TEST_P(WrittenNumber, IsDecodedByItsLength)
{
    exporter->setProgID(99);
    write("VVT_PROG_ID0", GetParam().data);
    EXPECT_EQ(GetParam().number, exporter->progID());
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, WrittenNumber,
    testing::Values(Written{"", 0}, Written{"05", 5}, Written{"7F", 127}, Written{"80", -128},
                    Written{"FF", -1}, Written{"34 12", 0x1234}, Written{"FF 7F", 32767},
                    Written{"00 80", -32768}, Written{"FF FF", -1}, Written{"56 34 12", 0x123456},
                    Written{"FF FF FF", 16777215}, Written{"00 00 80", 8388608},
                    Written{"78 56 34 12", 0x12345678}, Written{"FF FF FF FF", -1},
                    Written{"00 00 00 80", -2147483647 - 1}, Written{"01 00 00 00 FF FF", 1}));

TEST_F(Tags, OfTheStepsTakeNoMoreThanAProgramHas)
{
    const struct {
        const char *data;
        int steps;
    } rows[] = {{"00", 0},
                {"20", 32},
                {"21", 32},
                {"05 00", 5},
                {"FF", 5},
                {"FF FF", 5},
                {"FF FF FF", 5},
                {"FF FF FF FF", 5},
                {"20 00 00 80", 5},
                {"20 00 00 00", 32},
                {"00 00 00 00", 0},
                {"01", 1},
                {"", 0},
                {"21 00 00 00", 0}};
    for (const auto &row : rows) {
        write("VVT_PROG_COUNT0", row.data);
        EXPECT_EQ(row.steps, exporter->progCount()) << row.data;
    }
}

// ---- Errors --------------------------------------------------------------------------------

class ErrorFlag : public Tags
{
};

TEST_F(ErrorFlag, IsClearedByZeroOnly)
{
    plugIn();
    start();
    ::write(onStick("PROG_5.txt"), "x");
    importProgram(5, 1);
    ASSERT_EQ("01", read("VVT_ERROR0"));
    write("VVT_ERROR0", "01");
    write("VVT_ERROR0", "FF 00");
    write("VVT_ERROR1", "00");
    EXPECT_EQ("01", read("VVT_ERROR0"));
    EXPECT_EQ(1, exporter->writingToDMC50Error());
    write("VVT_ERROR0", "00");
    EXPECT_EQ("00", read("VVT_ERROR0"));
}

TEST_F(ErrorFlag, OfAnExportIsClearedByZeroOnly)
{
    plugIn();
    start();
    makeFolders(onStick("PROG_5.txt"));
    exportProgram(5, 1);
    ASSERT_EQ("01", read("VVT_ERROR1"));
    write("VVT_ERROR1", "01");
    write("VVT_ERROR0", "00");
    EXPECT_EQ("01", read("VVT_ERROR1"));
    EXPECT_EQ(1, exporter->readingFromDMC50Error());
    write("VVT_ERROR1", "");
    EXPECT_EQ("00", read("VVT_ERROR1")) << "the byte behind no data is 0";
}

// ---- Starts --------------------------------------------------------------------------------

TEST_F(Tags, OfProgressIgnoreWrites)
{
    write("VVT_PROGRESS0", "05");
    write("VVT_PROGRESS1", "05");
    EXPECT_EQ("00", read("VVT_PROGRESS0"));
    EXPECT_EQ("00", read("VVT_PROGRESS1"));
}

TEST_F(Tags, StartNothingWithZero)
{
    plugIn();
    start();
    write("VVT_ENABLE0", "00");
    write("VVT_ENABLE1", "00 01");
    write("VVT_ENABLE0", "");
    write("VVT_ENABLE1", "");
    const qint64 now = clock.msecsSinceBoot();
    waitForWorker();
    EXPECT_EQ(now, clock.msecsSinceBoot());
    EXPECT_FALSE(probe::state(*driver).transferBusy);
    EXPECT_EQ(-1, resetInterval());
}

TEST_F(Tags, OfAnImportTakeHalfASecondToStartIt)
{
    plugIn();
    start();
    {
        const WorkerHold hold(exporter);
        const qint64 now = clock.msecsSinceBoot();
        write("VVT_ENABLE0", "80");
        EXPECT_EQ(500, clock.msecsSinceBoot() - now);
        EXPECT_FALSE(exporter->writingToDMC50Enable());
    }
    waitForWorker();
    EXPECT_EQ(1, exporter->writingToDMC50Error()) << "it ran, without a file";
}

TEST_F(Tags, OfAnExportKeepTheScreenFromReading)
{
    plugIn();
    start();
    {
        const WorkerHold hold(exporter);
        write("VVT_ENABLE1", "01");
        EXPECT_TRUE(probe::state(*driver).transferBusy);
        EXPECT_FALSE(exporter->readingFromDMC50Enable());
    }
    waitForWorker();
    EXPECT_FALSE(probe::state(*driver).transferBusy);
    EXPECT_TRUE(exporter->readingFromDMC50Enable()) << "for two seconds";
}

TEST_F(Tags, StartNothingWhileSuchATransferRuns)
{
    plugIn();
    start();
    exportProgram(5, 0);
    ASSERT_EQ("01", read("VVT_ENABLE1"));
    const QByteArray first = contentOf(onStick("PROG_5.txt"));
    ::write(onStick("PROG_5.txt"), "untouched");
    exportProgram(5, 0);
    EXPECT_EQ("untouched", contentOf(onStick("PROG_5.txt")));
    EXPECT_FALSE(probe::state(*driver).transferBusy);

    runOutReset();
    EXPECT_EQ("00", read("VVT_ENABLE1"));
    exportProgram(5, 0);
    EXPECT_EQ(first, contentOf(onStick("PROG_5.txt")));
}

// ---- Set-up --------------------------------------------------------------------------------

TEST_F(Tags, AreAnsweredByAnObjectThatLivesInItsWorker)
{
    EXPECT_EQ(QThread::currentThread(), exporter->thread());
    start();
    EXPECT_NE(QThread::currentThread(), exporter->thread());
    EXPECT_TRUE(exporter->thread()->isRunning());
}

TEST(UnstartedExporter, MayBeDeletedOrEnded)
{
    delete new CSVImExporter(nullptr);
    (new CSVImExporter(nullptr))->end();
    QObject parent;
    new CSVImExporter(&parent);
}

} // namespace
