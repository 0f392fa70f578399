#pragma once

#include "model/RepeatRule.h"
#include "model/WorkBlock.h"
#include "store/MinuteRange.h"

#include <QUuid>

#include <optional>
#include <variant>
#include <vector>

// Finding room on one day's timeline. Pure functions over busy intervals, called on every
// drag update, so they only build small lists.
namespace quillmere::FreeTime {

// The times that other repeat rules hold on any of the given weekdays, whatever today is.
std::vector<MinuteRange> reservedSlots(const std::vector<RepeatRule>& rules,
                                       const Weekdays& repeatDays,
                                       const std::optional<QUuid>& excludingRuleID);

// The start nearest to `target` at which `duration` fits into a free gap of the day; ties go
// to the earlier start. Nothing when no gap is long enough.
std::optional<Minutes> nearestFreeStart(std::vector<MinuteRange> busy, Minutes target,
                                        Minutes duration);
// The same over intervals already sorted by their lower end, without copying them.
std::optional<Minutes> nearestFreeStartSorted(const std::vector<MinuteRange>& sortedBusy,
                                              Minutes target, Minutes duration);
// Sorts busy intervals by their lower end, as nearestFreeStartSorted wants them.
void sortBusy(std::vector<MinuteRange>& busy);

// The free gap that holds `minute`; nothing when the minute lies strictly inside a busy
// interval. A busy interval starting exactly at the minute gives an empty gap, not nothing.
std::optional<MinuteRange> freeGap(const std::vector<MinuteRange>& busy, Minutes minute);

struct Placement {
    Minutes start;
    Minutes duration;
};

// The next free quarter hour at or after `now` among a day's blocks (sorted by start), with a
// length of up to an hour; nothing when the day is full.
std::optional<Placement> nextFreeQuarter(const std::vector<WorkBlock>& todaySorted, Minutes now);

enum class PlacementFault {
    offGrid,      // a start or length off the quarter-hour grid, or outside the day
    pastMidnight, // the block would end after midnight
    overlap,      // the time asked for is not free
    dayFull,      // no free time of that length is left after now
};

// Where a block added from outside the panel goes: at `start` when given (the time must be
// free), else at the first free quarter hour from `now`; for `duration` when given, else up to
// an hour and never into the next block, as the add buttons do.
std::variant<Placement, PlacementFault> placeBlock(const std::vector<WorkBlock>& todaySorted,
                                                   Minutes now, std::optional<Minutes> start,
                                                   std::optional<Minutes> duration);

} // namespace quillmere::FreeTime
