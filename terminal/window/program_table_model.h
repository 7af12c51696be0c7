// The steps of a program file.

#ifndef TERMINAL_WINDOW_PROGRAM_TABLE_MODEL_H
#define TERMINAL_WINDOW_PROGRAM_TABLE_MODEL_H

#include <QAbstractTableModel>

#include "terminal/program_preview.h"

/// A row for each step, with the texts of the file.
class ProgramTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit ProgramTableModel(QObject *parent = nullptr) : QAbstractTableModel(parent) {}

    void setPreview(const ProgramPreview &preview);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    ProgramPreview m_preview;
};

#endif // TERMINAL_WINDOW_PROGRAM_TABLE_MODEL_H
