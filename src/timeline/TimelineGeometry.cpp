#include "timeline/TimelineGeometry.h"

#include <algorithm>
#include <cmath>

namespace quillmere::timeline {

Minutes TimelineGeometry::minutes(qreal dy) const {
    return static_cast<Minutes>(std::trunc(dy / hourHeight * 60.0));
}

QRectF TimelineGeometry::box(Minutes start, Minutes duration, qreal width) const {
    const qreal h = static_cast<qreal>(duration) / 60.0 * hourHeight - 2;
    const qreal height = h <= minimumBoxHeight ? minimumBoxHeight : h;
    return QRectF(blockLeading, y(start) + 1,
                  std::max<qreal>(width - blockLeading - blockTrailing, 0), height);
}

qreal TimelineGeometry::handleHeight(qreal boxHeight) {
    return std::min(boxHeight * 0.3, 9.0);
}

QRectF TimelineGeometry::topHandle(const QRectF& box) {
    return QRectF(box.left(), box.top(), box.width(), handleHeight(box.height()));
}

QRectF TimelineGeometry::bottomHandle(const QRectF& box) {
    const qreal h = handleHeight(box.height());
    return QRectF(box.left(), box.bottom() - h, box.width(), h);
}

QRectF TimelineGeometry::hourRow(int hour, qreal width) const {
    return QRectF(0, hour * hourHeight, width, hourHeight);
}

QRectF TimelineGeometry::hourLabel(int hour, qreal textHeight) const {
    return QRectF(0, hour * hourHeight - labelLift, labelWidth, textHeight);
}

QRectF TimelineGeometry::selectionAnchor(Minutes start, Minutes duration, qreal width) const {
    return QRectF(0, y(start) - revealMargin, width, y(duration) + 2 * revealMargin);
}

QRectF TimelineGeometry::nowDot(Minutes now) const {
    return QRectF(labelWidth + 3, y(now) - nowDotSize / 2, nowDotSize, nowDotSize);
}

QRectF TimelineGeometry::nowLine(Minutes now, qreal width) const {
    const qreal left = labelWidth + 3 + nowDotSize;
    return QRectF(left, y(now) - 0.5, std::max<qreal>(width - left, 0), 1);
}

} // namespace quillmere::timeline
