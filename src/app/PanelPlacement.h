#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

#include <optional>

namespace quillmere {

// What is known about where the tray icon is when the panel opens.
struct PanelAnchor {
    std::optional<QRect> iconGeometry; // known under XEmbed, empty under StatusNotifierItem
    std::optional<QPoint> pointer;     // where the pointer was at activation (X11 only)
};

// Where the panel's top-left corner goes: hanging from the icon (or the pointer) on the side of
// the screen it is on, else in the corner of the available area next to the desktop's own
// panel. `screen` is the whole screen, `available` the part desktop panels leave free. The
// result always keeps the panel inside `available`.
QPoint panelPosition(QSize panel, const PanelAnchor& anchor, QRect screen, QRect available);

} // namespace quillmere
