#include "terminal/unanswered_dialog.h"

#include <QAbstractItemView>
#include <QApplication>

void leaveUnansweredDialog()
{
    const bool hasWidgets = qobject_cast<QApplication *>(QCoreApplication::instance()) != nullptr;
    QWidget *const dialog = hasWidgets ? QApplication::activeModalWidget() : nullptr;
    if (dialog == nullptr)
        return;
    for (QAbstractItemView *const list : dialog->findChildren<QAbstractItemView *>())
        list->clearSelection();
    dialog->close();
}
