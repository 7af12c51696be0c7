// The rows of the message panel, and the buttons that page through them.

#ifndef COMMON_MESSAGECENTERLISTWIDGET_H
#define COMMON_MESSAGECENTERLISTWIDGET_H

#include <QListWidget>

class QLabel;
class QPushButton;

/// A list without scroll bars: two buttons and a label that tells the first visible row appear over
/// its right end when the rows, with one pixel between them, do not fit. Rows of the class
/// `MessageCenterItemWidget` keep clear of them.
///
/// Threads: the user-interface thread only.
class MessageCenterListWidget : public QListWidget
{
    Q_OBJECT

public:
    explicit MessageCenterListWidget(QWidget *parent = 0);
    ~MessageCenterListWidget() override;

public slots:
    /// Scroll down and up as a turn of the mouse wheel by 200 eighths of a degree does: five rows,
    /// or a page where that is less, with the usual three rows a notch.
    void nextClicked();
    void previousClicked();

    void showScroll();
    void hideScroll();

    /// Shows the buttons and the label, brought up to date, when the rows do not fit; hides them
    /// when they do.
    void determineScrollVisible();

signals:
    /// The operator has paged.
    void scrollClicked();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    QPushButton *newButton(const char *name, const char *image, const char *slot);
    void scrollBy(int delta);
    bool allRowsFit();
    int rowHeight();
    int firstVisibleRow();
    int placeScroll();
    void setRowMargins(int pixels);

    QPushButton *m_up_button;   ///< the widget's
    QPushButton *m_down_button; ///< the widget's
    QLabel *m_page_label;       ///< the widget's
};

#endif // COMMON_MESSAGECENTERLISTWIDGET_H
