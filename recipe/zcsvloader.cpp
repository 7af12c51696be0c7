#include "recipe/zcsvloader.h"

#include "recipe/delimited_text.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QTextCodec>
#include <QTextStream>

#include <new>

namespace
{

const char Tab[] = "\t";
const char Comma[] = ",";
const QChar LineFeed = QLatin1Char('\n');

const int LeastLines = 2;      ///< a header and one line of data
const int LongField = 5;       ///< a header with longer fields on average looks suspicious
const int LeastDelimiters = 2; ///< that a line needs for its delimiter to be believed
const int LongestSummary = 22; ///< messages; what still fits the panel's screen

// What a table may take in memory: a few times its text, but no file is refused that is small
// anyway. A header of a million columns over a million short lines would not fit any terminal.
const qint64 SmallTable = 32 * 1024 * 1024; ///< bytes
const qint64 LargestTableByText = 6;        ///< times the bytes of the text
const qint64 RowBytes = 32;                 ///< of a row without its fields
const qint64 FieldBytes = 16;               ///< of a field without its text
const qint64 MessageBytes = 128;

qint64 largestTable(const QString &text)
{
    const qint64 textBytes = text.size() * static_cast<qint64>(sizeof(QChar));
    return qMax(SmallTable, LargestTableByText * textBytes);
}

/// The first messages, numbered, one a line.
QString summary(const QStringList &messages)
{
    QStringList entries;
    for (int i = 0; i < messages.size() && i < LongestSummary; ++i)
        entries << QString::fromLatin1("%1. %2").arg(i + 1).arg(messages.at(i));
    const QString text = entries.join(QString(LineFeed));
    return messages.size() > LongestSummary ? text + QLatin1String("....") : text;
}

/// Whether the file begins with the byte order mark of the codec.
bool hasMarkOf(const QTextCodec *codec, QFile &file)
{
    const QChar mark(QChar::ByteOrderMark);
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    const QByteArray bytes = codec->fromUnicode(&mark, 1, &state);
    file.setTextModeEnabled(false); // to look at it as it is
    const bool found = file.peek(bytes.size()) == bytes;
    file.setTextModeEnabled(true);
    return found;
}

} // namespace

const qint64 ZCSVLoader::LargestFile;

ZCSVLoader::ZCSVLoader(QWidget *parent)
    : ZCSVInterface(parent), m_stream(0), m_delimiter_auto_detected(false),
      m_adjust_to_header(true), m_status(NoFileName)
{
}

void ZCSVLoader::setAdjustToHeader(bool adjust)
{
    m_adjust_to_header = adjust;
}

bool ZCSVLoader::openFile(QString fileName)
{
    try {
        return openWithinMemory(fileName);
    } catch (const std::bad_alloc &) {
        forgetLastFile();
        m_stream = 0;
        m_status = FileErrors;
        m_error_list << tr("The file is too large.");
        return false;
    }
}

bool ZCSVLoader::openWithinMemory(QString fileName)
{
    forgetLastFile();
    if (!askEachTimeCheck()) {
        m_error_list << tr("User canceled operation.");
        return false;
    }
    if (fileName.isEmpty() && !chooseFile(fileName))
        return false;
    // Whoever opens a pipe waits for its other end, and a device may never end.
    QFile file(fileName);
    if (!QFileInfo(fileName).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    rememberDirectoryOf(fileName);
    load(file);
    return m_error_list.isEmpty();
}

void ZCSVLoader::forgetLastFile()
{
    m_content.clear();
    m_error_list.clear();
    m_warning_list.clear();
    m_delimiter_auto_detected = false;
    m_status = NotOpened;
}

/// \return false: there is nobody to ask, or the user cancelled
bool ZCSVLoader::chooseFile(QString &fileName)
{
    if (!inGuiThread()) {
        m_status = NoFileName;
        m_error_list << tr("The file name is empty.");
        return false;
    }
    fileName =
        QFileDialog::getOpenFileName(parentWidget(), tr("Import File"), lastDirectory(), filter());
    return !fileName.isEmpty();
}

void ZCSVLoader::load(QFile &file)
{
    m_status = Loaded;
    if (file.size() > LargestFile) {
        m_error_list << tr("The file is too large.");
    } else {
        QTextStream stream(&file);
        stream.setCodec(textCodec());
        // With its own mark in front, the codec knows better than a guess: in UTF-16LE a mark and a
        // first character of 0 look like the mark of UTF-32LE.
        stream.setAutoDetectUnicode(!hasMarkOf(textCodec(), file));
        m_content = loadFile(stream, m_error_list, m_warning_list);
        // Half a program must not pass for a whole one.
        if (file.error() != QFile::NoError)
            m_error_list << tr("The file cannot be read to its end.");
    }
    if (m_error_list.isEmpty())
        return;
    m_status = FileErrors;
    if (inGuiThread())
        QMessageBox::warning(parentWidget(), tr("File Format Error."), summary(m_error_list));
}

QList<QStringList> ZCSVLoader::loadFile(QTextStream &stream, QStringList &errors,
                                        QStringList &warnings)
{
    int lines = 0;
    m_stream = &stream;
    const QString text = readLines(lines);
    m_stream = 0;
    const bool blank = lines == text.size();
    if (lines < LeastLines || blank) {
        errors << tr("No content found in the imported file.");
        return QList<QStringList>();
    }
    emit updateStatus(QLatin1String("total lines"), lines);
    QString separator = delimiter();
    if (!settleDelimiter(text, separator, errors, warnings))
        return QList<QStringList>();
    return readRows(text, separator, errors, warnings);
}

/// The lines that are left, each ended by a line feed.
QString ZCSVLoader::readLines(int &count)
{
    QString text;
    count = 0;
    // The stream of a stick that was pulled is never at its end, but gives no more lines.
    for (QString line = m_stream->readLine(); !line.isNull(); line = m_stream->readLine()) {
        text += line;
        text += LineFeed;
        ++count;
    }
    return text;
}

/// Looks for another delimiter where the header seems to have too few fields.
/// \return false: there is none
bool ZCSVLoader::settleDelimiter(const QString &text, QString &delimiter, QStringList &errors,
                                 QStringList &warnings)
{
    DelimitedText reader(text, delimiter);
    reader.skipEmptyLines();
    const int fields = reader.readRow().size();
    const QString header = reader.rowText();
    // Of a header that never ends, the rows have to tell.
    return reader.isOpen() || header.length() / LongField <= fields ||
           !isLineFormatError(header, errors, warnings, delimiter);
}

bool ZCSVLoader::isLineFormatError(QString line, QStringList &errors, QStringList &warnings,
                                   QString &delimiter)
{
    Q_UNUSED(warnings);
    DelimitedText reader(line, delimiter);
    if (!delimiter.isEmpty() && line.contains(delimiter)) {
        reader.readRow();
        if (!reader.isOpen())
            return false;
    }
    if (autoDetectDelimiter(delimiter, line)) {
        m_delimiter_auto_detected = true;
        m_status = DelimiterReplaced;
        return false;
    }
    errors << tr("File format error.") + LineFeed + tr("Cannot detect delimiter.");
    return true;
}

bool ZCSVLoader::autoDetectDelimiter(QString &delimiter, QString line)
{
    const QString candidates[] = {QLatin1String(Tab), QLatin1String(Comma)};
    for (const QString &candidate : candidates) {
        if (candidate != delimiter && line.count(candidate) >= LeastDelimiters) {
            delimiter = candidate;
            return true;
        }
    }
    return false;
}

QList<QStringList> ZCSVLoader::readRows(const QString &text, const QString &delimiter,
                                        QStringList &errors, QStringList &warnings)
{
    QList<QStringList> rows;
    qint64 bytes = 0;
    DelimitedText reader(text, delimiter);
    for (reader.skipEmptyLines(); !reader.atEnd(); reader.skipEmptyLines()) {
        const int line = reader.line();
        QStringList row = reader.readRow();
        if (reader.isOpen()) {
            errors << tr("Format error at line %1").arg(reader.line());
            break;
        }
        if (!rows.isEmpty())
            fitToHeader(row, rows.first().size(), line, errors, warnings);
        bytes += RowBytes + FieldBytes * row.size();
        const qint64 messageBytes = MessageBytes * (errors.size() + warnings.size());
        if (bytes + reader.bytesOfTexts() + messageBytes > largestTable(text)) {
            errors << tr("The file is too large.");
            break;
        }
        rows.append(row);
        emit updateStatus(QLatin1String("current line"), line);
    }
    return rows;
}

void ZCSVLoader::fitToHeader(QStringList &row, int columns, int line, QStringList &errors,
                             QStringList &warnings)
{
    if (row.size() == columns)
        return;
    if (m_adjust_to_header) {
        adjust(row, columns, line, warnings);
        m_status = LinesAdjusted;
    } else {
        errors << tr("Line %1 format error.").arg(line);
        m_delimiter_auto_detected = false;
    }
}

void ZCSVLoader::adjust(QStringList &row, int columns, int line, QStringList &warnings)
{
    if (row.size() < columns) {
        warnings
            << tr("Line %1 is %2 columns short of header.").arg(line).arg(columns - row.size());
        row.reserve(columns);
        while (row.size() < columns)
            row.append(QString());
    } else {
        warnings << tr("Line %1 is %2 columns more of header.").arg(line).arg(row.size() - columns);
        row = row.mid(0, columns);
    }
}

QList<QStringList> ZCSVLoader::fileContent()
{
    switch (m_status) {
    case NoFileName:
        report(tr("File cannot be loaded."), tr("Please select a file."));
        break;
    case NotOpened:
        report(tr("File cannot be opened."), tr("Please select the right file."));
        break;
    case FileErrors:
        report(tr("File cannot be loaded."), tr("Please check file format."));
        break;
    case DelimiterReplaced:
        report(tr("Warning: Incorrect File Format"),
               tr("The file format has been modified. We strongly recommend you to export the file "
                  "again after final edits."));
        break;
    case LinesAdjusted:
        report(tr("Warning: Incorrect File Format"), summary(m_warning_list));
        break;
    default:
        break;
    }
    return m_status >= Loaded ? m_content : QList<QStringList>();
}

void ZCSVLoader::report(const QString &title, const QString &text)
{
    if (inGuiThread())
        QMessageBox::information(parentWidget(), title, text);
    else
        m_error_list << title << text;
}

QStringList ZCSVLoader::errorMessageList() const
{
    return m_error_list;
}

bool ZCSVLoader::delimiterAutoDetected() const
{
    return m_delimiter_auto_detected;
}
