#include "app/PanelPlacement.h"

#include <algorithm>

namespace quillmere {

namespace {

constexpr int gap = 4;

QPoint keepInside(QPoint topLeft, QSize panel, QRect available) {
    const int x = std::clamp(topLeft.x(), available.left(),
                             std::max(available.left(), available.right() + 1 - panel.width()));
    const int y = std::clamp(topLeft.y(), available.top(),
                             std::max(available.top(), available.bottom() + 1 - panel.height()));
    return {x, y};
}

// Below an anchor in the upper half of the screen, above one in the lower half; centred on it.
QPoint besideAnchor(QSize panel, QRect anchor, QRect available) {
    const bool upper = anchor.center().y() < available.center().y();
    const int x = anchor.center().x() - panel.width() / 2;
    const int y = upper ? anchor.bottom() + 1 + gap : anchor.top() - gap - panel.height();
    return keepInside({x, y}, panel, available);
}

} // namespace

QPoint panelPosition(QSize panel, const PanelAnchor& anchor, QRect screen, QRect available) {
    if (anchor.iconGeometry && anchor.iconGeometry->isValid() && !anchor.iconGeometry->isEmpty())
        return besideAnchor(panel, *anchor.iconGeometry, available);
    if (anchor.pointer)
        return besideAnchor(panel, QRect(*anchor.pointer, QSize(1, 1)), available);

    // Nothing known: the desktop's panel is where the screen lost room, and the tray sits at
    // its trailing end on every common desktop. Without any reserved edge, the top right.
    const bool bottom = (screen.bottom() - available.bottom()) > (available.top() - screen.top());
    const bool left = (available.left() - screen.left()) > (screen.right() - available.right()) &&
                      available.top() == screen.top() && available.bottom() == screen.bottom();
    const int x = left ? available.left() + gap : available.right() + 1 - gap - panel.width();
    const int y = bottom ? available.bottom() + 1 - gap - panel.height() : available.top() + gap;
    return keepInside({x, y}, panel, available);
}

} // namespace quillmere
