#include "app/StatusIcon.h"

#include "ui/KindColors.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>
#include <QStandardPaths>

#include <array>
#include <cmath>

namespace quillmere::StatusIcon {

Image imageFor(std::optional<WorkKind> currentKind) {
    if (!currentKind)
        return Image::idle;
    return *currentKind == WorkKind::deep ? Image::deep : Image::shallow;
}

void paint(QPainter& painter, Image image, const QRectF& square, const QColor& outline) {
    // The bar is 20 × 10 units, centred in the square at full width.
    const qreal unit = square.width() / 20.0;
    const QRectF bar(square.left(), square.center().y() - 5 * unit, 20 * unit, 10 * unit);
    const qreal inset = (image == Image::idle ? 1.0 : 0.5) * unit;
    const QRectF shape = bar.adjusted(inset, inset, -inset, -inset);
    const qreal radius = 0.42 * shape.height();

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (image == Image::idle) {
        painter.setPen(QPen(outline, 1.6 * unit));
        painter.setBrush(Qt::NoBrush);
    } else {
        painter.setPen(Qt::NoPen);
        painter.setBrush(ui::kindColor(image == Image::deep ? WorkKind::deep : WorkKind::shallow));
    }
    painter.drawRoundedRect(shape, radius, radius);
    painter.restore();
}

QImage render(Image image, int side, qreal devicePixelRatio, const QColor& outline) {
    const int pixels = static_cast<int>(std::ceil(side * devicePixelRatio));
    QImage out(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    out.setDevicePixelRatio(devicePixelRatio);
    out.fill(Qt::transparent);
    QPainter p(&out);
    paint(p, image, QRectF(0, 0, side, side), outline);
    return out;
}

QColor outlineColor(const QString& desktops, const QPalette& palette) {
    for (const QString& desktop : desktops.split(u':', Qt::SkipEmptyParts)) {
        if (desktop.compare(QLatin1String("GNOME"), Qt::CaseInsensitive) == 0)
            return QColor(0xf2, 0xf2, 0xf2);
    }
    return palette.color(QPalette::Active, QPalette::WindowText);
}

namespace {

QColor paletteOutline() {
    return outlineColor(qEnvironmentVariable("XDG_CURRENT_DESKTOP"), QGuiApplication::palette());
}

bool idleIconInstalled() {
    return !QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                   QStringLiteral("icons/hicolor/symbolic/apps/") + idleIconName +
                                       QStringLiteral(".svg"))
                .isEmpty();
}

class StatusIconEngine final : public QIconEngine {
public:
    explicit StatusIconEngine(Image image) : m_image(image) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override {
        const int side = std::min(rect.width(), rect.height());
        const QRectF square(rect.x() + (rect.width() - side) / 2.0,
                            rect.y() + (rect.height() - side) / 2.0, side, side);
        StatusIcon::paint(*painter, m_image, square, paletteOutline());
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode, QIcon::State, qreal scale) override {
        const int side = std::min(size.width(), size.height());
        return QPixmap::fromImage(render(m_image, side, scale, paletteOutline()));
    }

    // Only the StatusNotifierItem tray reads the name; the pixmaps stay for hosts that ignore it.
    QString iconName() override {
        return m_image == Image::idle && idleIconInstalled() ? QString(idleIconName) : QString();
    }

    QIconEngine* clone() const override { return new StatusIconEngine(m_image); }
    QString key() const override { return QStringLiteral("quillmere-status"); }

    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
        return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}, {64, 64}};
    }

private:
    Image m_image;
};

} // namespace

const QIcon& icon(Image image) {
    static std::array<std::optional<QIcon>, 3> icons;
    auto& slot = icons[static_cast<size_t>(image)];
    if (!slot)
        slot = QIcon(new StatusIconEngine(image));
    return *slot;
}

} // namespace quillmere::StatusIcon
