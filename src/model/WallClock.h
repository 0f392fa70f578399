#pragma once

#include <QDateTime>

namespace quillmere {

// The one source of "now". Everything that needs the time asks an instance of this, so that
// tests can run a whole day in a moment with a clock they move by hand.
class WallClock {
public:
    virtual ~WallClock() = default;
    virtual QDateTime now() const = 0;
};

class SystemWallClock final : public WallClock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

} // namespace quillmere
