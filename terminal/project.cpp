#include "terminal/project.h"

#include <limits> // the reader below forgets it
#include <stdexcept>
#include <string>

// One small file; no thread is wanted to read it ahead.
#define CSV_IO_NO_THREAD
#include <libfccp/csv.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace
{

const int LinkId = 1;
const int FirstComPort = 1001; // COM0; the driver looks COMn up as 1001 + n
const char ConnectionName[] = "project";

typedef io::CSVReader<4, io::trim_chars<' ', '\t', '\r'>, io::double_quote_escape<',', '"'>,
                      io::throw_on_overflow, io::single_and_empty_line_comment<'#'>>
    TagReader;

/// Statements that stop at the first one that fails.
class Statements
{
public:
    explicit Statements(const QSqlDatabase &database) : m_query(database), m_good(true) {}

    void run(const QString &statement, const QVariantList &values = QVariantList())
    {
        if (!m_good)
            return;
        m_good = m_query.prepare(statement);
        for (const QVariant &value : values)
            m_query.addBindValue(value);
        m_good = m_good && m_query.exec();
    }

    bool good() const { return m_good; }
    QString error() const { return m_query.lastError().text(); }

private:
    QSqlQuery m_query;
    bool m_good;
};

void fillDatabase(Statements *statements, const Project &project, int hmiPort, int defaultStation)
{
    statements->run("BEGIN");
    statements->run("CREATE TABLE LINK (LINKID INTEGER, HMIPORT INTEGER)");
    statements->run("CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, ISDEFAULT INTEGER, "
                    "IP TEXT, PORT INTEGER)");
    statements->run("CREATE TABLE custom_tag_table (address TEXT, connector_id INTEGER)");
    statements->run("INSERT INTO LINK VALUES (?, ?)", {LinkId, hmiPort});
    statements->run("INSERT INTO NODE VALUES (?, ?, 1, '', 0)", {LinkId, defaultStation});
    QSet<QString> listed;
    for (const Tag &tag : project.tags) {
        for (const QString &address : tag.projectAddresses()) {
            if (!listed.contains(address))
                statements->run("INSERT INTO custom_tag_table VALUES (?, ?)", {address, LinkId});
            listed.insert(address);
        }
    }
    statements->run("COMMIT");
}

/// Writes a whole database file, through a connection that is gone afterwards.
bool writeFile(const QString &file, const Project &project, int hmiPort, int defaultStation,
               QString *error)
{
    bool good = false;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", ConnectionName);
        database.setDatabaseName(file);
        good = database.open();
        if (good) {
            Statements statements(database);
            fillDatabase(&statements, project, hmiPort, defaultStation);
            good = statements.good();
            *error = statements.error();
        } else {
            *error = database.lastError().text();
        }
    }
    QSqlDatabase::removeDatabase(ConnectionName);
    return good;
}

/// An address text without the prefix of a station; other prefixes stay.
QString withoutPrefix(const QString &address, int station)
{
    const QString prefix = QString("%1-").arg(station);
    return address.startsWith(prefix) ? address.mid(prefix.size()) : address;
}

/// A mistake in a row, thrown like the reader's own.
std::runtime_error mistakeInLine(unsigned line, const QString &mistake)
{
    return std::runtime_error(QString("line %1: ").arg(line).toStdString() + mistake.toStdString());
}

/// Reads all rows; throws at the first mistake.
QList<Tag> readTags(const QString &file)
{
    const std::string path = QFile::encodeName(file).toStdString();
    TagReader reader(path);
    reader.read_header(io::ignore_extra_column, "name", "address", "type", "length");
    QList<Tag> tags;
    QSet<QString> names;
    std::string name, address, type, length;
    while (reader.read_row(name, address, type, length)) {
        Tag tag;
        QString mistake;
        if (!parseTag(QString::fromStdString(name), QString::fromStdString(address),
                      QString::fromStdString(type), QString::fromStdString(length), &tag, &mistake))
            throw mistakeInLine(reader.get_file_line(), mistake);
        if (names.contains(tag.name))
            throw mistakeInLine(reader.get_file_line(),
                                "there is a tag \"" + tag.name + "\" already");
        names.insert(tag.name);
        tags << tag;
    }
    if (tags.isEmpty())
        throw std::runtime_error("no tags");
    return tags;
}

} // namespace

const Tag *Project::find(const QString &nameOrAddress, int defaultStation) const
{
    for (const Tag &tag : tags) {
        if (tag.name == nameOrAddress)
            return &tag;
    }
    const QString wanted = withoutPrefix(nameOrAddress, defaultStation);
    for (const Tag &tag : tags) {
        if (withoutPrefix(tag.text, defaultStation).compare(wanted, Qt::CaseInsensitive) == 0)
            return &tag;
    }
    return nullptr;
}

bool loadProject(const QString &file, Project *project, QString *error)
{
    try {
        project->tags = readTags(file);
        return true;
    } catch (const std::exception &problem) {
        *error = QString("cannot read project %1: %2").arg(file, problem.what());
        return false;
    }
}

bool writeProjectDatabase(const QString &file, const Project &project, const QString &port,
                          int defaultStation, QString *error)
{
    const QString unfinished = file + ".new";
    if (!QFileInfo(file).absoluteDir().mkpath(".")) {
        *error = "cannot make the directory of " + file;
        return false;
    }
    QFile::remove(unfinished);
    const int hmiPort = FirstComPort + port.mid(3).toInt();
    if (!writeFile(unfinished, project, hmiPort, defaultStation, error)) {
        *error = "cannot write project database " + file + ": " + *error;
        return false;
    }
    QFile::remove(file);
    if (QFile::rename(unfinished, file))
        return true;
    *error = "cannot put project database " + file + " in its place";
    return false;
}
