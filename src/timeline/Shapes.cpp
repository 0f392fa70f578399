#include "timeline/Shapes.h"

namespace quillmere::timeline {

QPainterPath cornerTabShape(const QRectF& rect) {
    QPainterPath path;
    path.moveTo(rect.left(), rect.top());
    path.lineTo(rect.right(), rect.top());
    path.lineTo(rect.right(), rect.bottom());
    path.closeSubpath();
    return path;
}

QPainterPath diagonalHatch(const QRectF& rect) {
    QPainterPath path;
    const qreal w = rect.width();
    const qreal h = rect.height();
    // Counting steps rather than adding 5 repeatedly keeps the last line where it belongs on
    // tall rectangles.
    for (int i = 0;; ++i) {
        const qreal x = -h + 5.0 * i;
        if (x >= w)
            break;
        path.moveTo(rect.left() + x, rect.top() + h);
        path.lineTo(rect.left() + x + h, rect.top());
    }
    return path;
}

} // namespace quillmere::timeline
