#include "app/PanelPlacement.h"
#include "app/PanelWindow.h"
#include "app/SingleInstance.h"
#include "app/StatusIcon.h"
#include "app/TrayShell.h"
#include "ui/KindColors.h"

#include "support/TempDataDir.h"

#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTest>

#include <gtest/gtest.h>

using namespace quillmere;
using namespace Qt::StringLiterals;

TEST(StatusIcon, BarsAreSolidInTheKindColourAtEveryPixelRatioAndIdleFollowsThePalette) {
    for (qreal dpr : {1.0, 2.0, 3.0}) {
        SCOPED_TRACE(dpr);
        const int side = static_cast<int>(20 * dpr);
        const auto alphaAt = [&](const QImage& bar, qreal y) {
            return bar.pixelColor(side / 2, static_cast<int>(y * dpr)).alpha();
        };
        for (const WorkKind kind : {WorkKind::deep, WorkKind::shallow}) {
            const QImage bar = StatusIcon::render(StatusIcon::imageFor(kind), 20, dpr, Qt::black);
            ASSERT_EQ(bar.width(), side);
            EXPECT_EQ(bar.pixelColor(side / 2, side / 2).rgba(), ui::kindColor(kind).rgba());
            // The bar is half as tall as it is wide, and solid right up to its edges: no edge
            // is blurrier than one pixel.
            EXPECT_EQ(std::tuple(alphaAt(bar, 4), alphaAt(bar, 6), alphaAt(bar, 14 - 1 / dpr),
                                 alphaAt(bar, 16)),
                      std::tuple(0, 255, 255, 0));
        }
    }
    // Idle is a hollow outline in the colour the desktop's palette asks for.
    const QImage light = StatusIcon::render(StatusIcon::Image::idle, 20, 2.0, Qt::black);
    const QImage dark = StatusIcon::render(StatusIcon::Image::idle, 20, 2.0, Qt::white);
    EXPECT_EQ(light.pixelColor(20, 20).alpha(), 0);
    EXPECT_GT(light.pixelColor(20, 12).alpha(), 200);
    EXPECT_LT(light.pixelColor(20, 12).red(), 30);
    EXPECT_GT(dark.pixelColor(20, 12).red(), 225);

    // Drawn, the outline is light on GNOME's always dark bar and elsewhere follows the scheme
    // (dark in a light one on other desktops: integration_tests' tray scenario on XFCE).
    const QPalette lightScheme(Qt::black, Qt::white);
    const QPalette darkScheme(Qt::white, Qt::black);
    for (const auto& [desktops, palette, lightOutline] :
         {std::tuple("ubuntu:GNOME", &lightScheme, true), std::tuple("KDE", &darkScheme, true),
          std::tuple("GNOME-Flashback:Unity", &lightScheme, false)}) {
        const QColor c = StatusIcon::outlineColor(QString::fromLatin1(desktops), *palette);
        EXPECT_EQ(c.lightnessF() > 0.5f, lightOutline) << desktops;
    }
}

// Only a primary click (single, double or middle) toggles the panel; a cleared tooltip
// leaves the icon's empty.
TEST(TrayShell, OnlyAPrimaryClickTogglesThePanelAndAClearedToolTipEmptiesTheIcons) {
    TrayShell shell;
    QSignalSpy toggled(&shell, &TrayShell::togglePanelRequested);
    shell.showIcon();
    auto* icon = shell.findChild<QSystemTrayIcon*>();
    ASSERT_NE(icon, nullptr);
    shell.setToolTip(u"Email"_s);
    EXPECT_EQ(icon->toolTip(), u"Email"_s);
    shell.setToolTip(std::nullopt);
    EXPECT_TRUE(icon->toolTip().isEmpty());
    for (auto reason : {QSystemTrayIcon::Trigger, QSystemTrayIcon::DoubleClick,
                        QSystemTrayIcon::MiddleClick, QSystemTrayIcon::Context})
        Q_EMIT icon->activated(reason);
    EXPECT_EQ(toggled.count(), 3);
}

TEST(PanelPlacement, HangsFromTheIconOnItsSideOfTheScreenOrSitsInTheCorner) {
    const QRect screen(0, 0, 1920, 1080);
    const QRect bottomBar(0, 0, 1920, 1040);
    const QSize panel(340, 560);

    // An icon in a top bar near the right edge: below it, pushed back inside the screen.
    EXPECT_EQ(panelPosition(panel, {QRect(1880, 2, 24, 24), {}}, screen, QRect(0, 28, 1920, 1052)),
              QPoint(1580, 30));
    // An icon in a bottom panel: above it, centred on it.
    EXPECT_EQ(panelPosition(panel, {QRect(1700, 1050, 24, 24), {}}, screen, bottomBar),
              QPoint(1711 - 170, 480));
    // Only the pointer known (StatusNotifierItem on X11).
    EXPECT_EQ(panelPosition(panel, {{}, QPoint(1000, 1060)}, screen, bottomBar), QPoint(830, 480));

    // Nothing known: the corner beside the desktop's panel.
    EXPECT_EQ(panelPosition(panel, {}, screen, QRect(0, 32, 1920, 1048)), QPoint(1576, 36));
    EXPECT_EQ(panelPosition(panel, {}, screen, bottomBar), QPoint(1576, 476));
    EXPECT_EQ(panelPosition(panel, {}, screen, screen), QPoint(1576, 4));
    // A screen smaller than the panel still shows its top-left corner.
    EXPECT_EQ(panelPosition(panel, {}, QRect(0, 0, 300, 400), QRect(0, 0, 300, 400)), QPoint(0, 0));
}

// (That the icon's own click does not reopen the popup it closes is walked on the desktop.)
TEST(PanelWindow, ContentIsMadeOnFirstOpenOnly) {
    int made = 0;
    PanelWindow panel(PanelWindow::Style::popup, [&](QWidget* parent) {
        ++made;
        return new QWidget(parent);
    });
    EXPECT_EQ(made, 0);
    panel.toggle({});
    EXPECT_EQ(std::pair(panel.isVisible(), made), std::pair(true, 1));
    panel.hide();
    QTest::qWait(350); // past the guard against the icon's own click
    panel.toggle({});
    EXPECT_EQ(std::pair(panel.isVisible(), made), std::pair(true, 1));
}

// The hand-over to a running first start is proven on the real program; here, that the lock
// goes with the program holding it and that asking then reaches nobody.
TEST(SingleInstance, TheLockOutlivesNoOneAndNobodyAnswersOnceItsHolderHasGone) {
    test::TempDataDir runtime;
    auto first = std::make_unique<SingleInstance>(runtime.path());
    ASSERT_TRUE(first->tryBecomePrimary());
    EXPECT_FALSE(SingleInstance(runtime.path()).tryBecomePrimary());
    first.reset();
    EXPECT_TRUE(SingleInstance(runtime.path()).tryBecomePrimary());
    EXPECT_FALSE(SingleInstance(runtime.path()).askPrimaryToOpen(200));
}
