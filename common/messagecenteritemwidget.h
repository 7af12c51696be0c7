// One row of the message panel.

#ifndef COMMON_MESSAGECENTERITEMWIDGET_H
#define COMMON_MESSAGECENTERITEMWIDGET_H

#include <QString>
#include <QWidget>

class QHBoxLayout;
class QLabel;
class QPushButton;

/// A message and the button that removes it.
///
/// The message is plain text whatever it holds. It never makes the row larger: what does not fit
/// is wrapped, then elided (`messageLines`). Its colours come from the palette: `rowPalette`.
///
/// Threads: the user-interface thread only.
class MessageCenterItemWidget : public QWidget
{
    Q_OBJECT

public:
    explicit MessageCenterItemWidget(QWidget *parent = 0);
    ~MessageCenterItemWidget() override;

    /// Replaces the text. A first line that ends in a line break is the title.
    void setMessage(const QString &text);

    /// The text as it was set, which may be more than the row shows.
    QString message() const;

    /// The height that the layout fills, in pixels; 0 before it was laid out.
    int getHeight();

    /// Keeps the right end of the row free for what lies over it, in pixels, 0 or more.
    void setRightMargin(int pixels);

public slots:
    /// Sounds a key click.
    void makeBeep();

signals:
    /// The operator wants the message to go.
    void removeClicked();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void setUpForm();
    void setUpLabel();
    void setUpButton();

    QHBoxLayout *m_layout;        ///< the widget's
    QLabel *m_label_msg;          ///< the widget's
    QPushButton *m_remove_button; ///< the widget's
};

#endif // COMMON_MESSAGECENTERITEMWIDGET_H
