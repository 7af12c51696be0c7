// DMC50 address texts read a second time, without patterns: what the driver's readers are compared
// with.

#ifndef FUZZ_ADDRESS_MODEL_H
#define FUZZ_ADDRESS_MODEL_H

#include <QString>
#include <QtGlobal>

const ulong LargestAddress = 0xFFFFFFFFUL;

/// What an address text means.
struct AddressModel {
    enum Form { Unknown, Pa, Na };

    Form form;
    bool hasStation; ///< has a prefix of digits and a hyphen
    uchar station;   ///< of the prefix; 0 without one
    quint32 address;
    bool hasBit; ///< the address is followed by a point and digits
    uint bit;    ///< 0 without one, and when it does not fit 32 bits
};

/// Reads a text; where it has no known form, only `form` tells anything.
AddressModel readAddress(const QString &text);

/// The station that a text with "LOWLATENCY" names; -1 where such a text ends the program.
/// \param text  not empty
int lowLatencyStation(const QString &text, uchar defaultStation);

#endif // FUZZ_ADDRESS_MODEL_H
