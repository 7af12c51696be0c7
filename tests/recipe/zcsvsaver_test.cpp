#include "recipe/zcsvloader.h"

#include "tests/recipe/dialog_user.h"
#include "tests/recipe/table_file.h"
#include "tests/recipe/worker.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTextCodec>
#include <QWidget>

#include <gtest/gtest.h>

namespace
{

typedef std::function<void(ZCSVSaver &)> SetUp;

void asItIs(ZCSVSaver &) {}

void quoteAlways(ZCSVSaver &saver)
{
    saver.setQuoteWhenNeeded(false);
}

void inUtf8(ZCSVSaver &saver)
{
    saver.setCodec(QTextCodec::codecForName("UTF-8"));
    saver.setGenerateByteOrderMark(false);
}

/// The bytes that a table comes to in a file.
QByteArray bytesOf(const Table &rows, const SetUp &setUp = asItIs)
{
    const TableFile file;
    ZCSVSaver saver(nullptr);
    setUp(saver);
    EXPECT_TRUE(saver.saveFile(rows, file.path()));
    EXPECT_TRUE(saver.errorMessageList().isEmpty());
    return file.bytes();
}

QString textOf(const Table &rows, const SetUp &setUp = asItIs)
{
    return QString::fromUtf8(bytesOf(rows, [&setUp](ZCSVSaver &saver) {
        inUtf8(saver);
        setUp(saver);
    }));
}

// --- bytes ---

TEST(ZCSVSaver, WritesUtf16WithAByteOrderMark)
{
    EXPECT_EQ(QByteArray("\xFF\xFE"
                         "a\0\t\0\x0B\x7A\n\0"
                         "1\0\t\0\n\0",
                         16),
              bytesOf({{"a", "\u7a0b"}, {"1", ""}}));
}

TEST(ZCSVSaver, WritesWithoutAByteOrderMark)
{
    EXPECT_EQ(QByteArray("a\0\n\0", 4),
              bytesOf({{"a"}}, [](ZCSVSaver &saver) { saver.setGenerateByteOrderMark(false); }));
}

TEST(ZCSVSaver, WritesTheByteOrderMarkAgainWhenToldTo)
{
    EXPECT_EQ(markedUtf16("a\n"), bytesOf({{"a"}}, [](ZCSVSaver &saver) {
                  saver.setGenerateByteOrderMark(false);
                  saver.setGenerateByteOrderMark(true);
              }));
}

TEST(ZCSVSaver, WritesWithTheCodecThatItIsTold)
{
    QTextCodec *const big5 = QTextCodec::codecForName("Big5");
    ASSERT_NE(nullptr, big5);
    EXPECT_EQ("\xB5\x7B\tb\n", bytesOf({{"\u7a0b", "b"}}, [big5](ZCSVSaver &saver) {
                  saver.setCodec(big5);
                  saver.setGenerateByteOrderMark(false);
              }));
}

TEST(ZCSVSaver, EndsEveryRowWithALineFeedAndNoDelimiter)
{
    EXPECT_EQ("a\tb\n\nc\n\t\n", textOf({{"a", "b"}, {}, {"c"}, {"", ""}}));
}

TEST(ZCSVSaver, WritesNothingOfNoRows)
{
    EXPECT_EQ("", textOf({}));
}

TEST(ZCSVSaver, WritesTheDelimiterOfTheFormat)
{
    EXPECT_EQ("a,b\n", textOf({{"a", "b"}}, [](ZCSVSaver &saver) {
                  saver.setFileFormat(ZCSVInterface::CSVFormat);
              }));
}

// --- quotes ---

struct Writing {
    const char *field;
    const char *written;
};

TEST(ZCSVSaver, QuotesAFieldThatNeedsIt)
{
    const Writing writings[] = {
        {"a\"b", "\"a\"\"b\""},   {"a\tb", "\"a\tb\""}, {"a\nb", "\"a\nb\""}, {"\"", "\"\"\"\""},
        {"\"\"", "\"\"\"\"\"\""}, {"\t", "\"\t\""},     {"\n", "\"\n\""},     {"a,b", "a,b"},
        {"a b", "a b"},           {" ", " "},           {"'a'", "'a'"},       {"", ""},
        {"a\rb", "a\rb"},
    };
    for (const Writing &writing : writings) {
        EXPECT_EQ(QString(writing.written) + "\n", textOf({{writing.field}})) << writing.field;
        EXPECT_EQ(QString("x\t") + writing.written + "\ty\n", textOf({{"x", writing.field, "y"}}))
            << writing.field;
    }
}

TEST(ZCSVSaver, QuotesForTheDelimiterInUseOnly)
{
    EXPECT_EQ("\"a,b\",c\td\n",
              textOf({{"a,b", "c\td"}}, [](ZCSVSaver &saver) { saver.setDelimiter(","); }));
    EXPECT_EQ("\"a::b\"::c:\n",
              textOf({{"a::b", "c:"}}, [](ZCSVSaver &saver) { saver.setDelimiter("::"); }));
}

TEST(ZCSVSaver, QuotesEveryFieldWhenToldTo)
{
    EXPECT_EQ("\"a\"\t\"\"\n\"b\"\"c\"\t\"d\te\"\n",
              textOf({{"a", ""}, {"b\"c", "d\te"}}, quoteAlways));
}

TEST(ZCSVSaver, QuotesWhenNeededAgain)
{
    EXPECT_EQ("a\n", textOf({{"a"}}, [](ZCSVSaver &saver) {
                  saver.setQuoteWhenNeeded(false);
                  saver.setQuoteWhenNeeded(true);
              }));
}

class FixedDelimiter : public ZCSVSaver
{
public:
    FixedDelimiter() : ZCSVSaver(nullptr) {}
    QString delimiter() const override { return ";"; }
};

TEST(ZCSVSaver, AsksForTheDelimiter)
{
    const TableFile file;
    FixedDelimiter saver;
    EXPECT_TRUE(saver.saveFile({{"a", "b;c"}}, file.path()));
    EXPECT_EQ(markedUtf16("a;\"b;c\"\n"), file.bytes());
}

// --- files ---

TEST(ZCSVSaver, ReplacesAFile)
{
    const TableFile file(QByteArray(1000, 'x'));
    ZCSVSaver saver(nullptr);
    EXPECT_TRUE(saver.saveFile({{"a"}}, file.path()));
    EXPECT_EQ(markedUtf16("a\n"), file.bytes());
}

TEST(ZCSVSaver, WritesRowsThatAreLongerThanAnyBuffer)
{
    const QString field(100000, QChar(0x7A0B));
    EXPECT_EQ(markedUtf16(field + "\t" + field + "\n"), bytesOf({{field, field}}));
}

TEST(ZCSVSaver, RemembersNoFolderOfAFileThatItWasGiven)
{
    QSettings().setValue("default_dir", "/before");
    bytesOf({{"a"}});
    EXPECT_EQ("/before", QSettings().value("default_dir").toString());
}

TEST(ZCSVSaver, ReportsAnEmptyNameWhereNobodyCanBeAsked)
{
    inWorker([] {
        ZCSVSaver saver(nullptr);
        EXPECT_FALSE(saver.saveFile({{"a"}}, ""));
        EXPECT_EQ(QStringList("The file name is empty."), saver.errorMessageList());
    });
}

TEST(ZCSVSaver, ReportsAFileThatCannotBeOpened)
{
    const TableFile file;
    inWorker([&file] {
        ZCSVSaver saver(nullptr);
        EXPECT_FALSE(saver.saveFile({{"a"}}, file.folder()));
        EXPECT_EQ(QStringList("File cannot be opened."), saver.errorMessageList());
        EXPECT_FALSE(saver.saveFile({{"a"}}, file.path() + "/nowhere"));
        EXPECT_EQ(QStringList("File cannot be opened."), saver.errorMessageList());
    });
    EXPECT_FALSE(QFile::exists(file.path()));
}

TEST(ZCSVSaver, SavesInAWorker)
{
    const TableFile file;
    inWorker([&file] {
        ZCSVSaver saver(nullptr);
        EXPECT_TRUE(saver.saveFile({{"a"}}, file.path()));
    });
    EXPECT_EQ(markedUtf16("a\n"), file.bytes());
}

TEST(ZCSVSaver, ForgetsMessagesWithTheNextFile)
{
    const TableFile file;
    inWorker([&file] {
        ZCSVSaver saver(nullptr);
        EXPECT_FALSE(saver.saveFile({{"a"}}, ""));
        EXPECT_TRUE(saver.saveFile({{"a"}}, file.path()));
        EXPECT_TRUE(saver.errorMessageList().isEmpty());
    });
}

TEST(ZCSVSaver, DoesNotCheckThatTheMediumTookEverything)
{
    ZCSVSaver saver(nullptr);
    EXPECT_TRUE(saver.saveFile({{"a"}}, "/dev/full"));
    EXPECT_TRUE(saver.errorMessageList().isEmpty());
}

// --- for the user ---

TEST(ZCSVSaverDialogs, SaveUnderTheNameThatTheUserTypes)
{
    const TableFile file;
    QSettings().remove("default_dir");
    DialogUser user;
    user.expectFileDialog("Export File", file.path());
    QWidget parent;
    ZCSVSaver saver(&parent);
    EXPECT_TRUE(saver.saveFile({{"a"}}, ""));
    EXPECT_EQ(markedUtf16("a\n"), file.bytes());
    EXPECT_EQ(QCoreApplication::applicationDirPath(), user.shownFolder());
    EXPECT_EQ(QStringList("Text File (*.txt)"), user.shownFilters());
    EXPECT_EQ(&parent, user.parentOfLastDialog());
    EXPECT_EQ(file.folder(), QSettings().value("default_dir").toString());
}

TEST(ZCSVSaverDialogs, BeginInTheFolderOfTheLastFile)
{
    const TableFile file;
    QSettings().setValue("default_dir", file.folder());
    DialogUser user;
    user.expectFileDialog("Export File", "PROG_1.txt");
    ZCSVSaver saver(nullptr);
    saver.setFileFormat(ZCSVInterface::CSVFormat);
    EXPECT_TRUE(saver.saveFile({{"a", "b"}}, ""));
    EXPECT_EQ(file.folder(), user.shownFolder());
    EXPECT_EQ(QStringList("CSV File (*.csv)"), user.shownFilters());
    EXPECT_EQ(markedUtf16("a,b\n"), file.bytes());
}

TEST(ZCSVSaverDialogs, EndWithoutAFileWhenTheUserClosesThem)
{
    QSettings().setValue("default_dir", QDir::tempPath());
    DialogUser user;
    user.expect<QFileDialog>([](QFileDialog &dialog) { dialog.close(); });
    ZCSVSaver saver(nullptr);
    EXPECT_FALSE(saver.saveFile({{"a"}}, ""));
    EXPECT_TRUE(saver.errorMessageList().isEmpty());
    EXPECT_EQ(QDir::tempPath(), QSettings().value("default_dir").toString());
}

TEST(ZCSVSaverDialogs, WarnOfAFileThatCannotBeOpened)
{
    const TableFile file;
    DialogUser user;
    user.expectBox("File cannot be opened.", "File cannot be opened.");
    QWidget parent;
    ZCSVSaver saver(&parent);
    EXPECT_FALSE(saver.saveFile({{"a"}}, file.folder()));
    EXPECT_EQ(&parent, user.parentOfLastDialog());
    EXPECT_TRUE(saver.errorMessageList().isEmpty());
}

TEST(ZCSVSaverDialogs, TakeNoForAnAnswerBeforeAnythingIsTouched)
{
    const TableFile file("before");
    DialogUser user;
    const QString question = "The import/export file will process as TXT format.";
    for (int i = 0; i < 2; ++i) {
        user.expectBox("Import/Export File", question, QMessageBox::Ok | QMessageBox::Cancel,
                       QMessageBox::Cancel);
    }
    ZCSVSaver saver(nullptr);
    saver.setAskEachTime(true);
    EXPECT_FALSE(saver.saveFile({{"a"}}, file.path()));
    EXPECT_EQ(QStringList("User canceled operation."), saver.errorMessageList());
    EXPECT_EQ("before", file.bytes());
    // The list is emptied only once a save goes on.
    EXPECT_FALSE(saver.saveFile({{"a"}}, file.path()));
    EXPECT_EQ(QStringList({"User canceled operation.", "User canceled operation."}),
              saver.errorMessageList());
    user.expectBox("Import/Export File", question, QMessageBox::Ok | QMessageBox::Cancel,
                   QMessageBox::Ok);
    EXPECT_TRUE(saver.saveFile({{"a"}}, file.path()));
    EXPECT_TRUE(saver.errorMessageList().isEmpty());
    EXPECT_EQ(markedUtf16("a\n"), file.bytes());
}

} // namespace
