#include "focus/BannerLedger.h"

#include <algorithm>

namespace quillmere {

namespace {
BannerLedger::Clock::time_point expiryFor(std::int32_t timeoutMs, bool critical,
                                          BannerLedger::Clock::time_point now) {
    if (critical || timeoutMs == 0)
        return BannerLedger::Clock::time_point::max();
    if (timeoutMs > 0)
        return now + std::chrono::milliseconds(timeoutMs);
    return now + BannerLedger::serverDefaultExpiry;
}
} // namespace

void BannerLedger::add(Banner banner) {
    if (m_banners.size() >= maxBanners)
        m_banners.pop_front();
    m_banners.push_back(std::move(banner));
}

void BannerLedger::absorbForwarded(Clock::time_point now) {
    const auto forwarded = std::find_if(m_banners.rbegin(), m_banners.rend(), [&](const Banner& b) {
        return b.path == Path::portal && now - b.added <= forwardWindow;
    });
    if (forwarded != m_banners.rend())
        m_banners.erase(std::next(forwarded).base());
}

void BannerLedger::notifyRequested(const std::string& caller, std::uint32_t serial,
                                   std::uint32_t replacesId, std::int32_t timeoutMs, bool critical,
                                   Clock::time_point now) {
    prune(now);
    const Clock::time_point expiry = expiryFor(timeoutMs, critical, now);
    if (replacesId != 0) {
        // Replacing a banner that is up shows it again with a fresh timeout.
        const auto known = std::find_if(m_banners.begin(), m_banners.end(),
                                        [&](const Banner& b) { return b.id == replacesId; });
        if (known != m_banners.end()) {
            known->expiry = expiry;
            return;
        }
    }
    absorbForwarded(now);
    add({Path::freedesktop, 0, caller, serial, {}, now, expiry});
}

void BannerLedger::notifyAnswered(const std::string& caller, std::uint32_t replySerial,
                                  std::uint32_t id) {
    const auto isPending = [&](const Banner& b) {
        return b.path == Path::freedesktop && b.id == 0 && b.serial == replySerial &&
               b.caller == caller;
    };
    if (id == 0 || std::none_of(m_banners.begin(), m_banners.end(), isPending))
        return;
    // The server may hand out an id we already track (a replacement we could not match): the
    // newer request stands for that banner.
    closed(id);
    const auto pending = std::find_if(m_banners.begin(), m_banners.end(), isPending);
    pending->id = id;
    pending->caller.clear();
}

void BannerLedger::closed(std::uint32_t id) {
    if (id == 0)
        return;
    std::erase_if(m_banners, [id](const Banner& b) { return b.id == id; });
}

void BannerLedger::removeKeyed(Path path, const std::string& key) {
    std::erase_if(m_banners, [&](const Banner& b) { return b.path == path && b.key == key; });
}

void BannerLedger::gtkAdded(const std::string& key, Clock::time_point now) {
    prune(now);
    removeKeyed(Path::gtk, key);
    absorbForwarded(now);
    add({Path::gtk, 0, {}, 0, key, now, expiryFor(-1, false, now)});
}

void BannerLedger::gtkRemoved(const std::string& key) {
    removeKeyed(Path::gtk, key);
}

void BannerLedger::portalAdded(const std::string& key, Clock::time_point now) {
    prune(now);
    removeKeyed(Path::portal, key);
    add({Path::portal, 0, {}, 0, key, now, expiryFor(-1, false, now)});
}

void BannerLedger::portalRemoved(const std::string& key) {
    removeKeyed(Path::portal, key);
}

void BannerLedger::prune(Clock::time_point now) {
    std::erase_if(m_banners, [now](const Banner& b) { return b.expiry <= now; });
}

bool BannerLedger::present(Clock::time_point now) {
    prune(now);
    return !m_banners.empty();
}

} // namespace quillmere
