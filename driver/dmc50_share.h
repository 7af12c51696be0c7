// Containers of DMC50 addresses and the search in them, shared by the driver and its line thread.

#ifndef DRIVER_DMC50_SHARE_H
#define DRIVER_DMC50_SHARE_H

#include <map>
#include <vector>

#include <QtGlobal>

/// DMC50 addresses. An element holds a 32-bit word, also where `ulong` has 64 bits.
typedef std::vector<ulong> AddressVector;

/// Positions (0 to 255) in a request, parallel to an `AddressVector`.
typedef std::vector<uchar> UCharVector;

/// Station number to the addresses that the project defines there, ascending.
typedef std::map<uchar, AddressVector> AddressVectorMap;

/// Strict order of addresses.
bool CompareAddress(ulong a, ulong b);

/// Binary search between the positions `first` and `last`, both included.
/// \param sorted  ascending addresses
/// \return the position of `address`, or -1 when it is not there or `first` is above `last`
int SearchIndex(const AddressVector &sorted, int first, int last, ulong address);

/// Binary search in the whole vector.
int SearchIndex(const AddressVector &sorted, ulong address);

#endif // DRIVER_DMC50_SHARE_H
