#include "model/TimeMath.h"

#include "support/StoreHarness.h"

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

using Editing = StoreHarness;

TEST_F(Editing, TodayIsSortedTheStoredCopyDecidesRunningLockedAndFrozenAndClearingKeepsTheFrozen) {
    wall.set(monday, QTime(10, 0, 1)); // the block that ended at 10:00 is confirmed at start-up
    struct Case {
        WorkBlock block;
        bool running, locked, frozen;
    };
    const Case cases[] = {
        {makeBlock(u"running"_s, today, 600, 30), true, true, true},
        {makeBlock(u"ended"_s, today, 540, 60), false, false, true},
        {makeBlock(u"shallow"_s, today, 540, 120, WorkKind::shallow), true, false, false},
        {makeBlock(u"early"_s, today, 480, 30), false, false, false},
        {makeBlock(u"tomorrow"_s, u"2024-03-05"_s, 0, 30), false, false, false},
    };
    std::vector<WorkBlock> blocks;
    for (const Case& c : cases)
        blocks.push_back(c.block);
    seedBlocks(blocks);
    open();
    // By start, then by length.
    EXPECT_EQ(store->todayBlocks(), (std::vector{blocks[3], blocks[1], blocks[2], blocks[0]}));
    EXPECT_EQ(store->totalMinutesToday(WorkKind::deep), 120);
    EXPECT_EQ(store->totalMinutesToday(WorkKind::shallow), 120);
    for (const Case& c : cases)
        EXPECT_EQ(std::tuple(store->isInProgress(c.block), store->isLocked(c.block),
                             store->isFrozen(c.block)),
                  std::tuple(c.running, c.locked, c.frozen))
            << c.block.title.toStdString();
    // An unsaved edit that moves the running block away is still judged by what is saved, and
    // a block never saved is not running.
    WorkBlock moved = blocks[0];
    moved.startMinutes = 900;
    EXPECT_TRUE(store->isLocked(moved));
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
    EXPECT_FALSE(dir.read(u"planned.json"_s)->contains("pinned"));
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
    WorkBlock moved = *store->savedBlock(block.id);
    moved.startMinutes = 630;
    moved.title = u"Write more"_s;
    store->update(moved);
    store->setRepeat({2}, block.id);
    EXPECT_EQ(store->rules(),
              (std::vector<RepeatRule>{{rule, moved.title, moved.kind, 630, 60, {2}, today}}));
    store->setRepeat({}, block.id);
    EXPECT_TRUE(store->rules().empty());
    EXPECT_FALSE(store->savedBlock(block.id)->repeatRuleID);

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
    WorkBlock owned = makeBlock(u"own"_s, today, 600, 60);
    owned.repeatRuleID = rule.id;
    const WorkBlock other = makeBlock(u"other"_s, today, 720, 60);
    seedRules({rule, midweek});
    seedBlocks({owned, other});
    open();
    WorkBlock stretched = owned; // over its own rule and the midweek one
    stretched.durationMinutes = 300;
    const std::pair<WorkBlock, Weekdays> conflicts[] = {
        {makeBlock(u"overlaps both"_s, today, 630, 270), {2, 3, 5}},
        {stretched, {3, 5}},
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
