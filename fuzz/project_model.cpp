#include "fuzz/project_model.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>

#include <QSqlDatabase>
#include <QSqlDriver>
#include <QVariant>

#include "fuzz/address_model.h"
#include "fuzz/expect.h"

namespace
{

enum LinkColumn { LinkId, HmiPort, LinkColumns };
enum NodeColumn { NodeLinkId, IsDefault, StationId, NodeColumns };
enum TagColumn { ConnectorId, TagNumbers, Address = TagNumbers, TagColumns };

const char LinkRows[] = "SELECT LINKID, HMIPORT FROM LINK";
const char NodeRows[] = "SELECT LINKID, ISDEFAULT, STATIONID FROM NODE";
const char TagRows[] = "SELECT connector_id, address FROM custom_tag_table";

// Queries as the driver's, and of their plans the column that says how rows are found.
const char LinkPlan[] = "EXPLAIN QUERY PLAN SELECT LINK.LINKID, NODE.STATIONID FROM LINK, NODE "
                        "WHERE LINK.HMIPORT = 1 AND NODE.LINKID = LINK.LINKID "
                        "AND NODE.ISDEFAULT = 1";
const char TagPlan[] = "EXPLAIN QUERY PLAN SELECT address FROM custom_tag_table "
                       "WHERE connector_id = 1 AND address NOT LIKE '_'";
const int PlanDetail = 3;
const char MadeIndex[] = " USING AUTOMATIC ";

sqlite3 *handleOf(const QString &connection)
{
    const QVariant handle = QSqlDatabase::database(connection, false).driver()->handle();
    EXPECT(std::strcmp(handle.typeName(), "sqlite3*") == 0);
    return *static_cast<sqlite3 *const *>(handle.constData());
}

/// Null when SQLite does not find what is asked for.
Statement prepared(sqlite3 *database, const char *query)
{
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(database, query, -1, &statement, nullptr);
    return Statement(statement, sqlite3_finalize);
}

/// Whether a query goes through tables as they lie there; an index that SQLite makes for the query
/// is as good as the table.
bool scansTables(sqlite3 *database, const char *plan)
{
    const Statement statement = prepared(database, plan);
    if (statement == nullptr)
        return false;
    while (sqlite3_step(statement.get()) == SQLITE_ROW) {
        const unsigned char *const detail = sqlite3_column_text(statement.get(), PlanDetail);
        const char *const way =
            detail == nullptr ? nullptr
                              : std::strstr(reinterpret_cast<const char *>(detail), " USING ");
        if (way != nullptr && std::strncmp(way, MadeIndex, sizeof MadeIndex - 1) != 0)
            return false;
    }
    return true;
}

/// Whether SQLite takes what the columns hold as it is.
bool areColumnsOf(const Statement &statement, const char *type, int first, int end)
{
    for (int column = first; statement != nullptr && column < end; ++column) {
        const char *const declared = sqlite3_column_decltype(statement.get(), column);
        if (declared != nullptr && std::strcmp(declared, type) != 0)
            return false;
    }
    return statement != nullptr;
}

/// One pass over the rows of a statement.
class Rows
{
public:
    explicit Rows(const Statement &statement) : m_statement(statement.get()), m_result(SQLITE_ROW)
    {
    }
    Rows(const Rows &) = delete;
    Rows &operator=(const Rows &) = delete;
    ~Rows() { sqlite3_reset(m_statement); }

    bool next()
    {
        m_result = sqlite3_step(m_statement);
        return m_result == SQLITE_ROW;
    }

    /// Whether there are no more rows, and not an error in their place.
    bool areRead() const { return m_result == SQLITE_DONE; }

    /// Whether the first columns are integers of 32 bits, or null.
    bool areNumbers(int columns) const
    {
        for (int column = 0; column < columns; ++column) {
            const bool fits = isInteger(column) && number(column) == int64(column);
            if (!fits && !isNull(column))
                return false;
        }
        return true;
    }

    bool isNull(int column) const { return type(column) == SQLITE_NULL; }
    bool isText(int column) const { return type(column) == SQLITE_TEXT; }
    int number(int column) const { return static_cast<int>(int64(column)); } ///< 0 for null
    bool is(int column, int value) const { return isInteger(column) && int64(column) == value; }

    QString text(int column) const
    {
        const void *const characters = sqlite3_column_text16(m_statement, column);
        const int bytes = sqlite3_column_bytes16(m_statement, column);
        return QString(static_cast<const QChar *>(characters),
                       bytes / static_cast<int>(sizeof(QChar)));
    }

private:
    int type(int column) const { return sqlite3_column_type(m_statement, column); }
    bool isInteger(int column) const { return type(column) == SQLITE_INTEGER; }
    sqlite3_int64 int64(int column) const { return sqlite3_column_int64(m_statement, column); }

    sqlite3_stmt *const m_statement;
    int m_result;
};

// ---- Address texts -----------------------------------------------------------------------------

/// Whether SQLite and Qt see the same characters. They do not agree on halves of a pair; and of a
/// text that Qt has nothing of there may be a part for SQLite.
bool isPlain(const QString &text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i).isSurrogate())
            return false;
    }
    return !text.isEmpty();
}

/// Whether a pattern stands at a place: upper and lower case letters of ASCII are the same, "_" is
/// any character. A zero character ends the text.
bool stands(const char *pattern, const QString &text, int size, int place)
{
    for (int i = 0; pattern[i] != '\0'; ++i) {
        if (place + i >= size)
            return false;
        const ushort c = text.at(place + i).unicode();
        const ushort upper = c >= 'a' && c <= 'z' ? static_cast<ushort>(c - 'a' + 'A') : c;
        if (pattern[i] != '_' && upper != static_cast<uchar>(pattern[i]))
            return false;
    }
    return true;
}

/// Whether a tag is one of the runtime's own, which the driver leaves out.
bool isLeftOut(const QString &text)
{
    const char ending[] = "INITDRV0";
    const int zero = text.indexOf(QChar(0));
    const int size = zero < 0 ? text.size() : zero;
    const int end = size - static_cast<int>(sizeof ending - 1);
    return (end >= 0 && stands(ending, text, size, end)) ||
           stands("WRITE_QUE_SIZE", text, size, 0) || stands("VVT_", text, size, 0);
}

} // namespace

// ---- The tables --------------------------------------------------------------------------------

ProjectModel::ProjectModel(const QString &connection)
    : hasDefaultStation(false), failedAssertion(nullptr), m_connection(connection),
      m_is_prepared(false), m_is_plain(false), m_link_rows(nullptr, sqlite3_finalize),
      m_node_rows(nullptr, sqlite3_finalize), m_tag_rows(nullptr, sqlite3_finalize), m_link(0),
      m_default_station(0)
{
}

bool ProjectModel::read(int hmiPort)
{
    if (!m_is_prepared)
        prepare();
    hasDefaultStation = false;
    failedAssertion = nullptr;
    validAddresses.clear();
    lowLatencyStations.clear();
    programDataAddresses.clear();
    return m_is_plain && readLinks(hmiPort) && readDefaultStation() &&
           (!hasDefaultStation || readTags());
}

/// Of most connections nothing is read a second time: so not before it is.
void ProjectModel::prepare()
{
    m_is_prepared = true;
    sqlite3 *const database = handleOf(m_connection);
    m_link_rows = prepared(database, LinkRows);
    m_node_rows = prepared(database, NodeRows);
    m_tag_rows = prepared(database, TagRows);
    m_is_plain = areColumnsOf(m_link_rows, "INTEGER", 0, LinkColumns) &&
                 areColumnsOf(m_node_rows, "INTEGER", 0, NodeColumns) &&
                 areColumnsOf(m_tag_rows, "INTEGER", 0, TagNumbers) &&
                 areColumnsOf(m_tag_rows, "TEXT", TagNumbers, TagColumns) &&
                 scansTables(database, LinkPlan) && scansTables(database, TagPlan);
}

bool ProjectModel::readLinks(int hmiPort)
{
    m_links.clear();
    Rows rows(m_link_rows);
    while (rows.next()) {
        if (!rows.areNumbers(LinkColumns))
            return false;
        if (rows.is(HmiPort, hmiPort) && !rows.isNull(LinkId))
            m_links.push_back(rows.number(LinkId));
    }
    return rows.areRead();
}

bool ProjectModel::readDefaultStation()
{
    Rows rows(m_node_rows);
    while (rows.next()) {
        if (!rows.areNumbers(NodeColumns))
            return false;
        const int link = rows.number(NodeLinkId);
        const bool counts = rows.is(IsDefault, 1) && !rows.isNull(NodeLinkId) &&
                            std::find(m_links.begin(), m_links.end(), link) != m_links.end();
        if (!counts)
            continue;
        const uchar station = static_cast<uchar>(rows.number(StationId) & 0xFF);
        if (hasDefaultStation && (link != m_link || station != m_default_station))
            return false;
        hasDefaultStation = true;
        m_link = link;
        m_default_station = station;
    }
    return rows.areRead();
}

bool ProjectModel::readTags()
{
    Rows rows(m_tag_rows);
    bool more = true;
    // The rows behind the driver's last one are looked at, too: they may be damaged.
    while (rows.next()) {
        if (!rows.areNumbers(TagNumbers))
            return false;
        if (!more || !rows.is(ConnectorId, m_link) || rows.isNull(Address))
            continue;
        const QString text = rows.isText(Address) ? rows.text(Address) : QString();
        if (!isPlain(text))
            return false;
        more = isLeftOut(text) || takeTag(text);
    }
    if (more) {
        for (auto &station : validAddresses)
            std::sort(station.second.begin(), station.second.end());
    }
    return rows.areRead();
}

/// \return whether the driver goes on to the next tag
bool ProjectModel::takeTag(const QString &text)
{
    if (text.contains(QLatin1String("LOWLATENCY"))) {
        takeLowLatency(text);
        return failedAssertion == nullptr;
    }
    const AddressModel address = readAddress(text);
    if (address.form == AddressModel::Unknown) {
        failedAssertion = text.contains(QLatin1String("VVT_")) ? nullptr : "0";
        return false;
    }
    if (address.form == AddressModel::Na)
        programDataAddresses << text;
    validAddresses[address.hasStation ? address.station : m_default_station].push_back(
        address.address);
    return true;
}

void ProjectModel::takeLowLatency(const QString &text)
{
    const int station = lowLatencyStation(text, m_default_station);
    if (station < 0)
        failedAssertion = "id_str_len >= 1";
    else
        lowLatencyStations.insert(static_cast<uchar>(station));
}
