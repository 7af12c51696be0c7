// A named value of a project, as the runtime knows it.

#ifndef TERMINAL_TAG_H
#define TERMINAL_TAG_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include "driver/drv_dev_setting.h"

/// One tag. The project writes its address with an optional station prefix; the driver's read and
/// write get it without, at the station that the link then reports.
struct Tag {
    enum { DefaultStation = -1 };
    enum { ProgramSteps = 32, ProgramStepValues = 24, ProgramStepPitch = 0x20 };

    QString name;
    QString text;                 ///< the address as the project writes it: "3-NA20.4"
    QString address;              ///< without the station prefix: "NA20.4"
    int station = DefaultStation; ///< of the prefix, 0 to 255
    int type = CommunicatorCommand::DoubleWordType;
    int length = 1; ///< items of the type

    quint32 firstAddress = 0; ///< of the first double word
    int bit = 0;              ///< first bit in it, for bit types

    /// The driver's own tags ("LOWLATENCY") and program areas belong in the project but are never
    /// read.
    bool isDriverTag = false;

    /// Steps of a program area, 1 to 32; 0: this is none. Each has `ProgramStepValues` double
    /// words, `ProgramStepPitch` addresses after the last one's.
    int programSteps = 0;

    bool isBits() const;
    /// Bytes of the tag's data.
    int dataSize() const;
    /// How many double words the tag touches.
    int doubleWords() const;

    /// What the runtime announces, with the prefix. The driver takes the length for a number of
    /// addresses whatever the type, so it polls what the project defines behind the tag as well.
    CommunicatorCommand announcement() const;
    /// What the runtime reads or writes, without it.
    CommunicatorCommand access() const;

    /// The address texts that the project's database lists for this tag: one for each double word.
    QStringList projectAddresses() const;
};

/// The names of the types: "bit", "byte", "word", "dword", "block", "bits", "program".
QStringList tagTypeNames();

/// Builds a tag from the texts of a project. Without a name the tag is called by its address.
/// \param error  gets what is wrong, in one line; not null
/// \return false: the tag is not changed
bool parseTag(const QString &name, const QString &address, const QString &type,
              const QString &length, Tag *tag, QString *error);

/// The items of a tag's data as unsigned numbers: one for all bits of a bit tag, else one for each
/// item; a block counts as bytes.
/// \param data  at least `tag.dataSize()` bytes
QList<quint32> tagItems(const Tag &tag, const QByteArray &data);

/// The data to write for a value: decimal, negative decimal or 0x hexadecimal, in the range of the
/// tag's items, the same for each item; all bits of a bit tag are one number.
/// \param error  gets what is wrong, in one line; not null
bool tagData(const Tag &tag, const QString &value, QByteArray *data, QString *error);

#endif // TERMINAL_TAG_H
