#include "store/Confirmation.h"

#include "model/TimeMath.h"
#include "store/DayMoments.h"

namespace quillmere::Confirmation {

bool isDue(const WorkBlock& block, const QDateTime& midnight, const QDateTime& now) {
    const auto end = atMinute(midnight, block.endMinutes());
    if (!end)
        return false;
    const qint64 sinceEnd = end->msecsTo(now);
    if (sinceEnd < 0 || sinceEnd >= windowMs)
        return false;
    if (block.createdAt && *block.createdAt >= TimeMath::referenceSeconds(*end))
        return false;
    return true;
}

ConfirmedBlock row(const WorkBlock& block) {
    return ConfirmedBlock{block.id,
                          block.day,
                          block.title.isEmpty() ? defaultTitle(block.kind) : block.title,
                          block.kind,
                          block.startMinutes,
                          block.durationMinutes};
}

} // namespace quillmere::Confirmation
