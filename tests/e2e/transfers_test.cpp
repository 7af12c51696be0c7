// Programs between a simulated controller and a stick, by the tags of the loaded plug-in.

#include "tests/e2e/plugged_in.h"

#include "common/messagecenter.h"
#include "common/zdevice.h"
#include "tests/support/private_mounts.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QTextCodec>
#include <QTimer>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <iterator>
#include <map>
#include <thread>

namespace
{

using testing::AnyOf;
using testing::HasSubstr;

const int Steps = 32;
const int ValuesPerStep = 24;
const int Program = 5;
const int LineBaud = 38400;
const int ShownForMs = 2000; // how long a screen sees the end of a transfer

quint32 stepAddress(int step)
{
    return 0x1000U + 0x20U * static_cast<quint32>(step - 1);
}

QStringList programTags()
{
    QStringList tags;
    for (int step = 1; step <= Steps; ++step) {
        for (quint32 i = 0; i < ValuesPerStep; ++i)
            tags << QString("NA%1").arg(stepAddress(step) + i, 0, 16).toUpper();
    }
    return tags;
}

const char *enableOf(bool import)
{
    return import ? "VVT_ENABLE0" : "VVT_ENABLE1";
}

class PluggedTransfer : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!privateMountsFault().empty())
            GTEST_SKIP() << "needs a stick of its own: " << privateMountsFault();
    }

    enum class Polling { On, Off };

    /// Mounts a stick and starts everything; the storage monitor finds what is mounted by then.
    void plugIn(Polling polling = Polling::On, const std::string &options = "size=1m", int baud = 0)
    {
        stick.reset(new MountedVolume("/dev/sda1", "/media/usb0", options));
        begin(polling, baud);
    }

    void begin(Polling polling = Polling::On, int baud = 0)
    {
        ZDevice::getInstance();
        panel.reset(MessageCenter::initInstance(QSize(400, 300), QSize(400, 100), 0,
                                                QRect(0, 400, 400, 40),
                                                static_cast<int>(0xFF203040)));
        line.reset(new PluggedIn(programTags(), baud));
        if (polling == Polling::On)
            line->announce(PluggedIn::SoundStation);
    }

    ~PluggedTransfer() override
    {
        line.reset();
        panel.reset();
        ZDevice::dropInstance();
    }

    void request(bool import, int steps = Steps)
    {
        line->writeTag("VVT_PROG_ID0", Program);
        line->writeTag("VVT_PROG_COUNT0", steps);
        line->writeTag(enableOf(import), 1);
    }

    /// Waits as a screen does until a transfer runs, and then until it is over.
    void waitFor(bool import)
    {
        EXPECT_TRUE(comesTrue([this, import] { return line->readTag(enableOf(import)) == 1; }));
        EXPECT_TRUE(comesTrue([this, import] { return line->readTag(enableOf(import)) == 0; }));
    }

    void transfer(bool import, int steps = Steps)
    {
        request(import, steps);
        waitFor(import);
    }

    int errorOf(bool import) { return line->readTag(import ? "VVT_ERROR0" : "VVT_ERROR1"); }

    /// The line must go on whatever became of the transfer.
    void expectPolling()
    {
        const quint32 generation = ++m_generation;
        line->setGeneration(PluggedIn::SoundStation, generation);
        EXPECT_TRUE(comesTrue([this, generation] {
            quint32 value = 0;
            return line->read(PluggedIn::SoundStation, PluggedIn::FirstWord, &value) &&
                   value ==
                       PluggedIn::value(PluggedIn::SoundStation, PluggedIn::FirstWord, generation);
        }));
    }

    QString path(const char *name) const
    {
        return QString::fromStdString(stick->point()) + "/" + name;
    }

    QByteArray content(const char *name) const
    {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
        return file.readAll();
    }

    QStringList lines(const char *name) const
    {
        const QByteArray bytes = content(name);
        EXPECT_EQ("fffe", bytes.left(2).toHex());
        return QTextCodec::codecForName("UTF-16LE")->toUnicode(bytes.mid(2)).split('\n');
    }

    /// What the panel shows.
    std::string shown()
    {
        QApplication::processEvents();
        std::string text;
        for (const QLabel *label : panel->findChildren<QLabel *>("label_msg"))
            text += label->text().toStdString() + "\n";
        return text;
    }

    std::unique_ptr<MountedVolume> stick;
    std::unique_ptr<MessageCenter> panel;
    std::unique_ptr<PluggedIn> line;

private:
    quint32 m_generation = 0;
};

TEST_F(PluggedTransfer, TakesAProgramToTheStickAndBack)
{
    plugIn();
    transfer(false);
    EXPECT_EQ(0, errorOf(false));
    const QStringList rows = lines("PROG_5.txt");
    ASSERT_EQ(Steps + 2, rows.size())
        << "a header, the steps, and nothing behind the last line end";
    std::map<quint32, quint32> program;
    for (int step = 1; step <= Steps; ++step) {
        const QStringList fields = rows.at(step).split('\t');
        ASSERT_EQ(25, fields.size());
        EXPECT_EQ(QString::fromUtf8("程序%1").arg(step), fields.first());
        for (int i = 0; i < ValuesPerStep; ++i) {
            const quint32 address = stepAddress(step) + static_cast<quint32>(i);
            program[address] = line->simulator().word(PluggedIn::SoundStation, address);
            EXPECT_EQ(QString::number(program[address]), fields.at(i + 1));
        }
    }
    expectPolling();

    for (const auto &word : program)
        line->simulator().setWord(PluggedIn::SoundStation, word.first, 0);
    transfer(true);
    EXPECT_EQ(0, errorOf(true));
    for (const auto &word : program) {
        EXPECT_EQ(word.second & 0xFF00FFFFU,
                  line->simulator().word(PluggedIn::SoundStation, word.first))
            << word.first;
    }
    expectPolling();
    EXPECT_EQ("", shown());
}

TEST_F(PluggedTransfer, ShowsProgressAndItsEnd)
{
    plugIn();
    request(false);
    std::vector<int> progress;
    EXPECT_TRUE(comesTrue([this, &progress] {
        progress.push_back(line->readTag("VVT_PROGRESS1"));
        return progress.back() == 100;
    }));
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_LE(5, std::distance(progress.begin(), std::unique(progress.begin(), progress.end())));
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(1, line->readTag("VVT_ENABLE1"));
    EXPECT_TRUE(comesTrue([this] { return line->readTag("VVT_ENABLE1") == 0; }));
    EXPECT_LE(ShownForMs - 300, timer.elapsed());
    EXPECT_EQ(0, line->readTag("VVT_PROGRESS1"));
}

TEST_F(PluggedTransfer, WithoutAStickTellsTheOperator)
{
    begin();
    for (const bool import : {false, true}) {
        transfer(import);
        EXPECT_EQ(0, errorOf(import));
    }
    EXPECT_EQ("DMC50\nThe system can't not detect the USB Stick.\n", shown());
    expectPolling();
}

// ---- A stick that is pulled ----------------------------------------------------------------

// At the line's real pace: the storage monitor notices the pulling of the early ones before the
// program is to be saved, that of the late ones afterwards.
class PulledStick : public PluggedTransfer, public testing::WithParamInterface<int>
{
};

TEST_P(PulledStick, IsSaidSetsTheFlagAndLeavesTheLineRunning)
{
    plugIn(Polling::On, "size=1m", LineBaud);
    request(false);
    int progress = 0;
    ASSERT_TRUE(comesTrue([this, &progress] {
        progress = line->readTag("VVT_PROGRESS1");
        return line->readTag("VVT_ENABLE1") == 1 && progress >= GetParam();
    }));
    ASSERT_LT(progress, 100) << "not in the middle";
    stick->pull();
    EXPECT_TRUE(comesTrue([this] { return line->readTag("VVT_ENABLE1") == 0; }));
    EXPECT_EQ(1, errorOf(false));
    const QString message = QString::fromStdString(shown()).trimmed().replace("\n", ": ");
    EXPECT_THAT(message.toStdString(), AnyOf("DMC50: The system can't not detect the USB Stick.",
                                             "DMC50: File cannot be opened."));
    EXPECT_FALSE(QFileInfo(path("PROG_5.txt")).exists());
    QElapsedTimer timer;
    timer.start();
    expectPolling();
    std::cout << "pulled at " << progress << " %: \"" << message.toStdString()
              << "\", VVT_ERROR1 = " << errorOf(false) << ", a new value after " << timer.elapsed()
              << " ms\n";
    line->writeTag("VVT_ERROR1", 0);
    EXPECT_EQ(0, errorOf(false));
}

INSTANTIATE_TEST_SUITE_P(AtPercent, PulledStick,
                         testing::Values(0, 3, 12, 25, 37, 50, 62, 75, 87, 93));

TEST_F(PluggedTransfer, ToAStickThatWasPulledBeforeTellsTheOperator)
{
    plugIn();
    stick->pull();
    EXPECT_TRUE(comesTrue([] { return ZDevice::getInstance()->getMount(DeviceUsb).isEmpty(); }));
    transfer(false);
    EXPECT_EQ("DMC50\nThe system can't not detect the USB Stick.\n", shown());
    expectPolling();
}

TEST_F(PluggedTransfer, ThatIsDoneSurvivesThePullingOfTheStick)
{
    plugIn();
    request(false);
    EXPECT_TRUE(comesTrue([this] { return line->readTag("VVT_PROGRESS1") == 100; }));
    stick->pull();
    EXPECT_TRUE(comesTrue([this] { return line->readTag("VVT_ENABLE1") == 0; }));
    EXPECT_EQ(0, errorOf(false));
    expectPolling();
}

TEST_F(PluggedTransfer, ReadsItsFileBeforeTheStickIsPulled)
{
    plugIn();
    transfer(false, 4);
    request(true, 4);
    EXPECT_TRUE(comesTrue([this] { return line->readTag("VVT_PROGRESS0") == 100; }));
    stick->pull();
    EXPECT_TRUE(comesTrue([this] { return line->readTag("VVT_ENABLE0") == 0; }));
    EXPECT_EQ(0, errorOf(true));
    expectPolling();
}

// ---- Other faults of the stick ----------------------------------------------------------------

TEST_F(PluggedTransfer, ToAReadOnlyStickSetsTheFlag)
{
    plugIn();
    stick->setReadOnly(true);
    request(false, 2);
    EXPECT_TRUE(comesTrue([this] { return errorOf(false) == 1; }));
    EXPECT_FALSE(QFileInfo(path("PROG_5.txt")).exists());
    expectPolling();
}

TEST_F(PluggedTransfer, ToAFullStickEnds)
{
    plugIn(Polling::On, "size=4k");
    QFile filler(path("filler"));
    ASSERT_TRUE(filler.open(QIODevice::WriteOnly));
    filler.write(QByteArray(4096, 'x'));
    filler.close();
    transfer(false, 2);
    EXPECT_EQ(0, QFileInfo(path("PROG_5.txt")).size());
    expectPolling();
}

// ---- Faults of the line -------------------------------------------------------------------------

class SilentController : public PluggedTransfer, public testing::WithParamInterface<int>
{
};

// Its time-out is 3 seconds: the step does not come, but it is not late either.
TEST_P(SilentController, CostsTheStepThatItDoesNotAnswer)
{
    const int lost = GetParam();
    plugIn(Polling::Off);
    line->addFault("drop:station=1:count=1:every=" + std::to_string(lost));
    transfer(false, 4);
    QStringList labels;
    for (const QString &row : lines("PROG_5.txt").mid(1))
        labels << row.section('\t', 0, 0);
    QStringList expected;
    for (int step = 1; step <= 4; ++step) {
        if (step != lost)
            expected << QString::fromUtf8("程序%1").arg(step);
    }
    EXPECT_EQ(expected << "", labels);
    EXPECT_EQ(0, errorOf(false));
    line->announce(PluggedIn::SoundStation);
    expectPolling();
}

INSTANTIATE_TEST_SUITE_P(AtStep, SilentController, testing::Values(1, 2, 4));

TEST_F(PluggedTransfer, FailsWhenTheControllerTakesNoWrites)
{
    plugIn();
    transfer(false);
    request(true);
    EXPECT_TRUE(comesTrue([this] { return line->readTag("WRITE_QUE_SIZE0") != 0; }));
    // The polling fails as well, and while its error stands nothing is sent.
    line->addFault("drop:station=1");
    EXPECT_TRUE(comesTrue([this] { return line->readTag("VVT_ENABLE0") == 0; }, 60000));
    EXPECT_EQ(1, errorOf(true));
    EXPECT_EQ("Writing Data Fail,No Response in communication.",
              content("WRITE_PROG_5_ERROR.txt").toStdString());
    line->simulator().clearFaults();
    expectPolling();
}

// ---- Faults of the file -------------------------------------------------------------------------

TEST_F(PluggedTransfer, OfBadValuesWritesNothingAndLogsThemAll)
{
    plugIn();
    transfer(false, 3);
    QStringList rows = lines("PROG_5.txt");
    for (int step = 1; step <= 3; ++step) {
        QStringList fields = rows.at(step).split('\t');
        fields[step] = "bad";
        rows[step] = fields.join("\t");
    }
    QFile file(path("PROG_5.txt"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QTextCodec::codecForName("UTF-16LE")->fromUnicode(QChar(0xFEFF) + rows.join("\n")));
    file.close();
    transfer(true, 3);
    EXPECT_EQ(1, errorOf(true));
    EXPECT_EQ("The value [bad] at row 0 and column 1 is invalid, please check it.\n\n"
              "The value [bad] at row 1 and column 2 is invalid, please check it.\n\n"
              "The value [bad] at row 2 and column 3 is invalid, please check it.\n",
              content("WRITE_PROG_5_ERROR.txt").toStdString());
    expectPolling();
}

TEST_F(PluggedTransfer, AsksWhichOfTwoFilesIsMeant)
{
    plugIn();
    transfer(false, 2);
    ASSERT_TRUE(QFile::copy(path("PROG_5.txt"), path("PROG_5_old.txt")));
    int asked = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&asked] {
        if (QWidget *const dialog = QApplication::activeModalWidget()) {
            ++asked;
            dialog->close();
        }
    });
    timer.start(10);
    request(true, 2);
    EXPECT_TRUE(comesTrue([this] {
        QApplication::processEvents();
        return line->readTag("VVT_PROGRESS0") == 100;
    }));
    EXPECT_EQ(1, asked);
    EXPECT_EQ(0, errorOf(true));
}

// ---- Several requests ---------------------------------------------------------------------------

TEST_F(PluggedTransfer, IsNotDisturbedByFurtherRequests)
{
    plugIn();
    request(false, 16);
    for (int i = 0; i < 20; ++i) {
        line->writeTag("VVT_ENABLE1", 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    waitFor(false);
    EXPECT_EQ(16 + 2, lines("PROG_5.txt").size());
    EXPECT_EQ(0, errorOf(false));
}

TEST_F(PluggedTransfer, OfBothKindsGoOneAfterTheOther)
{
    plugIn();
    request(false, 8);
    request(true, 8);
    EXPECT_TRUE(comesTrue([this] { return line->readTag("VVT_ENABLE0") == 1; }));
    EXPECT_TRUE(comesTrue(
        [this] { return line->readTag("VVT_ENABLE0") == 0 && line->readTag("VVT_ENABLE1") == 0; }));
    EXPECT_EQ(0, errorOf(false));
    EXPECT_EQ(0, errorOf(true)) << "the import found the export's file";
    expectPolling();
}

// ---- The end ------------------------------------------------------------------------------------

class PluggedEnd : public PluggedTransfer, public testing::WithParamInterface<int>
{
};

TEST_P(PluggedEnd, MayComeDuringATransfer)
{
    plugIn();
    for (const bool import : {false, true}) {
        request(import);
        std::this_thread::sleep_for(std::chrono::milliseconds(GetParam()));
        QElapsedTimer timer;
        timer.start();
        line->destroyDriver();
        EXPECT_GT(4000, timer.elapsed()) << "a request's time-out, and a second";
        line.reset();
        line.reset(new PluggedIn(programTags()));
    }
}

INSTANTIATE_TEST_SUITE_P(After, PluggedEnd, testing::Values(0, 20, 100, 300, 700, 1500));

} // namespace
