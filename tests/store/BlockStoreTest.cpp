#include "model/TimeMath.h"
#include "store/Confirmation.h"
#include "store/FreeTime.h"
#include "store/Stamping.h"
#include "store/StatsDB.h"
#include "store/StatsQueries.h"

#include "support/StoreHarness.h"

#include <gmock/gmock.h>

using namespace quillmere;
using namespace quillmere::FreeTime;
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
    const WorkBlock lastOfDay = makeBlock(QString(), today, 1380, 60);
    seedBlocks({write, mail, later, lastOfDay});
    wall.set(monday, QTime(7, 0));
    open();

    // Start-up stamped Monday's rules once.
    EXPECT_EQ(stamps(today), (QStringList{u"Focus"_s, u"Standup"_s}));

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
    // Settings steer the aids of the block under way; silencing follows the deep block even
    // with the banner nudge off.
    const auto setAt = [&](QTime time, Settings settings) {
        at(monday, time, [=, this] { store->setSettings(settings); });
    };
    setAt(QTime(16, 0), {.silenceNotifications = true});
    setAt(QTime(16, 5),
          {.chimesEnabled = false, .deepWorkNoise = DeepWorkNoise::off, .nudgesEnabled = false});
    setAt(QTime(16, 15),
          {.noiseVolume = 0.5, .nudgesEnabled = false, .silenceNotifications = true});
    setAt(QTime(16, 40), {});
    // A restart inside a block reloads the day's confirmations and does not chime its start.
    at(monday, QTime(23, 30), [&] { open(); });
    runUntil(QDateTime(monday.addDays(1), QTime(0, 30)));

    EXPECT_EQ(aids.calls.join(u", "_s),
              u"remind Focus at 595, noise 0.1, sound Submarine, watch Focus, remind Write at 655, "
              u"sound Glass, sound Submarine, watch Write, noise off, sound Glass, watch off, "
              u"remind Later at 955, remind Later at 956, noise 0.1, sound Submarine, "
              u"watch Later, silence Later, noise off, watch off, silence off, noise 0.5, "
              u"silence Later, noise off, sound Glass, silence off, remind  at 1375, noise 0.1, "
              u"sound Submarine, watch , noise off, sound Glass, watch off"_s);
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
    EXPECT_EQ(StatsQueries::readRows(dir.file(u"stats.sqlite"_s)).back().title, u"Deep Work"_s);
    open(); // only today's confirmations come back
    EXPECT_TRUE(store->confirmedIDs().isEmpty());
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
    EXPECT_EQ(std::tuple(store->todayKey(), store->wallMinutes(), store->todayBlocks().size()),
              std::tuple(u"2024-06-04"_s, 9 * 60 + 5, 0u));
    runUntil(wall.now().addSecs(300));
    EXPECT_EQ(clock.today(), u"2024-06-04"_s);
    TzGuard::set("America/New_York");
    runUntil(wall.now().addSecs(300));
    EXPECT_EQ(clock.today(), u"2024-06-03"_s);
    for (const QString& key : {u"2024-06-03"_s, u"2024-06-04"_s})
        EXPECT_EQ(stamps(key), (QStringList{u"Early"_s, u"Noon"_s})) << key.toStdString();
}

TEST_F(DayRun, StampingLetsEarlierStartsWinThenListOrderAndEachStampedBlockCount) {
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
    const std::vector<WorkBlock> existing{makeBlock(u"manual"_s, today, 660, 60)};
    for (const auto& [given, stamped] : cases) {
        std::vector<RepeatRule> rules = given;
        const StampResult result = stampRules(rules, existing, today, 2, 1234.5);
        QStringList titles;
        for (const WorkBlock& b : result.stamped) {
            titles << b.title;
            const RepeatRule& r = *std::ranges::find(given, b.title, &RepeatRule::title);
            EXPECT_EQ(b, (WorkBlock{b.id, r.title, today, r.startMinutes, r.durationMinutes, r.kind,
                                    r.id, 1234.5}));
        }
        EXPECT_EQ(titles, stamped);
        for (const RepeatRule& r : rules)
            EXPECT_EQ(r.lastStampedDay, today) << r.title.toStdString();
    }
}

TEST_F(DayRun, ConfirmationIsDueOnlyWithinFiveSecondsAfterTheEndAndNotForBlocksDrawnLater) {
    const QDateTime midnight(monday, QTime(0, 0));
    const QDateTime end(monday, QTime(9, 0)); // of a block from 8:00 to 9:00
    const QDateTime soon = end.addMSecs(100);
    const double endSeconds = TimeMath::referenceSeconds(end);
    // What, when the block was drawn, now, and whether a confirmation is due.
    const std::tuple<const char*, std::optional<double>, QDateTime, bool> cases[] = {
        {"before the end", {}, end.addMSecs(-1), false},
        {"window's last moment", {}, end.addMSecs(4999), true},
        {"window closed", {}, end.addMSecs(5000), false},
        {"created before the end", endSeconds - 0.001, soon, true},
        {"created at the end", endSeconds, soon, false},
        {"created after the end", endSeconds + 60, soon, false},
    };
    for (const auto& [label, createdAt, now, due] : cases) {
        const WorkBlock block{{}, u"b"_s, {}, 480, 60, WorkKind::deep, {}, createdAt};
        EXPECT_EQ(Confirmation::isDue(block, midnight, now), due) << label;
    }
    // Nor for a block that ends at a minute no calendar holds.
    const WorkBlock endless{{}, u"b"_s, {}, 0, 4'000'000'000'000'000, WorkKind::deep, {}, {}};
    EXPECT_FALSE(Confirmation::isDue(endless, midnight, end));
}

using Editing = StoreHarness;

TEST_F(Editing, TodayIsSortedTheStoredCopyDecidesRunningLockedAndFrozenAndClearingKeepsTheFrozen) {
    wall.set(monday, QTime(10, 0, 1)); // the block that ended at 10:00 is confirmed at start-up
    const std::vector blocks{
        makeBlock(u"running"_s, today, 600, 30), makeBlock(u"ended"_s, today, 540, 60),
        makeBlock(u"shallow"_s, today, 540, 120, WorkKind::shallow),
        makeBlock(u"early"_s, today, 480, 30), makeBlock(u"tomorrow"_s, u"2024-03-05"_s, 0, 30)};
    seedBlocks(blocks);
    open();
    // By start, then by length.
    EXPECT_EQ(store->todayBlocks(), (std::vector{blocks[3], blocks[1], blocks[2], blocks[0]}));
    EXPECT_EQ(store->totalMinutesToday(WorkKind::deep), 120);
    EXPECT_EQ(store->totalMinutesToday(WorkKind::shallow), 120);
    QStringList states; // running, locked, frozen
    const auto yes = [](bool on) { return on ? u"y"_s : u"-"_s; };
    for (const WorkBlock& b : blocks)
        states << b.title + u' ' + yes(store->isInProgress(b)) + yes(store->isLocked(b)) +
                      yes(store->isFrozen(b));
    EXPECT_EQ(states.join(u", "_s),
              u"running yyy, ended --y, shallow y--, early ---, tomorrow ---"_s);
    // An unsaved edit that moves the running block away is still judged by what is saved, and
    // a block never saved is not running.
    EXPECT_TRUE(store->isLocked({blocks[0].id, {}, today, 900, 30, WorkKind::deep, {}, {}}));
    EXPECT_FALSE(store->isInProgress(makeBlock(u"draft"_s, today, 590, 30)));

    // Clearing today keeps other days and the frozen blocks.
    store->clearToday();
    EXPECT_EQ(store->blocks(), (std::vector{blocks[0], blocks[1], blocks[4]}));
    for (const WorkBlock& b : blocks)
        store->deleteBlock(b.id);
    EXPECT_EQ(dir.read(u"blocks.json"_s), QByteArray("[\n]\n"));

    // A backlog item keeps its pin only while it is set.
    const PlannedBlock item{QUuid::createUuid(), u"Inbox"_s, WorkKind::deep, 1.0, {}};
    store->addPlanned({item.id, item.title, item.kind, item.createdAt, true});
    store->updatePlanned(item);
    EXPECT_EQ(plannedOnDisk(), std::vector{item});
}

TEST_F(Editing, SetRepeatCreatesUpdatesAndRemovesTheRuleAndReplacesALostOne) {
    const WorkBlock block = makeBlock(u"Write"_s, today, 600, 60);
    seedBlocks({block});
    open();

    store->setRepeat({2, 4}, block.id);
    const QUuid rule = store->savedBlock(block.id)->repeatRuleID.value_or(QUuid());
    EXPECT_EQ(store->rules(),
              (std::vector<RepeatRule>{{rule, block.title, block.kind, 600, 60, {2, 4}, today}}));
    EXPECT_EQ(store->repeatDays(block.id), (Weekdays{2, 4}));
    store->refreshBlock();
    EXPECT_EQ(store->todayBlocks().size(), 1u); // today's block stands for today

    // The block moves and the rule follows on the next commit.
    store->update({block.id, u"Write more"_s, today, 630, 60, WorkKind::deep, rule, {}});
    store->setRepeat({2}, block.id);
    EXPECT_EQ(store->rules(), (std::vector<RepeatRule>{
                                  {rule, u"Write more"_s, WorkKind::deep, 630, 60, {2}, today}}));
    store->setRepeat({}, block.id);
    EXPECT_TRUE(store->rules().empty());
    EXPECT_FALSE(store->savedBlock(block.id)->repeatRuleID);

    // The block's rule was lost: new days make a new rule, no days only let go of the id.
    const WorkBlock orphan{block.id,       u"Write more"_s,     today, 630, 60,
                           WorkKind::deep, QUuid::createUuid(), {}};
    store->update(orphan);
    EXPECT_TRUE(store->repeatDays(block.id).empty());
    store->setRepeat({3}, block.id);
    const QUuid fresh = store->savedBlock(block.id)->repeatRuleID.value_or(QUuid());
    EXPECT_NE(fresh, orphan.repeatRuleID);
    EXPECT_EQ(store->rules(), (std::vector<RepeatRule>{
                                  {fresh, u"Write more"_s, WorkKind::deep, 630, 60, {3}, today}}));
    EXPECT_TRUE(savedAsHeld());
    store->update(orphan);
    store->setRepeat({}, block.id);
    EXPECT_FALSE(store->savedBlock(block.id)->repeatRuleID);
    EXPECT_EQ(store->rules().size(), 1u);
    EXPECT_TRUE(savedAsHeld());
}

// Free time and repeat conflicts leave out the block being moved and its own rule, and the
// search, which keeps the day's busy time between calls, follows every edit and the next day.
TEST_F(Editing, FreeTimeAndConflictsExcludeTheMovedBlockAndFollowEveryEdit) {
    const RepeatRule rule = makeRule(u"r"_s, 600, 60, {2, 3});
    const RepeatRule midweek = makeRule(u"m"_s, 870, 60, {3, 5});
    const WorkBlock owned{QUuid::createUuid(), u"own"_s, today, 600, 60,
                          WorkKind::deep,      rule.id,  {}};
    const WorkBlock other = makeBlock(u"other"_s, today, 720, 60);
    seedRules({rule, midweek});
    seedBlocks({owned, other});
    open();
    const std::pair<WorkBlock, Weekdays> conflicts[] = {
        {makeBlock(u"overlaps both"_s, today, 630, 270), {2, 3, 5}},
        // Itself stretched over its own rule and the midweek one.
        {{owned.id, u"stretched"_s, today, 600, 300, WorkKind::deep, rule.id, {}}, {3, 5}},
        {makeBlock(u"touches the end"_s, today, 660, 60), {}},
        {makeBlock(u"touches the start"_s, today, 540, 60), {}},
    };
    for (const auto& [block, days] : conflicts)
        EXPECT_EQ(store->conflictingRepeatDays(block), days) << block.title.toStdString();

    EXPECT_EQ(store->nearestFreeStart(610, 60, owned.id, {2}), 610);
    EXPECT_EQ(store->nearestFreeStart(610, 60, std::nullopt, {}), 660);
    EXPECT_EQ(store->freeGap(700, owned.id, {3}), (MinuteRange{0, 720}));
    // Another block that would repeat on Tuesdays cannot take the rule's time.
    EXPECT_EQ(store->freeGap(500, other.id, {3}), (MinuteRange{0, 600}));
    const auto draft = store->nextFreeBlock(WorkKind::shallow);
    ASSERT_TRUE(draft);
    EXPECT_EQ(*draft, (WorkBlock{draft->id, u"Shallow Work"_s, today, 540, 60, WorkKind::shallow,
                                 std::nullopt, TimeMath::referenceSeconds(wall.now())}));
    EXPECT_FALSE(store->savedBlock(draft->id));

    EXPECT_EQ(store->nearestFreeStart(730, 30, std::nullopt, {}), 690);
    store->add(makeBlock(u"new"_s, today, 660, 60));
    EXPECT_EQ(store->nearestFreeStart(730, 30, std::nullopt, {}), 780);
    EXPECT_EQ(store->freeGap(800, other.id, {3}), (MinuteRange{720, 870}));
    store->setRepeat({3}, other.id);
    const WorkBlock moving = makeBlock(u"moving"_s, today, 800, 30);
    store->add(moving);
    EXPECT_EQ(store->freeGap(800, moving.id, {3}), (MinuteRange{780, 870}));
    wall.advanceSecs(24 * 3600);
    EXPECT_EQ(store->nearestFreeStart(730, 30, std::nullopt, {}), 730);
}

// A placement as "start+duration", or the fault's number, so whole answers compare in one line.
static std::string show(const std::variant<Placement, PlacementFault>& v) {
    if (const auto* p = std::get_if<Placement>(&v))
        return std::to_string(p->start) + "+" + std::to_string(p->duration);
    return "fault " + std::to_string(static_cast<int>(std::get<PlacementFault>(v)));
}

TEST(FreeTime, NearestFreeStartAndFreeGapFindTheClosestRoom) {
    EXPECT_EQ(nearestFreeStart({}, 500, 60), 500);
    EXPECT_EQ(nearestFreeStart({}, 1430, 60), 1380);
    EXPECT_EQ(nearestFreeStart({}, -40, 60), 0);
    EXPECT_EQ(nearestFreeStart({{660, 720}, {540, 600}}, 590, 30), 600); // unsorted input
    EXPECT_EQ(nearestFreeStart({{540, 600}}, 560, 20), 520); // a tie goes to the earlier start
    EXPECT_EQ(nearestFreeStart({{0, 1440}}, 600, 15), std::nullopt);
    EXPECT_EQ(nearestFreeStart({{0, 700}, {710, 1440}}, 600, 15), std::nullopt);
    // Overlapping busy intervals (a block under a reserved slot) still make one busy stretch.
    EXPECT_EQ(nearestFreeStart({{540, 660}, {600, 620}}, 600, 30), 660);

    EXPECT_EQ(freeGap({}, 600), (MinuteRange{0, 1440}));
    EXPECT_EQ(freeGap({{600, 660}, {540, 600}}, 600), (MinuteRange{600, 600}));
    EXPECT_EQ(freeGap({{570, 630}}, 600), std::nullopt);
    EXPECT_EQ(freeGap({{480, 540}, {700, 760}, {900, 960}}, 600), (MinuteRange{540, 700}));
    EXPECT_EQ(freeGap({{480, 540}}, 1440), (MinuteRange{540, 1440}));
}

TEST(FreeTime, TheNextFreeQuarterAndAPlacedBlockTakeFreeTimeOrSayWhyNot) {
    const auto small = makeBlock(u"x"_s, StoreHarness::today, 555, 5);
    const auto later = makeBlock(u"y"_s, StoreHarness::today, 580, 80);
    const auto soon = makeBlock(u"z"_s, StoreHarness::today, 600, 30);
    const std::tuple<std::vector<WorkBlock>, Minutes, const char*> quarters[] = {
        {{}, 547, "555+60"},     {{small}, 547, "570+60"}, {{small, later}, 547, "660+60"},
        {{soon}, 547, "555+45"}, {{}, 1420, "1425+15"},    {{}, 1430, "nothing"},
    };
    for (const auto& [blocks, now, expected] : quarters) {
        const auto placed = nextFreeQuarter(blocks, now);
        EXPECT_EQ(placed ? show(*placed) : "nothing", expected) << now;
    }

    // 9:00-10:00 and 10:30-11:00 taken; now is 8:50.
    const std::vector<WorkBlock> today{makeBlock(u"a"_s, StoreHarness::today, 540, 60),
                                       makeBlock(u"b"_s, StoreHarness::today, 630, 30)};
    using Start = std::optional<Minutes>;
    const auto at = [](Minutes s, Minutes d) { return Placement{s, d}; };
    const std::tuple<Start, Start, std::variant<Placement, PlacementFault>> cases[] = {
        {{}, {}, at(600, 30)},              // where the add buttons would put it
        {{}, 30, at(600, 30)},              // the first half hour free after now
        {{}, 45, at(660, 45)},              // 10:00-10:30 is too short for 45 m
        {600, {}, at(600, 30)},             // up to the next block
        {660, {}, at(660, 60)},             // up to an hour
        {1425, {}, at(1425, 15)},           // up to midnight
        {600, 45, PlacementFault::overlap}, // runs into 10:30
        {570, 15, PlacementFault::overlap}, // inside 9:00-10:00
        {630, {}, PlacementFault::overlap}, // a block starts right there
        {605, 30, PlacementFault::offGrid}, // off the quarter hours
        {600, 20, PlacementFault::offGrid},
        {-15, 30, PlacementFault::offGrid},
        {1440, {}, PlacementFault::offGrid},
        {1380, 90, PlacementFault::pastMidnight},
        {{}, 1440, PlacementFault::dayFull},
    };
    for (const auto& [start, duration, expected] : cases)
        EXPECT_EQ(show(placeBlock(today, 530, start, duration)), show(expected))
            << start.value_or(-1) << " for " << duration.value_or(0);
}
