// Built without access control.

#include "fuzz/driver_tables.h"

#include "driver/dmc50v3.h"

DriverTables::DriverTables(DriverDMC50v3 &driver)
    : validAddresses(driver.m_valid_addresses_map),
      lowLatencyStations(driver.m_low_latency_stations),
      programDataAddresses(driver.m_rcp_data_command_addr_list)
{
}

void DriverTables::clear()
{
    validAddresses.clear();
    lowLatencyStations.clear();
    programDataAddresses.clear();
}

bool DriverTables::areEmpty() const
{
    return validAddresses.empty() && lowLatencyStations.empty() && programDataAddresses.isEmpty();
}

QString connectionOf(const DriverDMC50v3 &driver)
{
    return driver.m_connection_name;
}

uchar defaultStationOf(const DriverDMC50v3 &driver)
{
    return driver.m_default_station_id;
}

void addProjectAddress(DriverDMC50v3 &driver, const QString &address, uchar defaultStation,
                       bool *moreToCome)
{
    driver.addProjectAddress(address, defaultStation, moreToCome);
}
