#include "desktop/DBusCalls.h"
#include "desktop/DoNotDisturb.h"

namespace quillmere {

std::unique_ptr<DoNotDisturb> doNotDisturbNamed(const QString& name, const QDBusConnection& bus) {
    if (name == u"dunst")
        return makeDunstDoNotDisturb(bus);
    if (name == u"Plasma")
        return makePlasmaDoNotDisturb(bus);
    if (name == u"gnome-shell")
        return makeGnomeDoNotDisturb();
    if (name == u"Xfce Notify Daemon")
        return makeXfceDoNotDisturb(bus);
    if (name == u"mako")
        return makeMakoDoNotDisturb(bus);
    if (name == u"SwayNotificationCenter")
        return makeSwayncDoNotDisturb(bus);
    return nullptr;
}

// Every notification server answers `GetServerInformation` with its own name, whichever
// process it runs in (GNOME's lives inside the shell), so that name picks the backend.
std::unique_ptr<DoNotDisturb> findDoNotDisturb(const QDBusConnection& bus) {
    if (!bus.isConnected())
        return nullptr;
    const auto reply = dbusCalls::call(bus, QStringLiteral("org.freedesktop.Notifications"),
                                       QStringLiteral("/org/freedesktop/Notifications"),
                                       QStringLiteral("org.freedesktop.Notifications"),
                                       QStringLiteral("GetServerInformation"));
    if (!reply || reply->isEmpty())
        return nullptr;
    auto backend = doNotDisturbNamed(reply->front().toString(), bus);
    // A server we know whose switch does not answer (GNOME without its schema) cannot be used.
    if (backend && !backend->isOn())
        return nullptr;
    return backend;
}

} // namespace quillmere
