#pragma once

#include "model/WorkBlock.h"
#include "timeline/TimelineSurface.h"

#include <QPointF>
#include <QRectF>
#include <QWidget>

#include <optional>
#include <vector>

namespace quillmere::timeline {

// The scrolled content of the day's timeline: paints the day and turns pointer and keys into
// the view's gestures. All state lives in the view; this widget only holds the press under way.
class TimelineCanvas final : public QWidget {
public:
    explicit TimelineCanvas(TimelineSurface& view);

    // Distances a press must travel before it becomes a drag, by what it started on.
    static constexpr qreal createThreshold = 5;
    static constexpr qreal moveThreshold = 4;
    static constexpr qreal resizeThreshold = 2;

    // The day as drawn now, for assistive technology.
    std::vector<PlacedBlock> placedBlocks() const { return m_view.placedBlocks(width()); }
    std::optional<PlacedBlock> placedBlock(const QUuid& id) const;
    static QRectF timelineToCanvas(const QRectF& box);
    // Tells assistive technology that the blocks or the chosen one changed.
    void announceChange();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    enum class Target { grid, body, topHandle, bottomHandle, frozen };

    struct Press {
        QPointF position; // timeline coordinates
        Target target = Target::grid;
        WorkBlock block;
        bool dragging = false;
    };

    // The block (and which part of it) under a point, topmost first; none is the empty grid.
    std::optional<std::pair<Target, WorkBlock>> hit(const QPointF& point) const;
    QPointF toTimeline(const QPointF& canvasPoint) const;

    void paintGrid(QPainter& painter, const QRectF& clip, const TextColors& colors) const;
    void paintReserved(QPainter& painter, const TextColors& colors) const;
    void paintCreation(QPainter& painter, const TextColors& colors) const;
    void paintNow(QPainter& painter) const;

    void updateDrag(const QPointF& point);
    void showCursor(Qt::CursorShape shape);

    TimelineSurface& m_view;
    std::optional<Press> m_press;
    Qt::CursorShape m_cursor = Qt::ArrowCursor;
};

} // namespace quillmere::timeline
