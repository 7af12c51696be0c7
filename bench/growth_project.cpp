#include "bench/growth_project.h"

#include <cstdlib>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace
{

const char ConnectionName[] = "project of the measurement";
const int Com2Port = 1003;
const ulong FirstAddress = 0x1000;

void run(QSqlQuery *query)
{
    if (!query->exec())
        qFatal("cannot write the project: %s", qPrintable(query->lastError().text()));
}

void run(const QSqlDatabase &database, const QString &statement)
{
    QSqlQuery query(database);
    query.prepare(statement);
    run(&query);
}

void fill(const QSqlDatabase &database, int tags)
{
    run(database, "CREATE TABLE custom_tag_table (address TEXT, connector_id INTEGER)");
    run(database, "CREATE TABLE LINK (LINKID INTEGER, HMIPORT INTEGER)");
    run(database, "CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, ISDEFAULT INTEGER)");
    run(database,
        QString("INSERT INTO LINK VALUES (%1, %2)").arg(GrowthProject::LinkId).arg(Com2Port));
    run(database, QString("INSERT INTO NODE VALUES (%1, %2, 1)")
                      .arg(GrowthProject::LinkId)
                      .arg(int(GrowthProject::DefaultStation)));
    QSqlQuery insertion(database);
    insertion.prepare("INSERT INTO custom_tag_table VALUES (?, ?)");
    for (int tag = 0; tag < tags; ++tag) {
        insertion.bindValue(0, GrowthProject::projectTextOf(tag));
        insertion.bindValue(1, int(GrowthProject::LinkId));
        run(&insertion);
    }
}

} // namespace

CommunicatorCommand GrowthProject::accessTo(const QString &text)
{
    CommunicatorCommand command;
    command.address = text;
    command.dataType = CommunicatorCommand::DoubleWordType;
    command.length = 1;
    return command;
}

QString GrowthProject::databaseFile()
{
    return QCoreApplication::applicationDirPath() + "/compile/database/database";
}

ulong GrowthProject::addressOf(int tag)
{
    return FirstAddress + static_cast<ulong>(tag / Stations);
}

/// Every second address as PA, the others as NA.
QString GrowthProject::textOf(int tag)
{
    const ulong address = addressOf(tag);
    if (address % 2 == 0)
        return QString("NA%1").arg(address, 0, 16);
    return QString("PA%1%2").arg(address >> 20, 3, 16, QChar('0')).arg(address & 0xFFFFFU, 0, 16);
}

QString GrowthProject::projectTextOf(int tag)
{
    const int station = stationOf(tag);
    return station == DefaultStation ? textOf(tag) : QString("%1-%2").arg(station).arg(textOf(tag));
}

void GrowthProject::write(int tags)
{
    remove();
    QDir().mkpath(QFileInfo(databaseFile()).path());
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", ConnectionName);
        database.setDatabaseName(databaseFile());
        if (!database.open())
            qFatal("cannot make the project: %s", qPrintable(database.lastError().text()));
        run(database, "PRAGMA synchronous = OFF");
        database.transaction();
        fill(database, tags);
        database.commit();
    }
    QSqlDatabase::removeDatabase(ConnectionName);
}

void GrowthProject::remove()
{
    const QFileInfo file(databaseFile());
    QFile::remove(file.filePath());
    QDir().rmpath(file.path());
}

AddressVectorMap GrowthProject::table(int tags)
{
    AddressVectorMap table;
    for (int tag = 0; tag < tags; ++tag)
        table[static_cast<uchar>(stationOf(tag))].push_back(addressOf(tag));
    return table;
}
