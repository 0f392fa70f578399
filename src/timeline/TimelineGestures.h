#pragma once

#include "model/Minutes.h"
#include "model/WorkBlock.h"
#include "store/MinuteRange.h"

#include <functional>
#include <optional>

// The arithmetic behind the four drags on the timeline. Each function takes the answers of the
// store's free-time search (or a query that asks it) so that it can be exercised without one.
namespace quillmere::timeline {

// Rounds to the quarter-hour grid, halves away from zero.
Minutes snapToGrid(Minutes m);
Minutes snapToGrid(double m);

// The free start nearest to a wanted start for a given length, none when nothing fits.
using NearestFreeStartQuery =
    std::function<std::optional<Minutes>(Minutes target, Minutes duration)>;
// The free span around a minute, none when the minute lies inside something busy.
using FreeGapQuery = std::function<std::optional<MinuteRange>(Minutes containing)>;

// Where a block dragged by `delta` minutes lands; it stays put when nothing fits anywhere.
Minutes movedStart(const WorkBlock& block, Minutes delta, const NearestFreeStartQuery& nearest);
// The length after dragging the bottom edge; `gap` is the free span around the block's start.
Minutes resizedDuration(const WorkBlock& block, Minutes delta,
                        const std::optional<MinuteRange>& gap);
// The start after dragging the top edge with the end held; `gap` as above.
Minutes resizedTopStart(const WorkBlock& block, Minutes delta,
                        const std::optional<MinuteRange>& gap);

// Which edit a drag on a block makes.
enum class Gesture { move, resizeTop, resizeBottom };

// A drag on a block under way: which gesture, on which block, and how far it has gone.
struct BlockDrag {
    Gesture gesture = Gesture::move;
    QUuid id;
    Minutes delta = 0;
};

struct Creation {
    Minutes start = 0;
    Minutes duration = 0;
    Minutes end() const { return start + duration; }
    bool operator==(const Creation&) const = default;
};

// The range a create drag from `startMinute` to `currentMinute` draws (both read from the
// pointer; either may lie outside the day), or none when it began on busy time or in a sliver
// too short for a block. The drawn range never leaves the free span in which the drag began.
std::optional<Creation> creationRange(Minutes startMinute, Minutes currentMinute,
                                      const FreeGapQuery& freeGap);

} // namespace quillmere::timeline
