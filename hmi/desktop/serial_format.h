// How a serial port frames its characters, taken from a link's settings.

#ifndef HMI_DESKTOP_SERIAL_FORMAT_H
#define HMI_DESKTOP_SERIAL_FORMAT_H

#include <boost/asio/serial_port_base.hpp>

class DeviceSetting;
class QString;

/// The desktop's codes of `DeviceSetting::parity`. The driver's default, even parity, is 2.
enum DesktopParityCode { NoParityCode = 0, OddParityCode = 1, EvenParityCode = 2 };

/// The desktop's codes of `DeviceSetting::stopbits`. The driver's default, one stop bit, is 0;
/// one and a half, which no port here can do, would be 1.
enum DesktopStopBitsCode { OneStopBitCode = 0, TwoStopBitsCode = 2 };

/// What is asked of a port. A pty accepts all of it and keeps next to none, so what was asked is
/// not read back.
struct SerialFormat {
    /// 38400 baud, 8 data bits, even parity, 1 stop bit: the controllers' own.
    SerialFormat();

    boost::asio::serial_port_base::baud_rate baudRate;
    boost::asio::serial_port_base::character_size dataBits;
    boost::asio::serial_port_base::parity parity;
    boost::asio::serial_port_base::stop_bits stopBits;
};

/// Translates a link's settings.
/// \param format  receives the result; unchanged on failure
/// \param error   receives the reason of a failure, for the user; may be null
/// \return false: a baud rate below 1, data bits other than 5 to 8, or an unknown code. Whether a
///         port can do the baud rate shows only when it is opened.
bool toSerialFormat(const DeviceSetting &setting, SerialFormat *format, QString *error);

#endif // HMI_DESKTOP_SERIAL_FORMAT_H
