#include "fuzz/address_model.h"

namespace
{

const int HeadDigits = 3; ///< of a PA text
const int HeadShift = 20;
const quint64 Overflow = Q_UINT64_C(1) << 32;

/// Digits of all scripts are digits of a number, but only those of ASCII have a value.
bool isDecimal(QChar c)
{
    return c.isDigit();
}

bool isHexadecimal(QChar c)
{
    const ushort lower = c.toLower().unicode();
    return c.isDigit() || (lower >= 'a' && lower <= 'f');
}

/// The number's value, 0 when a digit has none or the number does not fit 32 bits.
quint32 valueOf(const QString &digits, uint base)
{
    quint64 value = 0;
    for (int i = 0; i < digits.size(); ++i) {
        const ushort c = digits.at(i).toLower().unicode();
        if (c > 'f')
            return 0;
        value = value * base + (c <= '9' ? c - uint('0') : c - uint('a') + 10);
        if (value >= Overflow)
            return 0;
    }
    return static_cast<quint32>(value);
}

/// Goes through a text from left to right.
class Reader
{
public:
    explicit Reader(const QString &text) : m_text(text), m_position(0) {}

    QString take(bool (*belongs)(QChar), int most = -1)
    {
        const int start = m_position;
        while (m_position < m_text.size() && belongs(m_text.at(m_position)) &&
               m_position - start != most)
            ++m_position;
        return m_text.mid(start, m_position - start);
    }

    bool takeLetter(char letter)
    {
        const bool found =
            m_position < m_text.size() && m_text.at(m_position).toLower() == QLatin1Char(letter);
        m_position += found ? 1 : 0;
        return found;
    }

private:
    const QString m_text;
    int m_position;
};

bool readStation(Reader &reader, AddressModel &model)
{
    const QString station = reader.take(isDecimal);
    model.hasStation = !station.isEmpty();
    model.station = static_cast<uchar>(valueOf(station, 10) & 0xFFU);
    return !model.hasStation || reader.takeLetter('-');
}

void readPa(Reader &reader, AddressModel &model)
{
    const QString head = reader.take(isHexadecimal, HeadDigits);
    const QString digits = reader.take(isHexadecimal);
    model.address = (valueOf(head, 16) << HeadShift) + valueOf(digits, 16);
    if (!digits.isEmpty())
        model.form = AddressModel::Pa;
}

void readNa(Reader &reader, AddressModel &model)
{
    const QString digits = reader.take(isHexadecimal);
    model.address = valueOf(digits, 16);
    if (!digits.isEmpty())
        model.form = AddressModel::Na;
}

void readBit(Reader &reader, AddressModel &model)
{
    if (!reader.takeLetter('.'))
        return;
    const QString digits = reader.take(isDecimal);
    model.hasBit = !digits.isEmpty();
    model.bit = valueOf(digits, 10);
}

} // namespace

AddressModel readAddress(const QString &text)
{
    AddressModel model = {AddressModel::Unknown, false, 0, 0, false, 0};
    Reader reader(text);
    if (!readStation(reader, model))
        return model;
    const bool isPa = reader.takeLetter('p');
    if (!isPa && !reader.takeLetter('n'))
        return model;
    if (!reader.takeLetter('a'))
        return model;
    if (isPa)
        readPa(reader, model);
    else
        readNa(reader, model);
    readBit(reader, model);
    return model;
}

int lowLatencyStation(const QString &text, uchar defaultStation)
{
    if (text.at(0) < QLatin1Char('0') || text.at(0) > QLatin1Char('9'))
        return defaultStation;
    const int length = text.indexOf(QLatin1Char('-'));
    if (length < 1)
        return -1;
    uint station = 0;
    for (int i = 0; i < length; ++i) {
        const uint digit = text.at(i).unicode() - uint('0');
        if (digit > 9 || station > (0xFFFFFFFFU - digit) / 10)
            return 0;
        station = station * 10 + digit;
    }
    return static_cast<int>(station & 0xFFU);
}
