// Files of a size and shape that nobody exports: each ends in seconds, with rows or a message, in a
// few times its size of memory.

#include "recipe/zcsvloader.h"

#include "tests/recipe/table_file.h"
#include "tests/recipe/worker.h"

#include <QFile>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <ctime>
#include <functional>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define WITH_SANITIZER 1
#else
#define WITH_SANITIZER 0
#endif

namespace
{

const int Mega = 1024 * 1024;

// A sanitizer makes our code some ten times slower and changes what memory is taken.
const int LargestBytes = WITH_SANITIZER ? 10 * Mega : 100 * Mega;
const int LongestLineBytes = WITH_SANITIZER ? 5 * Mega : 50 * Mega;
const int LargeBytes = WITH_SANITIZER ? 4 * Mega : 20 * Mega;
const bool MemoryIsMeasured = !WITH_SANITIZER;

// Both are bounds, far above what was measured and far below what anything but a linear way takes.
#ifdef __arm__
const double LongestSeconds =
    100; // emulated; a machine that is busy besides took 38 s for one of them
#else
const double LongestSeconds = 30;
#endif
const qint64 MostMemoryByFile = 8; ///< times the size of the file
const qint64 SmallMemory = 40 * Mega;

double cpuSeconds()
{
    timespec time;
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// A figure of the process's memory, in bytes.
qint64 memory(const QByteArray &name)
{
    QFile status("/proc/self/status");
    EXPECT_TRUE(status.open(QIODevice::ReadOnly));
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(name + ":"))
            return line.simplified().split(' ').value(1).toLongLong() * 1024;
    }
    ADD_FAILURE() << "no " << name.constData();
    return 0;
}

/// Has the kernel begin a new peak.
void forgetPeak()
{
    QFile file("/proc/self/clear_refs");
    EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    EXPECT_EQ(1, file.write("5"));
}

/// Runs the work and holds it to the bounds, for a file of a size.
void expectModest(qint64 fileBytes, const std::function<void()> &work)
{
    forgetPeak();
    const qint64 before = memory("VmRSS");
    const double start = cpuSeconds();
    work();
    const double seconds = cpuSeconds() - start;
    const qint64 bytes = memory("VmHWM") - before;
    EXPECT_LT(seconds, LongestSeconds);
    if (MemoryIsMeasured) {
        EXPECT_LT(bytes, MostMemoryByFile * fileBytes + SmallMemory);
    }
    testing::Test::RecordProperty("seconds", std::to_string(seconds));
    testing::Test::RecordProperty("memory_by_file", std::to_string(static_cast<double>(bytes) /
                                                                   static_cast<double>(fileBytes)));
}

struct Loaded {
    QStringList errors;
    Table rows;
};

typedef std::function<void(ZCSVLoader &)> SetUp;

void asItIs(ZCSVLoader &) {}

Loaded open(const QByteArray &bytes, const SetUp &setUp = asItIs)
{
    const TableFile file(bytes);
    Loaded loaded;
    inWorker([&] {
        ZCSVLoader loader(nullptr);
        setUp(loader);
        expectModest(bytes.size(), [&] {
            loader.openFile(file.path());
            loaded.errors = loader.errorMessageList();
            loaded.rows = loader.fileContent();
        });
    });
    return loaded;
}

/// A beginning, and a piece as often as fits.
QByteArray repeated(const QString &beginning, const QString &piece, int bytes = LargeBytes)
{
    const QByteArray head = markedUtf16(beginning);
    const QByteArray part = utf16(piece);
    return head + part.repeated((bytes - head.size()) / part.size());
}

const QStringList TooLarge("The file is too large.");
const QStringList NoContent("No content found in the imported file.");

// --- large tables ---

TEST(ZCSVLoaderLarge, ReadsManyRows)
{
    const QString header = "Name" + QString("\tColumn").repeated(24) + "\n";
    const QString row = "Step" + QString("\t1234").repeated(23) + "\t0\n";
    const QByteArray bytes = repeated(header, row, LargestBytes);
    const Loaded loaded = open(bytes);
    EXPECT_TRUE(loaded.errors.isEmpty());
    ASSERT_EQ((bytes.size() - markedUtf16(header).size()) / utf16(row).size() + 1,
              loaded.rows.size());
    EXPECT_EQ(25, loaded.rows.last().size());
    EXPECT_EQ("1234", loaded.rows.last().at(23));
    EXPECT_EQ("0", loaded.rows.last().at(24));
}

TEST(ZCSVLoaderLarge, ReadsManyRowsOfValuesThatNeverRepeat)
{
    QString text = "Name\tA\tB\tC\n";
    text.reserve(LargeBytes / 2 + 100);
    int value = 0;
    while (text.size() < LargeBytes / 2) {
        for (int i = 0; i < 4; ++i) {
            text += QString::number(++value + 100000);
            text += i < 3 ? '\t' : '\n';
        }
    }
    const Loaded loaded = open(markedUtf16(text));
    EXPECT_TRUE(loaded.errors.isEmpty());
    EXPECT_EQ(value / 4 + 1, loaded.rows.size());
    EXPECT_EQ(QString::number(value + 100000), loaded.rows.last().last());
}

TEST(ZCSVLoaderLarge, ReadsManyColumns)
{
    const QString row = QString("abc\t").repeated(1000000) + "d\n";
    const Loaded loaded = open(markedUtf16(row + row + "1\n"));
    EXPECT_TRUE(loaded.errors.isEmpty());
    ASSERT_EQ(3, loaded.rows.size());
    for (const QStringList &fields : loaded.rows)
        EXPECT_EQ(1000001, fields.size());
    EXPECT_EQ("d", loaded.rows.at(1).last());
    EXPECT_EQ("", loaded.rows.at(2).last());
}

TEST(ZCSVLoaderLarge, CutsALineOfManyColumns)
{
    const Loaded loaded = open(repeated("a\tb\n", "c\t"));
    EXPECT_EQ(Table({{"a", "b"}, {"c", "c"}}), loaded.rows);
}

TEST(ZCSVLoaderLarge, ReadsALineOfOneField)
{
    const Loaded loaded = open(repeated("a\tb\n", "x", LongestLineBytes));
    ASSERT_EQ(2, loaded.rows.size());
    EXPECT_EQ((LongestLineBytes - markedUtf16("a\tb\n").size()) / 2,
              loaded.rows.at(1).at(0).size());
}

TEST(ZCSVLoaderLarge, ReadsAHeaderOfOneField)
{
    const Loaded loaded = open(repeated("", "x", LongestLineBytes) + utf16("\nb\n"));
    EXPECT_EQ(QStringList("File format error.\nCannot detect delimiter."), loaded.errors);
}

TEST(ZCSVLoaderLarge, ReadsAFieldOfQuotesOnly)
{
    const Loaded loaded = open(repeated("a\tb\n\"", "\"\"") + utf16("\"\n"));
    ASSERT_EQ(2, loaded.rows.size());
    const QString &field = loaded.rows.at(1).at(0);
    EXPECT_EQ(field.count('"'), field.size());
    EXPECT_EQ((LargeBytes - markedUtf16("a\tb\n\"").size()) / 4, field.size());
}

TEST(ZCSVLoaderLarge, ReadsAFieldOfManyLines)
{
    const Loaded loaded = open(repeated("a\tb\n\"", "x\n") + utf16("\"\n"));
    ASSERT_EQ(2, loaded.rows.size());
    EXPECT_TRUE(loaded.rows.at(1).at(0).startsWith("x\nx\nx"));
}

TEST(ZCSVLoaderLarge, ReadsAnotherEncoding)
{
    const Loaded loaded =
        open(QByteArray("a\tb\n") + QByteArray("1234567890\t12\n").repeated(LargeBytes / 2 / 14),
             [](ZCSVLoader &loader) { loader.setCodec(QTextCodec::codecForName("UTF-8")); });
    EXPECT_TRUE(loaded.errors.isEmpty());
    EXPECT_EQ(LargeBytes / 2 / 14 + 1, loaded.rows.size());
}

TEST(ZCSVLoaderLarge, DropsManyCarriageReturns)
{
    EXPECT_EQ(Table({{"a", "b"}}), open(repeated("a\tb\n\n", "\r")).rows);
    const Loaded loaded = open(repeated("a\tb\n", "1234567890\t12\r\n"));
    EXPECT_EQ(QStringList({"1234567890", "12"}), loaded.rows.last());
}

// --- large rubbish ---

TEST(ZCSVLoaderLarge, ReportsAQuoteThatIsOpenToTheEnd)
{
    const QByteArray bytes = repeated("a\tb\n1\t\"", "2\t3\n");
    const int lines = bytes.count(QByteArray("\n\0", 2));
    EXPECT_EQ(QStringList(QString("Format error at line %1").arg(lines + 1)), open(bytes).errors);
}

TEST(ZCSVLoaderLarge, ReportsAQuoteThatOpensInEveryField)
{
    const Loaded loaded = open(repeated("a\tb\n", "\"\t"));
    EXPECT_EQ(loaded.errors.isEmpty(), !loaded.rows.isEmpty());
}

TEST(ZCSVLoaderLarge, FindsNoContentInEmptyLines)
{
    EXPECT_EQ(NoContent, open(repeated("", "\n")).errors);
}

TEST(ZCSVLoaderLarge, SkipsManyEmptyLines)
{
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}}),
              open(repeated("a\tb\n", "\n") + utf16("1\t2\n")).rows);
}

TEST(ZCSVLoaderLarge, FindsNoContentInZeros)
{
    EXPECT_EQ(NoContent, open(QByteArray(LargeBytes, '\0')).errors);
}

TEST(ZCSVLoaderLarge, ReadsNoise)
{
    QByteArray bytes(LargeBytes + 1, '\0');
    quint32 state = 1;
    for (char &byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    const Loaded loaded = open(bytes);
    EXPECT_EQ(loaded.errors.isEmpty(), !loaded.rows.isEmpty());
}

TEST(ZCSVLoaderLarge, RefusesRowsThatWouldTakeFarMoreMemoryThanTheFile)
{
    EXPECT_EQ(TooLarge, open(repeated("a\n", "b\n")).errors);
}

TEST(ZCSVLoaderLarge, RefusesToPadWithoutMeasure)
{
    const QString header = QString("\t").repeated(100000) + "\n";
    EXPECT_EQ(TooLarge, open(repeated(header, "1\n")).errors);
}

TEST(ZCSVLoaderLarge, RefusesMessagesWithoutMeasure)
{
    EXPECT_EQ(TooLarge, open(repeated("a\tb\n", "1\n")).errors);
    const Loaded loaded = open(repeated("a\tb\n", "1\n"),
                               [](ZCSVLoader &loader) { loader.setAdjustToHeader(false); });
    EXPECT_EQ("Line 2 format error.", loaded.errors.first());
    EXPECT_EQ(TooLarge.first(), loaded.errors.last());
}

TEST(ZCSVLoaderLarge, PadsManyLinesOfAnOrdinaryTable)
{
    const Loaded loaded =
        open(repeated(QString("Column\t").repeated(24) + "Last\n", "1\n", 100000));
    EXPECT_TRUE(loaded.errors.isEmpty());
    EXPECT_EQ(25, loaded.rows.last().size());
}

/// Opens a file of zeros that takes no room on the disk.
QStringList errorsOfZeros(qint64 bytes)
{
    const TableFile file{QByteArray()};
    EXPECT_TRUE(QFile::resize(file.path(), bytes));
    QStringList errors;
    inWorker([&] {
        ZCSVLoader loader(nullptr);
        EXPECT_FALSE(loader.openFile(file.path()));
        errors = loader.errorMessageList();
    });
    return errors;
}

TEST(ZCSVLoaderLarge, ReadsFilesUpToALimit)
{
    EXPECT_EQ(NoContent, errorsOfZeros(ZCSVLoader::LargestFile));
    EXPECT_EQ(TooLarge, errorsOfZeros(ZCSVLoader::LargestFile + 1));
    EXPECT_EQ(TooLarge, errorsOfZeros(Q_INT64_C(8) * 1024 * Mega));
}

// --- saver ---

TEST(ZCSVSaverLarge, SavesALargeTable)
{
    const QStringList row = {"Step", "1234", "a\tb", "a\"b", ""};
    Table rows;
    while (rows.size() < LargeBytes / 50)
        rows << row;
    const TableFile file;
    expectModest(LargeBytes, [&] {
        ZCSVSaver saver(nullptr);
        EXPECT_TRUE(saver.saveFile(rows, file.path()));
    });
    EXPECT_EQ(2 + rows.size() * 2 * QString("Step\t1234\t\"a\tb\"\t\"a\"\"b\"\t\n").size(),
              file.bytes().size());
}

TEST(ZCSVSaverLarge, SavesAFieldOfQuotesOnly)
{
    const TableFile file;
    const QString field(LargeBytes / 4, '"');
    expectModest(LargeBytes, [&] {
        ZCSVSaver saver(nullptr);
        EXPECT_TRUE(saver.saveFile({{field}}, file.path()));
    });
    EXPECT_EQ(2 + 2 * (2 * field.size() + 3), file.bytes().size());
}

} // namespace
