#include "common/messagecentertext.h"

#include <QFontMetrics>
#include <QTextLayout>

namespace
{

const int MaxLaidOut = 4000; ///< characters; more than a row of the widest screen shows
const QChar ZeroWidthNonJoiner(0x200C);
const QChar ZeroWidthJoiner(0x200D);

bool isLineBreak(QChar character)
{
    return character == QLatin1Char('\n') || character == QLatin1Char('\r') ||
           character.category() == QChar::Separator_Line ||
           character.category() == QChar::Separator_Paragraph;
}

/// Joiners shape letters of some scripts; all other format characters only mislead.
bool isMisleading(QChar character)
{
    return character.category() == QChar::Other_Format && character != ZeroWidthNonJoiner &&
           character != ZeroWidthJoiner;
}

void appendShown(QString *line, QChar character)
{
    if (isMisleading(character))
        return;
    const bool blank = character.isSpace() || character.category() == QChar::Other_Control;
    if (!blank)
        line->append(character);
    else if (!line->isEmpty() && !line->endsWith(QLatin1Char(' ')))
        line->append(QLatin1Char(' '));
}

/// The lines of a text that show something, up to what can be laid out.
QStringList shownParagraphs(const QString &text)
{
    QStringList paragraphs;
    QString line;
    int room = MaxLaidOut;
    for (int i = 0; i <= text.size() && room > 0; ++i) {
        if (i < text.size() && !isLineBreak(text.at(i))) {
            if (line.size() < room)
                appendShown(&line, text.at(i));
            continue;
        }
        line = line.simplified();
        if (!line.isEmpty())
            paragraphs << line;
        room -= line.size();
        line.clear();
    }
    return paragraphs;
}

/// Where a line of this width that begins at `start` ends.
class LineBreaker
{
public:
    LineBreaker(const QString &text, const QFont &font, int width) : m_layout(text, font)
    {
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        m_layout.setTextOption(option);
        m_layout.beginLayout();
        m_width = width;
    }

    ~LineBreaker() { m_layout.endLayout(); }

    /// The length of the next line; 0 at the end of the text.
    int next()
    {
        QTextLine line = m_layout.createLine();
        if (!line.isValid())
            return 0;
        line.setLineWidth(m_width);
        return line.textLength();
    }

private:
    Q_DISABLE_COPY(LineBreaker)

    QTextLayout m_layout;
    int m_width;
};

QString elided(const QString &text, const QFont &font, int width)
{
    return QFontMetrics(font).elidedText(text, Qt::ElideRight, width);
}

/// Wraps one paragraph into at most `count` lines. What is left over stays in `paragraph`.
QStringList takeLines(QString *paragraph, const QFont &font, int width, int count)
{
    QStringList lines;
    LineBreaker breaker(*paragraph, font, width);
    int start = 0;
    while (lines.size() < count) {
        const int length = breaker.next();
        if (length == 0)
            break;
        lines << paragraph->mid(start, length).trimmed();
        start += length;
    }
    paragraph->remove(0, start);
    return lines;
}

/// All but the last line are filled; the last one takes what is left, elided.
QStringList wrapped(QStringList paragraphs, const QFont &font, int width, int count)
{
    QStringList lines;
    if (count <= 0)
        return lines;
    while (!paragraphs.isEmpty() && lines.size() < count - 1) {
        lines << takeLines(&paragraphs.first(), font, width, count - 1 - lines.size());
        if (paragraphs.first().isEmpty())
            paragraphs.removeFirst();
    }
    if (!paragraphs.isEmpty())
        lines << elided(paragraphs.join(QLatin1String(" ")), font, width);
    return lines;
}

} // namespace

MessageLines messageLines(const QString &message, const QFont &font, int width, int count)
{
    MessageLines lines;
    if (width <= 0 || count <= 0)
        return lines;
    QStringList paragraphs = shownParagraphs(message);
    const bool titled = paragraphs.size() > 1 && !isLineBreak(message.at(0));
    if (titled)
        lines.title = elided(paragraphs.takeFirst(), font, width);
    lines.text = wrapped(paragraphs, font, width, titled ? count - 1 : count);
    return lines;
}
