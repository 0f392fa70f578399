#pragma once

#include "model/RepeatRule.h"
#include "model/WorkBlock.h"

#include <QString>

#include <vector>

namespace quillmere {

struct StampResult {
    std::vector<WorkBlock> stamped; // new blocks for today, in the order they were made
    bool rulesChanged = false;
};

// Considers every rule once for today: marks it as considered and, when it applies to this
// weekday and its time is still free (blocks stamped earlier in the same pass count), makes a
// block from it. Rules are visited by start time so that earlier ones win a collision.
StampResult stampRules(std::vector<RepeatRule>& rules, const std::vector<WorkBlock>& todayBlocks,
                       const QString& todayKey, int weekday, double nowReferenceSeconds);

} // namespace quillmere
