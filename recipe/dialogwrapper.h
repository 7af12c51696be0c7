// Carries the question which file is meant from a worker thread to the operator.

#ifndef RECIPE_DIALOGWRAPPER_H
#define RECIPE_DIALOGWRAPPER_H

#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>

class ambiguousFilesSelectDialog;

/// One question. The worker thread makes it, moves it to the user-interface thread, asks once and
/// releases it with `deleteLater`.
class dialogWrapper : public QObject
{
    Q_OBJECT

public:
    dialogWrapper();

    /// Asks, and waits for the answer, however long it takes. The worker thread's.
    void showDialog(QStringList files);

    /// The answer: the name that was highlighted when the dialog was left, whichever way. Empty
    /// when there was none. Any thread.
    QString getSelectedFileName() const;

    /// Takes the question back if the operator does not see it yet: `showDialog` then returns
    /// without an answer. To be repeated until it has. The user-interface thread's.
    /// \return false: the dialog is on the screen
    bool withdraw();

signals:
    void showDialogSignal(QStringList files);

public slots:
    void showDialogSlot(QStringList files);

    /// Leaves the dialog as the operator would; also one that is yet to be shown. The
    /// user-interface thread's, which other threads reach by invoking the slot.
    void closeDialog();

private:
    ambiguousFilesSelectDialog *m_dialog; ///< on the screen; else null
    bool m_closed;                        ///< there is nothing more to ask
    mutable QMutex m_name_mutex;
    QString m_selected_file; ///< m_name_mutex
};

#endif // RECIPE_DIALOGWRAPPER_H
