#include "recipe/delimited_text.h"

namespace
{

const QChar LineFeed = QLatin1Char('\n');
const QChar Quote = QLatin1Char('"');

// Tables repeat short texts. Kept once each, a big table of them takes little more memory than its
// file; texts of their own would take ten times as much.
const int LongestRepeatedText = 16; ///< characters
const int MostRecentTexts = 4096;
const int CharactersByRecentText = 16; ///< of a small table, which has few texts to repeat

// What the allocator and QString take for a text besides its characters.
const int TextBytes = 48;

uint hashOf(const QStringRef &text)
{
    uint hash = 0;
    for (int i = 0; i < text.size(); ++i)
        hash = hash * 31 + text.at(i).unicode();
    return hash;
}

size_t recentTextsFor(const QString &text)
{
    return static_cast<size_t>(qBound(1, text.size() / CharactersByRecentText, MostRecentTexts));
}

} // namespace

DelimitedText::DelimitedText(const QString &text, const QString &delimiter)
    : m_text(text), m_delimiter(delimiter), m_position(0), m_row_start(0), m_row_end(0), m_line(1),
      m_open(false), m_bytes(0), m_recent_texts(recentTextsFor(text))
{
}

void DelimitedText::skipEmptyLines()
{
    while (!atEnd() && isLineEnd(m_position))
        takeLineEnd();
}

QStringList DelimitedText::readRow()
{
    QStringList row;
    m_row_start = m_position;
    do {
        row.append(readField());
    } while (takeDelimiter());
    m_row_end = m_position;
    takeLineEnd();
    return row;
}

QString DelimitedText::rowText() const
{
    return m_text.mid(m_row_start, m_row_end - m_row_start);
}

bool DelimitedText::isLineEnd(int position) const
{
    return position >= m_text.size() || m_text.at(position) == LineFeed;
}

bool DelimitedText::isQuote(int position) const
{
    return position < m_text.size() && m_text.at(position) == Quote;
}

bool DelimitedText::isDelimiter(int position) const
{
    return !m_delimiter.isEmpty() && position < m_text.size() &&
           m_text.at(position) == m_delimiter.at(0) &&
           m_text.midRef(position, m_delimiter.size()) == m_delimiter;
}

QString DelimitedText::readField()
{
    if (!isQuote(m_position))
        return kept(readPlain());
    QString field = readQuoted();
    field.append(readPlain());
    return kept(QStringRef(&field));
}

/// What a quoted field says, from its opening to its closing double quote.
QString DelimitedText::readQuoted()
{
    QString field;
    do {
        const int start = m_position + 1;
        const int end = m_text.indexOf(Quote, start);
        m_open = end < 0;
        m_position = m_open ? m_text.size() : end + 1;
        const QStringRef run = m_text.midRef(start, m_position - start);
        m_line += run.count(LineFeed);
        // The second of two double quotes is the one that the text means.
        if (!m_open)
            field.append(isQuote(m_position) ? run : m_text.midRef(start, end - start));
    } while (isQuote(m_position));
    return field;
}

QStringRef DelimitedText::readPlain()
{
    const int start = m_position;
    while (!isLineEnd(m_position) && !isDelimiter(m_position))
        ++m_position;
    return m_text.midRef(start, m_position - start);
}

bool DelimitedText::takeDelimiter()
{
    const bool found = isDelimiter(m_position);
    if (found)
        m_position += m_delimiter.size();
    return found;
}

void DelimitedText::takeLineEnd()
{
    if (atEnd())
        return;
    ++m_position;
    ++m_line;
}

/// The field as a text of its own, or as the text that an equal field has.
QString DelimitedText::kept(const QStringRef &field)
{
    if (field.size() > LongestRepeatedText)
        return copied(field);
    QString &recent = m_recent_texts[hashOf(field) % m_recent_texts.size()];
    if (recent != field)
        recent = copied(field);
    return recent;
}

QString DelimitedText::copied(const QStringRef &field)
{
    m_bytes += TextBytes + field.size() * static_cast<int>(sizeof(QChar));
    return field.toString();
}
