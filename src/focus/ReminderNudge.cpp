#include "focus/ReminderNudge.h"

#include "focus/NudgeCard.h"
#include "focus/NudgeTexts.h"
#include "ui/KindColors.h"

namespace quillmere {

void ReminderNudge::offer(const WorkBlock& block, Minutes now) {
    const auto announced = m_reminded.constFind(block.id);
    if (announced != m_reminded.constEnd() && *announced == block.startMinutes)
        return;
    m_reminded.insert(block.id, block.startMinutes);
    m_card.show(nudgeTexts::reminderTitle(block, now), nudgeTexts::reminderDetail(block),
                ui::kindColor(block.kind), reminderSeconds);
}

} // namespace quillmere
