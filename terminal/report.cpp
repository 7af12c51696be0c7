#include "terminal/report.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QMap>
#include <QStringList>

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

const char Home[] = "\033[H";
const char ToEndOfLine[] = "\033[K";
const char ToEndOfScreen[] = "\033[J";
const char *const Headings[] = {"address", "station", "value", "hex", "age", "state", "name"};
const int Columns = 7;
const int FirstRightAligned = 1; // station, value, hex and age
const int LastRightAligned = 4;

int hexDigits(const Tag &tag)
{
    switch (tag.type) {
    case CommunicatorCommand::DoubleWordType:
        return 8;
    case CommunicatorCommand::WordType:
        return 4;
    case CommunicatorCommand::ByteType:
    case CommunicatorCommand::BlockType:
        return 2;
    default:
        return (tag.length + 3) / 4;
    }
}

QString joinItems(const QList<quint32> &items, int base, int digits)
{
    if (items.isEmpty())
        return "-";
    QStringList texts;
    for (const quint32 item : items)
        texts << QString("%1").arg(item, digits, base, QChar('0')).toUpper();
    return texts.join(' ');
}

QStringList rowOf(const TagView &view)
{
    const bool doubtful = view.state == TagState::Stale || view.state == TagState::Failed;
    // A doubtful value is marked where it stands, not only in another column.
    const QString mark = doubtful && !view.items.isEmpty() ? "?" : "";
    return {view.tag.text, QString::number(view.station), mark + decimalText(view),
            hexText(view), ageText(view.ageMs),           tagStateName(view.state),
            view.tag.name};
}

QString layOut(const QStringList &cells, const std::vector<int> &widths)
{
    QString line;
    for (int column = 0; column < Columns; ++column) {
        const int width = widths[static_cast<size_t>(column)];
        const bool right = column >= FirstRightAligned && column <= LastRightAligned;
        line +=
            right ? cells.at(column).rightJustified(width) : cells.at(column).leftJustified(width);
        line += "  ";
    }
    while (line.endsWith(' '))
        line.chop(1);
    return line;
}

QString milliseconds(qint64 us)
{
    return us < 0 ? "-" : QString::number(static_cast<double>(us) / 1000.0, 'f', 1);
}

/// The counts that are not 0.
QString failureText(const StationReport &station)
{
    const QList<QPair<QString, quint64>> kinds{
        {"no answer", station.noAnswer},      {"short", station.shortReplies},
        {"checksum", station.checksumErrors}, {"other station", station.otherStation},
        {"end code", station.endCodes},
    };
    QString text;
    for (const QPair<QString, quint64> &kind : kinds) {
        if (kind.second > 0)
            text += QString(", %1 %2").arg(kind.second).arg(kind.first);
    }
    return text;
}

QString stationLine(const StationReport &station)
{
    return QString("station %1: %2 requests, %3 good%4; round trip %5 / %6 / %7 ms")
        .arg(station.station)
        .arg(station.requests)
        .arg(station.goodReplies)
        .arg(failureText(station), milliseconds(station.leastRoundTripUs),
             milliseconds(station.medianRoundTripUs), milliseconds(station.greatestRoundTripUs));
}

QStringList figureLines(const SessionSummary &figures)
{
    QStringList lines;
    lines << QString("exchanges %1, failed %2, cycle %3 ms, line busy %4 %")
                 .arg(figures.line.exchanges)
                 .arg(figures.line.failed)
                 .arg(figures.cycleMs, 0, 'f', 1)
                 .arg(figures.line.busyShare * 100.0, 0, 'f', 1);
    for (const StationReport &station : figures.line.stations)
        lines << stationLine(station);
    lines << "last error: " + (figures.lastError.isEmpty() ? "none" : figures.lastError);
    return lines;
}

double number(quint64 value)
{
    return static_cast<double>(value);
}

/// "14.2 MB"
QString bytesText(quint64 bytes)
{
    return QLocale::c().formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeSIFormat);
}

QString kindText(StorageKind kind)
{
    return kind == StorageKind::UsbStick ? "USB stick" : "SD card";
}

QJsonValue bytesJson(const StorageState &state, quint64 bytes)
{
    return state.totalBytes == 0 ? QJsonValue() : QJsonValue(number(bytes));
}

QJsonValue millisecondsJson(qint64 us)
{
    return us < 0 ? QJsonValue() : QJsonValue(static_cast<double>(us) / 1000.0);
}

QJsonObject stationJson(const StationReport &station)
{
    return {{"station", station.station},
            {"requests", number(station.requests)},
            {"good", number(station.goodReplies)},
            {"failed", number(station.failed())},
            {"no_answer", number(station.noAnswer)},
            {"short", number(station.shortReplies)},
            {"checksum", number(station.checksumErrors)},
            {"other_station", number(station.otherStation)},
            {"end_code", number(station.endCodes)},
            {"last_end_code", station.lastEndCode},
            {"round_trip_least_ms", millisecondsJson(station.leastRoundTripUs)},
            {"round_trip_median_ms", millisecondsJson(station.medianRoundTripUs)},
            {"round_trip_greatest_ms", millisecondsJson(station.greatestRoundTripUs)},
            {"bytes_out", number(station.bytesOut)},
            {"bytes_in", number(station.bytesIn)}};
}

/// What both forms have in common. Of a device's changes, those of its free space alone would bury
/// the others.
class PrintedReport : public Report
{
public:
    explicit PrintedReport(FILE *out) : m_out(out) {}

    void storage(StorageKind kind, const StorageState &state) override
    {
        const bool news = !m_storage.contains(kind) || isNews(m_storage[kind], state);
        m_storage[kind] = state;
        if (news)
            printStorage(kind, state);
    }

protected:
    virtual void printStorage(StorageKind kind, const StorageState &state) = 0;

    FILE *const m_out;
    QMap<StorageKind, StorageState> m_storage; ///< as last told

private:
    static bool isNews(const StorageState &before, const StorageState &now)
    {
        return before.mounted != now.mounted || before.busy != now.busy ||
               before.path != now.path || before.totalBytes != now.totalBytes;
    }
};

class TableReport : public PrintedReport
{
public:
    explicit TableReport(FILE *out) : PrintedReport(out), m_in_place(isatty(fileno(out)) != 0) {}

    void round(const std::vector<TagView> &views, const SessionSummary &soFar) override
    {
        const QStringList lines = tableLines(views, soFar);
        if (m_in_place)
            redraw(lines + storageLines());
        else
            print(lines);
    }

    void end(const SessionSummary &summary) override
    {
        print(QStringList() << QString("%1 tags, %2 reads, %3 writes")
                                   .arg(summary.tags)
                                   .arg(summary.reads)
                                   .arg(summary.writes));
        print(figureLines(summary));
    }

protected:
    /// A table that stands in place has a line for each device instead.
    void printStorage(StorageKind kind, const StorageState &state) override
    {
        if (!m_in_place)
            print({storageText(kind, state)});
    }

private:
    QStringList storageLines() const
    {
        QStringList lines;
        for (auto device = m_storage.begin(); device != m_storage.end(); ++device)
            lines << storageText(device.key(), device.value());
        return lines;
    }

    void print(const QStringList &lines)
    {
        for (const QString &line : lines)
            fprintf(m_out, "%s\n", qPrintable(line));
        fflush(m_out);
    }

    void redraw(const QStringList &lines)
    {
        struct winsize window = {0, 0, 0, 0};
        ioctl(fileno(m_out), TIOCGWINSZ, &window);
        fputs(qPrintable(inPlace(lines, window.ws_col, window.ws_row)), m_out);
        fflush(m_out);
    }

    bool m_in_place;
};

class JsonReport : public PrintedReport
{
public:
    explicit JsonReport(FILE *out) : PrintedReport(out) {}

    void round(const std::vector<TagView> &views, const SessionSummary &) override
    {
        const QString time = now();
        for (const TagView &view : views)
            print(tagJson(view, time));
    }

    void end(const SessionSummary &summary) override { print(summaryJson(summary)); }

protected:
    void printStorage(StorageKind kind, const StorageState &state) override
    {
        print(storageJson(kind, state, now()));
    }

private:
    static QString now() { return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs); }

    void print(const QByteArray &line)
    {
        fprintf(m_out, "%s\n", line.constData());
        fflush(m_out);
    }
};

} // namespace

std::unique_ptr<Report> Report::create(TerminalOptions::Format format, FILE *out)
{
    if (format == TerminalOptions::Json)
        return std::unique_ptr<Report>(new JsonReport(out));
    return std::unique_ptr<Report>(new TableReport(out));
}

QString decimalText(const TagView &view)
{
    return view.tag.isBits() ? joinItems(view.items, 2, view.tag.length)
                             : joinItems(view.items, 10, 0);
}

QString hexText(const TagView &view)
{
    return joinItems(view.items, 16, hexDigits(view.tag));
}

QString ageText(qint64 ms)
{
    if (ms < 0)
        return "never";
    if (ms < 10000)
        return QString("%1 ms").arg(ms);
    return QString("%1 s").arg(static_cast<double>(ms) / 1000.0, 0, 'f', 1);
}

QString storageText(StorageKind kind, const StorageState &state)
{
    if (!state.mounted)
        return kindText(kind) + ": none";
    QString text = QString("%1 at %2").arg(kindText(kind), state.path);
    if (state.totalBytes > 0)
        text +=
            QString(": %1 of %2 free").arg(bytesText(state.freeBytes), bytesText(state.totalBytes));
    return state.busy ? text + ", busy" : text;
}

QString inPlace(const QStringList &lines, int columns, int rows)
{
    QString text = Home;
    for (int i = 0; i < lines.size() && (rows == 0 || i < rows - 1); ++i)
        text += (columns == 0 ? lines.at(i) : lines.at(i).left(columns)) + ToEndOfLine + '\n';
    return text + ToEndOfScreen;
}

QStringList tableLines(const std::vector<TagView> &views, const SessionSummary &soFar)
{
    QList<QStringList> rows;
    rows << QStringList();
    for (const char *heading : Headings)
        rows.first() << heading;
    for (const TagView &view : views)
        rows << rowOf(view);

    std::vector<int> widths(Columns, 0);
    for (const QStringList &row : rows) {
        for (int column = 0; column < Columns; ++column) {
            int &width = widths[static_cast<size_t>(column)];
            width = std::max(width, row.at(column).size());
        }
    }
    QStringList lines;
    for (const QStringList &row : rows)
        lines << layOut(row, widths);
    return lines + figureLines(soFar) + QStringList(QString());
}

QByteArray tagJson(const TagView &view, const QString &time)
{
    QJsonArray items;
    for (const quint32 item : view.items)
        items << static_cast<double>(item);
    QJsonValue value;
    if (items.size() == 1)
        value = items.first();
    else if (!items.isEmpty())
        value = items;
    const QJsonObject object{{"time", time},
                             {"tag", view.tag.name},
                             {"address", view.tag.text},
                             {"station", view.station},
                             {"value", value},
                             {"age_ms", view.ageMs < 0 ? QJsonValue() : QJsonValue(view.ageMs)},
                             {"state", tagStateName(view.state)}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray storageJson(StorageKind kind, const StorageState &state, const QString &time)
{
    const QJsonObject device{{"kind", kind == StorageKind::UsbStick ? "usb" : "card"},
                             {"mounted", state.mounted},
                             {"busy", state.busy},
                             {"path", state.path},
                             {"free_bytes", bytesJson(state, state.freeBytes)},
                             {"total_bytes", bytesJson(state, state.totalBytes)}};
    return QJsonDocument(QJsonObject{{"time", time}, {"storage", device}})
        .toJson(QJsonDocument::Compact);
}

QByteArray summaryJson(const SessionSummary &summary)
{
    QJsonArray stations;
    for (const StationReport &station : summary.line.stations)
        stations << stationJson(station);
    const QJsonObject figures{{"tags", summary.tags},
                              {"reads", number(summary.reads)},
                              {"writes", number(summary.writes)},
                              {"exchanges", number(summary.line.exchanges)},
                              {"failed", number(summary.line.failed)},
                              {"cycle_ms", summary.cycleMs},
                              {"line_busy", summary.line.busyShare},
                              {"last_error", summary.lastError},
                              {"stations", stations}};
    return QJsonDocument(QJsonObject{{"summary", figures}}).toJson(QJsonDocument::Compact);
}
