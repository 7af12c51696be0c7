// Bytes as the tests write them down: hexadecimal, a blank between bytes.

#ifndef TESTS_SUPPORT_BYTES_H
#define TESTS_SUPPORT_BYTES_H

#include <string>

#include <QByteArray>

/// The bytes of a text such as "01 0A FF".
inline QByteArray bytes(const char *text)
{
    return QByteArray::fromHex(text);
}

/// The text of some bytes, as in "01 0A FF".
inline std::string hexOf(const QByteArray &array)
{
    return array.toHex(' ').toUpper().toStdString();
}

/// The bytes of an array as most functions take them.
inline const unsigned char *unsignedBytes(const QByteArray &array)
{
    return reinterpret_cast<const unsigned char *>(array.constData());
}

#endif // TESTS_SUPPORT_BYTES_H
