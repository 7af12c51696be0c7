// DMC50 addresses: from text to number, their containers and the search in them. Shared by the
// driver and its line thread.

#ifndef DRIVER_DMC50_SHARE_H
#define DRIVER_DMC50_SHARE_H

#include <map>
#include <vector>

#include <QString>
#include <QtGlobal>

/// DMC50 addresses. An element holds a 32-bit word, also where `ulong` has 64 bits.
typedef std::vector<ulong> AddressVector;

/// Positions (0 to 255) in a request, parallel to an `AddressVector`.
typedef std::vector<uchar> UCharVector;

/// Station number to the addresses that the project defines there, ascending.
typedef std::map<uchar, AddressVector> AddressVectorMap;

/// The address of an NA text.
/// \param digits  its hexadecimal digits
/// \return the 32-bit address; 0 when the digits do not fit 32 bits
ulong NaAddress(const QString &digits);

/// The address of a PA text: the head x 2^20 + the digits, a sum that wraps at 32 bits.
/// \param head    the three hexadecimal digits after "PA"
/// \param digits  the hexadecimal digits that follow; 0 when they do not fit 32 bits
ulong PaAddress(const QString &head, const QString &digits);

/// The station that a prefix names: the low 8 bits of its decimal number, 0 when the text is no
/// number or does not fit 32 bits.
uchar StationNumber(const QString &digits);

/// A plain address text, taken apart.
struct PlainAddress {
    bool isNa;       ///< the text has the NA form, otherwise the PA form
    bool hasStation; ///< the text has the prefix of a station
    uchar station;   ///< low 8 bits of the prefix's number; 0 without one
    ulong address;
};

/// Takes apart the address texts that projects mostly hold: ASCII, with or without the prefix of a
/// station, nothing behind the address, no field longer than its number may be. A pattern needs ten
/// times as long, and reads more: digits of other scripts, a bit behind the address.
/// \return false: the text is another one, and is left to the patterns
bool ParsePlainAddress(const QString &text, PlainAddress *plain);

/// The address `offset` places behind another one. Addresses are 32-bit words and wrap.
ulong AddressAt(ulong first, uint offset);

/// Strict order of addresses.
bool CompareAddress(ulong a, ulong b);

/// Binary search between the positions `first` and `last`, both included.
/// \param sorted  ascending addresses
/// \return the position of `address`, or -1 when it is not there or `first` is above `last`
int SearchIndex(const AddressVector &sorted, int first, int last, ulong address);

/// Binary search in the whole vector.
int SearchIndex(const AddressVector &sorted, ulong address);

#endif // DRIVER_DMC50_SHARE_H
