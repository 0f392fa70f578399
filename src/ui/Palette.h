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

// The red of destructive controls: darker on a light background and lighter on a dark one, so
// that it keeps 3:1 against either.
inline QColor destructiveRed(const QPalette& palette) {
    return palette.color(QPalette::Window).lightnessF() < 0.5 ? QColor(0xFF, 0x45, 0x3A)
                                                              : QColor(0xD7, 0x00, 0x15);
}

} // namespace quillmere::ui
