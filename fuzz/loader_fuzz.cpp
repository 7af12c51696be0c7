// Tables in delimited text: whatever the file holds, rows and messages are those of a second
// reading, and the rows can be written and read again.
//
// An input is a byte of options and the content of the file. The decoding is Qt's and not compared.

#include <cstdint>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTextCodec>
#include <QTextStream>

#include "fuzz/expect.h"
#include "fuzz/table_model.h"
#include "recipe/zcsvloader.h"

namespace
{

enum Option {
    Comma = 1,
    KeepWidths = 2, ///< a line of another width is an error
    Utf8 = 4,
    ReadAgain = 0x80 | 0x40 ///< both: takes as long as all else, and one input in four is enough
};

/// Nothing new comes with more, and most of the time would go into them.
const int MostFieldsReadAgain = 64;

const char Quote[] = "\"";
const char QuoteInside[] = "\"\"";
const QChar TabDelimiter = QLatin1Char('\t');
const QChar CommaDelimiter = QLatin1Char(',');

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

/// Rows are as wide as the header: a short input may make thousands of fields.
bool isSmall(const QList<QStringList> &rows)
{
    return rows.isEmpty() || rows.size() * rows.first().size() <= MostFieldsReadAgain;
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

/// What a text stream makes of the bytes: a byte order mark counts more than the codec.
QString decoded(const QByteArray &bytes, QTextCodec *codec)
{
    QTextCodec::ConverterState state;
    return QTextCodec::codecForUtfText(bytes, codec)
        ->toUnicode(bytes.constData(), bytes.size(), &state);
}

void expectTable(const TableModel &model, const QList<QStringList> &rows, const QStringList &errors,
                 const QStringList &warnings)
{
    EXPECT(errors == model.errors);
    EXPECT(warnings == model.warnings);
    EXPECT(static_cast<size_t>(rows.size()) == model.rowCount());
    for (int row = 0; row < rows.size(); ++row)
        EXPECT(model.isRow(static_cast<size_t>(row), rows.at(row)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static TableModel model;
    if (size < 1)
        return 0;
    const int options = data[0];
    const bool comma = (options & Comma) != 0;
    const bool keepWidths = (options & KeepWidths) != 0;
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data) + 1,
                                                     static_cast<int>(size - 1));
    ZCSVLoader loader(nullptr);
    loader.setFileFormat(comma ? ZCSVLoader::CSVFormat : ZCSVLoader::TextFormat);
    loader.setAdjustToHeader(!keepWidths);

    QStringList errors;
    QStringList warnings;
    QTextStream stream(bytes);
    stream.setCodec(codecFor(options));
    const QList<QStringList> rows = loader.loadFile(stream, errors, warnings);

    model.read(decoded(bytes, codecFor(options)), comma ? CommaDelimiter : TabDelimiter,
               comma ? TabDelimiter : CommaDelimiter, keepWidths);
    expectTable(model, rows, errors, warnings);
    if (errors.isEmpty() && (options & ReadAgain) == ReadAgain && isSmall(rows))
        expectTheSameAgain(loader, rows);
    return 0;
}
