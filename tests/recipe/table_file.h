// Files with tables, for tests.

#ifndef TESTS_RECIPE_TABLE_FILE_H
#define TESTS_RECIPE_TABLE_FILE_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

typedef QList<QStringList> Table;

/// A file in a folder of its own that goes away with it.
class TableFile
{
public:
    TableFile();
    explicit TableFile(const QByteArray &bytes);

    /// The file need not be there.
    QString path() const { return m_folder.filePath(QString("PROG_1.txt")); }
    QString folder() const { return m_folder.path(); }
    QByteArray bytes() const;

    /// Replaces what is in the file.
    void write(const QByteArray &bytes);

private:
    QTemporaryDir m_folder;
};

/// The bytes of a text in UTF-16LE, without a byte order mark.
QByteArray utf16(const QString &text);

/// The same behind a byte order mark.
QByteArray markedUtf16(const QString &text);

#endif // TESTS_RECIPE_TABLE_FILE_H
