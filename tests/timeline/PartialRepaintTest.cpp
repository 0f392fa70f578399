#include "TimelineFixture.h"

#include <QScreen>

#include <vector>

using namespace quillmere;
using namespace quillmere::test;

namespace {

struct PartialRepaint : TimelineFixture {
    // What the window shows: its backing store, which a step repaints only where the view said
    // something changed.
    QImage onScreen() const {
        return view->screen()
            ->grabWindow(view->winId())
            .toImage()
            .convertToFormat(QImage::Format_RGB32);
    }
    QImage repaintedWhole() const {
        return view->grab().toImage().convertToFormat(QImage::Format_RGB32);
    }
};

} // namespace

// Each pointer step of a gesture repaints only the boxes it changed; a box too small leaves a
// stale edge, label or border behind, which a full repaint would not show.
TEST_F(PartialRepaint, EveryGestureStepLeavesWhatAFullRepaintShows) {
    const WorkBlock first = add(9 * 60, 60);
    add(10 * 60 + 30, 30, WorkKind::shallow);
    show();
    struct Case {
        const char* name;
        QPoint from;
        std::vector<QPoint> steps;
    };
    const Case cases[] = {
        {"move past a neighbour", at(9 * 60 + 30), {at(9 * 60 + 50), at(10 * 60 + 40), at(8 * 60)}},
        {"resize the foot", edge(first, false), {at(10 * 60 + 20), at(9 * 60 + 20)}},
        {"resize the head", edge(first, true), {at(8 * 60 + 10), at(9 * 60 + 40)}},
        // A short creation's range label runs below its box.
        {"draw a block", at(12 * 60), {at(12 * 60 + 10), at(12 * 60 + 40), at(12 * 60 + 10)}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        press(c.from);
        for (const QPoint& step : c.steps) {
            moveTo(step);
            processEvents();
            const QImage shown = onScreen();
            ASSERT_FALSE(shown.isNull());
            EXPECT_EQ(shown, repaintedWhole()) << step.y();
        }
        release(c.steps.back());
        view->setWorking(std::nullopt);
        processEvents();
    }
}
