#include "timeline/TimelineCanvas.h"

#include "model/TimeMath.h"
#include "timeline/Shapes.h"
#include "timeline/TimelineAccessible.h"
#include "ui/KindColors.h"
#include "ui/Typography.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillmere::timeline {

namespace {

QColor withOpacity(QColor c, qreal opacity) {
    c.setAlphaF(static_cast<float>(c.alphaF() * opacity));
    return c;
}

const QColor nowRed = QColor::fromRgbF(1.0f, 0.23f, 0.19f);

} // namespace

TimelineCanvas::TimelineCanvas(TimelineSurface& view) : m_view(view) {
    setFixedHeight(static_cast<int>(
        std::ceil(m_view.geometry().dayHeight() + 2 * TimelineGeometry::contentTop)));
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    static const bool accessible = [] {
        QAccessible::installFactory(&timelineAccessibleFactory);
        return true;
    }();
    Q_UNUSED(accessible);
}

std::optional<PlacedBlock> TimelineCanvas::placedBlock(const QUuid& id) const {
    for (PlacedBlock& p : placedBlocks())
        if (p.block.id == id)
            return std::move(p);
    return std::nullopt;
}

QRectF TimelineCanvas::timelineToCanvas(const QRectF& box) {
    return box.translated(0, TimelineGeometry::contentTop);
}

void TimelineCanvas::announceChange() {
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent reorder(this, QAccessible::ObjectReorder);
    QAccessible::updateAccessibility(&reorder);
    const std::vector<PlacedBlock> placed = placedBlocks();
    for (std::size_t i = 0; i < placed.size(); ++i)
        if (placed[i].card.isSelected) {
            QAccessibleEvent chosen(this, QAccessible::Selection);
            chosen.setChild(static_cast<int>(i));
            QAccessible::updateAccessibility(&chosen);
        }
}

QPointF TimelineCanvas::toTimeline(const QPointF& canvasPoint) const {
    return canvasPoint - QPointF(0, TimelineGeometry::contentTop);
}

std::optional<std::pair<TimelineCanvas::Target, WorkBlock>>
TimelineCanvas::hit(const QPointF& point) const {
    const std::vector<PlacedBlock> placed = m_view.placedBlocks(width());
    // Later blocks are drawn over earlier ones, so they take the pointer first.
    for (auto it = placed.rbegin(); it != placed.rend(); ++it) {
        if (!it->box.contains(point))
            continue;
        if (it->frozen)
            return std::make_pair(Target::frozen, it->block);
        if (TimelineGeometry::topHandle(it->box).contains(point))
            return std::make_pair(Target::topHandle, it->block);
        if (TimelineGeometry::bottomHandle(it->box).contains(point))
            return std::make_pair(Target::bottomHandle, it->block);
        return std::make_pair(Target::body, it->block);
    }
    return std::nullopt;
}

void TimelineCanvas::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), palette().color(QPalette::Window));
    painter.translate(0, TimelineGeometry::contentTop);
    const QRectF clip = QRectF(event->rect()).translated(0, -TimelineGeometry::contentTop);
    const TextColors colors = TextColors::from(palette());

    paintGrid(painter, clip, colors);
    paintReserved(painter, colors);
    paintCreation(painter, colors);
    for (const PlacedBlock& p : m_view.placedBlocks(width())) {
        if (p.box.intersects(clip))
            p.card.paint(painter, p.box, colors);
    }
    paintNow(painter);
}

void TimelineCanvas::paintGrid(QPainter& painter, const QRectF& clip,
                               const TextColors& colors) const {
    const TimelineGeometry& g = m_view.geometry();
    const QFont font = ui::font(ui::TextStyle::caption2);
    const QFontMetricsF metrics(font, painter.device());
    // A hairline of one device pixel, whatever the pixel ratio.
    const qreal hairline = 1.0 / devicePixelRatioF();
    const QColor divider = withOpacity(colors.primary, 0.15);
    const qreal lineWidth = std::max<qreal>(width() - g.dividerLeft(), 0);

    painter.setFont(font);
    painter.setPen(colors.secondary);
    for (int hour = 0; hour < 24; ++hour) {
        const QRectF row = g.hourRow(hour, width());
        if (!row.adjusted(0, -metrics.height(), 0, 0).intersects(clip))
            continue;
        painter.drawText(g.hourLabel(hour, metrics.height()), Qt::AlignRight | Qt::AlignTop,
                         TimeMath::hourLabel(hour));
        painter.fillRect(QRectF(g.dividerLeft(), row.top(), lineWidth, hairline), divider);
    }
    painter.fillRect(QRectF(g.dividerLeft(), g.dayHeight() - hairline, lineWidth, hairline),
                     divider);
}

void TimelineCanvas::paintReserved(QPainter& painter, const TextColors& colors) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (const MinuteRange& slot : m_view.reservedSlots()) {
        const QRectF box = m_view.geometry().box(slot.lower, slot.length(), width());
        QPainterPath shape;
        shape.addRoundedRect(box, BlockView::cornerRadius, BlockView::cornerRadius);
        painter.fillPath(shape, withOpacity(colors.secondary, 0.1));
        painter.save();
        painter.setClipPath(shape, Qt::IntersectClip);
        painter.setPen(QPen(withOpacity(colors.secondary, 0.25), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(DiagonalHatch::path(box));
        painter.restore();
    }
    painter.restore();
}

void TimelineCanvas::paintCreation(QPainter& painter, const TextColors& colors) const {
    const std::optional<Creation> creation = m_view.creation();
    if (!creation)
        return;
    const QRectF box = m_view.geometry().box(creation->start, creation->duration, width());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    QPainterPath shape;
    shape.addRoundedRect(box, BlockView::cornerRadius, BlockView::cornerRadius);
    painter.fillPath(shape, ui::crimson(0.12));

    constexpr qreal border = 1.5;
    QPen pen(ui::crimson(), border);
    pen.setCapStyle(Qt::FlatCap);
    pen.setDashPattern({5 / border, 3 / border});
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const qreal inset = border / 2;
    painter.drawRoundedRect(box.adjusted(inset, inset, -inset, -inset),
                            BlockView::cornerRadius - inset, BlockView::cornerRadius - inset);

    painter.setFont(ui::font(ui::TextStyle::caption2));
    painter.setPen(colors.secondary);
    painter.drawText(box.adjusted(8, 4, -8, 0), Qt::AlignLeft | Qt::AlignTop | Qt::TextDontClip,
                     TimeMath::rangeString(creation->start, creation->end()));
    painter.restore();
}

void TimelineCanvas::paintNow(QPainter& painter) const {
    const TimelineGeometry& g = m_view.geometry();
    const Minutes now = m_view.nowMinutes();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(Qt::NoPen);
    painter.setBrush(nowRed);
    painter.drawEllipse(g.nowDot(now));
    painter.fillRect(g.nowLine(now, width()), nowRed);
    painter.restore();
}

void TimelineCanvas::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || m_view.isGestureInProgress()) {
        event->ignore();
        return;
    }
    const QPointF point = toTimeline(event->position());
    Press press;
    press.position = point;
    if (const auto target = hit(point)) {
        press.target = target->first;
        press.block = target->second;
    }
    m_press = press;
    event->accept();
}

void TimelineCanvas::mouseMoveEvent(QMouseEvent* event) {
    const QPointF point = toTimeline(event->position());
    if (!m_press) {
        const auto target = hit(point);
        const bool onHandle =
            target && (target->first == Target::topHandle || target->first == Target::bottomHandle);
        showCursor(onHandle ? Qt::SizeVerCursor : Qt::ArrowCursor);
        return;
    }
    if (!m_press->dragging) {
        const QPointF travel = point - m_press->position;
        const qreal distance = std::hypot(travel.x(), travel.y());
        switch (m_press->target) {
        case Target::grid:
            m_press->dragging = distance >= createThreshold;
            break;
        case Target::body:
            m_press->dragging = distance >= moveThreshold;
            break;
        case Target::topHandle:
        case Target::bottomHandle:
            m_press->dragging = distance >= resizeThreshold;
            break;
        case Target::frozen:
            break; // a frozen block can only be selected
        }
    }
    if (m_press->dragging)
        updateDrag(point);
}

void TimelineCanvas::updateDrag(const QPointF& point) {
    const TimelineGeometry& g = m_view.geometry();
    const QUuid& id = m_press->block.id;
    const Minutes delta = g.minutes(point.y() - m_press->position.y());
    switch (m_press->target) {
    case Target::grid:
        m_view.drawCreation(g.minutes(m_press->position.y()), g.minutes(point.y()));
        break;
    case Target::body:
        m_view.dragBlock({Gesture::move, id, delta});
        break;
    case Target::topHandle:
        showCursor(Qt::SizeVerCursor);
        m_view.dragBlock({Gesture::resizeTop, id, delta});
        break;
    case Target::bottomHandle:
        showCursor(Qt::SizeVerCursor);
        m_view.dragBlock({Gesture::resizeBottom, id, delta});
        break;
    case Target::frozen:
        break;
    }
}

void TimelineCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_press) {
        event->ignore();
        return;
    }
    const Press press = *std::exchange(m_press, std::nullopt);
    if (press.dragging)
        m_view.endGesture();
    else if (press.target == Target::grid)
        // A tap on empty time deselects; the working block is the host's to clear.
        m_view.setSelectedID(std::nullopt);
    else
        m_view.setSelectedID(press.block.id);
    update();
}

// A popup that closes while the button is held never delivers the release: the press is
// dropped here, or the next press would carry on from it.
void TimelineCanvas::hideEvent(QHideEvent* event) {
    if (std::exchange(m_press, std::nullopt))
        m_view.cancelGesture();
    QWidget::hideEvent(event);
}

void TimelineCanvas::keyPressEvent(QKeyEvent* event) {
    const bool shift = event->modifiers().testFlag(Qt::ShiftModifier);
    switch (event->key()) {
    case Qt::Key_Escape:
        if (m_view.selectedID() && !m_press) {
            m_view.setSelectedID(std::nullopt);
            return;
        }
        break;
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (m_view.selectedID() && !m_press) {
            m_view.nudgeSelected(event->key() == Qt::Key_Up ? -1 : 1, shift);
            return;
        }
        break;
    default:
        break;
    }
    QWidget::keyPressEvent(event);
}

// Tab walks the blocks of the day in time order, choosing each in turn, before the keyboard
// moves on to the editor (or, backwards, to the header); the arrows then move the chosen one.
bool TimelineCanvas::focusNextPrevChild(bool next) {
    if (m_press)
        return true;
    std::vector<PlacedBlock> placed = placedBlocks();
    std::stable_sort(placed.begin(), placed.end(), [](const PlacedBlock& a, const PlacedBlock& b) {
        return a.box.top() < b.box.top();
    });
    const std::optional<QUuid> chosen = m_view.selectedID();
    const auto at = std::find_if(placed.begin(), placed.end(),
                                 [&](const PlacedBlock& p) { return p.block.id == chosen; });
    std::ptrdiff_t index = at - placed.begin();
    if (at == placed.end())
        index = next ? -1 : static_cast<std::ptrdiff_t>(placed.size());
    index += next ? 1 : -1;
    if (index < 0 || index >= static_cast<std::ptrdiff_t>(placed.size()))
        return QWidget::focusNextPrevChild(next);
    m_view.setSelectedID(placed[static_cast<std::size_t>(index)].block.id);
    return true;
}

void TimelineCanvas::showCursor(Qt::CursorShape shape) {
    if (shape == m_cursor)
        return;
    m_cursor = shape;
    setCursor(shape);
}

} // namespace quillmere::timeline
