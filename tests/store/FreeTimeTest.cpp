#include "store/FreeTime.h"

#include "support/StoreHarness.h"

using namespace quillmere;
using namespace quillmere::FreeTime;
using quillmere::test::makeBlock;

TEST(FreeTime, NearestFreeStartPicksTheClosestGapAndTheEarlierOnATie) {
    EXPECT_EQ(nearestFreeStart({}, 500, 60), 500);
    EXPECT_EQ(nearestFreeStart({}, 1430, 60), 1380);
    EXPECT_EQ(nearestFreeStart({}, -40, 60), 0);
    EXPECT_EQ(nearestFreeStart({{660, 720}, {540, 600}}, 590, 30), 600); // unsorted input
    EXPECT_EQ(nearestFreeStart({{540, 600}}, 560, 20), 520);
    EXPECT_EQ(nearestFreeStart({{0, 1440}}, 600, 15), std::nullopt);
    EXPECT_EQ(nearestFreeStart({{0, 700}, {710, 1440}}, 600, 15), std::nullopt);
    // Overlapping busy intervals (a block under a reserved slot) still make one busy stretch.
    EXPECT_EQ(nearestFreeStart({{540, 660}, {600, 620}}, 600, 30), 660);
}

TEST(FreeTime, FreeGapIsBoundedByNeighboursAndNoneInsideABlock) {
    EXPECT_EQ(freeGap({}, 600), (MinuteRange{0, 1440}));
    EXPECT_EQ(freeGap({{600, 660}, {540, 600}}, 600), (MinuteRange{600, 600}));
    EXPECT_EQ(freeGap({{570, 630}}, 600), std::nullopt);
    EXPECT_EQ(freeGap({{480, 540}, {700, 760}, {900, 960}}, 600), (MinuteRange{540, 700}));
    EXPECT_EQ(freeGap({{480, 540}}, 1440), (MinuteRange{540, 1440}));
}

TEST(FreeTime, NextFreeQuarterSkipsBlocksAndStopsAtTheEndOfTheDay) {
    const QString day = QStringLiteral("2024-03-04");
    EXPECT_EQ(nextFreeQuarter({}, 547)->start, 555);
    EXPECT_EQ(nextFreeQuarter({}, 547)->duration, 60);
    const auto small = makeBlock(QStringLiteral("x"), day, 555, 5);
    EXPECT_EQ(nextFreeQuarter({small}, 547)->start, 570);
    const auto later = makeBlock(QStringLiteral("y"), day, 580, 80);
    const auto placed = nextFreeQuarter({small, later}, 547);
    EXPECT_EQ(placed->start, 660);
    EXPECT_EQ(placed->duration, 60);
    // The length shrinks to the next block's start.
    const auto soon = makeBlock(QStringLiteral("z"), day, 600, 30);
    EXPECT_EQ(nextFreeQuarter({soon}, 547)->duration, 45);
    EXPECT_EQ(nextFreeQuarter({}, 1430), std::nullopt);
    EXPECT_EQ(nextFreeQuarter({}, 1420)->start, 1425);
    EXPECT_EQ(nextFreeQuarter({}, 1420)->duration, 15);
}

TEST(FreeTime, PlaceBlockTakesAFreeTimeOrSaysWhyNot) {
    const QString day = QStringLiteral("2024-03-04");
    // 9:00-10:00 and 10:30-11:00 taken; now is 8:50.
    const std::vector<WorkBlock> today{makeBlock(QStringLiteral("a"), day, 540, 60),
                                       makeBlock(QStringLiteral("b"), day, 630, 30)};
    using Start = std::optional<Minutes>;
    struct Case {
        Start start;
        Start duration;
        std::variant<Placement, PlacementFault> expected;
    };
    const auto at = [](Minutes s, Minutes d) { return Placement{s, d}; };
    const Case cases[] = {
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
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.start.value_or(-1) << " for " << c.duration.value_or(0));
        const auto placed = placeBlock(today, 530, c.start, c.duration);
        if (const auto* fault = std::get_if<PlacementFault>(&c.expected)) {
            ASSERT_TRUE(std::holds_alternative<PlacementFault>(placed));
            EXPECT_EQ(std::get<PlacementFault>(placed), *fault);
        } else {
            ASSERT_TRUE(std::holds_alternative<Placement>(placed));
            EXPECT_EQ(std::get<Placement>(placed).start, std::get<Placement>(c.expected).start);
            EXPECT_EQ(std::get<Placement>(placed).duration,
                      std::get<Placement>(c.expected).duration);
        }
    }
    // Nothing asked: where and for how long the add buttons would put it.
    const auto fallback = placeBlock(today, 530, std::nullopt, std::nullopt);
    ASSERT_TRUE(std::holds_alternative<Placement>(fallback));
    EXPECT_EQ(std::get<Placement>(fallback).start, nextFreeQuarter(today, 530)->start);
    EXPECT_EQ(std::get<Placement>(fallback).duration, nextFreeQuarter(today, 530)->duration);
}
