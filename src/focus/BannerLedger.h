#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

namespace quillmere {

// Which notification banners are up, reconstructed from the notification traffic seen on the
// session bus. A banner counts from its request until the daemon reports it closed, someone
// closes it, or its requested time runs out (5 s when it asked for none). Not thread-safe.
class BannerLedger final {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds defaultExpiry{5000};
    // A flood of requests must not grow without bound; the oldest are forgotten first.
    static constexpr std::size_t maxBanners = 256;

    // org.freedesktop.Notifications.Notify, as sent by `caller` with this serial.
    void notifyRequested(const std::string& caller, std::uint32_t serial, std::uint32_t replacesId,
                         std::int32_t timeoutMs, Clock::time_point now);
    // The daemon's answer to such a request: the id it gave the notification.
    void notifyAnswered(const std::string& caller, std::uint32_t replySerial, std::uint32_t id);
    // NotificationClosed or CloseNotification.
    void closed(std::uint32_t id);
    // org.gtk.Notifications, where applications name their notifications themselves.
    void gtkAdded(const std::string& key, Clock::time_point now);
    void gtkRemoved(const std::string& key);

    bool present(Clock::time_point now);
    std::size_t size() const { return m_banners.size(); }

private:
    struct Banner {
        std::uint32_t id = 0; // 0 until the daemon answers
        std::string caller;   // with serial: the request still waiting for its answer
        std::uint32_t serial = 0;
        std::string gtkKey;
        Clock::time_point expiry;
    };
    void add(Banner banner);
    void prune(Clock::time_point now);

    std::deque<Banner> m_banners;
};

} // namespace quillmere
