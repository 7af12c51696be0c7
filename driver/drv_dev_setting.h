// The records that cross the boundary between the runtime and the driver.

#ifndef DRIVER_DRV_DEV_SETTING_H
#define DRIVER_DRV_DEV_SETTING_H

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

class QDataStream;

/// One access to a tag: which address, which data type, how many items. A plain value; copy it
/// freely. The order of the fields and of the two virtual operations is part of the binary
/// contract with the runtime, and so is the absence of a virtual destructor: nothing deletes a
/// command through a base.
class CommunicatorCommand
{
public:
    /// Codes of `dataType`.
    enum DataType {
        BitType = 0,        ///< bits
        ByteType = 1,       ///< bytes
        WordType = 2,       ///< words of 16 bits
        DoubleWordType = 3, ///< double words of 32 bits
        QuadWordType = 4,   ///< items of 8 bytes
        BlockType = 5,      ///< a block of bytes
        BitBlockType = 6    ///< a block of bits
    };

    /// A one-item double-word command with an address that names no datum.
    CommunicatorCommand();

    /// The size in bytes that the driver reserves for an answer. Differs from `GetSafeDataLen` on
    /// purpose: 1 for a block of bits, for no bits at all and for an unknown type.
    virtual int getDataSize() const;

    /// A key for maps: address, type and length joined by "_", as in "NA1000_3_24".
    virtual QString stringKey() const;

    int number;       ///< a caller's number; the driver does not read it
    int dataType;     ///< one of `DataType`
    int length;       ///< count of items: bits (types 0, 6), bytes (1, 5), 2, 4 or 8-byte items
    QString address;  ///< the device address text, for example "NA1000" or "PA0011234.7"
    int index;        ///< carried along; the driver does not read it
    QString address2; ///< carried along; the driver does not read it
    bool option;      ///< carried along; the driver does not read it
};

bool isBitCommand(const CommunicatorCommand &command);
bool isByteCommand(const CommunicatorCommand &command);
bool isWordCommand(const CommunicatorCommand &command);
bool isDoubleWordCommand(const CommunicatorCommand &command);
bool isBlockCommand(const CommunicatorCommand &command);

/// The size in bytes to which written data is cut or padded. Differs from
/// `CommunicatorCommand::getDataSize` on purpose: ceil(length / 8) for a block of bits, 0 for no
/// bits at all and for an unknown type.
int GetSafeDataLen(const CommunicatorCommand &command);

/// A copy of `data` of exactly `GetSafeDataLen(command)` bytes: cut at the end when it is longer,
/// padded there with zero bytes when it is shorter.
QByteArray ToSafeData(const CommunicatorCommand &command, const QByteArray &data);

/// How a link is wired: a port with its serial parameters, or a list of socket addresses.
class DeviceSetting
{
public:
    /// Kinds of link. The runtime knows more of them; this driver names the one it uses.
    enum device_type : int { Rs485 = 64 };

    /// Codes of `stopbits` and `parity` that this driver names; the others are the runtime's.
    enum StopBitsCode { OneStopBit = 0 };
    enum ParityCode { EvenParity = 2 };

    DeviceSetting(device_type type, QString string, int baudrate, int databits, int stopbits,
                  int parity, int extra, QString extraString);
    DeviceSetting(device_type type, QString string, int baudrate, int databits, int stopbits,
                  int parity);

    /// The IP text of a socket entry; empty when there is no such entry.
    /// \param index  position in `sockets`; -1 means `currentIPIndex`
    QString socketIP(int index) const;

    /// The port of a socket entry; 0 when there is no such entry. `index` as for `socketIP`.
    unsigned short port(int index) const;

    /// Replace the IP text or the port of a socket entry; ignored when there is no such entry.
    void setSocketIP(const QString &ip, int index);
    void setPort(unsigned short port, int index);

    /// Chooses the socket entry in use; ignored when there is no such entry.
    void setCurrentIPIndex(int index);

    /// Replaces all socket entries.
    /// \param pairs  IP text and decimal port (0 to 65535); a text that is no such number gives 0
    void setSocketData(const QList<QPair<QString, QString>> &pairs);

    /// Writes the setting to the debug output, in one message.
    void dump() const;

    device_type type;    ///< the kind of link
    QString string;      ///< port name, for example "COM2"
    int baudrate;        ///< bits per second
    int databits;        ///< data bits of a character
    int stopbits;        ///< code of the stop bits; 0 is one stop bit
    int parity;          ///< code of the parity; 2 is even parity
    int extra;           ///< carried along; 0 unless given
    QString extraString; ///< carried along, never streamed; empty unless given
    int linkID;          ///< the project's number of the link; -1 until it is set
    int currentIPIndex;  ///< position in `sockets` of the entry in use
    QList<QPair<QString, unsigned short>> sockets; ///< IP text and port of each socket
};

/// Both forms of the type's name are in use.
typedef DeviceSetting::device_type device_type;

/// All fields but `extraString`. Reading applies the stored `currentIPIndex` before the stored
/// sockets, so an index that is not valid for the sockets held until then is dropped.
QDataStream &operator<<(QDataStream &stream, const DeviceSetting &setting);
QDataStream &operator>>(QDataStream &stream, DeviceSetting &setting);

/// The timing of a driver on its link.
class DriverSetting
{
public:
    DriverSetting(int timeout, int retry, int stationid, int delay);
    /// The last two arguments are accepted for old callers and ignored.
    DriverSetting(int timeout, int retry, int stationid, int delay, const QString &ignoredText,
                  unsigned short ignoredNumber);
    DriverSetting(int timeout, int retry, int stationid, int delay, const QString &ignoredText,
                  unsigned short ignoredNumber, const QString &text, bool flag);

    /// Takes over the four numbers and `text`, not `flag`.
    void copy(const DriverSetting &other);

    /// Writes the setting to the debug output, in one message.
    void dump() const;

    int timeout;   ///< response time-out in milliseconds
    int retry;     ///< further attempts after a failure
    int stationid; ///< default station number
    int delay;     ///< pause before each frame in milliseconds
    QString text;  ///< never streamed; empty unless given
    bool flag;     ///< never streamed; false unless given
};

/// The four numbers only.
QDataStream &operator<<(QDataStream &stream, const DriverSetting &setting);
QDataStream &operator>>(QDataStream &stream, DriverSetting &setting);

#endif // DRIVER_DRV_DEV_SETTING_H
