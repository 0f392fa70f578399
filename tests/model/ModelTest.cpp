#include "model/AppClock.h"
#include "model/JsonCodec.h"
#include "model/TimeMath.h"

#include "support/FakeWallClock.h"
#include "support/Printers.h"
#include "support/TzGuard.h"

#include <QJsonDocument>
#include <QTest>

#include <gtest/gtest.h>

#include <span>

using namespace quillmere;
using namespace quillmere::TimeMath;
using namespace quillmere::json;
using namespace Qt::StringLiterals;

struct ClockFixture : ::testing::Test {
    test::TzGuard tz{"Europe/Berlin"};
    test::FakeWallClock wall{QDateTime(QDate(2024, 3, 4), QTime(9, 0, 10))};
    int ticks = 0;
    std::unique_ptr<AppClock> clock = std::make_unique<AppClock>(wall);
    void SetUp() override {
        clock->setOnTick([this] { ++ticks; });
    }
};

TEST_F(ClockFixture, RequestsStartsAndWakesCoalesceAndNothingFiresAfterTheClocksEnd) {
    clock->requestTick();
    clock->requestTick();
    EXPECT_TRUE(clock->tickPending());
    test::processEvents();
    EXPECT_EQ(ticks, 1);
    EXPECT_FALSE(clock->tickPending());

    // Starting twice makes one heartbeat and one tick.
    clock->start();
    clock->start();
    EXPECT_TRUE(clock->hasHeartbeat());
    test::processEvents();
    EXPECT_EQ(ticks, 2);

    bool again = true;
    clock->setOnTick([&] {
        ++ticks;
        if (std::exchange(again, false))
            clock->requestTick(); // as a save inside the refresh does
    });
    clock->requestTick();
    test::processEvents();
    EXPECT_EQ(ticks, 4);

    // A wake in the past fires at once, a later one replaces an earlier one, none cancels.
    ticks = 0;
    clock->wake(wall.now().addSecs(-10));
    EXPECT_TRUE(clock->pendingWake());
    QTest::qWait(20);
    EXPECT_EQ(ticks, 1);
    EXPECT_FALSE(clock->pendingWake());

    clock->wake(wall.now().addMSecs(40));
    clock->wake(wall.now().addMSecs(160));
    EXPECT_EQ(clock->pendingWake(), wall.now().addMSecs(160));
    QTest::qWait(100);
    EXPECT_EQ(ticks, 1);
    QTest::qWait(150);
    EXPECT_EQ(ticks, 2);

    clock->wake(wall.now().addMSecs(30));
    clock->wake(std::nullopt);
    EXPECT_FALSE(clock->pendingWake());
    QTest::qWait(80);
    EXPECT_EQ(ticks, 2);

    // Destroying the clock drops its queued tick and its timers.
    clock->start();
    clock->wake(wall.now());
    clock->requestTick();
    clock.reset();
    QTest::qWait(30);
    EXPECT_EQ(ticks, 2);
}

TEST_F(ClockFixture, TheHeartbeatLandsJustAfterEachHalfMinuteMarkAndWaitsForItWhenEarly) {
    // 09:00:10 local is 10 s past a half-minute mark of the 2001 timeline (which is whole
    // minutes), so the first firing is 20.1 s away; at 09:00:29.95 the next mark is 0.05 s
    // away; at 09:00:30.05, just past a mark, it is the one after it.
    for (const auto& [step, until] :
         {std::pair{0, 20100}, std::pair{19950, 150}, std::pair{100, 30050}}) {
        wall.set(wall.now().addMSecs(step));
        EXPECT_EQ(clock->msUntilNextHeartbeat(), until) << step;
    }

    // However Qt rounds the coarse timer, it is never due before the mark.
    clock->start();
    test::processEvents();
    EXPECT_GE(clock->heartbeatRemainingMs(), 30050 - 20);
    EXPECT_LE(clock->heartbeatRemainingMs(), 30050 + 2100);

    // Fired early (half a second before the mark, just on it, or well before): no tick, and a
    // precise wait to 0.1 s past. On time, or late within its slack (no wait given): a tick,
    // and aimed past the following mark.
    for (const auto& [at, wait] :
         {std::pair{QTime(9, 0, 29, 500), 600}, std::pair{QTime(9, 0, 30, 40), 60},
          std::pair{QTime(9, 0, 20, 0), 10100}, std::pair{QTime(9, 0, 30, 100), 0},
          std::pair{QTime(9, 1, 2, 0), 0}}) {
        SCOPED_TRACE(at.toString().toStdString());
        const int before = ticks;
        wall.set(QDate(2024, 3, 4), at);
        clock->heartbeatFired();
        EXPECT_EQ(ticks - before, wait ? 0 : 1);
        const int aim = wait ? wait : clock->msUntilNextHeartbeat();
        EXPECT_GE(clock->heartbeatRemainingMs(), aim - 20);
        EXPECT_LE(clock->heartbeatRemainingMs(), aim + (wait ? 20 : 2100));
    }
}

TEST_F(ClockFixture, DayRolloverPublishesBothValuesBeforeTheCallback) {
    wall.set(QDate(2024, 3, 4), QTime(23, 59, 59));
    clock->tick();
    QStringList events;
    QObject::connect(clock.get(), &AppClock::nowMinutesChanged, clock.get(),
                     [&](Minutes m) { events << u"minutes %1"_s.arg(m); });
    QObject::connect(clock.get(), &AppClock::todayChanged, clock.get(),
                     [&](const QString& day) { events << u"today " + day; });
    clock->setOnTick([&] { events << u"tick"_s; });

    clock->tick(); // same minute, same day: nobody is told, the callback still runs
    wall.set(QDate(2024, 3, 5), QTime(0, 0, 0));
    clock->tick();
    EXPECT_EQ(events, (QStringList{u"tick"_s, u"minutes 0"_s, u"today 2024-03-05"_s, u"tick"_s}));
}

TEST(TimeMath, TextsOfTimesDurationsAndHoursIncludingTheEndsOfTheDay) {
    using Case = std::pair<Minutes, const char*>;
    // Times clamp, and the end of the day shows as midnight.
    const Case times[] = {{0, "12:00 AM"},    {5, "12:05 AM"},    {60, "1:00 AM"},
                          {545, "9:05 AM"},   {720, "12:00 PM"},  {779, "12:59 PM"},
                          {1439, "11:59 PM"}, {1440, "12:00 AM"}, {2000, "12:00 AM"},
                          {-1, "12:00 AM"},   {-30, "12:00 AM"}};
    // Durations keep their sign and drop zero parts.
    const Case durations[] = {{0, "0 m"},      {45, "45 m"},     {59, "59 m"}, {60, "1 h"},
                              {61, "1 h 1 m"}, {90, "1 h 30 m"}, {120, "2 h"}, {-5, "-5 m"},
                              {-90, "-30 m"},  {1440, "24 h"}};
    const Case hours[] = {{0, "12 AM"},  {1, "1 AM"},  {9, "9 AM"},   {11, "11 AM"},
                          {12, "12 PM"}, {13, "1 PM"}, {23, "11 PM"}, {24, "12 PM"}};
    const std::pair<QString (*)(Minutes), std::span<const Case>> tables[] = {
        {timeString, times}, {durationString, durations}, {hourLabel, hours}};
    for (const auto& [text, cases] : tables)
        for (const auto& [m, expected] : cases)
            EXPECT_EQ(text(m), QString::fromLatin1(expected)) << m;
    EXPECT_EQ(rangeString(540, 630), u"9:00 AM – 10:30 AM"_s);
}

TEST(TimeMath, DayKeysRoundTripWeekdaysCountFromSundayAndOnlyRealDatesInTheKeyFormParse) {
    test::TzGuard tz("UTC");
    // Weekdays count from Sunday: 2024-03-03 is one, 2024-03-09 a Saturday.
    const std::tuple<const char*, QDate, int> days[] = {{"2024-02-29", QDate(2024, 2, 29), 5},
                                                        {"0987-01-02", QDate(987, 1, 2), 3},
                                                        {"9999-12-31", QDate(9999, 12, 31), 6},
                                                        {"2024-03-03", QDate(2024, 3, 3), 1},
                                                        {"2024-03-09", QDate(2024, 3, 9), 7}};
    for (const auto& [key, date, day] : days) {
        const QDateTime instant(date, QTime(1, 0));
        EXPECT_EQ(std::tuple(dayKey(instant), dateFromDayKey(QString::fromLatin1(key)),
                             weekday(date), weekday(instant)),
                  std::tuple(QString::fromLatin1(key), std::optional(date), day, day));
    }
    EXPECT_EQ(startOfDay(u"2024-03-04"_s), QDateTime(QDate(2024, 3, 4), QTime(0, 0)));
    EXPECT_FALSE(startOfDay(u"yesterday"_s));
    for (const char* key :
         {"2023-02-29", "2024-13-01", "0000-01-01", "2024-3-4", "2024/03/04", "2024-03-04x",
          "2024-03-0x", "2024-+3-04", "+024-03-04", "2024-03- 4", ""})
        EXPECT_FALSE(dateFromDayKey(QString::fromLatin1(key))) << key;
}

const QUuid blockId = QUuid::fromString(u"6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0"_s);
const QUuid ruleId = QUuid::fromString(u"0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"_s);
const WorkBlock sampleBlock{blockId, u"Write"_s,     u"2024-03-04"_s, 540,
                            90,      WorkKind::deep, ruleId,          731232000.25};
const RepeatRule sampleRule{ruleId, u"Standup"_s, WorkKind::shallow, 540,
                            15,     {2, 3},       u"2024-03-04"_s};
const PlannedBlock samplePlanned{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, true};

// Encodes, checks how many keys the object has, and decodes it again.
template <typename T> void expectRoundTrip(const T& value, qsizetype keyCount) {
    const QJsonObject encoded = json::encode(value);
    EXPECT_EQ(encoded.size(), keyCount) << QJsonDocument(encoded).toJson().toStdString();
    EXPECT_EQ(decode<T>(encoded), value);
}

// Each change to a good record fails it: a value its key's form does not allow, or a required
// key taken out (inserting Undefined removes the key).
using Wrong = std::pair<const char*, std::vector<QJsonValue>>;
template <typename T> void expectRejected(const T& good, std::initializer_list<Wrong> wrong) {
    ASSERT_TRUE(decode<T>(json::encode(good)));
    for (const auto& [key, values] : wrong)
        for (const QJsonValue& value : values) {
            QJsonObject bad = json::encode(good);
            bad.insert(QLatin1StringView(key), value);
            EXPECT_FALSE(decode<T>(bad)) << key << QJsonDocument(bad).toJson().toStdString();
        }
}

TEST(JsonCodec, EveryRecordRoundTripsAndLeavesAbsentOptionalKeysOut) {
    const Settings custom{false, DeepWorkNoise::off, 0.35, true, false, true};
    expectRoundTrip(sampleBlock, 8);
    expectRoundTrip(WorkBlock{blockId, {}, u"2024-03-04"_s, 0, 90, WorkKind::shallow, {}, {}}, 6);
    expectRoundTrip(sampleRule, 7);
    expectRoundTrip(RepeatRule{ruleId, {}, WorkKind::deep, -5, 15, {}, {}}, 6);
    expectRoundTrip(samplePlanned, 5);
    expectRoundTrip(PlannedBlock{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, {}}, 4);
    // Not pinned is kept apart from absent: unpinning takes the key out.
    expectRoundTrip(PlannedBlock{blockId, u"Inbox"_s, WorkKind::deep, 1000.5, false}, 5);
    expectRoundTrip(custom, 6);
    EXPECT_EQ(decodeList<WorkBlock>("[]"), std::vector<WorkBlock>{});
}

TEST(JsonCodec, NullsUnknownKeysLowerCaseIdsAndRepeatedWeekdaysPassAndAnyOtherDeviationFails) {
    EXPECT_EQ(
        decodeList<WorkBlock>(R"([{
        "id": "6f1d2c3b-4a59-4867-9786-a5b4c3d2e1f0", "title": "", "day": "2024-03-04",
        "startMinutes": -30, "durationMinutes": 60, "kind": "shallow",
        "repeatRuleID": null, "createdAt": null, "colour": "green"}])"),
        (std::vector{WorkBlock{blockId, {}, u"2024-03-04"_s, -30, 60, WorkKind::shallow, {}, {}}}));
    EXPECT_EQ(
        decodeList<RepeatRule>(R"([{
        "id": "0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9", "title": "Standup", "kind": "shallow",
        "startMinutes": 540, "durationMinutes": 15, "weekdays": [2, 2, 3, 9]}])"),
        (std::vector{RepeatRule{ruleId, u"Standup"_s, WorkKind::shallow, 540, 15, {2, 3, 9}, {}}}));

    // A later settings key left empty reads as its default (files without it at all are read
    // where the store starts on them).
    EXPECT_EQ(decodeSettingsFile(R"({"chimesEnabled": false, "deepWorkNoise": "off",
        "noiseVolume": 0.5, "nudgesEnabled": true, "remindersEnabled": true,
        "silenceNotifications": null})"),
              (Settings{false, DeepWorkNoise::off, 0.5, true, true, false}));

    const QJsonValue gone = QJsonValue::Undefined;
    expectRejected(sampleBlock,
                   {{"id", {gone, u"not-a-uuid"_s, u"{6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0}"_s}},
                    {"title", {gone, 5}},
                    {"day", {gone}},
                    {"startMinutes", {gone, 540.5, u"540"_s, 1e300}},
                    {"durationMinutes", {gone, QJsonValue::Null}},
                    {"kind", {gone, u"Deep"_s, u"other"_s}},
                    {"repeatRuleID", {7}},
                    {"createdAt", {u"2024-03-04T09:00:00Z"_s}}});
    expectRejected(
        sampleRule,
        {{"weekdays", {gone, 2, QJsonArray{2, u"Monday"_s}, QJsonArray{2.5}, QJsonArray{1e12}}},
         {"lastStampedDay", {20240304}}});
    expectRejected(samplePlanned, {{"createdAt", {gone}}, {"pinned", {1}}});
    expectRejected(Settings{}, {{"noiseVolume", {gone}},
                                {"deepWorkNoise", {u"pink"_s}},
                                {"chimesEnabled", {1}},
                                {"silenceNotifications", {u"yes"_s}}});
    EXPECT_FALSE(json::decodeSettingsFile(QByteArray("[]")));
}

TEST(JsonCodec, StateFilesAreIndentedWithSortedKeysAndUpperCaseIds) {
    const QByteArray bytes = json::encodeList(std::vector{sampleBlock});
    EXPECT_TRUE(
        bytes.startsWith("[\n    {\n        \"createdAt\": 731232000.25,\n        \"day\""));
    EXPECT_TRUE(bytes.contains("\"id\": \"6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0\""));

    // The blocks file is written directly; its bytes are exactly Qt's (which sorts the keys),
    // whatever the titles and numbers, including those that Qt escapes or writes in exponent
    // form.
    std::vector<WorkBlock> blocks{
        sampleBlock, {blockId, u"Write"_s, u"2024-03-04"_s, 540, 90, WorkKind::deep, {}, {}}};
    for (const auto& [title, createdAt] :
         std::initializer_list<std::pair<QString, double>>{{u"Grüße, 日本"_s, 800000000.0},
                                                           {u"say \"hi\"\\ \t\u0001"_s, 0.1},
                                                           {u"emoji \U0001F600"_s, -0.0},
                                                           {QString(QChar(0xD800)), 1e20},
                                                           {u"\u007f"_s, 9007199254740994.0},
                                                           {u"tiny"_s, 1.5e-7}})
        blocks.push_back(
            {blockId, title, u"2024-03-04"_s, -5, 90, WorkKind::deep, ruleId, createdAt});
    QJsonArray viaQt;
    for (const WorkBlock& b : blocks)
        viaQt.append(json::encode(b));
    EXPECT_EQ(json::encodeList(blocks), json::encodeStateFile(viaQt));
}
