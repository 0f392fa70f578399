#pragma once

#include <QFont>

namespace quillmere::ui {

// Text styles derived from the application font, so the whole program follows the desktop's
// font choice and scale. Sizes are in points.
enum class TextStyle { headline, body, callout, caption, caption2 };

QFont font(TextStyle style);
// A plain system font at a given point size and weight, for glyph-sized labels.
QFont systemFont(qreal pointSize, QFont::Weight weight = QFont::Normal);

} // namespace quillmere::ui
