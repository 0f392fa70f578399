#include "TimelineFixture.h"

#include "ui/KindColors.h"

using namespace quillmere;
using namespace quillmere::test;

namespace {

using Pixels = TimelineFixture;
const int top = static_cast<int>(DayTimelineView::contentTop);

bool reddish(QColor c) {
    return c.red() - c.green() > 60;
}

std::string describe(QColor c) {
    return c.name().toStdString();
}

} // namespace

TEST_F(Pixels, NowLineAndTheInkOfARunningBlock) {
    tickAt(QTime(14, 30));
    add(14 * 60, 60);
    show();
    const QImage image = grab();
    const QColor window = canvas()->palette().color(QPalette::Window);

    // 14:30 is y = 928 on the timeline; the 1 pt line is centred on it and the 7 pt dot's top
    // is at 924.5.
    const int x = canvas()->width() - 6;
    EXPECT_TRUE(reddish(image.pixelColor(x, top + 927)))
        << describe(image.pixelColor(x, top + 927));
    EXPECT_TRUE(reddish(image.pixelColor(x, top + 928)));
    EXPECT_TRUE(near(image.pixelColor(x, top + 925), window));
    EXPECT_TRUE(near(image.pixelColor(x, top + 931), window));
    EXPECT_TRUE(reddish(image.pixelColor(54, top + 928)));

    // Half of the block's time has passed: ink on its upper half, tint below.
    const QRectF box = geometry().box(14 * 60, 60, canvas()->width());
    const int cx = static_cast<int>(box.center().x()) + 40;
    EXPECT_TRUE(near(image.pixelColor(cx, top + static_cast<int>(box.top()) + 4),
                     ui::kindColor(WorkKind::deep)));
    EXPECT_TRUE(near(image.pixelColor(cx, top + 924), ui::kindColor(WorkKind::deep)));
    const QColor tint = over(ui::kindColor(WorkKind::deep, 0.2), window);
    EXPECT_TRUE(near(image.pixelColor(cx, top + 934), tint))
        << describe(image.pixelColor(cx, top + 934));
    EXPECT_TRUE(near(image.pixelColor(cx, top + static_cast<int>(box.bottom()) - 4), tint));
}

TEST_F(Pixels, BordersGapsAndShortBlocks) {
    tickAt(QTime(9, 0));
    const WorkBlock nine = add(9 * 60, 60);
    add(10 * 60, 60);
    tickAt(QTime(10, 0, 1));
    tickAt(QTime(11, 0, 1)); // both have ended while the program ran: confirmed
    ASSERT_EQ(store->confirmedIDs().size(), 2);
    add(12 * 60, 5, WorkKind::shallow);
    show();
    const QColor window = canvas()->palette().color(QPalette::Window);
    const QColor crimson = ui::kindColor(WorkKind::deep);
    QImage image = grab();

    // Boxes 577–639 and 641–703: two pixel rows between them, the lower one the 10 AM line.
    EXPECT_TRUE(near(image.pixelColor(200, top + 638), crimson));
    EXPECT_TRUE(near(image.pixelColor(200, top + 639), window))
        << describe(image.pixelColor(200, top + 639));
    EXPECT_FALSE(reddish(image.pixelColor(200, top + 640)));
    EXPECT_TRUE(near(image.pixelColor(200, top + 641), crimson));

    // A confirmed block that is not selected has no border: its edge is plain ink.
    const int mid = top + 608;
    EXPECT_TRUE(near(image.pixelColor(58, mid), image.pixelColor(62, mid), 2));

    // The 5-minute block is 12 pt tall (769–781), with its unconfirmed border at the edge.
    EXPECT_FALSE(near(image.pixelColor(200, top + 770), window));
    EXPECT_FALSE(near(image.pixelColor(200, top + 780), window));
    EXPECT_TRUE(near(image.pixelColor(200, top + 782), window));
    EXPECT_FALSE(near(image.pixelColor(58, top + 775), image.pixelColor(62, top + 775), 8));

    view->setSelectedID(nine.id);
    image = grab();
    EXPECT_GT(qGray(image.pixel(58, mid)), 200) << "selected and confirmed: a white border";
}

TEST_F(Pixels, ReservedTimeAndTheCreationPreview) {
    addRepeating(16 * 60);
    const WorkBlock a = add(9 * 60, 60);
    show();
    const QColor window = canvas()->palette().color(QPalette::Window);
    const auto changedPixels = [&](const QRect& area) {
        const QImage image = grab();
        int n = 0;
        for (int y = area.top(); y <= area.bottom(); ++y)
            for (int x = area.left(); x <= area.right(); ++x)
                n += !near(image.pixelColor(x, y), window, 1);
        return n;
    };
    const QRect reserved(70, top + 1030, 150, 50);

    view->setSelectedID(a.id);
    view->setRepeatDays({3});
    EXPECT_GT(changedPixels(reserved), 150 * 50 / 2);
    view->setRepeatDays({4});
    EXPECT_EQ(changedPixels(reserved), 0);
    view->setSelectedID(std::nullopt);
    view->setRepeatDays({3});
    EXPECT_EQ(changedPixels(reserved), 0) << "only for the selected block";

    // While drawing 10:45–11:00: a crimson tint; once released the new block, not stored, is
    // drawn where the preview was, selected.
    view->verticalScrollBar()->setValue(400);
    press(at(11 * 60 + 7));
    moveTo(at(11 * 60 - 8));
    ASSERT_EQ(view->creation(), (timeline::Creation{645, 15}));
    const QRectF box = geometry().box(645, 15, canvas()->width());
    const QPoint inside(static_cast<int>(box.right()) - 30,
                        top + static_cast<int>(box.center().y()));
    EXPECT_TRUE(near(grab().pixelColor(inside), over(ui::crimson(0.12), window)));
    release(at(11 * 60 - 8));
    processEvents();
    ASSERT_TRUE(view->working());
    ASSERT_FALSE(store->savedBlock(view->working()->id));
    EXPECT_TRUE(near(grab().pixelColor(inside), over(ui::crimson(0.34), window)));
}
