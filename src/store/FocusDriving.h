#pragma once

#include "model/WorkBlock.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>
#include <vector>

// When the store sounds a chime, and the per-kind tables that steer the focus aids.
namespace quillmere::FocusDriving {

struct Chimes {
    std::optional<QString> start;
    std::optional<QString> end;
};

// Kinds without chimes never sound; today only deep work has them.
std::optional<Chimes> chimes(WorkKind kind);
// Kinds during which notification banners are watched.
bool isNudgeKind(WorkKind kind);
// How long before a block's start its reminder is offered; kinds without one get none.
std::optional<Minutes> reminderLead(WorkKind kind);

// A chime only sounds within this long after the boundary it marks, so a block already under
// way when the program starts gets no start chime.
inline constexpr qint64 chimeWindowSeconds = 120;

struct ChimeTarget {
    QUuid blockID;
    WorkKind kind;
    QDateTime end;
};

struct ChimeStep {
    std::vector<QString> sounds; // in the order to play them
    std::optional<ChimeTarget> target;
};

// Given the pending target and the running chimed block (if any), which sounds play now and
// what the next target is. The target is tracked even with chimes off, so that turning them on
// mid-block still gives the end chime.
ChimeStep stepChime(const std::optional<ChimeTarget>& target,
                    const std::optional<WorkBlock>& active, const QDateTime& now,
                    const QDateTime& midnight, bool chimesEnabled);

} // namespace quillmere::FocusDriving
