// The table of valid addresses, built from real project databases.

#include "driver/dmc50v3.h"

#include "common/tools.h"
#include "cpl/dmc50_polling_thread.h"
#include "driver_probe.h"
#include "project_database.h"
#include "tests/support/bytes.h"
#include "tests/support/fake_link.h"
#include "tests/support/frames.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <unistd.h>

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

const char CannotOpen[] = "can not open database";
const char NoDefaultStation[] = "failed to get default station id";
const char NoTable[] = "failed to initialize valid addresses table";

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    ASSERT_EQ(content.size(), file.write(content));
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
    return file.readAll();
}

void moveOnto(const QString &from, const QString &to)
{
    ASSERT_EQ(0, std::rename(qPrintable(from), qPrintable(to)));
}

/// The bytes of a project made elsewhere.
QByteArray projectBytes(const QStringList &tags)
{
    const QString path = QCoreApplication::applicationDirPath() + "/elsewhere";
    QFile::remove(path);
    ProjectDatabase::withTags(tags, 1, path);
    return readFile(path);
}

/// A driver with nothing beside its program.
class ProjectOfDriver : public testing::Test
{
protected:
    ProjectOfDriver() { removeProject(); }
    ~ProjectOfDriver() override
    {
        driver.reset();
        removeProject();
    }

    bool readDB(const QString &device = "COM2") { return driver->readDB(device); }

    void expectFailure(const char *error)
    {
        EXPECT_FALSE(readDB());
        EXPECT_TRUE(driver->hasError());
        EXPECT_EQ(error, driver->getLastError());
        EXPECT_FALSE(probe::state(*driver).tableReady);
    }

    AddressVectorMap table() const { return probe::validAddresses(*driver); }

    std::unique_ptr<DriverDMC50v3> driver{new DriverDMC50v3};
};

// ---- What the rows become ------------------------------------------------------------------

TEST_F(ProjectOfDriver, GivesEachStationItsAddresses)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"2-NA20", "NA10", "PA0011234"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(),
                ElementsAre(Pair(1, ElementsAre(0x10, 0x00101234)), Pair(2, ElementsAre(0x20))));
    EXPECT_EQ(QStringList({"2-NA20", "NA10"}), probe::programDataAddresses(*driver));
    EXPECT_THAT(probe::lowLatencyStations(*driver), IsEmpty());
    EXPECT_FALSE(driver->hasError());
}

TEST_F(ProjectOfDriver, KnowsTheFourFormsInEitherCase)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"3-pa00a0", "pa00a1", "3-na20", "Na21"}, 9);
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(3, ElementsAre(0x20, 0x00A00000)),
                                     Pair(9, ElementsAre(0x21, 0x00A00001))));
}

TEST_F(ProjectOfDriver, KeepsNumericTextsAsTheyStand)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"na13e0", "PA0011", "NA13E0", "na13e0", "4-Na1000.3"});
    ASSERT_TRUE(readDB());
    EXPECT_EQ(QStringList({"na13e0", "NA13E0", "na13e0", "4-Na1000.3"}),
              probe::programDataAddresses(*driver));
}

TEST_F(ProjectOfDriver, TakesTheDoubleWordOfABit)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"NA10.3", "PA0011234.7", "2-NA20.31"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(),
                ElementsAre(Pair(1, ElementsAre(0x10, 0x00101234)), Pair(2, ElementsAre(0x20))));
}

TEST_F(ProjectOfDriver, SortsAddressesAndKeepsDuplicates)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"NA30", "NAFFFFFFFF", "NA10", "NA30", "NA0", "NA20"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(),
                ElementsAre(Pair(1, ElementsAre(0x0, 0x10, 0x20, 0x30, 0x30, 0xFFFFFFFF))));
}

TEST_F(ProjectOfDriver, KeepsTheLowEightBitsOfAStation)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"300-NA20", "256-PA0011", "4294967296-NA1", "255-NA2"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(0, ElementsAre(0x1, 0x00100001)),
                                     Pair(44, ElementsAre(0x20)), Pair(255, ElementsAre(0x2))));
}

TEST_F(ProjectOfDriver, MayHaveNoTagAtAll)
{
    const ProjectDatabase project = ProjectDatabase::withTags({});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_TRUE(probe::state(*driver).tableReady);
}

TEST_F(ProjectOfDriver, LeavesOutTheTagsOfOtherLinks)
{
    ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    project.addLink(6, 1004);
    project.addNode(6, 8, 1);
    project.addTags({"NA20", "not an address"}, 6);
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

// ---- Tags that the query leaves out --------------------------------------------------------

TEST_F(ProjectOfDriver, LeavesOutItsOwnTags)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"INITDRV0", "WRITE_QUE_SIZE", "WRITE_QUE_SIZE0", "VVT_ENABLE0",
                                   "VVT_PROGRESS1", "VVT_PROG_COUNT0", "NA10"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, LeavesOutItsOwnTagsInEitherCase)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"initdrv0", "Write_Que_Size1", "vvt_enable0", "NA10"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

// "_" stands for any character, and INITDRV0 is asked for at the end only.
TEST_F(ProjectOfDriver, LeavesOutLookAlikes)
{
    const ProjectDatabase project = ProjectDatabase::withTags(
        {"3-INITDRV0", "NA20INITDRV0", "WRITE-QUExSIZE9", "VVTX", "vvt9", "VVT 1", "NA10"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, TakesAddressesThatOnlyContainSuchNames)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"NA10VVT_", "NA11WRITE_QUE_SIZE0", "NA12INITDRV01"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10, 0x11, 0x12))));
}

TEST_F(ProjectOfDriver, EndsAtATransferTagAmidItsRows)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"NA30", "NA10", "X VVT_ENABLE0", "NA20", "not an address"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x30, 0x10)))) << "not sorted on purpose";
    EXPECT_EQ(QStringList({"NA30", "NA10"}), probe::programDataAddresses(*driver));
    EXPECT_TRUE(probe::state(*driver).tableReady);
}

TEST_F(ProjectOfDriver, MayBeginWithATransferTag)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"3-VVT_ENABLE0", "NA10"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), IsEmpty());
}

// ---- Low-latency stations ------------------------------------------------------------------

TEST_F(ProjectOfDriver, NamesLowLatencyStations)
{
    const ProjectDatabase project = ProjectDatabase::withTags(
        {"5-LOWLATENCY", "LOWLATENCY", "7-LOWLATENCY0", "5-LOWLATENCY"}, 9);
    ASSERT_TRUE(readDB());
    EXPECT_THAT(probe::lowLatencyStations(*driver), ElementsAre(5, 7, 9));
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_TRUE(probe::programDataAddresses(*driver).isEmpty());
}

TEST_F(ProjectOfDriver, KeepsTheLowEightBitsOfALowLatencyStation)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"300-LOWLATENCY"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(probe::lowLatencyStations(*driver), ElementsAre(44));
}

TEST_F(ProjectOfDriver, TakesTheDefaultStationWhereNoDigitLeads)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"-LOWLATENCY", "x-5-LOWLATENCY", " 5-LOWLATENCY"}, 9);
    ASSERT_TRUE(readDB());
    EXPECT_THAT(probe::lowLatencyStations(*driver), ElementsAre(9));
}

TEST_F(ProjectOfDriver, TakesNoAddressFromALowLatencyTag)
{
    const ProjectDatabase project =
        ProjectDatabase::withTags({"NA10LOWLATENCY", "3-NA10LOWLATENCY"}, 9);
    ASSERT_TRUE(readDB());
    EXPECT_THAT(probe::lowLatencyStations(*driver), ElementsAre(3, 9));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ProjectOfDriver, ReadsALowLatencyStationThatIsNoNumberAsZero)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"5x-LOWLATENCY", "6LOWLATENCY-"}, 9);
    ASSERT_TRUE(readDB());
    EXPECT_THAT(probe::lowLatencyStations(*driver), ElementsAre(0));
}

TEST_F(ProjectOfDriver, HandsLowLatencyStationsToTheThread)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"5-LOWLATENCY", "NA10"});
    FakeLink link;
    link.answer = frames::echoAddresses;
    CommunicatorCommand command;
    command.address = "NA10";
    EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, command)));
    EXPECT_EQ(1, probe::thread(*driver)->numOfLowLatencyStation());
    driver.reset();
}

// ---- Rows that no project compiler writes --------------------------------------------------

TEST_F(ProjectOfDriver, PassesOverRowsWithoutAddressOrLink)
{
    ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    project.addTag(QVariant(QVariant::String), ProjectDatabase::LinkId);
    project.addTag("NA20", QVariant(QVariant::Int));
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, ReadsNumbersThatAreStoredAsText)
{
    ProjectDatabase project = ProjectDatabase::empty();
    project.execute({"DROP TABLE custom_tag_table", "DROP TABLE LINK", "DROP TABLE NODE",
                     "CREATE TABLE custom_tag_table (address TEXT, connector_id TEXT)",
                     "CREATE TABLE LINK (LINKID TEXT, HMIPORT TEXT)",
                     "CREATE TABLE NODE (LINKID TEXT, STATIONID TEXT, ISDEFAULT TEXT)",
                     "INSERT INTO custom_tag_table VALUES ('NA10', '5')",
                     "INSERT INTO LINK VALUES ('5', '1003')",
                     "INSERT INTO NODE VALUES ('5', '12', '1')"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(12, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, ReadsAnAddressThatIsStoredAsBytes)
{
    ProjectDatabase project = ProjectDatabase::withTags({});
    project.execute({"INSERT INTO custom_tag_table VALUES (X'4E413130', 5)"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, SurvivesEnormousAddresses)
{
    const int size = 10 * 1024;
    const ProjectDatabase project = ProjectDatabase::withTags(
        {"NA" + QString(size, 'F'), "PA001" + QString(size, '9'), "NA" + QString(size, '0') + "7",
         QString(size, '9') + "-NA20", QString(size, '9') + "-LOWLATENCY", "NA10"});
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(0, ElementsAre(0x20)),
                                     Pair(1, ElementsAre(0x0, 0x7, 0x10, 0x00100000))));
    EXPECT_THAT(probe::lowLatencyStations(*driver), ElementsAre(0));
}

TEST_F(ProjectOfDriver, MayHaveAHundredThousandTags)
{
    const int count = 100000;
    QStringList tags;
    for (int i = count; i > 0; --i)
        tags << QString("%1-%2%3").arg(i % 31 + 1).arg(i % 2 ? "NA" : "PA001").arg(i, 0, 16);
    const ProjectDatabase project = ProjectDatabase::withTags(tags);

    // The processor's time, which other programs do not take from this one.
    const std::clock_t start = std::clock();
    ASSERT_TRUE(readDB());
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    RecordProperty("milliseconds", static_cast<int>(seconds * 1000));
    // About a second as a rule; the bound is for instrumented and emulated code.
    EXPECT_GT(30, seconds);

    size_t addresses = 0;
    for (const auto &station : table()) {
        addresses += station.second.size();
        EXPECT_TRUE(std::is_sorted(station.second.begin(), station.second.end()));
    }
    EXPECT_EQ(size_t(count), addresses);
    EXPECT_EQ(31u, table().size());
    EXPECT_EQ(count / 2, probe::programDataAddresses(*driver).size());
}

typedef ProjectOfDriver ProjectOfDriverDeathTest;

class RowOfNoKnownForm : public ProjectOfDriver, public testing::WithParamInterface<const char *>
{
};

typedef RowOfNoKnownForm RowOfNoKnownFormDeathTest;

TEST_P(RowOfNoKnownFormDeathTest, EndsTheProgram)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10", GetParam(), "NA20"});
    EXPECT_DEATH(readDB(), HasSubstr("Assertion `0' failed"));
}

INSTANTIATE_TEST_SUITE_P(Texts, RowOfNoKnownFormDeathTest,
                         testing::Values("XA100", "", "NA", "PA123", "INITDRV", "INITDRV1",
                                         "INITDRV0 ", "XWRITE_QUE_SIZE0", "x vvt_enable0",
                                         "lowlatency", "3-lowlatency", " NA10", "3--NA10",
                                         "\xE6\xB8\xA9\xE5\xBA\xA6"));

TEST_F(ProjectOfDriverDeathTest, EndsTheProgramForAnAddressThatIsANumber)
{
    ProjectDatabase project = ProjectDatabase::empty();
    project.addLink(5, 1003);
    project.addNode(5, 1, 1);
    project.execute({"DROP TABLE custom_tag_table",
                     "CREATE TABLE custom_tag_table (address, connector_id)",
                     "INSERT INTO custom_tag_table VALUES (1000, 5)"});
    EXPECT_DEATH(readDB(), HasSubstr("Assertion `0' failed"));
}

TEST_F(ProjectOfDriverDeathTest, EndsTheProgramForALowLatencyTagWithANumberButNoHyphen)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"5LOWLATENCY"});
    EXPECT_DEATH(readDB(), HasSubstr("Assertion `id_str_len >= 1' failed"));
}

// ---- Link and default station --------------------------------------------------------------

TEST_F(ProjectOfDriver, IsLookedUpByThePortOfTheLink)
{
    ProjectDatabase project = ProjectDatabase::empty();
    project.addLink(1, 1002);
    project.addNode(1, 11, 1);
    project.addTags({"NA1"}, 1);
    project.addLink(2, 1003);
    project.addNode(2, 12, 1);
    project.addTags({"NA2"}, 2);
    project.addLink(3, 2000);
    project.addNode(3, 13, 1);
    project.addTags({"NA3"}, 3);

    ASSERT_TRUE(readDB("COM1"));
    EXPECT_THAT(table(), ElementsAre(Pair(11, ElementsAre(0x1))));
    driver.reset(new DriverDMC50v3);
    ASSERT_TRUE(readDB("COM2"));
    EXPECT_THAT(table(), ElementsAre(Pair(12, ElementsAre(0x2))));
    driver.reset(new DriverDMC50v3);
    ASSERT_TRUE(readDB("ethernet1"));
    EXPECT_THAT(table(), ElementsAre(Pair(13, ElementsAre(0x3))));
}

TEST_F(ProjectOfDriver, TellsTheDefaultStationAmongTheNodes)
{
    ProjectDatabase project = ProjectDatabase::empty();
    project.addLink(5, 1003);
    project.addNode(5, 2, 0);
    project.addNode(5, 3, 1);
    project.addNode(6, 4, 1);
    ASSERT_TRUE(readDB());
    EXPECT_EQ(3, probe::state(*driver).defaultStation);
}

TEST_F(ProjectOfDriver, KeepsTheLowEightBitsOfTheDefaultStation)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"}, 300);
    ASSERT_TRUE(readDB());
    EXPECT_EQ(44, probe::state(*driver).defaultStation);
    EXPECT_THAT(table(), ElementsAre(Pair(44, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, NeedsANodeThatIsTheDefault)
{
    ProjectDatabase project = ProjectDatabase::empty();
    project.addLink(5, 1003);
    project.addNode(5, 2, 0);
    project.addNode(5, 3, QVariant(QVariant::Int));
    project.addNode(6, 4, 1);
    expectFailure(NoDefaultStation);
    EXPECT_EQ(1, probe::state(*driver).defaultStation);
}

TEST_F(ProjectOfDriver, NeedsALinkAtThePort)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_FALSE(readDB("COM3"));
    EXPECT_EQ(NoDefaultStation, driver->getLastError());
}

TEST_F(ProjectOfDriver, LeavesTheCallersValuesWhenThereIsNoDefaultStation)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    ASSERT_TRUE(driver->createDBConnection());
    int link_id = -7;
    uchar station = 77;
    EXPECT_FALSE(driver->getLinkIdAndDefaultStationId(1999, link_id, station));
    EXPECT_EQ(-7, link_id);
    EXPECT_EQ(77, station);
    EXPECT_TRUE(driver->getLinkIdAndDefaultStationId(1003, link_id, station));
    EXPECT_EQ(5, link_id);
    EXPECT_EQ(1, station);
}

TEST_F(ProjectOfDriverDeathTest, EndsTheProgramForAPortNameWithoutNumber)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_DEATH(readDB("COM"), HasSubstr("`i >= 0 && (i+1) < dev_str.size()'"));
    EXPECT_DEATH(readDB("2"), HasSubstr("`i >= 0 && (i+1) < dev_str.size()'"));
    EXPECT_DEATH(readDB(""), HasSubstr("`i >= 0 && (i+1) < dev_str.size()'"));
}

TEST_F(ProjectOfDriver, IsOpenedBeforeThePortNameIsLookedAt)
{
    EXPECT_FALSE(readDB("COM"));
    EXPECT_EQ(CannotOpen, driver->getLastError());
}

class UnusableDefaultStation : public ProjectOfDriver, public testing::WithParamInterface<QVariant>
{
};

typedef UnusableDefaultStation UnusableDefaultStationDeathTest;

TEST_P(UnusableDefaultStationDeathTest, EndsTheProgramWhenTheThreadIsCreated)
{
    ProjectDatabase project = ProjectDatabase::empty();
    project.addLink(5, 1003);
    project.addNode(5, GetParam(), 1);
    project.addTags({"NA10"});
    FakeLink link;
    CommunicatorCommand command;
    command.address = "NA10";
    EXPECT_DEATH(driver->read(&link, command),
                 HasSubstr("Assertion `m_default_station_id > 0' failed"));
}

INSTANTIATE_TEST_SUITE_P(Values, UnusableDefaultStationDeathTest,
                         testing::Values(QVariant(0), QVariant(256), QVariant("none"),
                                         QVariant(QVariant::Int)));

// ---- The file and its connection -----------------------------------------------------------

TEST_F(ProjectOfDriver, IsReadOnceAndThenClosed)
{
    {
        const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
        ASSERT_TRUE(readDB());
    }
    const probe::State state = probe::state(*driver);
    EXPECT_TRUE(state.tableReady);
    EXPECT_FALSE(state.databaseOpened);
    EXPECT_FALSE(QSqlDatabase::database(probe::connectionName(*driver), false).isOpen());

    removeProject();
    const ProjectDatabase changed = ProjectDatabase::withTags({"NA20"});
    EXPECT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
    EXPECT_FALSE(QSqlDatabase::database(probe::connectionName(*driver), false).isOpen());
}

TEST_F(ProjectOfDriver, IsNotReadForATableThatIsThere)
{
    probe::setValidAddresses(*driver, {{1, {0x10}}});
    EXPECT_TRUE(readDB());
    EXPECT_FALSE(QSqlDatabase::contains(probe::connectionName(*driver)));
    EXPECT_FALSE(driver->hasError());
}

TEST_F(ProjectOfDriver, HasAConnectionForReadingOnly)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    ASSERT_TRUE(driver->createDBConnection());
    const QSqlDatabase database = QSqlDatabase::database(probe::connectionName(*driver), false);
    EXPECT_TRUE(database.isOpen());
    EXPECT_EQ("QSQLITE", database.driverName());
    EXPECT_EQ(ProjectDatabase::usualPath(), database.databaseName());
    EXPECT_EQ("QSQLITE_OPEN_READONLY", database.connectOptions());

    QSqlQuery query(database);
    EXPECT_FALSE(query.exec("INSERT INTO custom_tag_table VALUES ('NA20', 5)"));
    EXPECT_THAT(query.lastError().text().toStdString(), HasSubstr("readonly"));
}

TEST_F(ProjectOfDriver, IsConnectedOnce)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_TRUE(driver->createDBConnection());
    EXPECT_TRUE(driver->createDBConnection());
    EXPECT_EQ(QStringList({probe::connectionName(*driver)}), QSqlDatabase::connectionNames());
}

// Kept on purpose: what matters is the look-up, which opens the connection.
TEST_F(ProjectOfDriver, IsTakenAsConnectedAfterAFailedAttempt)
{
    EXPECT_FALSE(driver->createDBConnection());
    EXPECT_TRUE(driver->createDBConnection());
}

TEST_F(ProjectOfDriver, IsLeftAsItWas)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10", "5-LOWLATENCY"});
    const QByteArray before = readFile(project.path());
    QFile::setPermissions(project.path(), QFile::ReadOwner);
    ASSERT_TRUE(readDB());
    EXPECT_EQ(before, readFile(project.path()));
    EXPECT_EQ(QStringList({"database"}),
              QFileInfo(project.path()).dir().entryList(QDir::Files | QDir::Hidden));
}

TEST_F(ProjectOfDriver, MayLieInADatabaseDirectoryBesideTheProgram)
{
    const QString path = QCoreApplication::applicationDirPath() + "/database/database";
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"}, 1, path);
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, MayLieDirectlyInTheCompileDirectory)
{
    const QString path = QCoreApplication::applicationDirPath() + "/compile/database";
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"}, 1, path);
    ASSERT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, IsRebuiltFromNothing)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10", "2-NA20"});
    ASSERT_TRUE(driver->createDBConnection());
    ASSERT_TRUE(driver->initValidAddressesMap(5, 3));
    ASSERT_TRUE(driver->initValidAddressesMap(5, 1));
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10)), Pair(2, ElementsAre(0x20))));
}

TEST_F(ProjectOfDriver, CannotBeReadWithoutAConnection)
{
    EXPECT_FALSE(driver->initValidAddressesMap(5, 1));
    EXPECT_THAT(table(), IsEmpty());
}

// ---- A project that is not there yet, and then is ------------------------------------------

TEST_F(ProjectOfDriver, MayComeLate)
{
    expectFailure(CannotOpen);
    expectFailure(NoDefaultStation);
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
    EXPECT_FALSE(QSqlDatabase::database(probe::connectionName(*driver), false).isOpen());
}

TEST_F(ProjectOfDriver, MayComeLateIntoADirectoryThatIsThere)
{
    QDir().mkpath(QFileInfo(ProjectDatabase::usualPath()).path());
    expectFailure(CannotOpen);
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_TRUE(readDB());
}

TEST_F(ProjectOfDriver, IsFoundInACompileDirectoryThatComesLate)
{
    writeFile(QCoreApplication::applicationDirPath() + "/database/database", "an old project");
    expectFailure(NoDefaultStation);
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, MayBeADirectoryFirst)
{
    QDir().mkpath(ProjectDatabase::usualPath());
    expectFailure(CannotOpen);
    QDir().rmdir(ProjectDatabase::usualPath());
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_TRUE(readDB());
}

TEST_F(ProjectOfDriver, MayBeEmptyFirst)
{
    writeFile(ProjectDatabase::usualPath(), QByteArray());
    expectFailure(NoDefaultStation);
    EXPECT_TRUE(probe::state(*driver).databaseOpened);
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_TRUE(readDB());
}

TEST_F(ProjectOfDriver, MayLackItsTablesFirst)
{
    ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    project.execute(
        {"ALTER TABLE LINK RENAME TO LATER_1", "ALTER TABLE custom_tag_table RENAME TO LATER_2"});
    expectFailure(NoDefaultStation);
    project.execute({"ALTER TABLE LATER_1 RENAME TO LINK"});
    expectFailure(NoTable);
    EXPECT_TRUE(probe::state(*driver).databaseOpened);
    project.execute({"ALTER TABLE LATER_2 RENAME TO custom_tag_table"});
    EXPECT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, MayLackItsColumns)
{
    ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    project.execute({"ALTER TABLE custom_tag_table RENAME COLUMN connector_id TO other"});
    expectFailure(NoTable);
}

TEST_F(ProjectOfDriver, MayGetItsDefaultStationLater)
{
    ProjectDatabase project = ProjectDatabase::empty();
    project.addLink(5, 1003);
    project.addTags({"NA10"});
    expectFailure(NoDefaultStation);
    expectFailure(NoDefaultStation);
    project.addNode(5, 4, 1);
    EXPECT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(4, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, MayBeLockedForAWhile)
{
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    {
        const ProjectDatabase::Lock lock(project);
        expectFailure(NoDefaultStation); // after the five seconds that SQLite tries
    }
    EXPECT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, MayBeGarbageFirst)
{
    writeFile(ProjectDatabase::usualPath(), QByteArray(8192, '\xA5'));
    expectFailure(NoDefaultStation);
    expectFailure(NoDefaultStation);
    writeFile(ProjectDatabase::usualPath(), projectBytes({"NA10"}));
    EXPECT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x10))));
}

TEST_F(ProjectOfDriver, MayHaveALostFirstPage)
{
    const QByteArray whole = projectBytes({"NA10"});
    QByteArray damaged = whole;
    damaged.replace(0, 4096, QByteArray(4096, '\0'));
    writeFile(ProjectDatabase::usualPath(), damaged);
    expectFailure(NoDefaultStation);
    writeFile(ProjectDatabase::usualPath(), whole);
    EXPECT_TRUE(readDB());
}

// An open connection goes on with the file that it opened, whatever its name leads to by now.
TEST_F(ProjectOfDriver, MayBeReplacedByRenaming)
{
    const QString elsewhere = QCoreApplication::applicationDirPath() + "/elsewhere";
    ProjectDatabase first = ProjectDatabase::empty();
    expectFailure(NoDefaultStation);
    writeFile(elsewhere, projectBytes({"NA20"}));
    moveOnto(elsewhere, ProjectDatabase::usualPath());
    EXPECT_TRUE(readDB());
    EXPECT_THAT(table(), ElementsAre(Pair(1, ElementsAre(0x20))));
}

QStringList manyTags()
{
    QStringList tags("5-LOWLATENCY");
    for (int i = 0; i < 3000; ++i)
        tags << QString("NA%1").arg(i, 0, 16);
    return tags;
}

// Rows that come before the break look right, and half a table must not pass for a table.
TEST_F(ProjectOfDriver, IsNeverTakenByHalves)
{
    const QByteArray whole = projectBytes(manyTags());
    int failures = 0;
    for (int size = whole.size() - 1; size > 0; size -= 1500) {
        driver.reset(new DriverDMC50v3);
        writeFile(ProjectDatabase::usualPath(), whole.left(size));
        if (readDB()) {
            EXPECT_EQ(3000u, table()[1].size()) << size;
            continue;
        }
        ++failures;
        EXPECT_THAT(table(), IsEmpty()) << size;
        EXPECT_THAT(probe::lowLatencyStations(*driver), IsEmpty()) << size;
        EXPECT_TRUE(probe::programDataAddresses(*driver).isEmpty()) << size;

        writeFile(ProjectDatabase::usualPath(), whole);
        EXPECT_TRUE(readDB()) << size;
        EXPECT_EQ(3000u, table()[1].size()) << size;
        EXPECT_EQ(3000, probe::programDataAddresses(*driver).size()) << size;
    }
    EXPECT_LT(10, failures);
}

TEST_F(ProjectOfDriver, FailsAsATableWhenItsRowsBreakOff)
{
    const QByteArray whole = projectBytes(manyTags());
    QByteArray damaged = whole;
    damaged.replace(whole.size() - 4096, 4096, QByteArray(4096, '\xA5'));
    writeFile(ProjectDatabase::usualPath(), damaged);
    expectFailure(NoTable);
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_THAT(probe::lowLatencyStations(*driver), IsEmpty());
    EXPECT_TRUE(probe::programDataAddresses(*driver).isEmpty());
    writeFile(ProjectDatabase::usualPath(), whole);
    EXPECT_TRUE(readDB());
    EXPECT_EQ(3000u, table()[1].size());
    EXPECT_EQ(3000, probe::programDataAddresses(*driver).size());
}

/// What a power cut in the middle of a change leaves: a half-changed file and the journal that
/// would undo the change.
void leaveHotJournal(const QString &path)
{
    const QString elsewhere = QCoreApplication::applicationDirPath() + "/elsewhere";
    writeFile(elsewhere, projectBytes(manyTags()));
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", "power cut");
        database.setDatabaseName(elsewhere);
        ASSERT_TRUE(database.open());
        for (const char *statement :
             {"PRAGMA cache_size = 1", "BEGIN", "UPDATE custom_tag_table SET address = 'NA1'"})
            QSqlQuery(database).exec(statement);
        writeFile(path, readFile(elsewhere));
        writeFile(path + "-journal", readFile(elsewhere + "-journal"));
    }
    QSqlDatabase::removeDatabase("power cut");
}

TEST_F(ProjectOfDriver, IsNotRepairedByTheDriverAfterAPowerCut)
{
    const QString path = ProjectDatabase::usualPath();
    leaveHotJournal(path);
    const QByteArray file = readFile(path);
    const QByteArray journal = readFile(path + "-journal");
    expectFailure(NoDefaultStation);
    EXPECT_EQ(file, readFile(path));
    EXPECT_EQ(journal, readFile(path + "-journal"));

    QFile::remove(path + "-journal");
    writeFile(path, projectBytes({"NA10"}));
    EXPECT_TRUE(readDB());
}

// ---- From the runtime's calls --------------------------------------------------------------

class ProjectAndLink : public ProjectOfDriver
{
protected:
    ProjectAndLink()
    {
        link.answer = frames::echoAddresses;
        command.address = "NA10";
    }
    ~ProjectAndLink() override { driver.reset(); }

    FakeLink link;
    CommunicatorCommand command;
};

TEST_F(ProjectAndLink, AreMissedByReadAndWriteUntilTheyAreThere)
{
    EXPECT_EQ("", hexOf(driver->read(&link, command)));
    EXPECT_EQ(CannotOpen, driver->getLastError());
    EXPECT_EQ(0, driver->write(&link, command, bytes("01")));
    EXPECT_EQ(NoDefaultStation, driver->getLastError());
    EXPECT_TRUE(driver->hasError());
    EXPECT_EQ(nullptr, probe::thread(*driver));

    const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    EXPECT_EQ(1, driver->write(&link, command, bytes("01")));
    EXPECT_FALSE(driver->hasError());
    EXPECT_NE(nullptr, probe::thread(*driver));
    EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, command)));
}

TEST_F(ProjectAndLink, AreNeededForTheDriversOwnTagsToo)
{
    for (const char *address : {"INITDRV0", "LOWLATENCY", "WRITE_QUE_SIZE0", "VVT_ENABLE0"}) {
        command.address = address;
        EXPECT_EQ("", hexOf(driver->read(&link, command))) << address;
        EXPECT_EQ(0, driver->write(&link, command, bytes("01"))) << address;
    }
}

TEST_F(ProjectAndLink, MeetAtTheNameOfThePort)
{
    ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
    project.addLink(6, 1006);
    project.addNode(6, 2, 1);
    project.addTags({"NA20"}, 6);
    link.setting.string = "COM5";
    link.station = 2;
    command.address = "NA20";
    EXPECT_EQ("20 00 00 00", hexOf(driver->read(&link, command)));
    EXPECT_EQ(frames::readRequest(2, {0x20}), link.sent().front());
}

TEST_F(ProjectAndLink, AreReadOnceForAllCalls)
{
    {
        const ProjectDatabase project = ProjectDatabase::withTags({"NA10"});
        EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, command)));
    }
    removeProject();
    EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, command)));
    EXPECT_EQ(1, driver->write(&link, command, bytes("01")));
    EXPECT_FALSE(driver->hasError());
}

TEST_F(ProjectAndLink, StartTheSessionThatWasAnnouncedBefore)
{
    command.address = "4-NA40";
    driver->setSessionCommand(QList<CommunicatorCommand>() << command);
    const ProjectDatabase project = ProjectDatabase::withTags({"NA10", "4-NA40"});
    command.address = "NA10";
    EXPECT_EQ("10 00 00 00", hexOf(driver->read(&link, command)));
    EXPECT_THAT(link.sent(), testing::Contains(frames::readRequest(4, {0x40})));
}

} // namespace
