#include "ui/X11Selection.h"

#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace quillmere::ui {

namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeReply>;

xcb_connection_t* qtConnection() {
    if (!qGuiApp || QGuiApplication::platformName() != QLatin1String("xcb"))
        return nullptr;
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

} // namespace

bool x11SelectionOwned(const QByteArray& selection) {
    xcb_connection_t* connection = qtConnection();
    if (!connection)
        return false;
    const Reply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 1, static_cast<uint16_t>(selection.size()),
                        selection.constData()),
        nullptr));
    // Only-if-exists: an atom nobody ever made names a selection nobody owns.
    if (!atom || atom->atom == XCB_ATOM_NONE)
        return false;
    const Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, atom->atom), nullptr));
    return owner && owner->owner != XCB_NONE;
}

QByteArray x11ScreenSelection(const QByteArray& prefix) {
    // DISPLAY is ":display[.screen]"; Qt puts its windows on that screen.
    int screen = 0;
    const QByteArray display = qgetenv("DISPLAY");
    const int colon = display.lastIndexOf(':');
    const int dot = display.indexOf('.', colon < 0 ? 0 : colon);
    if (colon >= 0 && dot > colon)
        screen = display.mid(dot + 1).toInt();
    return prefix + QByteArray::number(screen);
}

} // namespace quillmere::ui
