#pragma once

#include "focus/BannerSource.h"

#include <QByteArray>

#include <cstdint>

struct xcb_connection_t;

namespace quillmere {

// On X11, a window-based notification server (dunst, xfce4-notifyd and others) shows each
// banner as a mapped window of type _NET_WM_WINDOW_TYPE_NOTIFICATION: the most direct sign
// that a banner is on screen. Looks at the top-level windows and the window manager's clients
// on a connection of its own, opened on first use. Without an X server no banner is present.
class X11NotificationWindows final : public BannerSource {
public:
    // The display name; empty for $DISPLAY.
    explicit X11NotificationWindows(QByteArray display = {});
    ~X11NotificationWindows() override;
    X11NotificationWindows(const X11NotificationWindows&) = delete;
    X11NotificationWindows& operator=(const X11NotificationWindows&) = delete;

    bool bannerPresent() override;

private:
    bool connect();

    QByteArray m_display;
    xcb_connection_t* m_connection = nullptr;
    bool m_failed = false;
    std::uint32_t m_root = 0;
    std::uint32_t m_windowType = 0;
    std::uint32_t m_notificationType = 0;
    std::uint32_t m_clientList = 0;
};

} // namespace quillmere
