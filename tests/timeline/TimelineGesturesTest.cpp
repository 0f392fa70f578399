#include "timeline/TimelineGestures.h"
#include "timeline/TimelineGeometry.h"

#include <gtest/gtest.h>

#include <vector>

using namespace quillmere;
using namespace quillmere::timeline;

namespace {

WorkBlock blockAt(Minutes start, Minutes duration) {
    return {QUuid::createUuid(), {}, {}, start, duration, WorkKind::deep, {}, {}};
}

// Answers as the store would for a day whose only free span is `gap`.
FreeGapQuery gapOf(std::optional<MinuteRange> gap, std::vector<Minutes>* asked = nullptr) {
    return [gap, asked](Minutes m) {
        if (asked)
            asked->push_back(m);
        return gap;
    };
}

} // namespace

TEST(TimelineGestures, SnapsToQuarterHoursWithHalvesAwayFromZero) {
    EXPECT_EQ(snapToGrid(7.5), 15);
    EXPECT_EQ(snapToGrid(-7.5), -15);
    for (const auto& [minutes, snapped] : std::vector<std::pair<Minutes, Minutes>>{
             {7, 0}, {-7, 0}, {8, 15}, {-8, -15}, {574, 570}, {1433, 1440}})
        EXPECT_EQ(snapToGrid(minutes), snapped) << minutes;
}

TEST(TimelineGestures, MoveAsksForTheSnappedStartAndStaysWhenNothingFits) {
    const TimelineGeometry g;
    const WorkBlock block = blockAt(9 * 60, 60);
    const Minutes delta = g.minutes(37);
    ASSERT_EQ(delta, 34);

    std::vector<std::pair<Minutes, Minutes>> asked;
    const Minutes landed = movedStart(block, delta, [&](Minutes target, Minutes duration) {
        asked.emplace_back(target, duration);
        return std::optional<Minutes>(600);
    });
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0], std::make_pair(Minutes{570}, Minutes{60}));
    EXPECT_EQ(landed, 600);

    EXPECT_EQ(movedStart(block, 200, [](Minutes, Minutes) { return std::optional<Minutes>(); }),
              540);
}

TEST(TimelineGestures, BottomResizeIsBoundedByTheGapAndTheMinimum) {
    const WorkBlock block = blockAt(540, 60);
    const MinuteRange gap{480, 660};
    EXPECT_EQ(resizedDuration(block, -200, gap), 15);
    EXPECT_EQ(resizedDuration(block, 22, gap), 75);
    EXPECT_EQ(resizedDuration(block, 300, gap), 120); // stops at the next block, 11:00
    // Without a known gap it may shrink but never grow.
    EXPECT_EQ(resizedDuration(block, 90, std::nullopt), 60);
    EXPECT_EQ(resizedDuration(block, -30, std::nullopt), 30);
}

TEST(TimelineGestures, TopResizeKeepsTheEndAndStopsAtTheGap) {
    const WorkBlock block = blockAt(540, 60);
    const MinuteRange gap{480, 660};
    EXPECT_EQ(resizedTopStart(block, 120, gap), 585); // 09:45–10:00
    EXPECT_EQ(resizedTopStart(block, -38, gap), 495);
    EXPECT_EQ(resizedTopStart(block, -300, gap), 480);
    // Without a known gap the top may come down but not go up.
    EXPECT_EQ(resizedTopStart(block, -30, std::nullopt), 540);
    EXPECT_EQ(resizedTopStart(block, 30, std::nullopt), 570);
}

TEST(TimelineGestures, CreateDrawsInsideTheGapWhereTheDragBegan) {
    const TimelineGeometry g;
    const auto whole = gapOf(MinuteRange{0, 1440});

    // From 10:07 up to 09:52: the top snaps to 09:45, the bottom to 10:00.
    EXPECT_EQ(creationRange(607, 592, whole), (Creation{585, 15}));
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
    std::vector<Minutes> asked;
    const auto evening = creationRange(g.minutes(g.dayHeight() + 40), g.minutes(g.y(1380)),
                                       gapOf(MinuteRange{1200, 1440}, &asked));
    ASSERT_EQ(asked, std::vector<Minutes>{1440});
    EXPECT_EQ(evening, (Creation{1380, 60}));
}
