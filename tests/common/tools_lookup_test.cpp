// Where the project keeps its database, and what is looked up there.

#include "common/tools.h"

#include <climits>
#include <memory>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::HasSubstr;

// ---- Paths ----------------------------------------------------------------------------------

class ProjectPath : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_directory.isValid());
        // Qt resolves links of the application's own path.
        m_root = QDir(m_directory.path()).canonicalPath();
        ASSERT_TRUE(QFile::copy(PROJECT_PATH_PROBE, m_root + "/probe"));
    }

    void makeDirectory(const QString &path) { ASSERT_TRUE(QDir(m_root).mkpath(path)); }

    void makeFile(const QString &path)
    {
        QFile file(m_root + "/" + path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    /// What an application in the directory finds, without the directory's own path.
    void expectPaths(const char *compilePath, const char *databaseName) const
    {
        QProcess probe;
        probe.start(m_root + "/probe", QStringList());
        ASSERT_TRUE(probe.waitForFinished(60000)) << qPrintable(probe.errorString());
        ASSERT_EQ(0, probe.exitCode()) << probe.readAllStandardError().constData();
        const QString found = QString::fromLocal8Bit(probe.readAllStandardOutput());
        EXPECT_EQ((m_root + compilePath + "\n" + m_root + databaseName + "\n").toStdString(),
                  found.toStdString());
    }

    QTemporaryDir m_directory;
    QString m_root;
};

TEST_F(ProjectPath, IsCompileDatabaseBesideTheApplication)
{
    makeDirectory("compile/database");
    expectPaths("/compile", "/compile/database/database");
}

TEST_F(ProjectPath, DoesNotNeedTheFile)
{
    makeDirectory("compile/database");
    makeFile("compile/database/database");
    expectPaths("/compile", "/compile/database/database");
}

TEST_F(ProjectPath, StaysInCompileWithoutADatabaseDirectory)
{
    makeDirectory("compile");
    expectPaths("/compile", "/compile/database");
}

TEST_F(ProjectPath, StaysBesideTheApplicationWithoutACompileDirectory)
{
    makeDirectory("database");
    expectPaths("", "/database/database");
}

TEST_F(ProjectPath, StaysBesideTheApplicationWithoutAnyDirectory)
{
    expectPaths("", "/database");
}

TEST_F(ProjectPath, TakesNoFileForADirectory)
{
    makeFile("compile");
    makeFile("database");
    expectPaths("", "/database");
}

TEST_F(ProjectPath, FollowsALinkToADirectory)
{
    makeDirectory("elsewhere/database");
    ASSERT_TRUE(QFile::link(m_root + "/elsewhere", m_root + "/compile"));
    expectPaths("/compile", "/compile/database/database");
}

// ---- Port names -----------------------------------------------------------------------------

TEST(DevStrToHmiPort, Adds1001ToTheTrailingNumber)
{
    const struct {
        const char *device;
        int port;
    } rows[] = {{"COM1", 1002},       {"COM2", 1003},       {"COM0", 1001},  {"COM10", 1011},
                {"COM007", 1008},     {"/dev/ttyS3", 1004}, {"A1B22", 1023}, {"-5", 1006},
                {"1ETHERNET2", 1003}, {"ETHERNE1", 1002},   {"COM 9", 1010}};
    for (const auto &row : rows)
        EXPECT_EQ(row.port, DevStrToHmiPort(QString::fromLatin1(row.device))) << row.device;
}

TEST(DevStrToHmiPort, Is2000ForEveryEthernet)
{
    for (const char *device : {"ETHERNET1", "ETHERNET", "ethernet2", "EtherNet0:x", "ETHERNETx"})
        EXPECT_EQ(2000, DevStrToHmiPort(QString::fromLatin1(device))) << device;
}

TEST(DevStrToHmiPort, DoesNotOverflow)
{
    EXPECT_EQ(INT_MAX, DevStrToHmiPort("COM2147482646"));
    EXPECT_EQ(INT_MIN, DevStrToHmiPort("COM2147482647"));
    EXPECT_EQ(1000, DevStrToHmiPort("COM4294967295"));
    EXPECT_EQ(1001, DevStrToHmiPort("COM4294967296"));
}

TEST(DevStrToHmiPortDeathTest, EndsTheProgramWithoutANumberAtTheEndOfAName)
{
    const auto message = HasSubstr("i >= 0 && (i+1) < dev_str.size()");
    for (const char *device : {"COM", "", "1", "123", "COM1 ", "COM1x"})
        EXPECT_DEATH(DevStrToHmiPort(QString::fromLatin1(device)), message) << device;
    EXPECT_DEATH(DevStrToHmiPort(QString()), message);
    EXPECT_DEATH(DevStrToHmiPort(QString("COM") + QChar(0x0661)), message) << "Arabic digit";
}

// ---- Lookups --------------------------------------------------------------------------------

const char Connection[] = "lookup";

class Lookup : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        static int argc = 1;
        static char name[] = "tools_lookup_test";
        static char *argv[] = {name, nullptr};
        application.reset(new QCoreApplication(argc, argv));
    }
    static void TearDownTestSuite() { application.reset(); }

    void SetUp() override
    {
        ASSERT_TRUE(m_directory.isValid());
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", Connection);
        database.setDatabaseName(m_directory.filePath("database"));
        ASSERT_TRUE(database.open()) << qPrintable(database.lastError().text());
        run("CREATE TABLE LINK (LINKID INTEGER, HMIPORT INTEGER)");
        run("CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, ISDEFAULT INTEGER, IP TEXT, "
            "PORT INTEGER)");
    }
    void TearDown() override { QSqlDatabase::removeDatabase(Connection); }

    static void run(const QString &statement)
    {
        QSqlQuery query(QSqlDatabase::database(Connection));
        ASSERT_TRUE(query.exec(statement)) << qPrintable(query.lastError().text());
    }

    /// Values as SQL writes them, so that a row may hold what it should not.
    static void addLink(const QString &link, const QString &hmiPort)
    {
        run(QString("INSERT INTO LINK VALUES (%1, %2)").arg(link, hmiPort));
    }
    static void addNode(const QString &link, const QString &station, int isDefault = 1,
                        const QString &ip = "NULL", const QString &port = "NULL")
    {
        run(QString("INSERT INTO NODE VALUES (%1, %2, %3, %4, %5)")
                .arg(link, station, QString::number(isDefault), ip, port));
    }

    QTemporaryDir m_directory;

private:
    static std::unique_ptr<QCoreApplication> application;
};

std::unique_ptr<QCoreApplication> Lookup::application;

/// The outputs of the lookup by port, with marks in them.
struct Found {
    int link = -77;
    uchar station = 77;

    bool at(int hmiPort)
    {
        return GetLinkIdAndDefaultStationId(Connection, hmiPort, link, station);
    }
    bool isUntouched() const { return link == -77 && station == 77; }
};

typedef QList<LinkIdStationId> Stations;

TEST_F(Lookup, GivesTheLinkAtAPortAndItsDefaultStation)
{
    addLink("7", "1003");
    addLink("8", "1002");
    addNode("7", "4", 0);
    addNode("7", "5", 1);
    addNode("8", "6", 1);
    Found found;
    EXPECT_TRUE(found.at(1003));
    EXPECT_EQ(7, found.link);
    EXPECT_EQ(5, found.station);
    EXPECT_TRUE(found.at(1002));
    EXPECT_EQ(8, found.link);
    EXPECT_EQ(6, found.station);
}

TEST_F(Lookup, TakesTheFirstOfSeveralDefaultStations)
{
    addLink("7", "1003");
    addNode("7", "5");
    addNode("7", "6");
    Found found;
    EXPECT_TRUE(found.at(1003));
    EXPECT_EQ(5, found.station);
}

TEST_F(Lookup, LeavesTheOutputsWithoutARow)
{
    addLink("7", "1003");
    addLink("8", "1004");
    addNode("7", "5", 0);
    Found found;
    EXPECT_FALSE(found.at(1003)) << "no default station";
    EXPECT_FALSE(found.at(1004)) << "no station at all";
    EXPECT_FALSE(found.at(1002)) << "no link";
    EXPECT_FALSE(found.at(-1));
    EXPECT_TRUE(found.isUntouched());
}

TEST_F(Lookup, KeepsTheLowEightBitsOfAStation)
{
    const struct {
        const char *stored;
        int station;
    } rows[] = {{"255", 255}, {"256", 0},      {"257", 1}, {"-1", 255}, {"'12'", 12},
                {"NULL", 0},  {"'twelve'", 0}, {"''", 0},  {"x'FF'", 0}};
    for (const auto &row : rows) {
        run("DELETE FROM LINK");
        run("DELETE FROM NODE");
        addLink("7", "1003");
        addNode("7", row.stored);
        Found found;
        EXPECT_TRUE(found.at(1003)) << row.stored;
        EXPECT_EQ(row.station, found.station) << row.stored;
    }
}

TEST_F(Lookup, SurvivesAMissingTable)
{
    run("DROP TABLE NODE");
    addLink("7", "1003");
    Found found;
    Stations stations;
    EXPECT_FALSE(found.at(1003));
    EXPECT_TRUE(found.isUntouched());
    EXPECT_FALSE(GetLinkIdAndDefaultStationId(Connection, 7, stations));
    EXPECT_FALSE(GetLinkIdAndDefaultStationId(Connection, 1003, "10.0.0.1", 502, stations));
    EXPECT_TRUE(stations.isEmpty());
}

TEST_F(Lookup, FailsOnAConnectionThatDoesNotExist)
{
    int link = -77;
    uchar station = 77;
    Stations stations;
    EXPECT_FALSE(GetLinkIdAndDefaultStationId("no such connection", 1003, link, station));
    EXPECT_EQ(-77, link);
    EXPECT_EQ(77, station);
    EXPECT_FALSE(GetLinkIdAndDefaultStationId("no such connection", 7, stations));
    EXPECT_TRUE(stations.isEmpty());
}

TEST_F(Lookup, FailsOnAFileThatIsNoDatabase)
{
    QSqlDatabase::database(Connection).close();
    QFile file(m_directory.filePath("database"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(QByteArray(4096, 'x'));
    file.close();
    Found found;
    EXPECT_FALSE(found.at(1003));
    EXPECT_TRUE(found.isUntouched());
}

TEST_F(Lookup, OpensAConnectionThatWasClosed)
{
    addLink("7", "1003");
    addNode("7", "5");
    QSqlDatabase::database(Connection).close();
    Found found;
    EXPECT_TRUE(found.at(1003));
    EXPECT_EQ(5, found.station);
}

TEST_F(Lookup, GivesAllDefaultStationsOfALink)
{
    addNode("7", "5");
    addNode("7", "300");
    addNode("7", "6", 0);
    addNode("8", "9");
    Stations stations;
    EXPECT_TRUE(GetLinkIdAndDefaultStationId(Connection, 7, stations));
    EXPECT_EQ((Stations() << LinkIdStationId(7, 5) << LinkIdStationId(7, 44)), stations);
}

TEST_F(Lookup, AppendsToTheListItIsGiven)
{
    addNode("8", "9");
    Stations stations;
    stations << LinkIdStationId(1, 2);
    EXPECT_FALSE(GetLinkIdAndDefaultStationId(Connection, 7, stations)) << "no such link";
    EXPECT_EQ(Stations() << LinkIdStationId(1, 2), stations);
    EXPECT_TRUE(GetLinkIdAndDefaultStationId(Connection, 8, stations));
    EXPECT_EQ((Stations() << LinkIdStationId(1, 2) << LinkIdStationId(8, 9)), stations);
}

TEST_F(Lookup, GivesTheLinksAtASocket)
{
    addLink("7", "2000");
    addLink("8", "2000");
    addLink("9", "1003");
    addNode("7", "1", 1, "'10.0.0.1'", "502");
    addNode("7", "2", 1, "'10.0.0.2'", "502");
    addNode("7", "3", 1, "'10.0.0.1'", "503");
    addNode("7", "4", 0, "'10.0.0.1'", "502");
    addNode("8", "5", 1, "'10.0.0.1'", "502");
    addNode("9", "6", 1, "'10.0.0.1'", "502");
    Stations stations;
    EXPECT_TRUE(GetLinkIdAndDefaultStationId(Connection, 2000, "10.0.0.1", 502, stations));
    EXPECT_EQ((Stations() << LinkIdStationId(7, 1) << LinkIdStationId(8, 5)), stations);
}

TEST_F(Lookup, AppendsNothingWithoutASocket)
{
    addLink("7", "2000");
    addNode("7", "1", 1, "'10.0.0.1'", "502");
    Stations stations;
    stations << LinkIdStationId(1, 2);
    EXPECT_FALSE(GetLinkIdAndDefaultStationId(Connection, 2000, "10.0.0.2", 502, stations));
    EXPECT_FALSE(GetLinkIdAndDefaultStationId(Connection, 2000, "10.0.0.1", 501, stations));
    EXPECT_FALSE(GetLinkIdAndDefaultStationId(Connection, 2001, "10.0.0.1", 502, stations));
    EXPECT_FALSE(GetLinkIdAndDefaultStationId(Connection, 2000, "", 502, stations));
    EXPECT_EQ(Stations() << LinkIdStationId(1, 2), stations);
}

TEST_F(Lookup, KnowsEveryPortOfASocket)
{
    addLink("7", "2000");
    addNode("7", "1", 1, "'10.0.0.1'", "0");
    addNode("7", "2", 1, "'10.0.0.1'", "65535");
    Stations stations;
    EXPECT_TRUE(GetLinkIdAndDefaultStationId(Connection, 2000, "10.0.0.1", 0, stations));
    EXPECT_TRUE(GetLinkIdAndDefaultStationId(Connection, 2000, "10.0.0.1", 65535, stations));
    EXPECT_EQ((Stations() << LinkIdStationId(7, 1) << LinkIdStationId(7, 2)), stations);
}

TEST_F(Lookup, TakesAnyTextForAnIp)
{
    addLink("7", "2000");
    addNode("7", "1", 1, "'10.0.0.1'", "502");
    addNode("7", "2", 1, "'O''Neill'", "502");
    addNode("7", "3", 1, "'%3 %1 %2'", "502");
    addNode("7", "4", 1, "'%L1'", "502");
    addNode("7", "5", 1, "''", "502");
    const struct {
        const char *ip;
        int station; ///< 0: none
    } rows[] = {{"' OR '1' = '1", 0},
                {"10.0.0.1' --", 0},
                {"x'; DROP TABLE NODE; --", 0},
                {"'", 0},
                {"O'Neill", 2},
                {"%3 %1 %2", 3},
                {"%L1", 4},
                {"", 5},
                {"10.0.0.1", 1}};
    for (const auto &row : rows) {
        Stations stations;
        EXPECT_EQ(row.station != 0,
                  GetLinkIdAndDefaultStationId(Connection, 2000, row.ip, 502, stations))
            << row.ip;
        ASSERT_EQ(row.station != 0 ? 1 : 0, stations.size()) << row.ip;
        EXPECT_EQ(row.station, stations.value(0).second) << row.ip;
    }
}

} // namespace
