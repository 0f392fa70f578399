#include "StoreFixture.h"

using namespace quillmere;
using namespace quillmere::test;

TEST_F(StoreFixture, TodayBlocksAreSortedByStartThenDuration) {
    const WorkBlock longer = makeBlock(QStringLiteral("long"), today, 540, 60);
    const WorkBlock shorter = makeBlock(QStringLiteral("short"), today, 540, 30);
    const WorkBlock early = makeBlock(QStringLiteral("early"), today, 480, 30);
    const WorkBlock tomorrow =
        makeBlock(QStringLiteral("tomorrow"), QStringLiteral("2024-03-05"), 0, 30);
    seedBlocks({longer, tomorrow, shorter, early});
    open();
    const auto listed = store->todayBlocks();
    ASSERT_EQ(listed.size(), 3u);
    EXPECT_EQ(listed[0].title, QStringLiteral("early"));
    EXPECT_EQ(listed[1].title, QStringLiteral("short"));
    EXPECT_EQ(listed[2].title, QStringLiteral("long"));
    EXPECT_EQ(store->totalMinutesToday(WorkKind::deep), 120);
    EXPECT_EQ(store->totalMinutesToday(WorkKind::shallow), 0);
}

TEST_F(StoreFixture, RunningLockedAndFrozenJudgeTheStoredCopy) {
    wall.set(QDate(2024, 3, 4), QTime(10, 0));
    const WorkBlock ended = makeBlock(QStringLiteral("ended"), today, 540, 60);
    const WorkBlock running = makeBlock(QStringLiteral("running"), today, 600, 30);
    const WorkBlock shallow =
        makeBlock(QStringLiteral("shallow"), today, 540, 120, WorkKind::shallow);
    const WorkBlock tomorrow =
        makeBlock(QStringLiteral("tomorrow"), QStringLiteral("2024-03-05"), 600, 30);
    seedBlocks({ended, running, shallow, tomorrow});
    open();
    EXPECT_FALSE(store->isInProgress(ended));
    EXPECT_FALSE(store->isLocked(ended));
    EXPECT_TRUE(store->isInProgress(running));
    EXPECT_TRUE(store->isLocked(running));
    EXPECT_TRUE(store->isFrozen(running));
    EXPECT_TRUE(store->isInProgress(shallow));
    EXPECT_FALSE(store->isLocked(shallow));
    EXPECT_FALSE(store->isFrozen(shallow));
    EXPECT_FALSE(store->isInProgress(tomorrow));

    // An unsaved edit that moves the running block away is still judged by what is saved.
    WorkBlock moved = running;
    moved.startMinutes = 900;
    EXPECT_TRUE(store->isLocked(moved));
    WorkBlock draft = makeBlock(QStringLiteral("draft"), today, 590, 30);
    EXPECT_FALSE(store->isInProgress(draft));
}

TEST_F(StoreFixture, UpdateAndDeleteOfUnknownBlocks) {
    const WorkBlock block = makeBlock(QStringLiteral("a"), today, 600, 30);
    seedBlocks({block});
    const QByteArray before = dir.read(QStringLiteral("blocks.json")).value();
    open();
    WorkBlock stranger = makeBlock(QStringLiteral("b"), today, 700, 30);
    store->update(stranger);
    EXPECT_EQ(dir.read(QStringLiteral("blocks.json")), before);
    EXPECT_EQ(store->blocks(), std::vector<WorkBlock>{block});

    WorkBlock renamed = block;
    renamed.title = QStringLiteral("renamed");
    store->update(renamed);
    EXPECT_EQ(blocksOnDisk(), std::vector<WorkBlock>{renamed});
    store->deleteBlock(block.id);
    EXPECT_TRUE(blocksOnDisk().empty());
}

TEST_F(StoreFixture, ClearTodayKeepsTheRunningDeepBlockAndConfirmedOnes) {
    wall.set(QDate(2024, 3, 4), QTime(8, 0, 1));
    const WorkBlock morning = makeBlock(QStringLiteral("morning"), today, 420, 60);
    const WorkBlock running = makeBlock(QStringLiteral("running"), today, 480, 60);
    const WorkBlock later = makeBlock(QStringLiteral("later"), today, 600, 60);
    const WorkBlock shallowRunning =
        makeBlock(QStringLiteral("shallow"), today, 470, 30, WorkKind::shallow);
    const WorkBlock yesterday =
        makeBlock(QStringLiteral("y"), QStringLiteral("2024-03-03"), 600, 60);
    seedBlocks({yesterday, morning, running, later, shallowRunning});
    open();
    store->refreshBlock(); // 08:00:01: the morning block ended a second ago and is confirmed
    ASSERT_TRUE(store->confirmedIDs().contains(morning.id));
    store->clearToday();
    EXPECT_EQ(store->blocks(), (std::vector<WorkBlock>{yesterday, morning, running}));
    EXPECT_EQ(blocksOnDisk(), store->blocks());
}

TEST_F(StoreFixture, SetRepeatCreatesUpdatesAndRemovesTheRule) {
    const WorkBlock block = makeBlock(QStringLiteral("Write"), today, 600, 60);
    seedBlocks({block});
    open();

    store->setRepeat({2, 4}, block.id);
    ASSERT_EQ(store->rules().size(), 1u);
    const RepeatRule rule = store->rules().front();
    EXPECT_EQ(rule.weekdays, (Weekdays{2, 4}));
    EXPECT_EQ(rule.lastStampedDay, today);
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
    EXPECT_EQ(store->rules().front().startMinutes, 630);
    EXPECT_EQ(store->rules().front().title, QStringLiteral("Write more"));
    EXPECT_EQ(store->rules().front().id, rule.id);
    EXPECT_EQ(store->rules().front().weekdays, Weekdays{2});
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
}

TEST_F(StoreFixture, ConflictingRepeatDaysIgnoreTheBlocksOwnRule) {
    const RepeatRule monday = makeRule(QStringLiteral("a"), 540, 60, {2});
    const RepeatRule midweek = makeRule(QStringLiteral("b"), 570, 60, {3, 5});
    seedRules({monday, midweek});
    open();
    const WorkBlock loose = makeBlock(QStringLiteral("x"), today, 585, 30);
    EXPECT_EQ(store->conflictingRepeatDays(loose), (Weekdays{2, 3, 5}));
    WorkBlock owned = makeBlock(QStringLiteral("y"), today, 570, 60);
    owned.repeatRuleID = midweek.id;
    EXPECT_EQ(store->conflictingRepeatDays(owned), Weekdays{2});
    EXPECT_TRUE(
        store->conflictingRepeatDays(makeBlock(QStringLiteral("z"), today, 630, 60)).empty());
    EXPECT_TRUE(
        store->conflictingRepeatDays(makeBlock(QStringLiteral("w"), today, 480, 60)).empty());
}

TEST_F(StoreFixture, FreeTimeOnTheStoreExcludesTheMovedBlockAndItsRule) {
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
    EXPECT_EQ(draft->startMinutes, 540);
    EXPECT_EQ(draft->durationMinutes, 60);
    EXPECT_EQ(draft->title, QStringLiteral("Shallow Work"));
    EXPECT_EQ(draft->day, today);
    EXPECT_FALSE(store->savedBlock(draft->id));
}

TEST_F(StoreFixture, BacklogPinningAndRemoval) {
    open();
    PlannedBlock item{QUuid::createUuid(), QStringLiteral("Inbox"), WorkKind::deep, 1.0,
                      std::nullopt};
    store->addPlanned(item);
    item.pinned = true;
    store->updatePlanned(item);
    item.pinned.reset();
    store->updatePlanned(item);
    const QByteArray file = dir.read(QStringLiteral("planned.json")).value();
    EXPECT_FALSE(file.contains("pinned"));

    dir.write(QStringLiteral("planned.json"), "marker");
    store->removePlanned(QUuid::createUuid());
    store->updatePlanned(
        {QUuid::createUuid(), QStringLiteral("?"), WorkKind::deep, 0, std::nullopt});
    EXPECT_EQ(dir.read(QStringLiteral("planned.json")), QByteArray("marker"));
    store->removePlanned(item.id);
    EXPECT_TRUE(store->planned().empty());
    EXPECT_EQ(dir.read(QStringLiteral("planned.json")), QByteArray("[\n]\n"));
}

TEST_F(StoreFixture, ATimeZoneChangeAfterStartUpMovesToday) {
    wall.set(QDateTime(QDate(2024, 3, 4), QTime(23, 30)));
    const WorkBlock monday =
        makeBlock(QStringLiteral("mon"), QStringLiteral("2024-03-04"), 1380, 60);
    const WorkBlock tuesday =
        makeBlock(QStringLiteral("tue"), QStringLiteral("2024-03-05"), 450, 60);
    seedBlocks({monday, tuesday});
    open();
    EXPECT_EQ(store->todayBlocks(), std::vector<WorkBlock>{monday});
    EXPECT_EQ(store->wallMinutes(), 1410);
    TzGuard::set("Asia/Tokyo"); // the same instant is 07:30 on Tuesday there
    EXPECT_EQ(store->todayKey(), QStringLiteral("2024-03-05"));
    EXPECT_EQ(store->todayBlocks(), std::vector<WorkBlock>{tuesday});
    EXPECT_EQ(store->wallMinutes(), 450);
}
