#include "app/QuillmereApp.h"
#include "app/ScheduleView.h"

#include "AppFixture.h"

#include <QApplication>

using namespace quillmere;
using namespace quillmere::test;

namespace {

// The app makes its own store and clock on the fixture's folder and wall clock.
struct ShellFixture : AppFixture {
    void SetUp() override { wall.set(QDate(2024, 3, 4), QTime(10, 30)); }
};

} // namespace

TEST_F(ShellFixture, TheIconAndTooltipFollowTheWorkUnderWayWithoutThePanel) {
    seedBlocks({todayBlock(QStringLiteral("  Inbox\t"), 600, 60, WorkKind::shallow),
                todayBlock(QString(), 690, 30, WorkKind::shallow)});
    QuillmereApp app(wall, dir.path());
    EXPECT_FALSE(app.isStarted());
    app.start(0);
    processEvents();
    EXPECT_EQ(app.shell().image(), StatusIcon::Image::shallow);
    EXPECT_EQ(app.shell().toolTip(), QStringLiteral("Inbox"));
    const auto tickAt = [&](QTime time) {
        wall.set(QDate(2024, 3, 4), time);
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
