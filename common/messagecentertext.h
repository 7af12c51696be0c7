// How a message is cut to the few lines that its row has room for.

#ifndef COMMON_MESSAGECENTERTEXT_H
#define COMMON_MESSAGECENTERTEXT_H

#include <QFont>
#include <QString>
#include <QStringList>

/// What is drawn of a message: plain text, without control characters.
struct MessageLines {
    QString title;    ///< one line; empty when the message has none
    QStringList text; ///< line by line
};

/// Cuts a message to the lines that there is room for.
///
/// When the message has a line break, what stands before the first one is the title and gets one
/// line; everything else is wrapped into the lines that are left. What does not fit ends in an
/// ellipsis. Empty lines, control characters and invisible marks that turn the direction of writing
/// are left out: a message can neither push its own words out of the row nor make them read
/// differently.
///
/// \param message  of any length; the time taken is bounded by what fits, and by one pass over it
/// \param width    of a line, in pixels
/// \param count    of lines, title included, at most
/// \return lines none of which is wider than `width`; none when there is no room
MessageLines messageLines(const QString &message, const QFont &font, int width, int count);

#endif // COMMON_MESSAGECENTERTEXT_H
