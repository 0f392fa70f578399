#pragma once

#include <QColor>

#include <algorithm>
#include <cstdlib>

namespace quillmere::test {

// The colour a translucent fill leaves on an opaque background.
inline QColor over(const QColor& fg, const QColor& bg = Qt::white) {
    const float a = fg.alphaF();
    auto mix = [a](float f, float b) { return qRound(255 * (f * a + b * (1 - a))); };
    return QColor(mix(fg.redF(), bg.redF()), mix(fg.greenF(), bg.greenF()),
                  mix(fg.blueF(), bg.blueF()));
}

inline bool near(QColor a, QColor b, int tolerance = 4) {
    return std::max({std::abs(a.red() - b.red()), std::abs(a.green() - b.green()),
                     std::abs(a.blue() - b.blue())}) <= tolerance;
}

} // namespace quillmere::test
