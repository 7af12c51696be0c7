// The import asks the operator which of several files is meant.

#include "tests/recipe/open_dialog.h"
#include "tests/recipe/transfer_fixture.h"

#include "recipe/dialogwrapper.h"
#include "tests/support/eventually.h"

#include <thread>

namespace
{

using testing::ElementsAre;

class Question : public TransferTest
{
protected:
    /// Two files: the first one's rows begin with 1000, the other one's with 1000 too, but it has
    /// one row more.
    void SetUp() override
    {
        TransferTest::SetUp();
        if (IsSkipped())
            return;
        plugIn();
        ::write(onStick("PROG_5.txt"), programFile(1));
        ::write(onStick("PROG_5_old.txt"), programFile(2));
        clock.onSleep = [this](ulong) {
            if (exporter->writingToDMC50Enable())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        };
        start();
    }

    /// Imports program 5 and lets the operator act when he is asked.
    void askAnd(const std::function<void(ambiguousFilesSelectDialog *)> &operates)
    {
        WhenDialogOpens opens(operates);
        choose(5, 2);
        requestImport();
        std::atomic<bool> done(false);
        QMetaObject::invokeMethod(
            exporter, [&done] { done = true; }, Qt::QueuedConnection);
        EXPECT_TRUE(runUntil([&done] { return done.load(); }));
        EXPECT_EQ(1, opens.opened());
        EXPECT_EQ(nullptr, openDialog());
    }

    /// Which file the controller has.
    bool hasFirst() { return !hasSecond() && controllers.word(1, 0x1000) == 1000; }
    bool hasSecond() { return controllers.word(1, 0x1020) == 2000; }
};

TEST_F(Question, ShowsAllFilesInTheOrderOfTheirNames)
{
    ::write(onStick("PROG_5_a.txt"), programFile(1));
    ::write(onStick("PROG_5_.txt"), programFile(1));
    ::write(onStick("PROG_6.txt"), programFile(1));
    QStringList shown;
    QString highlighted;
    askAnd([&shown, &highlighted](ambiguousFilesSelectDialog *dialog) {
        for (int i = 0; i < listOf(dialog)->count(); ++i)
            shown << listOf(dialog)->item(i)->text();
        highlighted = dialog->getFileName();
        touchOk(dialog);
    });
    const QString folder = QString::fromStdString(stick->point());
    EXPECT_EQ(QStringList({folder + "/PROG_5.txt", folder + "/PROG_5_.txt",
                           folder + "/PROG_5_a.txt", folder + "/PROG_5_old.txt"}),
              shown);
    EXPECT_EQ(folder + "/PROG_5.txt", highlighted);
}

TEST_F(Question, TakesTheHighlightedFile)
{
    askAnd(touchOk);
    EXPECT_TRUE(eventually([this] { return hasFirst(); }));
    EXPECT_EQ(0, exporter->writingToDMC50Error());
}

TEST_F(Question, TakesTheTouchedFile)
{
    askAnd([](ambiguousFilesSelectDialog *dialog) {
        touchRow(dialog, 1);
        touchOk(dialog);
    });
    EXPECT_TRUE(eventually([this] { return hasSecond(); }));
}

TEST_F(Question, ThatIsClosedTakesTheHighlightedFileAllTheSame)
{
    askAnd([](ambiguousFilesSelectDialog *dialog) {
        touchRow(dialog, 1);
        dialog->close();
    });
    EXPECT_TRUE(eventually([this] { return hasSecond(); }));
}

TEST_F(Question, ThatIsLeftWithTheEscapeKeyTakesTheHighlightedFileToo)
{
    askAnd([](ambiguousFilesSelectDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); });
    EXPECT_TRUE(eventually([this] { return hasFirst(); }));
}

TEST_F(Question, WithoutAHighlightFindsNoFile)
{
    askAnd([](ambiguousFilesSelectDialog *dialog) {
        listOf(dialog)->clearSelection();
        touchOk(dialog);
    });
    EXPECT_EQ("The file name is empty.", contentOf(onStick("WRITE_PROG_5_ERROR.txt")));
}

TEST_F(Question, LeavesTheTagsAnswering)
{
    QByteArray enabled;
    askAnd([this, &enabled](ambiguousFilesSelectDialog *dialog) {
        enabled = readTag("VVT_ENABLE0");
        requestImport(); // is dropped
        touchOk(dialog);
    });
    EXPECT_EQ(QByteArray(1, '\1'), enabled);
}

TEST_F(Question, OfFilesThatGoMeanwhileEndsInTheLog)
{
    askAnd([this](ambiguousFilesSelectDialog *dialog) {
        QFile::remove(QString::fromStdString(onStick("PROG_5.txt")));
        touchOk(dialog);
    });
    EXPECT_TRUE(exists(onStick("WRITE_PROG_5_ERROR.txt")));
    EXPECT_EQ(1, exporter->writingToDMC50Error());
}

TEST_F(Question, MayBeAskedAgain)
{
    askAnd(touchOk);
    askAnd([](ambiguousFilesSelectDialog *dialog) {
        touchRow(dialog, 1);
        touchOk(dialog);
    });
    EXPECT_TRUE(eventually([this] { return hasSecond(); }));
}

// ---- The wrapper -------------------------------------------------------------------------------

TEST(DialogWrapper, ShowsNothingOnceItIsClosed)
{
    dialogWrapper wrapper;
    wrapper.closeDialog();
    wrapper.showDialogSlot({"a", "b"});
    EXPECT_EQ("", wrapper.getSelectedFileName());
}

TEST(DialogWrapper, IsClosedFromOutside)
{
    dialogWrapper wrapper;
    WhenDialogOpens opens([&wrapper](ambiguousFilesSelectDialog *) {
        EXPECT_FALSE(wrapper.withdraw()) << "it is on the screen";
        wrapper.closeDialog();
    });
    wrapper.showDialogSlot({"a", "b"});
    EXPECT_EQ(1, opens.opened());
    EXPECT_EQ("a", wrapper.getSelectedFileName());
}

// The thread that would show the dialog takes the question back instead.
TEST(DialogWrapper, IsWithdrawnBeforeItIsShown)
{
    dialogWrapper wrapper;
    std::atomic<bool> returned(false);
    std::thread worker([&wrapper, &returned] {
        wrapper.showDialog({"a", "b"});
        returned = true;
    });
    EXPECT_TRUE(eventually([&wrapper, &returned] {
        EXPECT_TRUE(wrapper.withdraw());
        return returned.load();
    }));
    worker.join();
    EXPECT_EQ("", wrapper.getSelectedFileName());
}

} // namespace
