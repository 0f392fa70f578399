#include "TimelineFixture.h"

#include "ui/KindColors.h"

using namespace quillmere;
using namespace quillmere::test;

namespace {

using Pixels = TimelineFixture;

QColor over(const QColor& fg, const QColor& bg) {
    const float a = fg.alphaF();
    auto mix = [a](float f, float b) { return qRound(255 * (f * a + b * (1 - a))); };
    return QColor(mix(fg.redF(), bg.redF()), mix(fg.greenF(), bg.greenF()),
                  mix(fg.blueF(), bg.blueF()));
}

bool near(QColor a, QColor b, int tolerance = 4) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

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
    const int top = static_cast<int>(DayTimelineView::contentTop);

    // 14:30 is y = 928 on the timeline; the 1 pt line is centred on it and the 7 pt dot's top
    // is at 924.5.
    const int x = canvas()->width() - 6;
    EXPECT_TRUE(reddish(image.pixelColor(x, top + 927)))
        << describe(image.pixelColor(x, top + 927));
    EXPECT_TRUE(reddish(image.pixelColor(x, top + 928)));
    EXPECT_TRUE(near(image.pixelColor(x, top + 925), window));
    EXPECT_TRUE(near(image.pixelColor(x, top + 931), window));
    EXPECT_TRUE(reddish(image.pixelColor(54, top + 926)));
    EXPECT_TRUE(reddish(image.pixelColor(54, top + 930)));
    EXPECT_FALSE(reddish(image.pixelColor(54, top + 923)));

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
    const int top = static_cast<int>(DayTimelineView::contentTop);
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
    WorkBlock other{QUuid::createUuid(),
                    QStringLiteral("Team"),
                    QStringLiteral("2024-03-03"),
                    16 * 60,
                    60,
                    WorkKind::shallow,
                    std::nullopt,
                    std::nullopt};
    store->add(other);
    store->setRepeat({2, 3}, other.id);
    const WorkBlock a = add(9 * 60, 60);
    show();
    const QColor window = canvas()->palette().color(QPalette::Window);
    const int top = static_cast<int>(DayTimelineView::contentTop);

    auto changedPixels = [&](const QImage& image, const QRect& area) {
        int n = 0;
        for (int y = area.top(); y <= area.bottom(); ++y)
            for (int x = area.left(); x <= area.right(); ++x)
                n += !near(image.pixelColor(x, y), window, 1);
        return n;
    };
    const QRect reserved(70, top + 1030, 150, 50);

    view->setSelectedID(a.id);
    view->setRepeatDays({3});
    EXPECT_GT(changedPixels(grab(), reserved), 150 * 50 / 2);
    view->setRepeatDays({4});
    EXPECT_EQ(changedPixels(grab(), reserved), 0);
    view->setSelectedID(std::nullopt);
    view->setRepeatDays({3});
    EXPECT_EQ(changedPixels(grab(), reserved), 0) << "only for the selected block";

    // While drawing 09:45–10:00: a crimson tint with its time range written in the corner.
    view->verticalScrollBar()->setValue(400);
    press(at(11 * 60 + 7));
    moveTo(at(11 * 60 - 8));
    ASSERT_EQ(view->creation(), (timeline::Creation{645, 15}));
    const QImage image = grab();
    const QRectF box = geometry().box(645, 15, canvas()->width());
    const int y = top + static_cast<int>(box.center().y());
    EXPECT_TRUE(near(image.pixelColor(static_cast<int>(box.right()) - 30, y),
                     over(ui::crimson(0.12), window)));
    const QColor previewTint = over(ui::crimson(0.12), window);
    auto inkedPixels = [&](const QRect& area) {
        int n = 0;
        for (int py = area.top(); py <= area.bottom(); ++py)
            for (int px = area.left(); px <= area.right(); ++px)
                n += !near(image.pixelColor(px, py), previewTint, 12);
        return n;
    };
    const int textTop = top + static_cast<int>(box.top()) + 4;
    EXPECT_GT(inkedPixels(QRect(66, textTop, 80, 7)), 40);
    EXPECT_EQ(inkedPixels(QRect(static_cast<int>(box.right()) - 60, textTop, 40, 7)), 0);
    release(at(11 * 60 - 8));
    settle();

    // The new block is not stored, yet it is drawn where the preview was, selected.
    ASSERT_TRUE(view->working());
    ASSERT_FALSE(store->savedBlock(view->working()->id));
    EXPECT_TRUE(near(grab().pixelColor(static_cast<int>(box.right()) - 30, y),
                     over(ui::crimson(0.34), window)));
}
