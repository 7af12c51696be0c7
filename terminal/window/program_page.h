// Programs between the controller and the stick, for a finger.

#ifndef TERMINAL_WINDOW_PROGRAM_PAGE_H
#define TERMINAL_WINDOW_PROGRAM_PAGE_H

#include <functional>

#include <QWidget>

#include "terminal/program_preview.h"
#include "terminal/program_tags.h"
#include "terminal/window/storage_state.h"

class ElidedText;
class NumberStepper;
class ProgramTableModel;
class QBoxLayout;
class QProgressBar;
class QPushButton;
class QTimer;
class SetPointPlot;
class TouchTable;

/// Chooses a program, starts its transfers and shows how they go, as their tags tell it; and shows
/// what the program's file on the stick holds. It knows nothing of who carries the program.
///
/// A transfer can be started when there is a stick, no transfer is asked for or running, and every
/// failure was acknowledged; an import, when the program's file is there too.
class ProgramPage : public QWidget
{
    Q_OBJECT

public:
    /// Reads the file of a program; `readProgramPreview`, but on whichever thread suits. The answer
    /// comes on this page's thread.
    typedef std::function<void(const ProgramPreview &)> Answer;
    typedef std::function<void(const QString &directory, int program, const Answer &)> Reader;

    /// \param reader  empty: the file is read at once
    explicit ProgramPage(const Reader &reader = Reader(), QWidget *parent = nullptr);

    void showTransfers(const TransferViews &views);

    /// When its free space has changed, the file is read again: it may be another.
    void setStick(const StorageState &stick);

signals:
    void transferRequested(TransferKind kind, int program, int steps);
    void acknowledged(TransferKind kind);

protected:
    void changeEvent(QEvent *event) override;

private:
    struct Row {
        QPushButton *button;
        QProgressBar *bar;
    };

    QWidget *buildControls();
    QWidget *buildPreview();
    Row buildTransfer(TransferKind kind, const QString &text);
    void addRow(QBoxLayout *layout, const Row &row);
    void request(TransferKind kind);
    void acknowledge();
    void readOther();
    void readFile();
    void takeAnswer(int reading, const ProgramPreview &preview);
    void showPreview(const ProgramPreview &preview);
    void showState();
    QRgb stateColour() const;
    QString fileText() const;
    QString stateText() const;
    bool isRunning() const;
    bool hasFailed() const;
    void fitTexts();

    const Reader m_reader;
    StorageState m_stick;
    TransferViews m_views;
    ProgramPreview m_preview;
    int m_readings;  ///< asked for; only the last one's answer is shown
    int m_answered;  ///< the number of the reading that is shown
    QTimer *m_asked; ///< runs while a transfer that was asked for has not begun
    NumberStepper *m_program;
    NumberStepper *m_steps;
    Row m_export;
    Row m_import;
    ElidedText *m_state;
    QPushButton *m_acknowledge;
    ElidedText *m_file;
    ProgramTableModel *m_model;
    TouchTable *m_table;
    SetPointPlot *m_plot;
};

#endif // TERMINAL_WINDOW_PROGRAM_PAGE_H
