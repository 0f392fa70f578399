#include "store/StatsDB.h"

#include "support/StoreHarness.h"

#include <sqlite3.h>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

namespace {

// A second, independent connection to inspect what the program wrote.
struct RawDB {
    sqlite3* db = nullptr;
    explicit RawDB(const QString& path) { sqlite3_open(path.toUtf8().constData(), &db); }
    ~RawDB() { sqlite3_close(db); }

    QStringList column(const char* sql) const {
        QStringList out;
        sqlite3_stmt* st = nullptr;
        sqlite3_prepare_v2(db, sql, -1, &st, nullptr);
        while (sqlite3_step(st) == SQLITE_ROW) {
            const auto* text = sqlite3_column_text(st, 0);
            out << (text ? QString::fromUtf8(reinterpret_cast<const char*>(text))
                         : QStringLiteral("<null>"));
        }
        sqlite3_finalize(st);
        return out;
    }
    void exec(const char* sql) const { sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }
};

using Confirming = StoreHarness;

} // namespace

TEST(StatsDB, SchemaInsertAndLookupAgainstARealFile) {
    TempDataDir dir;
    const QString path = dir.file(u"stats.sqlite"_s);
    const QUuid id = QUuid::createUuid();
    {
        StatsDB stats(path);
        ASSERT_TRUE(stats.isOpen());
        stats.insert({id, u"2024-03-04"_s, u"Write"_s, WorkKind::deep, 540, 60});
        // A second insert of the same id keeps the first row.
        stats.insert({id, u"2024-03-04"_s, u"Other"_s, WorkKind::shallow, 0, 15});
        stats.insert({QUuid::createUuid(), u"2024-03-03"_s, QString(), WorkKind::shallow, 0, 15});
    }
    RawDB raw(path);
    EXPECT_EQ(raw.column("SELECT sql FROM sqlite_master WHERE name = 'confirmed_blocks'"),
              QStringList{u"CREATE TABLE confirmed_blocks (id TEXT PRIMARY KEY, day TEXT NOT NULL, "
                          u"title TEXT NOT NULL, kind TEXT NOT NULL, start_minutes INTEGER NOT "
                          u"NULL, duration_minutes INTEGER NOT NULL, journal TEXT)"_s});
    EXPECT_EQ(raw.column("SELECT id || '|' || title || '|' || kind || '|' || start_minutes || '|' "
                         "|| duration_minutes || '|' || typeof(journal) FROM confirmed_blocks "
                         "WHERE day = '2024-03-04'"),
              QStringList{json::uuidText(id) + u"|Write|deep|540|60|null"_s});

    // Rows written by anyone else: a null id and text that is no identifier are skipped.
    raw.exec("INSERT INTO confirmed_blocks (id, day, title, kind, start_minutes, duration_minutes)"
             " VALUES (NULL, '2024-03-04', 't', 'deep', 1, 1), ('garbage', '2024-03-04', 't', "
             "'deep', 1, 1), ('6f1d2c3b-4a59-4867-9786-a5b4c3d2e1f0', '2024-03-04', 't', "
             "'deep', 1, 1);");
    EXPECT_EQ(StatsDB(path).confirmedIDs(u"2024-03-04"_s),
              (QSet<QUuid>{id, QUuid::fromString(u"6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"_s)}));
}

TEST(StatsDB, AnUnopenableFileGivesNoHandleAndQuietCalls) {
    TempDataDir dir;
    StatsDB stats(dir.file(QStringLiteral("missing/folder/stats.sqlite")));
    EXPECT_FALSE(stats.isOpen());
    stats.insert(
        {QUuid::createUuid(), QStringLiteral("d"), QStringLiteral("t"), WorkKind::deep, 1, 1});
    EXPECT_TRUE(stats.confirmedIDs(QStringLiteral("d")).isEmpty());
}

TEST_F(Confirming, BlocksAreConfirmedUnderTheirOwnDayAndARestartReloadsTodaysOnly) {
    // Yesterday's last block ends at midnight and is confirmed on today's first refresh.
    const WorkBlock yesterday =
        makeBlock(QStringLiteral("y"), QStringLiteral("2024-03-03"), 1380, 60);
    const WorkBlock todays = makeBlock(QStringLiteral(""), today, 480, 60, WorkKind::shallow);
    seedBlocks({yesterday, todays});
    wall.set(monday, QTime(0, 0, 1));
    open();
    EXPECT_EQ(store->confirmedIDs(), QSet<QUuid>{yesterday.id});
    tickAt(monday, QTime(9, 0, 2));
    EXPECT_TRUE(store->confirmedIDs().contains(todays.id));

    wall.set(monday, QTime(12, 0));
    open();
    EXPECT_EQ(store->confirmedIDs(), QSet<QUuid>{todays.id});
    EXPECT_TRUE(store->isFrozen(todays));
    RawDB raw(dir.file(QStringLiteral("stats.sqlite")));
    EXPECT_EQ(
        raw.column("SELECT day || '|' || title FROM confirmed_blocks ORDER BY day"),
        (QStringList{QStringLiteral("2024-03-03|y"), QStringLiteral("2024-03-04|Shallow Work")}));
}
