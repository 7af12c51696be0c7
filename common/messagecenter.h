// The panel that slides in to tell the operator something.

#ifndef COMMON_MESSAGECENTER_H
#define COMMON_MESSAGECENTER_H

#include <QHash>
#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <QWidget>

class MessageCenterListWidget;
class QListWidgetItem;
class QTimer;

/// A frameless panel that slides out from beside an anchor rectangle, lists up to 100 messages, the
/// newest on top, and slides away after 6 seconds. A touch on its header strip does the same.
///
/// Whoever has something to say connects a signal (title, text, show at once) to
/// `showMessageAsync`. The object that signals is the key of its row: its next message replaces the
/// text. The panel compares such keys and never looks into the objects, which may be gone when
/// their message arrives.
///
/// When more than 100 messages wait in the event queue, all beyond them are shown together in the
/// next round: a flood of messages costs memory and time for few rows and leaves the user interface
/// its turn.
///
/// Threads: the user-interface thread only. Other threads reach the slots through queued signals.
///
/// Ownership: the screen's code that calls `initInstance` first may delete the panel, or give it a
/// parent that does; `getInstance` is null from then on. A panel that is still there when the
/// application object goes loses its window with it and must not be touched any more.
class MessageCenter : public QWidget
{
    Q_OBJECT

public:
    /// Where the panel stands, seen from the anchor, and how it slides in.
    enum Position {
        AboveAnchor,   ///< right edges aligned; slides up
        BelowAnchor,   ///< right edges aligned; slides down
        RightOfAnchor, ///< bottoms aligned; slides to the right
        LeftOfAnchor   ///< bottoms aligned; slides to the left
    };

    /// Creates the panel at its hidden position, invisible; when there is one already, returns
    /// that, unchanged.
    /// \param maximumSize  its height, in pixels, is about what the panel grows to
    /// \param initialSize  the panel's size until the first message; its width stays
    /// \param mode  a `Position`; any other value is told on the debug output, and the panel slides
    ///              in from the left at the origin
    /// \param anchor  in the coordinates in which the panel moves: its parent's, or the screen's
    /// \param colour  0xAARRGGBB; the palette's Window, and with the alpha inverted its WindowText.
    ///                The panel paints it without alpha, the rows what is legible on it.
    static MessageCenter *initInstance(QSize maximumSize, QSize initialSize, int mode, QRect anchor,
                                       int colour);

    /// The panel, or null when nobody created one: callers check.
    static MessageCenter *getInstance();

    /// A panel that is not the process's one. Arguments as for `initInstance`.
    MessageCenter(QSize maximumSize, QSize initialSize, int mode, QRect anchor, int colour,
                  QWidget *parent = 0);
    ~MessageCenter() override;

    /// While set, messages are dropped.
    void setRejectMessage(bool reject);
    bool rejectedMessage();

    /// Stands at the shown or the hidden position, at once.
    void instantShow();
    void instantHide();

    /// Slides there in 500 ms, always over the whole way.
    void animatedShow();
    void animatedHide();

    /// Slides away when shown, slides in when hidden and not empty; nothing during a slide.
    void toggleShowHide();

    /// Fits the height to the rows.
    void adjustSize();

    /// Shows a fixed text; for development.
    void testMessage();

public slots:
    /// Shows a message of the signalling object; of nobody when there is none.
    /// \param title  the row's first line
    /// \param text   what follows; may have lines
    /// \param showInstant  false: the panel slides in, also when it is shown already
    void showMessageAsync(const QString &title, const QString &text, bool showInstant);

    /// Removes the row of the signalling object, if it has one.
    void removeMessageAsync();

    /// The sender is going: its row stays, but belongs to nobody from now on. An object that may
    /// end before the panel connects its `destroyed(QObject*)` to this; otherwise a later one at
    /// its address takes over the row.
    void forgetSender(QObject *sender);

protected:
    bool event(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private slots:
    void _showWrapper();
    void _hideWrapper();
    void timerOut();
    void itemWidgetRemoveClicked();
    void restartHideTimer();
    void showHeldMessages();

private:
    /// Of a slide.
    enum Direction { XDecreasing, XIncreasing, YDecreasing, YIncreasing };

    struct HeldMessage {
        QObject *sender; ///< a key; null is nobody
        QString text;
    };

    void setUpPalette(QRgb colour);
    void setUpList();
    QTimer *newTimer(const char *name, int interval, const char *slot);

    void _showMessage(QObject *sender, const QString &title, const QString &text, bool showInstant);
    void showPanel(bool instant);
    bool mayShowNow();
    bool setRowText(QObject *sender, const QString &text);
    void addRow(QObject *sender, const QString &text);
    void removeOldestRows();
    void removeRow(QListWidgetItem *item);
    void takeRow(QListWidgetItem *item);

    void holdMessage(QObject *sender, const QString &text, bool showInstant);
    void holdRow(QObject *sender, const QString &text);
    int heldMessageOf(QObject *sender) const;
    void addHeldRows();

    void showOnTop();
    int heightForRows(int rows) const;
    void setPanelHeight(int panel_height);
    void updatePositions();
    void slide(Direction direction, const QPoint &from, const QPoint &to);
    Direction showDirection() const;
    static Direction opposite(Direction direction);
    bool slidesHorizontally() const;

    static MessageCenter *m_instance;

    const QSize m_maximum_size;
    const int m_mode;
    const QRect m_anchor;
    QPoint m_shown_position;
    QPoint m_hidden_position;
    QTimer *m_animation_timer; ///< the panel's
    QTimer *m_hide_timer;      ///< the panel's
    bool m_reject_message;

    Direction m_direction;
    int m_step;     ///< done of the slide
    int m_distance; ///< of the slide, pixels
    int m_target;   ///< of the coordinate that moves

    MessageCenterListWidget *m_list_widget;      ///< the panel's
    QHash<QObject *, QListWidgetItem *> m_items; ///< the senders' rows; senders are keys only

    bool m_in_queued_call;              ///< a queued signal is being delivered
    int m_queued_messages;              ///< shown in this round of the event queue
    QList<HeldMessage> m_held_messages; ///< new rows, oldest first
    bool m_messages_held;               ///< the panel is to be shown, if only for changed texts
    bool m_held_instant;                ///< how; the last message decides
};

#endif // COMMON_MESSAGECENTER_H
