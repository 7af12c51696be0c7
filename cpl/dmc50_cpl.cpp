#include "cpl/dmc50_cpl.h"

#include <cstdarg>
#include <cstdio>

#include "common/qtcompat.h"
#include "common/tools.h"

namespace
{

const char Stx = 0x02;
const char Etx = 0x03;

/// Appends the pieces of one frame to the caller's buffer.
class FrameWriter
{
public:
    FrameWriter(char *buffer, int size) : m_buffer(buffer), m_size(size), m_length(0) {}

    __attribute__((format(printf, 2, 3))) void append(const char *format, ...)
    {
        const int room = m_size > m_length ? m_size - m_length : 0;
        va_list arguments;
        va_start(arguments, format);
        m_length += vsnprintf(m_buffer + m_length, static_cast<size_t>(room), format, arguments);
        va_end(arguments);
    }

    /// Adds ETX, checksum and line end; returns the length of the whole frame.
    int finish()
    {
        m_buffer[m_length++] = Etx;
        const uchar sum = UInt8CheckSum(reinterpret_cast<const uchar *>(m_buffer), m_length);
        append("%02X\r\n", (0x100U - sum) & 0xFFU);
        return m_length;
    }

private:
    char *m_buffer;
    int m_size;
    int m_length;
};

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
    frame.append("%c%02X%02XXRN00LL", Stx, station, subAddress);
    for (uint i = 0; i < num_of_addresses; ++i)
        frame.append("%08X", static_cast<quint32>(addresses[i]));
    return frame.finish();
}

int CPLPackWGCmd(char *buffer, int size, uchar station, uchar subAddress, ulong firstAddress,
                 const uchar *dwords, uint count)
{
    const uint num_of_dwords = count;
    assert(dwords != 0);
    assert(num_of_dwords > 0 && num_of_dwords <= 50);

    FrameWriter frame(buffer, size);
    frame.append("%c%02X%02XXWGLL%08X", Stx, station, subAddress,
                 static_cast<quint32>(firstAddress));
    for (const uchar *dword = dwords; dword != dwords + 4 * num_of_dwords; dword += 4)
        frame.append("%02X%02X%02X%02X", dword[3], dword[2], dword[1], dword[0]);
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
    frame.append("%c%02X%02XXWN00LL", Stx, station, subAddress);
    for (int i = 0; i < num_of_addr_args; ++i)
        frame.append("%08X%08X", addr_args[i].address, addr_args[i].value);
    return frame.finish();
}

bool CPLValidateChecksum(const char *frame, int length)
{
    if (length < Cpl::ChecksumTail)
        return false;
    const int summed = length - Cpl::ChecksumTail;
    const uint sum = UInt8CheckSum(reinterpret_cast<const uchar *>(frame), summed);
    return ((sum + HexToUInt(frame + summed, Cpl::ByteDigits)) & 0xFFU) == 0;
}
