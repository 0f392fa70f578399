#include "focus/Compositor.h"

#include "ui/X11Selection.h"

#include <QGuiApplication>

namespace quillmere {

bool compositorPresent() {
    const QString platform = QGuiApplication::platformName();
    if (platform.startsWith(QLatin1String("wayland")))
        return true;
    return ui::x11SelectionOwned(ui::x11ScreenSelection("_NET_WM_CM_S"));
}

} // namespace quillmere
