// The signs of a tag's state and of the trend's pens, which stand beside their colours.

#ifndef TERMINAL_WINDOW_STATE_SIGN_H
#define TERMINAL_WINDOW_STATE_SIGN_H

#include <QColor>
#include <QPainter>
#include <QRect>

#include "terminal/session.h"

/// What a tag in that state is written in, and on.
QRgb stateText(TagState state);
QRgb stateSurface(TagState state);

/// Whether a value in that state must not be taken for live.
bool isDoubtful(TagState state);

/// A dot, a ring, a triangle or a cross.
/// \param room  a square
void paintStateSign(QPainter *painter, const QRectF &room, TagState state);

/// The square for a sign that stands at the left of a room, in the middle of its height.
QRectF signSquare(const QRect &room, int side);

/// A pen's number on its colour.
/// \param room  a square
/// \param pen   0 to TagTableModel::Pens - 1
void paintPenSign(QPainter *painter, const QRectF &room, int pen);

#endif // TERMINAL_WINDOW_STATE_SIGN_H
