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

namespace {

// The app makes its own store and clock on the fixture's folder and wall clock.
struct ShellFixture : StoreHarness {
    ShellFixture() : StoreHarness(QTime(10, 30)) {}
};

} // namespace

// With the panel closed the tray shows the work under way: the title trimmed of spaces and
// tabs, the kind's name for an untitled block, and nothing once the blocks are over.
TEST_F(ShellFixture, TheIconAndTooltipFollowTheWorkUnderWayWithoutThePanel) {
    seedBlocks({makeBlock(QStringLiteral("  Inbox\t"), today, 600, 60, WorkKind::shallow),
                makeBlock(QString(), today, 690, 30, WorkKind::shallow)});
    QuillmereApp app(wall, dir.path());
    EXPECT_FALSE(app.isStarted());
    app.start(0);
    processEvents();
    EXPECT_EQ(app.shell().image(), StatusIcon::Image::shallow);
    EXPECT_EQ(app.shell().toolTip(), QStringLiteral("Inbox"));
    const auto tickAt = [&](QTime time) {
        wall.set(monday, time);
        app.clock().tick();
        processEvents();
    };
    tickAt(QTime(11, 31));
    EXPECT_EQ(app.shell().toolTip(), QStringLiteral("Shallow Work"));
    tickAt(QTime(12, 5));
    EXPECT_EQ(app.shell().image(), StatusIcon::Image::idle);
}

TEST_F(ShellFixture, WithoutATrayThePanelIsAWindowThatEndsTheProgram) {
    QuillmereApp app(wall, dir.path());
    app.start(0);
    processEvents();
    // The offscreen platform has no tray: the panel opens at once as an ordinary window.
    ASSERT_TRUE(app.panel());
    EXPECT_EQ(app.panel()->style(), PanelWindow::Style::window);
    EXPECT_TRUE(app.panel()->isVisible());
    EXPECT_TRUE(qobject_cast<ScheduleView*>(app.panel()->content()));
    EXPECT_TRUE(QApplication::quitOnLastWindowClosed());
    EXPECT_FALSE(app.shell().hasIcon());
    QApplication::setQuitOnLastWindowClosed(false);
}

// "Statistics…" makes its window on first use and then only raises it; the window follows the
// confirmations of the running program and is gone once closed.
TEST_F(ShellFixture, StatisticsOpensFromTheOptionsMenuAsOneWindowThatFollowsConfirmations) {
    seedBlocks({makeBlock(QStringLiteral("Write"), today, 600, 60)});
    QuillmereApp app(wall, dir.path());
    app.start(0);
    processEvents();
    EXPECT_EQ(app.statistics()->window(), nullptr);
    QAction* statistics = action(app.panel()->content(), QStringLiteral("Statistics…"));
    ASSERT_TRUE(statistics);
    statistics->trigger();
    processEvents();
    QPointer<StatsWindow> window = app.statistics()->window();
    ASSERT_TRUE(window);
    EXPECT_TRUE(window->isVisible());
    QLabel* weekDeep = window->findChild<QLabel*>(QStringLiteral("week.deep"));
    EXPECT_EQ(weekDeep->text(), QStringLiteral("0 m"));
    EXPECT_EQ(window->content().planned.at(QDate(2024, 3, 4)).deep, 60);
    statistics->trigger();
    processEvents();
    EXPECT_EQ(app.statistics()->window(), window.data());

    wall.set(QDateTime(QDate(2024, 3, 4), QTime(11, 0)).addMSecs(100));
    app.clock().tick();
    processEvents();
    EXPECT_EQ(weekDeep->text(), QStringLiteral("1 h"));
    window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(window);
    QApplication::setQuitOnLastWindowClosed(false);
}
