#pragma once

#include "model/Minutes.h"
#include "model/WorkBlock.h"
#include "model/WorkKind.h"

#include <QByteArray>
#include <QDate>
#include <QString>

#include <map>
#include <vector>

// Reading back the record of confirmed blocks for the statistics window, the snapshot tool and
// the export. The database belongs to the store: everything here opens it read-only for one
// read, runs short statements that are finalized at once and closes it again, so no lock is held
// between reads and nothing here can change the file. Everything after the read is arithmetic
// over per-day sums, so the window asks the database once per refresh.
namespace quillmere::StatsQueries {

struct KindMinutes {
    Minutes deep = 0;
    Minutes shallow = 0;

    Minutes of(WorkKind kind) const { return kind == WorkKind::deep ? deep : shallow; }
    void add(WorkKind kind, Minutes minutes) {
        (kind == WorkKind::deep ? deep : shallow) += minutes;
    }
    Minutes total() const { return deep + shallow; }
    bool operator==(const KindMinutes&) const = default;
};

// Minutes per calendar day; days without any are left out.
using DayMinutes = std::map<QDate, KindMinutes>;

struct TitleMinutes {
    QString title;
    Minutes minutes = 0;
    bool operator==(const TitleMinutes&) const = default;
};

// One row as stored, for the export. The id is kept as the text the file holds.
struct ExportRow {
    QString id;
    QString day;
    QString title;
    WorkKind kind = WorkKind::deep;
    Minutes startMinutes = 0;
    Minutes durationMinutes = 0;
};

// Why a read found nothing, in one line the window shows in place of the record.
enum class ReadProblem { none, missing, damaged, locked };
QString explanation(ReadProblem problem);

// Everything the window shows that comes from the database.
struct StatsRecord {
    DayMinutes confirmed;
    std::vector<TitleMinutes> topTitles; // deep minutes of the last 30 days, most first
    ReadProblem problem = ReadProblem::none;
};

inline constexpr int topTitleCount = 8;
inline constexpr int titleWindowDays = 30;

// Rows of an unknown kind, with a day that is no valid "yyyy-MM-dd", or with a duration that is
// not a whole number of minutes within one day are skipped by every read.
StatsRecord readRecord(const QString& databasePath, const QDate& today);
std::vector<TitleMinutes> readTopDeepTitles(const QString& databasePath, const QDate& from,
                                            const QDate& to, int limit,
                                            ReadProblem* problem = nullptr);
std::vector<ExportRow> readRows(const QString& databasePath, ReadProblem* problem = nullptr);

// The plan: minutes per day and kind of the blocks in blocks.json (which keeps 30 days).
DayMinutes plannedMinutes(const std::vector<WorkBlock>& blocks);
DayMinutes readPlannedMinutes(const QString& blocksJsonPath);

struct Totals {
    KindMinutes week;  // the week holding `today`, starting on `firstDayOfWeek`
    KindMinutes month; // the calendar month holding `today`
    KindMinutes allTime;
    bool operator==(const Totals&) const = default;
};
Totals totals(const DayMinutes& days, const QDate& today, Qt::DayOfWeek firstDayOfWeek);

struct Streaks {
    int current = 0; // days with deep work up to today; today not yet worked does not break it
    int longest = 0;
    bool operator==(const Streaks&) const = default;
};
Streaks deepStreaks(const DayMinutes& days, const QDate& today);

// Deep minutes over the days with any confirmed work, rounded to whole minutes.
Minutes averageDeepPerDayWorked(const DayMinutes& days);

QDate weekStart(const QDate& day, Qt::DayOfWeek firstDayOfWeek);

// RFC 4180: a header line, CRLF line ends, fields quoted when they hold a comma, a quote or a
// line break, quotes doubled; UTF-8.
QByteArray toCsv(const std::vector<ExportRow>& rows);
// An array of objects keyed like the record's fields, indented with sorted keys.
QByteArray toJson(const std::vector<ExportRow>& rows);

} // namespace quillmere::StatsQueries
