// Tables in delimited text: whatever the file holds, the rows that are read are all as wide as the
// header, every message is a documented one, and the rows can be written and read again.
//
// An input is a byte of options and the content of the file.

#include <cstdint>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTextCodec>
#include <QTextStream>

#include "fuzz/expect.h"
#include "recipe/zcsvloader.h"

namespace
{

enum Option {
    Comma = 1,
    KeepWidths = 2, ///< a line of another width is an error
    Utf8 = 4,
    ReadAgain = 0x80 | 0x40 ///< both: takes as long as all else, and one input in four is enough
};

const char Quote[] = "\"";
const char QuoteInside[] = "\"\"";

bool isOneOf(const QString &message, const char *const *texts, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        if (message == QLatin1String(texts[i]))
            return true;
    }
    return false;
}

/// Whether a message is the text around numbers: "#" stands for each.
bool isNumbered(const QString &message, const char *pattern)
{
    const QString text = QLatin1String(pattern);
    int place = 0;
    for (int i = 0; i < text.size(); ++i) {
        const int start = place;
        if (text.at(i) == QLatin1Char('#')) {
            while (place < message.size() && message.at(place).isDigit())
                ++place;
        } else if (place < message.size() && message.at(place) == text.at(i)) {
            ++place;
        }
        if (place == start)
            return false;
    }
    return place == message.size();
}

bool isDocumentedError(const QString &message)
{
    static const char *const texts[] = {"No content found in the imported file.",
                                        "File format error.\nCannot detect delimiter.",
                                        "The file is too large."};
    return isOneOf(message, texts, sizeof texts / sizeof texts[0]) ||
           isNumbered(message, "Line # format error.") ||
           isNumbered(message, "Format error at line #");
}

bool isDocumentedWarning(const QString &message)
{
    return isNumbered(message, "Line # is # columns short of header.") ||
           isNumbered(message, "Line # is # columns more of header.");
}

void expectWidthOfHeader(const QList<QStringList> &rows)
{
    foreach (const QStringList &row, rows)
        EXPECT(row.size() == rows.first().size());
}

QString quoted(QString field)
{
    return QLatin1String(Quote) + field.replace(QLatin1String(Quote), QLatin1String(QuoteInside)) +
           QLatin1String(Quote);
}

/// A table in which every field is quoted.
QString written(const QList<QStringList> &rows, const QString &delimiter)
{
    QString text;
    foreach (const QStringList &row, rows) {
        QStringList fields;
        foreach (const QString &field, row)
            fields << quoted(field);
        text += fields.join(delimiter) + QLatin1Char('\n');
    }
    return text;
}

/// Not for tables of one column, where nothing tells the delimiter, and not with carriage returns,
/// which belong to the line ends.
bool canBeReadAgain(const QList<QStringList> &rows, const QString &text)
{
    return rows.size() > 1 && rows.first().size() > 1 && !text.contains(QLatin1Char('\r'));
}

void expectTheSameAgain(ZCSVLoader &loader, const QList<QStringList> &rows)
{
    QString text = written(rows, loader.delimiter());
    if (!canBeReadAgain(rows, text))
        return;
    QStringList errors;
    QStringList warnings;
    QTextStream stream(&text, QIODevice::ReadOnly);
    EXPECT(loader.loadFile(stream, errors, warnings) == rows);
    EXPECT(errors.isEmpty() && warnings.isEmpty());
}

QTextCodec *codecFor(int options)
{
    static QTextCodec *const utf8 = QTextCodec::codecForName("UTF-8");
    static QTextCodec *const utf16 = QTextCodec::codecForName("UTF-16LE");
    return (options & Utf8) != 0 ? utf8 : utf16;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const int options = data[0];
    ZCSVLoader loader(nullptr);
    loader.setFileFormat((options & Comma) != 0 ? ZCSVLoader::CSVFormat : ZCSVLoader::TextFormat);
    loader.setAdjustToHeader((options & KeepWidths) == 0);

    QStringList errors;
    QStringList warnings;
    QTextStream stream(QByteArray::fromRawData(reinterpret_cast<const char *>(data) + 1,
                                               static_cast<int>(size - 1)));
    stream.setCodec(codecFor(options));
    const QList<QStringList> rows = loader.loadFile(stream, errors, warnings);

    foreach (const QString &message, errors)
        EXPECT(isDocumentedError(message));
    foreach (const QString &message, warnings)
        EXPECT(isDocumentedWarning(message));
    EXPECT(warnings.size() < qMax(1, rows.size()) || !errors.isEmpty());
    EXPECT((options & KeepWidths) == 0 || warnings.isEmpty());
    if (!errors.isEmpty())
        return 0;
    EXPECT(!rows.isEmpty());
    expectWidthOfHeader(rows);
    if ((options & ReadAgain) == ReadAgain)
        expectTheSameAgain(loader, rows);
    return 0;
}
