#pragma once

#include "model/Minutes.h"
#include "model/WorkKind.h"

#include <QString>
#include <QUuid>

#include <optional>
#include <set>

namespace quillmere {

// Weekday numbers as the Gregorian calendar counts them: 1 Sunday, 2 Monday … 7 Saturday.
using Weekdays = std::set<int>;

// A template block stamped onto every weekday it names.
struct RepeatRule {
    QUuid id;
    QString title;
    WorkKind kind = WorkKind::deep;
    Minutes startMinutes = 0;
    Minutes durationMinutes = 0;
    Weekdays weekdays;
    std::optional<QString> lastStampedDay; // the latest day the rule was considered for

    Minutes endMinutes() const { return checkedAdd(startMinutes, durationMinutes); }

    bool operator==(const RepeatRule&) const = default;
};

} // namespace quillmere
