#include "focus/X11NotificationWindows.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace quillmere {

namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <class T> using Reply = std::unique_ptr<T, FreeReply>;

xcb_atom_t internAtom(xcb_connection_t* c, std::string_view name) {
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<uint16_t>(name.size()), name.data()), nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::vector<xcb_window_t> clientList(xcb_connection_t* c, xcb_window_t root, xcb_atom_t list) {
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, root, list, XCB_ATOM_WINDOW, 0, 4096), nullptr));
    if (!reply || reply->format != 32 || reply->type != XCB_ATOM_WINDOW)
        return {};
    const auto* ids = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
    return {ids, ids + xcb_get_property_value_length(reply.get()) / 4};
}

} // namespace

X11NotificationWindows::X11NotificationWindows(QByteArray display)
    : m_display(std::move(display)) {}

X11NotificationWindows::~X11NotificationWindows() {
    if (m_connection)
        xcb_disconnect(m_connection);
}

bool X11NotificationWindows::connect() {
    if (m_connection && !xcb_connection_has_error(m_connection))
        return true;
    if (m_failed)
        return false;
    m_connection = xcb_connect(m_display.isEmpty() ? nullptr : m_display.constData(), nullptr);
    const xcb_screen_t* screen = xcb_connection_has_error(m_connection)
                                     ? nullptr
                                     : xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    m_windowType =
        screen ? internAtom(m_connection, "_NET_WM_WINDOW_TYPE") : xcb_atom_t{XCB_ATOM_NONE};
    m_notificationType = screen ? internAtom(m_connection, "_NET_WM_WINDOW_TYPE_NOTIFICATION")
                                : xcb_atom_t{XCB_ATOM_NONE};
    m_clientList =
        screen ? internAtom(m_connection, "_NET_CLIENT_LIST") : xcb_atom_t{XCB_ATOM_NONE};
    if (!screen || m_windowType == XCB_ATOM_NONE || m_notificationType == XCB_ATOM_NONE) {
        // A server that is not there now is not looked for again every second.
        xcb_disconnect(m_connection);
        m_connection = nullptr;
        m_failed = true;
        return false;
    }
    m_root = screen->root;
    return true;
}

bool X11NotificationWindows::bannerPresent() {
    if (!connect())
        return false;
    xcb_connection_t* c = m_connection;
    // Banners are override-redirect top-levels (never managed) or managed clients inside
    // a frame; the root's children and the window manager's client list cover both.
    std::vector<xcb_window_t> windows = clientList(c, m_root, m_clientList);
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, m_root), nullptr));
    if (tree) {
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        windows.insert(windows.end(), children,
                       children + xcb_query_tree_children_length(tree.get()));
    }
    // All requests first, then the replies: one round trip for the lot.
    struct Pending {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_property_cookie_t type;
    };
    std::vector<Pending> pending;
    pending.reserve(windows.size());
    for (const xcb_window_t w : windows)
        pending.push_back({xcb_get_window_attributes(c, w),
                           xcb_get_property(c, 0, w, m_windowType, XCB_ATOM_ATOM, 0, 16)});
    bool present = false;
    for (const Pending& p : pending) {
        if (present) {
            xcb_discard_reply(c, p.attributes.sequence);
            xcb_discard_reply(c, p.type.sequence);
            continue;
        }
        const Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, p.attributes, nullptr));
        const Reply<xcb_get_property_reply_t> type(xcb_get_property_reply(c, p.type, nullptr));
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE || !type ||
            type->format != 32)
            continue;
        const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(type.get()));
        const int count = xcb_get_property_value_length(type.get()) / 4;
        for (int i = 0; i < count && !present; ++i)
            present = atoms[i] == m_notificationType;
    }
    return present;
}

} // namespace quillmere
