// What the files of programs on a stick are called and made of.

#ifndef RECIPE_PROGRAM_FILE_H
#define RECIPE_PROGRAM_FILE_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include "driver/drv_dev_setting.h"

class NarrowCodec;

/// A program is a table of up to `MaxSteps` steps of `ValuesPerStep` 32-bit values. In a file it is
/// a header row and a row a step: a label and the values as unsigned decimal numbers. In the
/// controller a step occupies consecutive addresses; the driver moves it in blocks of `StepSize`
/// bytes, least significant byte first.
namespace Program
{

enum : int {
    MaxSteps = 32,
    ValuesPerStep = 24,
    BytesPerValue = 4,
    StepSize = ValuesPerStep * BytesPerValue,
    FieldsPerRow = 1 + ValuesPerStep
};

/// The program number that stands for an empty table to fill in.
const int TemplateId = -1;

/// The double-word commands of all steps: 24 items each at "NA1000", "NA1020", ... "NA13e0".
QList<CommunicatorCommand> stepCommands();

// ---- Files -------------------------------------------------------------------------------------

enum class Transfer {
    Export, ///< from the controller to a file
    Import  ///< from a file to the controller
};

/// "PROG_5.txt".
QString fileName(int program);

/// The names that an import looks for: "PROG_5.txt" and "PROG_5_*.txt".
QStringList fileNameFilters(int program);

/// "READ_PROG_5_ERROR.txt" or "WRITE_PROG_5_ERROR.txt".
QString errorLogName(Transfer transfer, int program);

// ---- Rows --------------------------------------------------------------------------------------

/// The name of the codec of the labels in this program's source.
const char LabelCodec[] = "Big5";

/// \param codec  that of `LabelCodec`; without one the labels come out as Latin-1
QStringList headerRow(const NarrowCodec &codec);

/// \param number  from 1
/// \param values  `StepSize` bytes
QStringList stepRow(const NarrowCodec &codec, int number, const QByteArray &values);

/// The same with zeros.
QStringList templateRow(const NarrowCodec &codec, int number);

/// The values of a row as the controller gets them. Bits 16 to 23 are lost: they are sent as 0.
/// \param row     the first field is not looked at; a missing field counts as an empty one
/// \param number  of the row, from 0; for the messages
/// \param errors  gets a message for each field that is not an unsigned 32-bit decimal number,
///                written with digits only
/// \return `StepSize` bytes; not to be used when there was an error
QByteArray stepBlock(const QStringList &row, int number, QStringList *errors);

} // namespace Program

#endif // RECIPE_PROGRAM_FILE_H
