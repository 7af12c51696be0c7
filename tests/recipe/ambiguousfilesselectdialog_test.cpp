#include "recipe/ambiguousfilesselectdialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace
{

class FileDialog : public testing::Test
{
protected:
    QListWidget *list() { return dialog.findChild<QListWidget *>("listWidget"); }
    QDialogButtonBox *box() { return dialog.findChild<QDialogButtonBox *>("buttonBox"); }

    void click(int row)
    {
        const QRect place = list()->visualItemRect(list()->item(row));
        QTest::mouseClick(list()->viewport(), Qt::LeftButton, Qt::NoModifier, place.center());
    }

    ambiguousFilesSelectDialog dialog;
};

TEST_F(FileDialog, HasItsNamesSizeAndFlags)
{
    EXPECT_EQ("ambiguousFilesSelectDialog", dialog.objectName());
    EXPECT_EQ("Dialog", dialog.windowTitle());
    EXPECT_EQ(QSize(400, 300), dialog.size());
    EXPECT_TRUE(dialog.windowFlags() & Qt::CustomizeWindowHint);
    EXPECT_TRUE(dialog.windowFlags() & Qt::WindowStaysOnTopHint);
    EXPECT_FALSE(dialog.windowFlags() & Qt::WindowCloseButtonHint);
    EXPECT_TRUE(dialog.isWindow());
}

TEST_F(FileDialog, HasALabelAListAndOneButton)
{
    QVBoxLayout *const layout = dialog.findChild<QVBoxLayout *>("verticalLayout");
    ASSERT_EQ(dialog.layout(), layout);
    QLabel *const label = dialog.findChild<QLabel *>("label");
    ASSERT_EQ(3, layout->count());
    EXPECT_EQ(label, layout->itemAt(0)->widget());
    EXPECT_EQ(list(), layout->itemAt(1)->widget());
    EXPECT_EQ(box(), layout->itemAt(2)->widget());

    EXPECT_EQ("Please select a file to write data to DMC50:", label->text());
    EXPECT_EQ("DejaVu Sans", label->font().family());
    EXPECT_EQ(12, label->font().pointSize());
    EXPECT_EQ("DejaVu Sans", list()->font().family());
    EXPECT_EQ(13, list()->font().pointSize());
    EXPECT_EQ(QDialogButtonBox::Ok, box()->standardButtons());
    EXPECT_EQ(Qt::Horizontal, box()->orientation());
}

TEST_F(FileDialog, ShowsItsLabelWhole)
{
    dialog.show();
    QLabel *const label = dialog.findChild<QLabel *>("label");
    EXPECT_GE(label->width(), label->sizeHint().width());
}

TEST_F(FileDialog, HighlightsTheFirstOfTheNames)
{
    dialog.addItems({"/media/usb/PROG_5.txt", "/media/usb/PROG_5_old.txt"});
    EXPECT_EQ(2, list()->count());
    EXPECT_EQ(0, list()->currentRow());
    EXPECT_EQ("/media/usb/PROG_5.txt", dialog.getFileName());
}

TEST_F(FileDialog, AppendsAndHighlightsTheFirstOfAll)
{
    dialog.addItems({"a", "b"});
    list()->setCurrentRow(1);
    dialog.addItems({"c"});
    EXPECT_EQ(3, list()->count());
    EXPECT_EQ("c", list()->item(2)->text());
    EXPECT_EQ("a", dialog.getFileName());
    list()->setCurrentRow(2);
    dialog.addItems(QStringList());
    EXPECT_EQ("c", dialog.getFileName());
}

TEST_F(FileDialog, HasNoNameWithoutAHighlight)
{
    EXPECT_EQ("", dialog.getFileName());
    dialog.addItems({"a"});
    list()->clearSelection();
    EXPECT_EQ("", dialog.getFileName());
}

TEST_F(FileDialog, TakesTheTouchedName)
{
    dialog.addItems({"a", "b", "c"});
    dialog.show();
    click(2);
    EXPECT_EQ("c", dialog.getFileName());
    click(1);
    EXPECT_EQ("b", dialog.getFileName());
}

TEST_F(FileDialog, ClosesWithItsButton)
{
    dialog.addItems({"a", "b"});
    QTimer::singleShot(0, [this] {
        click(1);
        QTest::mouseClick(box()->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    EXPECT_EQ(QDialog::Accepted, dialog.exec());
    EXPECT_EQ("b", dialog.getFileName());
}

TEST_F(FileDialog, MayBeLeftWithTheEscapeKey)
{
    dialog.addItems({"a", "b"});
    QTimer::singleShot(0, [this] { QTest::keyClick(&dialog, Qt::Key_Escape); });
    EXPECT_EQ(QDialog::Rejected, dialog.exec());
    EXPECT_EQ("a", dialog.getFileName());
}

} // namespace
