// A look inside a driver, where its answers alone do not tell what a test must know.

#ifndef TESTS_DRIVER_DRIVER_PROBE_H
#define TESTS_DRIVER_DRIVER_PROBE_H

#include <set>

#include <QList>
#include <QRegExp>
#include <QString>
#include <QStringList>

#include "driver/dmc50_share.h"
#include "driver/drv_dev_setting.h"

class CSVImExporter;
class DriverDMC50v3;
class PollingThread;

namespace probe
{

/// What a driver keeps besides its table and its thread.
struct State {
    bool hasError;
    bool debugMode;
    bool databaseOpened;
    bool tableReady;
    bool transferBusy;
    uchar defaultStation;
    size_t roomForAddresses; ///< reserved in the scratch lists
    size_t roomForIndexes;
    QList<QRegExp> patterns; ///< in the order of the members
};
State state(const DriverDMC50v3 &driver);

QString connectionName(const DriverDMC50v3 &driver);
AddressVectorMap validAddresses(const DriverDMC50v3 &driver);
std::set<uchar> lowLatencyStations(const DriverDMC50v3 &driver);
QStringList programDataAddresses(const DriverDMC50v3 &driver);
QList<CommunicatorCommand> keptSession(const DriverDMC50v3 &driver);
AddressVector commAddresses(const DriverDMC50v3 &driver);
UCharVector dataIndexes(const DriverDMC50v3 &driver);

/// Null until there is one.
PollingThread *thread(const DriverDMC50v3 &driver);
CSVImExporter *exporter(const DriverDMC50v3 &driver);

/// Gives the driver a table as if the project's database had held it.
void setValidAddresses(DriverDMC50v3 &driver, const AddressVectorMap &addresses);
void setProgramDataAddresses(DriverDMC50v3 &driver, const QStringList &addresses);
void setLowLatencyStations(DriverDMC50v3 &driver, const std::set<uchar> &stations);
void setTransferBusy(DriverDMC50v3 &driver, bool busy);

/// Ends the polling thread but leaves it in the driver: queues then stay as they are, and every
/// wait for the line ends at once.
void endLine(DriverDMC50v3 &driver);

} // namespace probe

#endif // TESTS_DRIVER_DRIVER_PROBE_H
