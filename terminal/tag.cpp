#include "terminal/tag.h"

#include <QRegularExpression>

namespace
{

const int BitsPerByte = 8;
const int BitsPerDoubleWord = 32;
const int BytesPerDoubleWord = 4;
const int GreatestStation = 255;
const int LongestTag = 1020; // bytes: the driver counts a tag's double words in 8 bits
const int LongestName = 64;
const int PaShift = 20;

const char ProgramType[] = "program"; // no type of the driver's: the project lists it, that is all

struct TypeName {
    const char *name;
    int type;
};

// Items of 8 bytes are missing because the driver neither reads nor writes them.
const TypeName TypeNames[] = {
    {"bit", CommunicatorCommand::BitType},     {"byte", CommunicatorCommand::ByteType},
    {"word", CommunicatorCommand::WordType},   {"dword", CommunicatorCommand::DoubleWordType},
    {"block", CommunicatorCommand::BlockType}, {"bits", CommunicatorCommand::BitBlockType}};

bool findType(const QString &name, int *type)
{
    for (const TypeName &candidate : TypeNames) {
        if (name == candidate.name) {
            *type = candidate.type;
            return true;
        }
    }
    return false;
}

/// Station, form, head of a PA address, hexadecimal digits and bit of an address text. Stricter
/// than the driver, which ends the program or takes 0 for what it cannot read.
QRegularExpressionMatch matchAddress(const QString &text)
{
    static const QRegularExpression pattern(
        "^(?:([0-9]{1,3})-)?(NA|PA([0-9A-F]{3}))([0-9A-F]{1,8})(?:\\.([0-9]{1,2}))?\\z",
        QRegularExpression::CaseInsensitiveOption);
    return pattern.match(text);
}

QString takeBit(const QString &bit, Tag *tag)
{
    if (tag->isBits() && bit.isEmpty())
        return "a bit tag needs a bit number, as in NA20.4";
    if (!tag->isBits() && !bit.isEmpty())
        return "only bit tags have a bit number";
    if (bit.toInt() >= BitsPerDoubleWord)
        return "the bit goes from 0 to 31";
    tag->bit = bit.toInt();
    return QString();
}

/// Empty, or what is wrong.
QString takeAddress(const QString &text, Tag *tag)
{
    const QRegularExpressionMatch match = matchAddress(text);
    if (!match.hasMatch())
        return "no address: expected [station-]NAhex[.bit] or [station-]PAhhhhex[.bit]";
    const QString prefix = match.captured(1);
    if (prefix.toInt() > GreatestStation)
        return "the station goes from 0 to 255";
    tag->station = prefix.isEmpty() ? int(Tag::DefaultStation) : prefix.toInt();
    tag->address = prefix.isEmpty() ? text : text.mid(prefix.size() + 1);
    tag->firstAddress =
        (match.captured(3).toUInt(nullptr, 16) << PaShift) + match.captured(4).toUInt(nullptr, 16);
    return takeBit(match.captured(5), tag);
}

bool isLowLatency(const QString &address)
{
    static const QRegularExpression pattern("^(?:([0-9]{1,3})-)?LOWLATENCY[0-9]*\\z");
    const QRegularExpressionMatch match = pattern.match(address);
    return match.hasMatch() && match.captured(1).toInt() <= GreatestStation;
}

/// Empty, or what is wrong. A comma and an equals sign separate names in options.
QString mistakeInName(const QString &name)
{
    static const QRegularExpression forbidden("[,=[:cntrl:]]");
    if (name.size() > LongestName)
        return QString("a name has at most %1 characters").arg(LongestName);
    if (name.contains(forbidden))
        return "a name has no comma, equals sign or control character";
    return QString();
}

/// Reads decimal digits with an optional "-", or hexadecimal ones behind 0x. The conversions alone
/// would also take blanks and further signs.
bool readNumber(const QString &text, qint64 *number)
{
    static const QRegularExpression pattern("^(?:0x([0-9a-f]{1,8})|(-?[0-9]{1,10}))\\z",
                                            QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(text);
    const QString hexadecimal = match.captured(1);
    *number = hexadecimal.isEmpty() ? match.captured(2).toLongLong()
                                    : hexadecimal.toLongLong(nullptr, 16);
    return match.hasMatch();
}

/// Bits of one item; all bits of a bit tag are one item.
int itemBits(const Tag &tag)
{
    switch (tag.type) {
    case CommunicatorCommand::WordType:
        return 16;
    case CommunicatorCommand::DoubleWordType:
        return 32;
    case CommunicatorCommand::ByteType:
    case CommunicatorCommand::BlockType:
        return 8;
    default:
        return tag.length;
    }
}

int itemCount(const Tag &tag)
{
    return tag.isBits() ? 1 : tag.length;
}

int roundedUp(int amount, int unit)
{
    return (amount + unit - 1) / unit;
}

/// The text of an address so many behind another one.
QString addressBehind(const QString &text, int distance)
{
    const QRegularExpressionMatch match = matchAddress(text);
    const QString start = text.left(match.capturedStart(4));
    const quint32 digits = match.captured(4).toUInt(nullptr, 16);
    return start + QString::number(digits + static_cast<quint32>(distance), 16).toUpper();
}

QStringList programAddresses(const Tag &tag)
{
    QStringList addresses;
    for (int step = 0; step < tag.programSteps; ++step) {
        for (int value = 0; value < Tag::ProgramStepValues; ++value)
            addresses << addressBehind(tag.text, step * Tag::ProgramStepPitch + value);
    }
    return addresses;
}

/// Reads an unsigned decimal length.
bool readLength(const QString &text, int most, int *length)
{
    bool ok = false;
    *length = text.toInt(&ok);
    return ok && *length >= 1 && *length <= most;
}

int mostItems(const Tag &tag)
{
    if (tag.isDriverTag)
        return Tag::ProgramSteps;
    return tag.isBits() ? BitsPerDoubleWord : LongestTag / (itemBits(tag) / BitsPerByte);
}

} // namespace

bool Tag::isBits() const
{
    return type == CommunicatorCommand::BitType || type == CommunicatorCommand::BitBlockType;
}

int Tag::dataSize() const
{
    return roundedUp(itemBits(*this) * itemCount(*this), BitsPerByte);
}

int Tag::doubleWords() const
{
    return isBits() ? roundedUp(bit + length, BitsPerDoubleWord)
                    : roundedUp(dataSize(), BytesPerDoubleWord);
}

CommunicatorCommand Tag::announcement() const
{
    CommunicatorCommand command = access();
    command.address = text;
    return command;
}

CommunicatorCommand Tag::access() const
{
    CommunicatorCommand command;
    command.address = address;
    command.dataType = type;
    command.length = length;
    return command;
}

QStringList Tag::projectAddresses() const
{
    if (programSteps > 0)
        return programAddresses(*this);
    QStringList addresses(text);
    if (isDriverTag)
        return addresses;
    for (int i = 1; i < doubleWords(); ++i)
        addresses << addressBehind(text, i);
    return addresses;
}

QStringList tagTypeNames()
{
    QStringList names;
    for (const TypeName &type : TypeNames)
        names << type.name;
    return names << ProgramType;
}

bool parseTag(const QString &name, const QString &address, const QString &type,
              const QString &length, Tag *tag, QString *error)
{
    Tag parsed;
    parsed.name = name.isEmpty() ? address : name;
    parsed.text = address;
    parsed.isDriverTag = isLowLatency(address);
    if (parsed.isDriverTag) {
        *tag = parsed;
        return true;
    }
    const QString mistakenName = mistakeInName(name);
    if (!mistakenName.isEmpty()) {
        *error = QString("\"%1\": %2").arg(name.left(LongestName).simplified(), mistakenName);
        return false;
    }
    parsed.isDriverTag = type == ProgramType;
    if (!parsed.isDriverTag && !findType(type, &parsed.type)) {
        *error = QString("\"%1\" is no type; there are %2").arg(type, tagTypeNames().join(", "));
        return false;
    }
    const QString mistake = takeAddress(address, &parsed);
    if (!mistake.isEmpty()) {
        *error = QString("\"%1\": %2").arg(address, mistake);
        return false;
    }
    const int most = mostItems(parsed);
    if (!readLength(length, most, parsed.isDriverTag ? &parsed.programSteps : &parsed.length)) {
        *error = QString("\"%1\" is no length of a %2 tag (1 to %3)").arg(length, type).arg(most);
        return false;
    }
    *tag = parsed;
    return true;
}

QList<quint32> tagItems(const Tag &tag, const QByteArray &data)
{
    const int bytes = roundedUp(itemBits(tag), BitsPerByte);
    QList<quint32> items;
    for (int item = 0; item < itemCount(tag); ++item) {
        quint32 value = 0;
        for (int i = bytes - 1; i >= 0; --i)
            value = value << BitsPerByte | static_cast<uchar>(data.at(item * bytes + i));
        items << value;
    }
    return items;
}

bool tagData(const Tag &tag, const QString &value, QByteArray *data, QString *error)
{
    qint64 number = 0;
    const bool ok = readNumber(value, &number);
    const int bits = itemBits(tag);
    const qint64 most = (Q_INT64_C(1) << bits) - 1;
    const qint64 least = tag.isBits() ? 0 : -(Q_INT64_C(1) << (bits - 1));
    if (!ok || number < least || number > most) {
        *error = QString("\"%1\" is no value for %2 (%3 to %4)")
                     .arg(value, tag.text)
                     .arg(least)
                     .arg(most);
        return false;
    }
    data->clear();
    for (int item = 0; item < itemCount(tag); ++item) {
        for (int at = 0; at < bits; at += BitsPerByte)
            data->append(static_cast<char>(number >> at & 0xFF));
    }
    return true;
}
