#include "bench/soak/error_texts.h"

#include <QFile>
#include <QStringList>
#include <QTextStream>

namespace
{

const char Beginning[] = "(?:read station id#\\d+ start address [\\dA-F]{8}:"
                         "|write station id#\\d+ address [\\dA-F]{8})";

} // namespace

ErrorTexts::ErrorTexts(const QString &file)
{
    QFile document(file);
    if (!document.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    bool onTheLine = false;
    QTextStream lines(&document);
    for (QString line = lines.readLine(); !line.isNull(); line = lines.readLine()) {
        if (line.startsWith("## "))
            onTheLine = line == "## On the line";
        else if (onTheLine && line.startsWith("| `"))
            addRow(line);
    }
}

/// A row's first cell has one reason, or several, each in backquotes.
void ErrorTexts::addRow(const QString &line)
{
    const QStringList parts = line.section('|', 1, 1).split('`');
    for (int i = 1; i < parts.size(); i += 2) {
        const QString pattern = QRegExp::escape(parts[i]).replace("%02X", "[\\dA-F]{2}");
        m_reasons << Reason{parts[i].toStdString(), QRegExp(Beginning + pattern)};
    }
}

std::string ErrorTexts::reasonOf(const QString &text) const
{
    for (const Reason &reason : m_reasons) {
        if (reason.pattern.exactMatch(text))
            return reason.text;
    }
    return std::string();
}
