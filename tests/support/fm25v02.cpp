#include "tests/support/fm25v02.h"

#include "tests/support/bytes.h"

#include <algorithm>

namespace
{

const int HeaderLength = 3;
const int AddressMask = Fm25v02::Size - 1;

// The status register.
const uint8_t LatchBit = 0x02;
const uint8_t ProtectMask = 0x0C;
const int ProtectShift = 2;
const uint8_t WritableBits = 0x8C;

uint8_t at(const QByteArray &frame, int index)
{
    return static_cast<uint8_t>(frame.at(index));
}

int addressIn(const QByteArray &frame)
{
    return ((at(frame, 1) << 8) | at(frame, 2)) & AddressMask;
}

QByteArray identification()
{
    return bytes("7F 7F 7F 7F 7F 7F C2 22 00");
}

} // namespace

const int Fm25v02::Size;

uint16_t Fm25v02::wordAt(int address) const
{
    return static_cast<uint16_t>(byteAt(address) | (byteAt(address + 1) << 8));
}

void Fm25v02::setWordAt(int address, uint16_t value)
{
    setByteAt(address, static_cast<uint8_t>(value & 0xFF));
    setByteAt(address + 1, static_cast<uint8_t>(value >> 8));
}

QByteArray Fm25v02::exchange(const QByteArray &frame)
{
    QByteArray reply(frame.size(), '\xFF');
    if (frame.isEmpty()) {
        return reply;
    }
    if (m_asleep) {
        m_asleep = false; // the frame that wakes the chip is not understood
        return reply;
    }
    switch (at(frame, 0)) {
    case 0x01:
        writeStatus(frame);
        break;
    case 0x02:
        write(frame);
        break;
    case 0x03:
        read(frame, &reply);
        break;
    case 0x04:
        m_latch = false;
        break;
    case 0x05:
        readStatus(&reply);
        break;
    case 0x06:
        m_latch = true;
        break;
    case 0x9F:
        reply = reply.left(1) + identification().leftJustified(frame.size() - 1, '\xFF', true);
        break;
    case 0xB9:
        m_asleep = true;
        break;
    default:
        break;
    }
    return reply;
}

void Fm25v02::read(const QByteArray &frame, QByteArray *reply) const
{
    for (int i = HeaderLength; i < frame.size(); ++i) {
        const int address = (addressIn(frame) + i - HeaderLength) & AddressMask;
        (*reply)[i] = static_cast<char>(byteAt(address));
    }
}

void Fm25v02::write(const QByteArray &frame)
{
    for (int i = HeaderLength; m_latch && i < frame.size(); ++i) {
        const int address = (addressIn(frame) + i - HeaderLength) & AddressMask;
        if (!isProtected(address)) {
            setByteAt(address, at(frame, i));
        }
    }
    m_latch = false;
}

void Fm25v02::readStatus(QByteArray *reply) const
{
    const uint8_t latch = m_latch ? LatchBit : uint8_t(0);
    std::fill(reply->begin() + 1, reply->end(), static_cast<char>(m_status | latch));
}

void Fm25v02::writeStatus(const QByteArray &frame)
{
    if (m_latch && frame.size() > 1) {
        m_status = at(frame, 1) & WritableBits;
    }
    m_latch = false;
}

/// Whether the status register protects an address: none, the upper quarter, the upper half, all.
bool Fm25v02::isProtected(int address) const
{
    static const int firsts[] = {Size, Size / 4 * 3, Size / 2, 0};
    return address >= firsts[(m_status & ProtectMask) >> ProtectShift];
}
