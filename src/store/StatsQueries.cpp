#include "store/StatsQueries.h"

#include "model/JsonCodec.h"
#include "model/TimeMath.h"

#include <sqlite3.h>

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <cstring>
#include <optional>

namespace quillmere::StatsQueries {

namespace {

// Rows whose minutes are not whole numbers within one day would make every sum a lie.
#define QUILLMERE_SANE_DURATION                                                                    \
    "typeof(duration_minutes) = 'integer' AND duration_minutes BETWEEN 1 AND 1440"

// One plain pass over the table, summed here: grouping in SQLite builds a temporary b-tree and
// costs several times the scan (10 ms against 1.5 ms for five years of rows).
const char* const dayMinutesSql = "SELECT day, kind, duration_minutes FROM confirmed_blocks "
                                  "WHERE " QUILLMERE_SANE_DURATION ";";

// The day range goes through the day index; the few rows it finds are summed here, so that a
// day text that only looks like it is in range is still checked.
const char* const deepTitlesSql = "SELECT day, title, duration_minutes FROM confirmed_blocks "
                                  "WHERE day BETWEEN ?1 AND ?2 AND kind = 'deep' "
                                  "AND " QUILLMERE_SANE_DURATION ";";

const char* const rowsSql =
    "SELECT id, day, title, kind, start_minutes, duration_minutes FROM confirmed_blocks "
    "WHERE typeof(start_minutes) = 'integer' AND " QUILLMERE_SANE_DURATION
    " ORDER BY day, start_minutes, id;";

#undef QUILLMERE_SANE_DURATION

ReadProblem problemOf(int code) {
    switch (code & 0xff) {
    case SQLITE_CANTOPEN:
        return ReadProblem::missing;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    // A journal left by an interrupted write, which only a writer may roll back: the store
    // does so with its next row.
    case SQLITE_READONLY:
        return ReadProblem::locked;
    default:
        return ReadProblem::damaged;
    }
}

// One read-only connection for the length of one read. Opening never creates the file, and a
// writer holding the database makes the read give up at once instead of waiting.
class Reader final {
public:
    explicit Reader(const QString& path) {
        // The file is checked first: SQLite would not create it read-only, but a missing file
        // deserves its own explanation.
        if (!QFile::exists(path)) {
            m_problem = ReadProblem::missing;
            return;
        }
        const QByteArray file = path.toUtf8();
        const int code = sqlite3_open_v2(file.constData(), &m_db, SQLITE_OPEN_READONLY, nullptr);
        if (code != SQLITE_OK)
            m_problem = problemOf(code);
    }
    ~Reader() { sqlite3_close(m_db); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    ReadProblem problem() const { return m_problem; }

    // Runs one statement to its end; `onRow` sees each row. Returns false, with the problem
    // noted, when the statement could not run through.
    template <typename Bind, typename OnRow> bool run(const char* sql, Bind bind, OnRow onRow) {
        if (m_problem != ReadProblem::none)
            return false;
        sqlite3_stmt* statement = nullptr;
        int code = sqlite3_prepare_v2(m_db, sql, -1, &statement, nullptr);
        if (code != SQLITE_OK || !statement) {
            sqlite3_finalize(statement);
            m_problem = noteFailure(code);
            return false;
        }
        bind(statement);
        while ((code = sqlite3_step(statement)) == SQLITE_ROW)
            onRow(statement);
        sqlite3_finalize(statement);
        if (code != SQLITE_DONE) {
            m_problem = problemOf(code);
            return false;
        }
        return true;
    }

private:
    ReadProblem noteFailure(int code) const {
        // A database without the table is one the store never wrote a row to.
        if ((code & 0xff) == SQLITE_ERROR &&
            QString::fromUtf8(sqlite3_errmsg(m_db)).startsWith(QLatin1String("no such table")))
            return ReadProblem::missing;
        return problemOf(code);
    }

    sqlite3* m_db = nullptr;
    ReadProblem m_problem = ReadProblem::none;
};

QString textColumn(sqlite3_stmt* statement, int column, bool* isNull = nullptr) {
    const auto* text = sqlite3_column_text(statement, column);
    if (isNull)
        *isNull = text == nullptr;
    return text ? QString::fromUtf8(reinterpret_cast<const char*>(text),
                                    sqlite3_column_bytes(statement, column))
                : QString();
}

void bindDay(sqlite3_stmt* statement, int index, const QDate& day) {
    const QByteArray text = day.toString(Qt::ISODate).toUtf8();
    sqlite3_bind_text(statement, index, text.constData(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
}

void noBinding(sqlite3_stmt*) {}

std::optional<WorkKind> kindOf(sqlite3_stmt* statement, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    const int bytes = sqlite3_column_bytes(statement, column);
    if (!text)
        return std::nullopt;
    if (bytes == 4 && std::memcmp(text, "deep", 4) == 0)
        return WorkKind::deep;
    if (bytes == 7 && std::memcmp(text, "shallow", 7) == 0)
        return WorkKind::shallow;
    return std::nullopt;
}

DayMinutes dayMinutes(Reader& reader) {
    DayMinutes days;
    // Rows arrive mostly a day at a time, so each day's text is parsed once, not once a row.
    QByteArray lastText;
    std::optional<QDate> lastDay;
    KindMinutes* lastSums = nullptr;
    const bool done = reader.run(dayMinutesSql, noBinding, [&](sqlite3_stmt* statement) {
        const auto kind = kindOf(statement, 1);
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        if (!kind || !text)
            return;
        const int bytes = sqlite3_column_bytes(statement, 0);
        if (lastText.size() != bytes || std::memcmp(lastText.constData(), text, bytes) != 0) {
            lastText = QByteArray(text, bytes);
            lastDay = TimeMath::dateFromDayKey(QString::fromUtf8(lastText));
            lastSums = lastDay ? &days[*lastDay] : nullptr;
        }
        if (lastSums)
            lastSums->add(*kind, sqlite3_column_int64(statement, 2));
    });
    return done ? days : DayMinutes{};
}

std::vector<TitleMinutes> topDeepTitles(Reader& reader, const QDate& from, const QDate& to,
                                        int limit) {
    QHash<QString, Minutes> sums;
    const bool done = reader.run(
        deepTitlesSql,
        [&](sqlite3_stmt* statement) {
            bindDay(statement, 1, from);
            bindDay(statement, 2, to);
        },
        [&](sqlite3_stmt* statement) {
            bool nullTitle = false;
            const QString title = textColumn(statement, 1, &nullTitle);
            if (!nullTitle && TimeMath::dateFromDayKey(textColumn(statement, 0)))
                sums[title] += sqlite3_column_int64(statement, 2);
        });
    std::vector<TitleMinutes> titles;
    if (!done)
        return titles;
    for (auto it = sums.cbegin(); it != sums.cend(); ++it)
        titles.push_back({it.key(), it.value()});
    std::sort(titles.begin(), titles.end(), [](const TitleMinutes& a, const TitleMinutes& b) {
        return a.minutes != b.minutes ? a.minutes > b.minutes : a.title < b.title;
    });
    if (titles.size() > static_cast<std::size_t>(std::max(limit, 0)))
        titles.resize(static_cast<std::size_t>(std::max(limit, 0)));
    return titles;
}

QByteArray csvField(const QString& text) {
    QByteArray utf8 = text.toUtf8();
    if (!utf8.contains(',') && !utf8.contains('"') && !utf8.contains('\n') && !utf8.contains('\r'))
        return utf8;
    utf8.replace("\"", "\"\"");
    return '"' + utf8 + '"';
}

} // namespace

QString explanation(ReadProblem problem) {
    switch (problem) {
    case ReadProblem::none:
        return {};
    case ReadProblem::missing:
        return QStringLiteral("No blocks recorded yet: each block is recorded here when it ends.");
    case ReadProblem::damaged:
        return QStringLiteral("The statistics file is damaged and cannot be read.");
    case ReadProblem::locked:
        return QStringLiteral("The statistics file is busy; the record shows again in a moment.");
    }
    return {};
}

StatsRecord readRecord(const QString& databasePath, const QDate& today) {
    Reader reader(databasePath);
    StatsRecord record;
    record.confirmed = dayMinutes(reader);
    record.topTitles =
        topDeepTitles(reader, today.addDays(1 - titleWindowDays), today, topTitleCount);
    record.problem = reader.problem();
    if (record.problem != ReadProblem::none)
        record = StatsRecord{{}, {}, record.problem};
    return record;
}

std::vector<TitleMinutes> readTopDeepTitles(const QString& databasePath, const QDate& from,
                                            const QDate& to, int limit, ReadProblem* problem) {
    Reader reader(databasePath);
    std::vector<TitleMinutes> titles = topDeepTitles(reader, from, to, limit);
    if (problem)
        *problem = reader.problem();
    return titles;
}

std::vector<ExportRow> readRows(const QString& databasePath, ReadProblem* problem) {
    Reader reader(databasePath);
    std::vector<ExportRow> rows;
    const bool done = reader.run(rowsSql, noBinding, [&](sqlite3_stmt* statement) {
        bool nullId = false;
        bool nullTitle = false;
        ExportRow row;
        row.id = textColumn(statement, 0, &nullId);
        row.day = textColumn(statement, 1);
        row.title = textColumn(statement, 2, &nullTitle);
        const auto kind = workKindFromRaw(textColumn(statement, 3));
        if (nullId || nullTitle || !kind || !TimeMath::dateFromDayKey(row.day))
            return;
        row.kind = *kind;
        row.startMinutes = sqlite3_column_int64(statement, 4);
        row.durationMinutes = sqlite3_column_int64(statement, 5);
        rows.push_back(std::move(row));
    });
    if (problem)
        *problem = reader.problem();
    return done ? rows : std::vector<ExportRow>{};
}

DayMinutes plannedMinutes(const std::vector<WorkBlock>& blocks) {
    DayMinutes days;
    for (const WorkBlock& block : blocks) {
        const auto day = TimeMath::dateFromDayKey(block.day);
        if (day && block.durationMinutes > 0)
            days[*day].add(block.kind, block.durationMinutes);
    }
    return days;
}

DayMinutes readPlannedMinutes(const QString& blocksJsonPath) {
    QFile file(blocksJsonPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const auto blocks = json::decodeList<WorkBlock>(file.readAll());
    return blocks ? plannedMinutes(*blocks) : DayMinutes{};
}

QDate weekStart(const QDate& day, Qt::DayOfWeek firstDayOfWeek) {
    return day.addDays(-((day.dayOfWeek() - static_cast<int>(firstDayOfWeek) + 7) % 7));
}

Totals totals(const DayMinutes& days, const QDate& today, Qt::DayOfWeek firstDayOfWeek) {
    const QDate week = weekStart(today, firstDayOfWeek);
    const QDate month(today.year(), today.month(), 1);
    Totals sums;
    for (const auto& [day, minutes] : days) {
        for (const WorkKind kind : allWorkKinds) {
            sums.allTime.add(kind, minutes.of(kind));
            if (day >= week && day < week.addDays(7))
                sums.week.add(kind, minutes.of(kind));
            if (day >= month && day < month.addMonths(1))
                sums.month.add(kind, minutes.of(kind));
        }
    }
    return sums;
}

Streaks deepStreaks(const DayMinutes& days, const QDate& today) {
    Streaks streaks;
    QDate previous;
    int run = 0;
    for (const auto& [day, minutes] : days) {
        if (minutes.deep <= 0)
            continue;
        run = previous.isValid() && previous.addDays(1) == day ? run + 1 : 1;
        previous = day;
        streaks.longest = std::max(streaks.longest, run);
    }
    const auto worked = [&](const QDate& day) {
        const auto it = days.find(day);
        return it != days.end() && it->second.deep > 0;
    };
    // The day under way has not broken the streak until it is over.
    QDate day = worked(today) ? today : today.addDays(-1);
    while (worked(day)) {
        ++streaks.current;
        day = day.addDays(-1);
    }
    return streaks;
}

Minutes averageDeepPerDayWorked(const DayMinutes& days) {
    Minutes deep = 0;
    Minutes worked = 0;
    for (const auto& [day, minutes] : days) {
        if (minutes.total() <= 0)
            continue;
        deep += minutes.deep;
        ++worked;
    }
    return worked == 0 ? 0 : (2 * deep + worked) / (2 * worked);
}

QByteArray toCsv(const std::vector<ExportRow>& rows) {
    QByteArray out = "id,day,title,kind,start_minutes,duration_minutes\r\n";
    for (const ExportRow& row : rows) {
        out += csvField(row.id) + ',' + csvField(row.day) + ',' + csvField(row.title) + ',' +
               rawValue(row.kind).toUtf8() + ',' + QByteArray::number(row.startMinutes) + ',' +
               QByteArray::number(row.durationMinutes) + "\r\n";
    }
    return out;
}

QByteArray toJson(const std::vector<ExportRow>& rows) {
    QJsonArray array;
    for (const ExportRow& row : rows) {
        array.append(QJsonObject{
            {QStringLiteral("id"), row.id},
            {QStringLiteral("day"), row.day},
            {QStringLiteral("title"), row.title},
            {QStringLiteral("kind"), rawValue(row.kind)},
            {QStringLiteral("startMinutes"), static_cast<qint64>(row.startMinutes)},
            {QStringLiteral("durationMinutes"), static_cast<qint64>(row.durationMinutes)}});
    }
    return json::encodeStateFile(array);
}

} // namespace quillmere::StatsQueries
