#include "cpl/dmc50_cpl.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include <QtEndian>

#include "common/qtcompat.h"
#include "common/tools.h"

namespace
{

const char Stx = 0x02;
const char Etx = 0x03;

/// The line's digits both ways, looked up: the driver spends most of its own time on them.
struct HexTables {
    enum { Places = 4, NoDigit = 1 << (4 * Places) };

    HexTables()
    {
        const char digits[] = "0123456789ABCDEF";
        for (int place = 0; place < Places; ++place) {
            std::fill(values[place], values[place] + 256, quint32(NoDigit));
            for (quint32 value = 0; value < 16; ++value) {
                values[place][uchar(digits[value])] = value << (4 * place);
                values[place][uchar(tolower(digits[value]))] = value << (4 * place);
            }
        }
        for (int byte = 0; byte < 256; ++byte) {
            texts[byte][0] = digits[byte / 16];
            texts[byte][1] = digits[byte % 16];
        }
    }

    quint32 values[Places][256];      ///< of a character as a digit, by its place from the right
    char texts[256][Cpl::ByteDigits]; ///< of a byte, in upper case
};

const HexTables Hex;

/// Appends the pieces of one frame to the caller's buffer. Without printf, which takes longer for
/// 50 addresses than all the rest of an exchange.
class FrameWriter
{
public:
    FrameWriter(char *buffer, int size) : m_buffer(buffer), m_size(size), m_length(0) {}

    /// Begins with STX, station, sub-address, X and the command's letters.
    void begin(uchar station, uchar subAddress, const char *command)
    {
        append<1>(&Stx);
        byte(station);
        byte(subAddress);
        append<1>("X");
        for (; *command != '\0'; ++command)
            append<1>(command);
    }

    void byte(uchar value) { append<Cpl::ByteDigits>(Hex.texts[value]); }

    void dword(quint32 value)
    {
        if (m_size - m_length < Cpl::DWordDigits) {
            for (int shift = 24; shift >= 0; shift -= 8)
                byte(static_cast<uchar>(value >> shift));
            return;
        }
        char *digits = m_buffer + m_length;
        for (int shift = 24; shift >= 0; shift -= 8, digits += Cpl::ByteDigits)
            memcpy(digits, Hex.texts[(value >> shift) & 0xFF], Cpl::ByteDigits);
        m_length += Cpl::DWordDigits;
    }

    /// Adds ETX, checksum and line end, and a zero behind them; returns the length of the frame.
    int finish()
    {
        m_buffer[m_length++] = Etx;
        const uchar sum = UInt8CheckSum(reinterpret_cast<const uchar *>(m_buffer), m_length);
        byte(static_cast<uchar>(0x100U - sum));
        append<3>("\r\n");
        return m_length - 1;
    }

private:
    template <int Count>
    void append(const char *characters)
    {
        const int room = m_size - m_length;
        if (room >= Count)
            memcpy(m_buffer + m_length, characters, Count);
        else if (room > 0)
            memcpy(m_buffer + m_length, characters, static_cast<size_t>(room));
        m_length += Count;
    }

    char *m_buffer;
    int m_size;
    int m_length;
};

/// The number of up to four digits; with a bit beyond theirs when one is no digit.
inline quint32 parseWord(const char *digits, int count)
{
    quint32 parsed = 0;
    for (int i = 0; i < count; ++i)
        parsed |= Hex.values[count - 1 - i][static_cast<uchar>(digits[i])];
    return parsed;
}

} // namespace

// The conditions of the assertions are what the engineer reads when a caller is wrong, hence the
// local names.

int CPLPackRNCmd(char *buffer, int size, uchar station, uchar subAddress, ulong *addresses,
                 uint count)
{
    const uint num_of_addresses = count;
    assert(addresses != 0);
    assert(num_of_addresses > 0 && num_of_addresses <= 50);

    FrameWriter frame(buffer, size);
    frame.begin(station, subAddress, "RN00LL");
    for (uint i = 0; i < num_of_addresses; ++i)
        frame.dword(static_cast<quint32>(addresses[i]));
    return frame.finish();
}

int CPLPackWGCmd(char *buffer, int size, uchar station, uchar subAddress, ulong firstAddress,
                 const uchar *dwords, uint count)
{
    const uint num_of_dwords = count;
    assert(dwords != 0);
    assert(num_of_dwords > 0 && num_of_dwords <= 50);

    FrameWriter frame(buffer, size);
    frame.begin(station, subAddress, "WGLL");
    frame.dword(static_cast<quint32>(firstAddress));
    for (const uchar *dword = dwords; dword != dwords + 4 * num_of_dwords; dword += 4)
        frame.dword(qFromLittleEndian<quint32>(dword));
    return frame.finish();
}

int CPLPackWNCmd(char *buffer, int size, uchar station, uchar subAddress, AddrArg *addrArgs,
                 int count)
{
    const AddrArg *const addr_args = addrArgs;
    const int num_of_addr_args = count;
    assert(addr_args != 0);
    assert(num_of_addr_args > 0 && num_of_addr_args <= 25);

    FrameWriter frame(buffer, size);
    frame.begin(station, subAddress, "WN00LL");
    for (int i = 0; i < num_of_addr_args; ++i) {
        frame.dword(addr_args[i].address);
        frame.dword(addr_args[i].value);
    }
    return frame.finish();
}

bool CPLParseHex(const char *digits, int count, quint32 &value)
{
    quint32 high = 0;
    quint32 low = 0;
    if (count == Cpl::DWordDigits) { // constants to the compiler, which then does without loops
        high = parseWord(digits, HexTables::Places);
        low = parseWord(digits + HexTables::Places, HexTables::Places);
    } else {
        const int ahead = std::max<int>(count - HexTables::Places, 0);
        high = parseWord(digits, ahead);
        low = parseWord(digits + ahead, count - ahead);
    }
    if (((high | low) & HexTables::NoDigit) != 0)
        return false;
    value = (high << (4 * HexTables::Places)) | low;
    return true;
}

bool CPLValidateChecksum(const char *frame, int length)
{
    if (length < Cpl::ChecksumTail)
        return false;
    const int summed = length - Cpl::ChecksumTail;
    const uint sum = UInt8CheckSum(reinterpret_cast<const uchar *>(frame), summed);
    return ((sum + HexToUInt(frame + summed, Cpl::ByteDigits)) & 0xFFU) == 0;
}
