#pragma once

#include <QRect>

#include <optional>

namespace quillmere {

// Where the nudge card settles, in screen coordinates (y grows downward). Under the tray icon
// when its geometry is known, else near the top-right corner of the available area: right edge
// 24 in, top edge 6 below the top. Never closer than 8 to either side; on a screen too narrow
// for that, the right side wins. Without any screen the card sits at the origin.
QRect nudgeTargetFrame(int height, const std::optional<QRect>& anchor,
                       const std::optional<QRect>& available);

// The available area of the screen the card belongs on: the anchor's screen, else the primary
// screen, else the first there is.
std::optional<QRect> nudgeScreenArea(const std::optional<QRect>& anchor);

} // namespace quillmere
