#pragma once

#include "model/Minutes.h"

#include <QRectF>

namespace quillmere::timeline {

// Where things sit on the day column. Everything is in logical pixels (one point each) in the
// timeline's own coordinates: the origin is the top-left corner of 00:00, y grows downwards and
// the whole day is 24 hour rows tall.
struct TimelineGeometry {
    qreal hourHeight = 64;
    qreal labelWidth = 48;
    qreal blockLeading = 58;
    qreal blockTrailing = 12;

    // Boxes shorter than this stay readable: a 5-minute block is still a tappable card.
    static constexpr qreal minimumBoxHeight = 12;
    // Margin kept around the selected block when it is scrolled into view.
    static constexpr qreal revealMargin = 8;
    static constexpr qreal nowDotSize = 7;
    static constexpr qreal labelLift = 5;
    static constexpr qreal labelSpacing = 6;
    // Padding above 00:00 (and below 24:00) so the first and last hour labels are not cut.
    static constexpr qreal contentTop = 8;

    qreal dayHeight() const { return 24 * hourHeight; }
    qreal y(Minutes m) const { return static_cast<qreal>(m) / 60.0 * hourHeight; }
    // Minutes for a vertical distance or position, truncated toward zero (never snapped here).
    Minutes minutes(qreal dy) const;

    // The card of a block, a draft, the creation preview or a reserved span: 1 pt in from the
    // minute lines above and below, so back-to-back boxes keep a 2 pt gap.
    QRectF box(Minutes start, Minutes duration, qreal width) const;
    static qreal handleHeight(qreal boxHeight);
    static QRectF topHandle(const QRectF& box);
    static QRectF bottomHandle(const QRectF& box);

    QRectF hourRow(int hour, qreal width) const;
    // The label box above a row's line: right-aligned text lifted so it sits on the line.
    QRectF hourLabel(int hour, qreal textHeight) const;
    qreal dividerLeft() const { return labelWidth + labelSpacing; }

    // The block plus a margin above and below: what "reveal the selection" makes visible.
    QRectF selectionAnchor(Minutes start, Minutes duration, qreal width) const;

    QRectF nowDot(Minutes now) const;
    QRectF nowLine(Minutes now, qreal width) const;
};

} // namespace quillmere::timeline
