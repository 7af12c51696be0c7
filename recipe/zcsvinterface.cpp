#include "recipe/zcsvloader.h"

#include <QApplication>
#include <QFileInfo>
#include <QMessageBox>
#include <QSettings>
#include <QTextCodec>
#include <QThread>

namespace
{

const char DefaultCodec[] = "UTF-16LE";
const char DirectoryKey[] = "default_dir";

const char Tab[] = "\t";
const char Comma[] = ",";

} // namespace

ZCSVInterface::ZCSVInterface(QWidget *parent)
    : m_parent_widget(parent), m_codec(0), m_generate_byte_order_mark(true),
      m_delimiter(QLatin1String(Tab)), m_file_format(TextFormat), m_filter(tr("Text File (*.txt)")),
      m_ask_each_time(false)
{
    init();
}

void ZCSVInterface::init()
{
    m_codec = QTextCodec::codecForName(DefaultCodec);
}

QTextCodec *ZCSVInterface::textCodec() const
{
    return m_codec;
}

void ZCSVInterface::setCodec(QTextCodec *codec)
{
    m_codec = codec;
}

QString ZCSVInterface::delimiter() const
{
    return m_delimiter;
}

void ZCSVInterface::setDelimiter(const QString &delimiter)
{
    m_delimiter = delimiter;
}

void ZCSVInterface::setFileFormat(FileFormat format)
{
    m_file_format = format;
    if (format == TextFormat) {
        m_delimiter = QLatin1String(Tab);
        m_filter = tr("Text File (*.txt)");
    } else if (format == CSVFormat) {
        m_delimiter = QLatin1String(Comma);
        m_filter = tr("CSV File (*.csv)");
    }
}

void ZCSVInterface::setAskEachTime(bool ask)
{
    m_ask_each_time = ask;
}

bool ZCSVInterface::askEachTimeCheck()
{
    if (!m_ask_each_time || !inGuiThread())
        return true;
    QMessageBox question(m_parent_widget);
    question.setWindowTitle(tr("Import/Export File"));
    question.setText(tr("The import/export file will process as %1 format.").arg(formatName()));
    question.setInformativeText(tr("Do you want to procced?"));
    question.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
    question.setDefaultButton(QMessageBox::Cancel);
    return question.exec() != QMessageBox::Cancel;
}

QString ZCSVInterface::formatName() const
{
    switch (m_file_format) {
    case TextFormat:
        return tr("TXT");
    case CSVFormat:
        return tr("CSV");
    }
    return QString();
}

/// A program without a user interface has no such thread: a dialog would end it.
bool ZCSVInterface::inGuiThread() const
{
    const QApplication *const application =
        qobject_cast<QApplication *>(QCoreApplication::instance());
    return application != 0 && thread() == application->thread();
}

QWidget *ZCSVInterface::parentWidget() const
{
    return m_parent_widget;
}

QString ZCSVInterface::filter() const
{
    return m_filter;
}

bool ZCSVInterface::generateByteOrderMark() const
{
    return m_generate_byte_order_mark;
}

void ZCSVInterface::storeGenerateByteOrderMark(bool generate)
{
    m_generate_byte_order_mark = generate;
}

QString ZCSVInterface::lastDirectory() const
{
    const QSettings settings;
    return settings.value(QLatin1String(DirectoryKey), QCoreApplication::applicationDirPath())
        .toString();
}

void ZCSVInterface::rememberDirectoryOf(const QString &fileName)
{
    const QString directory = QFileInfo(fileName).absolutePath();
    QSettings settings;
    // Each value that is set goes to the flash at once, a new one or not.
    if (settings.value(QLatin1String(DirectoryKey)).toString() != directory)
        settings.setValue(QLatin1String(DirectoryKey), directory);
}
