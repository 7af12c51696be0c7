#include "common/tools.h"

#include "common/lib_crc.h"
#include "common/qtcompat.h"

#include <QCoreApplication>
#include <QDir>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <signal.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace
{

const char CompileDirectory[] = "compile";
const char DatabaseName[] = "database"; // of the directory and of the file in it

const int BitsPerByte = 8;
const int WordBytes = 2;
const int DoubleWordBytes = 4;
const int QuadWordBytes = 8;

const quint32 NanosecondsPerMillisecond = 1000000;
const quint32 NanosecondsPerSecond = 1000000000;
const qint64 MillisecondsPerSecond = 1000;

const int EthernetHmiPort = 2000;
const unsigned int SerialHmiPortBase = 1001;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// The value of a hexadecimal digit; -1 for every other character.
int hexDigit(char c)
{
    if (isDigit(c))
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

unsigned char *bytesOf(QByteArray &a)
{
    return reinterpret_cast<unsigned char *>(a.data());
}

const unsigned char *bytesOf(const QByteArray &a)
{
    return reinterpret_cast<const unsigned char *>(a.constData());
}

/// The mask of one bit of a value; 0 for a bit that the value does not have.
template <typename Value>
Value bitMask(unsigned short bit)
{
    const unsigned int width = sizeof(Value) * BitsPerByte;
    return bit < width ? static_cast<Value>(1u << bit) : static_cast<Value>(0);
}

template <typename Value>
Value withBit(Value value, unsigned short bit)
{
    return static_cast<Value>(value | bitMask<Value>(bit));
}

template <typename Value>
Value withoutBit(Value value, unsigned short bit)
{
    return static_cast<Value>(value & ~bitMask<Value>(bit));
}

template <typename Value>
Value bitOf(Value value, unsigned short bit)
{
    return (value & bitMask<Value>(bit)) != 0 ? 1 : 0;
}

unsigned int unitsFor(quint64 amount, unsigned int unit)
{
    return static_cast<unsigned int>((amount + unit - 1) / unit);
}

/// The little-endian value of the first bytes, at most `most` of them.
quint32 leadingValue(const QByteArray &a, int most)
{
    quint32 value = 0;
    for (int i = qMin(a.size(), most) - 1; i >= 0; --i)
        value = (value << BitsPerByte) | bytesOf(a)[i];
    return value;
}

QByteArray littleEndian(quint32 value, int bytes)
{
    QByteArray a;
    for (int i = 0; i < bytes; ++i)
        a.append(static_cast<char>((value >> (i * BitsPerByte)) & 0xFFu));
    return a;
}

QByteArray paddedBy(const QByteArray &a, int zeros)
{
    return a + QByteArray(zeros, '\0');
}

QByteArray paddedToUnits(const QByteArray &a, int unit)
{
    return paddedBy(a, (unit - a.size() % unit) % unit);
}

void reverseUnits(QByteArray &a, int unit)
{
    unsigned char *const bytes = bytesOf(a);
    for (int i = 0; i + unit <= a.size(); i += unit)
        std::reverse(bytes + i, bytes + i + unit);
}

QByteArray reversedUnits(QByteArray a, int unit)
{
    reverseUnits(a, unit);
    return a;
}

QByteArray copyOf(const unsigned char *p, int bytes)
{
    return QByteArray(reinterpret_cast<const char *>(p), bytes);
}

/// Shifts a little-endian number of `size` bytes right by `shift` bits, 0 to 7.
void shiftBitsRight(unsigned char *a, int size, int shift)
{
    for (int i = 0; i < size; ++i) {
        const int above = i + 1 < size ? a[i + 1] : 0;
        a[i] = static_cast<unsigned char>((a[i] | (above << BitsPerByte)) >> shift);
    }
}

} // namespace

unsigned short setBit(unsigned short value, unsigned short bit)
{
    return withBit(value, bit);
}

unsigned short clearBit(unsigned short value, unsigned short bit)
{
    return withoutBit(value, bit);
}

unsigned short getBit(unsigned short value, unsigned short bit)
{
    return bitOf(value, bit);
}

unsigned char setBit(unsigned char value, unsigned short bit)
{
    return withBit(value, bit);
}

unsigned char clearBit(unsigned char value, unsigned short bit)
{
    return withoutBit(value, bit);
}

unsigned char getBit(unsigned char value, unsigned short bit)
{
    return bitOf(value, bit);
}

unsigned int setBit(unsigned int value, unsigned short bit)
{
    return withBit(value, bit);
}

unsigned int clearBit(unsigned int value, unsigned short bit)
{
    return withoutBit(value, bit);
}

unsigned int getBit(unsigned int value, unsigned short bit)
{
    return bitOf(value, bit);
}

int getBit(const QByteArray &a, int i)
{
    return getBit(bytesOf(a), i);
}

int getBit(const unsigned char *p, int i)
{
    return (p[i / BitsPerByte] >> (i % BitsPerByte)) & 1;
}

void setBit(QByteArray &a, int i, bool on)
{
    setBit(bytesOf(a), i, on);
}

void setBit(unsigned char *p, int i, bool on)
{
    unsigned char &byte = p[i / BitsPerByte];
    const unsigned short bit = static_cast<unsigned short>(i % BitsPerByte);
    byte = on ? setBit(byte, bit) : clearBit(byte, bit);
}

int getBitData(const QByteArray &a)
{
    return getBit(a, 0);
}

void CopyBits(QByteArray &dst, QByteArray &src, int dstStart, int count)
{
    for (int k = 0; k < count; ++k)
        setBit(dst, dstStart + k, getBit(src, k) != 0);
}

QByteArray ExpandBitsToBytes(const QByteArray &a, unsigned short start, int count)
{
    QByteArray bytes;
    for (int k = 0; k < count; ++k)
        bytes.append(static_cast<char>(getBit(a, start + k)));
    return bytes;
}

void FitBitArray(QByteArray &a, int bits)
{
    a.resize(bits / BitsPerByte + (bits % BitsPerByte != 0 ? 1 : 0));
}

void clearUnnecessaryBits(QByteArray &a, int bits)
{
    const int used = bits % BitsPerByte;
    if (used > 0)
        bytesOf(a)[bits / BitsPerByte] &= static_cast<unsigned char>((1 << used) - 1);
}

void RightShiftNBits(QByteArray &a, int n)
{
    const int whole = n / BitsPerByte;
    if (n < 1 || whole > a.size())
        return;
    const int rest = a.size() - whole;
    RotateArray(bytesOf(a), whole, rest);
    shiftBitsRight(bytesOf(a), rest, n % BitsPerByte);
}

unsigned int NumOfBitsToNumOfWords(unsigned int bits, unsigned int offset)
{
    return unitsFor(quint64(bits) + offset, WordBytes * BitsPerByte);
}

unsigned int NumOfBitsToNumOfDWords(unsigned int bits, unsigned int offset)
{
    return unitsFor(quint64(bits) + offset, DoubleWordBytes * BitsPerByte);
}

unsigned int NumOfBitsToNumOfBytes(unsigned int bits, unsigned int offset)
{
    return unitsFor(quint64(bits) + offset, BitsPerByte);
}

unsigned int NumOfBytesToNumOfWords(unsigned int n)
{
    return unitsFor(n, WordBytes);
}

unsigned int NumOfBytesToNumOfDWords(unsigned int n)
{
    return unitsFor(n, DoubleWordBytes);
}

unsigned int NumOfBytesToNumOfQuadWords(unsigned int n)
{
    return unitsFor(n, QuadWordBytes);
}

unsigned int QByteArrayToInt(const QByteArray &a)
{
    return leadingValue(a, DoubleWordBytes);
}

unsigned short QByteArrayToWord(const QByteArray &a)
{
    return static_cast<unsigned short>(leadingValue(a, WordBytes));
}

short QByteArrayToShort(const QByteArray &a)
{
    return static_cast<short>(QByteArrayToWord(a));
}

QByteArray wordToByteArray(unsigned short value)
{
    return littleEndian(value, WordBytes);
}

QByteArray shortToByteArray(short value)
{
    return wordToByteArray(static_cast<unsigned short>(value));
}

QByteArray intToByteArray(int value)
{
    return littleEndian(static_cast<quint32>(value), DoubleWordBytes);
}

void appendBigEndianUShort(QByteArray &a, unsigned short value)
{
    a.append(reverseArray(wordToByteArray(value)));
}

QByteArray fromBigEndianUShortArray(const unsigned char *p, int count)
{
    return reversedUnits(copyOf(p, count * WordBytes), WordBytes);
}

QByteArray fromBigEndianULongArray(const unsigned char *p, int count)
{
    return reversedUnits(copyOf(p, count * DoubleWordBytes), DoubleWordBytes);
}

void toLittleEndianUShortArray(QByteArray &a)
{
    reverseUnits(a, WordBytes);
}

void toLittleEndianULongArray(QByteArray &a)
{
    reverseUnits(a, DoubleWordBytes);
}

QByteArray toBigEndianUShortArray(const QByteArray &a)
{
    return reversedUnits(To16bitsData(a), WordBytes);
}

QByteArray toBigEndianULongArray(const QByteArray &a)
{
    return reversedUnits(To32bitsData(a), DoubleWordBytes);
}

QByteArray To16bitsData(const QByteArray &a)
{
    return paddedToUnits(a, WordBytes);
}

QByteArray To32bitsData(const QByteArray &a)
{
    return paddedToUnits(a, DoubleWordBytes);
}

QByteArray To64bitsData(const QByteArray &a)
{
    const int beyond = a.size() % QuadWordBytes;
    return beyond != 0 && beyond < DoubleWordBytes ? paddedBy(a, DoubleWordBytes - beyond) : a;
}

QByteArray reverseArray(const QByteArray &a)
{
    QByteArray reversed = a;
    std::reverse(reversed.begin(), reversed.end());
    return reversed;
}

bool isBigEndian()
{
    return true;
}

// ---- Packed records -------------------------------------------------------------------------

namespace
{

enum ItemContent {
    StoredValues,   ///< as they are in memory, which is least significant byte first
    ReversedValues, ///< most significant byte first
    ZeroBytes,
    SkippedBytes
};

enum ItemCount { SingleOnly, Countable };

struct FormatLetter {
    char letter;
    unsigned int width; ///< bytes of one value
    ItemContent content;
    ItemCount count;
};

const FormatLetter FormatLetters[] = {
    {'C', 1, StoredValues, Countable},  {'c', 1, StoredValues, Countable},
    {'I', 4, StoredValues, SingleOnly}, {'i', 4, StoredValues, SingleOnly},
    {'L', 4, StoredValues, SingleOnly}, {'l', 4, StoredValues, SingleOnly},
    {'V', 4, StoredValues, Countable},  {'N', 4, ReversedValues, Countable},
    {'S', 2, StoredValues, SingleOnly}, {'s', 2, StoredValues, SingleOnly},
    {'v', 2, StoredValues, Countable},  {'n', 2, ReversedValues, Countable},
    {'x', 1, ZeroBytes, Countable},     {'X', 1, SkippedBytes, Countable},
};

/// What a letter means; null for a letter, the end of the format included, that means nothing.
const FormatLetter *findFormatLetter(char letter)
{
    for (const FormatLetter &candidate : FormatLetters) {
        if (candidate.letter == letter)
            return &candidate;
    }
    return nullptr;
}

/// One item of a format.
struct FormatItem {
    bool counted;               ///< has a count, be it right or wrong
    quint64 count;              ///< 1 for a single item
    const FormatLetter *letter; ///< null: the item is wrong

    size_t bytes() const { return static_cast<size_t>(count * letter->width); }
    bool hasValues() const
    {
        return letter != nullptr &&
               (letter->content == StoredValues || letter->content == ReversedValues);
    }
};

bool isRightCounted(const FormatItem &item)
{
    return item.letter->count == Countable && item.count >= 1 &&
           item.count * item.letter->width <= INT_MAX;
}

/// Splits a format into its items.
class FormatReader
{
public:
    explicit FormatReader(const char *format) : m_next(format) {}

    bool atEnd() const { return *m_next == '\0'; }

    FormatItem next()
    {
        FormatItem item;
        item.counted = isDigit(*m_next);
        item.count = item.counted ? takeCount() : 1;
        item.letter = findFormatLetter(*m_next);
        if (item.letter != nullptr && item.counted && !isRightCounted(item))
            item.letter = nullptr;
        if (!atEnd())
            ++m_next;
        return item;
    }

private:
    /// Stops growing once the count is too great for any item.
    quint64 takeCount()
    {
        quint64 count = 0;
        for (; isDigit(*m_next); ++m_next) {
            if (count <= INT_MAX)
                count = count * 10 + static_cast<quint64>(*m_next - '0');
        }
        return count;
    }

    const char *m_next;
};

/// The variable arguments of one call. It holds the list because a va_list is an array on some
/// processors and a structure on others, and only inside a structure it can be handed on alike.
struct PackArguments {
    va_list list;
    quint32 value; ///< the last single value taken

    void *takePointer() { return va_arg(list, void *); }

    /// Where the values of an item lie in memory.
    const void *takeSource(const FormatItem &item)
    {
        if (item.counted)
            return takePointer();
        value = static_cast<quint32>(va_arg(list, int));
        return &value;
    }
};

/// Copies the values of an item, in one direction or the other: it is its own inverse.
void copyValues(unsigned char *to, const unsigned char *from, const FormatItem &item)
{
    if (item.letter->content == StoredValues) {
        memcpy(to, from, item.bytes());
        return;
    }
    const size_t width = item.letter->width;
    for (size_t i = 0; i < item.bytes(); i += width)
        std::reverse_copy(from + i, from + i + width, to + i);
}

/// Writes one item at `to`, which has room for it.
void packItem(unsigned char *to, const void *source, const FormatItem &item)
{
    if (item.hasValues())
        copyValues(to, static_cast<const unsigned char *>(source), item);
    else if (item.letter->content == ZeroBytes)
        memset(to, 0, item.bytes());
}

int packIntoBuffer(unsigned char *out, const char *fmt, PackArguments &arguments)
{
    size_t length = 0;
    for (FormatReader format(fmt); !format.atEnd();) {
        const FormatItem item = format.next();
        if (item.letter == nullptr)
            return item.counted ? -1 : 0;
        const void *source = item.hasValues() ? arguments.takeSource(item) : nullptr;
        packItem(out + length, source, item);
        length += item.bytes();
    }
    return static_cast<int>(length);
}

QByteArray packIntoArray(const char *fmt, PackArguments &arguments)
{
    QByteArray packed;
    for (FormatReader format(fmt); !format.atEnd();) {
        const FormatItem item = format.next();
        const bool takesArgument = item.counted || item.hasValues();
        const void *source = takesArgument ? arguments.takeSource(item) : nullptr;
        if (item.letter == nullptr || (item.counted && !item.hasValues()))
            return QByteArray();
        const int at = packed.size();
        packed.resize(at + static_cast<int>(item.bytes()));
        packItem(bytesOf(packed) + at, source, item);
    }
    return packed;
}

int unpackFromBuffer(const unsigned char *in, const char *fmt, PackArguments &arguments)
{
    size_t length = 0;
    for (FormatReader format(fmt); !format.atEnd();) {
        const FormatItem item = format.next();
        if (item.letter == nullptr)
            return -1;
        if (item.hasValues())
            copyValues(static_cast<unsigned char *>(arguments.takePointer()), in + length, item);
        length += item.bytes();
    }
    return static_cast<int>(length);
}

} // namespace

int VDataPack(unsigned char *out, const char *fmt, va_list args)
{
    PackArguments arguments;
    va_copy(arguments.list, args);
    const int length = packIntoBuffer(out, fmt, arguments);
    va_end(arguments.list);
    return length;
}

int DataPack(unsigned char *out, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int length = VDataPack(out, fmt, args);
    va_end(args);
    return length;
}

QByteArray VByteArrayPack(const char *fmt, va_list args)
{
    PackArguments arguments;
    va_copy(arguments.list, args);
    QByteArray packed = packIntoArray(fmt, arguments);
    va_end(arguments.list);
    return packed;
}

QByteArray ByteArrayPack(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    QByteArray packed = VByteArrayPack(fmt, args);
    va_end(args);
    return packed;
}

int VDataUnpack(const unsigned char *in, const char *fmt, va_list args)
{
    PackArguments arguments;
    va_copy(arguments.list, args);
    const int length = unpackFromBuffer(in, fmt, arguments);
    va_end(arguments.list);
    return length;
}

int DataUnpack(const unsigned char *in, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int length = VDataUnpack(in, fmt, args);
    va_end(args);
    return length;
}

// ---- Text -----------------------------------------------------------------------------------

namespace
{

/// How many characters of hexadecimal text stand before the digits: "0x", or one leading zero.
int hexPrefixLength(const char *s, int len)
{
    if (len < 1 || s[0] != '0')
        return 0;
    return len > 1 && (s[1] == 'x' || s[1] == 'X') ? 2 : 1;
}

/// The position of the first digit of the base; the size of the text when there is none.
int firstDigit(const QByteArray &s, int base)
{
    int i = 0;
    for (; i < s.size(); ++i) {
        const int digit = hexDigit(s.at(i));
        if (digit >= 0 && digit < base)
            break;
    }
    return i;
}

} // namespace

unsigned int HexToUInt(const char *s, int len)
{
    quint32 value = 0;
    for (int i = hexPrefixLength(s, len); i < len && s[i] != '\0'; ++i) {
        const int digit = hexDigit(s[i]);
        if (digit < 0)
            return 0;
        value = value * 16 + static_cast<quint32>(digit);
    }
    return value;
}

QByteArray ExtractPrefixSymbol(const QByteArray &s)
{
    int length = 0;
    while (length < s.size() && (isLetter(s.at(length)) || s.at(length) == '_'))
        ++length;
    return s.left(length);
}

QByteArray ExtractPrefixSymbol(const QString &s)
{
    return ExtractPrefixSymbol(toNarrow(s));
}

int ExtractPLCDeviceAddress(const QByteArray &s, int base)
{
    if (base != 8 && base != 10 && base != 16)
        return -1;
    return s.mid(firstDigit(s, base)).toInt(nullptr, base);
}

int ExtractPLCDeviceAddress(const QString &s, int base)
{
    return ExtractPLCDeviceAddress(toNarrow(s), base);
}

QString dumpByteArray(const QByteArray &a)
{
    QString text = QString::fromLatin1("(");
    for (int i = 0; i < a.size(); ++i)
        text += QString::fromLatin1("0X%1 ").arg(bytesOf(a)[i], 0, 16);
    return text + QString::fromLatin1(") : ") + QString::fromLatin1(a.constData());
}

// ---- Time and processes ---------------------------------------------------------------------

int HRSleep(unsigned long ms)
{
    const quint32 duration = static_cast<quint32>(ms) * NanosecondsPerMillisecond;
    struct timespec remaining;
    remaining.tv_sec = static_cast<time_t>(duration / NanosecondsPerSecond);
    remaining.tv_nsec = static_cast<long>(duration % NanosecondsPerSecond);
    int result = 0;
    do {
        result = nanosleep(&remaining, &remaining);
    } while (result != 0 && errno == EINTR);
    return result;
}

qint64 CurrentMSecsSinceBoot()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<qint64>(now.tv_sec) * MillisecondsPerSecond +
           now.tv_nsec / static_cast<long>(NanosecondsPerMillisecond);
}

bool ProcessIsRunning(long long pid)
{
    const pid_t id = static_cast<pid_t>(pid);
    if (id != pid)
        return false; // no process has a number that the system's own type does not hold
    return kill(id, 0) == 0 || errno == EPERM;
}

// ---- Checksums ------------------------------------------------------------------------------

unsigned char UInt8CheckSum(const unsigned char *p, int len)
{
    return static_cast<unsigned char>(UShortCheckSum(p, len));
}

unsigned short UShortCheckSum(const unsigned char *p, int len)
{
    unsigned short sum = 0; // as narrow as the result: more bytes are summed at a time
    for (int i = 0; i < len; ++i)
        sum = static_cast<unsigned short>(sum + p[i]);
    return sum;
}

unsigned char XorUInt8CheckSum(const unsigned char *p, int len)
{
    unsigned char sum = 0;
    for (int i = 0; i < len; ++i)
        sum ^= p[i];
    return sum;
}

unsigned short CRC16Calculate(const unsigned char *p, int len)
{
    quint16 crc = 0;
    for (int i = 0; i < len; ++i)
        crc = update_crc_16(crc, p[i]);
    return crc;
}

// ---- Arrays ---------------------------------------------------------------------------------

void RotateArray(unsigned char *a, int m, int n)
{
    if (m < 1 || n < 1)
        return;
    std::reverse(a, a + m);
    std::reverse(a + m, a + m + n);
    std::reverse(a, a + m + n);
}

QList<int> EmptyPackageSizeList()
{
    return QList<int>();
}

// ---- The project's database -----------------------------------------------------------------

namespace
{

/// Runs a query; when that fails, the result has no rows.
QSqlQuery select(const QString &connection, const QString &statement)
{
    QSqlQuery query(QSqlDatabase::database(connection));
    query.setForwardOnly(true);
    query.exec(statement);
    return query;
}

uchar toStationId(const QVariant &value)
{
    return static_cast<uchar>(value.toUInt() & 0xFFu);
}

/// The text as it stands between the quotes of a literal.
QString quoted(QString text)
{
    return text.replace(QLatin1Char('\''), QLatin1String("''"));
}

} // namespace

QString GetCompilePath()
{
    QDir directory(QCoreApplication::applicationDirPath());
    directory.cd(QLatin1String(CompileDirectory));
    return directory.absolutePath();
}

QString GetDatabaseName()
{
    QDir directory(GetCompilePath());
    directory.cd(QLatin1String(DatabaseName));
    return directory.absoluteFilePath(QLatin1String(DatabaseName));
}

int DevStrToHmiPort(const QString &dev_str)
{
    if (dev_str.startsWith(QLatin1String("ETHERNET"), Qt::CaseInsensitive))
        return EthernetHmiPort;

    int i = dev_str.size() - 1;
    while (i >= 0 && dev_str.at(i) >= QLatin1Char('0') && dev_str.at(i) <= QLatin1Char('9'))
        --i;
    // The text of a failed condition is what the field reports; formatting must not change it.
    // clang-format off
    assert(i >= 0 && (i+1) < dev_str.size());
    // clang-format on
    // Unsigned, so that an absurd number wraps.
    return static_cast<int>(dev_str.mid(i + 1).toUInt() + SerialHmiPortBase);
}

bool GetLinkIdAndDefaultStationId(const QString &connection, int hmiPort, int &linkId,
                                  uchar &stationId)
{
    QSqlQuery query = select(
        connection, QString::fromLatin1("SELECT LINK.LINKID, NODE.STATIONID FROM LINK, NODE WHERE "
                                        "LINK.HMIPORT = %1 AND NODE.LINKID = LINK.LINKID AND "
                                        "NODE.ISDEFAULT = 1;")
                        .arg(hmiPort));
    if (!query.next())
        return false;
    linkId = query.value(0).toInt();
    stationId = toStationId(query.value(1));
    return true;
}

bool GetLinkIdAndDefaultStationId(const QString &connection, int linkId,
                                  QList<LinkIdStationId> &out)
{
    QSqlQuery query =
        select(connection,
               QString::fromLatin1(
                   "SELECT NODE.STATIONID FROM NODE WHERE NODE.LINKID = %1 AND NODE.ISDEFAULT = 1")
                   .arg(linkId));
    const int before = out.size();
    while (query.next())
        out.append(LinkIdStationId(linkId, toStationId(query.value(0))));
    return out.size() > before;
}

bool GetLinkIdAndDefaultStationId(const QString &connection, int hmiPort, const QString &ip,
                                  unsigned short port, QList<LinkIdStationId> &out)
{
    // All three at once: an address that holds "%3" must not be taken for a place holder.
    QSqlQuery query = select(
        connection, QString::fromLatin1("SELECT LINK.LINKID, NODE.STATIONID FROM LINK, NODE WHERE "
                                        "LINK.HMIPORT = %1 AND NODE.LINKID = LINK.LINKID AND "
                                        "NODE.IP = '%2' AND NODE.PORT = %3 AND NODE.ISDEFAULT = 1;")
                        .arg(QString::number(hmiPort), quoted(ip), QString::number(port)));
    const int before = out.size();
    while (query.next())
        out.append(LinkIdStationId(query.value(0).toInt(), toStationId(query.value(1))));
    return out.size() > before;
}
