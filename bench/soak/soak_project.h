// What the soak's stations have, and what their words read.

#ifndef BENCH_SOAK_SOAK_PROJECT_H
#define BENCH_SOAK_SOAK_PROJECT_H

#include <cstdint>
#include <vector>

#include <QList>

#include "driver/dmc50_share.h"
#include "driver/drv_dev_setting.h"

/// The same words at every station. Values that are read tell where they belong and by which
/// exchange they came; values that are written are numbered.
namespace SoakProject
{
enum : uint32_t {
    FirstPolled = 0x5000,
    PolledCount = 60, ///< two frames
    FirstOnDemand = 0x5100,
    OnDemandCount = 20,
    FirstWritten = 0x5200,
    WrittenCount = 10
};
enum : int { LowLatencyStation = 3 };

std::vector<int> stations();
AddressVectorMap validAddresses();

/// All polled words of all stations.
QList<CommunicatorCommand> session();

bool isPolled(uint32_t address);
bool isOnDemand(uint32_t address);
bool isWritten(uint32_t address);

/// What a word that is read has during an exchange.
uint32_t value(int station, uint32_t address, uint64_t exchange);

/// Exchanges are numbered modulo this in the values.
const uint32_t ExchangeNumbers = 0x1000;
} // namespace SoakProject

#endif // BENCH_SOAK_SOAK_PROJECT_H
