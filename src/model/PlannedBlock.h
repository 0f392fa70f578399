#pragma once

#include "model/WorkKind.h"

#include <QString>
#include <QUuid>

#include <optional>

namespace quillmere {

// A backlog item waiting for a time. `pinned` is absent rather than false when the item is
// not pinned, so that unpinning takes the key out of the file again.
struct PlannedBlock {
    QUuid id;
    QString title;
    WorkKind kind = WorkKind::deep;
    double createdAt = 0; // seconds since 2001-01-01 00:00:00 UTC
    std::optional<bool> pinned;

    bool isPinned() const { return pinned.value_or(false); }

    bool operator==(const PlannedBlock&) const = default;
};

} // namespace quillmere
