#include "timeline/TimelineAccessible.h"

#include "model/TimeMath.h"
#include "timeline/TimelineCanvas.h"

#include <QAccessibleWidget>
#include <QPointer>

#include <map>
#include <optional>

namespace quillmere::timeline {

namespace {

// What a reader says after the title: "9:00 AM – 10:00 AM, Deep Work, running".
QString describe(const PlacedBlock& p) {
    const WorkBlock& b = p.card.block;
    QStringList parts{TimeMath::rangeString(b.startMinutes, b.endMinutes()), defaultTitle(b.kind)};
    if (p.card.isDraft)
        parts << QStringLiteral("draft");
    if (p.running)
        parts << QStringLiteral("running");
    if (p.card.isLocked)
        parts << QStringLiteral("locked");
    if (p.card.isConfirmed)
        parts << QStringLiteral("confirmed");
    return parts.join(QStringLiteral(", "));
}

// One block, found again by its id on every question, so it always tells the day as it is
// drawn now; it stops being valid when the block leaves the day.
class BlockAccessible final : public QAccessibleInterface {
public:
    BlockAccessible(TimelineCanvas* canvas, const QUuid& id) : m_canvas(canvas), m_id(id) {}

    bool isValid() const override { return placed().has_value(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override {
        return m_canvas ? m_canvas->window()->windowHandle() : nullptr;
    }
    QAccessibleInterface* parent() const override {
        return m_canvas ? QAccessible::queryAccessibleInterface(m_canvas.data()) : nullptr;
    }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }

    QString text(QAccessible::Text t) const override {
        const std::optional<PlacedBlock> p = placed();
        if (!p)
            return {};
        switch (t) {
        case QAccessible::Name:
            return p->card.title();
        case QAccessible::Description:
            return describe(*p);
        default:
            return {};
        }
    }
    void setText(QAccessible::Text, const QString&) override {}

    QRect rect() const override {
        const std::optional<PlacedBlock> p = placed();
        if (!p)
            return {};
        const QRect local = m_canvas->timelineToCanvas(p->box).toAlignedRect();
        return QRect(m_canvas->mapToGlobal(local.topLeft()), local.size());
    }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QAccessible::State state() const override {
        QAccessible::State s;
        const std::optional<PlacedBlock> p = placed();
        if (!p) {
            s.invalid = true;
            return s;
        }
        s.selectable = true;
        s.selected = p->card.isSelected;
        s.focused = p->card.isSelected && m_canvas->hasFocus();
        s.readOnly = p->frozen || p->card.isLocked;
        s.offscreen = !m_canvas->visibleRegion().intersects(
            m_canvas->timelineToCanvas(p->box).toAlignedRect());
        return s;
    }

private:
    std::optional<PlacedBlock> placed() const {
        if (!m_canvas)
            return std::nullopt;
        return m_canvas->placedBlock(m_id);
    }

    QPointer<TimelineCanvas> m_canvas;
    QUuid m_id;
};

class CanvasAccessible final : public QAccessibleWidget {
public:
    explicit CanvasAccessible(TimelineCanvas* canvas)
        : QAccessibleWidget(canvas, QAccessible::List, QStringLiteral("Timeline")) {}
    ~CanvasAccessible() override {
        for (const auto& [id, accessibleId] : m_items)
            QAccessible::deleteAccessibleInterface(accessibleId);
    }
    CanvasAccessible(const CanvasAccessible&) = delete;
    CanvasAccessible& operator=(const CanvasAccessible&) = delete;

    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Name)
            return QStringLiteral("Today's timeline");
        return QAccessibleWidget::text(t);
    }
    int childCount() const override { return static_cast<int>(canvas()->placedBlocks().size()); }
    QAccessibleInterface* child(int index) const override {
        const std::vector<PlacedBlock> placed = canvas()->placedBlocks();
        if (index < 0 || index >= static_cast<int>(placed.size()))
            return nullptr;
        return item(placed[static_cast<std::size_t>(index)].block.id);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        const std::vector<PlacedBlock> placed = canvas()->placedBlocks();
        for (std::size_t i = 0; i < placed.size(); ++i)
            if (item(placed[i].block.id) == child)
                return static_cast<int>(i);
        return -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        const QPoint local = canvas()->mapFromGlobal(QPoint(x, y));
        const std::vector<PlacedBlock> placed = canvas()->placedBlocks();
        // Later blocks are drawn over earlier ones.
        for (auto it = placed.rbegin(); it != placed.rend(); ++it)
            if (canvas()->timelineToCanvas(it->box).contains(local))
                return item(it->block.id);
        return nullptr;
    }
    QAccessibleInterface* focusChild() const override {
        for (const PlacedBlock& p : canvas()->placedBlocks())
            if (p.card.isSelected)
                return item(p.block.id);
        return nullptr;
    }

private:
    TimelineCanvas* canvas() const { return static_cast<TimelineCanvas*>(widget()); }

    // One interface per block for as long as the canvas lives, so a reader may keep it.
    QAccessibleInterface* item(const QUuid& id) const {
        const auto found = m_items.find(id);
        if (found != m_items.end())
            return QAccessible::accessibleInterface(found->second);
        auto* made = new BlockAccessible(canvas(), id);
        m_items.emplace(id, QAccessible::registerAccessibleInterface(made));
        return made;
    }

    mutable std::map<QUuid, QAccessible::Id> m_items;
};

} // namespace

QAccessibleInterface* timelineAccessibleFactory(const QString&, QObject* object) {
    if (auto* canvas = dynamic_cast<TimelineCanvas*>(object))
        return new CanvasAccessible(canvas);
    return nullptr;
}

} // namespace quillmere::timeline
