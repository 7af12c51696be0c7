#include "recipe/program_file.h"

#include "common/qtcompat.h"

namespace
{

const ulong FirstStepAddress = 0x1000;
const ulong StepAddressDistance = 0x20;

// Big5. A label is cut where a letter or digit follows that would go on the escape before it.
const char *const HeaderLabels[] = {
    " ",
    "\xB3\x5D\xA9\x77\xB7\xC5\xAB\xD7",           // set temperature
    "\xB3\x5D\xA9\x77\xAE\xC9\xB6\xA1(\xAE\xC9)", // set time, hours
    "\xB3\x5D\xA9\x77\xAE\xC9\xB6\xA1(\xA4\xC0)", // minutes
    "\xB3\x5D\xA9\x77\xAE\xC9\xB6\xA1(\xAC\xED)", // seconds
    "G. SOAK +",
    "G. SOAK  -",
    "PID \xB8\x73\xB2\xD5", // PID group
    "Empty",
    "EVENT1 \xBE\xF7\xB1\xF1\xAC\xA6\x4F\x4E",         // mechanical pump on
    "EVENT2 \xB2\xCA\xA9\xE2\xBB\xD6",                 // roughing valve
    "EVENT3 \xBE\x7C\xA6\xA1\x4F\x4E",                 // Roots pump on
    "EVENT4 \xB3\xC6\xC0\xA3",                         // backing pressure
    "EVENT5 \xB4\xE1\xAE\xF0\xA4\xC0\xC0\xA3",         // nitrogen partial pressure
    "EVENT6 \xA5\x5B\xBC\xF6",                         // heating
    "EVENT7 \xB2\x56\xA6\x58\xAE\xF0\xA4\xC0\xC0\xA3", // partial pressure of the mixture
    "EVENT8 \xB4\xFA\xBA\x7C",                         // leak test
    "EVENT9 \xAF\xDF\xBD\xC4\xB4\xAB\xAE\xF0",         // pulsed gas exchange
    "EVENT10",
    "EVENT11",
    "EVENT12",
    "DI1",
    "DI2",
    "DI3 \xB5\x7B\xA6\xA1\xB5\xB2\xA7\xF4",       // program end
    "DI4 \xAF\x75\xAA\xC5\xA5\xBC\xB9\x46 HOLD"}; // hold, vacuum not reached
static_assert(sizeof HeaderLabels / sizeof *HeaderLabels == Program::FieldsPerRow,
              "a label for each field");

const char StepLabel[] = "\xB5\x7B\xA7\xC7%1"; // program step

QString stepLabel(const NarrowCodec &codec, int number)
{
    return codec.toUnicode(StepLabel).arg(number);
}

CommunicatorCommand stepCommand(ulong address)
{
    CommunicatorCommand command;
    command.address = QString::fromLatin1("NA%1").arg(address, 0, 16);
    command.dataType = CommunicatorCommand::DoubleWordType;
    command.length = Program::ValuesPerStep;
    return command;
}

quint32 valueAt(const QByteArray &values, int index)
{
    quint32 value = 0;
    for (int i = Program::BytesPerValue - 1; i >= 0; --i)
        value = value << 8 | static_cast<uchar>(values.at(index * Program::BytesPerValue + i));
    return value;
}

/// The framework's own conversion also takes blanks and signs.
bool isDigitsOnly(const QString &text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i) < QLatin1Char('0') || text.at(i) > QLatin1Char('9'))
            return false;
    }
    return !text.isEmpty();
}

bool toValue(const QString &text, quint32 *value)
{
    bool ok = false;
    *value = text.toUInt(&ok, 10);
    return ok && isDigitsOnly(text);
}

/// The third byte is 0 for every value: that is how the controllers have always been written.
void appendValue(QByteArray *block, quint32 value)
{
    block->append(static_cast<char>(value & 0xFF));
    block->append(static_cast<char>(value >> 8 & 0xFF));
    block->append('\0');
    block->append(static_cast<char>(value >> 24));
}

QString invalidValueText(const QString &text, int row, int column)
{
    // In one go: the text may hold what looks like a place marker.
    return QString::fromLatin1("The value [") + text +
           QString::fromLatin1("] at row %1 and column %2 is invalid, please check it.\n")
               .arg(row)
               .arg(column);
}

} // namespace

QList<CommunicatorCommand> Program::stepCommands()
{
    QList<CommunicatorCommand> commands;
    for (ulong step = 0; step < MaxSteps; ++step)
        commands.append(stepCommand(FirstStepAddress + step * StepAddressDistance));
    return commands;
}

QString Program::fileName(int program)
{
    return QString::fromLatin1("PROG_%1.txt").arg(program);
}

QStringList Program::fileNameFilters(int program)
{
    return QStringList() << fileName(program) << QString::fromLatin1("PROG_%1_*.txt").arg(program);
}

QString Program::errorLogName(Transfer transfer, int program)
{
    const char *const direction = transfer == Transfer::Import ? "WRITE" : "READ";
    return QString::fromLatin1("%1_PROG_%2_ERROR.txt")
        .arg(QString::fromLatin1(direction))
        .arg(program);
}

QStringList Program::headerRow(const NarrowCodec &codec)
{
    QStringList row;
    for (const char *label : HeaderLabels)
        row.append(codec.toUnicode(label));
    return row;
}

QStringList Program::stepRow(const NarrowCodec &codec, int number, const QByteArray &values)
{
    QStringList row(stepLabel(codec, number));
    for (int i = 0; i < ValuesPerStep; ++i)
        row.append(QString::number(valueAt(values, i)));
    return row;
}

QStringList Program::templateRow(const NarrowCodec &codec, int number)
{
    return stepRow(codec, number, QByteArray(StepSize, '\0'));
}

QByteArray Program::stepBlock(const QStringList &row, int number, QStringList *errors)
{
    QByteArray block;
    for (int column = 1; column <= ValuesPerStep; ++column) {
        quint32 value = 0;
        if (!toValue(row.value(column), &value))
            errors->append(invalidValueText(row.value(column), number, column));
        appendValue(&block, value);
    }
    return block;
}
