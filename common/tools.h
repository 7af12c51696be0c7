// Free functions that the driver's layers share: bits, byte order, packed records, checksums,
// hexadecimal text, sleeping and the monotonic clock, and where the project keeps its database.
//
// Unless said otherwise:
//   - bit i of a packed bit array is bit i % 8 of byte i / 8, bit 0 being the least significant;
//   - multi-byte values inside byte arrays are little-endian, as the terminal's processor is;
//   - a word has 16 bits, a double word 32, a quad word 64;
//   - indices into arrays are the caller's responsibility and are not checked;
//   - nothing here throws or holds state; every function may be called from any thread.
//
// Some results look like slips and are not: frames and projects in the field depend on them. They
// are marked "on purpose" below and stay as they are.

#ifndef COMMON_TOOLS_H
#define COMMON_TOOLS_H

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QtGlobal>

#include <cstdarg>

// ---- Bits of a single value -----------------------------------------------------------------
// A bit at or beyond the width of the value is not there: it reads as 0, and setting or clearing it
// gives the value unchanged.

unsigned short setBit(unsigned short value, unsigned short bit);
unsigned short clearBit(unsigned short value, unsigned short bit);
unsigned short getBit(unsigned short value, unsigned short bit);

unsigned char setBit(unsigned char value, unsigned short bit);
unsigned char clearBit(unsigned char value, unsigned short bit);
unsigned char getBit(unsigned char value, unsigned short bit);

unsigned int setBit(unsigned int value, unsigned short bit);
unsigned int clearBit(unsigned int value, unsigned short bit);
unsigned int getBit(unsigned int value, unsigned short bit);

// ---- Bits of a packed bit array -------------------------------------------------------------

/// Bit `i` of the array: 0 or 1.
int getBit(const QByteArray &a, int i);
int getBit(const unsigned char *p, int i);

/// Sets or clears bit `i` of the array, which does not grow.
void setBit(QByteArray &a, int i, bool on);
void setBit(unsigned char *p, int i, bool on);

/// The value of a one-bit read reply: bit 0 of the first byte. The array must not be empty.
int getBitData(const QByteArray &a);

/// Copies bits 0 to `count` - 1 of `src` to bits `dstStart` and up of `dst`. Nothing happens for
/// `count` below 1. `src` is only read.
void CopyBits(QByteArray &dst, QByteArray &src, int dstStart, int count);

/// An array of `count` bytes, byte k being bit `start` + k of `a` as 0 or 1; empty for `count`
/// below 1.
QByteArray ExpandBitsToBytes(const QByteArray &a, unsigned short start, int count);

/// Resizes the array to the bytes that `bits` bits take up. New bytes are not set.
void FitBitArray(QByteArray &a, int bits);

/// Clears the unused high bits of the byte in which a run of `bits` bits ends; nothing happens when
/// the run ends with its byte. Bytes behind that one are left alone.
void clearUnnecessaryBits(QByteArray &a, int bits);

/// Shifts the little-endian number in `a` right by `n` bits.
///
/// Whole bytes are rotated on purpose: the n / 8 lowest bytes come back at the end of the array,
/// unshifted, where zero bytes could be expected. Only the rest of n % 8 bits fills with zeros, and
/// only within the other bytes. So 01 02 03 shifted by 8 is 02 03 01; by 4 it is 20 30 00.
/// Nothing happens for `n` below 1 and for more whole bytes than the array has.
void RightShiftNBits(QByteArray &a, int n);

// ---- Counting, rounded up -------------------------------------------------------------------

/// How many units are touched by `bits` bits that begin `offset` bits into the first unit.
unsigned int NumOfBitsToNumOfWords(unsigned int bits, unsigned int offset);
unsigned int NumOfBitsToNumOfDWords(unsigned int bits, unsigned int offset);
unsigned int NumOfBitsToNumOfBytes(unsigned int bits, unsigned int offset);

/// How many units hold `n` bytes.
unsigned int NumOfBytesToNumOfWords(unsigned int n);
unsigned int NumOfBytesToNumOfDWords(unsigned int n);
unsigned int NumOfBytesToNumOfQuadWords(unsigned int n);

// ---- Integers to and from byte arrays -------------------------------------------------------

/// The value of the first four bytes; of those that are there when the array is shorter, 0 when it
/// is empty.
unsigned int QByteArrayToInt(const QByteArray &a);

/// The value of the first two bytes, or of the only one; 0 when the array is empty.
unsigned short QByteArrayToWord(const QByteArray &a);

/// The first two bytes as a signed value. A single byte counts as unsigned on purpose: FF is 255,
/// FF FF is -1. An empty array gives 0.
short QByteArrayToShort(const QByteArray &a);

QByteArray wordToByteArray(unsigned short value);
QByteArray shortToByteArray(short value);
QByteArray intToByteArray(int value);

/// Appends the high byte of `value`, then its low byte.
void appendBigEndianUShort(QByteArray &a, unsigned short value);

/// `count` units of two or four bytes copied from `p`, the bytes of each in reverse order.
QByteArray fromBigEndianUShortArray(const unsigned char *p, int count);
QByteArray fromBigEndianULongArray(const unsigned char *p, int count);

/// Reverses the bytes of each unit of two or four in place. The array holds whole units.
void toLittleEndianUShortArray(QByteArray &a);
void toLittleEndianULongArray(QByteArray &a);

/// A copy, padded with zero bytes to whole units of two or four, the bytes of each unit reversed.
QByteArray toBigEndianUShortArray(const QByteArray &a);
QByteArray toBigEndianULongArray(const QByteArray &a);

/// A copy, padded at the end with zero bytes to whole units of two or four.
QByteArray To16bitsData(const QByteArray &a);
QByteArray To32bitsData(const QByteArray &a);

/// A copy in which one to three bytes beyond the last multiple of eight are padded with zero bytes
/// to four. It never pads to eight, on purpose: 9 bytes become 12, while 8, 12 and 13 bytes stay as
/// they are.
QByteArray To64bitsData(const QByteArray &a);

/// The bytes in reverse order.
QByteArray reverseArray(const QByteArray &a);

/// Always true: it names the byte order of the devices that the terminal's drivers talk to, not
/// that of the processor, which is little-endian.
bool isBigEndian();

// ---- Packed records -------------------------------------------------------------------------
//
// A format is read from left to right; each item is one letter, or a decimal count and a letter:
//
//   C c          1 byte
//   S s v        2 bytes, low byte first
//   n            2 bytes, high byte first
//   I i L l V    4 bytes, least significant byte first
//   N            4 bytes, most significant byte first
//   x X          1 byte without an argument; see below
//
// The letters C c v n V N may have a count; x and X may have one except in `ByteArrayPack`.
// Packing, a single item takes an int, of which the low bits are used, and a counted item takes a
// pointer to as many values of the item's width, in the order of the processor, aligned or not.
// Unpacking, every item takes a pointer to where its values go. x and X take no argument, but
// `ByteArrayPack` takes the pointer of every counted item before it looks at the letter.
//
// A count must be 1 or more, and the bytes of an item must fit an int.
//
// How the three end after a mistake in the format differs on purpose, since callers tell the cases
// apart; see each.

/// Packs into `out`. x writes a zero byte; X skips a byte and leaves it as it is.
/// \return the distance covered in bytes, skipped ones included (0 for an empty format);
///         0 after a single item with an unknown letter;
///         -1 after a counted item with a wrong letter or count, or with no letter at all.
///         What was packed before the mistake stays in `out`.
int DataPack(unsigned char *out, const char *fmt, ...);
int VDataPack(unsigned char *out, const char *fmt, va_list args);

/// Packs into a new array. x appends a zero byte, X a byte that is not set.
/// \return the array; an empty one after any mistake, counted x and X among them
QByteArray ByteArrayPack(const char *fmt, ...);
QByteArray VByteArrayPack(const char *fmt, va_list args);

/// Unpacks from `in`. x and X both skip a byte.
/// \return the number of bytes consumed (0 for an empty format); -1 after any mistake. Variables
///         that were filled before it keep their values.
int DataUnpack(const unsigned char *in, const char *fmt, ...);
int VDataUnpack(const unsigned char *in, const char *fmt, va_list args);

// ---- Text -----------------------------------------------------------------------------------

/// The value of hexadecimal text, wrapping at 32 bits.
/// \param s    the text; ends at a zero byte or after `len` characters. It may begin with "0x" or
///             "0X"
/// \param len  characters of `s`, a prefix included; nothing behind them is read
/// \return 0 when there are no digits, and 0, not the value so far, when a character is no
///         hexadecimal digit
unsigned int HexToUInt(const char *s, int len);

/// The run of letters (A to Z, a to z) and "_" that the text begins with, such as "PA".
QByteArray ExtractPrefixSymbol(const QByteArray &s);
QByteArray ExtractPrefixSymbol(const QString &s);

/// The number in an address: what stands from the first digit of the base to the end of the text.
/// In base 16 a prefix letter from A to F is a digit on purpose: "D100" is 0xD100.
/// \param base  8, 10 or 16
/// \return 0 when there is no digit, when something else follows the digits, or when the number
///         does not fit an int; -1 for another base
int ExtractPLCDeviceAddress(const QByteArray &s, int base);
int ExtractPLCDeviceAddress(const QString &s, int base);

/// The array as a text for logs: "(0X41 0Xa ) : A" and a line feed for the bytes 41 0A. The part
/// behind the colon ends at the first zero byte.
QString dumpByteArray(const QByteArray &a);

// ---- Time and processes ---------------------------------------------------------------------

/// Blocks the calling thread, signals notwithstanding.
/// \param ms  milliseconds, 0 to 4294; the duration in nanoseconds is a 32-bit number on purpose,
///            so longer ones wrap (5000 ms sleep about 705 ms)
/// \return 0 when the time has passed, nonzero when the system refused to sleep
int HRSleep(unsigned long ms);

/// Milliseconds of the monotonic clock.
qint64 CurrentMSecsSinceBoot();

/// Whether a process of this number exists, whoever owns it.
bool ProcessIsRunning(long long pid);

// ---- Checksums ------------------------------------------------------------------------------
// All of them are 0 for `len` below 1.

unsigned char UInt8CheckSum(const unsigned char *p, int len);    ///< sum modulo 256
unsigned short UShortCheckSum(const unsigned char *p, int len);  ///< sum modulo 65536
unsigned char XorUInt8CheckSum(const unsigned char *p, int len); ///< exclusive or
unsigned short CRC16Calculate(const unsigned char *p, int len);  ///< CRC-16/ARC

// ---- Arrays ---------------------------------------------------------------------------------

/// Moves the first `m` bytes behind the `n` bytes that follow them. Nothing happens for `m` or `n`
/// below 1.
void RotateArray(unsigned char *a, int m, int n);

/// No package sizes: the default argument of frame builders that split requests.
QList<int> EmptyPackageSizeList();

// ---- The project's database -----------------------------------------------------------------

/// The directory of the compiled project: "compile" in the application's directory, or the
/// application's directory itself when that holds no such directory.
QString GetCompilePath();

/// The file of the project database: "database" in the directory "database" of the compiled
/// project, or in the project's directory itself when that holds no such directory. The file need
/// not exist.
QString GetDatabaseName();

/// The project's number of a port: 2000 for every name that begins with "ETHERNET" (in any case),
/// else the decimal number at the end of the name plus 1001, as in "COM2", 1003. Any other name,
/// one of nothing but digits included, ends the program.
int DevStrToHmiPort(const QString &dev_str);

/// A link number and a station number.
typedef QPair<int, uchar> LinkIdStationId;

// The lookups work on a database connection of the calling thread, which they open when it is
// closed. They return true when at least one row came; when the connection cannot be opened, the
// query fails or no row comes they return false and leave the outputs untouched. Of a station
// number the low 8 bits count; what is neither a number nor the text of one reads as 0.

/// The link at a port and the link's default station.
/// \param connection  name of the database connection
/// \param hmiPort     the port's number, see `DevStrToHmiPort`
bool GetLinkIdAndDefaultStationId(const QString &connection, int hmiPort, int &linkId,
                                  uchar &stationId);

/// Appends every default station of a link.
bool GetLinkIdAndDefaultStationId(const QString &connection, int linkId,
                                  QList<LinkIdStationId> &out);

/// Appends every link at a port with its default station at a socket address.
/// \param ip  the address exactly as the project stores it; any text is safe
bool GetLinkIdAndDefaultStationId(const QString &connection, int hmiPort, const QString &ip,
                                  unsigned short port, QList<LinkIdStationId> &out);

#endif // COMMON_TOOLS_H
