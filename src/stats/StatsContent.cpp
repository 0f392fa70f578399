#include "stats/StatsContent.h"

#include <QDir>

namespace quillmere {

QString statsDatabasePath(const QString& folder) {
    return QDir(folder).filePath(QStringLiteral("stats.sqlite"));
}

StatsContent loadStatsContent(const QString& folder, const QDate& today,
                              StatsQueries::DayMinutes planned, Qt::DayOfWeek firstDayOfWeek) {
    return {StatsQueries::readRecord(statsDatabasePath(folder), today), std::move(planned), today,
            firstDayOfWeek};
}

} // namespace quillmere
