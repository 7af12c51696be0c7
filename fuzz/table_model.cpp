#include "fuzz/table_model.h"

#include <algorithm>

namespace
{

const char16_t LineFeed = u'\n';
const char16_t CarriageReturn = u'\r';
const char16_t Quote = u'"';

const int LeastLines = 2;
const size_t LongField = 5;           ///< characters by field that make a header suspicious
const std::ptrdiff_t LeastOthers = 2; ///< of another delimiter, to be taken for one

} // namespace

void TableModel::read(const QString &text, QChar delimiter, QChar other, bool keepWidths)
{
    errors.clear();
    warnings.clear();
    m_rows_due = 0;
    m_keep_widths = keepWidths;
    if (takeLines(text) < LeastLines || isBlank()) {
        errors << QLatin1String("No content found in the imported file.");
        return;
    }
    char16_t separator = delimiter.unicode();
    split(separator);
    if (!hasDelimiter(separator, other.unicode())) {
        errors << QLatin1String("File format error.\nCannot detect delimiter.");
        return;
    }
    if (separator != delimiter.unicode())
        split(separator);
    m_rows_due = m_rows.size();
    judgeWidths();
    if (m_open) {
        const std::ptrdiff_t lines = std::count(m_text.begin(), m_text.end(), LineFeed);
        errors << QString::fromLatin1("Format error at line %1").arg(lines + 1);
    }
}

/// \return how many lines there are
int TableModel::takeLines(const QString &text)
{
    m_text.clear();
    int lines = 0;
    const int size = text.size();
    for (int i = 0; i < size; ++i) {
        const char16_t c = text.at(i).unicode();
        const bool endsLine = i + 1 == size || text.at(i + 1).unicode() == LineFeed;
        if (c != CarriageReturn || !endsLine)
            m_text.push_back(c);
        lines += c == LineFeed ? 1 : 0;
    }
    // What no line feed ends is a line, too.
    if (size > 0 && text.at(size - 1).unicode() != LineFeed) {
        m_text.push_back(LineFeed);
        ++lines;
    }
    return lines;
}

bool TableModel::isBlank() const
{
    return m_text.find_first_not_of(LineFeed) == std::u16string::npos;
}

void TableModel::split(char16_t delimiter)
{
    m_characters.clear();
    m_field_ends.clear();
    m_rows.clear();
    State state = FieldStart;
    bool inRow = false;
    int line = 1;
    for (size_t i = 0; i < m_text.size(); ++i) {
        const char16_t c = m_text[i];
        if (!inRow && c != LineFeed) {
            m_rows.push_back({line, i, i, m_field_ends.size(), 0});
            inRow = true;
        }
        if (inRow)
            state = next(state, c, delimiter);
        line += c == LineFeed ? 1 : 0;
        if (inRow && c == LineFeed && state == FieldStart) {
            m_rows.back().end = i;
            m_rows.back().width = m_field_ends.size() - m_rows.back().firstField;
            inRow = false;
        }
    }
    m_open = inRow;
    if (m_open)
        m_rows.pop_back();
}

TableModel::State TableModel::next(State state, char16_t c, char16_t delimiter)
{
    if (state == Quoted) {
        if (c == Quote)
            return BehindQuote;
        m_characters.push_back(c);
        return Quoted;
    }
    if (c == delimiter || c == LineFeed) {
        endField();
        return FieldStart;
    }
    if (state == FieldStart && c == Quote)
        return Quoted;
    m_characters.push_back(c);
    // The second of two double quotes is the text's, and the field is still quoted.
    return state == BehindQuote && c == Quote ? Quoted : Plain;
}

void TableModel::endField()
{
    m_field_ends.push_back(m_characters.size());
}

/// Whether the header's delimiter is known, the format's or the other one.
bool TableModel::hasDelimiter(char16_t &delimiter, char16_t other)
{
    if (m_rows.empty()) // a header without an end tells nothing
        return true;
    const auto start = m_text.begin() + static_cast<std::ptrdiff_t>(m_rows[0].start);
    const auto end = m_text.begin() + static_cast<std::ptrdiff_t>(m_rows[0].end);
    const size_t length = m_rows[0].end - m_rows[0].start;
    if (length / LongField <= m_rows[0].width || std::find(start, end, delimiter) != end)
        return true;
    if (std::count(start, end, other) < LeastOthers)
        return false;
    delimiter = other;
    return true;
}

void TableModel::judgeWidths()
{
    for (size_t row = 1; row < m_rows.size(); ++row) {
        const int line = m_rows[row].line;
        const int more = static_cast<int>(m_rows[row].width) - static_cast<int>(m_rows[0].width);
        if (more != 0 && m_keep_widths)
            errors << QString::fromLatin1("Line %1 format error.").arg(line);
        else if (more < 0)
            warnings << QString::fromLatin1("Line %1 is %2 columns short of header.")
                            .arg(line)
                            .arg(-more);
        else if (more > 0)
            warnings
                << QString::fromLatin1("Line %1 is %2 columns more of header.").arg(line).arg(more);
    }
}

bool TableModel::isRow(size_t index, const QStringList &fields) const
{
    const size_t there = m_rows[index].width;
    const size_t due = m_keep_widths ? there : m_rows[0].width;
    if (static_cast<size_t>(fields.size()) != due)
        return false;
    for (size_t i = 0; i < due; ++i) {
        const QString &field = fields.at(static_cast<int>(i));
        const bool same =
            i < there ? isField(m_rows[index].firstField + i, field) : field.isEmpty();
        if (!same)
            return false;
    }
    return true;
}

bool TableModel::isField(size_t number, const QString &field) const
{
    const size_t start = number > 0 ? m_field_ends[number - 1] : 0;
    const size_t size = m_field_ends[number] - start;
    return static_cast<size_t>(field.size()) == size &&
           std::equal(m_characters.begin() + static_cast<std::ptrdiff_t>(start),
                      m_characters.begin() + static_cast<std::ptrdiff_t>(start + size),
                      reinterpret_cast<const char16_t *>(field.utf16()));
}
