// Programs carried by the command line, as a user does it, on a directory that is the stick.

#include "tests/support/private_mounts.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCodec>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::HasSubstr;

const int StartMs = 60000; ///< a slow machine with sanitizers
const int EndMs = 90000;
const int Fields = 25;

class TransferProgram : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!privateMountsFault().empty())
            GTEST_SKIP() << "needs a stick of its own: " << privateMountsFault();
        ASSERT_TRUE(m_directory.isValid());
        ASSERT_TRUE(QDir(m_directory.path()).mkdir("stick"));
    }

    QString path(const QString &name) const { return m_directory.filePath("stick/" + name); }
    QString trace() const { return m_directory.filePath("trace"); }

    QString file(const QString &name, const QByteArray &bytes) const
    {
        QFile opened(m_directory.filePath(name));
        EXPECT_TRUE(opened.open(QIODevice::WriteOnly));
        opened.write(bytes);
        return opened.fileName();
    }

    void start(QProcess *process, const QStringList &arguments) const
    {
        const QString project =
            file("project.csv", "name,address,type,length\nprogram,NA1000,program,32\n");
        // The offscreen platform never takes its screen away again.
        const QString leaks = file("leaks", "leak:libqoffscreen.so\n");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LSAN_OPTIONS", "print_suppressions=0:suppressions=" + leaks);
        environment.insert("LC_ALL", "C");
        process->setProcessEnvironment(environment);
        process->start(DMC50_TERMINAL, QStringList{"--simulate=1", "--baud", "0", "--project",
                                                   project, "--trace", trace()} +
                                           arguments);
        ASSERT_TRUE(process->waitForStarted(StartMs));
    }

    /// Runs it to its end. \return the exit status; -1: it was killed
    int run(const QStringList &arguments)
    {
        QFile::remove(trace());
        QProcess process;
        start(&process, arguments);
        EXPECT_TRUE(process.waitForFinished(EndMs));
        out = process.readAllStandardOutput().toStdString();
        error = process.readAllStandardError().toStdString();
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    int runWithStick(const QStringList &arguments)
    {
        return run(arguments + QStringList{"--usb-stick", m_directory.filePath("stick")});
    }

    QByteArray content(const QString &file) const
    {
        QFile opened(file);
        EXPECT_TRUE(opened.open(QIODevice::ReadOnly)) << file.toStdString();
        return opened.readAll();
    }

    /// A file of one step of which each value is this one.
    void putFile(const QString &name, const QString &value = "7") const
    {
        const QString header = QString("label\t").repeated(Fields).trimmed() + "\n";
        const QString row = "row" + ("\t" + value).repeated(Fields - 1) + "\n";
        file("stick/" + name,
             QTextCodec::codecForName("UTF-16LE")->fromUnicode(QChar(0xFEFF) + header + row));
    }

    bool hasWritten() const { return content(trace()).contains("WN"); }

    QTemporaryDir m_directory;
    std::string out;
    std::string error;
};

TEST_F(TransferProgram, CarriesAProgramToTheStickAndBack)
{
    EXPECT_EQ(0, runWithStick({"--export-program", "5", "--steps", "3"})) << error;
    EXPECT_EQ("export of program 5 done\n", out);
    const QString text =
        QTextCodec::codecForName("UTF-16LE")->toUnicode(content(path("PROG_5.txt")));
    EXPECT_EQ(1 + 3, text.count('\n'));
    EXPECT_FALSE(hasWritten());
    EXPECT_EQ(0, runWithStick({"--import-program", "5", "--steps", "3"})) << error;
    EXPECT_EQ("import of program 5 done\n", out);
    EXPECT_TRUE(hasWritten());
    EXPECT_EQ(QStringList("PROG_5.txt"), QDir(path("")).entryList(QDir::Files)) << "and no log";
}

TEST_F(TransferProgram, WritesATemplate)
{
    EXPECT_EQ(0, runWithStick({"--export-program=-1", "--steps", "2"})) << error;
    EXPECT_EQ(QStringList("PROG_template.txt"), QDir(path("")).entryList(QDir::Files));
}

TEST_F(TransferProgram, SaysThatThereIsNoStick)
{
    for (const char *const option : {"--export-program", "--import-program"}) {
        EXPECT_EQ(1, run({option, "5"}));
        EXPECT_THAT(out, HasSubstr("failed: The system can't not detect the USB Stick.\n"));
    }
}

TEST_F(TransferProgram, SaysThatThereIsNoFile)
{
    EXPECT_EQ(1, runWithStick({"--import-program", "5"}));
    EXPECT_THAT(out, HasSubstr("import of program 5 failed: see "));
    EXPECT_THAT(out, HasSubstr("stick/WRITE_PROG_5_ERROR.txt\nThe file name is empty.\n"));
}

TEST_F(TransferProgram, SaysWhatIsWrongWithAFile)
{
    putFile("PROG_5.txt", QString("\u7a0b\x1B"));
    EXPECT_EQ(1, runWithStick({"--import-program", "5"}));
    EXPECT_THAT(out, HasSubstr("The value [\u7a0b\uFFFD] at row 0 and column 24 is invalid"));
    EXPECT_FALSE(hasWritten());
}

TEST_F(TransferProgram, SaysThatADirectoryIsNone)
{
    EXPECT_EQ(3, run({"--export-program", "5", "--usb-stick", "/nowhere"}));
    EXPECT_THAT(error, HasSubstr("cannot use /nowhere as a USB stick: "));
}

// ---- Several files, and nobody to choose

TEST_F(TransferProgram, RefusesAnImportOfWhichSeveralFilesMatch)
{
    putFile("PROG_5.txt");
    putFile("PROG_5_old.txt");
    EXPECT_EQ(1, runWithStick({"--import-program", "5"}));
    EXPECT_THAT(error, HasSubstr("dmc50-terminal: import of program 5: several files match: "
                                 "PROG_5.txt, PROG_5_old.txt; leave the one that is meant on the "
                                 "stick, or choose at the screen, with --window\n"));
    EXPECT_EQ("", out);
    EXPECT_FALSE(hasWritten());
    EXPECT_FALSE(QFile::exists(path("WRITE_PROG_5_ERROR.txt")));
}

TEST_F(TransferProgram, NamesTheFirstOfVeryManyFilesAndLetsNoneSteerTheTerminal)
{
    for (int i = 1; i <= 7; ++i)
        putFile(QString("PROG_5_%1\x1B.txt").arg(i));
    EXPECT_EQ(1, runWithStick({"--import-program", "5"}));
    EXPECT_THAT(error, HasSubstr(": PROG_5_1"));
    EXPECT_THAT(error, HasSubstr("PROG_5_5"));
    EXPECT_THAT(error, HasSubstr(" and 2 more; leave"));
    EXPECT_THAT(error, testing::Not(HasSubstr("\x1B")));
}

TEST_F(TransferProgram, ImportsTheOneFileThatIsNoLink)
{
    putFile("PROG_5_new.txt");
    putFile("other.txt");
    ASSERT_TRUE(QFile::link("other.txt", path("PROG_5.txt")));
    EXPECT_EQ(0, runWithStick({"--import-program", "5"})) << error;
    EXPECT_TRUE(hasWritten());
}

TEST_F(TransferProgram, ExportsAlsoBesideSeveralFiles)
{
    putFile("PROG_5.txt");
    putFile("PROG_5_old.txt");
    EXPECT_EQ(0, runWithStick({"--export-program", "5", "--steps", "1"})) << error;
}

// The driver asks then, in a dialog that nobody sees. Between the look at the stick and the import
// is half a second; when that is shows by trying.
TEST_F(TransferProgram, EndsAlsoWhenTheSecondFileComesLate)
{
    const QString log = path("WRITE_PROG_5_ERROR.txt");
    for (int afterMs = 0; afterMs < 10000 && !QFile::exists(log); afterMs += 150) {
        QFile::remove(path("PROG_5_old.txt"));
        putFile("PROG_5.txt");
        QProcess process;
        start(&process, {"--import-program", "5", "--usb-stick", path("")});
        process.waitForFinished(afterMs);
        putFile("PROG_5_old.txt");
        ASSERT_TRUE(process.waitForFinished(EndMs));
        const bool refused = process.readAllStandardError().contains("several files match");
        EXPECT_EQ(refused || QFile::exists(log) ? 1 : 0, process.exitCode());
    }
    EXPECT_EQ("The file name is empty.", content(log).toStdString());
}

} // namespace
