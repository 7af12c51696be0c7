#include "hmi/desktop/serial_format.h"

#include "driver/drv_dev_setting.h"

#include <QString>

#include <gtest/gtest.h>

#include <cstring>
#include <termios.h>

namespace
{

DeviceSetting setting(int baudrate, int databits, int stopbits, int parity)
{
    return DeviceSetting(DeviceSetting::Rs485, "COM2", baudrate, databits, stopbits, parity);
}

/// What the operating system is asked for.
termios requested(const DeviceSetting &wanted)
{
    SerialFormat format;
    QString error;
    EXPECT_TRUE(toSerialFormat(wanted, &format, &error)) << qPrintable(error);
    termios storage;
    std::memset(&storage, 0, sizeof storage);
    boost::system::error_code failure;
    format.baudRate.store(storage, failure);
    EXPECT_FALSE(failure) << failure.message();
    format.dataBits.store(storage, failure);
    format.parity.store(storage, failure);
    format.stopBits.store(storage, failure);
    EXPECT_FALSE(failure) << failure.message();
    return storage;
}

std::string refusal(const DeviceSetting &wanted)
{
    SerialFormat format;
    QString error;
    EXPECT_FALSE(toSerialFormat(wanted, &format, &error));
    return error.toStdString();
}

const tcflag_t FramingFlags = CSIZE | PARENB | PARODD | CSTOPB;

TEST(SerialFormat, OfTheDriversDefaultsIs38400Baud8E1)
{
    const termios asked = requested(setting(38400, 8, 0, 2));
    EXPECT_EQ(tcflag_t(CS8 | PARENB), asked.c_cflag & FramingFlags);
    EXPECT_EQ(speed_t(B38400), cfgetospeed(&asked));
    EXPECT_EQ(speed_t(B38400), cfgetispeed(&asked));
}

TEST(SerialFormat, IsThatOfTheControllersUnlessToldOtherwise)
{
    const SerialFormat format;
    EXPECT_EQ(38400u, format.baudRate.value());
    EXPECT_EQ(8u, format.dataBits.value());
    EXPECT_EQ(boost::asio::serial_port_base::parity::even, format.parity.value());
    EXPECT_EQ(boost::asio::serial_port_base::stop_bits::one, format.stopBits.value());
}

TEST(SerialFormat, KnowsSevenBitsOddParityTwoStopBits)
{
    const termios asked = requested(setting(9600, 7, 2, 1));
    EXPECT_EQ(tcflag_t(CS7 | PARENB | PARODD | CSTOPB), asked.c_cflag & FramingFlags);
    EXPECT_EQ(speed_t(B9600), cfgetospeed(&asked));
}

TEST(SerialFormat, KnowsNoParity)
{
    const termios asked = requested(setting(19200, 8, 0, 0));
    EXPECT_EQ(tcflag_t(CS8), asked.c_cflag & FramingFlags);
}

TEST(SerialFormat, HasParityCheckedWhereThereIsOne)
{
    EXPECT_NE(0u, requested(setting(38400, 8, 0, 1)).c_iflag & INPCK);
    EXPECT_NE(0u, requested(setting(38400, 8, 0, 2)).c_iflag & INPCK);
    EXPECT_EQ(0u, requested(setting(38400, 8, 0, 0)).c_iflag & INPCK);
}

TEST(SerialFormat, TakesFiveToEightDataBits)
{
    EXPECT_EQ(tcflag_t(CS5), requested(setting(9600, 5, 0, 0)).c_cflag & CSIZE);
    EXPECT_EQ(tcflag_t(CS6), requested(setting(9600, 6, 0, 0)).c_cflag & CSIZE);
    EXPECT_EQ(tcflag_t(CS7), requested(setting(9600, 7, 0, 0)).c_cflag & CSIZE);
    EXPECT_EQ(tcflag_t(CS8), requested(setting(9600, 8, 0, 0)).c_cflag & CSIZE);
    EXPECT_EQ("4 data bits are not 5 to 8", refusal(setting(9600, 4, 0, 0)));
    EXPECT_EQ("9 data bits are not 5 to 8", refusal(setting(9600, 9, 0, 0)));
    EXPECT_EQ("-1 data bits are not 5 to 8", refusal(setting(9600, -1, 0, 0)));
}

TEST(SerialFormat, RefusesABaudRateBelowOne)
{
    EXPECT_EQ("baud rate 0 is not above 0", refusal(setting(0, 8, 0, 2)));
    EXPECT_EQ("baud rate -38400 is not above 0", refusal(setting(-38400, 8, 0, 2)));
}

TEST(SerialFormat, RefusesUnknownParityCodes)
{
    EXPECT_EQ("parity code 3 is not 0 (none), 1 (odd) or 2 (even)",
              refusal(setting(9600, 8, 0, 3)));
    EXPECT_EQ("parity code -1 is not 0 (none), 1 (odd) or 2 (even)",
              refusal(setting(9600, 8, 0, -1)));
}

TEST(SerialFormat, RefusesUnknownStopBitsCodes)
{
    EXPECT_EQ("stop bits code 1 is not 0 (one) or 2 (two)", refusal(setting(9600, 8, 1, 2)));
    EXPECT_EQ("stop bits code 3 is not 0 (one) or 2 (two)", refusal(setting(9600, 8, 3, 2)));
    EXPECT_EQ("stop bits code -1 is not 0 (one) or 2 (two)", refusal(setting(9600, 8, -1, 2)));
}

TEST(SerialFormat, StaysAsItWasWhenTheSettingsAreRefused)
{
    SerialFormat format;
    ASSERT_TRUE(toSerialFormat(setting(9600, 7, 2, 1), &format, nullptr));
    EXPECT_FALSE(toSerialFormat(setting(19200, 8, 0, 7), &format, nullptr));
    EXPECT_EQ(9600u, format.baudRate.value());
    EXPECT_EQ(7u, format.dataBits.value());
}

} // namespace
