// A program file as its operator wants to see it before it is carried anywhere.

#ifndef TERMINAL_PROGRAM_PREVIEW_H
#define TERMINAL_PROGRAM_PREVIEW_H

#include <vector>

#include <QString>
#include <QStringList>

#include "terminal/tag.h"

/// What a program file holds, and which files match. Of a file with more steps, columns or letters
/// than a program has, only the first are here.
struct ProgramPreview {
    enum { MostRows = Tag::ProgramSteps, MostColumns = 1 + Tag::ProgramStepValues };
    enum { LongestField = 200 }; ///< letters

    QStringList matches;           ///< names of the files that an import may take, in their order
    QString file;                  ///< the first of them, which is shown; empty: there is none
    QString mistake;               ///< why it cannot be shown; empty: it can
    QStringList header;            ///< `MostColumns` names in a file that an export wrote
    std::vector<QStringList> rows; ///< a step each; texts as they stand in the file
};

/// A step's set point and how long it takes.
struct ProgramSegment {
    double setPoint;
    double seconds;
};

/// The names of the files that an import of a program may take, in their order: "PROG_5.txt" and
/// "PROG_5_*.txt". Links are none: an import does not follow them. May take as long as the stick
/// does.
/// \param directory  the stick's mount point; empty: there is no stick
QStringList programFiles(const QString &directory, int program);

/// Reads a program's file on a stick, the first of them. May take as long as the stick does: not
/// for the user interface's thread.
/// \param directory  the stick's mount point; empty: there is no stick
ProgramPreview readProgramPreview(const QString &directory, int program);

/// The set points over time, of the rows up to the first that has no unsigned 32-bit numbers in its
/// second to fifth field (set point, hours, minutes, seconds).
std::vector<ProgramSegment> programSegments(const std::vector<QStringList> &rows);

#endif // TERMINAL_PROGRAM_PREVIEW_H
