#include "terminal/program_preview.h"

#include <limits>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace
{

const char ByteOrderMark[] = "\xFF\xFE";
const int LargestFile = 1024 * 1024;
const int Program = 5;

/// As an export writes it.
QByteArray encoded(const QString &text)
{
    const QScopedPointer<QTextEncoder> encoder(
        QTextCodec::codecForName("UTF-16LE")->makeEncoder(QTextCodec::IgnoreHeader));
    return QByteArray(ByteOrderMark) + encoder->fromUnicode(text);
}

QString fields(const QStringList &texts)
{
    return texts.join('\t') + '\n';
}

class Preview : public testing::Test
{
protected:
    QString path(const QString &name) const { return QDir(m_stick.path()).filePath(name); }

    void writeBytes(const QString &name, const QByteArray &bytes)
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
        ASSERT_EQ(bytes.size(), file.write(bytes));
    }
    void write(const QString &name, const QString &text) { writeBytes(name, encoded(text)); }

    ProgramPreview read(int program = Program) const
    {
        return readProgramPreview(m_stick.path(), program);
    }

    QTemporaryDir m_stick;
};

// ---- Files

TEST_F(Preview, ShowsNothingWithoutAStick)
{
    const ProgramPreview preview = readProgramPreview(QString(), Program);
    EXPECT_TRUE(preview.matches.isEmpty());
    EXPECT_TRUE(preview.file.isEmpty());
    EXPECT_TRUE(preview.mistake.isEmpty());
}

TEST_F(Preview, ShowsNothingOfAStickThatIsGone)
{
    const ProgramPreview preview = readProgramPreview(path("gone"), Program);
    EXPECT_TRUE(preview.matches.isEmpty());
    EXPECT_TRUE(preview.mistake.isEmpty());
}

TEST_F(Preview, TakesOnlyFilesOfItsProgram)
{
    for (const char *const name :
         {"PROG_50.txt", "PROG_15.txt", "PROG_5.csv", "PROG_5old.txt", "PROG_05.txt",
          "PROG_template.txt", "READ_PROG_5_ERROR.txt", "XPROG_5.txt", "PROG_5.txt~"})
        write(name, "header\nrow\n");
    ASSERT_TRUE(QDir(m_stick.path()).mkdir("PROG_5.txt"));
    const ProgramPreview preview = read();
    EXPECT_EQ(QStringList(), preview.matches);
    EXPECT_TRUE(preview.file.isEmpty());
    EXPECT_TRUE(preview.header.isEmpty());
}

TEST_F(Preview, ShowsTheOneFileThatMatches)
{
    write("PROG_5_old.txt", fields({" ", "SP"}) + fields({"step 1", "100"}));
    const ProgramPreview preview = read();
    EXPECT_EQ(QStringList{"PROG_5_old.txt"}, preview.matches);
    EXPECT_EQ("PROG_5_old.txt", preview.file);
    EXPECT_EQ("", preview.mistake);
    EXPECT_EQ((QStringList{" ", "SP"}), preview.header);
    ASSERT_EQ(1U, preview.rows.size());
    EXPECT_EQ((QStringList{"step 1", "100"}), preview.rows[0]);
}

TEST_F(Preview, ShowsTheFirstByNameOfSeveral)
{
    write("PROG_5_b.txt", "b\n");
    write("PROG_5.txt", "plain\n");
    write("PROG_5_a.txt", "a\n");
    write("PROG_5_.txt", "none\n");
    const ProgramPreview preview = read();
    EXPECT_EQ((QStringList{"PROG_5.txt", "PROG_5_.txt", "PROG_5_a.txt", "PROG_5_b.txt"}),
              preview.matches);
    EXPECT_EQ("PROG_5.txt", preview.file);
    EXPECT_EQ(QStringList{"plain"}, preview.header);
}

TEST_F(Preview, FindsProgramsOfAllNumbers)
{
    for (const int program : {0, 1, 999}) {
        write(QString("PROG_%1.txt").arg(program), QString("header %1\n").arg(program));
        EXPECT_EQ(QStringList{QString("header %1").arg(program)}, read(program).header);
    }
}

/// Root may read everything; nobody else may.
class AsNobody
{
public:
    AsNobody() : m_user(geteuid()), m_is_nobody(m_user != 0 || seteuid(65534) == 0) {}
    ~AsNobody() { EXPECT_EQ(0, seteuid(m_user)); }
    AsNobody(const AsNobody &) = delete;
    AsNobody &operator=(const AsNobody &) = delete;

    /// False in a namespace of root alone.
    bool isNobody() const { return m_is_nobody; }

private:
    const uid_t m_user;
    const bool m_is_nobody;
};

TEST_F(Preview, SaysThatAFileCannotBeRead)
{
    write("PROG_5.txt", "header\nrow\n");
    ASSERT_EQ(0, chmod(QFile::encodeName(path("PROG_5.txt")).constData(), 0));
    ASSERT_EQ(0, chmod(QFile::encodeName(m_stick.path()).constData(), 0755));
    const AsNobody nobody;
    if (!nobody.isNobody())
        GTEST_SKIP() << "needs a user who may not read everything";
    const ProgramPreview preview = read();
    EXPECT_EQ("PROG_5.txt", preview.file);
    EXPECT_EQ("The file cannot be read.", preview.mistake);
    EXPECT_TRUE(preview.header.isEmpty());
    EXPECT_TRUE(preview.rows.empty());
}

// As the import, which would find no file otherwise where the screen offers one.
TEST_F(Preview, TakesNoLinkForAFile)
{
    write("other.txt", "header\nrow\n");
    for (const QString &target : {path("other.txt"), path("nothing"), QString("/dev/zero")}) {
        ASSERT_TRUE(QFile::link(target, path("PROG_5.txt")));
        EXPECT_TRUE(read().matches.isEmpty()) << target.toStdString();
        ASSERT_TRUE(QFile::remove(path("PROG_5.txt")));
    }
}

TEST_F(Preview, TakesNoPipeForAFile)
{
    ASSERT_EQ(0, mkfifo(QFile::encodeName(path("PROG_5.txt")).constData(), 0600));
    EXPECT_TRUE(read().matches.isEmpty());
}

TEST(ProgramFiles, AreNoneWithoutAStick)
{
    EXPECT_EQ(QStringList(), programFiles(QString(), Program));
    EXPECT_EQ(QStringList(), programFiles("/nowhere", Program));
}

TEST_F(Preview, SaysThatAFileIsEmpty)
{
    writeBytes("PROG_5.txt", QByteArray());
    EXPECT_EQ("The file is empty.", read().mistake);
    EXPECT_TRUE(read().header.isEmpty());
}

TEST_F(Preview, ReadsAFileOfTheLargestSizeAndNoLarger)
{
    QByteArray bytes = encoded(fields({" ", "SP"}) + fields({"step 1", "100"}));
    bytes += QByteArray(LargestFile - bytes.size(), '\n');
    writeBytes("PROG_5.txt", bytes);
    EXPECT_EQ("", read().mistake);
    EXPECT_EQ((QStringList{" ", "SP"}), read().header);

    writeBytes("PROG_5.txt", bytes + '\n');
    const ProgramPreview preview = read();
    EXPECT_EQ("The file is too large for a program.", preview.mistake);
    EXPECT_EQ(QStringList{"PROG_5.txt"}, preview.matches);
    EXPECT_TRUE(preview.header.isEmpty());
    EXPECT_TRUE(preview.rows.empty());
}

// ---- Contents

TEST_F(Preview, ReadsTheTextsAsTheyStandInTheFile)
{
    const QString label = QString::fromUtf8("設定溫度");
    write("PROG_5.txt", fields({" ", label, "G. SOAK  -"}) + fields({"\"a\"", "", " 7 "}));
    const ProgramPreview preview = read();
    EXPECT_EQ((QStringList{" ", label, "G. SOAK  -"}), preview.header);
    EXPECT_EQ((QStringList{"\"a\"", "", " 7 "}), preview.rows.at(0));
}

TEST_F(Preview, ReadsAHeaderAlone)
{
    write("PROG_5.txt", fields({" ", "SP"}));
    EXPECT_EQ("", read().mistake);
    EXPECT_EQ((QStringList{" ", "SP"}), read().header);
    EXPECT_TRUE(read().rows.empty());
}

TEST_F(Preview, ReadsLineEndsOfEveryKindAndPassesOverEmptyLines)
{
    write("PROG_5.txt", "a\tb\r\n1\t2\r\n\r\n\n3\t4");
    const ProgramPreview preview = read();
    EXPECT_EQ((QStringList{"a", "b"}), preview.header);
    ASSERT_EQ(2U, preview.rows.size());
    EXPECT_EQ((QStringList{"1", "2"}), preview.rows[0]);
    EXPECT_EQ((QStringList{"3", "4"}), preview.rows[1]);
}

TEST_F(Preview, BelievesTheByteOrderMark)
{
    writeBytes("PROG_5.txt", QByteArray("\xFE\xFF\0S\0P\0\n", 8));
    EXPECT_EQ(QStringList{"SP"}, read().header);
    writeBytes("PROG_5.txt", QByteArray("S\0P\0\n\0", 6));
    EXPECT_EQ(QStringList{"SP"}, read().header) << "without a mark";
}

TEST_F(Preview, ReadsAsManyStepsAndColumnsAsAProgramHas)
{
    QStringList names;
    for (int column = 0; column < 26; ++column)
        names << QString::number(column);
    QString text = fields(names);
    for (int step = 1; step <= 33; ++step)
        text += fields(QStringList(QString::number(step)) + names);
    write("PROG_5.txt", text);
    const ProgramPreview preview = read();
    EXPECT_EQ(25, preview.header.size());
    EXPECT_EQ("24", preview.header.last());
    ASSERT_EQ(32U, preview.rows.size());
    EXPECT_EQ("32", preview.rows.back().first());
    EXPECT_EQ(25, preview.rows.back().size());
}

TEST_F(Preview, CutsFieldsThatNobodyReadsToTheirEnd)
{
    write("PROG_5.txt", fields({QString(200, 'h'), QString(201, 'h')}) +
                            fields({QString(200, 'r'), QString(100000, 'r')}));
    const ProgramPreview preview = read();
    EXPECT_EQ((QStringList{QString(200, 'h'), QString(200, 'h')}), preview.header);
    EXPECT_EQ((QStringList{QString(200, 'r'), QString(200, 'r')}), preview.rows.at(0));
}

struct HostileFile {
    const char *name;
    QByteArray bytes;
};

class HostilePreview : public Preview, public testing::WithParamInterface<HostileFile>
{
};

TEST_P(HostilePreview, StaysWithinTheBoundsOfAProgram)
{
    writeBytes("PROG_5.txt", GetParam().bytes);
    const ProgramPreview preview = read();
    EXPECT_EQ("PROG_5.txt", preview.file);
    EXPECT_EQ("", preview.mistake);
    EXPECT_LE(preview.header.size(), ProgramPreview::MostColumns);
    EXPECT_LE(preview.rows.size(), size_t(ProgramPreview::MostRows));
    for (const QStringList &row : preview.rows) {
        EXPECT_LE(row.size(), ProgramPreview::MostColumns);
        for (const QString &field : row)
            EXPECT_LE(field.size(), ProgramPreview::LongestField);
    }
    EXPECT_TRUE(programSegments(preview.rows).empty());
}

INSTANTIATE_TEST_SUITE_P(
    All, HostilePreview,
    testing::Values(HostileFile{"MarkAlone", QByteArray(ByteOrderMark)},
                    HostileFile{"HalfAMark", QByteArray("\xFF")},
                    HostileFile{"OddLength", encoded("a\tb\n1\t2") + "x"},
                    HostileFile{"ZeroBytes", QByteArray(4096, '\0')},
                    HostileFile{"LoneSurrogates",
                                ByteOrderMark + QByteArray("\x00\xD8\x0A\x00\x00\xDC", 6)},
                    HostileFile{"OneLine", QByteArray(LargestFile, 'x')},
                    HostileFile{"ManyColumns", encoded(QString(LargestFile / 2 - 1, '\t'))},
                    HostileFile{"ManyLines", encoded(QString("x\n").repeated(LargestFile / 4 - 1))},
                    HostileFile{"OpenQuote", encoded("a\tb\n\"1\t2\n3\t4\n")},
                    HostileFile{"Plain", QByteArray("a\tb\tc\td\te\n1\t2\t3\t4\t5\n")}),
    [](const testing::TestParamInfo<HostileFile> &each) { return each.param.name; });

TEST_F(Preview, SurvivesEveryTruncation)
{
    const QByteArray whole = encoded(fields({" ", "SP", "h", "m", "s"}) +
                                     fields({QString::fromUtf8("程序1"), "100", "1", "2", "3"}));
    for (int length = 1; length < whole.size(); ++length) {
        writeBytes("PROG_5.txt", whole.left(length));
        const ProgramPreview preview = read();
        EXPECT_EQ("", preview.mistake) << length;
        EXPECT_LE(preview.rows.size(), 1U) << length;
    }
}

// ---- Segments

std::vector<ProgramSegment> segmentsOf(const QStringList &row)
{
    return programSegments({row});
}

TEST(ProgramSegments, HaveTheSetPointAndTheTimeInSeconds)
{
    const std::vector<ProgramSegment> segments =
        programSegments({{"1", "2500", "1", "2", "3", "9"}, {"2", "0", "0", "0", "0"}});
    ASSERT_EQ(2U, segments.size());
    EXPECT_EQ(2500.0, segments[0].setPoint);
    EXPECT_EQ(3723.0, segments[0].seconds);
    EXPECT_EQ(0.0, segments[1].setPoint);
    EXPECT_EQ(0.0, segments[1].seconds);
}

TEST(ProgramSegments, HoldTheGreatestNumbers)
{
    const QString most = "4294967295";
    const std::vector<ProgramSegment> segments = segmentsOf({"1", most, most, most, most});
    ASSERT_EQ(1U, segments.size());
    EXPECT_EQ(4294967295.0, segments[0].setPoint);
    EXPECT_EQ(4294967295.0 * 3661, segments[0].seconds);
}

TEST(ProgramSegments, AreNoneWithoutRows)
{
    EXPECT_TRUE(programSegments({}).empty());
}

TEST(ProgramSegments, EndAtTheFirstRowWithoutNumbers)
{
    const QStringList good{"1", "100", "0", "1", "0"};
    EXPECT_EQ(1U, programSegments({good, {"2", "bad", "0", "1", "0"}, good}).size());
    EXPECT_EQ(1U, programSegments({good, {"2", "100", "0", "1"}, good}).size());
    EXPECT_EQ(1U, programSegments({good, QStringList(), good}).size());
    EXPECT_EQ(3U, programSegments({good, good, good}).size());
}

TEST(ProgramSegments, TakeOnlyWhatAnImportTakes)
{
    for (const char *const text : {"", " ", "-1", "+7", " 7", "7 ", "1.5", "1e2", "0x10", "1,000",
                                   "4294967296", "99999999999999999999", "\xD9\xA3"}) {
        for (int field = 1; field <= 4; ++field) {
            QStringList row{"1", "100", "0", "1", "0"};
            row[field] = QString::fromUtf8(text);
            EXPECT_TRUE(segmentsOf(row).empty()) << '"' << text << "\" in field " << field;
        }
    }
}

TEST(ProgramSegments, DoNotAskForTheOtherFields)
{
    EXPECT_EQ(1U, segmentsOf({"", "100", "0", "1", "0", "bad", ""}).size());
    EXPECT_EQ(1U, segmentsOf({"007", "0100", "00", "01", "00"}).size());
}

} // namespace
