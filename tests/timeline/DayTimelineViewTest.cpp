#include "TimelineFixture.h"

#include "model/TimeMath.h"
#include "support/Colors.h"
#include "ui/KindColors.h"

#include <QAccessible>
#include <QScreen>

#include <vector>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

// 09:00–10:00 and 10:10–11:00 are taken.
TEST_F(Timeline, CreateDragHandsOverADraftInsideTheFreeTime) {
    add(540, 60);
    add(610, 50);
    show();
    const auto before = files();
    // Between 10:00 and 10:10 there is no room for a block.
    drag(at(605), at(700));
    EXPECT_FALSE(view->working() || view->selectedID());

    // From 12:07 up to 11:52.
    press(at(727));
    moveTo(at(723));
    EXPECT_FALSE(view->creation()) << "4 pt is not yet a drag";
    moveTo(at(712));
    EXPECT_EQ(view->creation(), (timeline::Creation{705, 15}));
    EXPECT_TRUE(view->isGestureInProgress());
    // A crimson tint while drawing; once released, the new block is drawn there, selected.
    const QRectF box = geometry().box(705, 15, canvas()->width());
    const QPoint inside = QPointF(box.right() - 30, box.center().y()).toPoint();
    EXPECT_TRUE(near(px(inside.x(), inside.y()), over(ui::crimson(0.12), window())));
    release(at(712));
    processEvents();
    EXPECT_TRUE(near(px(inside.x(), inside.y()), over(ui::crimson(0.34), window())));

    const WorkBlock draft = view->working().value_or(WorkBlock{});
    EXPECT_EQ(draft, (WorkBlock{draft.id, u"Deep Work"_s, u"2024-03-04"_s, 705, 15, WorkKind::deep,
                                std::nullopt, TimeMath::referenceSeconds(wall.now())}));
    EXPECT_EQ(view->selectedID(), draft.id);
    EXPECT_FALSE(view->isGestureInProgress());
    EXPECT_EQ(files(), before);
}

// At 08:10, beside a confirmed and a running block: a at 09:00–10:00, another at 10:15–11:15
// and one repeating 16:00–17:00 on Mondays and Tuesdays. Frozen blocks only select; the others
// follow the pointer and the keys, and nothing is written.
TEST_F(Timeline, BlocksFollowThePointerAndTheKeysUnlessFrozen) {
    const auto [done, running] = addFrozen();
    store->setRepeat({2, 3}, add(16 * 60, 60, WorkKind::shallow, u"2024-03-03"_s).id);
    const WorkBlock a = add(540, 60);
    add(615, 60);
    show();
    const auto before = files();

    // The resize cursor shows over a's bottom and top edges, not its body nor the edge of a
    // frozen block.
    for (const auto& [point, shape] :
         {std::pair(at(600) - QPoint(0, 3), Qt::SizeVerCursor), std::pair(at(570), Qt::ArrowCursor),
          std::pair(at(540) + QPoint(0, 2), Qt::SizeVerCursor),
          std::pair(at(465) - QPoint(0, 3), Qt::ArrowCursor),
          std::pair(at(540) - QPoint(0, 3), Qt::ArrowCursor)}) {
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
        for (const QPoint from : {at(b.endMinutes()) - QPoint(0, 3), at(b.startMinutes + 20)}) {
            view->setSelectedID(std::nullopt);
            drag(from, from + QPoint(0, 80));
            EXPECT_EQ(view->selectedID(), b.id);
        }
        QTest::keyClick(canvas(), Qt::Key_Down);
        EXPECT_FALSE(view->working());
    }

    // The repeating block's Tuesday hour is hatched (nearly every pixel of 16:05–16:55 changes)
    // while a is selected with Tuesday chosen in the editor, and only then.
    const auto changedPixels = [&] {
        return std::ranges::count_if(pixels(grab(), QRect(70, 1038, 150, 50)),
                                     [&](QColor c) { return !near(c, window(), 1); });
    };
    view->setSelectedID(a.id);
    view->setRepeatDays({3});
    EXPECT_GT(changedPixels(), 150 * 50 / 2);
    view->setRepeatDays({4});
    EXPECT_EQ(changedPixels(), 0);
    view->setSelectedID(std::nullopt);
    view->setRepeatDays({3});
    EXPECT_EQ(changedPixels(), 0) << "only for the selected block";

    // Dragged unselected, 11:00 would overlap the neighbour: it lands on the neighbour's far side.
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
    using Step = std::tuple<Qt::Key, Qt::KeyboardModifiers, Range>;
    for (const auto& [key, modifiers, want] : std::initializer_list<Step>{
             {Qt::Key_Down, {}, {555, 60}},
             {Qt::Key_Down, {}, {555, 60}},
             {Qt::Key_Up, {}, {540, 60}},
             {Qt::Key_Up, Qt::ShiftModifier, {540, 45}},
             {Qt::Key_Down, Qt::ShiftModifier, {540, 60}},
             {Qt::Key_Down, Qt::ShiftModifier, {540, 75}},
             {Qt::Key_Down, Qt::ShiftModifier, {540, 75}}, // stops at the next block
         }) {
        QTest::keyClick(canvas(), key, modifiers);
        EXPECT_EQ(range(), want);
    }
    QTest::keyClick(canvas(), Qt::Key_Escape);
    EXPECT_FALSE(view->selectedID());
    EXPECT_EQ(files(), before);
}

TEST_F(Timeline, OpensOnTheHourBeforeNowAndRevealsTheSelectionButNeverDuringADrag) {
    const WorkBlock a = add(540, 60);
    const WorkBlock evening = add(20 * 60, 60);
    for (const auto& [now, top] :
         {std::pair(QTime(0, 20), 8), std::pair(QTime(8, 40), 8 + 7 * 64)}) {
        tickAt(monday, now);
        show();
        EXPECT_EQ(scroll(), top) << "opens on the hour before now";
    }
    const int opened = scroll();

    // Least scroll: the anchor's bottom (the block plus 8 pt) comes to the viewport's bottom.
    view->setSelectedID(evening.id);
    const int viewport = view->viewport()->height();
    EXPECT_EQ(scroll(), 8 + 20 * 64 + 64 + 8 - viewport);
    view->setSelectedID(a.id);
    EXPECT_EQ(scroll(), 8 + 9 * 64 - 8);

    view->verticalScrollBar()->setValue(opened);
    view->setSelectedID(std::nullopt);
    press(at(570));
    moveTo(at(570) + QPoint(0, 576)); // nine hours down
    view->setSelectedID(evening.id);
    EXPECT_EQ(scroll(), opened);
    release(at(570) + QPoint(0, 576));
    processEvents();
    EXPECT_EQ(range().first, 18 * 60);
    EXPECT_EQ(scroll(), 8 + 18 * 64 + 64 + 8 - viewport);
}

// A reader walks the painted day as a list of blocks, each with its title, range, kind and
// state, finds a block under a point and follows the chosen one.
TEST_F(Timeline, BlocksAreItemsForAssistiveTechnology) {
    addFrozen();
    const WorkBlock later = add(9 * 60, 60, WorkKind::shallow);
    show();
    view->setWorking(makeBlock({}, today, 11 * 60, 60, WorkKind::shallow));
    view->setSelectedID(later.id);

    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(canvas());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(std::pair(list->role(), list->text(QAccessible::Name)),
              std::pair(QAccessible::List, u"Today's timeline"_qs));

    // Name, description, read-only, selected.
    using Item = std::tuple<QString, QString, bool, bool>;
    std::vector<Item> items;
    for (int i = 0; i < list->childCount(); ++i) {
        QAccessibleInterface* item = list->child(i);
        // An item of this list, found again under its block's own middle.
        const QPoint middle = item->rect().center();
        EXPECT_EQ(std::tuple(item->role(), item->parent(), list->indexOfChild(item),
                             list->childAt(middle.x(), middle.y())),
                  std::tuple(QAccessible::ListItem, list, i, item))
            << i;
        items.emplace_back(item->text(QAccessible::Name), item->text(QAccessible::Description),
                           item->state().readOnly, item->state().selected);
    }
    ASSERT_EQ(
        items,
        (std::vector<Item>{
            {u"Write"_qs, u"7:00 AM – 7:45 AM, Deep Work, confirmed"_qs, true, false},
            {u"Write"_qs, u"8:00 AM – 9:00 AM, Deep Work, running, locked"_qs, true, false},
            {u"Write"_qs, u"9:00 AM – 10:00 AM, Shallow Work"_qs, false, true},
            {u"Shallow Work"_qs, u"11:00 AM – 12:00 PM, Shallow Work, draft"_qs, false, false},
        }));
    QAccessibleInterface* chosen = list->child(2);
    EXPECT_EQ(list->focusChild(), chosen);

    // A block that leaves the day leaves the list, and its interface says it is gone.
    store->deleteBlock(later.id);
    processEvents();
    EXPECT_EQ(list->childCount(), 3);
    EXPECT_FALSE(chosen->isValid());
}

// Each pointer step of a gesture repaints only the boxes it changed; a box too small leaves a
// stale edge, label or border behind, which a full repaint would not show.
TEST_F(Timeline, EveryGestureStepLeavesWhatAFullRepaintShows) {
    add(9 * 60, 60);
    add(10 * 60 + 30, 30, WorkKind::shallow);
    show();
    using Case = std::tuple<const char*, QPoint, std::vector<QPoint>>;
    for (const auto& [name, from, steps] : std::initializer_list<Case>{
             {"move past a neighbour",
              at(9 * 60 + 30),
              {at(9 * 60 + 50), at(10 * 60 + 40), at(8 * 60)}},
             {"resize the foot", at(600) - QPoint(0, 4), {at(10 * 60 + 20), at(9 * 60 + 20)}},
             {"resize the head", at(540) + QPoint(0, 4), {at(8 * 60 + 10), at(9 * 60 + 40)}},
             // A short creation's range label runs below its box.
             {"draw a block", at(12 * 60), {at(12 * 60 + 10), at(12 * 60 + 40), at(12 * 60 + 10)}},
         }) {
        SCOPED_TRACE(name);
        press(from);
        for (const QPoint& step : steps) {
            moveTo(step);
            processEvents();
            // What the window shows is its backing store, which a step repaints only where the
            // view said something changed.
            const QImage shown = view->screen()->grabWindow(view->winId()).toImage();
            EXPECT_EQ(shown.convertToFormat(QImage::Format_RGB32),
                      view->grab().toImage().convertToFormat(QImage::Format_RGB32))
                << step.y();
        }
        release(steps.back());
        view->setWorking(std::nullopt);
        processEvents();
    }
}
