#include "hmi/desktop/serial_format.h"

#include "driver/drv_dev_setting.h"

#include <QString>

namespace
{

typedef boost::asio::serial_port_base Base;

const int LeastDataBits = 5;
const int MostDataBits = 8;

bool fail(QString *error, const QString &reason)
{
    if (error != nullptr) {
        *error = reason;
    }
    return false;
}

bool toParity(int code, Base::parity *parity)
{
    switch (code) {
    case NoParityCode:
        *parity = Base::parity(Base::parity::none);
        return true;
    case OddParityCode:
        *parity = Base::parity(Base::parity::odd);
        return true;
    case EvenParityCode:
        *parity = Base::parity(Base::parity::even);
        return true;
    default:
        return false;
    }
}

bool toStopBits(int code, Base::stop_bits *stopBits)
{
    switch (code) {
    case OneStopBitCode:
        *stopBits = Base::stop_bits(Base::stop_bits::one);
        return true;
    case TwoStopBitsCode:
        *stopBits = Base::stop_bits(Base::stop_bits::two);
        return true;
    default:
        return false;
    }
}

} // namespace

static_assert(EvenParityCode == static_cast<int>(DeviceSetting::EvenParity) &&
                  OneStopBitCode == static_cast<int>(DeviceSetting::OneStopBit),
              "the driver's default settings name these two codes");

SerialFormat::SerialFormat()
    : baudRate(38400), dataBits(8), parity(Base::parity::even), stopBits(Base::stop_bits::one)
{
}

bool toSerialFormat(const DeviceSetting &setting, SerialFormat *format, QString *error)
{
    SerialFormat result;
    // 0 is the code by which a port hangs up.
    if (setting.baudrate < 1) {
        return fail(error, QString("baud rate %1 is not above 0").arg(setting.baudrate));
    }
    result.baudRate = Base::baud_rate(static_cast<unsigned int>(setting.baudrate));
    if (setting.databits < LeastDataBits || setting.databits > MostDataBits) {
        return fail(error, QString("%1 data bits are not 5 to 8").arg(setting.databits));
    }
    result.dataBits = Base::character_size(static_cast<unsigned int>(setting.databits));
    if (!toParity(setting.parity, &result.parity)) {
        return fail(
            error,
            QString("parity code %1 is not 0 (none), 1 (odd) or 2 (even)").arg(setting.parity));
    }
    if (!toStopBits(setting.stopbits, &result.stopBits)) {
        return fail(error,
                    QString("stop bits code %1 is not 0 (one) or 2 (two)").arg(setting.stopbits));
    }
    *format = result;
    return true;
}
