#include "timeline/BlockView.h"

#include "timeline/Shapes.h"
#include "ui/Glyphs.h"
#include "ui/KindColors.h"
#include "ui/Typography.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace quillmere::timeline {

namespace {

const QString lockGlyph = QStringLiteral("lock.fill");
const QString repeatGlyph = QStringLiteral("repeat");
const QString checkGlyph = QStringLiteral("checkmark");

constexpr qreal labelSpacing = 6;
constexpr qreal labelLeading = 10;
constexpr qreal labelTrailing = 7;
constexpr qreal statusGlyphSize = 8;
constexpr qreal statusGlyphSpacing = 5;
constexpr qreal tabGlyphSize = 6.5;
constexpr qreal tabGlyphSpacing = 2.5;

QColor withOpacity(QColor c, qreal opacity) {
    c.setAlphaF(static_cast<float>(c.alphaF() * opacity));
    return c;
}

qreal rowWidth(qsizetype count, qreal size, qreal spacing) {
    return count == 0 ? 0 : count * size + (count - 1) * spacing;
}

// Draws glyphs left to right from x, each centred on the row's vertical centre.
void paintGlyphRow(QPainter& painter, const QStringList& names, qreal x, qreal centreY, qreal size,
                   qreal spacing, const QColor& color) {
    for (const QString& name : names) {
        ui::paintGlyph(painter, name, QRectF(x, centreY - size / 2, size, size), color);
        x += size + spacing;
    }
}

} // namespace

TextColors TextColors::from(const QPalette& palette) {
    const QColor text = palette.color(QPalette::WindowText);
    return {text, withOpacity(text, 0.55)};
}

QString BlockView::title() const {
    return block.title.isEmpty() ? defaultTitle(block.kind) : block.title;
}

QColor BlockView::borderColor() const {
    if (isConfirmed)
        return isSelected ? QColor::fromRgbF(1, 1, 1, 0.9f) : QColor(Qt::transparent);
    return ui::kindColor(block.kind, isSelected ? 1.0 : 0.4);
}

qreal BlockView::inkHeight(qreal boxHeight) const {
    return boxHeight * std::clamp<qreal>(inkFraction, 0, 1);
}

QStringList BlockView::statusGlyphNames() const {
    QStringList names;
    if (isLocked)
        names << lockGlyph;
    if (block.repeatRuleID)
        names << repeatGlyph;
    if (isConfirmed)
        names << checkGlyph;
    return names;
}

QStringList BlockView::tabGlyphNames() const {
    QStringList names;
    if (isLocked)
        names << lockGlyph;
    else if (isConfirmed)
        names << checkGlyph;
    if (block.repeatRuleID)
        names << repeatGlyph;
    return names;
}

bool BlockView::glyphsInRow(qreal boxHeight) const {
    const qsizetype n = tabGlyphNames().size();
    const qreal needed = n > 1 ? 37 : 26;
    return n == 0 || needed > boxHeight;
}

QSizeF BlockView::cornerTabSize() const {
    const qreal side = tabGlyphNames().size() > 1 ? 28 : 17;
    return {side, side};
}

void BlockView::paint(QPainter& painter, const QRectF& box, const TextColors& colors) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setRenderHint(QPainter::TextAntialiasing, true);

    QPainterPath card;
    card.addRoundedRect(box, cornerRadius, cornerRadius);
    painter.fillPath(card, ui::kindColor(block.kind, isSelected ? 0.34 : 0.2));

    const qreal ink = inkHeight(box.height());
    if (ink >= box.height()) {
        painter.fillPath(card, ui::kindColor(block.kind));
    } else if (ink > 0) {
        QPainterPath strip;
        strip.addRect(QRectF(box.left(), box.top(), box.width(), ink));
        painter.fillPath(card.intersected(strip), ui::kindColor(block.kind));
    }

    const bool inline_ = glyphsInRow(box.height());
    painter.save();
    painter.setClipPath(card, Qt::IntersectClip);
    if (ink < box.height()) {
        painter.save();
        painter.setClipRect(QRectF(box.left(), box.top() + ink, box.width(), box.height() - ink),
                            Qt::IntersectClip);
        paintLabels(painter, box, false, inline_, colors);
        painter.restore();
    }
    if (ink > 0) {
        painter.save();
        painter.setClipRect(QRectF(box.left(), box.top(), box.width(), ink), Qt::IntersectClip);
        paintLabels(painter, box, true, inline_, colors);
        painter.restore();
    }
    painter.restore();

    if (!inline_)
        paintCornerTab(painter, box, card);
    paintBorder(painter, box);
    painter.restore();
}

void BlockView::paintLabels(QPainter& painter, const QRectF& box, bool onInk, bool withGlyphs,
                            const TextColors& colors) const {
    QFont titleFont = ui::font(ui::TextStyle::caption);
    titleFont.setWeight(QFont::DemiBold);
    const QFont durationFont = ui::font(ui::TextStyle::caption2);
    const QFontMetricsF titleMetrics(titleFont, painter.device());
    const QFontMetricsF durationMetrics(durationFont, painter.device());

    const QStringList glyphs = withGlyphs ? statusGlyphNames() : QStringList();
    const qreal glyphsWidth = rowWidth(glyphs.size(), statusGlyphSize, statusGlyphSpacing);
    // One gap after each item, the last one before the trailing free space.
    const qreal gaps = labelSpacing * (glyphs.isEmpty() ? 2 : 3);
    const qreal available = box.width() - labelLeading - labelTrailing - gaps - glyphsWidth;

    // The title is the last thing to be cut: it takes what it needs first.
    const QString title = this->title();
    const qreal titleWidth =
        std::clamp<qreal>(titleMetrics.horizontalAdvance(title), 0, std::max<qreal>(available, 0));
    const qreal durationWidth = std::clamp<qreal>(durationMetrics.horizontalAdvance(durationText),
                                                  0, std::max<qreal>(available - titleWidth, 0));

    const QColor titleColor = onInk ? QColor(Qt::white) : colors.primary;
    const QColor quietColor = onInk ? QColor::fromRgbF(1, 1, 1, 0.8f) : colors.secondary;
    const qreal top = box.top();
    const qreal height = box.height();
    qreal x = box.left() + labelLeading;

    painter.setFont(titleFont);
    painter.setPen(titleColor);
    painter.drawText(QRectF(x, top, titleWidth + 1, height), Qt::AlignLeft | Qt::AlignVCenter,
                     titleMetrics.elidedText(title, Qt::ElideRight, titleWidth + 0.5));
    x += titleWidth + labelSpacing;

    painter.setFont(durationFont);
    painter.setPen(quietColor);
    painter.drawText(QRectF(x, top, durationWidth + 1, height), Qt::AlignLeft | Qt::AlignVCenter,
                     durationMetrics.elidedText(durationText, Qt::ElideRight, durationWidth + 0.5));
    x += durationWidth + labelSpacing;

    paintGlyphRow(painter, glyphs, x, box.center().y(), statusGlyphSize, statusGlyphSpacing,
                  quietColor);
}

void BlockView::paintCornerTab(QPainter& painter, const QRectF& box,
                               const QPainterPath& card) const {
    const QSizeF size = cornerTabSize();
    const QRectF tab(box.right() - size.width(), box.top(), size.width(), size.height());
    // Cut along the card's rounded corner rather than clipping, which would not be smoothed.
    painter.fillPath(CornerTabShape::path(tab).intersected(card), QColor::fromRgbF(0, 0, 0, 0.32f));

    const QStringList names = tabGlyphNames();
    const qreal width = rowWidth(names.size(), tabGlyphSize, tabGlyphSpacing);
    const qreal top = tab.top() + 1.5;
    paintGlyphRow(painter, names, tab.right() - 2 - width, top + tabGlyphSize / 2, tabGlyphSize,
                  tabGlyphSpacing, Qt::white);
}

void BlockView::paintBorder(QPainter& painter, const QRectF& box) const {
    const QColor color = borderColor();
    if (color.alpha() == 0)
        return;
    const qreal width = borderWidth();
    QPen pen(color, width);
    pen.setJoinStyle(Qt::RoundJoin);
    if (isDraft) {
        pen.setCapStyle(Qt::FlatCap);
        // Dash lengths are counted in pen widths.
        pen.setDashPattern({5 / width, 3 / width});
    }
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const qreal inset = width / 2;
    const qreal radius = cornerRadius - inset;
    painter.drawRoundedRect(box.adjusted(inset, inset, -inset, -inset), radius, radius);
}

} // namespace quillmere::timeline
