#include "store/StatsQueries.h"
#include "store/StatsDB.h"

#include "support/StoreHarness.h"

#include <sqlite3.h>

using namespace quillmere;
using namespace quillmere::StatsQueries;
using namespace quillmere::test;

namespace quillmere::StatsQueries {
inline void PrintTo(const KindMinutes& m, std::ostream* os) {
    *os << "{deep " << m.deep << ", shallow " << m.shallow << "}";
}
} // namespace quillmere::StatsQueries

namespace {

QDate date(const char* text) {
    return QDate::fromString(QString::fromLatin1(text), Qt::ISODate);
}

// A statistics file made by the store's own schema, filled with rows of any shape through a
// connection of the test's own.
struct StatsFile : ::testing::Test {
    TzGuard tz{"Europe/Berlin"};
    TempDataDir dir;
    QString path = dir.file(QStringLiteral("stats.sqlite"));
    sqlite3* db = nullptr;

    void SetUp() override {
        StatsDB{path};
        ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
    }
    void TearDown() override { sqlite3_close(db); }

    void exec(const QString& sql) const {
        char* error = nullptr;
        sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &error);
        ASSERT_EQ(error, nullptr) << error;
    }
    // `kind` and `duration` are SQL literals, so bad rows are spelled like good ones.
    void row(const QString& day, const QString& title, const char* kind, const char* duration,
             int start = 540) const {
        static int serial = 0;
        exec(QStringLiteral("INSERT INTO confirmed_blocks (id, day, title, kind, start_minutes, "
                            "duration_minutes) VALUES ('ID-%1', '%2', '%3', %4, %5, %6);")
                 .arg(++serial)
                 .arg(day, QString(title).replace(u'\'', QStringLiteral("''")),
                      QString::fromLatin1(kind))
                 .arg(start)
                 .arg(QString::fromLatin1(duration)));
    }
};

} // namespace

TEST_F(StatsFile, SumsPerDayAndKindAcrossGapsDaylightSavingAndTheNewYearSkippingBadRows) {
    struct Row {
        const char* day;
        const char* kind;
        const char* duration;
    };
    const Row rows[] = {
        {"2023-12-31", "'deep'", "90"},
        {"2023-12-31", "'deep'", "30"},
        {"2023-12-31", "'shallow'", "15"},
        {"2024-01-01", "'shallow'", "45"},
        {"2024-01-05", "'deep'", "60"},  // a gap of three days before it
        {"2024-03-31", "'deep'", "120"}, // the spring-forward day in Berlin
        {"2024-03-31", "'shallow'", "1440"},
        // Skipped: unknown kinds, days that are no dates, durations that are no minutes of a day.
        {"2024-01-05", "'Deep'", "60"},
        {"2024-01-05", "'focus'", "60"},

        {"2024-02-30", "'deep'", "60"},
        {"2024-1-05", "'deep'", "60"},
        {"2024-01-05 ", "'deep'", "60"},
        {"yesterday", "'deep'", "60"},
        {"2024-01-05", "'deep'", "0"},
        {"2024-01-05", "'deep'", "-30"},
        {"2024-01-05", "'deep'", "1441"},
        {"2024-01-05", "'deep'", "'sixty'"},
        {"2024-01-05", "'deep'", "60.5"},
    };
    for (const Row& r : rows)
        row(QString::fromLatin1(r.day), QStringLiteral("t"), r.kind, r.duration);

    const DayMinutes expected{{date("2023-12-31"), {120, 15}},
                              {date("2024-01-01"), {0, 45}},
                              {date("2024-01-05"), {60, 0}},
                              {date("2024-03-31"), {120, 1440}}};
    ReadProblem problem = ReadProblem::damaged;
    EXPECT_EQ(readDayMinutes(path, &problem), expected);
    EXPECT_EQ(problem, ReadProblem::none);
    const StatsRecord record = readRecord(path, date("2024-04-02"));
    EXPECT_EQ(record.confirmed, expected);
    EXPECT_EQ(record.problem, ReadProblem::none);
    // The export keeps the same rows, in day order.
    const auto exported = readRows(path);
    ASSERT_EQ(exported.size(), 7u);
    EXPECT_EQ(exported.front().day, QStringLiteral("2023-12-31"));
    EXPECT_EQ(exported.back().day, QStringLiteral("2024-03-31"));
}

TEST_F(StatsFile, TopDeepTitlesOfTheLastThirtyDays) {
    // 2024-03-04 - 29 days is 2024-02-04, the first day inside the window.
    row(QStringLiteral("2024-02-03"), QStringLiteral("Too old"), "'deep'", "600");
    row(QStringLiteral("2024-02-04"), QStringLiteral("Thesis"), "'deep'", "60");
    row(QStringLiteral("2024-03-04"), QStringLiteral("Thesis"), "'deep'", "60");
    row(QStringLiteral("2024-03-01"), QStringLiteral("Code, review"), "'deep'", "120");
    row(QStringLiteral("2024-03-01"), QStringLiteral("Alpha"), "'deep'", "120");
    row(QStringLiteral("2024-03-02"), QStringLiteral("Mail"), "'shallow'", "900");
    row(QStringLiteral("2024-03-05"), QStringLiteral("Tomorrow"), "'deep'", "900");
    row(QStringLiteral("2024-02-30"), QStringLiteral("Bad day"), "'deep'", "900");
    row(QStringLiteral("2024-03-03"), QStringLiteral("Small"), "'deep'", "15");

    const std::vector<TitleMinutes> expected{{QStringLiteral("Alpha"), 120},
                                             {QStringLiteral("Code, review"), 120},
                                             {QStringLiteral("Thesis"), 120},
                                             {QStringLiteral("Small"), 15}};
    EXPECT_EQ(readRecord(path, date("2024-03-04")).topTitles, expected);
    EXPECT_EQ(readTopDeepTitles(path, date("2024-02-04"), date("2024-03-04"), 2),
              std::vector<TitleMinutes>(expected.begin(), expected.begin() + 2));
}

TEST(StatsFigures, TotalsStreaksAndAverage) {
    const DayMinutes days{
        {date("2023-12-29"), {60, 0}},  {date("2023-12-30"), {0, 30}}, // shallow only: no streak
        {date("2023-12-31"), {30, 0}},  {date("2024-01-01"), {45, 15}},
        {date("2024-01-02"), {90, 0}},  {date("2024-03-30"), {60, 0}},
        {date("2024-03-31"), {60, 60}}, {date("2024-04-01"), {60, 0}},
        {date("2024-04-02"), {60, 0}},
    };
    struct Case {
        const char* today;
        Qt::DayOfWeek first;
        KindMinutes week, month;
        Streaks streaks;
    };
    const Case cases[] = {
        // Tuesday after New Year: the week began on Monday 1 January, or on Sunday 31 December.
        {"2024-01-02", Qt::Monday, {135, 15}, {135, 15}, {3, 4}},
        {"2024-01-02", Qt::Sunday, {165, 15}, {135, 15}, {3, 4}},
        // Not worked yet today: the streak up to yesterday still counts.
        {"2024-01-03", Qt::Monday, {135, 15}, {135, 15}, {3, 4}},
        {"2024-01-04", Qt::Monday, {135, 15}, {135, 15}, {0, 4}},
        // Across the change to summer time on 31 March.
        {"2024-04-02", Qt::Monday, {120, 0}, {120, 0}, {4, 4}},
        {"2024-03-31", Qt::Saturday, {240, 60}, {120, 60}, {2, 4}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.today);
        const Totals sums = totals(days, date(c.today), c.first);
        EXPECT_EQ(sums.week, c.week);
        EXPECT_EQ(sums.month, c.month);
        EXPECT_EQ(sums.allTime, (KindMinutes{465, 105}));
        EXPECT_EQ(deepStreaks(days, date(c.today)), c.streaks);
    }
    // 465 deep minutes over 9 days worked is 51.67.
    EXPECT_EQ(averageDeepPerDayWorked(days), 52);
    EXPECT_EQ(averageDeepPerDayWorked({}), 0);
    EXPECT_EQ(deepStreaks({}, date("2024-01-01")), (Streaks{0, 0}));
}

TEST_F(StatsFile, ExportIsByteExactCsvAndJson) {
    exec(QStringLiteral(
        "INSERT INTO confirmed_blocks (id, day, title, kind, start_minutes, duration_minutes) "
        "VALUES ('B', '2024-03-04', 'Plain', 'shallow', 600, 15),"
        " ('A', '2024-03-04', 'Write, then \"edit\"' || char(13, 10) || 'again', 'deep', 540, 60),"
        " ('C', '2024-03-05', 'Über' || char(10) || 'größe', 'deep', 0, 30);"));
    const auto rows = readRows(path);
    EXPECT_EQ(toCsv(rows), QByteArray("id,day,title,kind,start_minutes,duration_minutes\r\n"
                                      "A,2024-03-04,\"Write, then \"\"edit\"\"\r\nagain\",deep,"
                                      "540,60\r\n"
                                      "B,2024-03-04,Plain,shallow,600,15\r\n"
                                      "C,2024-03-05,\"\xc3\x9c"
                                      "ber\ngr\xc3\xb6\xc3\x9f"
                                      "e\",deep,0,30\r\n"));
    EXPECT_EQ(toCsv({}), QByteArray("id,day,title,kind,start_minutes,duration_minutes\r\n"));
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

TEST(StatsFileProblems, MissingDamagedAndLockedFilesReadAsAnEmptyRecordAndStayUntouched) {
    TempDataDir dir;
    const QString path = dir.file(QStringLiteral("stats.sqlite"));
    const QDate today = date("2024-03-04");
    const auto expectEmpty = [&](ReadProblem problem) {
        const StatsRecord record = readRecord(path, today);
        EXPECT_TRUE(record.confirmed.empty());
        EXPECT_TRUE(record.topTitles.empty());
        EXPECT_EQ(record.problem, problem);
        EXPECT_FALSE(explanation(problem).isEmpty());
        EXPECT_FALSE(explanation(problem).contains(u'\n'));
        ReadProblem rowsProblem = ReadProblem::none;
        EXPECT_TRUE(readRows(path, &rowsProblem).empty());
        EXPECT_EQ(rowsProblem, problem);
    };

    expectEmpty(ReadProblem::missing);
    EXPECT_FALSE(dir.exists(QStringLiteral("stats.sqlite"))); // reading never creates it

    dir.write(QStringLiteral("stats.sqlite"), QByteArray()); // a file SQLite made no table in
    expectEmpty(ReadProblem::missing);

    const QByteArray garbage = QByteArray("SQLite format 3").append(4096, '\x5a');
    dir.write(QStringLiteral("stats.sqlite"), garbage);
    expectEmpty(ReadProblem::damaged);
    EXPECT_EQ(dir.read(QStringLiteral("stats.sqlite")), garbage);

    QFile::remove(path);
    {
        StatsDB stats(path);
        stats.insert({QUuid::createUuid(), QStringLiteral("2024-03-04"), QStringLiteral("Write"),
                      WorkKind::deep, 540, 60});
    }
    sqlite3* writer = nullptr;
    ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &writer), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(writer, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr), SQLITE_OK);
    expectEmpty(ReadProblem::locked);
    sqlite3_exec(writer, "COMMIT;", nullptr, nullptr, nullptr);
    sqlite3_close(writer);

    // Once the writer is done the record is back, and the reads left the store free to write.
    EXPECT_EQ(readRecord(path, today).confirmed, (DayMinutes{{today, {60, 0}}}));
    StatsDB stats(path);
    stats.insert({QUuid::createUuid(), QStringLiteral("2024-03-04"), QStringLiteral("More"),
                  WorkKind::shallow, 600, 30});
    EXPECT_EQ(readRecord(path, today).confirmed, (DayMinutes{{today, {60, 30}}}));
}

TEST(StatsPlan, PlannedMinutesFromTheKeptBlocks) {
    TempDataDir dir;
    dir.write(QStringLiteral("blocks.json"),
              json::encodeList(std::vector<WorkBlock>{
                  makeBlock(QStringLiteral("a"), QStringLiteral("2024-03-04"), 540, 90),
                  makeBlock(QStringLiteral("b"), QStringLiteral("2024-03-04"), 660, 30,
                            WorkKind::shallow),
                  makeBlock(QStringLiteral("c"), QStringLiteral("2024-03-04"), 720, 30),
                  makeBlock(QStringLiteral("d"), QStringLiteral("2024-03-05"), 540, 45),
                  makeBlock(QStringLiteral("e"), QStringLiteral("2024-13-01"), 540, 45),
              }));
    EXPECT_EQ(readPlannedMinutes(dir.file(QStringLiteral("blocks.json"))),
              (DayMinutes{{date("2024-03-04"), {120, 30}}, {date("2024-03-05"), {45, 0}}}));
    dir.write(QStringLiteral("blocks.json"), "[{\"id\": 1}]");
    EXPECT_TRUE(readPlannedMinutes(dir.file(QStringLiteral("blocks.json"))).empty());
    EXPECT_TRUE(readPlannedMinutes(dir.file(QStringLiteral("missing.json"))).empty());
}
