#include "timeline/TimelineGeometry.h"

#include <gtest/gtest.h>

using namespace quillmere;
using quillmere::timeline::TimelineGeometry;

TEST(TimelineGeometry, MinutesMapToPointsAndBackWithTruncation) {
    const TimelineGeometry g;
    EXPECT_DOUBLE_EQ(g.y(14 * 60 + 30), 928);
    // 37 pt is 34.6 minutes; the fraction is dropped, toward zero in both directions.
    EXPECT_EQ(g.minutes(37), 34);
    EXPECT_EQ(g.minutes(-37), -34);
    EXPECT_EQ(g.clampedMinutes(g.dayHeight() + 50), 1440);
    EXPECT_EQ(g.clampedMinutes(-3), 0);
}

TEST(TimelineGeometry, BoxesKeepAGapAndAMinimumHeight) {
    const TimelineGeometry g;
    EXPECT_DOUBLE_EQ(g.box(10 * 60, 60, 340).top() - g.box(9 * 60, 60, 340).bottom(), 2);
    EXPECT_DOUBLE_EQ(g.box(600, 15, 340).height(), 14);
    EXPECT_DOUBLE_EQ(g.box(600, 5, 340).height(), 12);
    EXPECT_DOUBLE_EQ(g.box(600, 5, 340).top(), g.box(600, 60, 340).top());
    // A box never turns inside out in a view narrower than its insets.
    EXPECT_DOUBLE_EQ(g.box(600, 60, 40).width(), 0);

    // The bottom handle of a short box shrinks with it and stays inside.
    const QRectF shortBox = g.box(540, 15, 340);
    EXPECT_LT(TimelineGeometry::bottomHandle(shortBox).height(), shortBox.height() / 2);
    EXPECT_DOUBLE_EQ(TimelineGeometry::bottomHandle(shortBox).bottom(), shortBox.bottom());
}
