#include "recipe/zcsvloader.h"

#include "tests/recipe/dialog_user.h"
#include "tests/recipe/worker.h"

#include <QPushButton>
#include <QTest>
#include <QTextCodec>
#include <QWidget>

#include <gtest/gtest.h>

namespace
{

/// The initial format is seen in the question; the filter in the file dialogs' tests.
void expectQuestion(DialogUser &user, const QString &text, QMessageBox::StandardButton clicked)
{
    user.expectBox("Import/Export File", text, QMessageBox::Ok | QMessageBox::Cancel, clicked);
}

TEST(ZCSVInterface, BeginsWithTabsAndUtf16)
{
    const ZCSVInterface interface(nullptr);
    EXPECT_EQ("\t", interface.delimiter());
    EXPECT_EQ(QTextCodec::codecForName("UTF-16LE"), interface.textCodec());
    EXPECT_EQ("UTF-16LE", interface.textCodec()->name());
}

TEST(ZCSVInterface, GoesBackToUtf16)
{
    ZCSVInterface interface(nullptr);
    QTextCodec *const utf8 = QTextCodec::codecForName("UTF-8");
    interface.setCodec(utf8);
    EXPECT_EQ(utf8, interface.textCodec());
    interface.init();
    EXPECT_EQ("UTF-16LE", interface.textCodec()->name());
}

TEST(ZCSVInterface, KeepsTheDelimiterThatItIsTold)
{
    ZCSVInterface interface(nullptr);
    interface.setDelimiter(";");
    EXPECT_EQ(";", interface.delimiter());
}

TEST(ZCSVInterface, HasADelimiterForEachFormat)
{
    ZCSVInterface interface(nullptr);
    interface.setFileFormat(ZCSVInterface::CSVFormat);
    EXPECT_EQ(",", interface.delimiter());
    interface.setFileFormat(ZCSVInterface::TextFormat);
    EXPECT_EQ("\t", interface.delimiter());
}

TEST(ZCSVInterface, KeepsTheDelimiterWithAFormatThatItDoesNotKnow)
{
    ZCSVInterface interface(nullptr);
    interface.setFileFormat(ZCSVInterface::CSVFormat);
    interface.setFileFormat(static_cast<ZCSVInterface::FileFormat>(2));
    EXPECT_EQ(",", interface.delimiter());
}

TEST(ZCSVInterface, NumbersTheFormats)
{
    EXPECT_EQ(0, ZCSVInterface::TextFormat);
    EXPECT_EQ(1, ZCSVInterface::CSVFormat);
}

TEST(ZCSVInterface, AsksNothingUnlessToldTo)
{
    DialogUser user;
    ZCSVInterface interface(nullptr);
    EXPECT_TRUE(interface.askEachTimeCheck());
}

TEST(ZCSVInterface, AsksWhetherTheFormatIsRight)
{
    DialogUser user;
    QWidget parent;
    ZCSVInterface interface(&parent);
    interface.setAskEachTime(true);
    user.expect<QMessageBox>([&](QMessageBox &box) {
        EXPECT_EQ("Do you want to procced?", box.informativeText());
        QPushButton *const initial = box.defaultButton();
        EXPECT_EQ(QMessageBox::Cancel, box.standardButton(initial));
        click(box.button(QMessageBox::Ok));
    });
    EXPECT_TRUE(interface.askEachTimeCheck());
    EXPECT_EQ(&parent, user.parentOfLastDialog());
}

TEST(ZCSVInterface, AsksByTheNameOfTheFormat)
{
    DialogUser user;
    ZCSVInterface interface(nullptr);
    interface.setAskEachTime(true);
    expectQuestion(user, "The import/export file will process as TXT format.", QMessageBox::Ok);
    EXPECT_TRUE(interface.askEachTimeCheck());
    interface.setFileFormat(ZCSVInterface::CSVFormat);
    expectQuestion(user, "The import/export file will process as CSV format.", QMessageBox::Ok);
    EXPECT_TRUE(interface.askEachTimeCheck());
    interface.setFileFormat(static_cast<ZCSVInterface::FileFormat>(2));
    expectQuestion(user, "The import/export file will process as  format.", QMessageBox::Ok);
    EXPECT_TRUE(interface.askEachTimeCheck());
}

TEST(ZCSVInterface, GoesOnOnlyWithOk)
{
    DialogUser user;
    ZCSVInterface interface(nullptr);
    interface.setAskEachTime(true);
    user.expect<QMessageBox>([](QMessageBox &box) { click(box.button(QMessageBox::Cancel)); });
    EXPECT_FALSE(interface.askEachTimeCheck());
    user.expect<QMessageBox>([](QMessageBox &box) { QTest::keyClick(&box, Qt::Key_Return); });
    EXPECT_FALSE(interface.askEachTimeCheck());
    user.expect<QMessageBox>([](QMessageBox &box) { QTest::keyClick(&box, Qt::Key_Escape); });
    EXPECT_FALSE(interface.askEachTimeCheck());
    user.expect<QMessageBox>([](QMessageBox &box) { box.close(); });
    EXPECT_FALSE(interface.askEachTimeCheck());
    interface.setAskEachTime(false);
    EXPECT_TRUE(interface.askEachTimeCheck());
}

TEST(ZCSVInterface, AsksNobodyOutsideTheThreadOfTheUserInterface)
{
    DialogUser user;
    inWorker([] {
        ZCSVInterface interface(nullptr);
        interface.setAskEachTime(true);
        EXPECT_TRUE(interface.askEachTimeCheck());
    });
}

} // namespace
