// Text to fields: the one reader of quoted and delimited text.

#ifndef RECIPE_DELIMITED_TEXT_H
#define RECIPE_DELIMITED_TEXT_H

#include <vector>

#include <QString>
#include <QStringList>
#include <QtGlobal>

/// Reads the rows of a delimited text one after the other, in one pass.
///
/// A field that begins with a double quote is quoted: delimiters and line ends in it are text, two
/// double quotes are one. It ends at its next single double quote; what follows that up to the
/// delimiter is taken as it is. A double quote anywhere else is text.
///
/// The text is not copied. The time is proportional to its length, whatever it holds. For one
/// thread at a time.
class DelimitedText
{
public:
    /// \param text       lines, each ended by "\n", the last one too
    /// \param delimiter  what stands between two fields; an empty one never occurs
    DelimitedText(const QString &text, const QString &delimiter);

    /// Whether the text is used up.
    bool atEnd() const { return m_position >= m_text.size(); }

    /// Number of the line that is read next, from 1.
    int line() const { return m_line; }

    /// Passes over lines without a character.
    void skipEmptyLines();

    /// The fields up to the end of the line, or of the line on which a quoted field ends. At least
    /// one field. Call it before the end only.
    QStringList readRow();

    /// The last row as it stands in the text, without its line end.
    QString rowText() const;

    /// Whether the last row ended with a quoted field that the text never closes. The rest of the
    /// text belongs to that field then and is not handed out.
    bool isOpen() const { return m_open; }

    /// About how many bytes of memory the texts of all fields so far take.
    qint64 bytesOfTexts() const { return m_bytes; }

private:
    bool isLineEnd(int position) const;
    bool isQuote(int position) const;
    bool isDelimiter(int position) const;
    QString readField();
    QString readQuoted();
    QStringRef readPlain();
    bool takeDelimiter();
    void takeLineEnd();
    QString kept(const QStringRef &field);
    QString copied(const QStringRef &field);

    const QString m_text;
    const QString m_delimiter;
    int m_position;  ///< of the next character
    int m_row_start; ///< of the last row
    int m_row_end;   ///< of the last row, behind its last character
    int m_line;
    bool m_open;
    qint64 m_bytes;
    std::vector<QString> m_recent_texts; ///< short texts that were met, by their hash
};

#endif // RECIPE_DELIMITED_TEXT_H
