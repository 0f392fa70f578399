#pragma once

#include <QByteArray>

namespace quillmere::ui {

// Whether some client owns the named X selection on our display (a compositing manager's
// `_NET_WM_CM_S0`, a tray manager's `_NET_SYSTEM_TRAY_S0`). False off X11.
bool x11SelectionOwned(const QByteArray& selection);

// A per-screen selection's name for the default screen, e.g. "_NET_SYSTEM_TRAY_S0".
QByteArray x11ScreenSelection(const QByteArray& prefix);

} // namespace quillmere::ui
