#include "recipe/zcsvloader.h"

#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QTextStream>

#include <new>

namespace
{

const QChar LineFeed = QLatin1Char('\n');
const QChar Quote = QLatin1Char('"');

QString quoted(const QString &field)
{
    QString text(Quote);
    for (const QChar character : field) {
        text += character;
        if (character == Quote)
            text += Quote;
    }
    return text + Quote;
}

} // namespace

ZCSVSaver::ZCSVSaver(QWidget *parent) : ZCSVInterface(parent), m_quote_when_needed(true) {}

void ZCSVSaver::setGenerateByteOrderMark(bool generate)
{
    storeGenerateByteOrderMark(generate);
}

void ZCSVSaver::setQuoteWhenNeeded(bool whenNeeded)
{
    m_quote_when_needed = whenNeeded;
}

bool ZCSVSaver::saveFile(QList<QStringList> rows, QString fileName)
{
    try {
        return saveWithinMemory(rows, fileName);
    } catch (const std::bad_alloc &) {
        m_error_list << tr("There is not enough memory.");
        return false;
    }
}

bool ZCSVSaver::saveWithinMemory(const QList<QStringList> &rows, QString fileName)
{
    if (!askEachTimeCheck()) {
        m_error_list << tr("User canceled operation.");
        return false;
    }
    m_error_list.clear();
    if (fileName.isEmpty() && !chooseFile(fileName))
        return false;
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        reportNotOpened();
        return false;
    }
    QTextStream stream(&file);
    stream.setCodec(textCodec());
    stream.setGenerateByteOrderMark(generateByteOrderMark());
    writeRows(stream, rows);
    stream.flush();
    file.close();
    return true;
}

/// \return false: there is nobody to ask, or the user cancelled
bool ZCSVSaver::chooseFile(QString &fileName)
{
    if (!inGuiThread()) {
        m_error_list << tr("The file name is empty.");
        return false;
    }
    fileName =
        QFileDialog::getSaveFileName(parentWidget(), tr("Export File"), lastDirectory(), filter());
    if (fileName.isEmpty())
        return false;
    rememberDirectoryOf(fileName);
    return true;
}

void ZCSVSaver::reportNotOpened()
{
    const QString text = tr("File cannot be opened.");
    if (inGuiThread())
        QMessageBox::warning(parentWidget(), text, text);
    else
        m_error_list << text;
}

void ZCSVSaver::writeRows(QTextStream &stream, const QList<QStringList> &rows) const
{
    const QString separator = delimiter();
    for (const QStringList &row : rows) {
        for (int i = 0; i < row.size(); ++i) {
            if (i > 0)
                stream << separator;
            stream << written(row.at(i), separator);
        }
        stream << LineFeed;
    }
}

/// A field as it stands in the file.
QString ZCSVSaver::written(const QString &field, const QString &separator) const
{
    const bool needsQuotes =
        field.contains(LineFeed) || field.contains(separator) || field.contains(Quote);
    return needsQuotes || !m_quote_when_needed ? quoted(field) : field;
}

QStringList ZCSVSaver::errorMessageList() const
{
    return m_error_list;
}
