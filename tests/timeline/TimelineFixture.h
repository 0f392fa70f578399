#pragma once

#include "model/AppClock.h"
#include "store/BlockStore.h"
#include "store/FocusAids.h"
#include "timeline/DayTimelineView.h"

#include "support/FakeWallClock.h"
#include "support/Printers.h"
#include "support/TempDataDir.h"
#include "support/TzGuard.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>

namespace quillmere::test {

// A real store on a temporary folder, a fake wall clock on Monday 2024-03-04, and the view
// at the panel's size, shown offscreen.
struct TimelineFixture : ::testing::Test {
    TzGuard tz{"Europe/Berlin"};
    TempDataDir dir;
    FakeWallClock wall{QDateTime(QDate(2024, 3, 4), QTime(8, 0))};
    AppClock clock{wall};
    NoFocusAids aids;
    std::unique_ptr<BlockStore> store;
    std::unique_ptr<DayTimelineView> view;

    void SetUp() override {
        store = std::make_unique<BlockStore>(clock, aids, dir.path());
        clock.tick();
        settle();
    }

    static void settle() {
        for (int i = 0; i < 3; ++i)
            QApplication::processEvents();
    }

    void tickAt(QTime time) {
        wall.set(QDate(2024, 3, 4), time);
        clock.tick();
        settle();
    }

    WorkBlock add(Minutes start, Minutes duration, WorkKind kind = WorkKind::deep,
                  const QString& title = QStringLiteral("Write")) {
        WorkBlock b{QUuid::createUuid(), title,       store->todayKey(), start, duration, kind,
                    std::nullopt,        std::nullopt};
        store->add(b);
        return b;
    }

    DayTimelineView& show() {
        view = std::make_unique<DayTimelineView>(*store, clock);
        view->resize(340, 560);
        view->show();
        settle();
        return *view;
    }

    QWidget* canvas() const { return view->canvas(); }
    const timeline::TimelineGeometry& geometry() const { return view->geometry(); }

    // A canvas row whose timeline y reads back as exactly this minute.
    int rowAt(Minutes minute) const {
        return static_cast<int>(std::ceil(geometry().y(minute)) + DayTimelineView::contentTop);
    }
    QPoint at(Minutes minute, int x = 200) const { return {x, rowAt(minute)}; }

    void press(QPoint p) { QTest::mousePress(canvas(), Qt::LeftButton, Qt::NoModifier, p); }
    void moveTo(QPoint p) { QTest::mouseMove(canvas(), p); }
    void release(QPoint p) { QTest::mouseRelease(canvas(), Qt::LeftButton, Qt::NoModifier, p); }
    void drag(QPoint from, QPoint to) {
        press(from);
        for (int i = 1; i <= 4; ++i)
            moveTo(from + (to - from) * i / 4);
        release(to);
        settle();
    }
    void hover(QPoint p) {
        QMouseEvent e(QEvent::MouseMove, p, canvas()->mapToGlobal(p), Qt::NoButton, Qt::NoButton,
                      Qt::NoModifier);
        QApplication::sendEvent(canvas(), &e);
    }

    int scroll() const { return view->verticalScrollBar()->value(); }

    std::map<QString, QByteArray> files() const {
        std::map<QString, QByteArray> contents;
        for (const QString& name : QDir(dir.path()).entryList(QDir::Files))
            contents[name] = dir.read(name).value_or(QByteArray());
        return contents;
    }

    QImage grab() const { return canvas()->grab().toImage(); }
};

} // namespace quillmere::test
