// The file dialog on the screen.

#ifndef TESTS_RECIPE_OPEN_DIALOG_H
#define TESTS_RECIPE_OPEN_DIALOG_H

#include "recipe/ambiguousfilesselectdialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

/// The dialog that is open; null when there is none.
inline ambiguousFilesSelectDialog *openDialog()
{
    return qobject_cast<ambiguousFilesSelectDialog *>(QApplication::activeModalWidget());
}

inline QListWidget *listOf(QDialog *dialog)
{
    return dialog->findChild<QListWidget *>("listWidget");
}

inline void touchRow(QDialog *dialog, int row)
{
    QListWidget *const list = listOf(dialog);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier,
                      list->visualItemRect(list->item(row)).center());
}

inline void touchOk(QDialog *dialog)
{
    QDialogButtonBox *const box = dialog->findChild<QDialogButtonBox *>("buttonBox");
    QTest::mouseClick(box->button(QDialogButtonBox::Ok), Qt::LeftButton);
}

/// Runs the event loop until a condition holds. \return false: it did not in 20 seconds
inline bool runUntil(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > 20000)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

/// Calls a function once, in the dialog's own event loop, when it is on the screen.
class WhenDialogOpens : public QObject
{
public:
    explicit WhenDialogOpens(const std::function<void(ambiguousFilesSelectDialog *)> &function)
        : m_function(function), m_opened(0)
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { look(); });
        m_timer.start(5);
    }

    int opened() const { return m_opened; }

private:
    void look()
    {
        ambiguousFilesSelectDialog *const dialog = openDialog();
        if (dialog == nullptr || m_opened > 0)
            return;
        ++m_opened;
        m_function(dialog);
    }

    const std::function<void(ambiguousFilesSelectDialog *)> m_function;
    QTimer m_timer;
    int m_opened;
};

#endif // TESTS_RECIPE_OPEN_DIALOG_H
