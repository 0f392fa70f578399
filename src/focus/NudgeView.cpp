#include "focus/NudgeView.h"

#include "focus/NudgeModel.h"
#include "ui/Typography.h"

#include <QEvent>
#include <QFontMetrics>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace quillmere {

namespace {
constexpr int textLeft = NudgeView::padding + NudgeView::dotSize + NudgeView::spacing;
constexpr int textWidth = NudgeView::cardWidth - textLeft - NudgeView::padding;

// Height of a text wrapped to the text column; never less than one line, so an empty text
// does not make the card jump when it fills in.
int wrappedHeight(const QFont& font, const QString& text) {
    const QFontMetrics metrics(font);
    const QRect box =
        metrics.boundingRect(QRect(0, 0, textWidth, 10000), Qt::TextWordWrap | Qt::AlignLeft, text);
    return std::max(box.height(), metrics.height());
}

QPainterPath cardShape(const QRectF& rect, qreal radius) {
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}
} // namespace

NudgeView::NudgeView(NudgeModel* model, QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), m_model(model) {
    if (m_model)
        connect(m_model, &NudgeModel::changed, this, [this] {
            refit();
            update();
        });
    setCursor(Qt::PointingHandCursor);
    refit();
}

void NudgeView::setTranslucent(bool translucent) {
    m_translucent = translucent;
    setAttribute(Qt::WA_TranslucentBackground, translucent);
    setWindowOpacity(translucent ? m_opacity : 1.0);
    refit();
    update();
}

void NudgeView::setCardOpacity(qreal opacity) {
    m_opacity = std::clamp<qreal>(opacity, 0.0, 1.0);
    if (m_translucent)
        setWindowOpacity(m_opacity);
}

NudgeView::TextBlocks NudgeView::textBlocks() const {
    const QString title = m_model ? m_model->title() : QString();
    const QString detail = m_model ? m_model->detail() : QString();
    const int titleHeight = wrappedHeight(ui::font(ui::TextStyle::headline), title);
    const int detailHeight = wrappedHeight(ui::font(ui::TextStyle::caption), detail);
    const int stack = titleHeight + lineSpacing + detailHeight;
    const int row = std::max(stack, dotSize);
    TextBlocks blocks;
    blocks.height = padding + row + padding;
    const int top = padding + (row - stack) / 2;
    blocks.title = QRect(textLeft, top, textWidth, titleHeight);
    blocks.detail = QRect(textLeft, top + titleHeight + lineSpacing, textWidth, detailHeight);
    return blocks;
}

int NudgeView::fittingHeight() const {
    return textBlocks().height;
}

QSize NudgeView::sizeHint() const {
    return {cardWidth, fittingHeight()};
}

QRect NudgeView::dotRect(int height) {
    return {padding, (height - dotSize) / 2, dotSize, dotSize};
}

void NudgeView::refit() {
    const int height = fittingHeight();
    setFixedSize(cardWidth, height);
    // Without a compositor the window cannot be see-through, so its corners are cut instead.
    if (m_translucent)
        clearMask();
    else
        setMask(QRegion(
            cardShape(QRectF(0, 0, cardWidth, height), cornerRadius).toFillPolygon().toPolygon()));
}

void NudgeView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds = rect();

    QColor background = palette().color(QPalette::Window);
    if (m_translucent)
        background.setAlphaF(0.94f);
    p.setCompositionMode(QPainter::CompositionMode_Source);
    p.fillRect(bounds, Qt::transparent);
    p.setCompositionMode(QPainter::CompositionMode_SourceOver);
    p.fillPath(cardShape(bounds, cornerRadius), background);

    // The hairline sits inside the edge, so its centre line is half a point in.
    QColor hairline = palette().color(QPalette::WindowText);
    hairline.setAlphaF(0.12f);
    p.setPen(QPen(hairline, 1.0));
    p.setBrush(Qt::NoBrush);
    p.drawPath(cardShape(bounds.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius - 0.5));

    if (!m_model)
        return;
    p.setPen(Qt::NoPen);
    p.setBrush(m_model->accent());
    p.drawEllipse(dotRect(height()));

    const TextBlocks blocks = textBlocks();
    p.setPen(palette().color(QPalette::WindowText));
    p.setFont(ui::font(ui::TextStyle::headline));
    p.drawText(blocks.title, Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignTop, m_model->title());
    QColor secondary = palette().color(QPalette::WindowText);
    secondary.setAlphaF(0.6f);
    p.setPen(secondary);
    p.setFont(ui::font(ui::TextStyle::caption));
    p.drawText(blocks.detail, Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignTop, m_model->detail());
}

void NudgeView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()) &&
        m_model)
        m_model->tap();
}

void NudgeView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange ||
        event->type() == QEvent::ApplicationFontChange) {
        refit();
        update();
    }
    QWidget::changeEvent(event);
}

} // namespace quillmere
