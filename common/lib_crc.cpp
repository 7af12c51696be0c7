#include "common/lib_crc.h"

namespace
{

const quint16 CcittPolynomial = 0x1021;
const quint16 Crc16Polynomial = 0xA001;
const quint16 KermitPolynomial = 0x8408;
const quint16 DnpPolynomial = 0xA6BC;
const quint32 Crc32Polynomial = 0xEDB88320;
const quint16 SickPolynomial = 0x8005;

const quint16 TopBit = 0x8000;

template <typename Word>
struct CrcTable {
    Word entries[256];
};

quint16 shiftLeft(quint16 crc, quint16 polynomial)
{
    const int shifted = crc << 1;
    return static_cast<quint16>((crc & TopBit) != 0 ? shifted ^ polynomial : shifted);
}

template <typename Word>
Word shiftRight(Word crc, Word polynomial)
{
    const Word shifted = static_cast<Word>(crc >> 1);
    return (crc & 1u) != 0 ? static_cast<Word>(shifted ^ polynomial) : shifted;
}

CrcTable<quint16> leftTable(quint16 polynomial)
{
    CrcTable<quint16> table;
    for (unsigned int i = 0; i < 256; ++i) {
        quint16 crc = static_cast<quint16>(i << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc = shiftLeft(crc, polynomial);
        table.entries[i] = crc;
    }
    return table;
}

template <typename Word>
CrcTable<Word> reflectedTable(Word polynomial)
{
    CrcTable<Word> table;
    for (unsigned int i = 0; i < 256; ++i) {
        Word crc = static_cast<Word>(i);
        for (int bit = 0; bit < 8; ++bit)
            crc = shiftRight(crc, polynomial);
        table.entries[i] = crc;
    }
    return table;
}

template <typename Word>
Word reflectedStep(const CrcTable<Word> &table, Word crc, unsigned char c)
{
    return static_cast<Word>((crc >> 8) ^ table.entries[(crc ^ c) & 0xFFu]);
}

} // namespace

// Each table is its function's own static: the compiler builds it on the first call, and keeps the
// flag that says so, in a way that two threads calling first at once cannot disturb.

quint16 update_crc_ccitt(quint16 crc, unsigned char c)
{
    static const CrcTable<quint16> crc_tabccitt = leftTable(CcittPolynomial);
    return static_cast<quint16>((crc << 8) ^ crc_tabccitt.entries[((crc >> 8) ^ c) & 0xFF]);
}

quint16 update_crc_16(quint16 crc, unsigned char c)
{
    static const CrcTable<quint16> crc_tab16 = reflectedTable(Crc16Polynomial);
    return reflectedStep(crc_tab16, crc, c);
}

quint16 update_crc_kermit(quint16 crc, unsigned char c)
{
    static const CrcTable<quint16> crc_tabkermit = reflectedTable(KermitPolynomial);
    return reflectedStep(crc_tabkermit, crc, c);
}

quint16 update_crc_dnp(quint16 crc, unsigned char c)
{
    static const CrcTable<quint16> crc_tabdnp = reflectedTable(DnpPolynomial);
    return reflectedStep(crc_tabdnp, crc, c);
}

quint32 update_crc_32(quint32 crc, unsigned char c)
{
    static const CrcTable<quint32> crc_tab32 = reflectedTable(Crc32Polynomial);
    return reflectedStep(crc_tab32, crc, c);
}

quint16 update_crc_sick(quint16 crc, unsigned char c, unsigned char previous)
{
    const int pair = (previous << 8) | c;
    return static_cast<quint16>(shiftLeft(crc, SickPolynomial) ^ pair);
}
