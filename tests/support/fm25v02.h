// An FM25V02 as its data sheet describes it, for tests of what drives one.

#ifndef TESTS_SUPPORT_FM25V02_H
#define TESTS_SUPPORT_FM25V02_H

#include <QByteArray>

#include <array>
#include <cstdint>

/// The chip, frame by frame: a frame is what goes over the bus while the chip is selected. Its
/// opcodes stand here once more, so that a mistake in the driver's cannot hide.
class Fm25v02
{
public:
    static const int Size = 32768;

    Fm25v02() : m_memory(), m_latch(false), m_asleep(false), m_status(0) {}

    /// Clocks a frame through the chip.
    /// \return what the chip sends meanwhile, byte for byte; FF where it drives nothing
    QByteArray exchange(const QByteArray &frame);

    // What is inside, without a frame. Addresses are 0 to 32767.
    uint8_t byteAt(int address) const { return m_memory[static_cast<size_t>(address)]; }
    void setByteAt(int address, uint8_t value) { m_memory[static_cast<size_t>(address)] = value; }
    uint16_t wordAt(int address) const;
    void setWordAt(int address, uint16_t value);

    bool latch() const { return m_latch; }
    bool isAsleep() const { return m_asleep; }

private:
    void read(const QByteArray &frame, QByteArray *reply) const;
    void write(const QByteArray &frame);
    void readStatus(QByteArray *reply) const;
    void writeStatus(const QByteArray &frame);
    bool isProtected(int address) const;

    std::array<uint8_t, Size> m_memory;
    bool m_latch;
    bool m_asleep;
    uint8_t m_status; ///< without the latch's bit
};

#endif // TESTS_SUPPORT_FM25V02_H
