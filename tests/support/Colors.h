#pragma once

#include <QColor>
#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ranges>
#include <vector>

namespace quillmere::test {

// The colour a translucent fill leaves on an opaque background.
inline QColor over(const QColor& fg, const QColor& bg = Qt::white) {
    const float a = fg.alphaF();
    auto mix = [a](float f, float b) { return qRound(255 * (f * a + b * (1 - a))); };
    return QColor(mix(fg.redF(), bg.redF()), mix(fg.greenF(), bg.greenF()),
                  mix(fg.blueF(), bg.blueF()));
}

// Antialiasing and blending round differently between paint engines: colours match within a
// few steps per channel. A mismatch names both colours.
inline ::testing::AssertionResult near(QColor a, QColor b, int tolerance = 4) {
    const bool close = std::max({std::abs(a.red() - b.red()), std::abs(a.green() - b.green()),
                                 std::abs(a.blue() - b.blue())}) <= tolerance;
    return ::testing::AssertionResult(close)
           << a.name().toStdString() << (close ? " near " : " is not ") << b.name().toStdString();
}

// Every pixel of an area (the whole image unless given), row by row.
inline std::vector<QColor> pixels(const QImage& image, QRect area = {}) {
    std::vector<QColor> all;
    area = area.isNull() ? image.rect() : area;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            all.push_back(image.pixelColor(x, y));
    return all;
}

// The largest value a measure takes over an area's pixels.
template <typename Measure> auto most(const QImage& image, const QRect& area, Measure measure) {
    return std::ranges::max(pixels(image, area) | std::views::transform(measure));
}

} // namespace quillmere::test
