#include "hmi/desktop/serial_port.h"

#include "hmi/desktop/serial_format.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>

using boost::system::error_code;

namespace
{

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

/// A pty passes bytes, not bits on a wire: it may keep 8 data bits and call any others an error.
bool isPty(int descriptor)
{
    const unsigned int firstMajor = 136;
    const unsigned int lastMajor = 143;
    struct stat device;
    return ::fstat(descriptor, &device) == 0 && S_ISCHR(device.st_mode) &&
           major(device.st_rdev) >= firstMajor && major(device.st_rdev) <= lastMajor;
}

} // namespace

SerialPort::SerialPort() : m_port(m_io), m_interrupted(false) {}

SerialPort::~SerialPort()
{
    close();
}

QString SerialPort::open(const std::string &path, const SerialFormat &format)
{
    error_code error;
    m_port.open(path, error);
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

/// Takes the port for this process and hides it from the programs that this process starts. The
/// lock goes with the process whatever ends it; the terminal's own exclusive mode would stay on a
/// pty whose other end lives on, and shut out the next start.
QString SerialPort::claim()
{
    const int descriptor = m_port.native_handle();
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 ||
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0) {
        return describe(error_code(errno, boost::system::system_category()));
    }
    return QString();
}

QString SerialPort::configure(const SerialFormat &format)
{
    typedef boost::asio::serial_port_base Base;
    error_code error;
    m_port.set_option(format.baudRate, error);
    if (error) {
        return QString("it refuses %1 baud").arg(format.baudRate.value());
    }
    m_port.set_option(Base::flow_control(Base::flow_control::none), error);
    const error_code framing = setFraming(format);
    if (framing && !isPty(m_port.native_handle())) {
        error = framing;
    }
    return error ? QString("it refuses its settings: %1").arg(describe(error)) : QString();
}

error_code SerialPort::setFraming(const SerialFormat &format)
{
    error_code error;
    m_port.set_option(format.dataBits, error);
    if (!error) {
        m_port.set_option(format.parity, error);
    }
    if (!error) {
        m_port.set_option(format.stopBits, error);
    }
    return error;
}

void SerialPort::close()
{
    error_code ignored;
    m_port.close(ignored);
}

bool SerialPort::isOpen() const
{
    return m_port.is_open();
}

/// Starts one operation of the port and sees it through: what it wrote to the caller's memory is
/// complete, and nothing of it is under way, when this returns.
SerialPort::Transfer SerialPort::perform(const Operation &start, TimePoint deadline)
{
    // From here on an interrupt stops the wait below; one that came before shows in the flag.
    m_io.restart();
    Transfer result;
    if (m_interrupted) {
        result.status = Status::Interrupted;
        return result;
    }
    bool ended = false;
    start([&](const error_code &error, size_t count) {
        ended = true;
        result = outcome(error, count);
    });
    m_io.run_until(deadline);
    if (!ended) {
        error_code ignored;
        m_port.cancel(ignored);
    }
    while (!ended) {
        m_io.restart();
        m_io.run();
    }
    return result;
}

SerialPort::Transfer SerialPort::outcome(const error_code &error, size_t count) const
{
    Transfer result;
    result.count = static_cast<int>(count);
    if (!error) {
        result.status = Status::Done;
    } else if (error == boost::asio::error::operation_aborted) {
        result.status = m_interrupted ? Status::Interrupted : Status::TimedOut;
    } else {
        result.status = Status::Failed;
        result.reason = describe(error);
    }
    return result;
}

SerialPort::Transfer SerialPort::read(char *buffer, int size, TimePoint deadline)
{
    const auto room = boost::asio::buffer(buffer, static_cast<size_t>(size));
    return perform([&](const Handler &handler) { m_port.async_read_some(room, handler); },
                   deadline);
}

SerialPort::Transfer SerialPort::write(const char *data, int size, TimePoint deadline)
{
    Transfer result;
    result.status = Status::Done;
    int sent = 0;
    while (sent < size && result.status == Status::Done) {
        const auto rest = boost::asio::buffer(data + sent, static_cast<size_t>(size - sent));
        result = perform([&](const Handler &handler) { m_port.async_write_some(rest, handler); },
                         deadline);
        sent += result.count;
    }
    if (result.status != Status::Done) {
        ::tcflush(m_port.native_handle(), TCOFLUSH);
    }
    result.count = sent;
    return result;
}

void SerialPort::dropInput()
{
    ::tcflush(m_port.native_handle(), TCIFLUSH);
}

void SerialPort::waitUntil(TimePoint time)
{
    m_io.restart();
    if (m_interrupted) {
        return;
    }
    const auto nothingToDo = boost::asio::make_work_guard(m_io);
    m_io.run_until(time);
}

void SerialPort::interrupt()
{
    m_interrupted = true;
    m_io.stop();
}

void SerialPort::resume()
{
    m_interrupted = false;
}
