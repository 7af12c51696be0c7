// How a message is cut to the few lines that its row has room for.

#ifndef COMMON_MESSAGECENTERTEXT_H
#define COMMON_MESSAGECENTERTEXT_H

#include <QFont>
#include <QString>
#include <QStringList>

/// The lines to draw of a message, each of plain text without control characters.
///
/// When the text has a line break, what stands before the first one is the title and gets one line;
/// everything else is wrapped into the lines that are left. What does not fit ends in an ellipsis.
/// Empty lines, control characters and invisible marks that turn the direction of writing are left
/// out: a message can neither push its own words out of the row nor make them read differently.
///
/// \param text   of any length; the time taken is bounded by what fits, and by one pass over it
/// \param width  of a line, in pixels
/// \param count  of lines, at most
/// \return `count` lines or fewer, none wider than `width`; none when there is no room
QStringList messageLines(const QString &text, const QFont &font, int width, int count);

#endif // COMMON_MESSAGECENTERTEXT_H
