// The project's database: whatever the bytes of the file, the table that the driver builds from it
// is that of a second reading, where this one decides, and sound in any case; or the driver says
// why there is none.

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>
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
#include "fuzz/project_model.h"

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

void expectTheSame(bool built, const DriverTables &tables, const ProjectModel &model)
{
    EXPECT(model.failedAssertion == nullptr);
    EXPECT(built == model.hasDefaultStation);
    EXPECT(tables.validAddresses == model.validAddresses);
    EXPECT(tables.lowLatencyStations == model.lowLatencyStations);
    EXPECT(tables.programDataAddresses == model.programDataAddresses);
}

// ---- Runs of the driver ------------------------------------------------------------------------

/// SQLite opens any file: what it holds is looked at later.
QString opened(DriverDMC50v3 &driver)
{
    EXPECT(driver.createDBConnection());
    return connectionOf(driver);
}

/// A connection that stays open, and the second reader of the file behind it.
struct Connection {
    Connection() : model(opened(driver)) {}

    DriverDMC50v3 driver;
    ProjectModel model; ///< ends before its connection does
};

/// What came of a run.
struct Outcome {
    bool built; ///< there is a table
    uchar defaultStation;
};

/// All of it: the driver opens the file, reads it and closes it.
Outcome readWhole(DriverDMC50v3 &driver)
{
    const bool built = driver.readDB(QLatin1String(Port));
    EXPECT(built != driver.hasError());
    EXPECT(built || isDocumented(driver.getLastError()));
    return {built, defaultStationOf(driver)};
}

/// The queries alone, through a connection that is open.
Outcome readAgain(DriverDMC50v3 &driver)
{
    DriverTables(driver).clear();
    Outcome outcome = {false, 0};
    int link = 0;
    if (driver.getLinkIdAndDefaultStationId(PortNumber, link, outcome.defaultStation))
        outcome.built = driver.initValidAddressesMap(link, outcome.defaultStation);
    return outcome;
}

/// Which files are read a second time. All would take too long; and most of those without a table
/// are damaged, and SQLite takes its time to find out how.
class Choice
{
public:
    Choice(const uint8_t *data, size_t size) : m_sum(std::accumulate(data, data + size, 0U)) {}

    bool isChosen(bool built) const { return m_sum % (built ? OfTables : OfFailures) == 0; }

private:
    enum { OfTables = 2, OfFailures = 8 }; ///< one of so many

    const uint m_sum;
};

/// Has the driver read the file, and where a second reading decides holds it to that.
void expectAsRead(DriverDMC50v3 &driver, Outcome (*read)(DriverDMC50v3 &), ProjectModel &model,
                  const Choice &choice)
{
    const DriverTables tables(driver);
    try {
        const Outcome outcome = read(driver);
        EXPECT(outcome.built || tables.areEmpty());
        if (choice.isChosen(outcome.built) && model.read(PortNumber))
            expectTheSame(outcome.built, tables, model);
        else
            expectSound(tables, outcome.defaultStation);
    } catch (const FailedAssertion &failed) {
        EXPECT(isDocumented(failed));
        EXPECT(!choice.isChosen(true) || !model.read(PortNumber) ||
               (model.failedAssertion != nullptr &&
                std::strcmp(failed.condition, model.failedAssertion) == 0));
    }
}

typedef std::map<std::string, std::unique_ptr<Connection>> Connections;

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
    static Connections connections;
    const Choice choice(data, size);
    const std::string firstPage(reinterpret_cast<const char *>(data), pageSize(data, size));
    const Connections::const_iterator known = connections.find(firstPage);
    if (known != connections.end()) {
        expectAsRead(known->second->driver, readAgain, known->second->model, choice);
        return;
    }
    if (connections.size() >= MostConnections)
        connections.clear();
    std::unique_ptr<Connection> &connection = connections[firstPage];
    connection.reset(new Connection);
    DriverDMC50v3 driver;
    expectAsRead(driver, readWhole, connection->model, choice);
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
    run(data, size);
    return 0;
}
