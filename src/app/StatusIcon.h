#pragma once

#include "model/WorkKind.h"

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QLatin1StringView>
#include <QPalette>

#include <optional>

class QPainter;
class QRectF;

namespace quillmere::StatusIcon {

// The three tray images: a filled crimson bar while deep work runs, a filled blue bar during
// shallow work and an outline when nothing runs.
enum class Image { idle, deep, shallow };

Image imageFor(std::optional<WorkKind> currentKind);

// The image's 20 × 10 bar fitted into `square` (the tray asks for square icons), painted in
// the shape's own units so that it stays sharp at any size and pixel ratio. The outline is
// drawn in `outline`, which follows the palette's window-text colour.
void paint(QPainter& painter, Image image, const QRectF& square, const QColor& outline);

// The installed symbolic icon of the idle outline. A StatusNotifierItem host that finds it by
// name tints it to suit its panel, as it does its own symbols.
inline constexpr QLatin1StringView idleIconName{"org.quillmere.Quillmere-symbolic"};

// The outline's colour where it is drawn rather than named: GNOME's top bar is dark in both
// schemes, so there it is light; other panels follow the desktop's scheme, and so the palette's
// window text. `desktops` is XDG_CURRENT_DESKTOP.
QColor outlineColor(const QString& desktops, const QPalette& palette);

// A transparent square image of `side` points at `devicePixelRatio`.
QImage render(Image image, int side, qreal devicePixelRatio, const QColor& outline);

// The icon for one image, made once and kept. It renders afresh for every size and pixel
// ratio asked of it and reads the palette at that moment, so a tray that asks again after a
// palette change gets the new outline colour. The idle icon also carries `idleIconName` while
// that icon is installed where the desktop looks for icons.
const QIcon& icon(Image image);

} // namespace quillmere::StatusIcon
