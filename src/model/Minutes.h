#pragma once

#include <QtGlobal>

#include <cstdint>

namespace quillmere {

// Minutes of day (0 is local midnight, 1440 the next one) and lengths in minutes. A whole
// machine word, as the files may hold any integer a JSON number represents exactly.
using Minutes = std::int64_t;

inline constexpr Minutes minutesPerDay = 1440;
inline constexpr Minutes gridStep = 15;

// Sums of minutes never wrap: a wrapped end would put a block somewhere it is not. The
// decoders keep every stored value within ±2^53, so this only fires on a programming error.
inline Minutes checkedAdd(Minutes a, Minutes b) {
    Minutes sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        qFatal("minute arithmetic overflowed");
    return sum;
}

} // namespace quillmere
