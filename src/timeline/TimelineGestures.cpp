#include "timeline/TimelineGestures.h"

#include <algorithm>
#include <cmath>

namespace quillmere::timeline {

Minutes snapToGrid(double m) {
    // std::round already rounds halves away from zero, which is what makes -7.5 snap to -15.
    return static_cast<Minutes>(std::round(m / static_cast<double>(gridStep))) * gridStep;
}

Minutes snapToGrid(Minutes m) {
    return snapToGrid(static_cast<double>(m));
}

Minutes movedStart(const WorkBlock& block, Minutes delta, const NearestFreeStartQuery& nearest) {
    const Minutes snapped = snapToGrid(checkedAdd(block.startMinutes, delta));
    return nearest(snapped, block.durationMinutes).value_or(block.startMinutes);
}

Minutes resizedDuration(const WorkBlock& block, Minutes delta,
                        const std::optional<MinuteRange>& gap) {
    const Minutes snapped = snapToGrid(checkedAdd(block.durationMinutes, delta));
    // Without a known gap the block may shrink but never grow.
    const Minutes ceiling = gap ? gap->upper - block.startMinutes : block.durationMinutes;
    return std::max(std::min(snapped, ceiling), gridStep);
}

Minutes resizedTopStart(const WorkBlock& block, Minutes delta,
                        const std::optional<MinuteRange>& gap) {
    const Minutes snapped = snapToGrid(checkedAdd(block.startMinutes, delta));
    const Minutes latest = block.endMinutes() - gridStep;
    // Without a known gap the top edge may move down but not up.
    const Minutes floor = gap ? gap->lower : block.startMinutes;
    return std::max(std::min(snapped, latest), floor);
}

std::optional<Creation> creationRange(Minutes startMinute, Minutes currentMinute,
                                      const FreeGapQuery& freeGap) {
    const Minutes m0 = std::clamp<Minutes>(startMinute, 0, minutesPerDay);
    const std::optional<MinuteRange> gap = freeGap(m0);
    if (!gap || gap->length() < gridStep)
        return std::nullopt;

    const Minutes top = std::clamp<Minutes>(std::min(startMinute, currentMinute), 0, minutesPerDay);
    const Minutes bottom =
        std::clamp<Minutes>(std::max(startMinute, currentMinute), 0, minutesPerDay);
    const Minutes a = std::max(snapToGrid(top), gap->lower);
    const Minutes b = std::min(snapToGrid(bottom), gap->upper);
    const Minutes duration = std::max(b - a, gridStep);
    // A minimum-length block that would cross the gap's end is pushed back to end there.
    const Minutes start = std::max(std::min(a, gap->upper - duration), gap->lower);
    return Creation{start, duration};
}

} // namespace quillmere::timeline
