#pragma once

#include "app/PanelWindow.h"
#include "app/TrayHostWaiter.h"
#include "app/TrayShell.h"
#include "model/AppClock.h"
#include "model/WallClock.h"

#include <QObject>

#include <memory>
#include <optional>

namespace quillmere {

class BlockStore;
class FocusAids;
class QuietDesktop;
class StatsLauncher;

// The composition root: one clock, the focus aids, one store for the life of the process, the
// tray icon and the panel (made the first time it opens).
class QuillmereApp final : public QObject {
    Q_OBJECT

public:
    // `folder` replaces the per-user data folder (tests and tools only).
    explicit QuillmereApp(const WallClock& wallClock, std::optional<QString> folder = std::nullopt,
                          QObject* parent = nullptr);
    ~QuillmereApp() override;

    // Loads the store (which starts the clock), then shows the tray icon once a tray host is
    // there, or the panel as a window when there is none.
    void start(int trayGraceMs = TrayHostWaiter::defaultGraceMs);
    // A second start asked for the panel; before the panel exists (while waiting for a tray)
    // it opens as soon as it does.
    void openPanel();
    // Closes the tray's popup; the window of a desktop without a tray is the program and stays.
    void closePanel();

    BlockStore& store() const { return *m_store; }
    AppClock& clock() { return m_clock; }
    TrayShell& shell() { return m_shell; }
    PanelWindow* panel() const { return m_panel.get(); }
    StatsLauncher* statistics() const { return m_stats.get(); }
    bool isStarted() const { return m_store != nullptr; }

private:
    void showPresence();

    AppClock m_clock;
    std::optional<QString> m_folder;
    TrayShell m_shell;
    // Outlives the aids that use it; going, it puts the desktop's do-not-disturb back.
    std::unique_ptr<QuietDesktop> m_quiet;
    std::unique_ptr<FocusAids> m_aids;
    std::unique_ptr<BlockStore> m_store;
    TrayHostWaiter m_waiter;
    std::unique_ptr<PanelWindow> m_panel;
    bool m_openRequested = false;
    std::unique_ptr<StatsLauncher> m_stats;
};

} // namespace quillmere
