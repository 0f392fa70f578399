#include "TimelineFixture.h"

#include "model/TimeMath.h"

#include <QAccessible>
#include <QScreen>

#include <vector>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

using Gestures = TimelineFixture;
using Timeline = TimelineFixture;

// 09:00–10:00 and 10:10–11:00 are taken.
TEST_F(Gestures, CreateDragHandsOverADraftInsideTheFreeTime) {
    add(540, 60);
    add(610, 50);
    show();
    const auto before = files();

    // From 12:07 up to 11:52.
    press(at(727));
    moveTo(at(723));
    EXPECT_FALSE(view->creation()) << "4 pt is not yet a drag";
    moveTo(at(712));
    EXPECT_EQ(view->creation(), (timeline::Creation{705, 15}));
    EXPECT_TRUE(view->isGestureInProgress());
    release(at(712));
    processEvents();

    ASSERT_TRUE(view->working());
    const WorkBlock draft = *view->working();
    EXPECT_EQ(draft, (WorkBlock{draft.id, u"Deep Work"_s, u"2024-03-04"_s, 705, 15, WorkKind::deep,
                                std::nullopt, TimeMath::referenceSeconds(wall.now())}));
    EXPECT_EQ(view->selectedID(), draft.id);
    EXPECT_FALSE(view->isGestureInProgress());

    // Between 10:00 and 10:10 there is no room for a block.
    view->setSelectedID(std::nullopt);
    view->setWorking(std::nullopt);
    drag(at(605), at(700));
    EXPECT_FALSE(view->working() || view->selectedID());

    // Started in the bottom padding, below 24:00: clamped to midnight, drawn up to 23:00.
    drag(QPoint(200, canvas()->height() - 2), at(23 * 60));
    EXPECT_EQ(range(), Range(23 * 60, 60));
    EXPECT_EQ(files(), before);
}

// At 08:10, beside a confirmed and a running block: a at 09:00–10:00, another at 10:15–11:15
// and one repeating 16:00–17:00 on Mondays and Tuesdays. Frozen blocks only select; the others
// follow the pointer and the keys, and nothing is written.
TEST_F(Gestures, BlocksFollowThePointerAndTheKeysUnlessFrozen) {
    const auto [done, running] = addFrozen();
    ASSERT_TRUE(store->isFrozen(done) && store->isFrozen(running));
    addRepeating(16 * 60);
    const WorkBlock a = add(540, 60);
    add(615, 60);
    show();
    const auto before = files();

    for (const auto& [point, shape] :
         {std::pair(edge(a, false, 2), Qt::SizeVerCursor), std::pair(at(570), Qt::ArrowCursor),
          std::pair(edge(a, true, 1), Qt::SizeVerCursor),
          std::pair(edge(done, false, 2), Qt::ArrowCursor),
          std::pair(edge(running, false, 2), Qt::ArrowCursor)}) {
        moveTo(point);
        EXPECT_EQ(canvas()->cursor().shape(), shape) << point.y();
    }

    QTest::mouseClick(canvas(), Qt::LeftButton, Qt::NoModifier, at(570));
    EXPECT_EQ(view->selectedID(), a.id);
    EXPECT_FALSE(view->working()) << "the host fills the working block from the selection";
    QTest::mouseClick(canvas(), Qt::LeftButton, Qt::NoModifier, at(800));
    EXPECT_FALSE(view->selectedID());

    // A drag on a frozen block's edge or body, or an arrow key, only selects it.
    for (const WorkBlock& b : {done, running}) {
        for (const QPoint from : {edge(b, false, 2), at(b.startMinutes + 20)}) {
            view->setSelectedID(std::nullopt);
            drag(from, from + QPoint(0, 80));
            EXPECT_EQ(view->selectedID(), b.id);
        }
        QTest::keyClick(canvas(), Qt::Key_Down);
        EXPECT_FALSE(view->working());
    }

    // Dragged unselected, 11:00 would overlap the neighbour: it lands on the neighbour's far side.
    view->setSelectedID(std::nullopt);
    drag(at(570), at(570) + QPoint(0, 133));
    EXPECT_EQ(range(), Range(675, 60));
    EXPECT_EQ(view->selectedID(), a.id);
    // Set in the editor to repeat on Tuesdays, the selected block keeps clear of the repeating
    // block's Tuesday hour.
    for (const auto& [days, landed] :
         {std::pair(Weekdays{3}, 17 * 60), std::pair(Weekdays{}, 975)}) {
        view->setWorking(std::nullopt); // a fresh drag of the saved block
        view->setRepeatDays(days);
        drag(at(570), at(570) + QPoint(0, 464)); // asks for 16:15
        EXPECT_EQ(range().first, landed);
    }

    // The arrows step the start by a quarter, with Shift the end; 09:30 would run into 10:15,
    // so the nearest free start for the hour is 09:15 again.
    view->setWorking(std::nullopt);
    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        Range range;
    } keys[] = {
        {Qt::Key_Down, {}, {555, 60}},
        {Qt::Key_Down, {}, {555, 60}},
        {Qt::Key_Up, {}, {540, 60}},
        {Qt::Key_Up, Qt::ShiftModifier, {540, 45}},
        {Qt::Key_Down, Qt::ShiftModifier, {540, 60}},
        {Qt::Key_Down, Qt::ShiftModifier, {540, 75}},
        {Qt::Key_Down, Qt::ShiftModifier, {540, 75}}, // stops at the next block
    };
    for (const auto& k : keys) {
        QTest::keyClick(canvas(), k.key, k.modifiers);
        EXPECT_EQ(range(), k.range);
    }
    QTest::keyClick(canvas(), Qt::Key_Escape);
    EXPECT_FALSE(view->selectedID());
    EXPECT_EQ(files(), before);
}

TEST_F(Timeline, OpensOnTheHourBeforeNowAndRevealsTheSelectionButNeverDuringADrag) {
    const WorkBlock a = add(540, 60);
    const WorkBlock evening = add(20 * 60, 60);
    tickAt(QTime(0, 20));
    show();
    EXPECT_EQ(scroll(), 8) << "opens on the hour before now";
    view.reset();
    tickAt(QTime(8, 40));
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
    processEvents();
    EXPECT_EQ(range().first, 18 * 60);
    EXPECT_EQ(scroll(), 8 + 18 * 64 + 64 + 8 - viewport);
}

// A reader walks the painted day as a list of blocks, each with its title, range, kind and
// state, finds a block under a point and follows the chosen one.
TEST_F(Timeline, BlocksAreItemsForAssistiveTechnology) {
    const auto [done, running] = addFrozen();
    const WorkBlock later = add(9 * 60, 60, WorkKind::shallow);
    show();
    view->setWorking(
        WorkBlock{QUuid::createUuid(), {}, later.day, 11 * 60, 60, WorkKind::shallow, {}, {}});
    view->setSelectedID(later.id);

    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(canvas());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->role(), QAccessible::List);
    EXPECT_EQ(list->text(QAccessible::Name), u"Today's timeline"_qs);
    ASSERT_EQ(list->childCount(), 4);

    // Name, description, read-only, selected.
    using Item = std::tuple<QString, QString, bool, bool>;
    std::vector<Item> items;
    for (int i = 0; i < list->childCount(); ++i) {
        QAccessibleInterface* item = list->child(i);
        SCOPED_TRACE(i);
        EXPECT_EQ(item->role(), QAccessible::ListItem);
        EXPECT_EQ(item->parent(), list);
        EXPECT_EQ(list->indexOfChild(item), i);
        // The same interface under the block's own middle, and again when asked again.
        EXPECT_EQ(list->childAt(item->rect().center().x(), item->rect().center().y()), item);
        items.emplace_back(item->text(QAccessible::Name), item->text(QAccessible::Description),
                           item->state().readOnly, item->state().selected);
    }
    EXPECT_EQ(
        items,
        (std::vector<Item>{
            {u"Write"_qs, u"7:00 AM – 7:45 AM, Deep Work, confirmed"_qs, true, false},
            {u"Write"_qs, u"8:00 AM – 9:00 AM, Deep Work, running, locked"_qs, true, false},
            {u"Write"_qs, u"9:00 AM – 10:00 AM, Shallow Work"_qs, false, true},
            {u"Shallow Work"_qs, u"11:00 AM – 12:00 PM, Shallow Work, draft"_qs, false, false},
        }));
    EXPECT_EQ(list->focusChild()->text(QAccessible::Description),
              u"9:00 AM – 10:00 AM, Shallow Work"_qs);

    // A block that leaves the day leaves the list, and its interface says it is gone.
    const QPoint middle = canvas()->mapToGlobal(at(9 * 60 + 30));
    QAccessibleInterface* leaving = list->childAt(middle.x(), middle.y());
    ASSERT_NE(leaving, nullptr);
    store->deleteBlock(later.id);
    processEvents();
    EXPECT_EQ(list->childCount(), 3);
    EXPECT_FALSE(leaving->isValid());
}

// Each pointer step of a gesture repaints only the boxes it changed; a box too small leaves a
// stale edge, label or border behind, which a full repaint would not show.
TEST_F(Timeline, EveryGestureStepLeavesWhatAFullRepaintShows) {
    const WorkBlock first = add(9 * 60, 60);
    add(10 * 60 + 30, 30, WorkKind::shallow);
    show();
    const struct {
        const char* name;
        QPoint from;
        std::vector<QPoint> steps;
    } cases[] = {
        {"move past a neighbour", at(9 * 60 + 30), {at(9 * 60 + 50), at(10 * 60 + 40), at(8 * 60)}},
        {"resize the foot", edge(first, false), {at(10 * 60 + 20), at(9 * 60 + 20)}},
        {"resize the head", edge(first, true), {at(8 * 60 + 10), at(9 * 60 + 40)}},
        // A short creation's range label runs below its box.
        {"draw a block", at(12 * 60), {at(12 * 60 + 10), at(12 * 60 + 40), at(12 * 60 + 10)}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        press(c.from);
        for (const QPoint& step : c.steps) {
            moveTo(step);
            processEvents();
            // What the window shows is its backing store, which a step repaints only where the
            // view said something changed.
            const QImage shown = view->screen()->grabWindow(view->winId()).toImage();
            ASSERT_FALSE(shown.isNull());
            EXPECT_EQ(shown.convertToFormat(QImage::Format_RGB32),
                      view->grab().toImage().convertToFormat(QImage::Format_RGB32))
                << step.y();
        }
        release(c.steps.back());
        view->setWorking(std::nullopt);
        processEvents();
    }
}
