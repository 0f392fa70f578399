#pragma once

#include "model/Minutes.h"
#include "model/RepeatRule.h"
#include "model/WorkBlock.h"
#include "timeline/TimelineGeometry.h"
#include "timeline/TimelineGestures.h"
#include "timeline/TimelineSurface.h"

#include <QScrollArea>
#include <QUuid>

#include <optional>
#include <vector>

namespace quillmere {

class AppClock;
class BlockStore;

namespace timeline {
class TimelineCanvas;
}

// Today as one scrollable column of 24 hour rows with the day's blocks on it, drawn and edited
// by dragging. The host owns the selection and the working block (the copy the editor shows);
// this view reads and changes them through the properties below and never writes the store:
// every drag ends by handing the changed or new block over as the working block.
class DayTimelineView final : public QScrollArea, private timeline::TimelineSurface {
    Q_OBJECT
    Q_PROPERTY(std::optional<QUuid> selectedID READ selectedID WRITE setSelectedID NOTIFY
                   selectedIDChanged)
    Q_PROPERTY(std::optional<quillmere::WorkBlock> working READ working WRITE setWorking NOTIFY
                   workingChanged)

public:
    DayTimelineView(BlockStore& store, AppClock& clock, QWidget* parent = nullptr);
    ~DayTimelineView() override;

    std::optional<QUuid> selectedID() const override { return m_selectedID; }
    // Selecting a block scrolls it into view (unless a drag is running); none deselects.
    void setSelectedID(const std::optional<QUuid>& id) override;

    std::optional<WorkBlock> working() const { return m_working; }
    void setWorking(const std::optional<WorkBlock>& block);

    // The repeat days the editor currently shows for the selected block. They decide which
    // repeating blocks' times count as taken while that block is dragged, and which reserved
    // spans are hatched.
    Weekdays repeatDays() const { return m_repeatDays; }
    void setRepeatDays(const Weekdays& days);

    const timeline::TimelineGeometry& geometry() const override { return m_geometry; }
    // The canvas's coordinates are the timeline's shifted down by this much.
    static constexpr qreal contentTop = timeline::TimelineGeometry::contentTop;

    // Read-only views of the drag in progress.
    std::optional<timeline::Creation> creation() const override { return m_creation; }
    bool isGestureInProgress() const override;

Q_SIGNALS:
    void selectedIDChanged(const std::optional<QUuid>& id);
    void workingChanged(const std::optional<quillmere::WorkBlock>& block);

protected:
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void styleScrollBar();
    // What the canvas asks of the view.
    std::vector<timeline::PlacedBlock> placedBlocks(qreal width) const override;
    std::vector<MinuteRange> reservedSlots() const override;
    Minutes nowMinutes() const override;
    void drawCreation(Minutes from, Minutes to) override;
    void dragBlock(const timeline::BlockDrag& drag) override;
    void endGesture() override;
    void cancelGesture() override;
    void nudgeSelected(int direction, bool resize) override;

    // Today's stored blocks with the working copy in place of its saved version (or added
    // after them when it is a draft).
    std::vector<WorkBlock> visible() const;
    bool isDraftBlock(const QUuid& id) const;
    qreal inkFraction(const QUuid& id, Minutes start, Minutes duration) const;
    QString durationText(const WorkBlock& block, Minutes start, Minutes duration) const;

    // The store's answers, as the free-time rules for one block need them.
    Weekdays activeRepeatDays(const WorkBlock& block) const;
    // The block as a drag would leave it; `displayed` applies the drag under way, if any.
    WorkBlock dragged(WorkBlock block, const timeline::BlockDrag& drag) const;
    WorkBlock displayed(const WorkBlock& block) const;

    // Changes the selection without scrolling yet: a gesture sets its own state in the same
    // step, and revealIfIdle() decides afterwards whether the request still stands.
    void select(const std::optional<QUuid>& id);
    // Where a block is drawn now (with any drag applied), and where the block being drawn is,
    // in timeline coordinates; empty when there is none.
    QRectF blockBox(const QUuid& id) const;
    QRectF creationBox() const;
    // Repaints only what a gesture step changed: the box it left and the box it took.
    void repaintChange(const QRectF& before, const QRectF& after);
    void commit(const WorkBlock& block);
    void requestReveal();
    void revealIfIdle();
    // The least scroll that shows the selected block with its margins.
    void scrollToSelection();
    void scrollToHourOnFirstShow();

    BlockStore& m_store;
    AppClock& m_clock;
    timeline::TimelineGeometry m_geometry;
    timeline::TimelineCanvas* m_canvas = nullptr;

    std::optional<QUuid> m_selectedID;
    std::optional<WorkBlock> m_working;
    Weekdays m_repeatDays;

    std::optional<timeline::Creation> m_creation;
    std::optional<timeline::BlockDrag> m_drag;
    int m_revealRequest = 0;
    bool m_revealPending = false;
    // The selection was scrolled into view and should stay there while the viewport changes.
    bool m_keepRevealed = false;
    bool m_shownOnce = false;
};

} // namespace quillmere
