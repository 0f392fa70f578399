#include "ui/Glyphs.h"

#include <QIcon>
#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

using namespace quillmere::ui;
using namespace Qt::StringLiterals;

namespace {

QImage paint(const QString& name, const QRectF& rect, QSize size = {40, 40}) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paintGlyph(painter, name, rect, Qt::black);
    return image;
}

int coveredPixels(const QImage& image, const QRect& area) {
    int n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            n += qAlpha(image.pixel(x, y)) > 0;
    return n;
}

} // namespace

TEST(Glyphs, EveryKnownNameDrawsInsideItsSquareAndUnknownOnesNothing) {
    ASSERT_FALSE(Glyphs::knownNames().isEmpty());
    for (const QString& name : Glyphs::knownNames()) {
        SCOPED_TRACE(name.toStdString());
        // A wide rectangle: the glyph takes the centred 24 × 24 square.
        const QImage image = paint(name, QRectF(4, 8, 32, 24));
        const int inside = coveredPixels(image, QRect(8, 8, 24, 24));
        EXPECT_GT(inside, 24 * 24 / 10);
        EXPECT_EQ(coveredPixels(image, image.rect()), inside);
    }
    EXPECT_FALSE(Glyphs::isKnown(u"bell"_s));
    EXPECT_EQ(coveredPixels(paint(u"bell"_s, QRectF(0, 0, 40, 40)), QRect(0, 0, 40, 40)), 0);
}

TEST(Glyphs, PixmapsAndIconsFollowTheDevicePixelRatio) {
    const QPixmap one = Glyphs::pixmap(u"lock.fill"_s, QSize(16, 16), Qt::black, 1.0);
    const QPixmap two = Glyphs::pixmap(u"lock.fill"_s, QSize(16, 16), Qt::black, 2.0);
    EXPECT_EQ(two.size(), QSize(32, 32));
    EXPECT_DOUBLE_EQ(two.devicePixelRatio(), 2.0);
    // The same shape at twice the resolution covers about four times the pixels.
    const QImage a = one.toImage();
    const QImage b = two.toImage();
    EXPECT_NEAR(double(coveredPixels(b, b.rect())) / coveredPixels(a, a.rect()), 4.0, 0.8);

    const QPixmap sharp = Glyphs::icon(u"checkmark"_s, Qt::red).pixmap(QSize(20, 20), 3.0);
    EXPECT_EQ(sharp.size(), QSize(60, 60));
    const QImage image = sharp.toImage();
    int red = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 60; ++x)
            red += image.pixelColor(x, y) == QColor(Qt::red);
    EXPECT_GT(red, 100) << "solid colour inside the strokes, not a blurred upscale";
}
