#include "tests/recipe/dialog_user.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLineEdit>
#include <QTest>

#include <gtest/gtest.h>

namespace
{

const int LookMs = 5;

} // namespace

DialogUser::DialogUser() : m_parent(nullptr)
{
    connect(&m_timer, &QTimer::timeout, this, &DialogUser::look);
    m_timer.start(LookMs);
}

DialogUser::~DialogUser()
{
    EXPECT_TRUE(m_answers.empty()) << m_answers.size() << " dialogs did not come up";
}

void DialogUser::look()
{
    QDialog *const dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
    if (dialog == nullptr || dialog == m_seen)
        return;
    m_seen = dialog;
    m_parent = dialog->parent();
    if (m_answers.empty()) {
        ADD_FAILURE() << "unexpected: " << qPrintable(dialog->windowTitle());
        dialog->reject();
        return;
    }
    const std::function<bool(QDialog &)> answer = m_answers.front();
    m_answers.pop_front();
    if (!answer(*dialog)) {
        ADD_FAILURE() << "another dialog: " << qPrintable(dialog->windowTitle());
        dialog->reject();
    }
}

void DialogUser::expectBox(const QString &title, const QString &text,
                           QMessageBox::StandardButtons buttons,
                           QMessageBox::StandardButton clicked)
{
    expect<QMessageBox>([=](QMessageBox &box) {
        EXPECT_EQ(title, box.windowTitle());
        EXPECT_EQ(text, box.text());
        EXPECT_EQ(buttons, box.standardButtons());
        click(box.button(clicked));
    });
}

void DialogUser::expectFileDialog(const QString &title, const QString &typedName)
{
    expect<QFileDialog>([=](QFileDialog &dialog) {
        EXPECT_EQ(title, dialog.windowTitle());
        m_shown_folder = dialog.directory().absolutePath();
        m_shown_filters = dialog.nameFilters();
        QLineEdit *const name = dialog.findChild<QLineEdit *>("fileNameEdit");
        name->clear();
        QTest::keyClicks(name, typedName);
        QTest::keyClick(name, Qt::Key_Return);
    });
}

void click(QAbstractButton *button)
{
    ASSERT_NE(nullptr, button);
    QTest::mouseClick(button, Qt::LeftButton);
}
