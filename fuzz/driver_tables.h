// What a driver has read from the project's database.

#ifndef FUZZ_DRIVER_TABLES_H
#define FUZZ_DRIVER_TABLES_H

#include <set>

#include <QString>
#include <QStringList>

#include "driver/dmc50_share.h"

class DriverDMC50v3;

/// The driver's own; it must outlive this.
struct DriverTables {
    explicit DriverTables(DriverDMC50v3 &driver);

    void clear();
    bool areEmpty() const;

    AddressVectorMap &validAddresses;
    std::set<uchar> &lowLatencyStations;
    QStringList &programDataAddresses; ///< NA texts, as they stand in the project
};

QString connectionOf(const DriverDMC50v3 &driver);
uchar defaultStationOf(const DriverDMC50v3 &driver);

/// Files one address text of the project as the reader of the database does.
/// \param moreToCome  set to false by a text that ends the list
void addProjectAddress(DriverDMC50v3 &driver, const QString &address, uchar defaultStation,
                       bool *moreToCome);

#endif // FUZZ_DRIVER_TABLES_H
