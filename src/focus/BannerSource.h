#pragma once

#include <QStringList>

namespace quillmere {

// Answers whether a desktop notification banner is on screen right now.
class BannerSource {
public:
    virtual ~BannerSource() = default;
    virtual bool bannerPresent() = 0;
    // Whether anyone watches; a source may then spare the effort of finding its banners.
    virtual void setWatching(bool) {}
    // The applications of the notifications requested since the last call, one entry each, in
    // the order they came (an empty name where the request gave none). Sources that only see
    // windows know no requests.
    virtual QStringList takeArrivals() { return {}; }
};

} // namespace quillmere
