// The tags and what was last seen of them, for tables.

#ifndef TERMINAL_WINDOW_TAG_TABLE_MODEL_H
#define TERMINAL_WINDOW_TAG_TABLE_MODEL_H

#include <vector>

#include <QAbstractTableModel>
#include <QList>
#include <QString>

#include "terminal/session.h"
#include "terminal/tag.h"

/// One row a tag. Between two rounds the ages go on growing, and a value that grows too old turns
/// stale, also when no round ever comes again.
///
/// Data roles: `Qt::DisplayRole` is the cell's text, `Qt::ToolTipRole` the whole tag in words. A
/// view marks rows by `StateRole` and `PenRole`.
class TagTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Name, Address, Station, Value, Age, State, ColumnCount };

    enum Role {
        StateRole = Qt::UserRole, ///< a TagState, as an int
        PenRole,                  ///< number of the trend's pen, 0 to 3; -1: not in the trend
        HasValueRole              ///< whether there ever was a value
    };

    /// How many tags the trend can hold.
    static const int Pens = 4;

    /// \param tags            what the rounds will carry, in their order
    /// \param defaultStation  of tags without a station of their own
    explicit TagTableModel(const QList<Tag> &tags, int defaultStation, QObject *parent = nullptr);

    /// Takes over a round.
    /// \param nowMs         when it came
    /// \param staleAfterMs  the age up to which a value counts as live
    void showRound(const std::vector<TagView> &views, qint64 nowMs, qint64 staleAfterMs);

    /// Lets the ages grow.
    /// \param nowMs  by the clock of `showRound`
    void setNow(qint64 nowMs);

    /// A tag as it is to be thought of now.
    /// \param row  0 to rowCount() - 1
    TagView viewAt(int row) const;

    /// How many values are live now.
    int liveTags() const;

    /// Which tag a pen draws.
    /// \param row  -1: none
    void setPen(int pen, int row);
    int rowOfPen(int pen) const { return m_pen_rows[pen]; }
    int penOf(int row) const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    void replaceRows(const std::vector<TagView> &views);
    TagState stateOf(const TagView &view) const;
    void announce(int firstColumn, int lastColumn);
    QString textAt(const TagView &view, int column) const;
    QString description(const TagView &view) const;

    std::vector<TagView> m_views; ///< as the last round had them
    qint64 m_round_at;
    qint64 m_now;
    qint64 m_stale_after_ms;
    int m_pen_rows[Pens]; ///< -1: the pen is free
};

#endif // TERMINAL_WINDOW_TAG_TABLE_MODEL_H
