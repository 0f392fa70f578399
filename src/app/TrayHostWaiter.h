#pragma once

#include <QObject>

#include <functional>

class QTimer;

namespace quillmere {

// At a login start the program may come up before the desktop's tray host. Qt decides once,
// when the first tray icon is made, whether a StatusNotifierItem host exists, so the icon is
// made only once the host's watcher is on the session bus, or after a grace period.
class TrayHostWaiter final : public QObject {
    Q_OBJECT

public:
    static constexpr int defaultGraceMs = 10000;

    explicit TrayHostWaiter(QObject* parent = nullptr);

    // Calls `ready` once: at once when waiting cannot help (a host is there already, no session
    // bus, a platform without any tray), else when the watcher appears or the grace ends.
    void wait(std::function<void()> ready, int graceMs = defaultGraceMs);

    static bool isWatcherRegistered();

private:
    void finish();

    std::function<void()> m_ready;
    QTimer* m_grace = nullptr;
};

} // namespace quillmere
