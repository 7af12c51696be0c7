// What docs/programs.md tells is what the driver does.

#include "common/qtcompat.h"
#include "recipe/program_file.h"
#include "recipe/zcsvloader.h"
#include "tests/recipe/table_file.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace
{

QString textOf(const QString &file)
{
    QFile opened(file);
    EXPECT_TRUE(opened.open(QIODevice::ReadOnly)) << file.toStdString();
    return QString::fromUtf8(opened.readAll());
}

QString document()
{
    return textOf(DMC50_SOURCES "/docs/programs.md");
}

/// The lines of the block of bytes below a heading.
QStringList blockBelow(const QString &heading)
{
    const QString behind = document().section(heading + "\n", 1);
    return behind.section("```", 1, 1).split('\n', Qt::SkipEmptyParts);
}

/// The bytes at the beginning of a line, up to what they mean.
QByteArray bytesOf(const QString &line)
{
    const QRegularExpression bytes("^((?:[0-9A-F]{2} ?)+)");
    return QByteArray::fromHex(bytes.match(line).captured(1).toLatin1());
}

/// A step with a set point of 2500 for half an hour, as an export writes it.
QByteArray workedFile()
{
    QByteArray values(Program::StepSize, '\0');
    values[0] = static_cast<char>(2500 & 0xFF);
    values[1] = static_cast<char>(2500 >> 8);
    values[2 * Program::BytesPerValue] = 30;
    const NarrowCodec labels(Program::LabelCodec);
    const TableFile file;
    ZCSVSaver saver(nullptr);
    EXPECT_TRUE(saver.saveFile({Program::headerRow(labels), Program::stepRow(labels, 1, values)},
                               file.path()));
    return file.bytes();
}

TEST(ProgramsDocument, ShowsTheBytesOfAFile)
{
    const QByteArray file = workedFile();
    int position = 0;
    bool gap = false;
    const QStringList lines = blockBelow("### A worked file");
    ASSERT_LE(8, lines.size());
    for (const QString &line : lines) {
        const QByteArray bytes = bytesOf(line);
        ASSERT_FALSE(bytes.isEmpty()) << line.toStdString();
        const int found = file.indexOf(bytes, position);
        ASSERT_LE(position, found) << line.toStdString();
        if (!gap) {
            EXPECT_EQ(position, found) << line.toStdString();
        }
        position = found + bytes.size();
        gap = line.contains("...");
    }
    EXPECT_EQ(file.size(), position);
}

TEST(ProgramsDocument, ShowsTheTextOfTheBytes)
{
    const QString label = QString::fromUtf8("設定溫度");
    bool shown = false;
    for (const QString &line : blockBelow("### A worked file")) {
        shown = shown || (line.endsWith(label) && bytesOf(line) == utf16(label));
    }
    EXPECT_TRUE(shown);
}

TEST(ProgramsDocument, NamesTheFieldsInTheirOrder)
{
    const NarrowCodec labels(Program::LabelCodec);
    const QStringList header = Program::headerRow(labels);
    for (int i = 1; i <= 8; ++i) {
        EXPECT_TRUE(document().contains(QRegularExpression(
            QString("\\| %1 \\| `?%2`?[,| ]")
                .arg(QString::number(i + 1), QRegularExpression::escape(header.at(i))))))
            << header.at(i).toStdString();
    }
    EXPECT_TRUE(document().contains("| 10 to 21 | " + header.at(9) + " to " + header.at(20)));
    EXPECT_TRUE(document().contains("| 22 to 25 | " + header.at(21) + " to " + header.at(24)));
}

/// The texts in the sources that a person may come to see: all that are sentences or titles.
QStringList messagesInSources()
{
    const QRegularExpression call("(?:tr|fromLatin1)\\(((?:\\s*\"(?:[^\"\\\\]|\\\\.)*\")+)\\)");
    const QRegularExpression seam("\"\\s*\"");
    const QStringList others = {"DejaVu Sans", "%1. %2"};
    QStringList messages;
    const QDir sources(DMC50_SOURCES "/recipe");
    for (const QString &file : sources.entryList({"*.cpp"})) {
        QRegularExpressionMatchIterator calls = call.globalMatch(textOf(sources.filePath(file)));
        while (calls.hasNext()) {
            QString text = calls.next().captured(1).trimmed().remove(seam);
            text = text.mid(1, text.size() - 2).remove("\\n");
            if (text.contains(' ') && !others.contains(text))
                messages << text;
        }
    }
    return messages;
}

/// The text with anything in place of its arguments.
QRegularExpression patternOf(const QString &message)
{
    const QRegularExpression argument("%\\\\?\\d|\\\\%\\d");
    return QRegularExpression(QRegularExpression::escape(message).replace(argument, "[^|]+?"));
}

TEST(ProgramsDocument, KnowsEveryMessage)
{
    const QStringList messages = messagesInSources();
    EXPECT_LE(25, messages.size());
    EXPECT_TRUE(messages.contains("The field Num is not 25."));
    EXPECT_TRUE(messages.contains("Line %1 is %2 columns short of header."));
    EXPECT_TRUE(messages.contains("Reading Data Timeout,Please check the communication or the "
                                  "address [%1] is valid or not."));
    for (const QString &message : messages)
        EXPECT_TRUE(document().contains(patternOf(message))) << message.toStdString();
}

} // namespace
