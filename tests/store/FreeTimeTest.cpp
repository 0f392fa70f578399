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
