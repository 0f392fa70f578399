#pragma once

#include "model/Minutes.h"
#include "model/WorkKind.h"

#include <QString>
#include <QUuid>

#include <optional>

namespace quillmere {

// One block on one day. Instants are seconds since 2001-01-01 00:00:00 UTC, the form the
// files store, so a decoded value re-encodes to the same number.
struct WorkBlock {
    QUuid id;
    QString title;
    QString day; // "yyyy-MM-dd"
    Minutes startMinutes = 0;
    Minutes durationMinutes = 0;
    WorkKind kind = WorkKind::deep;
    std::optional<QUuid> repeatRuleID;
    std::optional<double> createdAt;

    Minutes endMinutes() const { return checkedAdd(startMinutes, durationMinutes); }

    bool operator==(const WorkBlock&) const = default;
};

// A row of the statistics database: the block as it was when its end passed.
struct ConfirmedBlock {
    QUuid id;
    QString day;
    QString title;
    WorkKind kind = WorkKind::deep;
    Minutes startMinutes = 0;
    Minutes durationMinutes = 0;
};

} // namespace quillmere
