#include "terminal/program_preview.h"

#include <algorithm>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace
{

const qint64 LargestFile = 1024 * 1024; // bytes; a whole program has some ten thousand
const int SetPoint = 1;                 // the field behind the step's name
const int Hours = 2;
const int Minutes = 3;
const int Seconds = 4;
const double SecondsPerHour = 3600.0;
const double SecondsPerMinute = 60.0;

QStringList fieldsOf(const QString &line)
{
    QStringList fields = line.split('\t').mid(0, ProgramPreview::MostColumns);
    for (QString &field : fields)
        field.truncate(ProgramPreview::LongestField);
    return fields;
}

/// Rows of fields with tabs between them; the byte order mark tells the encoding.
void readRows(const QByteArray &bytes, ProgramPreview *preview)
{
    QTextStream text(bytes);
    text.setCodec("UTF-16LE");
    preview->header = fieldsOf(text.readLine());
    while (!text.atEnd() && preview->rows.size() < ProgramPreview::MostRows) {
        const QString line = text.readLine();
        if (!line.isEmpty())
            preview->rows.push_back(fieldsOf(line));
    }
}

/// It may have become a pipe since it was found.
void readFile(const QString &path, ProgramPreview *preview)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        preview->mistake = "The file cannot be read.";
        return;
    }
    const QByteArray bytes = file.read(LargestFile + 1);
    if (file.error() != QFile::NoError)
        preview->mistake = "The file cannot be read.";
    else if (bytes.isEmpty())
        preview->mistake = "The file is empty.";
    else if (bytes.size() > LargestFile)
        preview->mistake = "The file is too large for a program.";
    else
        readRows(bytes, preview);
}

/// Digits and nothing else, as an import wants them.
bool readNumber(const QStringList &row, int field, double *number)
{
    const QString text = row.value(field);
    const bool isDigits = std::all_of(text.begin(), text.end(), [](QChar character) {
        return character >= QChar('0') && character <= QChar('9');
    });
    bool fits = false;
    *number = text.toUInt(&fits);
    return isDigits && fits;
}

} // namespace

QStringList programFiles(const QString &directory, int program)
{
    if (directory.isEmpty())
        return QStringList();
    return QDir(directory).entryList(
        {QString("PROG_%1.txt").arg(program), QString("PROG_%1_*.txt").arg(program)},
        QDir::Files | QDir::NoSymLinks, QDir::Name);
}

ProgramPreview readProgramPreview(const QString &directory, int program)
{
    ProgramPreview preview;
    preview.matches = programFiles(directory, program);
    if (preview.matches.isEmpty())
        return preview;
    preview.file = preview.matches.first();
    readFile(QDir(directory).filePath(preview.file), &preview);
    return preview;
}

std::vector<ProgramSegment> programSegments(const std::vector<QStringList> &rows)
{
    std::vector<ProgramSegment> segments;
    for (const QStringList &row : rows) {
        ProgramSegment segment = {0.0, 0.0};
        double hours = 0.0;
        double minutes = 0.0;
        double seconds = 0.0;
        if (!readNumber(row, SetPoint, &segment.setPoint) || !readNumber(row, Hours, &hours) ||
            !readNumber(row, Minutes, &minutes) || !readNumber(row, Seconds, &seconds))
            break;
        segment.seconds = hours * SecondsPerHour + minutes * SecondsPerMinute + seconds;
        segments.push_back(segment);
    }
    return segments;
}
