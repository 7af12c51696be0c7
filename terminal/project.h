// A project: the tags that its author lists, and the database that the driver reads.

#ifndef TERMINAL_PROJECT_H
#define TERMINAL_PROJECT_H

#include <QList>
#include <QString>

#include "terminal/tag.h"

/// The tags of one link.
struct Project {
    QList<Tag> tags;

    /// The tag of that name, or of that address text, with or without the prefix of the default
    /// station; null when there is none. Letters of addresses may be of either case.
    const Tag *find(const QString &nameOrAddress, int defaultStation) const;
};

/// Reads a tag list: CSV with a header line that names the columns name, address, type and length.
/// Lines that begin with # are comments.
/// \param error  gets file, line and what is wrong; not null
bool loadProject(const QString &file, Project *project, QString *error);

/// Writes the project's database, an SQLite file: the link at a port, its default station and the
/// address of each double word. The file is put in its place when it is complete.
/// \param file            gets its directories, too
/// \param port            the port's name in the project, "COM" and a number
/// \param defaultStation  1 to 255
/// \param error           gets what is wrong; not null
bool writeProjectDatabase(const QString &file, const Project &project, const QString &port,
                          int defaultStation, QString *error);

#endif // TERMINAL_PROJECT_H
