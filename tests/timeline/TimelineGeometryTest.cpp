#include "timeline/TimelineGeometry.h"
#include "timeline/TimelineGestures.h"

#include "support/StoreHarness.h"

#include <gtest/gtest.h>

#include <vector>

using namespace quillmere;
using namespace quillmere::timeline;

namespace {

const TimelineGeometry g;

// Answers as the store would for a day whose only free span is `gap`.
FreeGapQuery gapOf(std::optional<MinuteRange> gap) {
    return [gap](Minutes) { return gap; };
}

} // namespace

// Where minutes fall on the timeline, how far apart boxes are and how short ones grow shows in
// the pixel tests.
TEST(TimelineGeometry, DistancesTruncateAndBoxesNeverTurnInsideOut) {
    // 37 pt is 34.6 minutes; the fraction is dropped, toward zero in both directions.
    EXPECT_EQ(g.minutes(37), 34);
    EXPECT_EQ(g.minutes(-37), -34);
    // In a view narrower than its insets a box is empty, not negative.
    EXPECT_DOUBLE_EQ(g.box(600, 60, 40).width(), 0);

    // The bottom handle of a short box shrinks with it and stays inside.
    const QRectF shortBox = g.box(540, 15, 340);
    EXPECT_LT(TimelineGeometry::bottomHandle(shortBox).height(), shortBox.height() / 2);
    EXPECT_DOUBLE_EQ(TimelineGeometry::bottomHandle(shortBox).bottom(), shortBox.bottom());
}

TEST(TimelineGestures, SnapsToQuarterHoursWithHalvesAwayFromZero) {
    for (const auto& [minutes, snapped] : std::vector<std::pair<double, Minutes>>{
             {7.5, 15}, {-7.5, -15}, {7, 0}, {-7, 0}, {8, 15}, {-8, -15}, {574, 570}, {1433, 1440}})
        EXPECT_EQ(snapToGrid(minutes), snapped) << minutes;
}

TEST(TimelineGestures, MoveAsksForTheSnappedStartAndStaysWhenNothingFits) {
    const WorkBlock block = test::makeBlock({}, {}, 9 * 60, 60);
    // Room is found only for the hour at 09:30; anywhere else the block stays where it was.
    const auto nearest = [](Minutes target, Minutes duration) {
        return target == 570 && duration == 60 ? std::optional<Minutes>(600) : std::nullopt;
    };
    EXPECT_EQ(movedStart(block, 34, nearest), 600);
    EXPECT_EQ(movedStart(block, 200, nearest), 540);
}

// An edge stops at the free time around the block and a quarter from the other edge; without
// a known gap it may shrink the block but never grow it.
TEST(TimelineGestures, ResizingEitherEdgeStaysInsideTheGap) {
    const WorkBlock block = test::makeBlock({}, {}, 540, 60);
    const MinuteRange gap{480, 660};
    EXPECT_EQ(resizedDuration(block, -200, gap), 15);
    EXPECT_EQ(resizedDuration(block, 22, gap), 75);
    EXPECT_EQ(resizedDuration(block, 300, gap), 120); // stops at the next block, 11:00
    EXPECT_EQ(resizedDuration(block, 90, std::nullopt), 60);
    EXPECT_EQ(resizedDuration(block, -30, std::nullopt), 30);

    EXPECT_EQ(resizedTopStart(block, 120, gap), 585); // 09:45–10:00
    EXPECT_EQ(resizedTopStart(block, -38, gap), 495);
    EXPECT_EQ(resizedTopStart(block, -300, gap), 480);
    EXPECT_EQ(resizedTopStart(block, -30, std::nullopt), 540);
    EXPECT_EQ(resizedTopStart(block, 30, std::nullopt), 570);
}

TEST(TimelineGestures, CreateDrawsInsideTheGapWhereTheDragBegan) {
    const auto whole = gapOf(MinuteRange{0, 1440});

    EXPECT_EQ(creationRange(600, 600, whole), (Creation{600, 15}));
    EXPECT_EQ(creationRange(540, 655, whole), (Creation{540, 120}));

    const auto between = gapOf(MinuteRange{600, 700});
    EXPECT_EQ(creationRange(610, 900, between), (Creation{615, 85}));
    EXPECT_EQ(creationRange(650, 20, between), (Creation{600, 45}));
    // A minimum block that would cross the gap's end is pushed back to end there.
    EXPECT_EQ(creationRange(699, 699, between), (Creation{685, 15}));

    EXPECT_EQ(creationRange(605, 700, gapOf(MinuteRange{600, 614})), std::nullopt);
    EXPECT_EQ(creationRange(605, 700, gapOf(std::nullopt)), std::nullopt);

    // A drag from below the last row looks up the gap at midnight, not past it.
    const auto atMidnight = [](Minutes m) {
        return m == 1440 ? std::optional(MinuteRange{1200, 1440}) : std::nullopt;
    };
    EXPECT_EQ(creationRange(g.minutes(g.dayHeight() + 40), g.minutes(g.y(1380)), atMidnight),
              (Creation{1380, 60}));
}
