#include "app/QuillmereApp.h"

#include "app/ScheduleView.h"
#include "app/ShellFocusAids.h"
#include "desktop/QuietDesktop.h"
#include "stats/StatsLauncher.h"
#include "store/BlockStore.h"

#include <QApplication>
#include <QSystemTrayIcon>

#include <utility>

namespace quillmere {

QuillmereApp::QuillmereApp(const WallClock& wallClock, std::optional<QString> folder,
                           QObject* parent)
    : QObject(parent), m_clock(wallClock), m_folder(std::move(folder)) {}

QuillmereApp::~QuillmereApp() {
    // The panel's views and the statistics window hold the store; they go first.
    m_panel.reset();
    m_stats.reset();
}

void QuillmereApp::start(int trayGraceMs) {
    if (m_store)
        return;
    m_aids = makeFocusAids(
        m_clock.wallClock(),
        [this](const std::optional<QString>& text) { m_shell.setToolTip(text); },
        [this] { return m_shell.iconGeometry(); });
    m_store = std::make_unique<BlockStore>(m_clock, *m_aids, m_folder);
    m_stats = std::make_unique<StatsLauncher>(*m_store, m_clock);
    // Made at every start, whatever the setting, so that a desktop left silenced by a crash is
    // put back.
    m_quiet = std::make_unique<QuietDesktop>(m_store->folder());
    attachSilencer(*m_aids, *m_quiet);
    m_shell.setCurrentKind(m_store->currentKind());
    connect(m_store.get(), &BlockStore::currentKindChanged, this,
            [this](std::optional<WorkKind> kind) { m_shell.setCurrentKind(kind); });
    m_waiter.wait([this] { showPresence(); }, trayGraceMs);
}

void QuillmereApp::showPresence() {
    const bool tray = QSystemTrayIcon::isSystemTrayAvailable();
    auto factory = [this](QWidget* parent) -> QWidget* {
        auto* view = new ScheduleView(*m_store, m_clock, parent);
        connect(view, &ScheduleView::statisticsRequested, m_stats.get(), &StatsLauncher::open);
        return view;
    };
    m_panel = std::make_unique<PanelWindow>(
        tray ? PanelWindow::Style::popup : PanelWindow::Style::window, factory);
    if (tray) {
        connect(&m_shell, &TrayShell::togglePanelRequested, m_panel.get(), &PanelWindow::toggle);
        connect(&m_shell, &TrayShell::openPanelRequested, m_panel.get(), &PanelWindow::open);
        m_shell.showIcon();
        // A second start during the wait asked for the panel: it gets it now.
        if (std::exchange(m_openRequested, false))
            openPanel();
    } else {
        // Without a tray the window is the program: closing it quits.
        QApplication::setQuitOnLastWindowClosed(true);
        m_panel->open({});
    }
}

void QuillmereApp::openPanel() {
    if (!m_panel) {
        // Still waiting for a tray: the request is kept until there is something to open.
        m_openRequested = true;
        return;
    }
    PanelAnchor anchor;
    anchor.iconGeometry = m_shell.iconGeometry();
    m_panel->open(anchor);
}

void QuillmereApp::closePanel() {
    m_openRequested = false;
    if (m_panel && m_panel->style() == PanelWindow::Style::popup)
        m_panel->hide();
}

} // namespace quillmere
