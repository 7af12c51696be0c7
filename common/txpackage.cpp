#include "common/txpackage.h"

#include "common/qtcompat.h"

namespace
{

const int BitsPerByte = 8;
const int SizeBytes = 4; // of a section's size that is stored in another section

QByteArray littleEndian(unsigned int value, int bytes)
{
    QByteArray a;
    for (int i = 0; i < bytes; ++i)
        a.append(static_cast<char>((value >> (i * BitsPerByte)) & 0xFFu));
    return a;
}

int littleEndianValue(const QByteArray &a)
{
    quint32 value = 0;
    for (int i = qMin(a.size(), SizeBytes) - 1; i >= 0; --i)
        value = (value << BitsPerByte) | static_cast<unsigned char>(a.at(i));
    return static_cast<int>(value);
}

QString twoHexDigits(int value)
{
    return QString::fromLatin1("%1").arg(value, 2, 16, QLatin1Char('0')).toUpper();
}

unsigned char sumOf(const QByteArray &bytes)
{
    unsigned int sum = 0;
    for (int i = 0; i < bytes.size(); ++i)
        sum += static_cast<unsigned char>(bytes.at(i));
    return static_cast<unsigned char>(sum & 0xFFu);
}

int sumOf(const QList<int> &sizes, int count)
{
    int sum = 0;
    for (int i = 0; i < count; ++i)
        sum += sizes.at(i);
    return sum;
}

} // namespace

TxPackage::TxPackage() : m_bytes(new QByteArray), m_appended_bytes(0) {}

TxPackage::~TxPackage()
{
    delete m_bytes;
}

bool TxPackage::append(const QByteArray &bytes, int size)
{
    m_bytes->append(bytes);
    m_section_sizes.append(size);
    m_appended_bytes += size;
    return true;
}

bool TxPackage::appendByte(unsigned char value)
{
    return appendSection(littleEndian(value, 1));
}

bool TxPackage::appendWord(unsigned short value)
{
    return appendSection(littleEndian(value, 2));
}

bool TxPackage::appendDWord(unsigned int value)
{
    return appendSection(littleEndian(value, 4));
}

bool TxPackage::appendString(const QString &text)
{
    return append(toNarrow(text), text.size());
}

bool TxPackage::appendSection(const QByteArray &bytes)
{
    return append(bytes, bytes.size());
}

bool TxPackage::appendByte2Ascii(unsigned char value)
{
    return appendString(twoHexDigits(value));
}

bool TxPackage::appendLRCByte()
{
    return appendByte(sumOf(*m_bytes));
}

bool TxPackage::appendLRCAscii()
{
    return appendString(twoHexDigits(sumOf(*m_bytes)));
}

bool TxPackage::appendFCSAscii(int)
{
    return appendString(twoHexDigits(calculateFCS(this, 0)));
}

int TxPackage::calculateFCS(TxPackage *package, int tail)
{
    const QByteArray &bytes = *package->m_bytes;
    const int end = bytes.size() - qMax(0, tail);
    int sum = 0;
    for (int i = 0; i < end; ++i)
        sum ^= static_cast<unsigned char>(bytes.at(i));
    return sum;
}

int TxPackage::numberOfSections() const
{
    return m_section_sizes.size();
}

bool TxPackage::validSectionNumber(int i) const
{
    return i >= 0 && i < numberOfSections();
}

int TxPackage::totalSize() const
{
    return m_bytes->size();
}

int TxPackage::appendedBytes() const
{
    return m_appended_bytes;
}

int TxPackage::sectionStartIndex(int i) const
{
    return validSectionNumber(i) ? sumOf(m_section_sizes, i) : -1;
}

/// Whether the sizes that refer to other sections end, from section `i` on, at one that does not.
bool TxPackage::leadsToSize(int i) const
{
    if (!validSectionNumber(i))
        return false;
    for (int step = 0; step < numberOfSections(); ++step) {
        const int entry = m_section_sizes.at(i);
        if (entry >= 0)
            return true;
        if (entry <= -numberOfSections())
            return false;
        i = -entry;
    }
    return false;
}

int TxPackage::sectionSize(int i) const
{
    if (!leadsToSize(i))
        return 0;
    const int entry = m_section_sizes.at(i);
    return entry >= 0 ? entry : littleEndianValue(dataAt(-entry));
}

QByteArray TxPackage::dataAt(int i) const
{
    if (!validSectionNumber(i))
        return QByteArray();
    return m_bytes->mid(sectionStartIndex(i), sectionSize(i));
}

int TxPackage::arrayToInt(const QByteArray &bytes)
{
    return bytes.isEmpty() ? 0 : static_cast<unsigned char>(bytes.at(0));
}

bool TxPackage::setData(const QByteArray &bytes)
{
    *m_bytes = bytes;
    return true;
}

bool TxPackage::setData(const char *bytes, int count)
{
    return setData(QByteArray(bytes, count));
}

char *TxPackage::data()
{
    return m_bytes->data();
}

QByteArray TxPackage::byteArrayData() const
{
    return *m_bytes;
}

void TxPackage::setSectionSize(const QList<int> &sizes)
{
    m_section_sizes = sizes;
    m_bytes->resize(qMax(0, sumOf(sizes, sizes.size())));
}

void TxPackage::clearAll()
{
    m_bytes->clear();
    m_section_sizes.clear();
    m_appended_bytes = 0;
}

QString TxPackage::toString() const
{
    QString text = QString::fromLatin1("(");
    for (int i = 0; i < m_bytes->size(); ++i) {
        const unsigned int byte = static_cast<unsigned char>(m_bytes->at(i));
        text += QString::fromLatin1("0X") + QString::number(byte, 16) + QLatin1Char(' ');
    }
    return text + QString::fromLatin1(") : ") +
           QString::fromLatin1(m_bytes->constData(), m_bytes->size());
}
