#pragma once

#include <QPainter>
#include <QPalette>
#include <QString>
#include <QWidget>

namespace quillmere::ui {

// Controls reached with Tab show where the keyboard is with a ring in the accent colour; a
// click never gives them the focus, so the ring appears only for the keyboard.

// For a control that paints itself: the ring just inside its edges, with the given corner
// radius (half the side for a round control).
inline void paintFocusRing(QPainter& painter, const QWidget& widget, qreal radius) {
    if (!widget.hasFocus())
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(QPen(widget.palette().color(QPalette::Active, QPalette::Highlight), 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(widget.rect()).adjusted(1, 1, -1, -1), radius - 1, radius - 1);
    painter.restore();
}

// For a control drawn by a style sheet: the rule that gives `selector` the same ring.
inline QString focusRingRule(const QString& selector, int radius = 4) {
    return selector + QStringLiteral(":focus { border: 2px solid palette(highlight); "
                                     "border-radius: %1px; }")
                          .arg(radius);
}

} // namespace quillmere::ui
