#include "app/TrayHostWaiter.h"

#include "ui/X11Selection.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QTimer>

namespace quillmere {

namespace {
const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");

bool platformHasNoTray() {
    const QString name = QGuiApplication::platformName();
    return name == u"offscreen" || name == u"minimal";
}
} // namespace

TrayHostWaiter::TrayHostWaiter(QObject* parent) : QObject(parent) {}

bool TrayHostWaiter::isWatcherRegistered() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface() &&
           bus.interface()->isServiceRegistered(watcherService).value();
}

bool TrayHostWaiter::isXEmbedTrayPresent() {
    return ui::x11SelectionOwned(ui::x11ScreenSelection("_NET_SYSTEM_TRAY_S"));
}

void TrayHostWaiter::wait(std::function<void()> ready, int graceMs) {
    m_ready = std::move(ready);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (platformHasNoTray() || !bus.isConnected() || isXEmbedTrayPresent() ||
        isWatcherRegistered()) {
        finish();
        return;
    }
    auto* watcher = new QDBusServiceWatcher(watcherService, bus,
                                            QDBusServiceWatcher::WatchForRegistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { finish(); });
    // A tray manager announces itself only to clients that watch the root window; asking a few
    // times a second for the few seconds of the wait is simpler and costs nothing afterwards.
    if (QGuiApplication::platformName() == u"xcb") {
        m_xembedPoll = new QTimer(this);
        connect(m_xembedPoll, &QTimer::timeout, this, [this] {
            if (isXEmbedTrayPresent())
                finish();
        });
        m_xembedPoll->start(xembedPollMs);
    }
    m_grace = new QTimer(this);
    m_grace->setSingleShot(true);
    connect(m_grace, &QTimer::timeout, this, [this] { finish(); });
    m_grace->start(graceMs);
}

void TrayHostWaiter::finish() {
    if (m_grace)
        m_grace->stop();
    if (m_xembedPoll)
        m_xembedPoll->stop();
    if (auto ready = std::exchange(m_ready, nullptr))
        ready();
}

} // namespace quillmere
