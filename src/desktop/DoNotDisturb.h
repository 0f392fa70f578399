#pragma once

#include <QDBusConnection>
#include <QString>

#include <memory>
#include <optional>

namespace quillmere {

// One notification server's do-not-disturb switch. Each server keeps it its own way, so each
// has a backend of its own; they all read and write the server's state directly, with no
// state of their own beyond what a server hands back (a Plasma inhibition cookie).
class DoNotDisturb {
public:
    virtual ~DoNotDisturb() = default;

    // The server's name as it is recorded in the data folder and found again after a crash.
    virtual QString name() const = 0;
    // Whether banners are held back now; nothing when the server does not answer.
    virtual std::optional<bool> isOn() = 0;
    // Returns whether the server took the change.
    virtual bool setOn(bool on) = 0;
};

// The backends, by the server's own name for itself (as `GetServerInformation` gives it).
std::unique_ptr<DoNotDisturb> makeDunstDoNotDisturb(const QDBusConnection& bus);
std::unique_ptr<DoNotDisturb> makePlasmaDoNotDisturb(const QDBusConnection& bus);
std::unique_ptr<DoNotDisturb> makeGnomeDoNotDisturb();
std::unique_ptr<DoNotDisturb> makeXfceDoNotDisturb(const QDBusConnection& bus);
std::unique_ptr<DoNotDisturb> makeMakoDoNotDisturb(const QDBusConnection& bus);
std::unique_ptr<DoNotDisturb> makeSwayncDoNotDisturb(const QDBusConnection& bus);

// The backend for a recorded name; nothing for a name this program does not know.
std::unique_ptr<DoNotDisturb> doNotDisturbNamed(const QString& name, const QDBusConnection& bus);
// The backend of the notification server running on this bus; nothing when none runs or
// this program cannot switch it.
std::unique_ptr<DoNotDisturb> findDoNotDisturb(const QDBusConnection& bus);

} // namespace quillmere
