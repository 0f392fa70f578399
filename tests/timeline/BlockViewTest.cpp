#include "timeline/BlockView.h"
#include "timeline/Shapes.h"
#include "ui/KindColors.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace Qt::StringLiterals;
using namespace quillmere::timeline;

namespace {

const QColor background(Qt::white);
const TextColors ink{Qt::black, QColor(0, 0, 0, 140)};

BlockView viewOf(WorkKind kind, QString title = {}) {
    BlockView v;
    v.block.id = QUuid::createUuid();
    v.block.kind = kind;
    v.block.title = std::move(title);
    v.block.startMinutes = 540;
    v.block.durationMinutes = 60;
    v.durationText = QStringLiteral("1 h");
    return v;
}

QImage render(const BlockView& v, const QRectF& box, QSize size = {300, 100}) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(background);
    QPainter painter(&image);
    v.paint(painter, box, ink);
    return image;
}

// The colour a translucent fill leaves on the white background.
QColor over(const QColor& c) {
    const float a = c.alphaF();
    auto mix = [a](float fg) { return qRound(255 * (fg * a + (1 - a))); };
    return QColor(mix(c.redF()), mix(c.greenF()), mix(c.blueF()));
}

bool near(QColor a, QColor b, int tolerance = 3) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

std::string describe(QColor c) {
    return c.name().toStdString();
}

int lightestIn(const QImage& image, const QRect& area) {
    int best = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            best = std::max(best, qGray(image.pixel(x, y)));
    return best;
}

int darkestIn(const QImage& image, const QRect& area) {
    int best = 255;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            best = std::min(best, qGray(image.pixel(x, y)));
    return best;
}

} // namespace

TEST(BlockView, InkFillsFromTheTopAndIsClamped) {
    const QRectF box(10, 10, 200, 60);
    const QColor crimson = ui::kindColor(WorkKind::deep);
    const QColor tint = over(ui::kindColor(WorkKind::deep, 0.2));

    BlockView running = viewOf(WorkKind::deep);
    running.inkFraction = 0.5;
    const QImage half = render(running, box);
    EXPECT_TRUE(near(half.pixelColor(180, 15), crimson)) << describe(half.pixelColor(180, 15));
    EXPECT_TRUE(near(half.pixelColor(180, 38), crimson));
    EXPECT_TRUE(near(half.pixelColor(180, 42), tint)) << describe(half.pixelColor(180, 42));
    EXPECT_TRUE(near(half.pixelColor(180, 65), tint));

    running.inkFraction = -0.2;
    EXPECT_TRUE(near(render(running, box).pixelColor(180, 15), tint));
    running.inkFraction = 1.7;
    const QImage full = render(running, box);
    EXPECT_TRUE(near(full.pixelColor(180, 65), crimson));
    EXPECT_TRUE(near(full.pixelColor(180, 72), background)) << "ink stays inside the card";

    BlockView selected = viewOf(WorkKind::shallow);
    selected.isSelected = true;
    EXPECT_TRUE(near(render(selected, box).pixelColor(180, 40),
                     over(ui::kindColor(WorkKind::shallow, 0.34))));
}

TEST(BlockView, BorderTellsSelectionDraftAndConfirmation) {
    const QRectF box(10, 10, 200, 60);
    BlockView plain = viewOf(WorkKind::deep);
    const QImage plainImage = render(plain, box);
    // The border is drawn inside the card's edge, over the tint.
    EXPECT_FALSE(near(plainImage.pixelColor(10, 40), plainImage.pixelColor(14, 40), 10));
    EXPECT_TRUE(near(plainImage.pixelColor(9, 40), background));

    BlockView confirmed = viewOf(WorkKind::deep);
    confirmed.isConfirmed = true;
    confirmed.inkFraction = 1;
    const QImage confirmedImage = render(confirmed, box);
    EXPECT_TRUE(near(confirmedImage.pixelColor(10, 40), confirmedImage.pixelColor(14, 40), 2));

    confirmed.isSelected = true;
    EXPECT_GT(qGray(render(confirmed, box).pixel(10, 40)), 200);

    // A draft's top edge alternates between border and tint; a saved block's does not.
    auto edgeRuns = [&](const BlockView& v) {
        const QImage image = render(v, box);
        int changes = 0;
        bool wasBorder = false;
        for (int x = 30; x < 190; ++x) {
            const bool isBorder = qGray(image.pixel(x, 10)) < 150;
            changes += (x > 30 && isBorder != wasBorder);
            wasBorder = isBorder;
        }
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
    EXPECT_LT(darkestIn(render(future, box), titleArea), 80);

    BlockView done = viewOf(WorkKind::deep, QStringLiteral("Write"));
    done.isConfirmed = true;
    done.inkFraction = 1;
    const QImage doneImage = render(done, box);
    EXPECT_GT(lightestIn(doneImage, titleArea), 230);
    EXPECT_GT(darkestIn(doneImage, titleArea), 20) << "no dark text over the ink";

    BlockView running = viewOf(WorkKind::deep, QStringLiteral("Write"));
    running.inkFraction = 0.5;
    const QImage split = render(running, box);
    EXPECT_LT(darkestIn(split, QRect(20, 41, 40, 10)), 80);
    EXPECT_GT(lightestIn(split, QRect(20, 28, 40, 11)), 230);
    EXPECT_LT(lightestIn(split, QRect(180, 12, 60, 26)), 140) << "white only where text is";
}

TEST(BlockView, StatusGlyphsGoInATabOrInline) {
    BlockView v = viewOf(WorkKind::deep);
    v.isLocked = true;
    v.block.repeatRuleID = QUuid::createUuid();
    EXPECT_EQ(v.tabGlyphNames(), (QStringList{u"lock.fill"_s, u"repeat"_s}));
    EXPECT_TRUE(v.glyphsInRow(30));
    EXPECT_FALSE(v.glyphsInRow(60));
    EXPECT_EQ(v.cornerTabSize(), QSizeF(28, 28));

    v.isConfirmed = true;
    EXPECT_EQ(v.statusGlyphNames(), (QStringList{u"lock.fill"_s, u"repeat"_s, u"checkmark"_s}));
    EXPECT_EQ(v.tabGlyphNames(), (QStringList{u"lock.fill"_s, u"repeat"_s}));
    v.isLocked = false;
    v.block.repeatRuleID.reset();
    EXPECT_EQ(v.tabGlyphNames(), QStringList{u"checkmark"_s});
    EXPECT_EQ(v.cornerTabSize(), QSizeF(17, 17));
    EXPECT_TRUE(v.glyphsInRow(25));
    EXPECT_FALSE(v.glyphsInRow(26));
    EXPECT_TRUE(viewOf(WorkKind::deep).glyphsInRow(200));

    // The tab darkens the top-right corner along its triangle only.
    BlockView tabbed = viewOf(WorkKind::deep);
    tabbed.isLocked = true;
    tabbed.block.repeatRuleID = QUuid::createUuid();
    const QRectF box(10, 10, 200, 60);
    const QImage image = render(tabbed, box);
    const QColor tint = over(ui::kindColor(WorkKind::deep, 0.2));
    EXPECT_LT(qGray(image.pixel(207, 33)), qGray(tint.rgb()) - 20); // inside, below the glyphs
    EXPECT_TRUE(near(image.pixelColor(186, 33), tint));             // left of the long side
    EXPECT_GT(lightestIn(image, QRect(193, 12, 14, 6)), 230) << "white glyphs in the tab";
}

TEST(Shapes, HatchCoversTheRectangleAndTabIsTheUpperRightTriangle) {
    const QRectF rect(0, 0, 20, 10);
    const QPainterPath hatch = DiagonalHatch::path(rect);
    // Lines start at x = -10, -5, 0, 5, 10, 15.
    EXPECT_EQ(hatch.elementCount(), 12);
    EXPECT_EQ(QPointF(hatch.elementAt(0)), QPointF(-10, 10));
    EXPECT_EQ(QPointF(hatch.elementAt(1)), QPointF(0, 0));
    EXPECT_EQ(QPointF(hatch.elementAt(10)), QPointF(15, 10));
    EXPECT_TRUE(DiagonalHatch::path(QRectF(0, 0, -10, 10)).isEmpty());
    EXPECT_EQ(DiagonalHatch::path(QRectF(100, 50, 20, 10)).elementAt(0).x, 90);

    // From the bottom-left corner to the last line no point is further than half a period
    // from a line: a pen of one period's width leaves no gap.
    QImage image(20, 10, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    {
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(Qt::black, 3.6));
        p.drawPath(hatch);
    }
    EXPECT_LT(lightestIn(image, QRect(0, 0, 17, 10)), 160);

    const QPainterPath tab = CornerTabShape::path(QRectF(0, 0, 17, 17));
    EXPECT_TRUE(tab.contains(QPointF(16, 1)));
    EXPECT_TRUE(tab.contains(QPointF(9, 8)));
    EXPECT_FALSE(tab.contains(QPointF(2, 15)));
}
