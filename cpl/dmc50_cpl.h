// The CPL frames of the DMC50: requests packed, replies checked. No state, no I/O, no clock.

#ifndef CPL_DMC50_CPL_H
#define CPL_DMC50_CPL_H

#include <QtGlobal>

/// One value to write: a double word and the DMC50 address it goes to.
struct AddrArg {
    quint32 address;
    quint32 value;
};

/// Limits and positions of the protocol.
namespace Cpl
{
enum {
    MaxReadAddresses = 50, ///< addresses of one RN frame
    MaxWritePairs = 25,    ///< address-value pairs of one WN frame
    MaxRunDWords = 50,     ///< double words of one WG frame

    BufferSize = 420, ///< room for every frame that the line thread sends or receives

    ShortestReply = 13, ///< bytes of a reply without data: header, ETX, checksum, CR LF
    StationPosition = 1,
    EndCodePosition = 6,
    DataPosition = 8, ///< of a reply's first data word
    ByteDigits = 2,   ///< hexadecimal digits of a station number, an end code, a checksum
    DWordDigits = 8,  ///< hexadecimal digits of a data word or an address
    NoEndCode = 0xFF, ///< what counts as the end code when that field holds no number
    ChecksumTail = 4, ///< checksum and CR LF
    ReplyTail = 5     ///< ETX, checksum and CR LF
};
} // namespace Cpl

/// The packers write one request into the caller's buffer and return the frame's length in bytes,
/// from STX to LF; exactly these are to be sent. The buffer must have room for the frame and one
/// byte more: at most 418 bytes for RN and WN, 424 for WG. A short buffer is not reported.
///
/// A null pointer or a count out of range is an error of the caller and ends the program.
///
/// \param buffer      where the frame goes
/// \param size        bytes of room in the buffer
/// \param station     station number, 0 to 255
/// \param subAddress  sub-address, 0 for the controller itself

/// RN: reads the double words at a list of addresses.
/// \param addresses  in the order in which the reply will give the values
/// \param count      1 to 50
int CPLPackRNCmd(char *buffer, int size, uchar station, uchar subAddress, ulong *addresses,
                 uint count);

/// WG: writes a run of double words to consecutive addresses.
/// \param dwords  4 bytes a double word, least significant byte first
/// \param count   double words, 1 to 50
int CPLPackWGCmd(char *buffer, int size, uchar station, uchar subAddress, ulong firstAddress,
                 const uchar *dwords, uint count);

/// WN: writes a list of address-value pairs, in the order given.
/// \param count  1 to 25
int CPLPackWNCmd(char *buffer, int size, uchar station, uchar subAddress, AddrArg *addrArgs,
                 int count);

/// Whether the checksum of a received frame is right. Nothing else of the frame is looked at.
/// \param frame   the frame from its first byte to LF
/// \param length  bytes of the frame, checksum and CR LF included; below 4 nothing can be checked
///                and the answer is false
bool CPLValidateChecksum(const char *frame, int length);

/// The number that a field of a reply holds.
/// \param digits  hexadecimal digits of either case
/// \param count   1 to 8
/// \param value   gets the number; unchanged on failure
/// \return false: one of the characters is no digit
bool CPLParseHex(const char *digits, int count, quint32 &value);

#endif // CPL_DMC50_CPL_H
