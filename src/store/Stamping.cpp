#include "store/Stamping.h"

#include <QUuid>

#include <algorithm>
#include <numeric>

namespace quillmere {

StampResult stampRules(std::vector<RepeatRule>& rules, const std::vector<WorkBlock>& todayBlocks,
                       const QString& todayKey, int weekday, double nowReferenceSeconds) {
    StampResult result;
    std::vector<std::size_t> order(rules.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return rules[a].startMinutes < rules[b].startMinutes;
    });

    std::vector<WorkBlock> occupied = todayBlocks;
    for (std::size_t index : order) {
        RepeatRule& rule = rules[index];
        if (rule.lastStampedDay == todayKey)
            continue;
        // Marked whether or not it applies, so that nothing the user removes today comes back.
        rule.lastStampedDay = todayKey;
        result.rulesChanged = true;
        if (!rule.weekdays.count(weekday))
            continue;
        const Minutes start = rule.startMinutes;
        const Minutes end = rule.endMinutes();
        const bool collides =
            std::any_of(occupied.begin(), occupied.end(), [&](const WorkBlock& b) {
                return b.startMinutes < end && start < b.endMinutes();
            });
        if (collides)
            continue;
        WorkBlock block{QUuid::createUuid(),  rule.title, todayKey, start,
                        rule.durationMinutes, rule.kind,  rule.id,  nowReferenceSeconds};
        occupied.push_back(block);
        result.stamped.push_back(std::move(block));
    }
    return result;
}

} // namespace quillmere
