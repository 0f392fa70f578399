#pragma once

#include "model/Minutes.h"
#include "model/WorkBlock.h"
#include "store/MinuteRange.h"
#include "timeline/BlockView.h"
#include "timeline/TimelineGeometry.h"
#include "timeline/TimelineGestures.h"

#include <QRectF>
#include <QUuid>

#include <optional>
#include <vector>

namespace quillmere::timeline {

// A block as the canvas shows it: its card with any drag applied, where it sits, and whether it
// may be dragged at all.
struct PlacedBlock {
    WorkBlock block; // as visible, before any drag is applied
    BlockView card;
    QRectF box; // timeline coordinates
    bool frozen = false;
    bool running = false;
};

// What the canvas needs from the view that owns it: the day as it is to be drawn, and the
// gestures the pointer and the keys turn into. The view keeps all the state and decides what
// each gesture changes.
class TimelineSurface {
public:
    virtual const TimelineGeometry& geometry() const = 0;
    virtual std::vector<PlacedBlock> placedBlocks(qreal width) const = 0;
    // The times other repeating blocks hold on the selected block's repeat days.
    virtual std::vector<MinuteRange> reservedSlots() const = 0;
    virtual std::optional<Creation> creation() const = 0;
    virtual Minutes nowMinutes() const = 0;
    virtual std::optional<QUuid> selectedID() const = 0;
    virtual bool isGestureInProgress() const = 0;

    virtual void setSelectedID(const std::optional<QUuid>& id) = 0;
    // A drag on empty time from one minute to another.
    virtual void drawCreation(Minutes from, Minutes to) = 0;
    virtual void dragBlock(const BlockDrag& drag) = 0;
    // The pointer let go: the drawn or dragged block becomes the working block.
    virtual void endGesture() = 0;
    // The gesture ended without a release (the panel closed under the pointer): nothing of it
    // stays behind.
    virtual void cancelGesture() = 0;
    // The arrow keys: the selected block one grid step earlier or later, or shorter or longer.
    virtual void nudgeSelected(int direction, bool resize) = 0;

protected:
    ~TimelineSurface() = default;
};

} // namespace quillmere::timeline
