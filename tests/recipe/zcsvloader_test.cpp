#include "recipe/zcsvloader.h"

#include "tests/recipe/dialog_user.h"
#include "tests/recipe/table_file.h"
#include "tests/recipe/worker.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTextCodec>
#include <QTextStream>
#include <QWidget>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace
{

/// What became of a text or a file.
struct Loaded {
    bool opened;
    QStringList errors;
    QStringList warnings;
    Table rows;
};

typedef std::function<void(ZCSVLoader &)> SetUp;

void asItIs(ZCSVLoader &) {}

void withoutAdjusting(ZCSVLoader &loader)
{
    loader.setAdjustToHeader(false);
}

/// Reads a text by `loadFile`.
Loaded loadText(QString text, const SetUp &setUp = asItIs)
{
    ZCSVLoader loader(nullptr);
    setUp(loader);
    QTextStream stream(&text);
    Loaded loaded;
    loaded.rows = loader.loadFile(stream, loaded.errors, loaded.warnings);
    loaded.opened = loaded.errors.isEmpty();
    return loaded;
}

/// Opens a file in a thread without dialogs. The errors are those of `openFile`; what `fileContent`
/// reports goes to the warnings.
Loaded openPath(const QString &path, const SetUp &setUp = asItIs)
{
    Loaded loaded;
    inWorker([&] {
        ZCSVLoader loader(nullptr);
        setUp(loader);
        loaded.opened = loader.openFile(path);
        loaded.errors = loader.errorMessageList();
        loaded.rows = loader.fileContent();
        loaded.warnings = loader.errorMessageList().mid(loaded.errors.size());
    });
    return loaded;
}

Loaded openBytes(const QByteArray &bytes, const SetUp &setUp = asItIs)
{
    const TableFile file(bytes);
    return openPath(file.path(), setUp);
}

Loaded openText(const QString &text, const SetUp &setUp = asItIs)
{
    return openBytes(markedUtf16(text), setUp);
}

const QStringList AskToSelect = {"File cannot be loaded.", "Please select a file."};
const QStringList AskForRightFile = {"File cannot be opened.", "Please select the right file."};
const QStringList AskToCheckFormat = {"File cannot be loaded.", "Please check file format."};
const QStringList AskToExportAgain = {"Warning: Incorrect File Format",
                                      "The file format has been modified. We strongly recommend "
                                      "you to export the file again after final edits."};

// --- lines ---

TEST(ZCSVLoader, ReadsTheHeaderAndTheRowsBelow)
{
    const Loaded loaded = loadText("a\tb\n1\t2\n3\t4\n");
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}, {"3", "4"}}), loaded.rows);
    EXPECT_TRUE(loaded.errors.isEmpty());
    EXPECT_TRUE(loaded.warnings.isEmpty());
}

TEST(ZCSVLoader, FindsNoContentInFewerThanTwoLines)
{
    for (const char *text : {"", "a\tb", "a\tb\n"}) {
        const Loaded loaded = loadText(text);
        EXPECT_EQ(QStringList("No content found in the imported file."), loaded.errors) << text;
        EXPECT_EQ(Table(), loaded.rows) << text;
    }
}

TEST(ZCSVLoader, FindsContentInTwoLines)
{
    EXPECT_EQ(Table({{"a"}, {"b"}}), loadText("a\nb").rows);
    EXPECT_EQ(Table({{"a"}, {"b"}}), loadText("a\nb\n").rows);
}

TEST(ZCSVLoader, TakesAHeaderAboveEmptyLines)
{
    const Loaded loaded = loadText("a\tb\n\n");
    EXPECT_EQ(Table({{"a", "b"}}), loaded.rows);
    EXPECT_TRUE(loaded.errors.isEmpty());
}

TEST(ZCSVLoader, FindsNoContentInEmptyLines)
{
    const Loaded loaded = loadText("\n\n\n");
    EXPECT_EQ(QStringList("No content found in the imported file."), loaded.errors);
    EXPECT_EQ(Table(), loaded.rows);
}

TEST(ZCSVLoader, SkipsEmptyLinesButCountsThem)
{
    const Loaded loaded = loadText("\na\tb\n\n1\t2\n\n\n3\n");
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}, {"3", ""}}), loaded.rows);
    EXPECT_EQ(QStringList("Line 7 is 1 columns short of header."), loaded.warnings);
}

TEST(ZCSVLoader, ReadsFromWhereTheStreamStands)
{
    QString text("not this\na\tb\n1\t2\n");
    QTextStream stream(&text);
    stream.readLine();
    ZCSVLoader loader(nullptr);
    QStringList messages;
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}}), loader.loadFile(stream, messages, messages));
}

TEST(ZCSVLoader, AppendsToTheListsItIsGiven)
{
    QString text("a");
    QTextStream stream(&text);
    ZCSVLoader loader(nullptr);
    QStringList errors("earlier error");
    QStringList warnings("earlier warning");
    loader.loadFile(stream, errors, warnings);
    EXPECT_EQ(QStringList({"earlier error", "No content found in the imported file."}), errors);
    EXPECT_EQ(QStringList("earlier warning"), warnings);
}

// --- quotes over lines ---

TEST(ZCSVLoader, ReadsTwoQuotesAsOneAndJoinsSplitFields)
{
    EXPECT_EQ(Table({{"h", "i"}, {"a\"b", "c\td"}}), loadText("h\ti\n\"a\"\"b\"\t\"c\td\"\n").rows);
}

TEST(ZCSVLoader, JoinsALineToTheFieldThatItContinues)
{
    const Loaded loaded = loadText("h\ti\n\"a\nb\n\nc\"\td\n1\t2\t3\n");
    EXPECT_EQ(Table({{"h", "i"}, {"a\nb\n\nc", "d"}, {"1", "2"}}), loaded.rows);
    EXPECT_EQ(QStringList("Line 6 is 1 columns more of header."), loaded.warnings);
}

TEST(ZCSVLoader, NamesTheLineOnWhichARowOfSeveralLinesBegins)
{
    EXPECT_EQ(QStringList("Line 2 is 1 columns short of header."),
              loadText("h\ti\n\"a\nb\"\n").warnings);
}

TEST(ZCSVLoader, JoinsLinesOfTheHeader)
{
    const Loaded loaded = loadText("\"a long one\nin two lines\"\t\"b\tc\"\n1\t2\n");
    EXPECT_EQ(Table({{"a long one\nin two lines", "b\tc"}, {"1", "2"}}), loaded.rows);
    EXPECT_TRUE(loaded.warnings.isEmpty());
}

TEST(ZCSVLoader, ReportsAFieldThatIsNotClosedAtTheLineBelowTheLast)
{
    EXPECT_EQ(QStringList("Format error at line 3"), loadText("a\tb\n1\t\"2").errors);
    EXPECT_EQ(QStringList("Format error at line 3"), loadText("a\tb\n1\t\"2\n").errors);
    EXPECT_EQ(QStringList("Format error at line 5"), loadText("a\tb\n1\t\"2\n3\t4\n\n").errors);
}

TEST(ZCSVLoader, ReportsAHeaderThatIsNotClosed)
{
    const Loaded loaded = loadText("\"a header without a tab, and open\nb\n");
    EXPECT_EQ(QStringList("Format error at line 3"), loaded.errors);
    EXPECT_EQ(Table(), loaded.rows);
}

// --- width of lines ---

TEST(ZCSVLoader, PadsAndCutsLinesToTheHeadersWidth)
{
    const Loaded loaded = loadText("a\tb\tc\n1\n1\t2\n1\t2\t3\n1\t2\t3\t4\n1\t2\t3\t4\t5\n");
    EXPECT_EQ(Table({{"a", "b", "c"},
                     {"1", "", ""},
                     {"1", "2", ""},
                     {"1", "2", "3"},
                     {"1", "2", "3"},
                     {"1", "2", "3"}}),
              loaded.rows);
    EXPECT_EQ(
        QStringList({"Line 2 is 2 columns short of header.", "Line 3 is 1 columns short of header.",
                     "Line 5 is 1 columns more of header.", "Line 6 is 2 columns more of header."}),
        loaded.warnings);
    EXPECT_TRUE(loaded.errors.isEmpty());
}

TEST(ZCSVLoader, KeepsLinesOfAnotherWidthAsErrorsWhenItMayNotAdjust)
{
    const Loaded loaded = loadText("a\tb\n1\n1\t2\n1\t2\t3\n", withoutAdjusting);
    EXPECT_EQ(Table({{"a", "b"}, {"1"}, {"1", "2"}, {"1", "2", "3"}}), loaded.rows);
    EXPECT_EQ(QStringList({"Line 2 format error.", "Line 4 format error."}), loaded.errors);
    EXPECT_TRUE(loaded.warnings.isEmpty());
}

TEST(ZCSVLoader, CountsFieldsNotDelimiters)
{
    const Loaded loaded = loadText("\"a\tb\"\tc\n1\t\"2\t3\"\n");
    EXPECT_EQ(Table({{"a\tb", "c"}, {"1", "2\t3"}}), loaded.rows);
    EXPECT_TRUE(loaded.warnings.isEmpty());
}

// --- progress ---

struct Progress {
    QString description;
    int value;
};

bool operator==(const Progress &a, const Progress &b)
{
    return a.description == b.description && a.value == b.value;
}

QList<Progress> progressOf(QString text)
{
    ZCSVLoader loader(nullptr);
    QList<Progress> steps;
    QObject::connect(&loader, &ZCSVInterface::updateStatus,
                     [&steps](const QString &description, const QVariant &value) {
                         EXPECT_EQ(static_cast<int>(QMetaType::Int), value.userType());
                         steps << Progress{description, value.toInt()};
                     });
    QTextStream stream(&text);
    QStringList messages;
    loader.loadFile(stream, messages, messages);
    return steps;
}

TEST(ZCSVLoader, TellsHowFarItIs)
{
    EXPECT_EQ(
        QList<Progress>(
            {{"total lines", 5}, {"current line", 1}, {"current line", 2}, {"current line", 5}}),
        progressOf("a\tb\n\"1\n2\"\t3\n\n4\t5\n"));
}

TEST(ZCSVLoader, TellsNothingOfAFileWithoutContent)
{
    EXPECT_EQ(QList<Progress>(), progressOf("a\tb\n"));
}

// --- delimiter ---

TEST(ZCSVLoader, ReadsCommasWhereTheHeaderHasThem)
{
    const Loaded loaded = loadText("Name,Set point,Time\n1,2,3\n");
    EXPECT_EQ(Table({{"Name", "Set point", "Time"}, {"1", "2", "3"}}), loaded.rows);
    EXPECT_TRUE(loaded.errors.isEmpty());
}

TEST(ZCSVLoader, ReadsTabsWhereTheHeaderHasThem)
{
    const Loaded loaded = loadText("Name\tSet point\tTime\n1\t2\t3\n",
                                   [](ZCSVLoader &loader) { loader.setDelimiter(","); });
    EXPECT_EQ(Table({{"Name", "Set point", "Time"}, {"1", "2", "3"}}), loaded.rows);
}

TEST(ZCSVLoader, SuspectsTheDelimiterAtTenCharactersAField)
{
    EXPECT_EQ(Table({{"a,b,c,dd"}, {"1"}}), loadText("a,b,c,dd\n1\n").rows);
    EXPECT_EQ(Table({{"a,b,c,ddd"}, {"1"}}), loadText("a,b,c,ddd\n1\n").rows);
    EXPECT_EQ(Table({{"a", "b", "c", "dddd"}, {"1", "2", "3", "4"}}),
              loadText("a,b,c,dddd\n1,2,3,4\n").rows);
}

TEST(ZCSVLoader, KeepsTheDelimiterThatALongHeaderHas)
{
    const Loaded loaded = loadText("a very, very, very long name\tb\n1\t2\n");
    EXPECT_EQ(Table({{"a very, very, very long name", "b"}, {"1", "2"}}), loaded.rows);
}

TEST(ZCSVLoader, StopsWhereNoDelimiterIsFound)
{
    for (const char *header : {"Nothing to split", "Only one, comma"}) {
        const Loaded loaded = loadText(QString(header) + "\nb\n");
        EXPECT_EQ(QStringList("File format error.\nCannot detect delimiter."), loaded.errors);
        EXPECT_EQ(Table(), loaded.rows);
    }
}

TEST(ZCSVLoader, BeginsEachFileWithItsOwnDelimiter)
{
    const TableFile commas(markedUtf16("Name,Set point,Time\n1,2,3\n"));
    const TableFile tabs(markedUtf16("a\tb\n1,2,3\t4\n"));
    ZCSVLoader loader(nullptr);
    EXPECT_TRUE(loader.openFile(commas.path()));
    EXPECT_TRUE(loader.delimiterAutoDetected());
    EXPECT_EQ("\t", loader.delimiter());
    EXPECT_TRUE(loader.openFile(tabs.path()));
    EXPECT_FALSE(loader.delimiterAutoDetected());
    EXPECT_EQ(Table({{"a", "b"}, {"1,2,3", "4"}}), loader.fileContent());
}

TEST(ZCSVLoader, ForgetsTheDetectionAtALineOfAnotherWidth)
{
    const TableFile file(markedUtf16("Name,Set point,Time\n1,2\n"));
    inWorker([&file] {
        ZCSVLoader loader(nullptr);
        loader.setAdjustToHeader(false);
        EXPECT_FALSE(loader.openFile(file.path()));
        EXPECT_FALSE(loader.delimiterAutoDetected());
    });
}

class FixedDelimiter : public ZCSVLoader
{
public:
    FixedDelimiter() : ZCSVLoader(nullptr) {}
    QString delimiter() const override { return ";"; }
};

TEST(ZCSVLoader, AsksForTheDelimiter)
{
    QString text("a;b\n1;2\n");
    QTextStream stream(&text);
    FixedDelimiter loader;
    QStringList messages;
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}}), loader.loadFile(stream, messages, messages));
}

struct Detection {
    const char *present;
    const char *line;
    const char *found; ///< null: none
};

TEST(ZCSVLoader, DetectsTheDelimiterThatOccursTwice)
{
    const Detection detections[] = {
        {"\t", "a,b,c", ","},       {"\t", "a,b", nullptr},   {"\t", "", nullptr},
        {"\t", "a\tb\tc", nullptr}, {",", "a\tb\tc", "\t"},   {",", "a\tb", nullptr},
        {",", "a,b,c", nullptr},    {";", "a\tb\tc,,", "\t"}, {";", "a\tb,c,d", ","},
        {";", "a;b;c", nullptr},    {"\t", "\"a,b,c\"", ","},
    };
    ZCSVLoader loader(nullptr);
    for (const Detection &detection : detections) {
        QString delimiter = detection.present;
        EXPECT_EQ(detection.found != nullptr, loader.autoDetectDelimiter(delimiter, detection.line))
            << detection.line;
        EXPECT_EQ(detection.found != nullptr ? detection.found : detection.present, delimiter)
            << detection.line;
    }
}

struct LineCheck {
    const char *line;
    bool error;
    const char *delimiter; ///< afterwards; before it is a tab
};

TEST(ZCSVLoader, ChecksWhetherALineCanBeTakenApart)
{
    const LineCheck checks[] = {
        {"a\tb", false, "\t"},      {"\"a\tb\"", false, "\t"},     {"\"a\"\t\"b\"", false, "\t"},
        {"a\"b\tc", false, "\t"},   {"\"a\"\"\tb\"", false, "\t"}, {"ab", true, "\t"},
        {"a,b", true, "\t"},        {"a,b,c", false, ","},         {"\"a\tb", true, "\t"},
        {"\"a\tb,c,d", false, ","}, {"a\t\"b", true, "\t"},        {"", true, "\t"},
    };
    for (const LineCheck &check : checks) {
        ZCSVLoader loader(nullptr);
        QString delimiter = "\t";
        QStringList errors;
        QStringList warnings;
        EXPECT_EQ(check.error, loader.isLineFormatError(check.line, errors, warnings, delimiter))
            << check.line;
        EXPECT_EQ(check.error ? QStringList("File format error.\nCannot detect delimiter.")
                              : QStringList(),
                  errors);
        EXPECT_TRUE(warnings.isEmpty());
        EXPECT_EQ(check.delimiter, delimiter) << check.line;
        EXPECT_EQ(delimiter != "\t", loader.delimiterAutoDetected()) << check.line;
    }
}

// --- files ---

TEST(ZCSVLoader, LoadsAFile)
{
    const Loaded loaded = openText("a\tb\n1\t2\n");
    EXPECT_TRUE(loaded.opened);
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}}), loaded.rows);
    EXPECT_TRUE(loaded.errors.isEmpty());
    EXPECT_TRUE(loaded.warnings.isEmpty());
}

TEST(ZCSVLoader, RemembersTheFolderOfTheFile)
{
    const TableFile file(markedUtf16("a\tb\n1\t2\n"));
    openPath(file.path());
    EXPECT_EQ(file.folder(), QSettings().value("default_dir").toString());
}

TEST(ZCSVLoader, RemembersTheFolderOfAFileWithErrors)
{
    const TableFile file(markedUtf16("a"));
    openPath(file.path());
    EXPECT_EQ(file.folder(), QSettings().value("default_dir").toString());
}

TEST(ZCSVLoader, DropsCarriageReturns)
{
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2\n3"}}), openText("a\tb\r\n1\t\"2\r\n\r3\"\r\n\r\n").rows);
    EXPECT_EQ(QStringList("No content found in the imported file."), openText("a\rb\r").errors);
}

TEST(ZCSVLoader, ReadsAFileWithoutAByteOrderMark)
{
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}}), openBytes(utf16("a\tb\n1\t2\n")).rows);
}

TEST(ZCSVLoader, BelievesTheByteOrderMarkOfAnotherEncoding)
{
    const Table rows = {{"a", "\u7a0b"}, {"1", "2"}};
    const QString text = QString("a\t\u7a0b\n1\t2\n");
    EXPECT_EQ(rows, openBytes("\xEF\xBB\xBF" + text.toUtf8()).rows);
    EXPECT_EQ(rows, openBytes(QTextCodec::codecForName("UTF-16BE")->fromUnicode(text)).rows);
}

TEST(ZCSVLoader, ReadsACharacterOfZeroBehindTheByteOrderMark)
{
    const QString zero(QChar(0));
    EXPECT_EQ(Table({{zero + "a", "b"}, {"1", zero}}),
              openText(zero + "a\tb\n1\t" + zero + "\n").rows);
}

TEST(ZCSVLoader, ReadsWithTheCodecThatItIsTold)
{
    QTextCodec *const big5 = QTextCodec::codecForName("Big5");
    ASSERT_NE(nullptr, big5);
    const QString text = QString("a\t\u7a0b\u5e8f\n1\t2\n");
    const Loaded loaded =
        openBytes(big5->fromUnicode(text), [big5](ZCSVLoader &loader) { loader.setCodec(big5); });
    EXPECT_EQ(Table({{"a", "\u7a0b\u5e8f"}, {"1", "2"}}), loaded.rows);
}

TEST(ZCSVLoader, PassesOverHalfACharacterAtTheEnd)
{
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}}), openBytes(markedUtf16("a\tb\n1\t2\n") + "3").rows);
}

TEST(ZCSVLoader, ReadsSurrogatesThatStandAlone)
{
    const QString high(QChar(0xD800));
    const QString low(QChar(0xDC00));
    EXPECT_EQ(Table({{low, high}, {low + high, "b"}}),
              openText(low + "\t" + high + "\n" + low + high + "\tb\n").rows);
}

TEST(ZCSVLoader, ReadsBytesWithoutAnyText)
{
    const Loaded loaded = openBytes(QByteArray(4096, '\0'));
    EXPECT_FALSE(loaded.opened);
    EXPECT_EQ(QStringList("No content found in the imported file."), loaded.errors);
}

TEST(ZCSVLoader, FindsNoContentInTheShortestFiles)
{
    for (const char *bytes : {"", "a", "\xFF", "\xFF\xFE", "\xFE\xFF", "\xFF\xFE\n"}) {
        const Loaded loaded = openBytes(bytes);
        EXPECT_FALSE(loaded.opened);
        EXPECT_EQ(QStringList("No content found in the imported file."), loaded.errors);
        EXPECT_EQ(AskToCheckFormat, loaded.warnings);
    }
}

TEST(ZCSVLoader, GivesRowsOrAMessageForEveryTruncationAndChangeOfAFile)
{
    const QByteArray whole = markedUtf16("a\t\"b\"\n\"1\n\"\"\"\t2\n");
    TableFile file;
    for (int i = 0; i <= whole.size(); ++i) {
        for (const int change : {-1, 0x00, 0x0A, 0x0D, 0x22, 0xFF}) {
            QByteArray bytes = change < 0 ? whole.left(i) : whole;
            if (change >= 0 && i < bytes.size())
                bytes[i] = static_cast<char>(change);
            file.write(bytes);
            const Loaded loaded = openPath(file.path());
            EXPECT_EQ(loaded.opened, loaded.errors.isEmpty());
            EXPECT_EQ(loaded.opened, !loaded.rows.isEmpty()) << i << " " << change;
        }
    }
}

// --- what fileContent says, by the result of openFile ---

TEST(ZCSVLoader, AsksForAFileBeforeTheFirst)
{
    inWorker([] {
        ZCSVLoader loader(nullptr);
        EXPECT_EQ(Table(), loader.fileContent());
        EXPECT_EQ(AskToSelect, loader.errorMessageList());
    });
}

TEST(ZCSVLoader, ReportsAnEmptyNameWhereNobodyCanBeAsked)
{
    const Loaded loaded = openPath("");
    EXPECT_FALSE(loaded.opened);
    EXPECT_EQ(QStringList("The file name is empty."), loaded.errors);
    EXPECT_EQ(Table(), loaded.rows);
    EXPECT_EQ(AskToSelect, loaded.warnings);
}

void expectNotOpened(const QString &path)
{
    const Loaded loaded = openPath(path);
    EXPECT_FALSE(loaded.opened) << qPrintable(path);
    EXPECT_TRUE(loaded.errors.isEmpty());
    EXPECT_EQ(Table(), loaded.rows);
    EXPECT_EQ(AskForRightFile, loaded.warnings);
}

TEST(ZCSVLoader, ReportsAFileThatIsNotThere)
{
    expectNotOpened(TableFile().path());
}

TEST(ZCSVLoader, RemembersNoFolderOfAFileThatIsNotThere)
{
    QSettings().setValue("default_dir", "/before");
    expectNotOpened(TableFile().path());
    EXPECT_EQ("/before", QSettings().value("default_dir").toString());
}

TEST(ZCSVLoader, ReportsWhatIsNoOrdinaryFile)
{
    const TableFile pipe;
    ASSERT_EQ(0, ::mkfifo(QFile::encodeName(pipe.path()).constData(), 0600));
    expectNotOpened(pipe.path());
    expectNotOpened(pipe.folder());
    expectNotOpened("/dev/zero");
}

// Its first page is never there, so that reading fails, as it does on a stick that was pulled.
TEST(ZCSVLoader, ReportsAFileThatCannotBeReadToItsEnd)
{
    const Loaded loaded = openPath("/proc/self/mem");
    EXPECT_FALSE(loaded.opened);
    EXPECT_EQ("The file cannot be read to its end.", loaded.errors.value(1));
    EXPECT_EQ(2, loaded.errors.size());
    EXPECT_EQ(AskToCheckFormat, loaded.warnings);
    EXPECT_EQ(Table(), loaded.rows);
}

/// Lines of text, and then a read error instead of the rest.
class BrokenFile : public QBuffer
{
public:
    explicit BrokenFile(QByteArray *bytes) : QBuffer(bytes) {}
    bool atEnd() const override { return false; }

protected:
    qint64 readData(char *data, qint64 most) override
    {
        const qint64 count = QBuffer::readData(data, most);
        return count > 0 ? count : -1;
    }
};

TEST(ZCSVLoader, EndsWhereAStreamGivesNoMoreLines)
{
    QByteArray bytes("a\tb\n1\t2\n");
    BrokenFile file(&bytes);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QTextStream stream(&file);
    ZCSVLoader loader(nullptr);
    QStringList messages;
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}}), loader.loadFile(stream, messages, messages));
}

TEST(ZCSVLoader, ReportsAFileWithErrors)
{
    const Loaded loaded = openText("a\tb\n1\n1\t2\t3\n", withoutAdjusting);
    EXPECT_FALSE(loaded.opened);
    EXPECT_EQ(QStringList({"Line 2 format error.", "Line 3 format error."}), loaded.errors);
    EXPECT_EQ(Table(), loaded.rows);
    EXPECT_EQ(AskToCheckFormat, loaded.warnings);
}

TEST(ZCSVLoader, KeepsAnErrorAlsoWhereLinesWereAdjusted)
{
    const Loaded loaded = openText("a\tb\n1\n\"2");
    EXPECT_EQ(QStringList("Format error at line 4"), loaded.errors);
    EXPECT_EQ(AskToCheckFormat, loaded.warnings);
    EXPECT_EQ(Table(), loaded.rows);
}

TEST(ZCSVLoader, ReportsADelimiterThatItReplaced)
{
    const Loaded loaded = openText("Name,Set point,Time\n1,2,3\n");
    EXPECT_TRUE(loaded.opened);
    EXPECT_EQ(Table({{"Name", "Set point", "Time"}, {"1", "2", "3"}}), loaded.rows);
    EXPECT_EQ(AskToExportAgain, loaded.warnings);
}

TEST(ZCSVLoader, ReportsAdjustedLinesRatherThanAReplacedDelimiter)
{
    const Loaded loaded = openText("Name,Set point,Time\n1,2\n1,2,3,4\n");
    EXPECT_TRUE(loaded.opened);
    EXPECT_EQ(Table({{"Name", "Set point", "Time"}, {"1", "2", ""}, {"1", "2", "3"}}), loaded.rows);
    EXPECT_EQ(
        QStringList({"Warning: Incorrect File Format", "1. Line 2 is 1 columns short of header.\n"
                                                       "2. Line 3 is 1 columns more of header."}),
        loaded.warnings);
}

TEST(ZCSVLoader, ReportsTheFirstTwentyTwoAdjustedLines)
{
    const QString upTo22 = openText("a\tb\n" + QString("1\n").repeated(22)).warnings.value(1);
    EXPECT_TRUE(upTo22.endsWith("\n22. Line 23 is 1 columns short of header."))
        << qPrintable(upTo22);
    const QString upTo23 = openText("a\tb\n" + QString("1\n").repeated(23)).warnings.value(1);
    EXPECT_EQ(upTo22 + "....", upTo23);
}

TEST(ZCSVLoader, ReportsAgainWithEachCallOfFileContent)
{
    const TableFile file(markedUtf16("Name,Set point,Time\n1,2,3\n"));
    inWorker([&file] {
        ZCSVLoader loader(nullptr);
        loader.openFile(file.path());
        EXPECT_EQ(2, loader.fileContent().size());
        EXPECT_EQ(2, loader.fileContent().size());
        EXPECT_EQ(AskToExportAgain + AskToExportAgain, loader.errorMessageList());
    });
}

TEST(ZCSVLoader, ForgetsAFileWithTheNext)
{
    const TableFile bad(markedUtf16("a\tb\n1\n"));
    const TableFile good(markedUtf16("a\tb\n1\t2\n"));
    inWorker([&] {
        ZCSVLoader loader(nullptr);
        loader.setAdjustToHeader(false);
        EXPECT_FALSE(loader.openFile(bad.path()));
        EXPECT_TRUE(loader.openFile(good.path()));
        EXPECT_TRUE(loader.errorMessageList().isEmpty());
        EXPECT_EQ(2, loader.fileContent().size());
        EXPECT_TRUE(loader.errorMessageList().isEmpty());
        EXPECT_FALSE(loader.openFile(good.path() + ".not-there"));
        EXPECT_TRUE(loader.errorMessageList().isEmpty());
        EXPECT_EQ(Table(), loader.fileContent());
    });
}

TEST(ZCSVLoader, ForgetsWarningsWithTheNextFile)
{
    const TableFile first(markedUtf16("a\tb\n1\n"));
    const TableFile second(markedUtf16("a\tb\n1\t2\n1\t2\t3\n"));
    inWorker([&] {
        ZCSVLoader loader(nullptr);
        EXPECT_TRUE(loader.openFile(first.path()));
        EXPECT_TRUE(loader.openFile(second.path()));
        loader.fileContent();
        EXPECT_EQ("1. Line 3 is 1 columns more of header.", loader.errorMessageList().value(1));
    });
}

// --- for the user ---

TEST(ZCSVLoaderDialogs, LoadAFileThatTheUserNames)
{
    const TableFile file(markedUtf16("a\tb\n1\t2\n"));
    QSettings().remove("default_dir");
    DialogUser user;
    user.expectFileDialog("Import File", file.path());
    QWidget parent;
    ZCSVLoader loader(&parent);
    EXPECT_TRUE(loader.openFile(""));
    EXPECT_EQ(QCoreApplication::applicationDirPath(), user.shownFolder());
    EXPECT_EQ(QStringList("Text File (*.txt)"), user.shownFilters());
    EXPECT_EQ(&parent, user.parentOfLastDialog());
    EXPECT_EQ(file.folder(), QSettings().value("default_dir").toString());
    EXPECT_EQ(2, loader.fileContent().size());
}

TEST(ZCSVLoaderDialogs, BeginInTheFolderOfTheLastFile)
{
    const TableFile file(markedUtf16("a,b\n1,2\n"));
    QSettings().setValue("default_dir", file.folder());
    DialogUser user;
    user.expectFileDialog("Import File", "PROG_1.txt");
    ZCSVLoader loader(nullptr);
    loader.setFileFormat(ZCSVInterface::CSVFormat);
    // The filter hides the file; a name that is typed in full finds it nevertheless.
    EXPECT_TRUE(loader.openFile(""));
    EXPECT_EQ(file.folder(), user.shownFolder());
    EXPECT_EQ(QStringList("CSV File (*.csv)"), user.shownFilters());
    EXPECT_EQ(Table({{"a", "b"}, {"1", "2"}}), loader.fileContent());
}

TEST(ZCSVLoaderDialogs, EndWithoutAFileWhenTheUserClosesThem)
{
    QSettings().setValue("default_dir", QDir::tempPath());
    DialogUser user;
    user.expect<QFileDialog>([](QFileDialog &dialog) { dialog.close(); });
    user.expectBox("File cannot be opened.", "Please select the right file.");
    ZCSVLoader loader(nullptr);
    EXPECT_FALSE(loader.openFile(""));
    EXPECT_TRUE(loader.errorMessageList().isEmpty());
    EXPECT_EQ(Table(), loader.fileContent());
    EXPECT_EQ(QDir::tempPath(), QSettings().value("default_dir").toString());
}

TEST(ZCSVLoaderDialogs, TakeNoForAnAnswerBeforeTheFile)
{
    const TableFile file(markedUtf16("a\tb\n1\t2\n"));
    DialogUser user;
    user.expectBox("Import/Export File", "The import/export file will process as TXT format.",
                   QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel);
    user.expectBox("File cannot be opened.", "Please select the right file.");
    ZCSVLoader loader(nullptr);
    loader.setAskEachTime(true);
    EXPECT_FALSE(loader.openFile(file.path()));
    EXPECT_EQ(QStringList("User canceled operation."), loader.errorMessageList());
    EXPECT_EQ(Table(), loader.fileContent());
    EXPECT_EQ(QStringList("User canceled operation."), loader.errorMessageList());
}

TEST(ZCSVLoaderDialogs, TakeYesForAnAnswerBeforeTheFile)
{
    const TableFile file(markedUtf16("a\tb\n1\t2\n"));
    DialogUser user;
    user.expectBox("Import/Export File", "The import/export file will process as TXT format.",
                   QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Ok);
    ZCSVLoader loader(nullptr);
    loader.setAskEachTime(true);
    EXPECT_TRUE(loader.openFile(file.path()));
}

QString numbered(int count)
{
    QStringList entries;
    for (int i = 1; i <= count; ++i)
        entries << QString("%1. Line %2 format error.").arg(i).arg(i + 1);
    return entries.join("\n");
}

void expectSummary(int badLines, const QString &text)
{
    const TableFile file(markedUtf16("a\tb\n" + QString("1\n").repeated(badLines)));
    DialogUser user;
    user.expectBox("File Format Error.", text);
    user.expectBox("File cannot be loaded.", "Please check file format.");
    QWidget parent;
    ZCSVLoader loader(&parent);
    loader.setAdjustToHeader(false);
    EXPECT_FALSE(loader.openFile(file.path()));
    EXPECT_EQ(&parent, user.parentOfLastDialog());
    EXPECT_EQ(badLines, loader.errorMessageList().size());
    EXPECT_EQ(Table(), loader.fileContent());
    EXPECT_EQ(&parent, user.parentOfLastDialog());
    EXPECT_EQ(badLines, loader.errorMessageList().size());
}

TEST(ZCSVLoaderDialogs, ShowTheErrorsOfAFileWithTheirNumbers)
{
    expectSummary(1, "1. Line 2 format error.");
    expectSummary(22, numbered(22));
}

TEST(ZCSVLoaderDialogs, ShowTwentyTwoOfMoreErrors)
{
    expectSummary(23, numbered(22) + "....");
    expectSummary(30, numbered(22) + "....");
}

TEST(ZCSVLoaderDialogs, WarnOfAReplacedDelimiter)
{
    const TableFile file(markedUtf16("Name,Set point,Time\n1,2,3\n"));
    DialogUser user;
    user.expectBox(AskToExportAgain.at(0), AskToExportAgain.at(1));
    ZCSVLoader loader(nullptr);
    EXPECT_TRUE(loader.openFile(file.path()));
    EXPECT_EQ(2, loader.fileContent().size());
    EXPECT_TRUE(loader.errorMessageList().isEmpty());
}

TEST(ZCSVLoaderDialogs, WarnOfAdjustedLines)
{
    const TableFile file(markedUtf16("a\tb\n1\n"));
    DialogUser user;
    user.expectBox("Warning: Incorrect File Format", "1. Line 2 is 1 columns short of header.");
    ZCSVLoader loader(nullptr);
    EXPECT_TRUE(loader.openFile(file.path()));
    EXPECT_EQ(2, loader.fileContent().size());
}

TEST(ZCSVLoaderDialogs, AskForAFileBeforeTheFirst)
{
    DialogUser user;
    user.expectBox(AskToSelect.at(0), AskToSelect.at(1));
    ZCSVLoader loader(nullptr);
    EXPECT_EQ(Table(), loader.fileContent());
}

} // namespace
