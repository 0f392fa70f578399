#pragma once

#include "focus/BannerSource.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace quillmere {

// A banner is present when any of several ways of seeing one sees it: the bus traffic and, on
// X11, the servers' own windows. Both may see the same banner; presence is all that counts.
class AnyBannerSource final : public BannerSource {
public:
    explicit AnyBannerSource(std::vector<std::unique_ptr<BannerSource>> sources)
        : m_sources(std::move(sources)) {}

    bool bannerPresent() override {
        return std::any_of(m_sources.begin(), m_sources.end(),
                           [](const auto& source) { return source->bannerPresent(); });
    }
    void setWatching(bool watching) override {
        for (const auto& source : m_sources)
            source->setWatching(watching);
    }
    QStringList takeArrivals() override {
        QStringList all;
        for (const auto& source : m_sources)
            all += source->takeArrivals();
        return all;
    }

private:
    std::vector<std::unique_ptr<BannerSource>> m_sources;
};

} // namespace quillmere
