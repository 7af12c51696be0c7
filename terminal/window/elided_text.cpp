#include "terminal/window/elided_text.h"

#include <QMouseEvent>
#include <QPainter>
#include <QTextLayout>
#include <QToolTip>

namespace
{

/// Longer ones are cut before anything is laid out: nobody reads that far, and it takes time.
const int LongestText = 2000;
const int LeastWidth = 40;
const int BelowLastLine = 2; ///< an underscore reaches deeper than the font says

} // namespace

ElidedText::ElidedText(int lines, QWidget *parent) : QWidget(parent), m_lines(lines) {}

void ElidedText::setText(const QString &text)
{
    const QString plain = text.left(LongestText).simplified();
    if (plain == m_text)
        return;
    m_text = plain;
    setToolTip("<p>" + plain.toHtmlEscaped() + "</p>");
    update();
}

QStringList ElidedText::visibleLines() const
{
    const int room = qMax(1, height() / fontMetrics().lineSpacing());
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    QTextLayout layout(m_text, font());
    layout.setTextOption(option);
    QStringList lines;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width());
        if (lines.size() == room - 1) {
            lines << fontMetrics().elidedText(m_text.mid(line.textStart()), Qt::ElideRight,
                                              width());
            break;
        }
        lines << m_text.mid(line.textStart(), line.textLength());
    }
    layout.endLayout();
    return lines;
}

QSize ElidedText::sizeHint() const
{
    return QSize(LeastWidth, m_lines * fontMetrics().lineSpacing() + BelowLastLine);
}

QSize ElidedText::minimumSizeHint() const
{
    return QSize(LeastWidth, fontMetrics().lineSpacing() + BelowLastLine);
}

void ElidedText::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    int top = 0;
    for (const QString &line : visibleLines()) {
        painter.drawText(QRect(0, top, width(), fontMetrics().lineSpacing()),
                         Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine | Qt::TextDontClip,
                         line);
        top += fontMetrics().lineSpacing();
    }
}

void ElidedText::mousePressEvent(QMouseEvent *event)
{
    QToolTip::showText(event->globalPos(), toolTip(), this);
}
