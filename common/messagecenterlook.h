// How the message panel looks: its colours and its buttons.

#ifndef COMMON_MESSAGECENTERLOOK_H
#define COMMON_MESSAGECENTERLOOK_H

#include <QColor>
#include <QPalette>
#include <QPushButton>

/// The colour of text that is read best on a background, black or white: the contrast ratio is
/// 4.5 or more on every opaque colour.
QColor readableInk(const QColor &background);

/// The colours of the rows on a panel of this colour, whose alpha does not count. Window is the
/// row, WindowText its title, Text its text, Mid the line below it, and Base the ground between the
/// rows. Titles and texts have a contrast ratio of 4.5 or more.
QPalette rowPalette(const QColor &panel);

/// A button that looks the same, and is found as easily, on a panel of any colour and under any
/// style. Shows its icon, or its text.
class TouchButton : public QPushButton
{
public:
    explicit TouchButton(QWidget *parent = 0);
    ~TouchButton() override;

protected:
    void paintEvent(QPaintEvent *event) override;
};

#endif // COMMON_MESSAGECENTERLOOK_H
