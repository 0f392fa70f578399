#include "timeline/BlockView.h"
#include "timeline/Shapes.h"
#include "ui/Glyphs.h"
#include "ui/KindColors.h"

#include "TimelineFixture.h"
#include "support/Colors.h"

#include <QIcon>
#include <QPainter>

using namespace quillmere;
using namespace quillmere::test;
using namespace quillmere::timeline;
using namespace quillmere::ui;
using namespace Qt::StringLiterals;

namespace {

// The darkest and lightest grey in an area, for text and glyphs whose exact shape is the
// font's business.
std::ranges::min_max_result<int> greys(const QImage& image, const QRect& area) {
    return std::ranges::minmax(pixels(image, area) |
                               std::views::transform([](QColor c) { return qGray(c.rgb()); }));
}

// How many pixels of an area (the whole image unless given) pass a test: by default, any ink.
int count(
    const QImage& image, const QRect& area = {},
    bool (*is)(QColor) = [](QColor c) { return c.alpha() > 0; }) {
    return static_cast<int>(std::ranges::count_if(pixels(image, area), is));
}

::testing::AssertionResult reddish(QColor c) {
    return ::testing::AssertionResult(c.red() - c.green() > 60) << c.name().toStdString();
}

const QRectF card(10, 10, 200, 60);
const QColor deepTint = over(ui::kindColor(WorkKind::deep, 0.2));

const WorkBlock writing = makeBlock(u"Write"_s, {}, 540, 60);

QImage render(const BlockView& v, const QRectF& box = card) {
    QImage image(QSize(300, 100), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    v.paint(painter, box, TextColors{Qt::black, QColor(0, 0, 0, 140)});
    return image;
}

// A glyph in black on a transparent image, the painter scaled by `ratio`.
QImage paint(const QString& name, const QRectF& rect, QSize size = {40, 40}, qreal ratio = 1) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.scale(ratio, ratio);
    paintGlyph(painter, name, rect, Qt::black);
    return image;
}

} // namespace

// At 14:30: 09:00–10:00 and 10:00–11:00 confirmed, 14:00–15:00 half done, and a 5-minute
// block at 16:00.
TEST_F(Timeline, NowLineInkBordersGapsAndShortBlocks) {
    tickAt(monday, QTime(9, 0));
    const WorkBlock nine = add(9 * 60, 60);
    add(10 * 60, 60);
    tickAt(monday, QTime(10, 0, 1));
    tickAt(monday, QTime(11, 0, 1)); // both have ended while the program ran: confirmed
    ASSERT_EQ(store->confirmedIDs().size(), 2);
    add(14 * 60, 60);
    add(16 * 60, 5, WorkKind::shallow);
    tickAt(monday, QTime(14, 30));
    show();
    const QColor crimson = ui::kindColor(WorkKind::deep);

    // 14:30 is y = 928 on the timeline; the 1 pt line is centred on it, the rows above and
    // below are clear, and the 7 pt dot's top is at 924.5.
    const int edge = canvas()->width() - 6;
    for (const QPoint& p : {QPoint(edge, 927), QPoint(edge, 928), QPoint(54, 928)})
        EXPECT_TRUE(reddish(px(p.x(), p.y()))) << p.y();
    EXPECT_FALSE(reddish(px(200, 640)));

    // Half of the running block's time has passed: ink on the upper half of its box (897–959),
    // tint below. Boxes 577–639 and 641–703 leave two pixel rows between them, the lower one
    // the 10 AM line (not red, above). Below the 5-minute block (1025–1037) the day is clear.
    const int cx = geometry().box(14 * 60, 60, canvas()->width()).center().toPoint().x() + 40;
    const QColor tint = over(ui::kindColor(WorkKind::deep, 0.2), window());
    using Pixel = std::tuple<int, int, QColor>;
    for (const auto& [x, y, colour] :
         {Pixel(edge, 926, window()), Pixel(edge, 929, window()), Pixel(cx, 901, crimson),
          Pixel(cx, 924, crimson), Pixel(cx, 934, tint), Pixel(cx, 955, tint),
          Pixel(200, 638, crimson), Pixel(200, 639, window()), Pixel(200, 641, crimson),
          Pixel(200, 1038, window())})
        EXPECT_TRUE(near(px(x, y), colour)) << y;
    // A confirmed block that is not selected has no border: its edge is plain ink.
    EXPECT_TRUE(near(px(58, 608), px(62, 608), 2));

    // The 5-minute block is 12 pt tall (1025–1037), with its unconfirmed border at the edge.
    EXPECT_FALSE(near(px(200, 1026), window()));
    EXPECT_FALSE(near(px(200, 1036), window()));
    EXPECT_FALSE(near(px(58, 1031), px(62, 1031), 8));

    view->setSelectedID(nine.id);
    EXPECT_GT(qGray(px(58, 608).rgb()), 200) << "selected and confirmed: a white border";
}

// The ink fills a card from the top as its time passes, never past its edges; labels on the
// ink are white, below it dark. (That selection deepens the tint shows in the creation preview
// of the gesture tests.)
TEST(BlockView, InkStaysInTheCardAndLabelsAreWhiteOverItAndDarkBelow) {
    const QImage none = render({.block = writing, .inkFraction = -0.2, .durationText = {}});
    EXPECT_TRUE(near(none.pixelColor(180, 15), deepTint));
    const QImage full = render({.block = writing, .inkFraction = 1.7, .durationText = {}});
    EXPECT_TRUE(near(full.pixelColor(180, 65), ui::kindColor(WorkKind::deep)));
    EXPECT_TRUE(near(full.pixelColor(180, 72), Qt::white)) << "ink stays inside the card";

    // The title sits in the middle of the card, so half ink splits it.
    const QRect titleArea(20, 30, 40, 20);
    const BlockView future{.block = makeBlock({}, {}, 540, 60, WorkKind::shallow),
                           .durationText = {}};
    EXPECT_EQ(future.title(), u"Shallow Work"_s);
    EXPECT_LT(greys(render(future), titleArea).min, 80);
    const auto [fullDark, fullLight] = greys(full, titleArea);
    EXPECT_GT(fullLight, 230);
    EXPECT_GT(fullDark, 20) << "no dark text over the ink";
    const QImage split =
        render({.block = writing, .inkFraction = 0.5, .durationText = {}}, QRectF(10, 10, 260, 60));
    EXPECT_LT(greys(split, QRect(20, 41, 40, 10)).min, 80);
    EXPECT_GT(greys(split, QRect(20, 28, 40, 11)).max, 230);
    EXPECT_LT(greys(split, QRect(180, 12, 60, 26)).max, 140) << "white only where text is";
}

// (The border inside the card's edge shows on the short block of the pixel walk.)
TEST(BlockView, TheBorderIsDashedForADraft) {
    // A draft's top edge alternates between border and tint; a saved block's does not.
    const auto edgeRuns = [](bool draft) {
        const QImage image =
            render({.block = writing, .isSelected = true, .isDraft = draft, .durationText = {}});
        int changes = 0;
        for (int x = 31; x < 190; ++x)
            changes += (qGray(image.pixel(x, 10)) < 150) != (qGray(image.pixel(x - 1, 10)) < 150);
        return changes;
    };
    EXPECT_GE(edgeRuns(true), 30); // 160 px at an 8 px period
    EXPECT_EQ(edgeRuns(false), 0);
}

// The tab darkens the top-right corner along its triangle only, with white glyphs in it.
TEST(BlockView, StatusGlyphsGoInARowOnAShortBlockAndInACornerTabOnATallOne) {
    BlockView tabbed{.block = writing, .isLocked = true, .durationText = {}};
    tabbed.block.repeatRuleID = QUuid::createUuid();
    EXPECT_EQ(std::pair(tabbed.glyphsInRow(30), tabbed.glyphsInRow(60)), std::pair(true, false));
    const QImage image = render(tabbed);
    EXPECT_LT(qGray(image.pixel(207, 33)), qGray(deepTint.rgb()) - 20);
    EXPECT_TRUE(near(image.pixelColor(186, 33), deepTint));
    EXPECT_GT(greys(image, QRect(193, 12, 14, 6)).max, 230);
}

// No point of the rectangle is further than half a period from a line: a pen of one period's
// width leaves no gap. (That the corner tab is the upper right triangle shows on the tab above.)
TEST(Shapes, HatchLeavesNoGap) {
    QImage image(20, 10, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(Qt::black, 3.6));
    p.drawPath(DiagonalHatch::path(QRectF(0, 0, 20, 10)));
    p.end();
    EXPECT_LT(greys(image, QRect(0, 0, 17, 10)).max, 160);
    EXPECT_TRUE(DiagonalHatch::path(QRectF(0, 0, -10, 10)).isEmpty());
}

TEST(Glyphs, EveryKnownNameDrawsInsideItsSquareAndUnknownOnesNothing) {
    ASSERT_FALSE(Glyphs::knownNames().isEmpty());
    for (const QString& name : Glyphs::knownNames()) {
        SCOPED_TRACE(name.toStdString());
        // A wide rectangle: the glyph takes the centred 24 × 24 square.
        const QImage image = paint(name, QRectF(4, 8, 32, 24));
        const int inside = count(image, QRect(8, 8, 24, 24));
        EXPECT_GT(inside, 24 * 24 / 10);
        EXPECT_EQ(count(image), inside);
    }
    EXPECT_FALSE(Glyphs::isKnown(u"bell"_s));
    EXPECT_EQ(count(paint(u"bell"_s, QRectF(0, 0, 40, 40))), 0);
}

TEST(Glyphs, PixmapsAndIconsFollowTheDevicePixelRatio) {
    const QPixmap one = Glyphs::pixmap(u"lock.fill"_s, QSize(16, 16), Qt::black, 1.0);
    const QPixmap two = Glyphs::pixmap(u"lock.fill"_s, QSize(16, 16), Qt::black, 2.0);
    EXPECT_EQ(std::pair(two.size(), two.devicePixelRatio()), std::pair(QSize(32, 32), 2.0));
    // The same shape at twice the resolution covers about four times the pixels.
    EXPECT_NEAR(double(count(two.toImage())) / count(one.toImage()), 4.0, 0.8);

    const QPixmap sharp = Glyphs::icon(u"checkmark"_s, Qt::red).pixmap(QSize(20, 20), 3.0);
    EXPECT_EQ(sharp.size(), QSize(60, 60));
    EXPECT_GT(count(sharp.toImage(), {}, [](QColor c) { return c == QColor(Qt::red); }), 100)
        << "solid colour inside the strokes, not a blurred upscale";
}

// The corner tab's glyphs are 6.5 pt squares. At every common scale, wherever the tab puts
// them, each keeps one shape on whole device pixels and has solid ink (a glyph drawn with its
// strokes as designed had none at 1x: a grey smudge), and the three stay distinct.
TEST(Glyphs, SmallGlyphsAreSolidAndTheSameWhereverTheyFall) {
    for (const qreal ratio : {1.0, 1.25, 1.5, 2.0}) {
        // Cut to the smallest rectangle holding every pixel with any ink, so that only the
        // shape is compared, not where it sits.
        const auto shape = [&](const QString& name, qreal shift) {
            const QImage image = paint(name, QRectF(2 + shift, 2, 6.5, 6.5), {24, 24}, ratio);
            QRect box;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    box |= qAlpha(image.pixel(x, y)) > 0 ? QRect(x, y, 1, 1) : QRect();
            return image.copy(box);
        };
        std::vector<QImage> shapes;
        for (const QString& name : {u"lock.fill"_s, u"repeat"_s, u"checkmark"_s}) {
            SCOPED_TRACE(name.toStdString() + " at " + std::to_string(ratio));
            shapes.push_back(shape(name, 0));
            EXPECT_EQ(shape(name, 0.3), shapes.back());
            EXPECT_EQ(shape(name, 0.55), shapes.back());
            EXPECT_GE(count(shapes.back(), {}, [](QColor c) { return c.alpha() >= 230; }), 3)
                << "a smudge";
        }
        EXPECT_TRUE(shapes[0] != shapes[1] && shapes[1] != shapes[2] && shapes[0] != shapes[2]);
    }
}
