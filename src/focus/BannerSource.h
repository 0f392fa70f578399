#pragma once

namespace quillmere {

// Answers whether a desktop notification banner is on screen right now.
class BannerSource {
public:
    virtual ~BannerSource() = default;
    virtual bool bannerPresent() = 0;
};

} // namespace quillmere
