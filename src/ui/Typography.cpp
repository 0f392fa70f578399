#include "ui/Typography.h"

#include <QGuiApplication>

namespace quillmere::ui {

namespace {
qreal basePointSize() {
    const qreal size = QGuiApplication::font().pointSizeF();
    return size > 0 ? size : 10.0;
}
} // namespace

QFont font(TextStyle style) {
    QFont f = QGuiApplication::font();
    const qreal base = basePointSize();
    switch (style) {
    case TextStyle::headline:
        f.setPointSizeF(base * 1.0);
        f.setWeight(QFont::DemiBold);
        break;
    case TextStyle::body:
        f.setPointSizeF(base);
        break;
    case TextStyle::callout:
        f.setPointSizeF(base * 0.95);
        break;
    case TextStyle::caption:
        f.setPointSizeF(base * 0.85);
        break;
    case TextStyle::caption2:
        f.setPointSizeF(base * 0.78);
        break;
    }
    return f;
}

QFont systemFont(qreal pointSize, QFont::Weight weight) {
    QFont f = QGuiApplication::font();
    f.setPointSizeF(pointSize);
    f.setWeight(weight);
    return f;
}

} // namespace quillmere::ui
