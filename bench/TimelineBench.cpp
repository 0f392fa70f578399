#include "Figures.h"
#include "model/AppClock.h"
#include "store/BlockStore.h"
#include "store/FocusAids.h"
#include "timeline/DayTimelineView.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QScrollBar>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>

using namespace quillmere;

namespace {

constexpr double frameSeconds = 1.0 / 60.0;

// Midday on a Monday, so one of the blocks is running and earlier ones carry their ink.
class NoonClock final : public WallClock {
public:
    QDateTime now() const override { return QDateTime(QDate(2024, 3, 4), QTime(12, 10)); }
};

// A day of 30 half-hour blocks from 05:00 with a five-minute break after each, every fifth
// repeating, shown in a panel-sized view scrolled to the middle of the day.
struct BusyDay {
    QTemporaryDir dir;
    NoonClock wall;
    AppClock clock{wall};
    NoFocusAids aids;
    BlockStore store{clock, aids, dir.path()};
    std::unique_ptr<DayTimelineView> view;

    BusyDay() {
        for (int i = 0; i < 30; ++i) {
            WorkBlock b{QUuid::createUuid(),
                        QStringLiteral("Block %1").arg(i),
                        store.todayKey(),
                        5 * 60 + i * 35,
                        30,
                        i % 3 ? WorkKind::shallow : WorkKind::deep,
                        std::nullopt,
                        std::nullopt};
            store.add(b);
            if (i % 5 == 0)
                store.setRepeat({2, 4}, b.id);
        }
        clock.tick();
        view = std::make_unique<DayTimelineView>(store, clock);
        view->resize(340, 560);
        view->show();
        QApplication::processEvents();
        view->verticalScrollBar()->setValue(10 * 64);
        QApplication::processEvents();
    }

    // The whole panel-sized view: the visible part of the day and the scroll bar.
    void repaintInto(QImage& image) { view->render(&image); }
};

// Processor time of each frame on this thread, reported per frame and as a share of one 60 Hz
// frame (16.7 ms). Processor time rather than wall time, so that other work on a shared
// machine does not count against the view; on an idle machine the two agree.
class FrameTimer {
public:
    void start() { m_start = threadSeconds(); }
    void stop() { m_total += threadSeconds() - m_start; }

    void report(benchmark::State& state) const {
        state.counters["ms_per_frame"] =
            benchmark::Counter(m_total * 1000.0, benchmark::Counter::kAvgIterations);
        state.counters["frame_%"] =
            benchmark::Counter(m_total / frameSeconds * 100.0, benchmark::Counter::kAvgIterations);
    }

private:
    static double threadSeconds() {
        timespec ts{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
        return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
    }

    double m_start = 0;
    double m_total = 0;
};

void BM_RepaintDayOf30Blocks(benchmark::State& state) {
    BusyDay day;
    QImage image(340, 560, QImage::Format_ARGB32_Premultiplied);
    FrameTimer timer;
    for (auto _ : state) {
        timer.start();
        day.repaintInto(image);
        benchmark::ClobberMemory();
        timer.stop();
    }
    timer.report(state);
}
BENCHMARK(BM_RepaintDayOf30Blocks)->Unit(benchmark::kMillisecond);

// Counts the canvas area each paint covers, so the figure says how much of the view a frame
// really painted.
class PaintedArea final : public QObject {
public:
    qint64 pixels = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint)
            for (const QRect& r : static_cast<QPaintEvent*>(event)->region())
                pixels += qint64(r.width()) * r.height();
        return QObject::eventFilter(watched, event);
    }
};

// One pointer move during a move drag that takes the block to another quarter hour: the new
// position is found by the free-time search as the block is laid out, and the window paints what
// the move left dirty into its backing store, as it does on screen.
void BM_DragUpdate(benchmark::State& state) {
    BusyDay day;
    // The last block (21:55) goes down into the free evening, the only free time that day.
    day.view->verticalScrollBar()->setValue(day.view->verticalScrollBar()->maximum());
    QApplication::processEvents();
    QWidget* canvas = day.view->widget();
    const QPointF start(200, DayTimelineView::contentTop + (22 * 60 + 10) / 60.0 * 64);
    QMouseEvent press(QEvent::MouseButtonPress, start, canvas->mapToGlobal(start), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(canvas, &press);
    const auto moveTo = [&](const QPointF& to) {
        QMouseEvent move(QEvent::MouseMove, to, canvas->mapToGlobal(to), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(canvas, &move);
        QApplication::sendPostedEvents(nullptr, QEvent::UpdateRequest);
    };
    // The drag is under way (and the block chosen) before the frames are timed.
    moveTo(start + QPointF(0, 10));

    PaintedArea painted;
    canvas->installEventFilter(&painted);
    int step = 0;
    FrameTimer timer;
    for (auto _ : state) {
        timer.start();
        // A quarter hour (16 px) further each frame, so that every frame moves the block (a move
        // within the same quarter hour paints nothing at all).
        moveTo(start + QPointF(0, 10 + (++step % 6) * 16.0));
        timer.stop();
    }
    timer.report(state);
    state.counters["painted_%_of_view"] =
        benchmark::Counter(100.0 * static_cast<double>(painted.pixels) / (340.0 * 560.0),
                           benchmark::Counter::kAvgIterations);
    canvas->removeEventFilter(&painted);

    QMouseEvent release(QEvent::MouseButtonRelease, start, canvas->mapToGlobal(start),
                        Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(canvas, &release);
}
BENCHMARK(BM_DragUpdate)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    // Painting is measured without a display, as the widget tests run.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    return runWithFigures(argc, argv, [](const FigureReporter& r) {
        FigureReporter::print("drag_update_frame_pct", r.counter("BM_DragUpdate", "frame_%"), 1);
        FigureReporter::print("full_repaint_frame_pct",
                              r.counter("BM_RepaintDayOf30Blocks", "frame_%"), 1);
    });
}
