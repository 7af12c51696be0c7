#include "terminal/program_tags.h"

#include <QtEndian>

namespace
{

const char ProgramTag[] = "VVT_PROG_ID0";
const char StepsTag[] = "VVT_PROG_COUNT0";
const char EnableTag[] = "VVT_ENABLE%1";
const char ErrorTag[] = "VVT_ERROR%1";
const char ProgressTag[] = "VVT_PROGRESS%1";
const int AllPercent = 100;

QString tagOf(const char *pattern, TransferKind kind)
{
    return QString(pattern).arg(static_cast<int>(kind));
}

CommunicatorCommand commandOf(const QString &tag, int type)
{
    CommunicatorCommand command;
    command.address = tag;
    command.dataType = type;
    command.length = 1;
    return command;
}

} // namespace

ProgramTags::ProgramTags(DriverInterface *driver, const SessionLine &line, Seen seen)
    : m_driver(driver), m_line(line), m_seen(std::move(seen))
{
}

void ProgramTags::start(const TransferRequest &request)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    queue(ProgramTag, CommunicatorCommand::DoubleWordType, request.program, request.station);
    queue(StepsTag, CommunicatorCommand::DoubleWordType, request.steps, request.station);
    queue(tagOf(EnableTag, request.kind), CommunicatorCommand::ByteType, 1, request.station);
}

void ProgramTags::acknowledge(TransferKind kind)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    queue(tagOf(ErrorTag, kind), CommunicatorCommand::ByteType, 0, m_line.defaultStation);
}

void ProgramTags::queue(const QString &tag, int type, qint32 value, int station)
{
    QByteArray data(static_cast<int>(sizeof value), '\0');
    qToLittleEndian(value, data.data());
    m_writes << Write{tag, type, data.left(commandOf(tag, type).getDataSize()), station};
}

void ProgramTags::serve()
{
    Write write;
    while (takeWrite(&write))
        send(write);
    TransferViews views;
    for (const TransferKind kind : {TransferKind::Import, TransferKind::Export})
        views.of(kind) = readTransfer(kind);
    m_seen(views);
}

bool ProgramTags::takeWrite(Write *write)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_writes.isEmpty())
        return false;
    *write = m_writes.takeFirst();
    return true;
}

void ProgramTags::send(const Write &write)
{
    const SessionLink::Call call(m_line.link);
    if (!call.allowed())
        return;
    m_line.selectStation(write.station);
    m_driver->write(m_line.link, commandOf(write.tag, write.type), write.data);
}

/// The tag's value; 0 when the driver gives none.
int ProgramTags::read(const QString &tag, int type)
{
    const SessionLink::Call call(m_line.link);
    if (!call.allowed())
        return 0;
    QByteArray data = m_driver->read(m_line.link, commandOf(tag, type));
    data = data.leftJustified(static_cast<int>(sizeof(qint32)), '\0', true);
    return qFromLittleEndian<qint32>(data.constData());
}

TransferView ProgramTags::readTransfer(TransferKind kind)
{
    TransferView view;
    view.running = read(tagOf(EnableTag, kind), CommunicatorCommand::ByteType) != 0;
    view.failed = read(tagOf(ErrorTag, kind), CommunicatorCommand::ByteType) != 0;
    const int percent = read(tagOf(ProgressTag, kind), CommunicatorCommand::DoubleWordType);
    view.percent = qBound(0, percent, AllPercent);
    return view;
}
