#include "desktop/DBusCalls.h"
#include "desktop/DoNotDisturb.h"

#include <QCoreApplication>
#include <QVariantMap>

namespace quillmere {

namespace {

// Plasma's notification server holds banners back while any client holds an inhibition, and
// drops the inhibition by itself when that client leaves the bus: after a crash there is
// nothing left to undo.
class PlasmaDoNotDisturb final : public DoNotDisturb {
public:
    explicit PlasmaDoNotDisturb(const QDBusConnection& bus) : m_bus(bus) {}

    QString name() const override { return QStringLiteral("Plasma"); }

    std::optional<bool> isOn() override {
        return dbusCalls::boolOf(
            dbusCalls::property(m_bus, service(), path(), service(), QStringLiteral("Inhibited")));
    }

    bool setOn(bool on) override {
        if (on == m_cookie.has_value())
            return true;
        if (on) {
            const auto reply = dbusCalls::call(
                m_bus, service(), path(), service(), QStringLiteral("Inhibit"),
                {QCoreApplication::applicationName(), QStringLiteral("Deep work"), QVariantMap()});
            if (!reply || reply->isEmpty())
                return false;
            m_cookie = reply->front().toUInt();
            return true;
        }
        const bool done = dbusCalls::call(m_bus, service(), path(), service(),
                                          QStringLiteral("UnInhibit"), {*m_cookie})
                              .has_value();
        m_cookie.reset();
        return done;
    }

private:
    static QString service() { return QStringLiteral("org.freedesktop.Notifications"); }
    static QString path() { return QStringLiteral("/org/freedesktop/Notifications"); }

    QDBusConnection m_bus;
    std::optional<uint> m_cookie;
};

} // namespace

std::unique_ptr<DoNotDisturb> makePlasmaDoNotDisturb(const QDBusConnection& bus) {
    return std::make_unique<PlasmaDoNotDisturb>(bus);
}

} // namespace quillmere
