#include "terminal/window/station_table_model.h"

#include <QColor>

#include "terminal/window/theme.h"

namespace
{

const char *const Headings[] = {"Stn",   "State",    "Good",  "Failed",   "No answer",
                                "Short", "Checksum", "Other", "End code", "Round trip ms"};

QString milliseconds(qint64 us)
{
    return us < 0 ? "-" : QString::number(static_cast<double>(us) / 1000.0, 'f', 1);
}

/// Least, median and greatest.
QString roundTripText(const StationReport &station)
{
    if (station.leastRoundTripUs < 0)
        return "-";
    return QString("%1/%2/%3")
        .arg(milliseconds(station.leastRoundTripUs), milliseconds(station.medianRoundTripUs),
             milliseconds(station.greatestRoundTripUs));
}

/// With the last code, which tells why the station refused.
QString endCodeText(const StationReport &station)
{
    if (station.endCodes == 0)
        return "0";
    return QString("%1 (%2)")
        .arg(station.endCodes)
        .arg(station.lastEndCode, 2, 16, QChar('0'))
        .toUpper();
}

bool isFailing(const StationReport &station)
{
    return station.failingForMs >= 0;
}

QString stateText(const StationReport &station)
{
    if (isFailing(station))
        return "failing";
    return station.goodReplies > 0 ? "ok" : "asked";
}

QString textAt(const StationReport &station, int column)
{
    switch (column) {
    case StationTableModel::Station:
        return QString::number(station.station);
    case StationTableModel::State:
        return stateText(station);
    case StationTableModel::Good:
        return QString::number(station.goodReplies);
    case StationTableModel::Failed:
        return QString::number(station.failed());
    case StationTableModel::NoAnswer:
        return QString::number(station.noAnswer);
    case StationTableModel::Short:
        return QString::number(station.shortReplies);
    case StationTableModel::Checksum:
        return QString::number(station.checksumErrors);
    case StationTableModel::OtherStation:
        return QString::number(station.otherStation);
    case StationTableModel::EndCode:
        return endCodeText(station);
    default:
        return roundTripText(station);
    }
}

QVariant alignment(int column)
{
    const bool isText = column == StationTableModel::State;
    return int(Qt::AlignVCenter | (isText ? Qt::AlignHCenter : Qt::AlignRight));
}

} // namespace

StationTableModel::StationTableModel(QObject *parent) : QAbstractTableModel(parent) {}

void StationTableModel::setStations(const std::vector<StationReport> &stations)
{
    const bool sameRows = stations.size() == m_stations.size();
    if (!sameRows)
        beginResetModel();
    m_stations = stations;
    if (!sameRows)
        endResetModel();
    else if (!stations.empty())
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

int StationTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_stations.size());
}

int StationTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant StationTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return QVariant();
    const StationReport &station = m_stations[static_cast<size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return textAt(station, index.column());
    case Qt::TextAlignmentRole:
        return alignment(index.column());
    case Qt::BackgroundRole:
        return isFailing(station) ? QVariant(QColor(Theme::Alarm)) : QVariant();
    case Qt::ForegroundRole:
        return QColor(isFailing(station) ? Theme::AlarmText : Theme::Text);
    case FailingRole:
        return isFailing(station);
    default:
        return QVariant();
    }
}

QVariant StationTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= ColumnCount)
        return QVariant();
    if (role == Qt::DisplayRole)
        return QString(Headings[section]);
    return role == Qt::TextAlignmentRole ? alignment(section) : QVariant();
}
