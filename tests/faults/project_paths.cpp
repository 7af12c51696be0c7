// The valid-address table from the project's database.

#include "tests/faults/faults.h"

#include "driver/dmc50v3.h"
#include "tests/driver/driver_probe.h"
#include "tests/driver/project_database.h"

namespace
{

const int TagsOfAStation = 40;
const int Stations = 3;

QStringList tags()
{
    QStringList texts;
    for (int station = 1; station <= Stations; ++station) {
        for (int i = 0; i < TagsOfAStation; ++i)
            texts << QString("%1-NA%2").arg(station).arg(0x5000 + i, 0, 16);
    }
    return texts << "2-LOWLATENCY0";
}

class TableBuild : public FaultPath
{
public:
    TableBuild()
    {
        removeProject();
        ProjectDatabase::withTags(tags());
    }

    std::string name() const override { return "table build"; }
    void prepare() override { m_driver.reset(new DriverDMC50v3); }
    bool attempt() override { return m_driver->readDB(m_device); }

    std::string state(bool succeeded, bool) override
    {
        if (!succeeded)
            return m_driver->hasError() && isDocumented(m_driver->getLastError())
                       ? ""
                       : "no documented error";
        const AddressVectorMap table = probe::validAddresses(*m_driver);
        if (table.size() != Stations)
            return "stations are missing";
        for (const auto &station : table) {
            if (station.second.size() != TagsOfAStation)
                return "addresses are missing or double";
        }
        if (probe::programDataAddresses(*m_driver).size() != Stations * TagsOfAStation)
            return "texts are missing or double";
        return probe::lowLatencyStations(*m_driver).size() == 1 ? "" : "no low-latency station";
    }

    void end() override { m_driver.reset(); }

private:
    static bool isDocumented(const QString &text)
    {
        return text == "can not open database" || text == "failed to get default station id" ||
               text == "failed to initialize valid addresses table";
    }

    const QString m_device = "COM2";
    std::unique_ptr<DriverDMC50v3> m_driver;
};

} // namespace

std::unique_ptr<FaultPath> makeTableBuild()
{
    return std::unique_ptr<FaultPath>(new TableBuild);
}
