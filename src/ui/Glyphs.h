#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QRectF>
#include <QString>
#include <QStringList>

class QPainter;

// The named symbols every view uses ("lock.fill", "repeat", "trash", …), drawn as vector paths
// so they stay sharp at any size and device pixel ratio. A glyph fills the largest square that
// fits the rectangle, centred in it.
namespace quillmere::ui::Glyphs {

// Paints the glyph in one colour; an unknown name paints nothing.
void paintGlyph(QPainter& painter, const QString& name, const QRectF& rect, const QColor& color);

bool isKnown(const QString& name);
QStringList knownNames();

// A pixmap of `logicalSize` points rendered at `devicePixelRatio`, transparent around the glyph.
QPixmap pixmap(const QString& name, const QSize& logicalSize, const QColor& color,
               qreal devicePixelRatio);

// An icon that renders the glyph afresh for whatever size and pixel ratio it is asked for.
QIcon icon(const QString& name, const QColor& color);

} // namespace quillmere::ui::Glyphs

namespace quillmere::ui {
using Glyphs::paintGlyph;
} // namespace quillmere::ui
