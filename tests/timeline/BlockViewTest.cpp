#include "timeline/BlockView.h"
#include "timeline/Shapes.h"
#include "ui/KindColors.h"

#include "TimelineFixture.h"

#include <QPainter>

using namespace quillmere;
using namespace quillmere::timeline;
using quillmere::test::greyRange;
using quillmere::test::near;
using quillmere::test::over;

namespace {

const QColor background(Qt::white);
const QRectF card(10, 10, 200, 60);

BlockView viewOf(WorkKind kind, QString title = {}) {
    BlockView v;
    v.block = {QUuid::createUuid(), std::move(title), {}, 540, 60, kind, {}, {}};
    v.durationText = QStringLiteral("1 h");
    return v;
}

QImage render(const BlockView& v, const QRectF& box = card) {
    QImage image(QSize(300, 100), QImage::Format_ARGB32_Premultiplied);
    image.fill(background);
    QPainter painter(&image);
    v.paint(painter, box, TextColors{Qt::black, QColor(0, 0, 0, 140)});
    return image;
}

} // namespace

TEST(BlockView, InkIsClampedToTheCardAndSelectionDeepensTheTint) {
    const QColor crimson = ui::kindColor(WorkKind::deep);
    BlockView running = viewOf(WorkKind::deep);
    running.inkFraction = -0.2;
    EXPECT_TRUE(
        near(render(running).pixelColor(180, 15), over(ui::kindColor(WorkKind::deep, 0.2))));
    running.inkFraction = 1.7;
    const QImage full = render(running);
    EXPECT_TRUE(near(full.pixelColor(180, 65), crimson));
    EXPECT_TRUE(near(full.pixelColor(180, 72), background)) << "ink stays inside the card";

    BlockView selected = viewOf(WorkKind::shallow);
    selected.isSelected = true;
    EXPECT_TRUE(
        near(render(selected).pixelColor(180, 40), over(ui::kindColor(WorkKind::shallow, 0.34))));
}

TEST(BlockView, BorderIsInsideTheCardAndDashedForADraft) {
    // The border is drawn inside the card's edge, over the tint.
    const QImage plain = render(viewOf(WorkKind::deep));
    EXPECT_FALSE(near(plain.pixelColor(10, 40), plain.pixelColor(14, 40), 10));
    EXPECT_TRUE(near(plain.pixelColor(9, 40), background));

    // A draft's top edge alternates between border and tint; a saved block's does not.
    auto edgeRuns = [&](const BlockView& v) {
        const QImage image = render(v);
        int changes = 0;
        for (int x = 31; x < 190; ++x)
            changes += (qGray(image.pixel(x, 10)) < 150) != (qGray(image.pixel(x - 1, 10)) < 150);
        return changes;
    };
    BlockView draft = viewOf(WorkKind::deep);
    draft.isDraft = true;
    draft.isSelected = true;
    EXPECT_GE(edgeRuns(draft), 30); // 160 px at an 8 px period
    draft.isDraft = false;
    EXPECT_EQ(edgeRuns(draft), 0);
}

TEST(BlockView, LabelsAreWhiteOverInkAndDarkBelowIt) {
    const QRectF box(10, 10, 260, 60);
    // The title sits in the middle of the card, so half ink splits it.
    const QRect titleArea(20, 30, 40, 20);
    BlockView future = viewOf(WorkKind::shallow);
    EXPECT_EQ(future.title(), QStringLiteral("Shallow Work"));
    EXPECT_LT(greyRange(render(future, box), titleArea).second, 80);

    BlockView done = viewOf(WorkKind::deep, QStringLiteral("Write"));
    done.isConfirmed = true;
    done.inkFraction = 1;
    const auto [doneLight, doneDark] = greyRange(render(done, box), titleArea);
    EXPECT_GT(doneLight, 230);
    EXPECT_GT(doneDark, 20) << "no dark text over the ink";

    BlockView running = viewOf(WorkKind::deep, QStringLiteral("Write"));
    running.inkFraction = 0.5;
    const QImage split = render(running, box);
    EXPECT_LT(greyRange(split, QRect(20, 41, 40, 10)).second, 80);
    EXPECT_GT(greyRange(split, QRect(20, 28, 40, 11)).first, 230);
    EXPECT_LT(greyRange(split, QRect(180, 12, 60, 26)).first, 140) << "white only where text is";
}

TEST(BlockView, StatusGlyphsGoInARowOnAShortBlockAndInACornerTabOnATallOne) {
    BlockView tabbed = viewOf(WorkKind::deep);
    tabbed.isLocked = true;
    tabbed.block.repeatRuleID = QUuid::createUuid();
    EXPECT_TRUE(tabbed.glyphsInRow(30));
    EXPECT_FALSE(tabbed.glyphsInRow(card.height()));
    // The tab darkens the top-right corner along its triangle only, with white glyphs in it.
    const QImage image = render(tabbed);
    const QColor tint = over(ui::kindColor(WorkKind::deep, 0.2));
    EXPECT_LT(qGray(image.pixel(207, 33)), qGray(tint.rgb()) - 20);
    EXPECT_TRUE(near(image.pixelColor(186, 33), tint));
    EXPECT_GT(greyRange(image, QRect(193, 12, 14, 6)).first, 230);
}

TEST(Shapes, HatchLeavesNoGapAndTabIsTheUpperRightTriangle) {
    // No point of the rectangle is further than half a period from a line: a pen of one
    // period's width leaves no gap.
    QImage image(20, 10, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    {
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(Qt::black, 3.6));
        p.drawPath(DiagonalHatch::path(QRectF(0, 0, 20, 10)));
    }
    EXPECT_LT(greyRange(image, QRect(0, 0, 17, 10)).first, 160);
    EXPECT_TRUE(DiagonalHatch::path(QRectF(0, 0, -10, 10)).isEmpty());

    const QPainterPath tab = CornerTabShape::path(QRectF(0, 0, 17, 17));
    EXPECT_TRUE(tab.contains(QPointF(16, 1)));
    EXPECT_TRUE(tab.contains(QPointF(9, 8)));
    EXPECT_FALSE(tab.contains(QPointF(2, 15)));
}
