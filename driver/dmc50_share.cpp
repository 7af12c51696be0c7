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

} // namespace

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
