// The terminal's ferroelectric memory, an FM25V02 on the SPI bus.

#ifndef COMMON_SPIFRAM_H
#define COMMON_SPIFRAM_H

#include <mutex>

#include <QByteArray>
#include <QtGlobal>

/// Drives the chip through "/dev/spidev1.0". One object per process.
///
/// The chip holds 32768 bytes. Of an address its lowest 15 bits count, and a transfer that reaches
/// the chip's end goes on at address 0. How long a single one may be is up to the SPI driver: as
/// delivered, 4096 bytes with opcode and address.
///
/// Without the device everything can be called: each access fails and says so in the debug output.
///
/// Threads: `instance`, `read` and `write` may be called from any thread. The chip commands take no
/// lock, and nobody else may use the chip while one runs.
class SpiFram
{
public:
    /// The process's only object. The first call opens the device; never null.
    static SpiFram *instance();

    /// Closes the device. The object may be deleted when nobody uses it any more; the next
    /// `instance` opens the device anew. At the end of the process that may be left undone.
    ~SpiFram();

    SpiFram(const SpiFram &) = delete;
    SpiFram &operator=(const SpiFram &) = delete;

    /// Reads from the chip.
    /// \param data    gets the bytes; on a failure what it holds is undefined
    /// \param length  1 to 32768
    /// \return false: the transfer failed
    bool read(unsigned int address, char *data, unsigned int length);

    /// Writes to the chip, at once and for good: the chip has no erase and no wait.
    /// \param data    not changed
    /// \param length  1 to 32768
    /// \return false: a transfer failed, and each byte at these addresses may be the old or the new
    ///         one. All others are as they were.
    bool write(unsigned int address, char *data, unsigned int length);

    // ---- Chip commands, one frame each unless said otherwise; see the class for threads

    /// What `read` does, without the lock.
    bool FM25V02_READ(unsigned int address, char *data, unsigned int length);

    /// What `write` does, without the lock: write enable, the data, write disable.
    bool FM25V02_WRITE(unsigned int address, char *data, unsigned int length);

    /// Sets and resets the latch without which the chip ignores a write. False: the transfer
    /// failed.
    bool FM25V02_WREN();
    bool FM25V02_WRDI();

    /// The status register, 0 to 255; -1 when the transfer failed.
    int FM25V02_RDSR();

    /// Writes the status register; a write enable goes out before.
    /// \param status  bits 2 and 3 protect blocks of the memory, bit 7 the register itself
    /// \return false: a transfer failed
    bool FM25V02_WRSR(char status);

    /// The chip's nine identification bytes; empty when the transfer failed.
    QByteArray FM25V02_RDID();

    /// Puts the chip to sleep; the next frame wakes it, but reads nothing sensible for 400 us.
    /// False: the transfer failed.
    bool FM25V02_PWDN();

    /// Closes the device; every later access fails.
    void FM25V02_Exit();

    /// Sends one byte as a frame. False: the transfer failed.
    bool MSPISendData(char byte);

private:
    SpiFram();

    void setUp();
    bool send(const char *bytes, unsigned int length);
    bool ask(const char *request, unsigned int requestLength, char *reply,
             unsigned int replyLength);

    int m_fd;        ///< the open device; -1 without one
    quint8 m_mode;   ///< clock polarity and phase, as the SPI driver has them
    quint8 m_bits;   ///< bits per word
    quint32 m_speed; ///< clock in hertz

    std::mutex m_mutex; ///< serialises `read` and `write`, all of their frames included
};

/// The object of `SpiFram::instance()`, for threads that called it or were started later; null
/// before the first call.
extern SpiFram *g_pSpiFram;

#endif // COMMON_SPIFRAM_H
