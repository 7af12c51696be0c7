// A "/dev/spidev1.0" with a chip behind it that this process can open.

#ifndef TESTS_SUPPORT_SPIDEV_BED_H
#define TESTS_SUPPORT_SPIDEV_BED_H

#include "tests/support/fm25v02.h"

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

/// While it lives, this process sees no device nodes but those of the bed. One at a time. A program
/// that uses it links the library that redirects it, `fram_test_support`.
///
/// What the chip would be sent passes through here: each message is recorded, and may be made to
/// fail. All operations may be called from any thread.
class SpidevBed
{
public:
    enum Device { Present, Absent };

    /// What becomes of one SPI message.
    struct Fault {
        int arriving;    ///< bytes that the chip still gets
        long result;     ///< what the ioctl gives: -1, or a number of bytes
        int errorNumber; ///< what goes with -1
    };

    static const int Whole = 1 << 20; ///< for `arriving`: the message gets there, the answer fails

    explicit SpidevBed(Device device = Present);
    ~SpidevBed();

    SpidevBed(const SpidevBed &) = delete;
    SpidevBed &operator=(const SpidevBed &) = delete;

    // ---- Faults --------------------------------------------------------------------------------

    /// Lets the message after the next `skipped` ones fail with EIO.
    void failMessage(int skipped, int arriving = 0);
    /// Has the message after the next `skipped` ones meet a fault.
    void setFault(int skipped, const Fault &fault);
    /// Lets every message fail that `decide` picks; it gets the bytes sent. Null for none.
    void failWhere(const std::function<bool(const QByteArray &sent)> &decide);
    void clearFaults();

    /// Lets a set-up ioctl, such as SPI_IOC_RD_MODE, fail.
    void refuse(unsigned long request);

    /// Called before each message, in the bed's own thread, with the bytes sent.
    void onMessage(const std::function<void(const QByteArray &sent)> &hook);

    // ---- What the device answers, and what it was told -----------------------------------------

    void setMode(uint8_t mode);
    void setBitsPerWord(uint8_t bits);
    void setMaxSpeed(uint32_t hertz);
    /// The modes that were written, in order.
    std::vector<int> writtenModes() const;
    /// The set-up ioctls, by number, in order.
    std::vector<unsigned long> setUpRequests() const;

    /// The messages since the bed began or `forgetFrames`, oldest first, as in "06" and
    /// "03 00 04 > 01 00": what was sent and, after the ">", what was received.
    std::vector<std::string> frames() const;
    void forgetFrames();

    /// Speeds and word lengths of the transfers.
    std::set<uint32_t> speeds() const;
    std::set<int> wordLengths() const;

    /// This process's descriptors of the device.
    std::vector<int> openDescriptors() const;

    /// Uses the chip itself, between two messages.
    void withChip(const std::function<void(Fm25v02 &chip)> &use);
    uint16_t chipWord(int address);

private:
    struct Redirection;
    friend struct Redirection;

    struct Answer {
        long result;
        int errorNumber;
    };
    /// One transfer of a message, as the program wrote it down.
    struct Transfer {
        QByteArray sent; ///< empty for a transfer that only receives
        QByteArray received;
        int length;
        uint32_t speed;
        int bits;
    };

    Answer setUp(unsigned long request, QByteArray *argument);
    Answer message(std::vector<Transfer> *transfers);
    bool takeFault(const QByteArray &sent, Fault *fault);
    void record(const std::vector<Transfer> &transfers);

    mutable std::mutex m_mutex; // guards all below but m_redirection
    Fm25v02 m_chip;
    std::map<int, Fault> m_faults; ///< by the messages still to come before
    std::function<bool(const QByteArray &)> m_decide;
    std::function<void(const QByteArray &)> m_hook;
    std::set<unsigned long> m_refused;
    uint8_t m_mode;
    uint8_t m_bits;
    uint32_t m_max_speed;
    std::vector<int> m_written_modes;
    std::vector<unsigned long> m_requests;
    std::vector<std::string> m_frames;
    std::set<uint32_t> m_speeds;
    std::set<int> m_word_lengths;

    Redirection *m_redirection;
};

#endif // TESTS_SUPPORT_SPIDEV_BED_H
