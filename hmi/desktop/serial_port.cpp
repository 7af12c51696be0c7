#include "hmi/desktop/serial_port.h"

#include "hmi/desktop/serial_format.h"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

using boost::system::error_code;

namespace
{

error_code systemError(int number)
{
    return error_code(number, boost::system::system_category());
}

QString describe(const error_code &error)
{
    if (error == boost::asio::error::eof) {
        return "the device hung up";
    }
    switch (error.value()) {
    case ENOENT:
        return "there is no such device";
    case ENOTTY:
    case EISDIR:
        return "it is not a serial port";
    case EACCES:
        return "no permission to use it";
    case EWOULDBLOCK:
    case EBUSY:
        return "it is in use by another program";
    default:
        return QString::fromStdString(error.message());
    }
}

/// Whether a transfer is to be tried again when the port is ready.
bool isPassing(int error)
{
    return error == EAGAIN || error == EINTR;
}

SerialPort::Transfer failure(const error_code &error)
{
    SerialPort::Transfer result;
    result.status = SerialPort::Status::Failed;
    result.reason = describe(error);
    return result;
}

/// A pty passes bytes, not bits on a wire: it may keep 8 data bits and call any others an error.
bool isPty(int file)
{
    const unsigned int firstMajor = 136;
    const unsigned int lastMajor = 143;
    struct stat device;
    return ::fstat(file, &device) == 0 && S_ISCHR(device.st_mode) &&
           major(device.st_rdev) >= firstMajor && major(device.st_rdev) <= lastMajor;
}

/// The time as `poll` takes it, rounded up.
int wholeMilliseconds(std::chrono::nanoseconds time)
{
    const std::int64_t millisecond = 1000000;
    return static_cast<int>(std::min<std::int64_t>((time.count() + millisecond - 1) / millisecond,
                                                   std::numeric_limits<int>::max()));
}

} // namespace

SerialPort::SerialPort() : m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), m_interrupted(false) {}

SerialPort::~SerialPort()
{
    close();
    if (m_wake >= 0) {
        ::close(m_wake);
    }
}

QString SerialPort::open(const std::string &path, const SerialFormat &format)
{
    if (m_wake < 0) {
        return describe(systemError(EMFILE)); // nothing could interrupt a wait
    }
    QString trouble = makePort();
    if (!trouble.isEmpty()) {
        return trouble;
    }
    error_code error;
    m_port->open(path, error);
    if (error) {
        return describe(error);
    }
    QString reason = claim();
    if (reason.isEmpty()) {
        reason = configure(format);
    }
    if (!reason.isEmpty()) {
        close();
        return reason;
    }
    dropInput();
    return QString();
}

/// asio takes descriptors of its own for the first port, and throws when there are none.
QString SerialPort::makePort()
{
    try {
        if (!m_port) {
            m_port.reset(new boost::asio::serial_port(m_io));
        }
    } catch (const boost::system::system_error &thrown) {
        return describe(thrown.code());
    }
    return QString();
}

/// -1: there is none.
int SerialPort::descriptor() const
{
    return m_port ? m_port->native_handle() : -1;
}

/// Takes the port for this process and hides it from the programs that this process starts. The
/// lock goes with the process whatever ends it; the terminal's own exclusive mode would stay on a
/// pty whose other end lives on, and shut out the next start.
QString SerialPort::claim()
{
    if (::flock(descriptor(), LOCK_EX | LOCK_NB) != 0 ||
        ::fcntl(descriptor(), F_SETFD, FD_CLOEXEC) != 0) {
        return describe(systemError(errno));
    }
    return QString();
}

QString SerialPort::configure(const SerialFormat &format)
{
    typedef boost::asio::serial_port_base Base;
    error_code error;
    m_port->set_option(format.baudRate, error);
    if (error) {
        return QString("it refuses %1 baud").arg(format.baudRate.value());
    }
    m_port->set_option(Base::flow_control(Base::flow_control::none), error);
    const error_code framing = setFraming(format);
    if (framing && !isPty(descriptor())) {
        error = framing;
    }
    return error ? QString("it refuses its settings: %1").arg(describe(error)) : QString();
}

error_code SerialPort::setFraming(const SerialFormat &format)
{
    error_code error;
    m_port->set_option(format.dataBits, error);
    if (!error) {
        m_port->set_option(format.parity, error);
    }
    if (!error) {
        m_port->set_option(format.stopBits, error);
    }
    return error;
}

void SerialPort::close()
{
    if (m_port) {
        error_code ignored;
        m_port->close(ignored);
    }
}

bool SerialPort::isOpen() const
{
    return m_port && m_port->is_open();
}

// The transfers call the system themselves: asio takes several times as long over a short frame.

/// Waits until something is to be asked of the descriptor (`Done`), be it what ails it, until the
/// deadline or an interrupt. -1: there is nothing but these two to wait for.
SerialPort::Status SerialPort::waitFor(int file, short events, TimePoint deadline)
{
    while (!m_interrupted) {
        const std::chrono::nanoseconds left = deadline - std::chrono::steady_clock::now();
        if (left.count() <= 0) {
            return Status::TimedOut;
        }
        struct pollfd watched[] = {{file, events, 0}, {m_wake, POLLIN, 0}};
        if (::poll(watched, 2, wholeMilliseconds(left)) > 0 && !m_interrupted) {
            return Status::Done;
        }
    }
    return Status::Interrupted;
}

SerialPort::Transfer SerialPort::take(char *buffer, int size)
{
    Transfer result;
    if (m_interrupted) {
        result.status = Status::Interrupted;
        return result;
    }
    const ssize_t count = ::read(descriptor(), buffer, static_cast<size_t>(size));
    if (count > 0) {
        result.status = Status::Done;
        result.count = static_cast<int>(count);
    } else if (count == 0) {
        result = failure(boost::asio::error::eof);
    } else if (!isPassing(errno)) {
        result = failure(systemError(errno));
    }
    return result;
}

// The wait comes first: the reply to a request is never there at once.
SerialPort::Transfer SerialPort::read(char *buffer, int size, TimePoint deadline)
{
    Transfer result;
    bool inTime = true;
    do {
        inTime = waitFor(descriptor(), POLLIN, deadline) == Status::Done;
        result = take(buffer, size);
    } while (inTime && result.status == Status::TimedOut);
    return result;
}

SerialPort::Transfer SerialPort::write(const char *data, int size,
                                       std::chrono::milliseconds patience)
{
    Transfer result;
    TimePoint deadline;
    result.status = m_interrupted ? Status::Interrupted : Status::Done;
    int sent = 0;
    while (sent < size && result.status == Status::Done) {
        const ssize_t count = ::write(descriptor(), data + sent, static_cast<size_t>(size - sent));
        if (count > 0) {
            sent += static_cast<int>(count);
        } else if (count == 0 || isPassing(errno)) {
            if (deadline == TimePoint()) {
                deadline = std::chrono::steady_clock::now() + patience;
            }
            result.status = waitFor(descriptor(), POLLOUT, deadline);
        } else {
            result = failure(systemError(errno));
        }
    }
    if (result.status != Status::Done) {
        ::tcflush(descriptor(), TCOFLUSH);
    }
    result.count = sent;
    return result;
}

void SerialPort::dropInput()
{
    ::tcflush(descriptor(), TCIFLUSH);
}

void SerialPort::waitUntil(TimePoint time)
{
    waitFor(-1, 0, time);
}

void SerialPort::interrupt()
{
    m_interrupted = true;
    ::eventfd_write(m_wake, 1);
}

void SerialPort::resume()
{
    m_interrupted = false;
    eventfd_t ignored = 0;
    ::eventfd_read(m_wake, &ignored);
}
