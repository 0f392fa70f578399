#pragma once

#include "timeline/DayTimelineView.h"

#include "support/StoreHarness.h"

#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace quillmere::test {

using Range = std::pair<Minutes, Minutes>; // a start and a duration

// The shared store harness at 08:00 on Monday 2024-03-04, and the view at the panel's size,
// shown offscreen.
struct TimelineFixture : StoreHarness {
    TimelineFixture() : StoreHarness(QTime(8, 0)) {}
    std::unique_ptr<DayTimelineView> view;

    void SetUp() override { open(); }

    WorkBlock add(Minutes start, Minutes duration, WorkKind kind = WorkKind::deep,
                  const QString& day = today) {
        const WorkBlock b = makeBlock(QStringLiteral("Write"), day, start, duration, kind);
        store->add(b);
        return b;
    }
    // At 08:10, a deep block of 07:00–07:45 whose end has passed (confirmed) and one of
    // 08:00–09:00 under way (locked).
    std::pair<WorkBlock, WorkBlock> addFrozen() {
        tickAt(monday, QTime(7, 0));
        const WorkBlock done = add(7 * 60, 45);
        tickAt(monday, QTime(7, 45, 1));
        const WorkBlock running = add(8 * 60, 60);
        tickAt(monday, QTime(8, 10));
        return {done, running};
    }

    DayTimelineView& show() {
        view = std::make_unique<DayTimelineView>(*store, clock);
        view->resize(340, 560);
        view->show();
        processEvents();
        return *view;
    }

    QWidget* canvas() const { return view->widget(); }
    const timeline::TimelineGeometry& geometry() const { return view->geometry(); }

    // A canvas point whose timeline y reads back as exactly this minute. On a quarter hour,
    // 2 to 4 pt below a block's start or above its end is in that edge's resize strip.
    QPoint at(Minutes minute, int x = 200) const {
        return {x, static_cast<int>(std::ceil(geometry().y(minute)) + DayTimelineView::contentTop)};
    }

    void press(QPoint p) { QTest::mousePress(canvas(), Qt::LeftButton, Qt::NoModifier, p); }
    void moveTo(QPoint p) { QTest::mouseMove(canvas(), p); }
    void release(QPoint p) { QTest::mouseRelease(canvas(), Qt::LeftButton, Qt::NoModifier, p); }
    void drag(QPoint from, QPoint to) {
        press(from);
        for (int i = 1; i <= 4; ++i)
            moveTo(from + (to - from) * i / 4);
        release(to);
        processEvents();
    }

    // The working block's start and duration; (0, 0) without one.
    Range range() const {
        const WorkBlock w = view->working().value_or(WorkBlock{});
        return {w.startMinutes, w.durationMinutes};
    }

    int scroll() const { return view->verticalScrollBar()->value(); }

    // What the day's files hold: a gesture hands its block over and writes none of it.
    auto files() const { return std::pair(blocksOnDisk(), rulesOnDisk()); }

    QImage grab() const { return canvas()->grab().toImage(); }
    // The canvas read at timeline coordinates, and its background colour.
    QColor px(int x, int y) const {
        return grab().pixelColor(x, y + static_cast<int>(DayTimelineView::contentTop));
    }
    QColor window() const { return canvas()->palette().color(QPalette::Window); }
};
using Timeline = TimelineFixture;

} // namespace quillmere::test
