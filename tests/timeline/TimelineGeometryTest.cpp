#include "timeline/TimelineGeometry.h"

#include <gtest/gtest.h>

using namespace quillmere;
using quillmere::timeline::TimelineGeometry;

TEST(TimelineGeometry, MinutesMapToPointsAndBackWithTruncation) {
    const TimelineGeometry g;
    EXPECT_DOUBLE_EQ(g.dayHeight(), 1536);
    EXPECT_DOUBLE_EQ(g.y(14 * 60 + 30), 928);
    // 37 pt is 34.6 minutes; the fraction is dropped, toward zero in both directions.
    EXPECT_EQ(g.minutes(37), 34);
    EXPECT_EQ(g.minutes(-37), -34);
    EXPECT_EQ(g.clampedMinutes(g.dayHeight() + 50), 1440);
    EXPECT_EQ(g.clampedMinutes(-3), 0);
}

TEST(TimelineGeometry, BoxesKeepAGapAndAMinimumHeight) {
    const TimelineGeometry g;
    const QRectF nine = g.box(9 * 60, 60, 340);
    const QRectF ten = g.box(10 * 60, 60, 340);
    EXPECT_EQ(nine, QRectF(58, 577, 340 - 58 - 12, 62));
    EXPECT_DOUBLE_EQ(ten.top() - nine.bottom(), 2);

    EXPECT_DOUBLE_EQ(g.box(600, 15, 340).height(), 14);
    EXPECT_DOUBLE_EQ(g.box(600, 5, 340).height(), 12);
    EXPECT_DOUBLE_EQ(g.box(600, 5, 340).top(), 641);
    // A box never turns inside out in a view narrower than its insets.
    EXPECT_DOUBLE_EQ(g.box(600, 60, 40).width(), 0);
}

TEST(TimelineGeometry, HandlesAnchorAndNowMarker) {
    const TimelineGeometry g;
    const QRectF tall = g.box(540, 60, 340);
    EXPECT_EQ(TimelineGeometry::topHandle(tall), QRectF(58, 577, 270, 9));
    EXPECT_EQ(TimelineGeometry::bottomHandle(tall), QRectF(58, 630, 270, 9));
    const QRectF shortBox = g.box(540, 15, 340);
    EXPECT_NEAR(TimelineGeometry::bottomHandle(shortBox).height(), 4.2, 1e-9);
    EXPECT_DOUBLE_EQ(TimelineGeometry::bottomHandle(shortBox).bottom(), shortBox.bottom());

    const QRectF anchor = g.selectionAnchor(540, 60, 340);
    EXPECT_DOUBLE_EQ(anchor.top(), 568);
    EXPECT_DOUBLE_EQ(anchor.height(), 80);

    const Minutes halfPastTwo = 14 * 60 + 30;
    EXPECT_EQ(g.nowDot(halfPastTwo), QRectF(51, 924.5, 7, 7));
    const QRectF line = g.nowLine(halfPastTwo, 340);
    EXPECT_DOUBLE_EQ(line.center().y(), 928);
    EXPECT_DOUBLE_EQ(line.height(), 1);
    EXPECT_DOUBLE_EQ(line.left(), 58);
    EXPECT_DOUBLE_EQ(line.right(), 340);
}
