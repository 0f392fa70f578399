#include "ui/Glyphs.h"

#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>
#include <QPolygonF>

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <map>

namespace quillmere::ui::Glyphs {

namespace {

// Glyphs are designed on a 24 × 24 grid and scaled to the target square. Strokes are turned
// into outlines and united, and cut-outs subtracted, so each glyph is one filled path: no
// overlapping translucent strokes, and the same shape at every pixel ratio.
constexpr qreal grid = 24;

// Strokes are drawn heavier while a glyph for a small size is built (see `weightFor`).
qreal strokeWeight = 1.0;

QPainterPath strokeOf(const QPainterPath& path, qreal width, Qt::PenCapStyle cap = Qt::RoundCap,
                      Qt::PenJoinStyle join = Qt::RoundJoin) {
    QPainterPathStroker stroker;
    stroker.setWidth(width * strokeWeight);
    stroker.setCapStyle(cap);
    stroker.setJoinStyle(join);
    return stroker.createStroke(path).simplified();
}

QPainterPath polyline(std::initializer_list<QPointF> points) {
    QPainterPath path;
    bool first = true;
    for (const QPointF& p : points) {
        if (first)
            path.moveTo(p);
        else
            path.lineTo(p);
        first = false;
    }
    return path;
}

QPainterPath polygon(std::initializer_list<QPointF> points) {
    QPainterPath path = polyline(points);
    path.closeSubpath();
    return path;
}

QPainterPath disc(QPointF centre, qreal radius) {
    QPainterPath path;
    path.addEllipse(centre, radius, radius);
    return path;
}

QPainterPath ring(QPointF centre, qreal radius, qreal width) {
    return strokeOf(disc(centre, radius), width);
}

QPainterPath plusLines(qreal from, qreal to) {
    QPainterPath path = polyline({{12, from}, {12, to}});
    path.addPath(polyline({{from, 12}, {to, 12}}));
    return path;
}

QPainterPath lockFill() {
    QPainterPath body;
    body.addRoundedRect(QRectF(4.5, 10.5, 15, 11), 2.2, 2.2);
    QPainterPath shackle;
    shackle.moveTo(8, 11);
    shackle.lineTo(8, 7.5);
    shackle.arcTo(QRectF(8, 3.5, 8, 8), 180, -180);
    shackle.lineTo(16, 11);
    return body.united(strokeOf(shackle, 2.4, Qt::FlatCap));
}

QPainterPath repeatArrows() {
    QPainterPath top;
    top.moveTo(4.5, 12.5);
    top.lineTo(4.5, 10);
    top.cubicTo(4.5, 8.3, 5.8, 7, 7.5, 7);
    top.lineTo(18.5, 7);
    QPainterPath bottom;
    bottom.moveTo(19.5, 11.5);
    bottom.lineTo(19.5, 14);
    bottom.cubicTo(19.5, 15.7, 18.2, 17, 16.5, 17);
    bottom.lineTo(5.5, 17);
    QPainterPath all = top;
    all.addPath(bottom);
    all.addPath(polyline({{15.5, 3.8}, {18.8, 7}, {15.5, 10.2}}));
    all.addPath(polyline({{8.5, 13.8}, {5.2, 17}, {8.5, 20.2}}));
    return strokeOf(all, 2.1);
}

QPainterPath checkmark() {
    return strokeOf(polyline({{4.5, 12.5}, {9.5, 17.5}, {19.5, 6.5}}), 2.8);
}

QPainterPath trash() {
    QPainterPath lines = polyline({{3.5, 6}, {20.5, 6}});
    lines.addPath(polyline({{9, 6}, {9, 3.5}, {15, 3.5}, {15, 6}}));
    lines.addPath(polyline({{5.8, 6.5}, {7, 20.5}, {17, 20.5}, {18.2, 6.5}}));
    lines.addPath(polyline({{10, 10}, {10, 17}}));
    lines.addPath(polyline({{14, 10}, {14, 17}}));
    return strokeOf(lines, 1.8);
}

QPainterPath ellipsisCircle() {
    QPainterPath path = ring({12, 12}, 9.5, 1.8);
    for (qreal x : {7.8, 12.0, 16.2})
        path = path.united(disc({x, 12}, 1.45));
    return path;
}

QPainterPath squareDashed() {
    QPainterPath square;
    square.addRoundedRect(QRectF(3.5, 3.5, 17, 17), 3, 3);
    QPainterPathStroker stroker;
    stroker.setWidth(1.8);
    stroker.setCapStyle(Qt::FlatCap);
    stroker.setDashPattern(QList<qreal>{2.2, 1.6});
    return stroker.createStroke(square).simplified();
}

QPainterPath speakerBody(qreal shift) {
    const QPainterPath body = polygon({{3 - shift, 9},
                                       {7 - shift, 9},
                                       {12.5 - shift, 4},
                                       {12.5 - shift, 20},
                                       {7 - shift, 15},
                                       {3 - shift, 15}});
    // Rounding the outline by a thin stroke keeps the small corners from looking chipped.
    return body.united(strokeOf(body, 1.2));
}

QPainterPath speakerWaves() {
    QPainterPath path = speakerBody(2);
    QPainterPath waves;
    for (qreal r : {3.8, 7.0, 10.2}) {
        const QRectF box(10.5 - r, 12 - r, 2 * r, 2 * r);
        waves.arcMoveTo(box, -42);
        waves.arcTo(box, -42, 84);
    }
    return path.united(strokeOf(waves, 1.8));
}

QPainterPath warningTriangle() {
    const QPainterPath triangle = polygon({{12, 3}, {21.8, 20.3}, {2.2, 20.3}});
    QPainterPath filled = triangle.united(strokeOf(triangle, 2.2));
    QPainterPath mark = strokeOf(polyline({{12, 9}, {12, 14}}), 2.4);
    mark = mark.united(disc({12, 17.3}, 1.4));
    return filled.subtracted(mark);
}

QPainterPath chevronRight() {
    return strokeOf(polyline({{9, 4.5}, {16.5, 12}, {9, 19.5}}), 2.4);
}

QPainterPath pinShape() {
    QPainterPath shape;
    shape.addRoundedRect(QRectF(7.5, 2.5, 9, 3), 1, 1);
    shape = shape.united(polygon({{9, 5}, {15, 5}, {15.8, 12}, {8.2, 12}}));
    QPainterPath base;
    base.addRoundedRect(QRectF(5.5, 12, 13, 2.8), 1, 1);
    return shape.united(base);
}

QPainterPath pinNeedle() {
    return strokeOf(polyline({{12, 14.5}, {12, 21.5}}), 1.7);
}

using Builder = std::function<QPainterPath()>;

const std::map<QString, Builder>& builders() {
    static const std::map<QString, Builder> table{
        {QStringLiteral("lock.fill"), lockFill},
        {QStringLiteral("repeat"), repeatArrows},
        {QStringLiteral("checkmark"), checkmark},
        {QStringLiteral("trash"), trash},
        {QStringLiteral("plus.circle.fill"),
         [] {
             return disc({12, 12}, 10).subtracted(strokeOf(plusLines(7, 17), 2.2));
         }},
        {QStringLiteral("ellipsis.circle"), ellipsisCircle},
        {QStringLiteral("circle.fill"),
         [] {
             return disc({12, 12}, 10);
         }},
        {QStringLiteral("circle"),
         [] {
             return ring({12, 12}, 9.2, 1.8);
         }},
        {QStringLiteral("square.dashed"), squareDashed},
        {QStringLiteral("speaker.fill"), [] { return speakerBody(0); }},
        {QStringLiteral("speaker.wave.3.fill"), speakerWaves},
        {QStringLiteral("exclamationmark.triangle.fill"), warningTriangle},
        {QStringLiteral("chevron.right"), chevronRight},
        {QStringLiteral("plus"), [] { return strokeOf(plusLines(4, 20), 2.4); }},
        {QStringLiteral("pin"), [] { return strokeOf(pinShape(), 1.6).united(pinNeedle()); }},
        {QStringLiteral("pin.fill"), [] { return pinShape().united(pinNeedle()); }},
        {QStringLiteral("xmark.circle.fill"),
         [] {
             QPainterPath cross = polyline({{8.3, 8.3}, {15.7, 15.7}});
             cross.addPath(polyline({{15.7, 8.3}, {8.3, 15.7}}));
             return disc({12, 12}, 10).subtracted(strokeOf(cross, 2.2));
         }},
    };
    return table;
}

// A glyph a few device pixels wide drawn with its strokes as designed is a grey smudge: a
// stroke two grid units wide covers less than one pixel, so no pixel gets full ink. Small sizes
// use heavier strokes, in three steps so that few variants are built.
qreal weightFor(qreal deviceSide) {
    if (deviceSide < 9)
        return 1.6;
    if (deviceSide < 14)
        return 1.3;
    return 1.0;
}

// Paths are built once per name and weight; painting only scales them.
const QPainterPath* glyphPath(const QString& name, qreal weight) {
    static std::map<std::pair<QString, qreal>, QPainterPath> cache;
    const auto key = std::pair(name, weight);
    if (auto hit = cache.find(key); hit != cache.end())
        return &hit->second;
    const auto& table = builders();
    const auto builder = table.find(name);
    if (builder == table.end())
        return nullptr;
    strokeWeight = weight;
    QPainterPath built = builder->second();
    strokeWeight = 1.0;
    return &cache.emplace(key, std::move(built)).first->second;
}

class GlyphIconEngine final : public QIconEngine {
public:
    GlyphIconEngine(QString name, QColor color) : m_name(std::move(name)), m_color(color) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        paintGlyph(*painter, m_name, rect, colorFor(mode));
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }

    // `size` is in device pixels here; the pixmap carries the ratio so it lays out at
    // its logical size.
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State, qreal scale) override {
        const qreal ratio = scale > 0 ? scale : 1.0;
        QPixmap pm(size);
        pm.fill(Qt::transparent);
        pm.setDevicePixelRatio(ratio);
        QPainter painter(&pm);
        paintGlyph(painter, m_name, QRectF(QPointF(0, 0), QSizeF(size) / ratio), colorFor(mode));
        return pm;
    }

    QIconEngine* clone() const override { return new GlyphIconEngine(m_name, m_color); }
    QString key() const override { return QStringLiteral("QuillmereGlyph"); }

private:
    QColor colorFor(QIcon::Mode mode) const {
        QColor c = m_color;
        if (mode == QIcon::Disabled)
            c.setAlphaF(c.alphaF() * 0.4f);
        return c;
    }

    QString m_name;
    QColor m_color;
};

} // namespace

void paintGlyph(QPainter& painter, const QString& name, const QRectF& rect, const QColor& color) {
    if (rect.isEmpty())
        return;
    // The square is laid on whole device pixels where the painter only translates and scales,
    // so that the same glyph looks the same wherever it is drawn, and edges fall on pixels.
    qreal side = std::min(rect.width(), rect.height());
    QPointF origin = rect.center() - QPointF(side, side) / 2;
    const QTransform& device = painter.deviceTransform();
    const qreal ratio = std::sqrt(std::abs(device.determinant()));
    if (device.type() <= QTransform::TxScale && ratio > 0) {
        const qreal pixels = std::max<qreal>(1, std::round(side * ratio));
        const QPointF corner = device.map(rect.center()) - QPointF(pixels, pixels) / 2;
        origin = device.inverted().map(QPointF(std::round(corner.x()), std::round(corner.y())));
        side = pixels / ratio;
    }
    const QPainterPath* path = glyphPath(name, weightFor(side * (ratio > 0 ? ratio : 1)));
    if (!path)
        return;
    QTransform transform;
    transform.translate(origin.x(), origin.y());
    transform.scale(side / grid, side / grid);

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPath(transform.map(*path));
    painter.restore();
}

bool isKnown(const QString& name) {
    return builders().count(name) > 0;
}

QStringList knownNames() {
    QStringList names;
    for (const auto& entry : builders())
        names << entry.first;
    return names;
}

QPixmap pixmap(const QString& name, const QSize& logicalSize, const QColor& color,
               qreal devicePixelRatio) {
    GlyphIconEngine engine(name, color);
    const qreal ratio = devicePixelRatio > 0 ? devicePixelRatio : 1.0;
    return engine.scaledPixmap((QSizeF(logicalSize) * ratio).toSize(), QIcon::Normal, QIcon::Off,
                               ratio);
}

QIcon icon(const QString& name, const QColor& color) {
    return QIcon(new GlyphIconEngine(name, color));
}

} // namespace quillmere::ui::Glyphs
