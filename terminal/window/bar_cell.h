// A cell of the bar at the top of the screen.

#ifndef TERMINAL_WINDOW_BAR_CELL_H
#define TERMINAL_WINDOW_BAR_CELL_H

#include <QAbstractButton>
#include <QString>

class QPainter;

/// A sign with two lines of text beside it. Its width does not depend on what it says at the
/// moment, so the bar stays calm.
class BarCell : public QAbstractButton
{
    Q_OBJECT

public:
    enum class Kind {
        Display, ///< tells something; a touch shows its tool tip
        Button   ///< to be pressed
    };
    enum class Tone { Quiet, Normal, Warning, Alarm, Lit };

    explicit BarCell(Kind kind, QWidget *parent = nullptr);

    QString title() const { return m_title; }
    QString detail() const { return m_detail; }
    Tone tone() const { return m_tone; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    /// The longest texts that it may show: its width is made for them. Longer ones are cut.
    void setLongestTexts(const QString &title, const QString &detail);
    void setContents(const QString &title, const QString &detail, Tone tone);

    /// Whether there is a sign; draws it in the painter's pen and brush.
    virtual bool hasSign() const { return true; }
    virtual void paintSign(QPainter *painter, const QRectF &room) const = 0;

    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    QRgb background() const;
    QRgb foreground() const;
    QRect signRoom() const;
    void paintTexts(QPainter *painter) const;
    void paintLine(QPainter *painter, const QFont &lineFont, const QRect &room, int alignment,
                   const QString &line) const;

    const Kind m_kind;
    Tone m_tone;
    QString m_title;
    QString m_detail;
    QString m_longest_title;
    QString m_longest_detail;
};

#endif // TERMINAL_WINDOW_BAR_CELL_H
