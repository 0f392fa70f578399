#include "store/FocusDriving.h"

#include "store/DayMoments.h"

namespace quillmere::FocusDriving {

std::optional<Chimes> chimes(WorkKind kind) {
    if (kind == WorkKind::deep)
        return Chimes{QStringLiteral("Submarine"), QStringLiteral("Glass")};
    return std::nullopt;
}

bool isNudgeKind(WorkKind kind) {
    return kind == WorkKind::deep;
}

std::optional<Minutes> reminderLead(WorkKind kind) {
    if (kind == WorkKind::deep)
        return 5;
    return std::nullopt;
}

namespace {
bool withinWindow(const QDateTime& boundary, const QDateTime& now) {
    if (!boundary.isValid())
        return false;
    const qint64 ms = boundary.msecsTo(now);
    return ms >= 0 && ms < chimeWindowSeconds * 1000;
}
} // namespace

ChimeStep stepChime(const std::optional<ChimeTarget>& target,
                    const std::optional<WorkBlock>& active, const QDateTime& now,
                    const QDateTime& midnight, bool chimesEnabled) {
    ChimeStep step{{}, target};
    const bool sameBlock = active && target && active->id == target->blockID;
    if (sameBlock)
        return step;

    // The pending block has ended or another has taken over.
    if (target) {
        const auto sounds = chimes(target->kind);
        if (chimesEnabled && sounds && sounds->end && withinWindow(target->end, now))
            step.sounds.push_back(*sounds->end);
        step.target.reset();
    }
    if (active) {
        const auto sounds = chimes(active->kind);
        const auto start = atMinute(midnight, active->startMinutes);
        if (chimesEnabled && sounds && sounds->start && start &&
            start->msecsTo(now) < chimeWindowSeconds * 1000)
            step.sounds.push_back(*sounds->start);
        const auto end = atMinute(midnight, active->endMinutes());
        step.target = ChimeTarget{active->id, active->kind, end.value_or(QDateTime())};
    }
    return step;
}

} // namespace quillmere::FocusDriving
