#pragma once

#include <QColor>
#include <QPalette>

namespace quillmere::ui {

// The muted foreground every view uses for captions, hour labels and quiet icons; it follows
// the desktop's light or dark palette.
inline QColor secondaryColor(const QPalette& palette, qreal opacity = 1.0) {
    QColor c = palette.color(QPalette::PlaceholderText);
    c.setAlphaF(static_cast<float>(c.alphaF() * opacity));
    return c;
}

} // namespace quillmere::ui
