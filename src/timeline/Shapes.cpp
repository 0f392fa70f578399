#include "timeline/Shapes.h"

namespace quillmere::timeline {

QPainterPath CornerTabShape::path(const QRectF& rect) {
    QPainterPath path;
    path.moveTo(rect.left(), rect.top());
    path.lineTo(rect.right(), rect.top());
    path.lineTo(rect.right(), rect.bottom());
    path.closeSubpath();
    return path;
}

QPainterPath DiagonalHatch::path(const QRectF& rect) {
    QPainterPath path;
    const qreal w = rect.width();
    const qreal h = rect.height();
    // Counting steps rather than adding the spacing repeatedly keeps the last line where it belongs
    // on tall rectangles.
    for (int i = 0;; ++i) {
        const qreal x = -h + spacing * i;
        if (x >= w)
            break;
        path.moveTo(rect.left() + x, rect.top() + h);
        path.lineTo(rect.left() + x + h, rect.top());
    }
    return path;
}

} // namespace quillmere::timeline
