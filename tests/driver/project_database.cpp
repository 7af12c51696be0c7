#include "project_database.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <gtest/gtest.h>

namespace
{

const char ConnectionName[] = "project under test";

/// The tests' own connection, for as long as the object lives.
class Connection
{
public:
    explicit Connection(const QString &path, const QString &name = ConnectionName) : m_name(name)
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", m_name);
        database.setDatabaseName(path);
        if (!database.open())
            ADD_FAILURE() << qPrintable(database.lastError().text());
        // The file need not outlive a power cut.
        QSqlQuery("PRAGMA synchronous = OFF", database);
    }

    ~Connection() { QSqlDatabase::removeDatabase(m_name); }

    QSqlDatabase database() const { return QSqlDatabase::database(m_name); }

private:
    Q_DISABLE_COPY(Connection)
    QString m_name;
};

void run(const QSqlDatabase &database, const QString &statement)
{
    QSqlQuery query(database);
    if (!query.exec(statement))
        ADD_FAILURE() << qPrintable(statement + ": " + query.lastError().text());
}

} // namespace

QString ProjectDatabase::usualPath()
{
    return QCoreApplication::applicationDirPath() + "/compile/database/database";
}

ProjectDatabase ProjectDatabase::empty(const QString &path)
{
    QDir().mkpath(QFileInfo(path).path());
    ProjectDatabase project(path);
    project.execute({"CREATE TABLE custom_tag_table (address TEXT, connector_id INTEGER)",
                     "CREATE TABLE LINK (LINKID INTEGER, HMIPORT INTEGER)",
                     "CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, ISDEFAULT INTEGER,"
                     " IP TEXT, PORT INTEGER)"});
    return project;
}

ProjectDatabase ProjectDatabase::withTags(const QStringList &tags, int defaultStation,
                                          const QString &path)
{
    ProjectDatabase project = empty(path);
    project.addLink(LinkId, Com2Port);
    project.addNode(LinkId, defaultStation, 1);
    project.addTags(tags);
    return project;
}

void ProjectDatabase::addLink(const QVariant &linkId, const QVariant &hmiPort)
{
    insert("INSERT INTO LINK VALUES (?, ?)", {linkId, hmiPort});
}

void ProjectDatabase::addNode(const QVariant &linkId, const QVariant &station,
                              const QVariant &isDefault)
{
    insert("INSERT INTO NODE VALUES (?, ?, ?, '', 0)", {linkId, station, isDefault});
}

void ProjectDatabase::addTag(const QVariant &address, const QVariant &linkId)
{
    insert("INSERT INTO custom_tag_table VALUES (?, ?)", {address, linkId});
}

void ProjectDatabase::addTags(const QStringList &addresses, int linkId)
{
    const Connection connection(m_path);
    QSqlDatabase database = connection.database();
    database.transaction();
    QSqlQuery query(database);
    query.prepare("INSERT INTO custom_tag_table VALUES (?, ?)");
    for (const QString &address : addresses) {
        query.bindValue(0, address);
        query.bindValue(1, linkId);
        if (!query.exec())
            ADD_FAILURE() << qPrintable(query.lastError().text());
    }
    database.commit();
}

void ProjectDatabase::execute(const QStringList &statements)
{
    const Connection connection(m_path);
    for (const QString &statement : statements)
        run(connection.database(), statement);
}

void ProjectDatabase::insert(const QString &statement, const QVariantList &values)
{
    const Connection connection(m_path);
    QSqlQuery query(connection.database());
    query.prepare(statement);
    for (const QVariant &value : values)
        query.addBindValue(value);
    if (!query.exec())
        ADD_FAILURE() << qPrintable(query.lastError().text());
}

ProjectDatabase::Lock::Lock(const ProjectDatabase &project) : m_connection("lock on the project")
{
    QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", m_connection);
    database.setDatabaseName(project.path());
    if (!database.open())
        ADD_FAILURE() << qPrintable(database.lastError().text());
    run(database, "BEGIN EXCLUSIVE");
}

ProjectDatabase::Lock::~Lock()
{
    run(QSqlDatabase::database(m_connection), "ROLLBACK");
    QSqlDatabase::removeDatabase(m_connection);
}

void removeProject()
{
    const QDir application(QCoreApplication::applicationDirPath());
    QDir(application.filePath("compile")).removeRecursively();
    QDir(application.filePath("database")).removeRecursively();
    QFile::remove(application.filePath("database"));
}
