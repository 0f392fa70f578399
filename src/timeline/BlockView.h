#pragma once

#include "model/WorkBlock.h"

#include <QColor>
#include <QPalette>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringList>

class QPainter;

namespace quillmere::timeline {

// Foreground colours of the desktop theme: text and quieter secondary text.
struct TextColors {
    QColor primary;
    QColor secondary;
    static TextColors from(const QPalette& palette);
};

// One block's card, built afresh for every layout: a tint in the kind's colour, an ink fill
// that grows down from the top as the block's time passes, title and duration, status glyphs
// and a border that tells selected, draft and confirmed apart. It only paints; the timeline
// owns the gestures.
struct BlockView {
    WorkBlock block; // with the display start and duration already applied
    bool isSelected = false;
    bool isDraft = false;
    bool isLocked = false;
    bool isConfirmed = false;
    qreal inkFraction = 0; // clamped when drawn
    QString durationText;

    static constexpr qreal cornerRadius = 6;

    QString title() const;
    QColor borderColor() const;
    qreal borderWidth() const { return isSelected ? 1.5 : 1.0; }
    qreal inkHeight(qreal boxHeight) const;

    // Inline status glyphs, in order: lock, repeat, checkmark.
    QStringList statusGlyphNames() const;
    // The corner tab holds at most two: lock or else checkmark, then repeat.
    QStringList tabGlyphNames() const;
    // Short cards (or cards without tab glyphs) show their status inline instead of in a tab.
    bool glyphsInRow(qreal boxHeight) const;
    QSizeF cornerTabSize() const;

    void paint(QPainter& painter, const QRectF& box, const TextColors& colors) const;

private:
    void paintLabels(QPainter& painter, const QRectF& box, bool onInk, bool withGlyphs,
                     const TextColors& colors) const;
    void paintCornerTab(QPainter& painter, const QRectF& box, const QPainterPath& card) const;
    void paintBorder(QPainter& painter, const QRectF& box) const;
};

} // namespace quillmere::timeline
