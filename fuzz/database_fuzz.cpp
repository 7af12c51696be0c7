// The project's database: whatever the bytes of the file, the table that the driver builds from it
// is sound, or the driver says why there is none.

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <string>

#include <QCoreApplication>
#include <QString>
#include <QtDebug>

#include "driver/dmc50v3.h"
#include "fuzz/address_model.h"
#include "fuzz/arena.h"
#include "fuzz/driver_tables.h"
#include "fuzz/expect.h"
#include "fuzz/failed_assertion.h"
#include "fuzz/memory_file.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t maxSize);

namespace
{

const char Port[] = "COM2";
const int PortNumber = 1003;

const size_t HeaderSize = 100; ///< of the file
const size_t PageSizeOffset = 16;
const size_t MagicSize = 18; ///< the file's kind and the page size
const size_t SmallestPage = 512;

const size_t MostConnections = 256;
const size_t LargestChange = 24; ///< bytes that one mutation changes in place

// ---- What must hold ----------------------------------------------------------------------------

bool isDocumented(const QString &error)
{
    return error == QLatin1String("can not open database") ||
           error == QLatin1String("failed to get default station id") ||
           error == QLatin1String("failed to initialize valid addresses table");
}

bool isDocumented(const FailedAssertion &failed)
{
    return std::strcmp(failed.condition, "0") == 0 ||
           std::strcmp(failed.condition, "id_str_len >= 1") == 0;
}

/// Each text that is handed to the program transfer is the address of an entry of the table.
void expectInTable(const QString &text, uchar defaultStation, const AddressVectorMap &table)
{
    const AddressModel model = readAddress(text);
    EXPECT(model.form == AddressModel::Na);
    const AddressVectorMap::const_iterator station =
        table.find(model.hasStation ? model.station : defaultStation);
    EXPECT(station != table.end());
    const AddressVector &addresses = station->second;
    EXPECT(std::find(addresses.begin(), addresses.end(), model.address) != addresses.end());
}

void expectSound(const DriverTables &tables, uchar defaultStation)
{
    for (const auto &station : tables.validAddresses) {
        EXPECT(!station.second.empty());
        for (const ulong address : station.second)
            EXPECT(address <= LargestAddress);
    }
    foreach (const QString &text, tables.programDataAddresses)
        expectInTable(text, defaultStation, tables.validAddresses);
}

// ---- Runs of the driver ------------------------------------------------------------------------

/// All of it: the driver opens the file, reads it and closes it.
void readWhole(DriverDMC50v3 &driver)
{
    DriverTables tables(driver);
    const bool built = driver.readDB(QLatin1String(Port));
    EXPECT(built != driver.hasError());
    EXPECT(built || isDocumented(driver.getLastError()));
    EXPECT(built || tables.areEmpty());
    expectSound(tables, defaultStationOf(driver));
}

/// The queries alone, through a connection that stays open.
void readAgain(DriverDMC50v3 &driver)
{
    DriverTables tables(driver);
    tables.clear();
    int link = 0;
    uchar station = 0;
    if (!driver.getLinkIdAndDefaultStationId(PortNumber, link, station))
        return;
    const bool built = driver.initValidAddressesMap(link, station);
    EXPECT(built || tables.areEmpty());
    expectSound(tables, station);
}

typedef std::map<std::string, std::unique_ptr<DriverDMC50v3>> Drivers;

size_t pageSize(const uint8_t *data, size_t size)
{
    if (size < HeaderSize)
        return size;
    const size_t pageSize =
        static_cast<size_t>(data[PageSizeOffset] << 8 | data[PageSizeOffset + 1]);
    return std::min(size, std::max(pageSize, SmallestPage));
}

/// Opening a file and reading its tables' definitions takes most of the time. Files that have the
/// first page in common have these in common, and so each has an open connection.
void run(const uint8_t *data, size_t size)
{
    static Drivers drivers;
    const std::string firstPage(reinterpret_cast<const char *>(data), pageSize(data, size));
    const Drivers::const_iterator known = drivers.find(firstPage);
    if (known != drivers.end()) {
        readAgain(*known->second);
        return;
    }
    {
        DriverDMC50v3 driver;
        readWhole(driver);
    }
    if (drivers.size() >= MostConnections)
        drivers.clear();
    std::unique_ptr<DriverDMC50v3> driver(new DriverDMC50v3);
    driver->createDBConnection();
    drivers[firstPage] = std::move(driver);
}

void dropMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    static int count = 1;
    static char name[] = "fuzz-database";
    static char *arguments[] = {name, nullptr};
    static QCoreApplication application(count, arguments);
    qInstallMessageHandler(dropMessage);
    installArena();
    installMemoryFile();
    return 0;
}

/// Mostly changes a few bytes in place: where bytes are added or removed, all pages behind them are
/// lost.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize,
                                          unsigned int seed)
{
    const size_t firstPage = pageSize(data, size);
    const bool anywhere = seed % 16 == 0 || size <= firstPage;
    if (anywhere && seed % 3 == 0)
        return LLVMFuzzerMutate(data, size, maxSize);
    const size_t first = anywhere ? std::min(MagicSize, size) : firstPage;
    const size_t room = size - first;
    if (room == 0)
        return LLVMFuzzerMutate(data, size, maxSize);
    uint8_t *const place = data + first + (seed >> 8) % room;
    uint8_t part[LargestChange] = {};
    const size_t length = std::min(LargestChange, static_cast<size_t>(data + size - place));
    std::memcpy(part, place, length);
    LLVMFuzzerMutate(part, length, length);
    std::memcpy(place, part, length);
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    setMemoryFile(data, size);
    try {
        run(data, size);
    } catch (const FailedAssertion &failed) {
        EXPECT(isDocumented(failed));
    }
    return 0;
}
