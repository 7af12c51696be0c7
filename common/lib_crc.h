// CRC update functions, one byte at a time.
//
// Each takes the running CRC and the next byte and returns the new CRC. The start value and a final
// inversion are the caller's: they differ between protocols that share a polynomial. All functions
// are re-entrant and may be called from any thread.

#ifndef COMMON_LIB_CRC_H
#define COMMON_LIB_CRC_H

#include <QtGlobal>

/// Polynomial 0x1021, most significant bit first.
quint16 update_crc_ccitt(quint16 crc, unsigned char c);

/// Polynomial 0x8005, least significant bit first (0xA001).
quint16 update_crc_16(quint16 crc, unsigned char c);

/// Polynomial 0x1021, least significant bit first (0x8408).
quint16 update_crc_kermit(quint16 crc, unsigned char c);

/// Polynomial 0x3D65, least significant bit first (0xA6BC).
quint16 update_crc_dnp(quint16 crc, unsigned char c);

/// Polynomial 0x04C11DB7, least significant bit first (0xEDB88320).
quint32 update_crc_32(quint32 crc, unsigned char c);

/// Polynomial 0x8005 over whole bytes, most significant bit first.
/// \param previous  the byte before `c`; 0 for the first byte
quint16 update_crc_sick(quint16 crc, unsigned char c, unsigned char previous);

#endif // COMMON_LIB_CRC_H
