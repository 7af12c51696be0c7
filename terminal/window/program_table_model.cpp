#include "terminal/window/program_table_model.h"

void ProgramTableModel::setPreview(const ProgramPreview &preview)
{
    beginResetModel();
    m_preview = preview;
    endResetModel();
}

int ProgramTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_preview.rows.size());
}

int ProgramTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_preview.header.size();
}

QVariant ProgramTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return QVariant();
    const QString text = m_preview.rows[static_cast<size_t>(index.row())].value(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return text;
    case Qt::ToolTipRole:
        return "<p>" + text.toHtmlEscaped() + "</p>";
    case Qt::TextAlignmentRole:
        return index.column() == 0 ? int(Qt::AlignLeft | Qt::AlignVCenter)
                                   : int(Qt::AlignRight | Qt::AlignVCenter);
    default:
        return QVariant();
    }
}

QVariant ProgramTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    return m_preview.header.value(section);
}
