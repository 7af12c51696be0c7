// Asks the operator which of several files is meant.

#ifndef RECIPE_AMBIGUOUSFILESSELECTDIALOG_H
#define RECIPE_AMBIGUOUSFILESSELECTDIALOG_H

#include <QDialog>
#include <QString>
#include <QStringList>

class QListWidget;

/// A list of file names and an OK button; it stays on top of the terminal's screen. The
/// user-interface thread's.
class ambiguousFilesSelectDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ambiguousFilesSelectDialog(QWidget *parent = 0);

    /// Appends names and highlights the list's first one.
    void addItems(const QStringList &names);

    /// The highlighted name; empty when there is none.
    QString getFileName() const;

private:
    QListWidget *m_list_widget; ///< the dialog's
};

#endif // RECIPE_AMBIGUOUSFILESSELECTDIALOG_H
