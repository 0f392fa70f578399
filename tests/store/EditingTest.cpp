#include "model/TimeMath.h"

#include "support/StoreHarness.h"

using namespace quillmere;
using namespace quillmere::test;

namespace {
using Editing = StoreHarness;
} // namespace

TEST_F(Editing, TodayBlocksAreSortedByStartThenDuration) {
    const WorkBlock longer = makeBlock(QStringLiteral("long"), today, 540, 60);
    const WorkBlock shorter = makeBlock(QStringLiteral("short"), today, 540, 30);
    const WorkBlock early = makeBlock(QStringLiteral("early"), today, 480, 30);
    const WorkBlock tomorrow =
        makeBlock(QStringLiteral("tomorrow"), QStringLiteral("2024-03-05"), 0, 30);
    seedBlocks({longer, tomorrow, shorter, early});
    open();
    EXPECT_EQ(store->todayBlocks(), (std::vector<WorkBlock>{early, shorter, longer}));
    EXPECT_EQ(store->totalMinutesToday(WorkKind::deep), 120);
    EXPECT_EQ(store->totalMinutesToday(WorkKind::shallow), 0);
}

TEST_F(Editing, RunningLockedAndFrozenJudgeTheStoredCopy) {
    wall.set(monday, QTime(10, 0, 10)); // too late to confirm the block that ended at 10:00
    struct Case {
        WorkBlock block;
        bool running, locked;
    };
    const Case cases[] = {
        {makeBlock(QStringLiteral("ended"), today, 540, 60), false, false},
        {makeBlock(QStringLiteral("running"), today, 600, 30), true, true},
        {makeBlock(QStringLiteral("shallow"), today, 540, 120, WorkKind::shallow), true, false},
        {makeBlock(QStringLiteral("tomorrow"), QStringLiteral("2024-03-05"), 600, 30), false,
         false},
    };
    std::vector<WorkBlock> blocks;
    for (const Case& c : cases)
        blocks.push_back(c.block);
    seedBlocks(blocks);
    open();
    for (const Case& c : cases) {
        EXPECT_EQ(store->isInProgress(c.block), c.running) << c.block.title.toStdString();
        EXPECT_EQ(store->isLocked(c.block), c.locked) << c.block.title.toStdString();
        EXPECT_EQ(store->isFrozen(c.block), c.locked) << c.block.title.toStdString();
    }

    // An unsaved edit that moves the running block away is still judged by what is saved, and
    // a block never saved is not running.
    WorkBlock moved = cases[1].block;
    moved.startMinutes = 900;
    EXPECT_TRUE(store->isLocked(moved));
    EXPECT_FALSE(store->isInProgress(makeBlock(QStringLiteral("draft"), today, 590, 30)));
}

TEST_F(Editing, UpdateIgnoresUnknownBlocksAndDeleteAlwaysWrites) {
    const WorkBlock block = makeBlock(QStringLiteral("a"), today, 600, 30);
    seedBlocks({block});
    const QByteArray before = dir.read(QStringLiteral("blocks.json")).value();
    open();
    store->update(makeBlock(QStringLiteral("b"), today, 700, 30));
    EXPECT_EQ(dir.read(QStringLiteral("blocks.json")), before);
    EXPECT_EQ(store->blocks(), std::vector<WorkBlock>{block});

    WorkBlock renamed = block;
    renamed.title = QStringLiteral("renamed");
    store->update(renamed);
    EXPECT_EQ(blocksOnDisk(), std::vector<WorkBlock>{renamed});

    dir.write(QStringLiteral("blocks.json"), "marker");
    store->deleteBlock(QUuid::createUuid());
    EXPECT_EQ(blocksOnDisk(), std::vector<WorkBlock>{renamed});
    store->deleteBlock(block.id);
    EXPECT_TRUE(store->blocks().empty());
    EXPECT_EQ(dir.read(QStringLiteral("blocks.json")), QByteArray("[\n]\n"));
}

TEST_F(Editing, ClearTodayKeepsTheRunningDeepBlockAndConfirmedOnes) {
    wall.set(monday, QTime(8, 0, 1)); // the morning block ended a second ago
    const WorkBlock morning = makeBlock(QStringLiteral("morning"), today, 420, 60);
    const WorkBlock running = makeBlock(QStringLiteral("running"), today, 480, 60);
    const WorkBlock later = makeBlock(QStringLiteral("later"), today, 600, 60);
    const WorkBlock shallowRunning =
        makeBlock(QStringLiteral("shallow"), today, 470, 30, WorkKind::shallow);
    const WorkBlock yesterday =
        makeBlock(QStringLiteral("y"), QStringLiteral("2024-03-03"), 600, 60);
    seedBlocks({yesterday, morning, running, later, shallowRunning});
    open();
    ASSERT_TRUE(store->confirmedIDs().contains(morning.id));
    store->clearToday();
    EXPECT_EQ(store->blocks(), (std::vector<WorkBlock>{yesterday, morning, running}));
    EXPECT_EQ(blocksOnDisk(), store->blocks());
}

TEST_F(Editing, SetRepeatCreatesUpdatesAndRemovesTheRuleAndReplacesALostOne) {
    const WorkBlock block = makeBlock(QStringLiteral("Write"), today, 600, 60);
    seedBlocks({block});
    open();

    store->setRepeat({2, 4}, block.id);
    ASSERT_EQ(store->rules().size(), 1u);
    const RepeatRule rule = store->rules().front();
    EXPECT_EQ(rule, (RepeatRule{rule.id, block.title, block.kind, 600, 60, {2, 4}, today}));
    EXPECT_EQ(store->savedBlock(block.id)->repeatRuleID, rule.id);
    EXPECT_EQ(rulesOnDisk(), store->rules());
    EXPECT_EQ(blocksOnDisk(), store->blocks());
    EXPECT_EQ(store->repeatDays(block.id), (Weekdays{2, 4}));
    store->refreshBlock();
    EXPECT_EQ(store->todayBlocks().size(), 1u); // today's block stands for today

    // The block moves and the rule follows on the next commit; blocks.json is the caller's.
    WorkBlock moved = *store->savedBlock(block.id);
    moved.startMinutes = 630;
    moved.title = QStringLiteral("Write more");
    store->update(moved);
    seedBlocks({}); // a marker: setRepeat must not rewrite blocks.json on this path
    store->setRepeat({2}, block.id);
    EXPECT_EQ(store->rules(),
              (std::vector<RepeatRule>{{rule.id, moved.title, moved.kind, 630, 60, {2}, today}}));
    EXPECT_TRUE(blocksOnDisk().empty());

    store->setRepeat({}, block.id);
    EXPECT_TRUE(store->rules().empty());
    EXPECT_TRUE(rulesOnDisk().empty());
    EXPECT_FALSE(store->savedBlock(block.id)->repeatRuleID);
    EXPECT_EQ(blocksOnDisk(), store->blocks());

    // No rule and no days: nothing to do, nothing written.
    seedBlocks({});
    store->setRepeat({}, block.id);
    EXPECT_TRUE(blocksOnDisk().empty());

    // The block's rule was lost: new days make a new rule, no days only let go of the id.
    WorkBlock orphan = *store->savedBlock(block.id);
    orphan.repeatRuleID = QUuid::createUuid();
    store->update(orphan);
    EXPECT_TRUE(store->repeatDays(block.id).empty());
    store->setRepeat({3}, block.id);
    ASSERT_EQ(store->rules().size(), 1u);
    EXPECT_NE(store->rules().front().id, orphan.repeatRuleID);
    EXPECT_EQ(store->rules().front().weekdays, Weekdays{3});
    EXPECT_EQ(store->savedBlock(block.id)->repeatRuleID, store->rules().front().id);
    EXPECT_EQ(rulesOnDisk(), store->rules());
    store->update(orphan);
    store->setRepeat({}, block.id);
    EXPECT_FALSE(store->savedBlock(block.id)->repeatRuleID);
    EXPECT_EQ(store->rules().size(), 1u);
    EXPECT_EQ(blocksOnDisk(), store->blocks());
}

TEST_F(Editing, ConflictingRepeatDaysIgnoreTheBlocksOwnRule) {
    const RepeatRule mondays = makeRule(QStringLiteral("a"), 540, 60, {2});
    const RepeatRule midweek = makeRule(QStringLiteral("b"), 570, 60, {3, 5});
    seedRules({mondays, midweek});
    open();
    WorkBlock owned = makeBlock(QStringLiteral("y"), today, 570, 60);
    owned.repeatRuleID = midweek.id;
    const std::pair<WorkBlock, Weekdays> cases[] = {
        {makeBlock(QStringLiteral("overlaps both"), today, 585, 30), {2, 3, 5}},
        {owned, {2}},
        {makeBlock(QStringLiteral("touches the end"), today, 630, 60), {}},
        {makeBlock(QStringLiteral("touches the start"), today, 480, 60), {}},
    };
    for (const auto& [block, days] : cases)
        EXPECT_EQ(store->conflictingRepeatDays(block), days) << block.title.toStdString();
}

TEST_F(Editing, FreeTimeOnTheStoreExcludesTheMovedBlockAndItsRule) {
    const RepeatRule rule = makeRule(QStringLiteral("r"), 600, 60, {2, 3});
    WorkBlock owned = makeBlock(QStringLiteral("own"), today, 600, 60);
    owned.repeatRuleID = rule.id;
    const WorkBlock other = makeBlock(QStringLiteral("other"), today, 720, 60);
    seedRules({rule});
    seedBlocks({owned, other});
    open();
    EXPECT_EQ(store->nearestFreeStart(610, 60, owned.id, {2}), 610);
    EXPECT_EQ(store->nearestFreeStart(610, 60, std::nullopt, {}), 660);
    EXPECT_EQ(store->freeGap(700, owned.id, {3}), (MinuteRange{0, 720}));
    // Another block that would repeat on Tuesdays cannot take the rule's time.
    EXPECT_EQ(store->freeGap(500, other.id, {3}), (MinuteRange{0, 600}));

    const auto draft = store->nextFreeBlock(WorkKind::shallow);
    ASSERT_TRUE(draft);
    EXPECT_EQ(*draft,
              (WorkBlock{draft->id, QStringLiteral("Shallow Work"), today, 540, 60,
                         WorkKind::shallow, std::nullopt, TimeMath::referenceSeconds(wall.now())}));
    EXPECT_FALSE(store->savedBlock(draft->id));
}

// The search keeps the day's busy time between calls: every change and the next day show.
TEST_F(Editing, FreeTimeFollowsEveryEditAndTheNextDay) {
    const WorkBlock other = makeBlock(QStringLiteral("other"), today, 720, 60);
    seedBlocks({other});
    open();
    EXPECT_EQ(store->nearestFreeStart(730, 30, std::nullopt, {}), 690);
    store->add(makeBlock(QStringLiteral("new"), today, 660, 60));
    EXPECT_EQ(store->nearestFreeStart(730, 30, std::nullopt, {}), 780);
    EXPECT_EQ(store->freeGap(800, other.id, {3}), (MinuteRange{720, 1440}));
    store->setRepeat({3}, other.id);
    const WorkBlock moving = makeBlock(QStringLiteral("moving"), today, 900, 30);
    store->add(moving);
    EXPECT_EQ(store->freeGap(800, moving.id, {3}), (MinuteRange{780, 1440}));
    wall.advanceSecs(24 * 3600);
    EXPECT_EQ(store->nearestFreeStart(730, 30, std::nullopt, {}), 730);
}

TEST_F(Editing, BacklogPinningAndRemoval) {
    open();
    PlannedBlock item{QUuid::createUuid(), QStringLiteral("Inbox"), WorkKind::deep, 1.0, true};
    store->addPlanned(item);
    item.pinned.reset();
    store->updatePlanned(item);
    EXPECT_EQ(plannedOnDisk(), std::vector<PlannedBlock>{item});
    EXPECT_FALSE(dir.read(QStringLiteral("planned.json"))->contains("pinned"));

    // Unknown identifiers leave the file alone.
    dir.write(QStringLiteral("planned.json"), "marker");
    store->removePlanned(QUuid::createUuid());
    store->updatePlanned(
        {QUuid::createUuid(), QStringLiteral("?"), WorkKind::deep, 0, std::nullopt});
    EXPECT_EQ(dir.read(QStringLiteral("planned.json")), QByteArray("marker"));
    store->removePlanned(item.id);
    EXPECT_TRUE(store->planned().empty());
    EXPECT_EQ(dir.read(QStringLiteral("planned.json")), QByteArray("[\n]\n"));
}

TEST_F(Editing, ATimeZoneChangeAfterStartUpMovesToday) {
    wall.set(monday, QTime(23, 30));
    const WorkBlock mon = makeBlock(QStringLiteral("mon"), today, 1380, 60);
    const WorkBlock tue = makeBlock(QStringLiteral("tue"), QStringLiteral("2024-03-05"), 450, 60);
    seedBlocks({mon, tue});
    open();
    EXPECT_EQ(store->todayBlocks(), std::vector<WorkBlock>{mon});
    EXPECT_EQ(store->wallMinutes(), 1410);
    TzGuard::set("Asia/Tokyo"); // the same instant is 07:30 on Tuesday there
    EXPECT_EQ(store->todayKey(), QStringLiteral("2024-03-05"));
    EXPECT_EQ(store->todayBlocks(), std::vector<WorkBlock>{tue});
    EXPECT_EQ(store->wallMinutes(), 450);
}
