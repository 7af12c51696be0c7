// The import: from a file to a controller.

#include "recipe/csvimexporter.h"

#include <algorithm>

#include <QTimer>

#include "recipe/queue_progress.h"
#include "recipe/zcsvloader.h"

namespace
{

const int ResultPauseMs = 2000; ///< how long the screen sees how an import ended
const int PollPauseMs = 1000;   ///< between two looks at the write queue
const int Done = 100;           ///< percent

} // namespace

void CSVImExporter::writeDataToDMC50Slot()
{
    m_writing = true;
    m_writing_error = 0;
    beginTransfer(m_writing_station);
    const ImportEnd end = importProgram();
    wait(ResultPauseMs);
    m_writing_progress = 0;
    if (end == Refused)
        m_writing_error = 1;
    m_writing = false;
}

CSVImExporter::ImportEnd CSVImExporter::importProgram()
{
    bool ok = false;
    const QString path = getFileName(m_program, ok, WriteMode);
    if (!ok || driverGoes())
        return Told;

    QList<QStringList> rows;
    ImportEnd end = Told;
    if (!loadTable(path, &rows, &end))
        return end;
    QStringList errors;
    const QList<QByteArray> blocks = blocksOf(rows, &errors);
    if (!errors.isEmpty()) {
        outputErrorLog(errors, WriteMode);
        return Told;
    }
    writeSteps(blocks);
    if (!followWriteQueue()) {
        errors << QString::fromLatin1("Writing Data Fail,No Response in communication.");
        outputErrorLog(errors, WriteMode);
    }
    return Told;
}

/// \param rows  get the file's rows without the header
/// \param end   is set when there is nothing to go on with
bool CSVImExporter::loadTable(const QString &path, QList<QStringList> *rows, ImportEnd *end)
{
    if (!m_loader)
        m_loader.reset(new ZCSVLoader(nullptr));
    if (!m_loader->openFile(path)) {
        outputErrorLog(m_loader->errorMessageList(), WriteMode);
        *end = Told;
        return false;
    }
    *rows = m_loader->fileContent();
    if (rows->isEmpty()) {
        *end = refuse(m_loader->errorMessageList().join(QString::fromLatin1("\n")));
        return false;
    }
    rows->removeFirst();
    if (!rows->isEmpty() && rows->first().size() < Program::FieldsPerRow) {
        *end = refuse(QString::fromLatin1("The field Num is not 25."));
        return false;
    }
    return true;
}

CSVImExporter::ImportEnd CSVImExporter::refuse(const QString &text)
{
    tell(text);
    return Refused;
}

/// All rows are looked at, so that the operator learns of every bad value at once.
QList<QByteArray> CSVImExporter::blocksOf(const QList<QStringList> &rows, QStringList *errors) const
{
    QList<QByteArray> blocks;
    const int count = std::min(rows.size(), m_steps);
    for (int i = 0; i < count; ++i)
        blocks.append(Program::stepBlock(rows.at(i), i, errors));
    return blocks;
}

void CSVImExporter::writeSteps(const QList<QByteArray> &blocks)
{
    initReadWriteCommandList();
    const int count = std::min(blocks.size(), m_command_list.size());
    for (int i = 0; i < count; ++i) {
        const CommunicatorCommand &step = m_command_list.at(i);
        if (!m_invalid_addresses.contains(step.address))
            writeDriver(step, blocks.at(i));
    }
    m_writing_progress = 0;
    // The export's: an import has always ended what the screen still shows of an export.
    m_reset_timer->start(ResultPauseMs);
}

/// Waits until the writes have left the queue. \return false: they do not
bool CSVImExporter::followWriteQueue()
{
    QueueProgress progress(writeQueueSize());
    do {
        const quint32 remaining = writeQueueSize();
        if (remaining == 0) {
            m_writing_progress = Done;
            return true;
        }
        progress.look(remaining);
        if (progress.isStalled())
            return false;
        m_writing_progress = progress.percent();
    } while (wait(PollPauseMs));
    return true; // nobody is there any more to be told
}
