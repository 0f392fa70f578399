#include "store/StatsDB.h"

#include "model/JsonCodec.h"

#include <sqlite3.h>

#include <limits>

namespace quillmere {

namespace {

const char* const schemaSql =
    "CREATE TABLE IF NOT EXISTS confirmed_blocks ("
    "id TEXT PRIMARY KEY, "
    "day TEXT NOT NULL, "
    "title TEXT NOT NULL, "
    "kind TEXT NOT NULL, "
    "start_minutes INTEGER NOT NULL, "
    "duration_minutes INTEGER NOT NULL, "
    "journal TEXT"
    ");"
    "CREATE INDEX IF NOT EXISTS confirmed_blocks_day ON confirmed_blocks(day);";

const char* const insertSql = "INSERT OR IGNORE INTO confirmed_blocks\n"
                              "    (id, day, title, kind, start_minutes, duration_minutes)\n"
                              "    VALUES (?1, ?2, ?3, ?4, ?5, ?6);";

const char* const lookupSql = "SELECT id FROM confirmed_blocks WHERE day = ?1;";

void bindText(sqlite3_stmt* statement, int index, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    sqlite3_bind_text(statement, index, utf8.constData(), static_cast<int>(utf8.size()),
                      SQLITE_TRANSIENT);
}

int int32(Minutes value) {
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        qFatal("minutes do not fit the statistics database");
    return static_cast<int>(value);
}

} // namespace

StatsDB::StatsDB(const QString& path) {
    sqlite3* handle = nullptr;
    const QByteArray file = path.toUtf8();
    if (sqlite3_open(file.constData(), &handle) == SQLITE_OK && handle) {
        m_db = handle;
        sqlite3_exec(m_db, schemaSql, nullptr, nullptr, nullptr);
    } else if (handle) {
        sqlite3_close(handle);
    }
}

StatsDB::~StatsDB() {
    if (m_db)
        sqlite3_close(m_db);
}

void StatsDB::insert(const ConfirmedBlock& row) {
    if (!m_db)
        return;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_db, insertSql, -1, &statement, nullptr) != SQLITE_OK || !statement) {
        sqlite3_finalize(statement);
        return;
    }
    bindText(statement, 1, json::uuidText(row.id));
    bindText(statement, 2, row.day);
    bindText(statement, 3, row.title);
    bindText(statement, 4, rawValue(row.kind));
    sqlite3_bind_int(statement, 5, int32(row.startMinutes));
    sqlite3_bind_int(statement, 6, int32(row.durationMinutes));
    sqlite3_step(statement);
    sqlite3_finalize(statement);
}

QSet<QUuid> StatsDB::confirmedIDs(const QString& day) const {
    QSet<QUuid> ids;
    if (!m_db)
        return ids;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_db, lookupSql, -1, &statement, nullptr) != SQLITE_OK || !statement) {
        sqlite3_finalize(statement);
        return ids;
    }
    bindText(statement, 1, day);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        const unsigned char* text = sqlite3_column_text(statement, 0);
        if (!text)
            continue;
        const int bytes = sqlite3_column_bytes(statement, 0);
        const auto id =
            json::parseUuid(QString::fromUtf8(reinterpret_cast<const char*>(text), bytes));
        if (id)
            ids.insert(*id);
    }
    sqlite3_finalize(statement);
    return ids;
}

} // namespace quillmere
