#include "driver/drv_dev_setting.h"

#include <QDataStream>
#include <QStringList>
#include <QtDebug>

namespace
{

int bytesForBits(int bits)
{
    return bits / 8 + (bits % 8 > 0 ? 1 : 0);
}

/// Bytes of an item of the types whose size as an answer and as written data is the same.
quint32 bytesOfItem(int dataType)
{
    switch (dataType) {
    case CommunicatorCommand::WordType:
        return 2;
    case CommunicatorCommand::DoubleWordType:
        return 4;
    case CommunicatorCommand::QuadWordType:
        return 8;
    default:
        return 1;
    }
}

/// Absurd lengths wrap; unsigned, because a signed product must not.
int plainDataSize(const CommunicatorCommand &command)
{
    return static_cast<int>(bytesOfItem(command.dataType) * static_cast<quint32>(command.length));
}

/// The port that a text of decimal digits names; 0 for every other text.
unsigned short toPort(const QString &text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i) < QLatin1Char('0') || text.at(i) > QLatin1Char('9'))
            return 0;
    }
    return text.toUShort();
}

bool hasPlainDataSize(const CommunicatorCommand &command)
{
    return command.dataType >= CommunicatorCommand::ByteType &&
           command.dataType <= CommunicatorCommand::BlockType;
}

} // namespace

CommunicatorCommand::CommunicatorCommand()
    : number(1), dataType(DoubleWordType), length(1), address(QString::fromLatin1("S>NULL")),
      index(0), option(false)
{
}

int CommunicatorCommand::getDataSize() const
{
    if (hasPlainDataSize(*this))
        return plainDataSize(*this);
    if (dataType == BitType && length != 0)
        return bytesForBits(length);
    return 1;
}

QString CommunicatorCommand::stringKey() const
{
    // Joined piece by piece: an address that holds "%2" must not be taken for a place holder.
    return address + QLatin1Char('_') + QString::number(dataType) + QLatin1Char('_') +
           QString::number(length);
}

bool isBitCommand(const CommunicatorCommand &command)
{
    return command.dataType == CommunicatorCommand::BitType;
}

bool isByteCommand(const CommunicatorCommand &command)
{
    return command.dataType == CommunicatorCommand::ByteType;
}

bool isWordCommand(const CommunicatorCommand &command)
{
    return command.dataType == CommunicatorCommand::WordType;
}

bool isDoubleWordCommand(const CommunicatorCommand &command)
{
    return command.dataType == CommunicatorCommand::DoubleWordType;
}

bool isBlockCommand(const CommunicatorCommand &command)
{
    return command.dataType == CommunicatorCommand::BlockType;
}

int GetSafeDataLen(const CommunicatorCommand &command)
{
    if (hasPlainDataSize(command))
        return plainDataSize(command);
    if (command.dataType == CommunicatorCommand::BitType ||
        command.dataType == CommunicatorCommand::BitBlockType)
        return bytesForBits(command.length);
    return 0;
}

QByteArray ToSafeData(const CommunicatorCommand &command, const QByteArray &data)
{
    return data.leftJustified(GetSafeDataLen(command), '\0', true);
}

DeviceSetting::DeviceSetting(device_type type_, QString string_, int baudrate_, int databits_,
                             int stopbits_, int parity_, int extra_, QString extraString_)
    : type(type_), string(string_), baudrate(baudrate_), databits(databits_), stopbits(stopbits_),
      parity(parity_), extra(extra_), extraString(extraString_), linkID(-1), currentIPIndex(0)
{
}

DeviceSetting::DeviceSetting(device_type type_, QString string_, int baudrate_, int databits_,
                             int stopbits_, int parity_)
    : type(type_), string(string_), baudrate(baudrate_), databits(databits_), stopbits(stopbits_),
      parity(parity_), extra(0), linkID(-1), currentIPIndex(0)
{
}

QString DeviceSetting::socketIP(int index) const
{
    return sockets.value(index == -1 ? currentIPIndex : index).first;
}

unsigned short DeviceSetting::port(int index) const
{
    return sockets.value(index == -1 ? currentIPIndex : index).second;
}

void DeviceSetting::setSocketIP(const QString &ip, int index)
{
    const int position = index == -1 ? currentIPIndex : index;
    if (position >= 0 && position < sockets.size())
        sockets[position].first = ip;
}

void DeviceSetting::setPort(unsigned short port, int index)
{
    const int position = index == -1 ? currentIPIndex : index;
    if (position >= 0 && position < sockets.size())
        sockets[position].second = port;
}

void DeviceSetting::setCurrentIPIndex(int index)
{
    if (index >= 0 && index < sockets.size())
        currentIPIndex = index;
}

void DeviceSetting::setSocketData(const QList<QPair<QString, QString>> &pairs)
{
    sockets.clear();
    for (int i = 0; i < pairs.size(); ++i)
        sockets.append(qMakePair(pairs.at(i).first, toPort(pairs.at(i).second)));
}

void DeviceSetting::dump() const
{
    QStringList words;
    words << "type:" << QString::number(type) << "string:" << string
          << "baudrate:" << QString::number(baudrate) << "databits:" << QString::number(databits)
          << "stopbits:" << QString::number(stopbits) << "parity:" << QString::number(parity)
          << "linkID:" << QString::number(linkID) << "current ip:" << socketIP(-1)
          << "current port:" << QString::number(port(-1));
    qDebug("%s", qPrintable(words.join(" ")));
}

QDataStream &operator<<(QDataStream &stream, const DeviceSetting &setting)
{
    return stream << qint32(setting.type) << setting.string << qint32(setting.baudrate)
                  << qint32(setting.databits) << qint32(setting.stopbits) << qint32(setting.parity)
                  << qint32(setting.extra) << qint32(setting.linkID)
                  << qint32(setting.currentIPIndex) << setting.sockets;
}

QDataStream &operator>>(QDataStream &stream, DeviceSetting &setting)
{
    qint32 type = 0;
    qint32 currentIPIndex = 0;
    stream >> type >> setting.string >> setting.baudrate >> setting.databits >> setting.stopbits >>
        setting.parity >> setting.extra >> setting.linkID >> currentIPIndex;
    setting.type = static_cast<device_type>(type);
    setting.setCurrentIPIndex(currentIPIndex);
    return stream >> setting.sockets;
}

DriverSetting::DriverSetting(int timeout_, int retry_, int stationid_, int delay_)
    : timeout(timeout_), retry(retry_), stationid(stationid_), delay(delay_), flag(false)
{
}

DriverSetting::DriverSetting(int timeout_, int retry_, int stationid_, int delay_, const QString &,
                             unsigned short)
    : timeout(timeout_), retry(retry_), stationid(stationid_), delay(delay_), flag(false)
{
}

DriverSetting::DriverSetting(int timeout_, int retry_, int stationid_, int delay_, const QString &,
                             unsigned short, const QString &text_, bool flag_)
    : timeout(timeout_), retry(retry_), stationid(stationid_), delay(delay_), text(text_),
      flag(flag_)
{
}

void DriverSetting::copy(const DriverSetting &other)
{
    timeout = other.timeout;
    retry = other.retry;
    stationid = other.stationid;
    delay = other.delay;
    text = other.text;
}

void DriverSetting::dump() const
{
    qDebug("timeout: %d retry: %d stationid: %d delay: %d", timeout, retry, stationid, delay);
}

QDataStream &operator<<(QDataStream &stream, const DriverSetting &setting)
{
    return stream << qint32(setting.timeout) << qint32(setting.retry) << qint32(setting.stationid)
                  << qint32(setting.delay);
}

QDataStream &operator>>(QDataStream &stream, DriverSetting &setting)
{
    return stream >> setting.timeout >> setting.retry >> setting.stationid >> setting.delay;
}
