#pragma once

#include "model/Minutes.h"

#include <QDateTime>

#include <optional>

namespace quillmere {

// The instant `minutes` after a local midnight, counted in elapsed time (as durations are).
// Nothing for a minute so far out that no calendar date exists for it; such values only come
// from damaged files.
inline std::optional<QDateTime> atMinute(const QDateTime& midnight, Minutes minutes) {
    constexpr Minutes farthest = 1'000'000'000; // about 1900 years either way
    if (!midnight.isValid() || minutes > farthest || minutes < -farthest)
        return std::nullopt;
    const QDateTime at = midnight.addSecs(minutes * 60);
    if (!at.isValid())
        return std::nullopt;
    return at;
}

} // namespace quillmere
