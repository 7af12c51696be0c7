// A small trend of a few tags.

#ifndef TERMINAL_WINDOW_TREND_VIEW_H
#define TERMINAL_WINDOW_TREND_VIEW_H

#include <vector>

#include <QString>
#include <QWidget>

#include "terminal/session.h"
#include "terminal/window/trend_data.h"

class QPainter;

/// Draws up to four tags over the last minutes on one common scale, so that a set point and its
/// temperature can be compared. Of a tag with several items it draws the first. Each pen has a
/// colour, a dash and a number of its own. Touching an entry of the legend frees its pen.
class TrendView : public QWidget
{
    Q_OBJECT

public:
    /// How far back the time axis goes.
    static const qint64 SpanMs = 120000;

    explicit TrendView(QWidget *parent = nullptr);

    /// Begins to draw a tag with a pen that is free.
    /// \param pen  0 to TagTableModel::Pens - 1
    void startPen(int pen, const QString &name);
    void stopPen(int pen);

    /// Draws a value that came.
    /// \param view           the tag as it is at `nowMs`
    /// \param staleAfterMs   the age up to which a value counts as live
    void record(int pen, const TagView &view, qint64 nowMs, qint64 staleAfterMs);

    /// Takes the tag's state into the legend, and moves the time axis on.
    void setNow(int pen, const TagView &view);
    void setNow(qint64 nowMs);

    /// A line for the operator in place of the time axis; empty: none.
    void setHint(const QString &hint);
    QString hint() const { return m_hint; }

    const TrendData &data(int pen) const;

    /// Where a pen's entry of the legend stands.
    QRect legendCell(int pen) const;
    /// Where the lines are drawn.
    QRect plotArea() const;

    /// Where a value is drawn.
    QPointF position(const TrendData::Point &point) const;
    const TrendScale &scale() const { return m_scale; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

signals:
    /// The operator touched a pen's entry in the legend.
    void penTapped(int pen);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    struct Pen {
        Pen() : inUse(false), data(SpanMs) {}
        bool inUse;
        QString name;
        TagView view;
        TrendData data;
    };

    bool isEmpty() const;
    void fitScale();
    QPen lineOf(int pen) const;
    int legendWidth() const;
    int scaleWidth() const;
    void paintInvitation(QPainter *painter) const;
    void paintScale(QPainter *painter) const;
    void paintTimes(QPainter *painter) const;
    void paintPen(QPainter *painter, int pen) const;
    void paintLegend(QPainter *painter, int pen) const;
    void paintLegendTexts(QPainter *painter, const QRect &nameRoom, const QRect &valueRoom,
                          const Pen &pen) const;

    std::vector<Pen> m_pens;
    qint64 m_now;
    TrendScale m_scale; ///< around all values that are kept
    QString m_hint;
    int m_pressed_pen; ///< -1: none
};

#endif // TERMINAL_WINDOW_TREND_VIEW_H
