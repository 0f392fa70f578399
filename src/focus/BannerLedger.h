#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

namespace quillmere {

// Which notification banners are up, reconstructed from the notification traffic seen on the
// session bus. A banner counts from its request until the server reports it closed or someone
// closes it; where no close comes, until its requested time runs out, or the server's own
// default time when it asked for none. A critical or never-expiring banner stays until closed.
// Not thread-safe.
class BannerLedger final {
public:
    using Clock = std::chrono::steady_clock;

    // What the common servers keep a banner that names no time of its own (dunst: 10 s).
    static constexpr std::chrono::milliseconds serverDefaultExpiry{10000};
    // A portal backend forwards a notification to the server at once; a server-side request
    // this soon after a portal request is that same notification, not a second one.
    static constexpr std::chrono::milliseconds forwardWindow{2000};
    // A flood of requests must not grow without bound; the oldest are forgotten first.
    static constexpr std::size_t maxBanners = 256;

    // org.freedesktop.Notifications.Notify, as sent by `caller` with this serial. A timeout
    // of -1 asks for the server's default, 0 for no expiry.
    void notifyRequested(const std::string& caller, std::uint32_t serial, std::uint32_t replacesId,
                         std::int32_t timeoutMs, bool critical, Clock::time_point now);
    // The server's answer to such a request: the id it gave the notification.
    void notifyAnswered(const std::string& caller, std::uint32_t replySerial, std::uint32_t id);
    // NotificationClosed or CloseNotification.
    void closed(std::uint32_t id);
    // org.gtk.Notifications, where applications name their notifications themselves.
    void gtkAdded(const std::string& key, Clock::time_point now);
    void gtkRemoved(const std::string& key);
    // org.freedesktop.portal.Notification, which sandboxed applications use; its backend
    // passes the notification on to one of the two above.
    void portalAdded(const std::string& key, Clock::time_point now);
    void portalRemoved(const std::string& key);
    // Forgets everything, when the traffic can no longer be followed.
    void clear() { m_banners.clear(); }

    bool present(Clock::time_point now);
    std::size_t size() const { return m_banners.size(); }

private:
    enum class Path { freedesktop, gtk, portal };
    struct Banner {
        Path path = Path::freedesktop;
        std::uint32_t id = 0; // 0 until the server answers
        std::string caller;   // with serial: the request still waiting for its answer
        std::uint32_t serial = 0;
        std::string key; // gtk and portal: the application's own name for it
        Clock::time_point added;
        Clock::time_point expiry;
    };
    void add(Banner banner);
    void prune(Clock::time_point now);
    void absorbForwarded(Clock::time_point now);
    void removeKeyed(Path path, const std::string& key);

    std::deque<Banner> m_banners;
};

} // namespace quillmere
