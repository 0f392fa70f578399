#include "app/QuillmereApp.h"
#include "app/ScheduleView.h"
#include "stats/StatsLauncher.h"

#include "support/StoreHarness.h"
#include "support/Widgets.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QPointer>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

// The app makes its own store and clock on the fixture's folder and wall clock.
using ShellFixture = StoreHarness;

// The offscreen platform has no tray: the panel opens at once as an ordinary window that ends
// the program. The tray's icon and tooltip still follow the work under way: the title trimmed
// of spaces and tabs, the kind's name for an untitled block, and nothing once the blocks are
// over (the picture of the running kind is judged in integration_tests' tray scenario).
// "Statistics…" makes its window on first use (shown: desktop_tests) and then only raises it;
// the window follows the confirmations of the running program and is gone once closed.
TEST_F(ShellFixture, ThePanelTheTrayAndStatisticsFollowTheRunningProgram) {
    wall.set(monday, QTime(10, 30));
    seedBlocks({makeBlock(u"  Inbox\t"_s, today, 600, 60, WorkKind::shallow),
                makeBlock(QString(), today, 690, 30, WorkKind::shallow),
                makeBlock(u"Write"_s, today, 780, 60)});
    QuillmereApp app(wall, dir.path());
    app.start(0);
    processEvents();
    ASSERT_TRUE(app.panel());
    EXPECT_EQ(std::tuple(app.panel()->style(), app.panel()->isVisible(),
                         !!qobject_cast<ScheduleView*>(app.panel()->content()),
                         QApplication::quitOnLastWindowClosed(), app.shell().hasIcon()),
              std::tuple(PanelWindow::Style::window, true, true, true, false));

    EXPECT_EQ(app.shell().toolTip(), u"Inbox"_s);
    const auto tickAt = [&](QDateTime instant) {
        wall.set(instant);
        app.clock().tick();
        processEvents();
    };
    tickAt(QDateTime(monday, QTime(11, 31)));
    EXPECT_EQ(app.shell().toolTip(), u"Shallow Work"_s);
    tickAt(QDateTime(monday, QTime(12, 5)));
    EXPECT_EQ(app.shell().image(), StatusIcon::Image::idle);

    EXPECT_EQ(app.statistics()->window(), nullptr);
    QAction* statistics = action(app.panel()->content(), u"Statistics…"_s);
    ASSERT_TRUE(statistics);
    statistics->trigger();
    processEvents();
    QPointer<StatsWindow> window = app.statistics()->window();
    ASSERT_TRUE(window);
    QLabel* weekDeep = window->findChild<QLabel*>(u"week.deep"_s);
    EXPECT_EQ(weekDeep->text(), u"0 m"_s);
    EXPECT_EQ(window->content().planned.at(monday).deep, 60);
    statistics->trigger();
    processEvents();
    EXPECT_EQ(app.statistics()->window(), window.data());

    tickAt(QDateTime(monday, QTime(13, 30)));
    tickAt(QDateTime(monday, QTime(14, 0)).addMSecs(100));
    EXPECT_EQ(weekDeep->text(), u"1 h"_s);
    window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(window);
    QApplication::setQuitOnLastWindowClosed(false);
}
