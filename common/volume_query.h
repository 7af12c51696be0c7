// What the storage monitor's platforms share: the text that `mount` prints, and file systems'
// figures.

#ifndef COMMON_VOLUME_QUERY_H
#define COMMON_VOLUME_QUERY_H

#include <QByteArray>
#include <QList>
#include <QString>

#include <sys/statvfs.h>

/// The fields of a line of `mount`: /dev/sda1 on /run/media/sda1 type vfat (rw)
enum MountField { NodeField = 0, OnField = 1, MountPathField = 2, MountFieldCount = 3 };

/// The fields of a line that are of interest: all of them; none when the line has fewer, and
/// when the mount point has blanks in its name.
QList<QByteArray> mountFields(const QByteArray &line);

/// The lines of an output. What follows the last line feed was cut off and is no line.
QList<QByteArray> completeLines(const QByteArray &output);

/// The figures of the file system at a path; all zero, which is logged, when there are none. Waits
/// for the file system, which may be for ever.
struct statvfs queryFileSystem(const QString &path);

/// Sizes in bytes.
quint64 totalBytes(const struct statvfs &info);
/// Includes what is reserved for the superuser.
quint64 freeBytes(const struct statvfs &info);
/// What everybody may use.
quint64 availableBytes(const struct statvfs &info);

#endif // COMMON_VOLUME_QUERY_H
