#include "timeline/DayTimelineView.h"

#include "model/AppClock.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"
#include "timeline/TimelineCanvas.h"

#include <QRegion>
#include <QScrollBar>
#include <QShowEvent>
#include <QTimer>

#include "ui/Palette.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillmere {

using timeline::TimelineCanvas;

namespace {

// A slim bar as desktops draw it today: a rounded thumb on a clear track, no arrow buttons
// (the wheel, the keys and a drag on the thumb scroll the day).
QString scrollBarStyle(const QPalette& palette) {
    return QStringLiteral("QScrollBar:vertical { width: 8px; margin: 0; background: transparent; "
                          "border: none; }"
                          "QScrollBar::handle:vertical { min-height: 28px; margin: 1px; "
                          "border-radius: 3px; background: %1; }"
                          "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { "
                          "height: 0; border: none; background: none; }"
                          "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { "
                          "background: none; }")
        .arg(ui::secondaryColor(palette, 0.55).name(QColor::HexArgb));
}

} // namespace

DayTimelineView::DayTimelineView(BlockStore& store, AppClock& clock, QWidget* parent)
    : QScrollArea(parent), m_store(store), m_clock(clock) {
    m_canvas = new TimelineCanvas(static_cast<timeline::TimelineSurface&>(*this));
    setWidget(m_canvas);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setFocusProxy(m_canvas);
    styleScrollBar();

    // Scrolling by hand lets go of the chosen block: a later resize no longer pulls it back.
    connect(verticalScrollBar(), &QAbstractSlider::actionTriggered, this,
            [this] { m_keepRevealed = false; });

    const auto repaint = [this] { m_canvas->update(); };
    const auto dayChanged = [this] {
        m_canvas->update();
        m_canvas->announceChange();
    };
    connect(&m_store, &BlockStore::blocksChanged, m_canvas, dayChanged);
    connect(&m_store, &BlockStore::rulesChanged, m_canvas, dayChanged);
    connect(&m_clock, &AppClock::nowMinutesChanged, m_canvas, repaint);
    connect(&m_clock, &AppClock::todayChanged, m_canvas, repaint);
}

DayTimelineView::~DayTimelineView() = default;

void DayTimelineView::setSelectedID(const std::optional<QUuid>& id) {
    select(id);
    revealIfIdle();
}

void DayTimelineView::select(const std::optional<QUuid>& id) {
    if (id == m_selectedID)
        return;
    m_selectedID = id;
    m_keepRevealed = false;
    if (id)
        requestReveal();
    m_canvas->update();
    m_canvas->announceChange();
    Q_EMIT selectedIDChanged(m_selectedID);
}

void DayTimelineView::setWorking(const std::optional<WorkBlock>& block) {
    if (block == m_working)
        return;
    m_working = block;
    m_canvas->update();
    m_canvas->announceChange();
    Q_EMIT workingChanged(m_working);
}

void DayTimelineView::setRepeatDays(const Weekdays& days) {
    if (days == m_repeatDays)
        return;
    m_repeatDays = days;
    m_canvas->update();
}

bool DayTimelineView::isGestureInProgress() const {
    return m_creation || m_drag;
}

std::vector<WorkBlock> DayTimelineView::visible() const {
    std::vector<WorkBlock> blocks = m_store.todayBlocks();
    if (!m_working)
        return blocks;
    const auto same = std::find_if(blocks.begin(), blocks.end(),
                                   [&](const WorkBlock& b) { return b.id == m_working->id; });
    if (same != blocks.end())
        *same = *m_working;
    else
        blocks.push_back(*m_working);
    return blocks;
}

bool DayTimelineView::isDraftBlock(const QUuid& id) const {
    return m_working && m_working->id == id && !m_store.savedBlock(id);
}

qreal DayTimelineView::inkFraction(const QUuid& id, Minutes start, Minutes duration) const {
    const std::optional<WorkBlock> saved = m_store.savedBlock(id);
    if (!saved)
        return 0.0;
    if (m_store.confirmedIDs().contains(id))
        return 1.0;
    if (!m_store.isInProgress(*saved))
        return 0.0;
    return static_cast<qreal>(m_clock.nowMinutes() - start) /
           static_cast<qreal>(std::max<Minutes>(duration, 1));
}

QString DayTimelineView::durationText(const WorkBlock& block, Minutes start,
                                      Minutes duration) const {
    if (!m_store.isInProgress(block))
        return TimeMath::durationString(duration);
    const Minutes remaining = std::max<Minutes>(start + duration - m_clock.nowMinutes(), 1);
    return TimeMath::durationString(std::min(remaining, duration)) + QStringLiteral(" left");
}

Weekdays DayTimelineView::activeRepeatDays(const WorkBlock& block) const {
    // The editor's unsaved choice of days counts for the block it is editing.
    if (m_selectedID == block.id)
        return m_repeatDays;
    return m_store.repeatDays(block.id);
}

WorkBlock DayTimelineView::dragged(WorkBlock block, const timeline::BlockDrag& drag) const {
    const Weekdays days = activeRepeatDays(block);
    const auto gap = [&] { return m_store.freeGap(block.startMinutes, block.id, days); };
    switch (drag.gesture) {
    case timeline::Gesture::move:
        block.startMinutes =
            timeline::movedStart(block, drag.delta, [&](Minutes target, Minutes duration) {
                return m_store.nearestFreeStart(target, duration, block.id, days);
            });
        break;
    case timeline::Gesture::resizeBottom:
        block.durationMinutes = timeline::resizedDuration(block, drag.delta, gap());
        break;
    case timeline::Gesture::resizeTop: {
        const Minutes start = timeline::resizedTopStart(block, drag.delta, gap());
        block.durationMinutes = block.endMinutes() - start;
        block.startMinutes = start;
        break;
    }
    }
    return block;
}

WorkBlock DayTimelineView::displayed(const WorkBlock& block) const {
    return m_drag && m_drag->id == block.id ? dragged(block, *m_drag) : block;
}

std::vector<timeline::PlacedBlock> DayTimelineView::placedBlocks(qreal width) const {
    std::vector<timeline::PlacedBlock> placed;
    for (const WorkBlock& b : visible()) {
        timeline::PlacedBlock p;
        p.block = b;
        p.card.block = displayed(b);
        const Minutes start = p.card.block.startMinutes;
        const Minutes duration = p.card.block.durationMinutes;
        p.card.isSelected = m_selectedID == b.id;
        p.card.isDraft = isDraftBlock(b.id);
        p.card.isLocked = m_store.isLocked(b);
        p.card.isConfirmed = m_store.confirmedIDs().contains(b.id);
        p.card.inkFraction = inkFraction(b.id, start, duration);
        p.card.durationText = durationText(b, start, duration);
        p.box = m_geometry.box(start, duration, width);
        p.frozen = m_store.isFrozen(b);
        p.running = !p.card.isDraft && m_store.isInProgress(b);
        placed.push_back(std::move(p));
    }
    return placed;
}

std::vector<MinuteRange> DayTimelineView::reservedSlots() const {
    if (!m_selectedID)
        return {};
    const std::optional<WorkBlock> selected = m_store.savedBlock(*m_selectedID);
    if (!selected)
        return {};
    return m_store.reservedSlots(m_repeatDays, selected->repeatRuleID);
}

Minutes DayTimelineView::nowMinutes() const {
    return m_clock.nowMinutes();
}

void DayTimelineView::drawCreation(Minutes from, Minutes to) {
    const QRectF before = creationBox();
    // Reserved times of repeating blocks play no part when drawing a new block.
    m_creation = timeline::creationRange(
        from, to, [&](Minutes m) { return m_store.freeGap(m, std::nullopt, Weekdays{}); });
    repaintChange(before, creationBox());
    revealIfIdle();
}

void DayTimelineView::dragBlock(const timeline::BlockDrag& drag) {
    // Only the dragged block moves while its drag goes on; anything else (the first step, a
    // different block) changes the selection and repaints the whole day.
    const bool samePress = m_drag && m_drag->id == drag.id && m_selectedID == drag.id;
    const QRectF before = samePress ? blockBox(drag.id) : QRectF();
    select(drag.id);
    m_drag = drag;
    if (samePress)
        repaintChange(before, blockBox(drag.id));
    else
        m_canvas->update();
    revealIfIdle();
}

QRectF DayTimelineView::blockBox(const QUuid& id) const {
    for (const WorkBlock& b : visible())
        if (b.id == id) {
            const WorkBlock shown = displayed(b);
            return m_geometry.box(shown.startMinutes, shown.durationMinutes, m_canvas->width());
        }
    return {};
}

QRectF DayTimelineView::creationBox() const {
    if (!m_creation)
        return {};
    // The range text of a short creation runs past the box's foot.
    return m_geometry.box(m_creation->start, m_creation->duration, m_canvas->width())
        .adjusted(0, 0, 0, m_geometry.hourHeight / 2);
}

void DayTimelineView::repaintChange(const QRectF& before, const QRectF& after) {
    if (before == after)
        return;
    // Each box grown by what anti-aliasing and borders spill over.
    QRegion region;
    for (const QRectF& box : {before, after})
        if (!box.isEmpty())
            region += TimelineCanvas::timelineToCanvas(box).adjusted(-2, -2, 2, 2).toAlignedRect();
    m_canvas->update(region);
}

void DayTimelineView::cancelGesture() {
    m_creation.reset();
    m_drag.reset();
    m_canvas->update();
}

void DayTimelineView::endGesture() {
    // The gesture is over before its block is chosen, so the choice may scroll it into view.
    if (const std::optional<timeline::Creation> creation =
            std::exchange(m_creation, std::nullopt)) {
        WorkBlock made;
        made.id = QUuid::createUuid();
        made.title = defaultTitle(WorkKind::deep);
        made.day = m_store.todayKey();
        made.startMinutes = creation->start;
        made.durationMinutes = creation->duration;
        made.kind = WorkKind::deep;
        made.createdAt = TimeMath::referenceSeconds(m_clock.wallClock().now());
        setWorking(made);
        select(made.id);
    } else if (const std::optional<timeline::BlockDrag> drag =
                   std::exchange(m_drag, std::nullopt)) {
        for (const WorkBlock& block : visible())
            if (block.id == drag->id)
                commit(dragged(block, *drag));
    }
    m_canvas->update();
    revealIfIdle();
}

void DayTimelineView::nudgeSelected(int direction, bool resize) {
    for (const WorkBlock& block : visible()) {
        if (block.id != m_selectedID)
            continue;
        if (m_store.isFrozen(block))
            return;
        const auto gesture = resize ? timeline::Gesture::resizeBottom : timeline::Gesture::move;
        commit(dragged(block, {gesture, block.id, direction * gridStep}));
        revealIfIdle();
        return;
    }
}

void DayTimelineView::commit(const WorkBlock& block) {
    select(block.id);
    setWorking(block);
    requestReveal();
}

void DayTimelineView::requestReveal() {
    ++m_revealRequest;
    m_revealPending = true;
}

void DayTimelineView::revealIfIdle() {
    if (!m_revealPending)
        return;
    m_revealPending = false;
    // A request made while a drag runs is dropped: the view never scrolls under the pointer.
    // The drag's own commit asks again once it has ended.
    if (isGestureInProgress() || !m_selectedID)
        return;
    m_keepRevealed = true;
    scrollToSelection();
}

void DayTimelineView::scrollToSelection() {
    for (const WorkBlock& block : visible()) {
        if (block.id != *m_selectedID)
            continue;
        const WorkBlock shown = displayed(block);
        const QRectF anchor =
            m_geometry.selectionAnchor(shown.startMinutes, shown.durationMinutes, m_canvas->width())
                .translated(0, contentTop);
        QScrollBar* bar = verticalScrollBar();
        const int top = static_cast<int>(std::floor(anchor.top()));
        const int bottom = static_cast<int>(std::ceil(anchor.bottom()));
        const int height = viewport()->height();
        if (top < bar->value())
            bar->setValue(top);
        else if (bottom > bar->value() + height)
            bar->setValue(std::min(bottom - height, top));
        return;
    }
}

void DayTimelineView::styleScrollBar() {
    verticalScrollBar()->setStyleSheet(scrollBarStyle(palette()));
}

void DayTimelineView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        styleScrollBar();
    QScrollArea::changeEvent(event);
}

void DayTimelineView::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    // Choosing a block opens the editor under the timeline, which takes height from it after
    // the block was scrolled into view; it must stay in view in what is left.
    if (m_keepRevealed && m_selectedID && !isGestureInProgress())
        scrollToSelection();
}

void DayTimelineView::showEvent(QShowEvent* event) {
    QScrollArea::showEvent(event);
    if (m_shownOnce)
        return;
    m_shownOnce = true;
    // Posted, so the scroll range reflects the laid-out size.
    QTimer::singleShot(0, this, [this] { scrollToHourOnFirstShow(); });
}

void DayTimelineView::scrollToHourOnFirstShow() {
    // The hour as the user reads it on the wall, in the current zone.
    const int hour = m_clock.wallClock().now().toLocalTime().time().hour();
    const int row = std::max(hour - 1, 0);
    verticalScrollBar()->setValue(
        static_cast<int>(std::lround(contentTop + row * m_geometry.hourHeight)));
}

} // namespace quillmere
