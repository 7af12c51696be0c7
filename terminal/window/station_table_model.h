// The account of each station, for tables.

#ifndef TERMINAL_WINDOW_STATION_TABLE_MODEL_H
#define TERMINAL_WINDOW_STATION_TABLE_MODEL_H

#include <vector>

#include <QAbstractTableModel>

#include "hmi/desktop/line_report.h"

/// One row a station that was asked.
class StationTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        Station,
        State,
        Good,
        Failed,
        NoAnswer,
        Short,
        Checksum,
        OtherStation,
        EndCode,
        RoundTrip,
        ColumnCount
    };

    enum Role {
        FailingRole = Qt::UserRole ///< whether the station's last exchange went wrong
    };

    explicit StationTableModel(QObject *parent = nullptr);

    void setStations(const std::vector<StationReport> &stations);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    std::vector<StationReport> m_stations;
};

#endif // TERMINAL_WINDOW_STATION_TABLE_MODEL_H
