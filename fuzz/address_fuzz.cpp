// Address texts: the three readers of the driver, the reader of the project's database among them,
// against a reading without patterns, and against each other.
//
// An input is a text in UTF-8.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <QString>

#include "cpl/dmc50_polling_thread.h"
#include "driver/dmc50v3.h"
#include "fuzz/address_model.h"
#include "fuzz/driver_tables.h"
#include "fuzz/expect.h"
#include "fuzz/failed_assertion.h"
#include "fuzz/scripted_link.h"

namespace
{

const uchar DefaultStation = 7;

/// To catch an end takes ten times as long as all else: of the texts that must end a reader only
/// every eighth is tried.
bool isTried(const QString &text, bool known)
{
    return known || qHash(text) % 8 == 0;
}

/// Whether a reader ends the program, as it does for a text of no form that it knows.
template <typename Read>
bool ends(const char *condition, Read read)
{
    try {
        read();
    } catch (const FailedAssertion &failed) {
        EXPECT(std::strcmp(failed.condition, condition) == 0);
        return true;
    }
    return false;
}

/// What a reader makes of a text.
struct Reading {
    bool known;
    ulong address;
    uchar station;
};

Reading readByDriver(DriverDMC50v3 &driver, const QString &text)
{
    Reading reading = {false, 0, DefaultStation};
    reading.known = !ends("0", [&]() { reading.address = driver.parseAddrStr(text); });
    return reading;
}

Reading readByThread(PollingThread &thread, const QString &text)
{
    Reading reading = {false, 0, 0};
    reading.known =
        !ends("0", [&]() { EXPECT(thread.parseAddrStr(text, reading.address, reading.station)); });
    return reading;
}

/// The driver's commands carry no station; otherwise both readers agree.
void expectTheSameOfDriver(DriverDMC50v3 &driver, const QString &text, const Reading &byThread,
                           const AddressModel &model)
{
    const Reading byDriver = readByDriver(driver, text);
    EXPECT(byDriver.known == (byThread.known && !model.hasStation));
    EXPECT(!byDriver.known ||
           (byDriver.address == byThread.address && byThread.station == DefaultStation));
}

void expectBits(DriverDMC50v3 &driver, const QString &text, const AddressModel &model)
{
    const bool known = model.form != AddressModel::Unknown && !model.hasStation && model.hasBit;
    if (!isTried(text, known))
        return;
    ulong address = 0;
    uint bit = 0;
    const bool ended = ends("0", [&]() { EXPECT(driver.parseBitAddr(text, address, bit)); });
    EXPECT(ended != known);
    EXPECT(ended || (address == model.address && bit == model.bit));
}

/// The text goes to one station's table, and a text of the NA form to the program transfer too.
void expectFiled(const QString &text, const DriverTables &tables, const Reading &reading,
                 const AddressModel &model)
{
    EXPECT(tables.lowLatencyStations.empty());
    EXPECT(tables.validAddresses.size() == 1);
    const auto &entry = *tables.validAddresses.begin();
    EXPECT(entry.first == reading.station);
    EXPECT(entry.second == AddressVector(1, reading.address));
    const bool isNa = model.form == AddressModel::Na;
    EXPECT(tables.programDataAddresses == (isNa ? QStringList(text) : QStringList()));
}

void expectLowLatency(const QString &text, const DriverTables &tables, bool endedForHyphen)
{
    const int station = lowLatencyStation(text, DefaultStation);
    EXPECT(endedForHyphen == (station < 0));
    EXPECT(tables.validAddresses.empty() && tables.programDataAddresses.isEmpty());
    EXPECT(endedForHyphen ||
           tables.lowLatencyStations == std::set<uchar>{static_cast<uchar>(station)});
}

void expectInProject(DriverDMC50v3 &driver, const QString &text, const Reading &reading,
                     const AddressModel &model)
{
    DriverTables tables(driver);
    tables.clear();
    const bool isLowLatency = text.contains(QLatin1String("LOWLATENCY"));
    bool more = true;
    const bool ended = ends(isLowLatency ? "id_str_len >= 1" : "0",
                            [&]() { addProjectAddress(driver, text, DefaultStation, &more); });
    if (isLowLatency) {
        expectLowLatency(text, tables, ended);
        return;
    }
    const bool isTransfer = !reading.known && text.contains(QLatin1String("VVT_"));
    EXPECT(ended == (!reading.known && !isTransfer));
    EXPECT(more != isTransfer);
    if (reading.known)
        expectFiled(text, tables, reading, model);
    else
        EXPECT(tables.areEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static ScriptedLink link;
    static const AddressVectorMap project;
    static PollingThread thread(&link, &project, DefaultStation);
    static DriverDMC50v3 driver;

    const QString text =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const AddressModel model = readAddress(text);
    const bool known = model.form != AddressModel::Unknown;
    Reading reading = {false, 0, 0};
    if (isTried(text, known)) {
        reading = readByThread(thread, text);
        EXPECT(reading.known == known);
        EXPECT(!known || reading.address == model.address);
        EXPECT(!known || reading.station == (model.hasStation ? model.station : DefaultStation));
    }
    if (isTried(text, known && !model.hasStation))
        expectTheSameOfDriver(driver, text, reading, model);
    expectBits(driver, text, model);
    if (isTried(text, known))
        expectInProject(driver, text, reading, model);
    return 0;
}
