#pragma once

#include "model/WorkKind.h"

#include <QColor>

namespace quillmere::ui {

// The two colours that mark deep and shallow work everywhere: timeline cards, the tray icon,
// the header chips, backlog swatches and nudge cards.
inline QColor kindColor(WorkKind kind, qreal opacity = 1.0) {
    QColor c = kind == WorkKind::deep ? QColor::fromRgbF(0.86f, 0.08f, 0.24f)
                                      : QColor::fromRgbF(0.12f, 0.45f, 0.90f);
    c.setAlphaF(static_cast<float>(opacity));
    return c;
}

inline QColor crimson(qreal opacity = 1.0) {
    return kindColor(WorkKind::deep, opacity);
}

} // namespace quillmere::ui
