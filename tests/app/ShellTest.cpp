#include "app/PanelPlacement.h"
#include "app/PanelWindow.h"
#include "app/SingleInstance.h"
#include "app/StatusIcon.h"
#include "app/TrayShell.h"
#include "ui/KindColors.h"

#include "support/TempDataDir.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

using namespace quillmere;

namespace {

bool isTransparent(const QImage& img, int x, int y) {
    return img.pixelColor(x, y).alpha() == 0;
}

} // namespace

TEST(StatusIcon, BarsAreSolidInTheKindColourAtEveryPixelRatioAndIdleFollowsThePalette) {
    for (qreal dpr : {1.0, 2.0, 3.0}) {
        SCOPED_TRACE(dpr);
        const int side = static_cast<int>(20 * dpr);
        for (const WorkKind kind : {WorkKind::deep, WorkKind::shallow}) {
            const QImage bar = StatusIcon::render(StatusIcon::imageFor(kind), 20, dpr, Qt::black);
            ASSERT_EQ(bar.width(), side);
            EXPECT_EQ(bar.pixelColor(side / 2, side / 2).rgba(), ui::kindColor(kind).rgba());
            // The bar is half as tall as it is wide, and solid right up to its edges: no edge
            // is blurrier than one pixel.
            EXPECT_TRUE(isTransparent(bar, side / 2, static_cast<int>(4 * dpr)));
            EXPECT_TRUE(isTransparent(bar, side / 2, static_cast<int>(16 * dpr)));
            EXPECT_EQ(bar.pixelColor(side / 2, static_cast<int>(6 * dpr)).alpha(), 255);
            EXPECT_EQ(bar.pixelColor(side / 2, static_cast<int>(14 * dpr) - 1).alpha(), 255);
        }
    }
    // Idle is a hollow outline in the colour the desktop's palette asks for.
    const QImage light = StatusIcon::render(StatusIcon::Image::idle, 20, 2.0, Qt::black);
    const QImage dark = StatusIcon::render(StatusIcon::Image::idle, 20, 2.0, Qt::white);
    EXPECT_TRUE(isTransparent(light, 20, 20));
    EXPECT_GT(light.pixelColor(20, 12).alpha(), 200);
    EXPECT_LT(light.pixelColor(20, 12).red(), 30);
    EXPECT_GT(dark.pixelColor(20, 12).red(), 225);

    // Drawn, the outline is light on GNOME's always dark bar and elsewhere follows the scheme.
    const QPalette lightPalette(Qt::black, Qt::white);
    const QPalette darkPalette(Qt::white, Qt::black);
    const struct {
        const char* desktops;
        const QPalette& palette;
        bool light;
    } outlines[] = {
        {"ubuntu:GNOME", lightPalette, true},
        {"GNOME", darkPalette, true},
        {"KDE", lightPalette, false},
        {"KDE", darkPalette, true},
        {"", lightPalette, false},
        {"GNOME-Flashback:Unity", lightPalette, false},
    };
    for (const auto& o : outlines) {
        SCOPED_TRACE(o.desktops);
        const QColor c = StatusIcon::outlineColor(QString::fromLatin1(o.desktops), o.palette);
        EXPECT_EQ(c.lightnessF() > 0.5f, o.light);
    }
}

TEST(StatusIcon, TheIdleIconIsNamedForTheTrayOnlyOnceItsSymbolIsInstalled) {
    QTemporaryDir data;
    const QByteArray oldHome = qgetenv("XDG_DATA_HOME");
    const QByteArray oldDirs = qgetenv("XDG_DATA_DIRS");
    qputenv("XDG_DATA_HOME", QFile::encodeName(data.filePath(QStringLiteral("home"))));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(data.path()));
    EXPECT_TRUE(StatusIcon::icon(StatusIcon::Image::idle).name().isEmpty());

    const QString folder = data.filePath(QStringLiteral("icons/hicolor/symbolic/apps"));
    ASSERT_TRUE(QDir().mkpath(folder));
    QFile svg(folder + u'/' + StatusIcon::idleIconName + QStringLiteral(".svg"));
    ASSERT_TRUE(svg.open(QIODevice::WriteOnly));
    svg.close();
    EXPECT_EQ(StatusIcon::icon(StatusIcon::Image::idle).name(), StatusIcon::idleIconName);
    // The bars keep their colours: a tinting host must never be given them by name.
    EXPECT_TRUE(StatusIcon::icon(StatusIcon::Image::deep).name().isEmpty());
    EXPECT_TRUE(StatusIcon::icon(StatusIcon::Image::shallow).name().isEmpty());
    qputenv("XDG_DATA_HOME", oldHome);
    qputenv("XDG_DATA_DIRS", oldDirs);
}

TEST(TrayShell, RemembersImageAndTooltipUntilTheIconExistsAndOpensFromItsMenu) {
    TrayShell shell;
    shell.setCurrentKind(WorkKind::shallow);
    shell.setToolTip(QStringLiteral("Email"));
    EXPECT_FALSE(shell.hasIcon());
    QSignalSpy opened(&shell, &TrayShell::openPanelRequested);
    QSignalSpy toggled(&shell, &TrayShell::togglePanelRequested);
    shell.showIcon();
    auto* icon = shell.findChild<QSystemTrayIcon*>();
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ(shell.image(), StatusIcon::Image::shallow);
    EXPECT_EQ(icon->toolTip(), QStringLiteral("Email"));
    shell.setToolTip(std::nullopt);
    EXPECT_TRUE(icon->toolTip().isEmpty());

    icon->contextMenu()->actions().first()->trigger();
    EXPECT_EQ(opened.count(), 1);
    for (auto reason : {QSystemTrayIcon::Trigger, QSystemTrayIcon::DoubleClick,
                        QSystemTrayIcon::MiddleClick, QSystemTrayIcon::Context})
        Q_EMIT icon->activated(reason);
    EXPECT_EQ(toggled.count(), 3);
}

TEST(PanelPlacement, HangsFromTheIconOnItsSideOfTheScreenOrSitsInTheCorner) {
    const QRect screen(0, 0, 1920, 1080);
    const QRect topBar(0, 28, 1920, 1052);
    const QSize panel(340, 560);

    // An icon in a top bar near the right edge: below it, pushed back inside the screen.
    PanelAnchor top{QRect(1880, 2, 24, 24), std::nullopt};
    EXPECT_EQ(panelPosition(panel, top, screen, topBar), QPoint(1920 - 340, 30));

    // An icon in a bottom panel: above it.
    const QRect bottomBar(0, 0, 1920, 1040);
    PanelAnchor bottom{QRect(1700, 1050, 24, 24), std::nullopt};
    EXPECT_EQ(panelPosition(panel, bottom, screen, bottomBar),
              QPoint(bottom.iconGeometry->center().x() - 170, 1040 - 560));

    // Only the pointer known (StatusNotifierItem on X11).
    PanelAnchor pointer{std::nullopt, QPoint(1000, 1060)};
    EXPECT_EQ(panelPosition(panel, pointer, screen, bottomBar), QPoint(830, 1040 - 560));

    // Nothing known: the corner beside the desktop's panel.
    EXPECT_EQ(panelPosition(panel, {}, screen, QRect(0, 32, 1920, 1048)), QPoint(1576, 36));
    EXPECT_EQ(panelPosition(panel, {}, screen, QRect(0, 0, 1920, 1040)), QPoint(1576, 476));
    EXPECT_EQ(panelPosition(panel, {}, screen, screen), QPoint(1576, 4));
    // A screen smaller than the panel still shows its top-left corner.
    EXPECT_EQ(panelPosition(panel, {}, QRect(0, 0, 300, 400), QRect(0, 0, 300, 400)), QPoint(0, 0));
}

TEST(PanelWindow, ContentIsMadeOnFirstOpenAndTheIconsClickDoesNotReopenIt) {
    int made = 0;
    PanelWindow panel(PanelWindow::Style::popup, [&](QWidget* parent) {
        ++made;
        return new QWidget(parent);
    });
    EXPECT_EQ(made, 0);
    panel.toggle({});
    EXPECT_TRUE(panel.isVisible());
    panel.hide();     // the press on the icon is a click outside the popup…
    panel.toggle({}); // …and its activation follows at once
    EXPECT_FALSE(panel.isVisible());
    QTest::qWait(350); // past the guard, however slow the machine
    panel.toggle({});
    EXPECT_TRUE(panel.isVisible());
    panel.toggle({});
    EXPECT_FALSE(panel.isVisible());
    EXPECT_EQ(made, 1);
}

TEST(SingleInstance, ASecondStartReachesTheFirstAndTheLockOutlivesNoOne) {
    test::TempDataDir runtime;
    auto first = std::make_unique<SingleInstance>(runtime.path());
    ASSERT_TRUE(first->tryBecomePrimary());
    QSignalSpy opened(first.get(), &SingleInstance::openRequested);

    SingleInstance second(runtime.path());
    EXPECT_FALSE(second.tryBecomePrimary());
    EXPECT_TRUE(second.askPrimaryToOpen());
    EXPECT_TRUE(opened.wait(10000));
    EXPECT_EQ(opened.count(), 1);

    first.reset();
    SingleInstance third(runtime.path());
    EXPECT_TRUE(third.tryBecomePrimary());

    test::TempDataDir empty;
    SingleInstance lonely(empty.path());
    EXPECT_FALSE(lonely.askPrimaryToOpen(200));
}
