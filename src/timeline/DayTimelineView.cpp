#include "timeline/DayTimelineView.h"

#include "model/AppClock.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"
#include "timeline/TimelineCanvas.h"

#include <QScrollBar>
#include <QShowEvent>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace quillmere {

using timeline::TimelineCanvas;

DayTimelineView::DayTimelineView(BlockStore& store, AppClock& clock, QWidget* parent)
    : QScrollArea(parent), m_store(store), m_clock(clock) {
    m_canvas = new TimelineCanvas(*this);
    setWidget(m_canvas);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setFocusProxy(m_canvas);

    // Scrolling by hand lets go of the chosen block: a later resize no longer pulls it back.
    connect(verticalScrollBar(), &QAbstractSlider::actionTriggered, this,
            [this] { m_keepRevealed = false; });

    const auto repaint = [this] { m_canvas->update(); };
    connect(&m_store, &BlockStore::blocksChanged, m_canvas, repaint);
    connect(&m_store, &BlockStore::rulesChanged, m_canvas, repaint);
    connect(&m_clock, &AppClock::nowMinutesChanged, m_canvas, repaint);
    connect(&m_clock, &AppClock::todayChanged, m_canvas, repaint);
}

DayTimelineView::~DayTimelineView() = default;

QWidget* DayTimelineView::canvas() const {
    return m_canvas;
}

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
    Q_EMIT selectedIDChanged(m_selectedID);
}

void DayTimelineView::setWorking(const std::optional<WorkBlock>& block) {
    if (block == m_working)
        return;
    m_working = block;
    m_canvas->update();
    Q_EMIT workingChanged(m_working);
}

void DayTimelineView::setRepeatDays(const Weekdays& days) {
    if (days == m_repeatDays)
        return;
    m_repeatDays = days;
    m_canvas->update();
}

bool DayTimelineView::isGestureInProgress() const {
    return m_creation || m_moveState || m_resizeState || m_resizeTopState;
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

Minutes DayTimelineView::movedStart(const WorkBlock& block, Minutes delta) const {
    const Weekdays days = activeRepeatDays(block);
    return timeline::movedStart(block, delta, [&](Minutes target, Minutes duration) {
        return m_store.nearestFreeStart(target, duration, block.id, days);
    });
}

Minutes DayTimelineView::resizedDuration(const WorkBlock& block, Minutes delta) const {
    return timeline::resizedDuration(
        block, delta, m_store.freeGap(block.startMinutes, block.id, activeRepeatDays(block)));
}

Minutes DayTimelineView::resizedTopStart(const WorkBlock& block, Minutes delta) const {
    return timeline::resizedTopStart(
        block, delta, m_store.freeGap(block.startMinutes, block.id, activeRepeatDays(block)));
}

Minutes DayTimelineView::displayStart(const WorkBlock& block) const {
    if (m_moveState && m_moveState->id == block.id)
        return movedStart(block, m_moveState->delta);
    if (m_resizeTopState && m_resizeTopState->id == block.id)
        return resizedTopStart(block, m_resizeTopState->delta);
    return block.startMinutes;
}

Minutes DayTimelineView::displayDuration(const WorkBlock& block) const {
    if (m_resizeState && m_resizeState->id == block.id)
        return resizedDuration(block, m_resizeState->delta);
    if (m_resizeTopState && m_resizeTopState->id == block.id)
        return block.endMinutes() - resizedTopStart(block, m_resizeTopState->delta);
    return block.durationMinutes;
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
        const QRectF anchor =
            m_geometry
                .selectionAnchor(displayStart(block), displayDuration(block), m_canvas->width())
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
