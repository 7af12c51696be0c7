// The export: from a controller to a file.

#include "recipe/csvimexporter.h"

#include <algorithm>

#include <unistd.h>

#include <QTimer>

#include "common/qtcompat.h"
#include "recipe/zcsvloader.h"

namespace
{

const int ResultPauseMs = 2000;  ///< how long the screen sees how an export ended
const int TemplatePauseMs = 500; ///< the same for a template
const qint64 StepLimitMs = 5000; ///< of reading one step
const int Done = 100;            ///< percent

QString timeoutText(const QString &address)
{
    return QString::fromLatin1("Reading Data Timeout,Please check the communication or the "
                               "address [%1] is valid or not.")
        .arg(address);
}

} // namespace

void CSVImExporter::readDataFromDMC50Slot()
{
    m_reading = true;
    beginTransfer(m_reading_station);
    bool ok = false;
    const QString path = getFileName(m_program, ok, ReadMode);
    if (ok) {
        exportProgram(path);
    } else {
        wait(ResultPauseMs);
        m_reading = false;
    }
    setDriverBusy(false);
}

void CSVImExporter::exportProgram(const QString &path)
{
    const bool is_template = m_program == Program::TemplateId;
    const NarrowCodec labels(Program::LabelCodec);
    if (is_template)
        exportTemplate(path, labels);
    else
        exportSteps(path, labels);
    m_reading_progress = Done;
    m_reset_timer->start(is_template ? TemplatePauseMs : ResultPauseMs);
}

void CSVImExporter::exportTemplate(const QString &path, const NarrowCodec &labels)
{
    QList<QStringList> table;
    table.append(Program::headerRow(labels));
    for (int number = 1; number <= m_steps; ++number)
        table.append(Program::templateRow(labels, number));
    QString template_path = path;
    template_path.replace(QString::number(Program::TemplateId), QString::fromLatin1("template"));
    if (save(table, template_path))
        return;
    tell(m_saver->errorMessageList().join(QString::fromLatin1("\n")));
    m_reading = false;
}

void CSVImExporter::exportSteps(const QString &path, const NarrowCodec &labels)
{
    initReadWriteCommandList();
    QList<QStringList> table;
    table.append(Program::headerRow(labels));
    QStringList errors;
    const bool complete = readSteps(labels, &table, &errors);
    if (driverGoes())
        return;
    if (complete)
        saveTable(table, path);
    else
        outputErrorLog(errors, ReadMode);
}

/// \return false: a step took too long, which `errors` says, or the driver goes
bool CSVImExporter::readSteps(const NarrowCodec &labels, QList<QStringList> *table,
                              QStringList *errors)
{
    const int count = std::min(m_steps, m_command_list.size());
    for (int i = 0; i < count; ++i) {
        const CommunicatorCommand &step = m_command_list.at(i);
        if (m_invalid_addresses.contains(step.address))
            continue;
        QByteArray values;
        if (!readStep(step, &values)) {
            errors->append(timeoutText(step.address));
            return false;
        }
        if (values.size() == Program::StepSize)
            table->append(Program::stepRow(labels, i + 1, values));
        m_reading_progress = static_cast<int>(static_cast<double>(i) / m_steps * Done);
    }
    return true;
}

/// \param values  get the step's bytes; fewer when it did not answer
/// \return false: it took too long
bool CSVImExporter::readStep(const CommunicatorCommand &step, QByteArray *values)
{
    const qint64 begin = m_clock->msecsSinceBoot();
    *values = readDriverDWords(step);
    return m_clock->msecsSinceBoot() - begin <= StepLimitMs;
}

void CSVImExporter::saveTable(const QList<QStringList> &table, const QString &path)
{
    if (save(table, path)) {
        ::sync();
        return;
    }
    outputErrorLog(m_saver->errorMessageList(), ReadMode);
    m_reading = false;
}

bool CSVImExporter::save(const QList<QStringList> &table, const QString &path)
{
    if (!m_saver)
        m_saver.reset(new ZCSVSaver(nullptr));
    clearTheWay(path);
    return m_saver->saveFile(table, path);
}
