#pragma once

namespace quillmere {

// Answers whether a desktop notification banner is on screen right now.
class BannerSource {
public:
    virtual ~BannerSource() = default;
    virtual bool bannerPresent() = 0;
    // Whether anyone watches; a source may then spare the effort of finding its banners.
    virtual void setWatching(bool) {}
};

} // namespace quillmere
