// A text in the room that there is.

#ifndef TERMINAL_WINDOW_ELIDED_TEXT_H
#define TERMINAL_WINDOW_ELIDED_TEXT_H

#include <QString>
#include <QStringList>
#include <QWidget>

/// Plain text, wrapped into as many lines as have room. What does not fit is replaced by an
/// ellipsis, and the whole is to be had as a tool tip, which a touch shows too.
class ElidedText : public QWidget
{
    Q_OBJECT

public:
    /// \param lines  for how many lines it asks
    explicit ElidedText(int lines, QWidget *parent = nullptr);

    /// \param text  any: line ends count as blanks, and nothing in it is taken for markup
    void setText(const QString &text);
    QString text() const { return m_text; }

    /// What is painted at the present size.
    QStringList visibleLines() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    const int m_lines;
    QString m_text;
};

#endif // TERMINAL_WINDOW_ELIDED_TEXT_H
