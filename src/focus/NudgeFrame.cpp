#include "focus/NudgeFrame.h"

#include "focus/NudgeView.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

namespace quillmere {

namespace {
constexpr int width = NudgeView::cardWidth;
constexpr int edgeInset = 24;
constexpr int topGap = 6;
constexpr int sideMargin = 8;
} // namespace

QRect nudgeTargetFrame(int height, const std::optional<QRect>& anchor,
                       const std::optional<QRect>& available) {
    height = std::max(height, 0);
    if (!available)
        return {0, 0, width, height};
    const QRect& area = *available;
    const int areaRight = area.x() + area.width();
    const int centreX =
        anchor ? anchor->x() + anchor->width() / 2 : areaRight - edgeInset - width / 2;
    int x = centreX - width / 2;
    x = std::max(x, area.x() + sideMargin);
    x = std::min(x, areaRight - width - sideMargin);
    return {x, area.y() + topGap, width, height};
}

std::optional<QRect> nudgeScreenArea(const std::optional<QRect>& anchor) {
    QScreen* screen = nullptr;
    if (anchor)
        screen = QGuiApplication::screenAt(anchor->center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen && !QGuiApplication::screens().isEmpty())
        screen = QGuiApplication::screens().constFirst();
    if (!screen)
        return std::nullopt;
    return screen->availableGeometry();
}

} // namespace quillmere
