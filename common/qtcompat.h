// What differs between Qt 4.8, on the terminal, and Qt 5.15, on the desktop: all of it is here.

#ifndef COMMON_QTCOMPAT_H
#define COMMON_QTCOMPAT_H

#include <QByteArray>
#include <QString>
#include <QtGlobal>

// Assertions are part of the driver's behaviour and stay on in every build type, whatever the
// flags of the build say.
#undef NDEBUG
#include <cassert>

/// The text in the terminal's 8-bit encoding, one byte a character (Latin-1 unless the runtime of
/// a Qt 4.8 terminal chose another codec for narrow strings).
inline QByteArray toNarrow(const QString &text)
{
#if QT_VERSION < 0x050000
    return text.toAscii();
#else
    return text.toLatin1();
#endif
}

/// One number of the calling thread's qrand() sequence.
inline int drawRandomNumber()
{
#if QT_VERSION < 0x050000
    return qrand();
#else
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return qrand();
#pragma GCC diagnostic pop
#endif
}

#endif // COMMON_QTCOMPAT_H
