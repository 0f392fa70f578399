#include "model/TimeMath.h"
#include "store/Confirmation.h"
#include "store/Stamping.h"
#include "store/StatsDB.h"
#include "store/StatsQueries.h"

#include "support/StoreHarness.h"

#include <gmock/gmock.h>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;
using ::testing::Contains;

struct DayRun : StoreHarness {
    // The titles of the blocks rules stamped on `day`, sorted.
    QStringList stamps(const QString& day) const {
        QStringList titles;
        for (const WorkBlock& b : store->blocks())
            if (b.day == day && b.repeatRuleID)
                titles << b.title;
        titles.sort();
        return titles;
    }
};

TEST_F(DayRun, AWholeDayDrivesStampingConfirmationAndTheFocusAids) {
    seedRules({makeRule(u"Tuesday"_s, 840, 60, {3}), makeRule(u"Focus"_s, 600, 60, {2, 3}),
               makeRule(u"Standup"_s, 540, 15, {2}, WorkKind::shallow)});
    const WorkBlock write = makeBlock(u"Write"_s, today, 660, 60);
    const WorkBlock mail = makeBlock(u" \tMail\t"_s, today, 780, 30, WorkKind::shallow);
    const WorkBlock later = makeBlock(u"Later"_s, today, 960, 30);
    const WorkBlock lastOfDay = makeBlock(QString(), today, 1380, 60, WorkKind::shallow);
    seedBlocks({write, mail, later, lastOfDay});
    wall.set(monday, QTime(7, 0));
    open();

    // Start-up stamped Monday's rules once and marked every rule as considered.
    EXPECT_EQ(stamps(today), (QStringList{u"Focus"_s, u"Standup"_s}));
    for (const RepeatRule& rule : rulesOnDisk())
        EXPECT_EQ(rule.lastStampedDay, today);

    const QUuid standupBlock = store->todayBlocks()[0].id, focusBlock = store->todayBlocks()[1].id;
    QStringList seen; // the tray's tooltip, or the kind under way, at a few moments
    const auto look = [&] { seen << aids.toolTip.value_or(u"-"_s); };
    std::optional<QDateTime> wakeAt0930;
    WorkBlock drawnOverPast = makeBlock(u"Past"_s, today, 720, 30); // drawn at 13:05
    drawnOverPast.createdAt = TimeMath::referenceSeconds(QDateTime(monday, QTime(13, 5)));
    at(monday, QTime(7, 30), [&] { store->deleteBlock(standupBlock); });
    at(monday, QTime(9, 30), [&] { wakeAt0930 = clock.pendingWake(); });
    at(monday, QTime(10, 30, 5), look);
    at(monday, QTime(12, 30, 5), look);
    at(monday, QTime(13, 5), [&] { store->add(drawnOverPast); });
    at(monday, QTime(13, 10, 5), [&] { seen << rawValue(store->currentKind().value()); });
    at(monday, QTime(13, 15, 5), look);
    const WorkBlock earlier{later.id, later.title, today, 958, 30, WorkKind::deep, {}, {}};
    at(monday, QTime(15, 56), [&] { store->update(earlier); });
    at(monday, QTime(23, 30), [&] { open(); }); // a restart reloads the day's confirmations
    runUntil(QDateTime(monday.addDays(1), QTime(0, 30)));

    EXPECT_EQ(aids.calls.join(u", "_s),
              u"remind Focus at 595, noise 0.1, sound Submarine, watch Focus, remind Write at 655, "
              u"sound Glass, sound Submarine, watch Write, noise off, sound Glass, watch off, "
              u"remind Later at 955, remind Later at 956, noise 0.1, sound Submarine, "
              u"watch Later, noise off, sound Glass, watch off"_s);
    EXPECT_EQ(seen, (QStringList{u"Focus"_s, u"-"_s, u"shallow"_s, u"Mail"_s}));
    EXPECT_EQ(wakeAt0930, QDateTime(monday, QTime(9, 55, 0, 100)));
    // Every boundary and reminder moment was asked for, 0.1 s after it began.
    for (const QTime& t : {QTime(9, 55), QTime(10, 0), QTime(10, 55), QTime(11, 0), QTime(12, 0),
                           QTime(13, 0), QTime(13, 30), QTime(15, 58), QTime(16, 28)})
        EXPECT_THAT(wakes, Contains(QDateTime(monday, t.addMSecs(100))));

    // The deleted stamped block did not come back on Monday; Tuesday got its own stamps.
    EXPECT_EQ(stamps(today), QStringList{u"Focus"_s});
    EXPECT_EQ(stamps(u"2024-03-05"_s), (QStringList{u"Focus"_s, u"Tuesday"_s}));

    // Each block that ended while the program ran was confirmed once, under its own day even
    // when it ended at midnight; the one drawn over the past never was.
    const QSet<QUuid> confirmed = StatsDB(dir.file(u"stats.sqlite"_s)).confirmedIDs(today);
    EXPECT_EQ(confirmed, (QSet{write.id, mail.id, later.id, lastOfDay.id, focusBlock}));
    EXPECT_EQ(store->confirmedIDs(), confirmed);
    EXPECT_EQ(StatsQueries::readRows(dir.file(u"stats.sqlite"_s)).back().title, u"Shallow Work"_s);
    open(); // only today's confirmations come back
    EXPECT_TRUE(store->confirmedIDs().isEmpty());
}

TEST_F(DayRun, SettingsSteerTheAidsOnTheTickTheyRequest) {
    seedBlocks({makeBlock(u"Deep"_s, today, 540, 60)});
    wall.set(monday, QTime(9, 30)); // started inside the block: no start chime
    open();
    const std::pair<QTime, Settings> changes[] = {
        {QTime(9, 35), {.silenceNotifications = true}},
        {QTime(9, 40),
         {.chimesEnabled = false, .deepWorkNoise = DeepWorkNoise::off, .nudgesEnabled = false}},
        {QTime(9, 50), {.noiseVolume = 0.5, .nudgesEnabled = false, .silenceNotifications = true}},
    };
    for (const auto& change : changes)
        at(monday, change.first, [&] { store->setSettings(change.second); });
    runUntil(QDateTime(monday, QTime(10, 1)));
    // Silencing follows the deep block even with the banner nudge off.
    EXPECT_EQ(aids.calls.join(u", "_s),
              u"noise 0.1, watch Deep, silence Deep, noise off, watch off, silence off, noise 0.5, "
              u"silence Deep, noise off, sound Glass, silence off"_s);
}

TEST_F(DayRun, DaylightSavingDaysAndZoneChangesNeitherCrashNorStampTwice) {
    TzGuard::set("America/New_York");
    seedRules({makeRule(u"Early"_s, 120, 60, {1, 2, 3, 4, 5, 6, 7}),
               makeRule(u"Noon"_s, 720, 60, {1, 2, 3, 4, 5, 6, 7})});
    // Boundary wakes count minutes as elapsed time from midnight, as durations do, so on these
    // days the wake for noon lands an hour off the wall clock's noon.
    for (const auto& [day, noonWake] : {std::pair{QDate(2024, 3, 10), QTime(13, 0)},
                                        std::pair{QDate(2024, 11, 3), QTime(11, 0)}}) {
        SCOPED_TRACE(day.toString(Qt::ISODate).toStdString());
        wall.set(day.addDays(-1), QTime(22, 0));
        clock.tick();
        open();
        runUntil(QDateTime(day.addDays(1), QTime(1, 0)));
        EXPECT_EQ(stamps(day.toString(Qt::ISODate)), (QStringList{u"Early"_s, u"Noon"_s}));
        EXPECT_EQ(clock.today(), day.addDays(1).toString(Qt::ISODate));
        EXPECT_EQ(store->blocks().size(), 6u); // the day before, the day and the day after
        EXPECT_THAT(wakes, Contains(QDateTime(day, noonWake.addMSecs(100))));
    }

    // Travelling east past midnight: the new day is stamped once, and going back does not
    // stamp the old day again.
    wall.set(QDate(2024, 6, 3), QTime(20, 0));
    clock.tick();
    open();
    runUntil(QDateTime(QDate(2024, 6, 3), QTime(20, 5)));
    TzGuard::set("Asia/Tokyo");
    // The store takes today from the wall clock at once, before a tick publishes it.
    EXPECT_EQ(store->todayKey(), u"2024-06-04"_s);
    EXPECT_EQ(store->wallMinutes(), 9 * 60 + 5);
    EXPECT_TRUE(store->todayBlocks().empty());
    runUntil(wall.now().addSecs(300));
    EXPECT_EQ(clock.today(), u"2024-06-04"_s);
    TzGuard::set("America/New_York");
    runUntil(wall.now().addSecs(300));
    EXPECT_EQ(clock.today(), u"2024-06-03"_s);
    for (const QString& key : {u"2024-06-03"_s, u"2024-06-04"_s})
        EXPECT_EQ(stamps(key), (QStringList{u"Early"_s, u"Noon"_s})) << key.toStdString();
}

TEST(Stamping, EarlierStartsWinThenListOrderAndEachStampedBlockCounts) {
    const QString key = StoreHarness::today;
    const auto rule = [](const char* title, Minutes start, Minutes duration, int weekday = 2) {
        return makeRule(QString::fromLatin1(title), start, duration, {weekday});
    };
    const std::pair<std::vector<RepeatRule>, QStringList> cases[] = {
        // The earlier start wins whatever the list order; equal starts keep list order.
        {{rule("late", 570, 60), rule("early", 540, 60)}, {u"early"_s}},
        {{rule("first", 540, 60), rule("second", 540, 30)}, {u"first"_s}},
        // Touching rules both stamp; one over a block stamped earlier in the pass does not.
        {{rule("b", 600, 60), rule("c", 590, 30), rule("a", 540, 60)}, {u"a"_s, u"b"_s}},
        // Nor does one over an existing block, nor one for another weekday.
        {{rule("over", 700, 60), rule("after", 720, 30), rule("tue", 900, 30, 3)}, {u"after"_s}},
    };
    const std::vector<WorkBlock> existing{makeBlock(u"manual"_s, key, 660, 60)};
    for (const auto& [given, stamped] : cases) {
        std::vector<RepeatRule> rules = given;
        const StampResult result = stampRules(rules, existing, key, 2, 1234.5);
        QStringList titles;
        for (const WorkBlock& b : result.stamped) {
            titles << b.title;
            const RepeatRule& r = *std::ranges::find(given, b.title, &RepeatRule::title);
            EXPECT_EQ(b, (WorkBlock{b.id, r.title, key, r.startMinutes, r.durationMinutes, r.kind,
                                    r.id, 1234.5}));
        }
        EXPECT_EQ(titles, stamped);
        for (const RepeatRule& r : rules)
            EXPECT_EQ(r.lastStampedDay, key) << r.title.toStdString();
    }
}

TEST(Confirmation, DueOnlyWithinFiveSecondsAfterTheEndAndNotForBlocksDrawnLater) {
    TzGuard tz("Europe/Berlin");
    const QDateTime monday(QDate(2024, 3, 4), QTime(0, 0));
    const QDateTime end = monday.addSecs(9 * 3600); // of a block from 8:00 to 9:00
    const QDateTime soon = end.addMSecs(100);
    const double endSeconds = TimeMath::referenceSeconds(end);
    // What, the block's start and length, when it was drawn, its day's midnight, now, and whether
    // a confirmation is due.
    const std::tuple<const char*, Minutes, Minutes, std::optional<double>, QDateTime, QDateTime,
                     bool>
        cases[] = {
            {"before the end", 480, 60, {}, monday, end.addMSecs(-1), false},
            {"at the end", 480, 60, {}, monday, end, true},
            {"window's last moment", 480, 60, {}, monday, end.addMSecs(4999), true},
            {"window closed", 480, 60, {}, monday, end.addMSecs(5000), false},
            {"created before the end", 480, 60, endSeconds - 0.001, monday, soon, true},
            {"created at the end", 480, 60, endSeconds, monday, soon, false},
            {"created after the end", 480, 60, endSeconds + 60, monday, soon, false},
            {"yesterday's, ending at midnight", 1380, 60, {}, monday.addDays(-1), monday, true},
            {"a minute no calendar holds", 0, 4'000'000'000'000'000, {}, monday, end, false},
        };
    for (const auto& [label, start, duration, createdAt, midnight, now, due] : cases) {
        WorkBlock block = makeBlock(u"b"_s, QString(), start, duration);
        block.createdAt = createdAt;
        EXPECT_EQ(Confirmation::isDue(block, midnight, now), due) << label;
    }
}
