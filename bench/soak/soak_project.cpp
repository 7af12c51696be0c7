#include "bench/soak/soak_project.h"

namespace SoakProject
{

namespace
{

const int StationCount = 8;

void append(AddressVector *addresses, ulong first, ulong count)
{
    for (ulong i = 0; i < count; ++i)
        addresses->push_back(first + i);
}

} // namespace

std::vector<int> stations()
{
    std::vector<int> numbers;
    for (int station = 1; station <= StationCount; ++station)
        numbers.push_back(station);
    return numbers;
}

AddressVectorMap validAddresses()
{
    AddressVector addresses;
    append(&addresses, FirstPolled, PolledCount);
    append(&addresses, FirstOnDemand, OnDemandCount);
    append(&addresses, FirstWritten, WrittenCount);
    AddressVectorMap valid;
    for (const int station : stations())
        valid[static_cast<uchar>(station)] = addresses;
    return valid;
}

QList<CommunicatorCommand> session()
{
    QList<CommunicatorCommand> commands;
    for (const int station : stations()) {
        CommunicatorCommand command;
        command.address = QString("%1-NA%2").arg(station).arg(uint(FirstPolled), 0, 16);
        command.length = PolledCount;
        commands << command;
    }
    return commands;
}

bool isPolled(uint32_t address)
{
    return address >= FirstPolled && address < FirstPolled + PolledCount;
}

bool isOnDemand(uint32_t address)
{
    return address >= FirstOnDemand && address < FirstOnDemand + OnDemandCount;
}

bool isWritten(uint32_t address)
{
    return address >= FirstWritten && address < FirstWritten + WrittenCount;
}

uint32_t value(int station, uint32_t address, uint64_t exchange)
{
    return static_cast<uint32_t>(station) << 24 | (address & 0xFFF) << 12 |
           static_cast<uint32_t>(exchange % ExchangeNumbers);
}

} // namespace SoakProject
