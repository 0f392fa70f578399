#pragma once

#include "store/StatsQueries.h"

#include <QDate>
#include <QString>

namespace quillmere {

// What the statistics window shows, read once per refresh.
struct StatsContent {
    StatsQueries::StatsRecord record;
    StatsQueries::DayMinutes planned;
    QDate today;
    Qt::DayOfWeek firstDayOfWeek = Qt::Monday;
};

// Reads the record of the data folder's stats.sqlite as of `today`; the plan comes from the
// caller, who may hold the blocks in memory already.
StatsContent loadStatsContent(const QString& folder, const QDate& today,
                              StatsQueries::DayMinutes planned, Qt::DayOfWeek firstDayOfWeek);

QString statsDatabasePath(const QString& folder);

} // namespace quillmere
