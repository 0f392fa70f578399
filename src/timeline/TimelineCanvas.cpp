#include "timeline/TimelineCanvas.h"

#include "model/AppClock.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"
#include "timeline/DayTimelineView.h"
#include "timeline/Shapes.h"
#include "ui/KindColors.h"
#include "ui/Typography.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

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

TimelineCanvas::TimelineCanvas(DayTimelineView& view) : m_view(view) {
    setFixedHeight(static_cast<int>(
        std::ceil(m_view.m_geometry.dayHeight() + 2 * DayTimelineView::contentTop)));
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QPointF TimelineCanvas::toTimeline(const QPointF& canvasPoint) const {
    return canvasPoint - QPointF(0, DayTimelineView::contentTop);
}

std::vector<TimelineCanvas::Placed> TimelineCanvas::place() const {
    const BlockStore& store = m_view.m_store;
    std::vector<Placed> placed;
    for (const WorkBlock& b : m_view.visible()) {
        const Minutes start = m_view.displayStart(b);
        const Minutes duration = m_view.displayDuration(b);
        Placed p;
        p.block = b;
        p.card.block = b;
        p.card.block.startMinutes = start;
        p.card.block.durationMinutes = duration;
        p.card.isSelected = m_view.m_selectedID == b.id;
        p.card.isDraft = m_view.isDraftBlock(b.id);
        p.card.isLocked = store.isLocked(b);
        p.card.isConfirmed = store.confirmedIDs().contains(b.id);
        p.card.inkFraction = m_view.inkFraction(b.id, start, duration);
        p.card.durationText = m_view.durationText(b, start, duration);
        p.box = m_view.m_geometry.box(start, duration, width());
        p.frozen = store.isFrozen(b);
        placed.push_back(std::move(p));
    }
    return placed;
}

std::optional<std::pair<TimelineCanvas::Target, WorkBlock>>
TimelineCanvas::hit(const QPointF& point) const {
    const std::vector<Placed> placed = place();
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
    painter.translate(0, DayTimelineView::contentTop);
    const QRectF clip = QRectF(event->rect()).translated(0, -DayTimelineView::contentTop);
    const TextColors colors = TextColors::from(palette());

    paintGrid(painter, clip, colors);
    paintReserved(painter, colors);
    paintCreation(painter, colors);
    for (const Placed& p : place()) {
        if (p.box.intersects(clip))
            p.card.paint(painter, p.box, colors);
    }
    paintNow(painter);
}

void TimelineCanvas::paintGrid(QPainter& painter, const QRectF& clip,
                               const TextColors& colors) const {
    const TimelineGeometry& g = m_view.m_geometry;
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
    const DayTimelineView& v = m_view;
    if (!v.m_selectedID)
        return;
    const std::optional<WorkBlock> selected = v.m_store.savedBlock(*v.m_selectedID);
    if (!selected)
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (const MinuteRange& slot :
         v.m_store.reservedSlots(v.m_repeatDays, selected->repeatRuleID)) {
        const QRectF box = v.m_geometry.box(slot.lower, slot.length(), width());
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
    const std::optional<Creation> creation = m_view.m_creation;
    if (!creation)
        return;
    const QRectF box = m_view.m_geometry.box(creation->start, creation->duration, width());
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
    const TimelineGeometry& g = m_view.m_geometry;
    const Minutes now = m_view.m_clock.nowMinutes();
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
    DayTimelineView& v = m_view;
    const TimelineGeometry& g = v.m_geometry;
    const WorkBlock& block = m_press->block;
    const Minutes delta = g.minutes(point.y() - m_press->position.y());
    switch (m_press->target) {
    case Target::grid:
        // Reserved times of repeating blocks play no part when drawing a new block.
        v.m_creation =
            creationRange(g.minutes(m_press->position.y()), g.minutes(point.y()), [&](Minutes m) {
                return v.m_store.freeGap(m, std::nullopt, Weekdays{});
            });
        break;
    case Target::body:
        v.select(block.id);
        v.m_moveState = DayTimelineView::DragState{block.id, delta};
        break;
    case Target::topHandle:
        v.select(block.id);
        showCursor(Qt::SizeVerCursor);
        v.m_resizeTopState = DayTimelineView::DragState{block.id, delta};
        break;
    case Target::bottomHandle:
        v.select(block.id);
        showCursor(Qt::SizeVerCursor);
        v.m_resizeState = DayTimelineView::DragState{block.id, delta};
        break;
    case Target::frozen:
        break;
    }
    update();
    v.revealIfIdle();
}

void TimelineCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_press) {
        event->ignore();
        return;
    }
    if (m_press->dragging) {
        endDrag();
    } else if (m_press->target == Target::grid) {
        // A tap on empty time deselects; the working block is the host's to clear.
        m_view.select(std::nullopt);
    } else {
        m_view.select(m_press->block.id);
    }
    m_press.reset();
    update();
    m_view.revealIfIdle();
}

void TimelineCanvas::endDrag() {
    DayTimelineView& v = m_view;
    WorkBlock block = m_press->block;
    switch (m_press->target) {
    case Target::grid:
        // The drawing is over before the new block is chosen, so the choice may scroll it
        // into view.
        if (const std::optional<Creation> creation = std::exchange(v.m_creation, std::nullopt)) {
            WorkBlock made;
            made.id = QUuid::createUuid();
            made.title = defaultTitle(WorkKind::deep);
            made.day = v.m_store.todayKey();
            made.startMinutes = creation->start;
            made.durationMinutes = creation->duration;
            made.kind = WorkKind::deep;
            made.createdAt = TimeMath::referenceSeconds(v.m_clock.wallClock().now());
            v.setWorking(made);
            v.select(made.id);
        }
        break;
    case Target::body:
        if (v.m_moveState && v.m_moveState->id == block.id) {
            block.startMinutes = v.movedStart(block, v.m_moveState->delta);
            v.commit(block);
        }
        v.m_moveState.reset();
        break;
    case Target::bottomHandle:
        if (v.m_resizeState && v.m_resizeState->id == block.id) {
            block.durationMinutes = v.resizedDuration(block, v.m_resizeState->delta);
            v.commit(block);
        }
        v.m_resizeState.reset();
        break;
    case Target::topHandle:
        if (v.m_resizeTopState && v.m_resizeTopState->id == block.id) {
            const Minutes start = v.resizedTopStart(block, v.m_resizeTopState->delta);
            block.durationMinutes = block.endMinutes() - start;
            block.startMinutes = start;
            v.commit(block);
        }
        v.m_resizeTopState.reset();
        break;
    case Target::frozen:
        break;
    }
}

void TimelineCanvas::keyPressEvent(QKeyEvent* event) {
    const bool shift = event->modifiers().testFlag(Qt::ShiftModifier);
    switch (event->key()) {
    case Qt::Key_Escape:
        if (m_view.m_selectedID && !m_press) {
            m_view.setSelectedID(std::nullopt);
            return;
        }
        break;
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (m_view.m_selectedID && !m_press) {
            nudgeSelected(event->key() == Qt::Key_Up ? -1 : 1, shift);
            return;
        }
        break;
    default:
        break;
    }
    QWidget::keyPressEvent(event);
}

void TimelineCanvas::nudgeSelected(int direction, bool resize) {
    DayTimelineView& v = m_view;
    for (const WorkBlock& visibleBlock : v.visible()) {
        if (visibleBlock.id != *v.m_selectedID)
            continue;
        if (v.m_store.isFrozen(visibleBlock))
            return;
        WorkBlock block = visibleBlock;
        const Minutes step = direction * gridStep;
        if (resize)
            block.durationMinutes = v.resizedDuration(visibleBlock, step);
        else
            block.startMinutes = v.movedStart(visibleBlock, step);
        v.commit(block);
        v.revealIfIdle();
        return;
    }
}

void TimelineCanvas::showCursor(Qt::CursorShape shape) {
    if (shape == m_cursor)
        return;
    m_cursor = shape;
    setCursor(shape);
}

} // namespace quillmere::timeline
