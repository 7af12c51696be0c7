// Built without access control.

#include "driver_probe.h"

#include "cpl/dmc50_polling_thread.h"
#include "driver/dmc50v3.h"

namespace probe
{

State state(const DriverDMC50v3 &driver)
{
    State state;
    state.hasError = driver.m_has_error;
    state.debugMode = driver.m_debug_mode;
    state.databaseOpened = driver.m_db_opened;
    state.tableReady = driver.m_valid_addresses_ready;
    state.transferBusy = driver.m_transfer_busy;
    state.defaultStation = driver.m_default_station_id;
    state.roomForAddresses = driver.m_comm_addresses.capacity();
    state.roomForIndexes = driver.m_data_indexes.capacity();
    state.patterns << driver.m_station_pa_regexp << driver.m_pa_regexp << driver.m_station_na_regexp
                   << driver.m_na_regexp << driver.m_pa_bit_regexp << driver.m_na_bit_regexp;
    return state;
}

QString connectionName(const DriverDMC50v3 &driver)
{
    return driver.m_connection_name;
}

AddressVectorMap validAddresses(const DriverDMC50v3 &driver)
{
    return driver.m_valid_addresses_map;
}

std::set<uchar> lowLatencyStations(const DriverDMC50v3 &driver)
{
    return driver.m_low_latency_stations;
}

QStringList programDataAddresses(const DriverDMC50v3 &driver)
{
    return driver.m_rcp_data_command_addr_list;
}

QList<CommunicatorCommand> keptSession(const DriverDMC50v3 &driver)
{
    return driver.m_session_commands;
}

AddressVector commAddresses(const DriverDMC50v3 &driver)
{
    return driver.m_comm_addresses;
}

UCharVector dataIndexes(const DriverDMC50v3 &driver)
{
    return driver.m_data_indexes;
}

PollingThread *thread(const DriverDMC50v3 &driver)
{
    return driver.m_thread.get();
}

CSVImExporter *exporter(const DriverDMC50v3 &driver)
{
    return driver.m_csv_im_exporter;
}

void setValidAddresses(DriverDMC50v3 &driver, const AddressVectorMap &addresses)
{
    driver.m_valid_addresses_map = addresses;
    driver.m_valid_addresses_ready = true;
}

void setProgramDataAddresses(DriverDMC50v3 &driver, const QStringList &addresses)
{
    driver.m_rcp_data_command_addr_list = addresses;
}

void setLowLatencyStations(DriverDMC50v3 &driver, const std::set<uchar> &stations)
{
    driver.m_low_latency_stations = stations;
}

void setTransferBusy(DriverDMC50v3 &driver, bool busy)
{
    driver.m_transfer_busy = busy;
}

void endLine(DriverDMC50v3 &driver)
{
    driver.m_thread->stop();
    driver.m_thread->wait();
}

} // namespace probe
