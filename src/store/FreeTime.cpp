#include "store/FreeTime.h"

#include <algorithm>
#include <cstdlib>

namespace quillmere::FreeTime {

namespace {

Minutes roundUpToGrid(Minutes m) {
    const Minutes rest = ((m % gridStep) + gridStep) % gridStep;
    return rest == 0 ? m : checkedAdd(m, gridStep - rest);
}

} // namespace

std::vector<MinuteRange> reservedSlots(const std::vector<RepeatRule>& rules,
                                       const Weekdays& repeatDays,
                                       const std::optional<QUuid>& excludingRuleID) {
    std::vector<MinuteRange> slots;
    if (repeatDays.empty())
        return slots;
    for (const RepeatRule& rule : rules) {
        if (excludingRuleID && rule.id == *excludingRuleID)
            continue;
        const bool shares = std::any_of(rule.weekdays.begin(), rule.weekdays.end(),
                                        [&](int day) { return repeatDays.count(day) > 0; });
        if (shares)
            slots.push_back({rule.startMinutes, rule.endMinutes()});
    }
    return slots;
}

void sortBusy(std::vector<MinuteRange>& busy) {
    std::stable_sort(busy.begin(), busy.end(),
                     [](const MinuteRange& a, const MinuteRange& b) { return a.lower < b.lower; });
}

std::optional<Minutes> nearestFreeStart(std::vector<MinuteRange> busy, Minutes target,
                                        Minutes duration) {
    sortBusy(busy);
    return nearestFreeStartSorted(busy, target, duration);
}

std::optional<Minutes> nearestFreeStartSorted(const std::vector<MinuteRange>& busy, Minutes target,
                                              Minutes duration) {
    std::optional<Minutes> best;
    Minutes bestDistance = 0;
    const auto consider = [&](Minutes lower, Minutes upper) {
        if (upper - lower < duration)
            return;
        const Minutes candidate = std::max(std::min(target, upper - duration), lower);
        const Minutes distance = std::llabs(candidate - target);
        if (!best || distance < bestDistance) {
            best = candidate;
            bestDistance = distance;
        }
    };
    Minutes cursor = 0;
    for (const MinuteRange& interval : busy) {
        if (cursor < interval.lower)
            consider(cursor, interval.lower);
        cursor = std::max(cursor, interval.upper);
    }
    if (cursor < minutesPerDay)
        consider(cursor, minutesPerDay);
    return best;
}

std::optional<MinuteRange> freeGap(const std::vector<MinuteRange>& busy, Minutes minute) {
    MinuteRange gap{0, minutesPerDay};
    for (const MinuteRange& interval : busy) {
        if (interval.upper <= minute)
            gap.lower = std::max(gap.lower, interval.upper);
        else if (interval.lower < minute)
            return std::nullopt;
        else
            gap.upper = std::min(gap.upper, interval.lower);
    }
    return gap;
}

namespace {

// The first quarter hour at or after `now` from which `need` minutes are free.
std::optional<Minutes> firstFreeStart(const std::vector<WorkBlock>& todaySorted, Minutes now,
                                      Minutes need) {
    Minutes start = roundUpToGrid(now);
    for (const WorkBlock& block : todaySorted) {
        if (checkedAdd(start, need) <= block.startMinutes)
            break;
        if (start < block.endMinutes())
            start = roundUpToGrid(block.endMinutes());
    }
    if (checkedAdd(start, need) > minutesPerDay)
        return std::nullopt;
    return start;
}

// Up to an hour, and never past the start of the next block.
Minutes defaultLength(const std::vector<WorkBlock>& todaySorted, Minutes start) {
    Minutes next = minutesPerDay;
    for (const WorkBlock& block : todaySorted) {
        if (block.startMinutes > start) {
            next = block.startMinutes;
            break;
        }
    }
    return std::min<Minutes>(next - start, 60);
}

} // namespace

std::optional<Placement> nextFreeQuarter(const std::vector<WorkBlock>& todaySorted, Minutes now) {
    const std::optional<Minutes> start = firstFreeStart(todaySorted, now, gridStep);
    if (!start)
        return std::nullopt;
    return Placement{*start, defaultLength(todaySorted, *start)};
}

std::variant<Placement, PlacementFault> placeBlock(const std::vector<WorkBlock>& todaySorted,
                                                   Minutes now, std::optional<Minutes> start,
                                                   std::optional<Minutes> duration) {
    const auto onGrid = [](Minutes m) { return m % gridStep == 0; };
    if (start && (*start < 0 || *start >= minutesPerDay || !onGrid(*start)))
        return PlacementFault::offGrid;
    if (duration && (*duration < gridStep || *duration > minutesPerDay || !onGrid(*duration)))
        return PlacementFault::offGrid;
    if (start && duration && *start + *duration > minutesPerDay)
        return PlacementFault::pastMidnight;

    if (!start) {
        const std::optional<Minutes> free =
            firstFreeStart(todaySorted, now, duration.value_or(gridStep));
        if (!free)
            return PlacementFault::dayFull;
        return Placement{*free, duration.value_or(defaultLength(todaySorted, *free))};
    }
    std::vector<MinuteRange> busy;
    busy.reserve(todaySorted.size());
    for (const WorkBlock& block : todaySorted)
        busy.push_back({block.startMinutes, block.endMinutes()});
    const std::optional<MinuteRange> gap = freeGap(busy, *start);
    if (!gap || gap->upper - *start < gridStep)
        return PlacementFault::overlap;
    const Minutes length = duration.value_or(std::min<Minutes>(gap->upper - *start, 60));
    if (*start + length > gap->upper)
        return PlacementFault::overlap;
    return Placement{*start, length};
}

} // namespace quillmere::FreeTime
