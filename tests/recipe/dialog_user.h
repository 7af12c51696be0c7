// Whoever sits in front of the dialogs of a test.

#ifndef TESTS_RECIPE_DIALOG_USER_H
#define TESTS_RECIPE_DIALOG_USER_H

#include <deque>
#include <functional>

#include <QDialog>
#include <QFileDialog>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

/// Answers the dialogs that come up, each with the next of the prepared answers. A dialog that
/// nobody is prepared for is a failure and is closed; so is an answer that no dialog took.
class DialogUser : public QObject
{
    Q_OBJECT

public:
    DialogUser();
    ~DialogUser() override;

    /// The next dialog is of the class `Dialog`; `answer` looks at it and has to close it.
    template <typename Dialog>
    void expect(const std::function<void(Dialog &)> &answer)
    {
        m_answers.push_back([answer](QDialog &shown) {
            Dialog *const dialog = qobject_cast<Dialog *>(&shown);
            if (dialog == nullptr)
                return false;
            answer(*dialog);
            return true;
        });
    }

    /// The next dialog is a message box with this title and text and these buttons; one of them is
    /// clicked.
    void expectBox(const QString &title, const QString &text,
                   QMessageBox::StandardButtons buttons = QMessageBox::Ok,
                   QMessageBox::StandardButton clicked = QMessageBox::Ok);

    /// The next dialog asks for a file, with this title; the name is typed and confirmed.
    void expectFileDialog(const QString &title, const QString &typedName);

    /// What the last file dialog showed.
    QString shownFolder() const { return m_shown_folder; }
    QStringList shownFilters() const { return m_shown_filters; }
    QObject *parentOfLastDialog() const { return m_parent; }

private slots:
    void look();

private:
    std::deque<std::function<bool(QDialog &)>> m_answers;
    QTimer m_timer;
    QPointer<QDialog> m_seen;
    QString m_shown_folder;
    QStringList m_shown_filters;
    QObject *m_parent;
};

/// Clicks in the middle of a button.
void click(QAbstractButton *button);

#endif // TESTS_RECIPE_DIALOG_USER_H
