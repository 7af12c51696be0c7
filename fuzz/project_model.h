// The project's database read a second time: what the driver's table is compared with.

#ifndef FUZZ_PROJECT_MODEL_H
#define FUZZ_PROJECT_MODEL_H

#include <memory>
#include <set>
#include <vector>

#include <QString>
#include <QStringList>

#include "driver/dmc50_share.h"

struct sqlite3_stmt;
typedef std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)> Statement;

/// Reads the three tables row by row through SQLite's own interface, and selects and files the rows
/// itself. For one open connection, whatever the file behind it comes to hold.
class ProjectModel
{
public:
    /// \param connection  name of an open connection, which must outlive this
    explicit ProjectModel(const QString &connection);

    /// Reads what the file holds now.
    /// \return whether it tells what the driver must make of the file. It does not when SQLite finds
    ///         the file damaged or has an index of a table; where a number is no integer or an
    ///         address no text, which SQLite converts; and with several default stations, of
    ///         which SQLite may find any first.
    bool read(int hmiPort);

    bool hasDefaultStation;
    const char *failedAssertion; ///< that ends the driver while it reads the tags; null: none
    AddressVectorMap validAddresses;
    std::set<uchar> lowLatencyStations;
    QStringList programDataAddresses;

private:
    void prepare();
    bool readLinks(int hmiPort);
    bool readDefaultStation();
    bool readTags();
    bool takeTag(const QString &text);
    void takeLowLatency(const QString &text);

    const QString m_connection;
    bool m_is_prepared;
    bool m_is_plain; ///< SQLite neither converts what is read nor takes it from an index
    Statement m_link_rows;
    Statement m_node_rows;
    Statement m_tag_rows;
    std::vector<int> m_links; ///< of the port
    int m_link;
    uchar m_default_station;
};

#endif // FUZZ_PROJECT_MODEL_H
