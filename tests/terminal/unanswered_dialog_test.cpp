#include "terminal/unanswered_dialog.h"

#include <QDialog>
#include <QListWidget>
#include <QTimer>

#include <gtest/gtest.h>

namespace
{

/// Runs a dialog until a function, called in its event loop, has closed it.
void execWith(QDialog *dialog, void (*function)())
{
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, function);
    timer.start(10);
    dialog->exec();
}

TEST(UnansweredDialog, IsClosedWithNothingChosen)
{
    QDialog dialog;
    QListWidget list(&dialog);
    list.addItems({"a", "b"});
    list.setCurrentRow(0);
    ASSERT_EQ(1, list.selectedItems().size());
    execWith(&dialog, leaveUnansweredDialog);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(QDialog::Rejected, dialog.result());
    EXPECT_TRUE(list.selectedItems().isEmpty());
}

TEST(UnansweredDialog, IsClosedWithoutAList)
{
    QDialog dialog;
    execWith(&dialog, leaveUnansweredDialog);
    EXPECT_FALSE(dialog.isVisible());
}

TEST(UnansweredDialog, IsModal)
{
    QWidget window;
    window.show();
    leaveUnansweredDialog();
    EXPECT_TRUE(window.isVisible());
}

} // namespace
