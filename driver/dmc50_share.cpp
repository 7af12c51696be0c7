#include "driver/dmc50_share.h"

namespace
{

/// QString::toULong has 64 bits on the desktop and 32 on the terminal; a value that the terminal
/// cannot hold is 0 on both.
quint32 hexToUInt32(const QString &digits)
{
    bool ok = false;
    const qulonglong value = digits.toULongLong(&ok, 16);
    return ok && value <= 0xFFFFFFFFULL ? static_cast<quint32>(value) : 0;
}

const int StationDigits = 9; // at most, so that the number fits 32 bits
const int PaHeadDigits = 3;
const int WordDigits = 8;

/// The letter in lower case; what is no letter does not become one.
ushort lowerCase(QChar letter)
{
    return letter.unicode() | 0x20;
}

/// The value of a digit of any base up to 16, or 16 where there is none.
uint digitValue(QChar digit)
{
    const ushort code = digit.unicode();
    if (code >= '0' && code <= '9')
        return code - uint('0');
    const ushort letter = lowerCase(digit);
    return letter >= 'a' && letter <= 'f' ? letter - uint('a') + 10 : 16;
}

/// Reads the digits from `at` on, `end` excluded.
/// \return where they end
const QChar *takeDigits(const QChar *at, const QChar *end, uint base, quint32 *value)
{
    *value = 0;
    for (uint digit = 0; at != end && (digit = digitValue(*at)) < base; ++at)
        *value = *value * base + digit;
    return at;
}

/// Reads the prefix of a station, if there is one.
/// \return where the address begins; null when this is no plain text
const QChar *takeStation(const QChar *at, const QChar *end, PlainAddress *plain)
{
    quint32 number = 0;
    const QChar *const dash = takeDigits(at, end, 10, &number);
    plain->hasStation = dash != at;
    plain->station = static_cast<uchar>(number & 0xFFU);
    if (!plain->hasStation)
        return at;
    return dash - at <= StationDigits && dash != end && *dash == QLatin1Char('-') ? dash + 1
                                                                                  : nullptr;
}

} // namespace

bool ParsePlainAddress(const QString &text, PlainAddress *plain)
{
    const QChar *const end = text.constData() + text.size();
    const QChar *at = takeStation(text.constData(), end, plain);
    if (at == nullptr || end - at < 3 || lowerCase(at[1]) != 'a')
        return false;
    plain->isNa = lowerCase(at[0]) == 'n';
    if (!plain->isNa && lowerCase(at[0]) != 'p')
        return false;
    at += 2;
    quint32 head = 0;
    if (!plain->isNa) {
        if (end - at < PaHeadDigits ||
            takeDigits(at, at + PaHeadDigits, 16, &head) != at + PaHeadDigits)
            return false;
        at += PaHeadDigits;
    }
    quint32 digits = 0;
    if (at == end || end - at > WordDigits || takeDigits(at, end, 16, &digits) != end)
        return false;
    plain->address = static_cast<quint32>((head << 20) + digits);
    return true;
}

ulong NaAddress(const QString &digits)
{
    return hexToUInt32(digits);
}

ulong PaAddress(const QString &head, const QString &digits)
{
    return static_cast<quint32>((hexToUInt32(head) << 20) + hexToUInt32(digits));
}

uchar StationNumber(const QString &digits)
{
    for (int i = 0; i < digits.size(); ++i) {
        if (digits.at(i) < QLatin1Char('0') || digits.at(i) > QLatin1Char('9'))
            return 0;
    }
    return static_cast<uchar>(digits.toUInt() & 0xFFU);
}

ulong AddressAt(ulong first, uint offset)
{
    return static_cast<quint32>(static_cast<quint32>(first) + offset);
}

bool CompareAddress(ulong a, ulong b)
{
    return a < b;
}

int SearchIndex(const AddressVector &sorted, int first, int last, ulong address)
{
    while (first <= last) {
        const int middle = first + (last - first) / 2;
        const ulong found = sorted[static_cast<size_t>(middle)];
        if (found == address)
            return middle;
        if (found > address)
            last = middle - 1;
        else
            first = middle + 1;
    }
    return -1;
}

int SearchIndex(const AddressVector &sorted, ulong address)
{
    return SearchIndex(sorted, 0, static_cast<int>(sorted.size()) - 1, address);
}
