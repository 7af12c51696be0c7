#include "terminal/transfer_report.h"

#include <chrono>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

#include "common/messagecenter.h"
#include "common/messagecenteritemwidget.h"
#include "terminal/printable.h"

namespace
{

const int BarWidth = 32;
const int AllPercent = 100;
const qint64 LongestLog = 64 * 1024; // bytes; more is to be read on the stick

qint64 steadyMs()
{
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

const char *stateName(TransferWatch::State state)
{
    switch (state) {
    case TransferWatch::Waiting:
        return "waiting";
    case TransferWatch::Running:
        return "running";
    case TransferWatch::Done:
        return "done";
    case TransferWatch::Failed:
        break;
    }
    return "failed";
}

/// What the message panel says: the newest message, on one line.
QString newestMessage()
{
    const MessageCenter *const panel = MessageCenter::getInstance();
    if (panel == nullptr)
        return QString();
    const auto rows = panel->findChildren<MessageCenterItemWidget *>();
    return rows.isEmpty() ? QString() : rows.last()->message().section('\n', 1).simplified();
}

} // namespace

TransferReport::TransferReport(const TransferRequest &request, TerminalOptions::Format format,
                               const QString &stick, FILE *out, const Clock &nowMs)
    : m_request(request), m_format(format), m_stick(stick), m_out(out),
      m_in_place(format == TerminalOptions::Table && isatty(fileno(out)) != 0),
      m_now_ms(nowMs ? nowMs : steadyMs), m_watch(m_now_ms()), m_has_error(false), m_is_over(false)
{
}

void TransferReport::round(const std::vector<TagView> &, const SessionSummary &) {}

void TransferReport::storage(StorageKind kind, const StorageState &state)
{
    if (kind == StorageKind::UsbStick && state.mounted)
        m_mount = state.path;
}

void TransferReport::transfers(const TransferViews &views)
{
    const TransferWatch::State before = m_watch.state();
    const int percent = m_watch.percent();
    m_watch.see(views.of(m_request.kind), m_now_ms());
    m_has_error = views.of(m_request.kind).failed;
    if (m_watch.state() != before || m_watch.percent() != percent)
        printState(false);
    m_is_over = m_watch.isOver();
}

void TransferReport::end(const SessionSummary &summary)
{
    printState(true);
    const QString message = outcome(summary.lastError);
    print(m_format == TerminalOptions::Json ? QString::fromUtf8(json(message)) : message);
}

void TransferReport::print(const QString &line)
{
    fprintf(m_out, "%s\n", line.toUtf8().constData());
    fflush(m_out);
}

/// The bar stays on its line until the last one.
void TransferReport::printState(bool isLast)
{
    if (m_in_place) {
        fprintf(m_out, "\r%s%s", bar().toUtf8().constData(), isLast ? "\n" : "");
        fflush(m_out);
    } else if (m_format == TerminalOptions::Json && !isLast) {
        print(QString::fromUtf8(json(QString())));
    }
}

QString TransferReport::bar() const
{
    const int full = m_watch.percent() * BarWidth / AllPercent;
    return QString("%1 [%2%3] %4 %")
        .arg(called(), QString(full, '#'), QString(BarWidth - full, '-'))
        .arg(m_watch.percent(), 3);
}

QString TransferReport::called() const
{
    return QString(m_request.kind == TransferKind::Export ? "export of program %1"
                                                          : "import of program %1")
        .arg(m_request.program);
}

QString TransferReport::outcome(const QString &lineError) const
{
    if (m_watch.state() == TransferWatch::Done)
        return called() + " done";
    if (m_watch.state() != TransferWatch::Failed)
        return called() + " given up";
    return called() + " failed: " + whyItFailed(lineError);
}

/// The panel's message; what the transfer wrote to the stick; what the line last said.
QString TransferReport::whyItFailed(const QString &lineError) const
{
    QString message = newestMessage();
    if (!message.isEmpty())
        return message;
    QString log = errorLog();
    if (!log.isEmpty())
        return log;
    return lineError.isEmpty() ? "the driver gave no reason" : lineError;
}

/// Without the error tag a log on the stick is an earlier transfer's. What is no file was not
/// written by a transfer, and a pipe would keep its reader waiting.
QString TransferReport::errorLog() const
{
    const QString name = QString("%1_PROG_%2_ERROR.txt")
                             .arg(m_request.kind == TransferKind::Export ? "READ" : "WRITE")
                             .arg(m_request.program);
    const QFileInfo info(m_mount + "/" + name);
    QFile file(info.filePath());
    const bool isThere = !m_mount.isEmpty() && info.isFile() && !info.isSymLink();
    if (!m_has_error || !isThere || !file.open(QIODevice::ReadOnly))
        return QString();
    const QString text = printable(QString::fromUtf8(file.read(LongestLog)).trimmed());
    return QString("see %1\n%2").arg(fileOnStick(name), text);
}

QString TransferReport::fileOnStick(const QString &name) const
{
    return (m_stick.isEmpty() ? m_mount : m_stick) + "/" + name;
}

QByteArray TransferReport::json(const QString &message) const
{
    QJsonObject transfer{
        {"kind", m_request.kind == TransferKind::Export ? "export" : "import"},
        {"program", m_request.program},
        {"steps", m_request.steps},
        {"state", stateName(m_watch.state())},
        {"percent", m_watch.percent()},
    };
    if (!message.isEmpty())
        transfer["message"] = message;
    const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    return QJsonDocument(QJsonObject{{"time", time}, {"transfer", transfer}})
        .toJson(QJsonDocument::Compact);
}
