#include "model/TimeMath.h"
#include "store/FreeTime.h"

#include "support/StoreHarness.h"

using namespace quillmere;
using namespace quillmere::FreeTime;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

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
    EXPECT_TRUE(
        store->isLocked({blocks[0].id, u"running"_s, today, 900, 30, WorkKind::deep, {}, {}}));
    EXPECT_FALSE(store->isInProgress(makeBlock(u"draft"_s, today, 590, 30)));

    // Clearing today keeps other days and the frozen blocks.
    store->clearToday();
    EXPECT_EQ(store->blocks(), (std::vector{blocks[0], blocks[1], blocks[4]}));
    for (const WorkBlock& b : blocks)
        store->deleteBlock(b.id);
    EXPECT_EQ(dir.read(u"blocks.json"_s), QByteArray("[\n]\n"));

    // A backlog item keeps its pin only while it is set.
    PlannedBlock item{QUuid::createUuid(), u"Inbox"_s, WorkKind::deep, 1.0, true};
    store->addPlanned(item);
    item.pinned.reset();
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

TEST(FreeTime, NextFreeQuarterSkipsBlocksShrinksToTheNextAndStopsAtMidnight) {
    const auto small = makeBlock(u"x"_s, StoreHarness::today, 555, 5);
    const auto later = makeBlock(u"y"_s, StoreHarness::today, 580, 80);
    const auto soon = makeBlock(u"z"_s, StoreHarness::today, 600, 30);
    const std::tuple<std::vector<WorkBlock>, Minutes, const char*> cases[] = {
        {{}, 547, "555+60"},     {{small}, 547, "570+60"}, {{small, later}, 547, "660+60"},
        {{soon}, 547, "555+45"}, {{}, 1420, "1425+15"},    {{}, 1430, "nothing"},
    };
    for (const auto& [blocks, now, expected] : cases) {
        const auto placed = nextFreeQuarter(blocks, now);
        EXPECT_EQ(placed ? show(*placed) : "nothing", expected) << now;
    }
}

TEST(FreeTime, PlaceBlockTakesAFreeTimeOrSaysWhyNot) {
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
