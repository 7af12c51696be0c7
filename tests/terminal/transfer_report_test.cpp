#include "terminal/transfer_report.h"

#include <cstdio>
#include <memory>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextCodec>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/messagecenter.h"
#include "tests/support/fake_clock.h"

namespace
{

const QSize PanelSize(400, 300);

TransferViews views(TransferKind kind, bool running, int percent, bool failed = false)
{
    TransferViews all;
    all.of(kind).running = running;
    all.of(kind).percent = percent;
    all.of(kind).failed = failed;
    return all;
}

TransferRequest requestOf(TransferKind kind, int program)
{
    TransferRequest request;
    request.kind = kind;
    request.program = program;
    request.steps = 32;
    request.station = 1;
    return request;
}

class TransferOutput : public testing::Test
{
protected:
    TransferOutput() : m_file(std::tmpfile()) {}
    ~TransferOutput() override { std::fclose(m_file); }

    void begin(TransferKind kind = TransferKind::Export,
               TerminalOptions::Format format = TerminalOptions::Table,
               const QString &stick = QString(), int program = 5)
    {
        m_kind = kind;
        m_report.reset(new TransferReport(requestOf(kind, program), format, stick, m_file,
                                          [this] { return m_clock.msecsSinceBoot(); }));
        plug();
    }
    void plug()
    {
        StorageState state;
        state.mounted = true;
        state.path = m_stick.path();
        m_report->storage(StorageKind::UsbStick, state);
    }

    void show(bool running, int percent, bool failed = false)
    {
        m_report->transfers(views(m_kind, running, percent, failed));
    }
    void succeed()
    {
        show(true, 100);
        show(false, 0);
    }
    /// As the tags show it when the transfer set its error.
    void fail()
    {
        show(true, 10);
        show(false, 0, true);
    }
    /// As the tags show it when there was no stick.
    void failWithoutAnError()
    {
        show(true, 0);
        show(false, 0);
    }

    void writeLog(const QString &name, const QByteArray &text)
    {
        QFile file(QDir(m_stick.path()).filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(text.size(), file.write(text));
    }

    std::string endWith(const QString &lastError = QString())
    {
        SessionSummary summary;
        summary.lastError = lastError;
        m_report->end(summary);
        return lines().last().toStdString();
    }

    QStringList lines()
    {
        std::rewind(m_file);
        QByteArray text(1000000, '\0');
        text.resize(
            static_cast<int>(std::fread(text.data(), 1, static_cast<size_t>(text.size()), m_file)));
        EXPECT_TRUE(text.isEmpty() || text.endsWith('\n'));
        text.chop(1);
        return text.isEmpty() ? QStringList() : QString::fromUtf8(text).split('\n');
    }

    const QTemporaryDir m_stick;
    FILE *const m_file;
    FakeClock m_clock;
    TransferKind m_kind = TransferKind::Export;
    std::unique_ptr<TransferReport> m_report;
};

// ---- The end

TEST_F(TransferOutput, IsOverWhenTheTransferHasShownAllAndEnded)
{
    begin();
    EXPECT_FALSE(m_report->isOver());
    show(true, 99);
    show(true, 100);
    EXPECT_FALSE(m_report->isOver());
    EXPECT_FALSE(m_report->hasSucceeded());
    show(false, 0);
    EXPECT_TRUE(m_report->isOver());
    EXPECT_TRUE(m_report->hasSucceeded());
    EXPECT_EQ("export of program 5 done", endWith());
}

TEST_F(TransferOutput, CallsAnImportAndATemplateByTheirNames)
{
    begin(TransferKind::Import, TerminalOptions::Table, QString(), -1);
    succeed();
    EXPECT_EQ("import of program -1 done", endWith());
}

TEST_F(TransferOutput, FollowsItsOwnTransferOnly)
{
    begin(TransferKind::Import);
    m_report->transfers(views(TransferKind::Export, true, 100));
    m_report->transfers(views(TransferKind::Export, false, 0));
    m_report->transfers(views(TransferKind::Export, false, 0, true));
    EXPECT_FALSE(m_report->isOver());
}

TEST_F(TransferOutput, FailsWithTheErrorTag)
{
    begin();
    show(true, 100);
    show(false, 0, true);
    EXPECT_TRUE(m_report->isOver());
    EXPECT_FALSE(m_report->hasSucceeded());
    EXPECT_EQ("export of program 5 failed: the driver gave no reason", endWith());
}

TEST_F(TransferOutput, FailsWhenNothingBegins)
{
    begin();
    m_clock.advance(TransferWatch::BeginWithinMs);
    show(false, 0);
    EXPECT_FALSE(m_report->isOver());
    m_clock.advance(1);
    show(false, 0);
    EXPECT_TRUE(m_report->isOver());
    EXPECT_EQ("export of program 5 failed: read station id#1:DMC50 no response",
              endWith("read station id#1:DMC50 no response"));
}

TEST_F(TransferOutput, SaysThatATransferWasGivenUp)
{
    begin();
    show(true, 40);
    EXPECT_EQ("export of program 5 given up", endWith("any error"));
    EXPECT_FALSE(m_report->hasSucceeded());
}

TEST_F(TransferOutput, HasAClockOfItsOwn)
{
    TransferReport report(requestOf(TransferKind::Export, 5), TerminalOptions::Table, QString(),
                          m_file);
    report.transfers(TransferViews());
    EXPECT_FALSE(report.isOver());
}

// ---- The reason

TEST_F(TransferOutput, ShowsTheLogThatTheTransferLeft)
{
    writeLog("READ_PROG_5_ERROR.txt", "first\nsecond\n");
    begin();
    fail();
    endWith("the line's error");
    const QStringList all = lines();
    ASSERT_EQ(3, all.size());
    EXPECT_EQ(
        QString("export of program 5 failed: see %1/READ_PROG_5_ERROR.txt").arg(m_stick.path()),
        all[0]);
    EXPECT_EQ("first", all[1]);
    EXPECT_EQ("second", all[2]);
}

TEST_F(TransferOutput, CallsTheStickAsTheUserDoes)
{
    writeLog("WRITE_PROG_5_ERROR.txt", "bad value");
    begin(TransferKind::Import, TerminalOptions::Table, "my stick");
    fail();
    EXPECT_EQ("bad value", endWith());
    EXPECT_EQ("import of program 5 failed: see my stick/WRITE_PROG_5_ERROR.txt", lines().at(0));
}

TEST_F(TransferOutput, TakesNoOtherLogForItsOwn)
{
    writeLog("WRITE_PROG_5_ERROR.txt", "of an import");
    writeLog("READ_PROG_6_ERROR.txt", "of another program");
    begin();
    fail();
    EXPECT_EQ("export of program 5 failed: the line's error", endWith("the line's error"));
}

TEST_F(TransferOutput, TakesNoEarlierTransfersLogForItsOwn)
{
    writeLog("READ_PROG_5_ERROR.txt", "of last week");
    begin();
    failWithoutAnError();
    EXPECT_EQ("export of program 5 failed: the driver gave no reason", endWith());
}

TEST_F(TransferOutput, LooksForTheLogWhereTheStickWasSeenLast)
{
    writeLog("READ_PROG_5_ERROR.txt", "timeout");
    begin();
    m_report->storage(StorageKind::UsbStick, StorageState());
    StorageState card;
    card.mounted = true;
    card.path = "/no/stick";
    m_report->storage(StorageKind::SdCard, card);
    fail();
    EXPECT_EQ("timeout", endWith());
}

TEST_F(TransferOutput, PrintsNoLogWithoutEnd)
{
    writeLog("READ_PROG_5_ERROR.txt", QByteArray(200000, 'x'));
    begin();
    fail();
    EXPECT_EQ(65536U, endWith().size());
}

// Whatever the terminal's own encoding is.
TEST_F(TransferOutput, ReadsTheLogInTheEncodingOfTheTransfer)
{
    QTextCodec *const before = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    const QByteArray text = "The value [\u7a0b] at row 0";
    writeLog("READ_PROG_5_ERROR.txt", text);
    begin();
    fail();
    EXPECT_EQ(text.toStdString(), endWith());
    QTextCodec::setCodecForLocale(before);
}

TEST_F(TransferOutput, LetsNoLogSteerTheTerminal)
{
    writeLog("READ_PROG_5_ERROR.txt", "The value [\x1B]0;title\x07\r\x7F\xC2\x9B] at row 0\nnext");
    begin();
    fail();
    endWith();
    EXPECT_EQ("The value [\uFFFD]0;title\uFFFD\uFFFD\uFFFD\uFFFD] at row 0",
              lines().at(1).toStdString());
    EXPECT_EQ("next", lines().at(2).toStdString());
}

TEST_F(TransferOutput, ReadsNoPipeOrLinkInPlaceOfTheLog)
{
    const QByteArray log =
        QFile::encodeName(QDir(m_stick.path()).filePath("READ_PROG_5_ERROR.txt"));
    ASSERT_EQ(0, mkfifo(log.constData(), 0600));
    begin();
    fail();
    EXPECT_EQ("export of program 5 failed: the line's error", endWith("the line's error"));
    ASSERT_EQ(0, unlink(log.constData()));
    ASSERT_EQ(0, symlink("/proc/self/cmdline", log.constData()));
    EXPECT_EQ("export of program 5 failed: the line's error", endWith("the line's error"));
}

TEST_F(TransferOutput, PrefersWhatTheMessagePanelSays)
{
    const std::unique_ptr<MessageCenter> panel(
        MessageCenter::initInstance(PanelSize, PanelSize, 0, QRect(), 0));
    writeLog("READ_PROG_5_ERROR.txt", "the log");
    begin();
    fail();
    EXPECT_EQ("the log", endWith()) << "a panel without messages";

    panel->showMessageAsync("DMC50", "an older message", true);
    panel->showMessageAsync("DMC50", "The system can't not detect\nthe USB Stick.", true);
    EXPECT_EQ("export of program 5 failed: The system can't not detect the USB Stick.", endWith());
}

TEST_F(TransferOutput, SaysNothingOfMessagesWhenAllWentWell)
{
    const std::unique_ptr<MessageCenter> panel(
        MessageCenter::initInstance(PanelSize, PanelSize, 0, QRect(), 0));
    panel->showMessageAsync("DMC50", "a message", true);
    begin();
    succeed();
    EXPECT_EQ("export of program 5 done", endWith());
}

// ---- Progress

TEST_F(TransferOutput, PrintsNoBarIntoAFile)
{
    begin();
    show(true, 10);
    show(true, 60);
    succeed();
    endWith();
    EXPECT_EQ(QStringList{"export of program 5 done"}, lines());
}

TEST_F(TransferOutput, PrintsNoTags)
{
    begin();
    m_report->round(std::vector<TagView>(3), SessionSummary());
    EXPECT_EQ(QStringList(), lines());
}

QJsonObject transferOf(const QString &line)
{
    QJsonParseError error;
    const QJsonObject object = QJsonDocument::fromJson(line.toUtf8(), &error).object();
    EXPECT_EQ(QJsonParseError::NoError, error.error) << line.toStdString();
    EXPECT_TRUE(object["time"].toString().endsWith('Z')) << line.toStdString();
    return object["transfer"].toObject();
}

TEST_F(TransferOutput, InJsonIsAnObjectForEachChange)
{
    begin(TransferKind::Export, TerminalOptions::Json);
    show(false, 0);
    show(true, 0);
    show(true, 0);
    show(true, 50);
    succeed();
    endWith();
    const QStringList all = lines();
    const std::vector<std::pair<const char *, int>> expected = {
        {"running", 0}, {"running", 50}, {"running", 100}, {"done", 100}, {"done", 100}};
    ASSERT_EQ(static_cast<int>(expected.size()), all.size());
    for (int i = 0; i < all.size(); ++i) {
        const QJsonObject transfer = transferOf(all[i]);
        EXPECT_EQ("export", transfer["kind"].toString());
        EXPECT_EQ(5, transfer["program"].toInt());
        EXPECT_EQ(32, transfer["steps"].toInt());
        EXPECT_EQ(expected[static_cast<size_t>(i)].first, transfer["state"].toString()) << i;
        EXPECT_EQ(expected[static_cast<size_t>(i)].second, transfer["percent"].toInt()) << i;
        EXPECT_EQ(i == all.size() - 1, transfer.contains("message")) << i;
    }
    EXPECT_EQ("export of program 5 done", transferOf(all.last())["message"].toString());
}

TEST_F(TransferOutput, InJsonHoldsTheWholeReason)
{
    writeLog("WRITE_PROG_5_ERROR.txt", "a \"value\"\nanother");
    begin(TransferKind::Import, TerminalOptions::Json, "stick");
    fail();
    endWith();
    const QJsonObject last = transferOf(lines().last());
    EXPECT_EQ("import", last["kind"].toString());
    EXPECT_EQ("failed", last["state"].toString());
    EXPECT_EQ("import of program 5 failed: see stick/WRITE_PROG_5_ERROR.txt\na \"value\"\nanother",
              last["message"].toString());
}

TEST_F(TransferOutput, InJsonTellsOfATransferThatNeverBegan)
{
    begin(TransferKind::Export, TerminalOptions::Json);
    endWith();
    EXPECT_EQ("waiting", transferOf(lines().last())["state"].toString());
    EXPECT_EQ("export of program 5 given up", transferOf(lines().last())["message"].toString());
}

/// A terminal that remembers what is written to it.
class Screen
{
public:
    Screen() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)), m_out(nullptr)
    {
        if (m_master >= 0 && grantpt(m_master) == 0 && unlockpt(m_master) == 0)
            m_out = std::fopen(ptsname(m_master), "we");
    }
    ~Screen()
    {
        if (m_out != nullptr)
            std::fclose(m_out);
        close(m_master);
    }
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    FILE *out() { return m_out; }

    /// What has come since the last call.
    QByteArray text() const
    {
        QByteArray all;
        struct pollfd ready = {m_master, POLLIN, 0};
        while (poll(&ready, 1, 0) > 0 && (ready.revents & POLLIN) != 0) {
            char bytes[256];
            const ssize_t count = read(m_master, bytes, sizeof bytes);
            if (count <= 0)
                break;
            all.append(bytes, static_cast<int>(count));
        }
        return all;
    }

private:
    const int m_master;
    FILE *m_out;
};

TEST(TransferBar, IsRedrawnInPlaceOnATerminal)
{
    Screen screen;
    ASSERT_NE(nullptr, screen.out());
    TransferReport report(requestOf(TransferKind::Export, 5), TerminalOptions::Table, QString(),
                          screen.out());
    report.transfers(views(TransferKind::Export, true, 0));
    EXPECT_EQ("\rexport of program 5 [" + QByteArray(32, '-') + "]   0 %", screen.text());
    report.transfers(views(TransferKind::Export, true, 0));
    EXPECT_EQ("", screen.text()) << "nothing has changed";
    report.transfers(views(TransferKind::Export, true, 50));
    EXPECT_EQ("\rexport of program 5 [" + QByteArray(16, '#') + QByteArray(16, '-') + "]  50 %",
              screen.text());
    report.transfers(views(TransferKind::Export, true, 100));
    EXPECT_EQ("\rexport of program 5 [" + QByteArray(32, '#') + "] 100 %", screen.text());
    report.transfers(TransferViews());
    screen.text();
    report.end(SessionSummary());
    EXPECT_EQ("\rexport of program 5 [" + QByteArray(32, '#') +
                  "] 100 %\r\nexport of program 5 done\r\n",
              screen.text());
}

} // namespace
