#include "store/StatsQueries.h"
#include "store/StatsDB.h"

#include "support/StoreHarness.h"

#include <QFile>

#include <sqlite3.h>

using namespace quillmere;
using namespace quillmere::StatsQueries;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

// A statistics file made by the store's own schema, with a connection of the test's own to write
// rows of any shape, to look at what the store wrote and to hold the file locked.
struct StatsFile : StoreHarness {
    QString path = dir.file(u"stats.sqlite"_s);
    sqlite3* db = nullptr;

    void SetUp() override {
        StatsDB{path};
        ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
    }
    void TearDown() override { sqlite3_close(db); }

    // Runs SQL on the test's own connection; the first column of the rows it gives.
    QStringList sql(const QString& statement) const {
        QStringList out;
        char* error = nullptr;
        const auto collect = [](void* to, int, char** values, char**) {
            static_cast<QStringList*>(to)->append(QString::fromUtf8(values[0]));
            return 0;
        };
        sqlite3_exec(db, statement.toUtf8().constData(), collect, &out, &error);
        EXPECT_EQ(error, nullptr) << error;
        return out;
    }
    // `kind` and `duration` are SQL literals, so bad rows are spelled like good ones.
    void row(const char* day, const char* title, const char* kind, const char* duration) const {
        static int serial = 0;
        sql(QString::asprintf("INSERT INTO confirmed_blocks (id, day, title, kind, start_minutes, "
                              "duration_minutes) VALUES ('ID-%d', '%s', '%s', %s, 540, %s);",
                              ++serial, day, title, kind, duration));
    }
};

TEST_F(StatsFile, TheStoreWritesItsSchemaKeepsTheFirstRowOfAnIdAndSkipsForeignIds) {
    const QUuid id = QUuid::createUuid();
    StatsDB stats(path);
    stats.insert({id, u"2024-03-04"_s, u"Write"_s, WorkKind::deep, 540, 60});
    stats.insert({id, u"2024-03-04"_s, u"Other"_s, WorkKind::shallow, 0, 15});
    stats.insert({QUuid::createUuid(), u"2024-03-03"_s, QString(), WorkKind::shallow, 0, 15});
    EXPECT_EQ(sql(u"SELECT sql FROM sqlite_master WHERE name = 'confirmed_blocks'"_s),
              QStringList{u"CREATE TABLE confirmed_blocks (id TEXT PRIMARY KEY, day TEXT NOT NULL, "
                          u"title TEXT NOT NULL, kind TEXT NOT NULL, start_minutes INTEGER NOT "
                          u"NULL, duration_minutes INTEGER NOT NULL, journal TEXT)"_s});
    EXPECT_EQ(sql(u"SELECT id || '|' || title || '|' || kind || '|' || start_minutes || '|' "
                  "|| duration_minutes || '|' || typeof(journal) FROM confirmed_blocks "
                  "WHERE day = '2024-03-04'"_s),
              QStringList{json::uuidText(id) + u"|Write|deep|540|60|null"_s});

    // Rows written by anyone else: a null id and text that is no identifier are skipped.
    sql(u"INSERT INTO confirmed_blocks (id, day, title, kind, start_minutes, duration_minutes)"
        " VALUES (NULL, '2024-03-04', 't', 'deep', 1, 1), ('garbage', '2024-03-04', 't', "
        "'deep', 1, 1), ('6f1d2c3b-4a59-4867-9786-a5b4c3d2e1f0', '2024-03-04', 't', "
        "'deep', 1, 1);"_s);
    EXPECT_EQ(stats.confirmedIDs(u"2024-03-04"_s),
              (QSet<QUuid>{id, QUuid::fromString(u"6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"_s)}));
}

TEST_F(StatsFile, SumsPerDayAndKindOfTheRecordAndThePlanAndTheTopDeepTitlesSkipBadRows) {
    // Across the New Year, a gap of days and the spring-forward day in Berlin; the thirty days
    // up to 4 March begin on 4 February.
    const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
        {"2023-12-31", "Old", "'deep'", "90"},
        {"2023-12-31", "Old", "'deep'", "30"},
        {"2023-12-31", "Mail", "'shallow'", "15"},
        {"2024-01-01", "Mail", "'shallow'", "45"},
        {"2024-02-03", "Too old", "'deep'", "600"},
        {"2024-02-04", "Thesis", "'deep'", "60"},
        {"2024-03-01", "Code, review", "'deep'", "120"},
        {"2024-03-01", "Alpha", "'deep'", "120"},
        {"2024-03-02", "Mail", "'shallow'", "900"},
        {"2024-03-03", "Small", "'deep'", "15"},
        {"2024-03-04", "Thesis", "'deep'", "60"},
        {"2024-03-05", "Tomorrow", "'deep'", "900"},
        {"2024-03-31", "Spring", "'deep'", "120"},
        {"2024-03-31", "Mail", "'shallow'", "1440"},
    };
    for (const auto& [day, title, kind, duration] : rows)
        row(day, title, kind, duration);
    // Skipped: unknown kinds, days that are no dates, durations that are no minutes of a day.
    for (const char* kind : {"'Deep'", "'focus'"})
        row("2024-03-03", "Bad", kind, "60");
    for (const char* day : {"2024-02-30", "2024-3-03", "2024-03-03 ", "yesterday"})
        row(day, "Bad", "'deep'", "60");
    for (const char* duration : {"0", "-30", "1441", "'sixty'", "60.5"})
        row("2024-03-03", "Bad", "'deep'", duration);

    const DayMinutes expected{
        {QDate(2023, 12, 31), {120, 15}}, {QDate(2024, 1, 1), {0, 45}},
        {QDate(2024, 2, 3), {600, 0}},    {QDate(2024, 2, 4), {60, 0}},
        {QDate(2024, 3, 1), {240, 0}},    {QDate(2024, 3, 2), {0, 900}},
        {QDate(2024, 3, 3), {15, 0}},     {QDate(2024, 3, 4), {60, 0}},
        {QDate(2024, 3, 5), {900, 0}},    {QDate(2024, 3, 31), {120, 1440}},
    };
    const std::vector<TitleMinutes> top{
        {u"Alpha"_s, 120}, {u"Code, review"_s, 120}, {u"Thesis"_s, 120}, {u"Small"_s, 15}};
    const StatsRecord record = readRecord(path, monday);
    EXPECT_EQ(std::tuple(record.confirmed, record.topTitles, record.problem),
              std::tuple(expected, top, ReadProblem::none));
    EXPECT_EQ(readTopDeepTitles(path, QDate(2024, 2, 4), monday, 2),
              std::vector(top.begin(), top.begin() + 2));
    ReadProblem problem = ReadProblem::damaged;
    EXPECT_EQ(readRows(path, &problem).size(), std::size(rows)); // the export skips the same rows
    EXPECT_EQ(problem, ReadProblem::none);

    // The plan: the same sums over the kept blocks, none from a blocks file that does not read.
    seedBlocks({makeBlock(u"a"_s, today, 540, 90),
                makeBlock(u"b"_s, today, 660, 30, WorkKind::shallow),
                makeBlock(u"c"_s, today, 720, 30), makeBlock(u"d"_s, u"2024-03-05"_s, 540, 45),
                makeBlock(u"e"_s, u"2024-13-01"_s, 540, 45)});
    const QString file = dir.file(u"blocks.json"_s);
    EXPECT_EQ(readPlannedMinutes(file),
              (DayMinutes{{monday, {120, 30}}, {QDate(2024, 3, 5), {45, 0}}}));
    dir.write(u"blocks.json"_s, "[{\"id\": 1}]");
    EXPECT_TRUE(readPlannedMinutes(file).empty());
    EXPECT_TRUE(readPlannedMinutes(dir.file(u"missing.json"_s)).empty());
}

// The statistics file may be missing, damaged or held by another writer: the record reads as
// empty with a one-line reason, the file is left as it is, and a block that ends still freezes.
TEST_F(StatsFile, AMissingDamagedOrLockedFileReadsEmptyAndTheEndedBlockStillFreezes) {
    const WorkBlock block = makeBlock(u"Write"_s, today, 480, 60);
    seedBlocks({block});
    wall.set(monday, QTime(9, 0, 0, 100)); // just after the block's end
    const auto expectEmpty = [&](ReadProblem problem) {
        const StatsRecord record = readRecord(path, monday);
        EXPECT_TRUE(record.confirmed.empty() && record.topTitles.empty());
        EXPECT_EQ(record.problem, problem);
        EXPECT_FALSE(explanation(problem).isEmpty() || explanation(problem).contains(u'\n'));
        auto rowsProblem = ReadProblem::none;
        EXPECT_TRUE(readRows(path, &rowsProblem).empty());
        EXPECT_EQ(rowsProblem, problem);
    };
    // Another writer holds an exclusive transaction while the store starts and confirms.
    row("2024-03-04", "t", "'deep'", "60");
    sql(u"BEGIN EXCLUSIVE;"_s);
    expectEmpty(ReadProblem::locked);
    open();
    EXPECT_TRUE(store->isFrozen(block)); // frozen in memory although nothing could be stored
    sql(u"COMMIT;"_s);
    store.reset();
    // Only the row from before: the confirmation was lost to the lock, and the reads left the
    // file free for the next write.
    EXPECT_EQ(readRecord(path, monday).confirmed, (DayMinutes{{monday, {60, 0}}}));
    StatsDB(path).insert({QUuid::createUuid(), today, u"t"_s, WorkKind::shallow, 540, 30});
    EXPECT_EQ(readRecord(path, monday).confirmed, (DayMinutes{{monday, {60, 30}}}));

    QFile::remove(path);
    expectEmpty(ReadProblem::missing);
    EXPECT_FALSE(dir.exists(u"stats.sqlite"_s)); // reading never creates it
    dir.write(u"stats.sqlite"_s, QByteArray());  // a file SQLite made no table in
    expectEmpty(ReadProblem::missing);
    const QByteArray garbage = QByteArray("SQLite format 3").append(4096, '\x5a');
    dir.write(u"stats.sqlite"_s, garbage);
    expectEmpty(ReadProblem::damaged);
    open();
    EXPECT_EQ(store->confirmedIDs(), QSet<QUuid>{block.id}); // frozen
    EXPECT_EQ(dir.read(u"stats.sqlite"_s), garbage);
}

TEST(StatsFigures, TotalsStreaksAndAverage) {
    const DayMinutes days{
        {QDate(2023, 12, 29), {60, 0}}, {QDate(2023, 12, 30), {0, 30}}, // shallow only: no streak
        {QDate(2023, 12, 31), {30, 0}}, {QDate(2024, 1, 1), {45, 15}},
        {QDate(2024, 1, 2), {90, 0}},   {QDate(2024, 3, 30), {60, 0}},
        {QDate(2024, 3, 31), {60, 60}}, {QDate(2024, 4, 1), {60, 0}},
        {QDate(2024, 4, 2), {60, 0}},
    };
    // Today, the first day of the week, the week's and the month's minutes, and the streaks.
    const std::tuple<QDate, Qt::DayOfWeek, KindMinutes, KindMinutes, Streaks> cases[] = {
        // Tuesday after New Year: the week began on Monday 1 January, or on Sunday 31 December.
        {QDate(2024, 1, 2), Qt::Monday, {135, 15}, {135, 15}, {3, 4}},
        {QDate(2024, 1, 2), Qt::Sunday, {165, 15}, {135, 15}, {3, 4}},
        // Not worked yet today: the streak up to yesterday still counts.
        {QDate(2024, 1, 3), Qt::Monday, {135, 15}, {135, 15}, {3, 4}},
        {QDate(2024, 1, 4), Qt::Monday, {135, 15}, {135, 15}, {0, 4}},
        // Across the change to summer time on 31 March.
        {QDate(2024, 4, 2), Qt::Monday, {120, 0}, {120, 0}, {4, 4}},
        {QDate(2024, 3, 31), Qt::Saturday, {240, 60}, {120, 60}, {2, 4}},
    };
    for (const auto& [today, first, week, month, streaks] : cases) {
        SCOPED_TRACE(::testing::PrintToString(today));
        EXPECT_EQ(totals(days, today, first), (Totals{week, month, {465, 105}}));
        EXPECT_EQ(deepStreaks(days, today), streaks);
    }
    // 465 deep minutes over 9 days worked is 51.67.
    EXPECT_EQ(averageDeepPerDayWorked(days), 52);
    EXPECT_EQ(averageDeepPerDayWorked({}), 0);
    EXPECT_EQ(deepStreaks({}, QDate(2024, 1, 1)), (Streaks{0, 0}));
}

TEST_F(StatsFile, ExportIsByteExactCsvAndJson) {
    sql(u"INSERT INTO confirmed_blocks (id, day, title, kind, start_minutes, duration_minutes) "
        "VALUES ('B', '2024-03-04', 'Plain', 'shallow', 600, 15),"
        " ('A', '2024-03-04', 'Write, then \"edit\"' || char(13, 10) || 'again', 'deep', 540, 60),"
        " ('C', '2024-03-05', 'Über' || char(10) || 'größe', 'deep', 0, 30);"_s);
    const auto rows = readRows(path);
    const QByteArray header = "id,day,title,kind,start_minutes,duration_minutes\r\n";
    EXPECT_EQ(toCsv(rows), header +
                               "A,2024-03-04,\"Write, then \"\"edit\"\"\r\nagain\",deep,540,60\r\n"
                               "B,2024-03-04,Plain,shallow,600,15\r\n"
                               "C,2024-03-05,\"Über\ngröße\",deep,0,30\r\n");
    EXPECT_EQ(toCsv({}), header);
    EXPECT_EQ(toJson({rows.at(1)}), QByteArray(R"([
    {
        "day": "2024-03-04",
        "durationMinutes": 15,
        "id": "B",
        "kind": "shallow",
        "startMinutes": 600,
        "title": "Plain"
    }
]
)"));
}
