#pragma once

#include <QObject>

#include <functional>

class QTimer;

namespace quillmere {

// At a login start the program may come up before the desktop's tray. Qt decides once, when
// the first tray icon is made, whether a StatusNotifierItem host exists, so while there is no
// tray of either kind (no StatusNotifierWatcher on the session bus, no XEmbed tray manager on
// the X display) the icon is made only once one appears, or after a grace period.
class TrayHostWaiter final : public QObject {
    Q_OBJECT

public:
    static constexpr int defaultGraceMs = 10000;
    // How often the X display is asked for a tray manager while waiting.
    static constexpr int xembedPollMs = 200;

    explicit TrayHostWaiter(QObject* parent = nullptr);

    // Calls `ready` once: at once when a tray is there already or waiting cannot help (no
    // session bus, a platform without any tray), else when a tray appears or the grace ends.
    void wait(std::function<void()> ready, int graceMs = defaultGraceMs);

    static bool isWatcherRegistered();
    // An XEmbed tray manager owns the screen's `_NET_SYSTEM_TRAY_S<n>` selection.
    static bool isXEmbedTrayPresent();

private:
    void finish();

    std::function<void()> m_ready;
    QTimer* m_grace = nullptr;
    QTimer* m_xembedPoll = nullptr;
};

} // namespace quillmere
