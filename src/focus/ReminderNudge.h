#pragma once

#include "model/Minutes.h"
#include "model/WorkBlock.h"

#include <QHash>
#include <QUuid>

namespace quillmere {

class NudgeCard;

// Announces an upcoming block on the nudge card, once per start: a block is announced again
// only when its start has moved since the last announcement.
class ReminderNudge final {
public:
    static constexpr double reminderSeconds = 6.0;

    explicit ReminderNudge(NudgeCard& card) : m_card(card) {}

    void offer(const WorkBlock& block, Minutes now);

private:
    NudgeCard& m_card;
    QHash<QUuid, Minutes> m_reminded;
};

} // namespace quillmere
