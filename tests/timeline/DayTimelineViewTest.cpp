#include "TimelineFixture.h"

#include "model/TimeMath.h"

#include <QSignalSpy>

using namespace quillmere;
using namespace quillmere::test;

namespace {

using Gestures = TimelineFixture;

Minutes startOf(const std::optional<WorkBlock>& b) {
    return b ? b->startMinutes : -1;
}

} // namespace

TEST_F(Gestures, CreateDragHandsOverADraftAndWritesNothing) {
    show();
    const auto before = files();
    QSignalSpy selected(view.get(), &DayTimelineView::selectedIDChanged);
    QSignalSpy working(view.get(), &DayTimelineView::workingChanged);

    // From 10:07 up to 09:52.
    press(at(607));
    moveTo(at(603));
    EXPECT_FALSE(view->creation()) << "4 pt is not yet a drag";
    moveTo(at(592));
    EXPECT_EQ(view->creation(), (timeline::Creation{585, 15}));
    EXPECT_TRUE(view->isGestureInProgress());
    release(at(592));
    settle();

    ASSERT_TRUE(view->working());
    const WorkBlock draft = *view->working();
    EXPECT_EQ(draft.startMinutes, 585);
    EXPECT_EQ(draft.durationMinutes, 15);
    EXPECT_EQ(draft.title, QStringLiteral("Deep Work"));
    EXPECT_EQ(draft.kind, WorkKind::deep);
    EXPECT_EQ(draft.day, QStringLiteral("2024-03-04"));
    EXPECT_FALSE(draft.repeatRuleID);
    EXPECT_EQ(draft.createdAt, TimeMath::referenceSeconds(wall.now()));
    EXPECT_EQ(view->selectedID(), draft.id);
    EXPECT_EQ(selected.count(), 1);
    EXPECT_EQ(working.count(), 1);
    EXPECT_FALSE(view->isGestureInProgress());
    EXPECT_TRUE(store->blocks().empty());
    EXPECT_EQ(files(), before);

    // Downwards, the end snaps to the nearest quarter.
    drag(at(13 * 60), at(14 * 60 + 40));
    EXPECT_EQ(startOf(view->working()), 13 * 60);
    EXPECT_EQ(view->working()->durationMinutes, 105);
}

TEST_F(Gestures, CreateDragInASliverOrFromBelowTheDay) {
    add(540, 60);
    add(610, 50);
    show();
    const auto before = files();

    // Between 10:00 and 10:10 there is no room for a block.
    drag(at(605), at(700));
    EXPECT_FALSE(view->working());
    EXPECT_FALSE(view->selectedID());

    // Started in the bottom padding, below 24:00: clamped to midnight, drawn up to 23:00.
    view->verticalScrollBar()->setValue(view->verticalScrollBar()->maximum());
    const QPoint bottom(200, canvas()->height() - 2);
    drag(bottom, at(23 * 60));
    EXPECT_EQ(startOf(view->working()), 23 * 60);
    EXPECT_EQ(view->working()->durationMinutes, 60);
    EXPECT_EQ(files(), before);
}

TEST_F(Gestures, MoveLandsOnTheNearestFreeStart) {
    const WorkBlock a = add(540, 60);
    const WorkBlock b = add(630, 60);
    show();
    const auto before = files();

    // 37 pt down asks for 09:34, snapped to 09:30, which is free.
    drag(at(570), at(570) + QPoint(0, 37));
    ASSERT_TRUE(view->working());
    EXPECT_EQ(view->working()->id, a.id);
    EXPECT_EQ(startOf(view->working()), 570);
    EXPECT_EQ(view->working()->durationMinutes, 60);
    EXPECT_EQ(view->selectedID(), a.id);

    // The working copy is what is drawn and dragged next: 90 minutes further down would overlap
    // the neighbour, so it jumps to the far side.
    drag(at(600), at(600) + QPoint(0, 96));
    EXPECT_EQ(startOf(view->working()), 690);
    EXPECT_EQ(store->savedBlock(a.id)->startMinutes, 540);
    EXPECT_EQ(store->savedBlock(b.id)->startMinutes, 630);
    EXPECT_EQ(files(), before);
}

TEST_F(Gestures, MoveHonoursTheEditorsRepeatDaysForTheSelectedBlock) {
    // Another block (on an earlier day) repeats on Mondays and Tuesdays at 11:00–12:00.
    WorkBlock other{QUuid::createUuid(),
                    QStringLiteral("Team"),
                    QStringLiteral("2024-03-03"),
                    660,
                    60,
                    WorkKind::shallow,
                    std::nullopt,
                    std::nullopt};
    store->add(other);
    store->setRepeat({2, 3}, other.id);
    const WorkBlock a = add(540, 60);
    show();

    view->setSelectedID(a.id);
    view->setRepeatDays({3});
    drag(at(570), at(570) + QPoint(0, 144)); // asks for 11:15
    EXPECT_EQ(startOf(view->working()), 720);

    view->setWorking(std::nullopt);
    view->setRepeatDays({});
    drag(at(570), at(570) + QPoint(0, 144));
    EXPECT_EQ(startOf(view->working()), 675);
}

TEST_F(Gestures, ResizeEitherEdgeWithinTheGap) {
    const WorkBlock a = add(540, 60);
    add(660, 60);
    show();
    const auto before = files();
    const QRectF box = geometry().box(540, 60, canvas()->width());
    const int bottomStrip = static_cast<int>(box.bottom() - 3 + DayTimelineView::contentTop);
    const int topStrip = static_cast<int>(box.top() + 3 + DayTimelineView::contentTop);

    // Down past the next block stops at its start.
    drag({200, bottomStrip}, {200, bottomStrip + 200});
    EXPECT_EQ(startOf(view->working()), 540);
    EXPECT_EQ(view->working()->durationMinutes, 120);

    view->setWorking(std::nullopt);
    drag({200, bottomStrip}, {200, bottomStrip - 100});
    EXPECT_EQ(view->working()->durationMinutes, 15) << "never shorter than a quarter";

    // The top edge two hours down: the end stays, the start stops a quarter before it.
    view->setWorking(std::nullopt);
    drag({200, topStrip}, {200, topStrip + 128});
    EXPECT_EQ(startOf(view->working()), 585);
    EXPECT_EQ(view->working()->durationMinutes, 15);

    // And up as far as the free time goes.
    view->setWorking(std::nullopt);
    drag({200, topStrip}, {200, topStrip - 2000});
    EXPECT_EQ(startOf(view->working()), 0);
    EXPECT_EQ(view->working()->durationMinutes, 600);
    EXPECT_EQ(view->working()->id, a.id);
    EXPECT_EQ(files(), before);
}

TEST_F(Gestures, FrozenBlocksOnlySelect) {
    tickAt(QTime(7, 0));
    const WorkBlock done = add(7 * 60, 45);
    tickAt(QTime(7, 45, 1)); // its end passes: confirmed
    const WorkBlock running = add(8 * 60, 60);
    tickAt(QTime(8, 10)); // deep and under way: locked
    ASSERT_TRUE(store->isFrozen(done));
    ASSERT_TRUE(store->isFrozen(running));
    show();
    const auto before = files();

    for (const WorkBlock& b : {done, running}) {
        const QRectF box = geometry().box(b.startMinutes, b.durationMinutes, canvas()->width());
        const QPoint bottomEdge(200,
                                static_cast<int>(box.bottom() - 2 + DayTimelineView::contentTop));
        hover(bottomEdge);
        EXPECT_EQ(canvas()->cursor().shape(), Qt::ArrowCursor);
        drag(bottomEdge, bottomEdge + QPoint(0, 80));
        drag(at(b.startMinutes + 20), at(b.startMinutes + 20) + QPoint(0, 80));
        EXPECT_EQ(view->selectedID(), b.id);
        EXPECT_FALSE(view->working());
        view->setSelectedID(std::nullopt);
    }

    // Arrow keys leave it alone too.
    view->setSelectedID(running.id);
    QTest::keyClick(canvas(), Qt::Key_Down);
    EXPECT_FALSE(view->working());
    EXPECT_EQ(files(), before);
}

TEST_F(Gestures, TapsHoverAndKeys) {
    const WorkBlock a = add(540, 60);
    add(615, 60);
    show();
    const auto before = files();

    QTest::mouseClick(canvas(), Qt::LeftButton, Qt::NoModifier, at(570));
    EXPECT_EQ(view->selectedID(), a.id);
    EXPECT_FALSE(view->working()) << "the host fills the working block from the selection";
    QTest::mouseClick(canvas(), Qt::LeftButton, Qt::NoModifier, at(800));
    EXPECT_FALSE(view->selectedID());

    const QRectF box = geometry().box(540, 60, canvas()->width());
    hover({200, static_cast<int>(box.bottom() - 2 + DayTimelineView::contentTop)});
    EXPECT_EQ(canvas()->cursor().shape(), Qt::SizeVerCursor);
    hover(at(570));
    EXPECT_EQ(canvas()->cursor().shape(), Qt::ArrowCursor);
    hover({200, static_cast<int>(box.top() + 1 + DayTimelineView::contentTop)});
    EXPECT_EQ(canvas()->cursor().shape(), Qt::SizeVerCursor);

    view->setSelectedID(a.id);
    view->setFocus();
    QTest::keyClick(canvas(), Qt::Key_Up);
    EXPECT_EQ(startOf(view->working()), 525);
    QTest::keyClick(canvas(), Qt::Key_Down);
    QTest::keyClick(canvas(), Qt::Key_Down);
    QTest::keyClick(canvas(), Qt::Key_Down);
    // 09:30 would run into 10:15; the nearest free start for the hour is 09:15 again.
    EXPECT_EQ(startOf(view->working()), 555);
    QTest::keyClick(canvas(), Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(view->working()->durationMinutes, 45);
    QTest::keyClick(canvas(), Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(canvas(), Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(view->working()->durationMinutes, 60) << "stops at the next block";
    QTest::keyClick(canvas(), Qt::Key_Escape);
    EXPECT_FALSE(view->selectedID());
    EXPECT_EQ(files(), before);
}

using Scrolling = TimelineFixture;

TEST_F(Scrolling, OpensOnTheHourBeforeNow) {
    tickAt(QTime(9, 40));
    show();
    EXPECT_EQ(scroll(), 8 + 8 * 64);

    view.reset();
    tickAt(QTime(0, 20));
    show();
    EXPECT_EQ(scroll(), 8);
}

TEST_F(Scrolling, RevealsTheSelectionButNeverDuringADrag) {
    const WorkBlock a = add(540, 60);
    const WorkBlock evening = add(20 * 60, 60);
    show();
    const int opened = scroll();
    EXPECT_EQ(opened, 8 + 7 * 64);

    // Least scroll: the anchor's bottom (the block plus 8 pt) comes to the viewport's bottom.
    view->setSelectedID(evening.id);
    const int viewport = view->viewport()->height();
    EXPECT_EQ(scroll(), 8 + 20 * 64 + 64 + 8 - viewport);
    view->setSelectedID(a.id);
    EXPECT_EQ(scroll(), 8 + 9 * 64 - 8);

    view->verticalScrollBar()->setValue(opened);
    view->setSelectedID(std::nullopt);
    press(at(570));
    moveTo(at(570) + QPoint(0, 300));
    moveTo(at(570) + QPoint(0, 576)); // nine hours down
    view->setSelectedID(evening.id);
    view->setSelectedID(a.id);
    EXPECT_EQ(scroll(), opened);
    release(at(570) + QPoint(0, 576));
    settle();
    EXPECT_EQ(startOf(view->working()), 18 * 60);
    EXPECT_EQ(scroll(), 8 + 18 * 64 + 64 + 8 - viewport);
}
