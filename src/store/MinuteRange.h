#pragma once

#include "model/Minutes.h"

namespace quillmere {

// A half-open span of minutes [lower, upper): the lower minute is inside, the upper is not.
struct MinuteRange {
    Minutes lower = 0;
    Minutes upper = 0;

    Minutes length() const { return upper - lower; }
    bool operator==(const MinuteRange&) const = default;
};

} // namespace quillmere
