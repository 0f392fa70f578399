#include "focus/Compositor.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>

namespace quillmere {

namespace {
bool x11SelectionOwned() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return false;
    const QByteArray name = "_NET_WM_CM_S0";
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 1, static_cast<uint16_t>(name.size()), name.constData()),
        nullptr);
    if (!atom)
        return false;
    const xcb_atom_t selection = atom->atom;
    std::free(atom);
    if (selection == XCB_ATOM_NONE)
        return false;
    xcb_get_selection_owner_reply_t* owner = xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, selection), nullptr);
    if (!owner)
        return false;
    const bool owned = owner->owner != XCB_NONE;
    std::free(owner);
    return owned;
}
} // namespace

bool compositorPresent() {
    const QString platform = QGuiApplication::platformName();
    if (platform.startsWith(QLatin1String("wayland")))
        return true;
    if (platform == QLatin1String("xcb"))
        return x11SelectionOwned();
    return false;
}

} // namespace quillmere
