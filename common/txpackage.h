// A frame under construction that remembers the pieces it was put together from.

#ifndef COMMON_TXPACKAGE_H
#define COMMON_TXPACKAGE_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

/// Bytes and the sizes of the sections that they were appended as, with the usual block checks.
///
/// Sections are numbered from 0 in the order in which they were appended. A size that is negative,
/// -k, says that the section's size is not known yet: it stands in the first four bytes of section
/// k, least significant byte first. Section 0 can therefore not hold a size.
///
/// One thread at a time.
class TxPackage
{
public:
    TxPackage();
    ~TxPackage();

    // Each of these appends one section and returns true.

    bool appendByte(unsigned char value);  ///< one byte
    bool appendWord(unsigned short value); ///< two bytes, least significant first
    bool appendDWord(unsigned int value);  ///< four bytes, least significant first

    /// The text in the terminal's 8-bit encoding. The section's size is the text's length in
    /// characters.
    bool appendString(const QString &text);
    bool appendSection(const QByteArray &bytes);

    bool appendByte2Ascii(unsigned char value); ///< two upper-case hexadecimal characters

    /// The sum of all bytes held, modulo 256: as a byte, or as two upper-case hexadecimal
    /// characters.
    bool appendLRCByte();
    bool appendLRCAscii();

    /// The exclusive or of all bytes held as two upper-case hexadecimal characters.
    /// \param ignored  for old callers; the last bytes are not left out whatever it says
    bool appendFCSAscii(int ignored);

    /// The exclusive or of the bytes of a package, 0 for none.
    /// \param tail  how many bytes at the end are left out
    static int calculateFCS(TxPackage *package, int tail);

    int numberOfSections() const;
    bool validSectionNumber(int i) const;

    /// The number of bytes held, whatever they were put in with.
    int totalSize() const;

    /// How many bytes the append operations have added since the last `clearAll`.
    int appendedBytes() const;

    /// Where section `i` begins; -1 when there is no such section. Sizes are summed as they are
    /// stored, negative ones included, on purpose.
    int sectionStartIndex(int i) const;

    /// The size of section `i`, looked up in another section when it is stored as a negative
    /// number. 0 when there is no such section, and when looking it up leads back to where it
    /// began.
    int sectionSize(int i) const;

    /// The bytes of section `i`, as many as there are; none when there is no such section.
    QByteArray dataAt(int i) const;

    /// The first byte of an array, 0 when it is empty. It reads one byte on purpose where
    /// `sectionSize` reads four.
    static int arrayToInt(const QByteArray &bytes);

    /// Replaces the bytes and leaves the sizes and the counter as they are. Returns true.
    bool setData(const QByteArray &bytes);
    bool setData(const char *bytes, int count);

    /// The bytes, for writing. Valid until the package changes.
    char *data();

    /// A copy of the bytes.
    QByteArray byteArrayData() const;

    /// Replaces the sizes and resizes the bytes to their sum; new bytes are not set. The sum must
    /// fit an int.
    void setSectionSize(const QList<int> &sizes);

    /// Forgets bytes, sizes and counter.
    void clearAll();

    /// The package as a text for logs: "(0X41 0Xa ) : A" and a line feed for the bytes 41 0A.
    QString toString() const;

private:
    Q_DISABLE_COPY(TxPackage)

    bool append(const QByteArray &bytes, int size);
    bool leadsToSize(int i) const;

    QByteArray *m_bytes;        ///< owned
    QList<int> m_section_sizes; ///< one entry a section; see above for negative ones
    int m_appended_bytes;
};

#endif // COMMON_TXPACKAGE_H
