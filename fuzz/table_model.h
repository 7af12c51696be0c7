// Delimited text taken apart a second time: what the loader's rows and messages are compared with.

#ifndef FUZZ_TABLE_MODEL_H
#define FUZZ_TABLE_MODEL_H

#include <cstddef>
#include <string>
#include <vector>

#include <QChar>
#include <QString>
#include <QStringList>

/// The fields of a text that one pass over its characters finds, and what the loader must say
/// about them. One object serves any number of texts, one after the other.
class TableModel
{
public:
    /// Takes a text apart as a file of a format.
    /// \param text        decoded, with the line ends that the file has
    /// \param delimiter   of the file's format
    /// \param other       the one to try where the header does not seem to have the format's
    /// \param keepWidths  whether a row of another width than the header's is an error
    void read(const QString &text, QChar delimiter, QChar other, bool keepWidths);

    QStringList errors;
    QStringList warnings;

    size_t rowCount() const { return m_rows_due; }

    /// Whether the fields of a row are those that the loader must make of it, padded and cut.
    bool isRow(size_t index, const QStringList &fields) const;

private:
    struct Row {
        int line;          ///< on which it begins, from 1
        size_t start;      ///< place of its first character in the text
        size_t end;        ///< place of its line end
        size_t firstField; ///< its number among the fields of all rows
        size_t width;      ///< fields, before they are padded or cut
    };

    enum State { FieldStart, Plain, Quoted, BehindQuote };

    int takeLines(const QString &text);
    bool isBlank() const;
    void split(char16_t delimiter);
    State next(State state, char16_t c, char16_t delimiter);
    void endField();
    bool hasDelimiter(char16_t &delimiter, char16_t other);
    void judgeWidths();
    bool isField(size_t number, const QString &field) const;

    std::u16string m_text;            ///< the lines, each ended by a line feed
    std::u16string m_characters;      ///< of all fields, one behind the other
    std::vector<size_t> m_field_ends; ///< places in `m_characters`
    std::vector<Row> m_rows;
    bool m_open; ///< the text ends within a quoted field: its row is no row
    bool m_keep_widths;
    size_t m_rows_due;
};

#endif // FUZZ_TABLE_MODEL_H
