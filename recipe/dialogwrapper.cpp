#include "recipe/dialogwrapper.h"

#include "recipe/ambiguousfilesselectdialog.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMutexLocker>

dialogWrapper::dialogWrapper() : m_dialog(nullptr), m_closed(false) {}

void dialogWrapper::showDialog(QStringList files)
{
    connect(this, SIGNAL(showDialogSignal(QStringList)), this, SLOT(showDialogSlot(QStringList)),
            Qt::BlockingQueuedConnection);
    emit showDialogSignal(files);
}

QString dialogWrapper::getSelectedFileName() const
{
    const QMutexLocker locker(&m_name_mutex);
    return m_selected_file;
}

// A call that waits in the queue for its receiver ends for the caller when it is removed.
bool dialogWrapper::withdraw()
{
    if (m_dialog != nullptr)
        return false;
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    return true;
}

void dialogWrapper::showDialogSlot(QStringList files)
{
    if (m_closed)
        return;
    ambiguousFilesSelectDialog dialog;
    m_dialog = &dialog;
    dialog.addItems(files);
    dialog.exec();
    m_dialog = nullptr;
    const QMutexLocker locker(&m_name_mutex);
    m_selected_file = dialog.getFileName();
}

void dialogWrapper::closeDialog()
{
    m_closed = true;
    if (m_dialog != nullptr)
        m_dialog->reject();
}
