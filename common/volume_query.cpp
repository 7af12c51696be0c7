#include "common/volume_query.h"

#include <QFile>
#include <QtDebug>

QList<QByteArray> mountFields(const QByteArray &line)
{
    QList<QByteArray> fields;
    foreach (const QByteArray &part, line.split(' ')) {
        if (!part.isEmpty()) {
            fields.append(part);
        }
    }
    // What stands before the word "type" belongs to the mount point, blanks and all.
    if (fields.size() < MountFieldCount || fields.indexOf("type") > MountFieldCount) {
        return QList<QByteArray>();
    }
    return fields.mid(0, MountFieldCount);
}

QList<QByteArray> completeLines(const QByteArray &output)
{
    QList<QByteArray> lines = output.split('\n');
    lines.removeLast();
    return lines;
}

struct statvfs queryFileSystem(const QString &path)
{
    struct statvfs info = {};
    if (::statvfs(QFile::encodeName(path).constData(), &info) != 0) {
        info = {};
        qDebug() << "get file system info failed";
    }
    return info;
}

// The counts of blocks are in units of f_frsize.

quint64 totalBytes(const struct statvfs &info)
{
    return static_cast<quint64>(info.f_blocks) * info.f_frsize;
}

quint64 freeBytes(const struct statvfs &info)
{
    return static_cast<quint64>(info.f_bfree) * info.f_frsize;
}

quint64 availableBytes(const struct statvfs &info)
{
    return static_cast<quint64>(info.f_bavail) * info.f_frsize;
}
