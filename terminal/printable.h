// Texts of unknown origin, for a terminal.

#ifndef TERMINAL_PRINTABLE_H
#define TERMINAL_PRINTABLE_H

#include <QString>

/// The text with a mark in place of each control character but the line feed. A stick comes from
/// anywhere, and what its files hold or are called must not steer the terminal of who reads it.
inline QString printable(QString text)
{
    for (QChar &character : text) {
        if (character.category() == QChar::Other_Control && character != QChar('\n'))
            character = QChar::ReplacementCharacter;
    }
    return text;
}

#endif // TERMINAL_PRINTABLE_H
