// What differs between Qt 4.8, on the terminal, and Qt 5.15, on the desktop: all of it is here.

#ifndef COMMON_QTCOMPAT_H
#define COMMON_QTCOMPAT_H

#include <QByteArray>
#include <QString>
#include <QTextCodec>
#include <QtGlobal>
#include <QtPlugin>
#ifdef QT_GUI_LIB // only widgets turn the wheel
#include <QPoint>
#include <QWheelEvent>
#endif

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

/// The codec of this program's own narrow strings for as long as one lives; without a codec of that
/// name, Latin-1. On Qt 4.8 it is the codec of all narrow strings of the process meanwhile; the
/// previous one comes back at the end.
class NarrowCodec
{
public:
    explicit NarrowCodec(const char *name) : m_codec(QTextCodec::codecForName(name))
    {
#if QT_VERSION < 0x050000
        m_previous = QTextCodec::codecForCStrings();
        QTextCodec::setCodecForCStrings(m_codec);
#endif
    }

    ~NarrowCodec()
    {
#if QT_VERSION < 0x050000
        QTextCodec::setCodecForCStrings(m_previous);
#endif
    }

    QString toUnicode(const char *text) const
    {
#if QT_VERSION < 0x050000
        return QString(text);
#else
        return m_codec != nullptr ? m_codec->toUnicode(text) : QString::fromLatin1(text);
#endif
    }

private:
    Q_DISABLE_COPY(NarrowCodec)
    QTextCodec *m_codec;
#if QT_VERSION < 0x050000
    QTextCodec *m_previous;
#endif
};

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

#ifdef QT_GUI_LIB
/// A turn of a vertical mouse wheel, in eighths of a degree; away from the user, up, is positive.
/// \param position  where, in the receiver's coordinates
/// \param global    the same on the screen
inline QWheelEvent verticalWheelEvent(const QPoint &position, const QPoint &global, int delta)
{
#if QT_VERSION < 0x050000
    return QWheelEvent(position, global, delta, Qt::NoButton, Qt::NoModifier, Qt::Vertical);
#else
    return QWheelEvent(position, global, QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                       Qt::NoScrollPhase, false);
#endif
}
#endif

/// The class as the root of the plug-in `NAME`. Stands once, in the source of the class.
///
/// Qt 4.8 exports the root and the verification text of its own build here. Qt 5 exports the root
/// through the class's Q_PLUGIN_METADATA and has no verification text, so the plug-in carries the
/// one that the terminal's loader compares with its own build.
#if QT_VERSION < 0x050000
#define DMC50_EXPORT_PLUGIN(NAME, CLASS) Q_EXPORT_PLUGIN2(NAME, CLASS)
#else
#define DMC50_EXPORT_PLUGIN(NAME, CLASS)                                                           \
    __attribute__((section(".qtplugin"), used)) static const char qt_plugin_verification_data[] =  \
        "pattern=QT_PLUGIN_VERIFICATION_DATA\n"                                                    \
        "version=4.8.6\n"                                                                          \
        "debug=false\n"                                                                            \
        "buildkey=arm linux g++-4 no-pkg-config";                                                  \
    extern "C" Q_DECL_EXPORT const char *qt_plugin_query_verification_data()                       \
    {                                                                                              \
        return qt_plugin_verification_data;                                                        \
    }
#endif

#endif // COMMON_QTCOMPAT_H
