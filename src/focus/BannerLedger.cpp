#include "focus/BannerLedger.h"

#include <algorithm>

namespace quillmere {

namespace {
BannerLedger::Clock::time_point expiryFor(std::int32_t timeoutMs,
                                          BannerLedger::Clock::time_point now) {
    if (timeoutMs > 0)
        return now + std::chrono::milliseconds(timeoutMs);
    return now + BannerLedger::defaultExpiry;
}
} // namespace

void BannerLedger::add(Banner banner) {
    if (m_banners.size() >= maxBanners)
        m_banners.pop_front();
    m_banners.push_back(std::move(banner));
}

void BannerLedger::notifyRequested(const std::string& caller, std::uint32_t serial,
                                   std::uint32_t replacesId, std::int32_t timeoutMs,
                                   Clock::time_point now) {
    prune(now);
    if (replacesId != 0) {
        // Replacing a banner that is up shows it again with a fresh timeout.
        const auto known = std::find_if(m_banners.begin(), m_banners.end(),
                                        [&](const Banner& b) { return b.id == replacesId; });
        if (known != m_banners.end()) {
            known->expiry = expiryFor(timeoutMs, now);
            return;
        }
    }
    add({0, caller, serial, {}, expiryFor(timeoutMs, now)});
}

void BannerLedger::notifyAnswered(const std::string& caller, std::uint32_t replySerial,
                                  std::uint32_t id) {
    const auto isPending = [&](const Banner& b) {
        return b.id == 0 && b.gtkKey.empty() && b.serial == replySerial && b.caller == caller;
    };
    if (id == 0 || std::none_of(m_banners.begin(), m_banners.end(), isPending))
        return;
    // The daemon may hand out an id we already track (a replacement we could not match): the
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

void BannerLedger::gtkAdded(const std::string& key, Clock::time_point now) {
    prune(now);
    gtkRemoved(key);
    add({0, {}, 0, key, expiryFor(0, now)});
}

void BannerLedger::gtkRemoved(const std::string& key) {
    std::erase_if(m_banners, [&](const Banner& b) { return !b.gtkKey.empty() && b.gtkKey == key; });
}

void BannerLedger::prune(Clock::time_point now) {
    std::erase_if(m_banners, [now](const Banner& b) { return b.expiry <= now; });
}

bool BannerLedger::present(Clock::time_point now) {
    prune(now);
    return !m_banners.empty();
}

} // namespace quillmere
