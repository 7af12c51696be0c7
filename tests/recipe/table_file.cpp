#include "tests/recipe/table_file.h"

#include <QFile>

#include <gtest/gtest.h>

TableFile::TableFile()
{
    EXPECT_TRUE(m_folder.isValid());
}

TableFile::TableFile(const QByteArray &bytes) : TableFile()
{
    write(bytes);
}

void TableFile::write(const QByteArray &bytes)
{
    QFile file(path());
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(bytes.size(), file.write(bytes));
}

QByteArray TableFile::bytes() const
{
    QFile file(path());
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path());
    return file.readAll();
}

QByteArray utf16(const QString &text)
{
    QByteArray bytes;
    bytes.reserve(2 * text.size());
    for (const QChar character : text) {
        bytes += static_cast<char>(character.unicode() & 0xFF);
        bytes += static_cast<char>(character.unicode() >> 8);
    }
    return bytes;
}

QByteArray markedUtf16(const QString &text)
{
    return QByteArray("\xFF\xFE") + utf16(text);
}
