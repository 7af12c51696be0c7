// A serial port with transfers that end in time.

#ifndef HMI_DESKTOP_SERIAL_PORT_H
#define HMI_DESKTOP_SERIAL_PORT_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/serial_port.hpp>

#include <QString>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

struct SerialFormat;

/// One serial device. Knows nothing of frames, requests or of trying again.
///
/// Threads: one thread at a time, whichever it is; only `interrupt` may be called by another one
/// meanwhile.
class SerialPort
{
public:
    typedef std::chrono::steady_clock::time_point TimePoint;

    /// How a transfer ended.
    enum class Status {
        Done,        ///< bytes were moved
        TimedOut,    ///< the time was up first
        Interrupted, ///< `interrupt` was called
        Failed       ///< the port failed or hung up; `reason` says how
    };

    struct Transfer {
        Status status = Status::TimedOut;
        int count = 0; ///< bytes moved, also when the transfer did not end well
        QString reason;
    };

    SerialPort();
    ~SerialPort();

    SerialPort(const SerialPort &) = delete;
    SerialPort &operator=(const SerialPort &) = delete;

    /// Opens a closed port for this process alone, in raw mode, and drops what it holds.
    /// \return empty, or why it cannot be opened, for the user
    QString open(const std::string &path, const SerialFormat &format);

    /// Closes the port; nothing when it is closed.
    void close();

    bool isOpen() const;

    /// Takes the bytes that are there, at most `size` (above 0). Waits for none: then `TimedOut`.
    Transfer take(char *buffer, int size);

    /// The same, but waits for the first byte until the deadline.
    Transfer read(char *buffer, int size, TimePoint deadline);

    /// Hands over all bytes, waiting for room no longer than `patience` in all. `Done`: all of
    /// them. Otherwise those that the port still held back are dropped, lest they precede the next
    /// frame.
    Transfer write(const char *data, int size, std::chrono::milliseconds patience);

    /// Drops what was received and not read.
    void dropInput();

    /// Waits until `time` or until `interrupt`. The port may be closed.
    void waitUntil(TimePoint time);

    /// Ends the transfer or wait that runs, and from now on each one at its start.
    void interrupt();

    /// Takes `interrupt` back.
    void resume();

private:
    QString makePort();
    int descriptor() const;
    Status waitFor(int file, short events, TimePoint deadline);
    QString claim();
    QString configure(const SerialFormat &format);
    boost::system::error_code setFraming(const SerialFormat &format);

    boost::asio::io_context m_io;
    std::unique_ptr<boost::asio::serial_port> m_port; ///< null until the first `open`
    int m_wake; ///< an eventfd that is readable from `interrupt` to `resume`; -1: there is none
    std::atomic<bool> m_interrupted;
};

#endif // HMI_DESKTOP_SERIAL_PORT_H
