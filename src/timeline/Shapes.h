#pragma once

#include <QPainterPath>
#include <QRectF>

namespace quillmere::timeline {

// The triangle behind a card's corner glyphs: right angle in the top-right corner, long side
// from the top-left to the bottom-right.
struct CornerTabShape {
    static QPainterPath path(const QRectF& rect);
};

// Parallel 45° lines rising to the right, 5 pt apart horizontally, covering the rectangle once
// stroked; the caller strokes and clips them (reserved time is drawn this way).
struct DiagonalHatch {
    static constexpr qreal spacing = 5;
    static QPainterPath path(const QRectF& rect);
};

} // namespace quillmere::timeline
