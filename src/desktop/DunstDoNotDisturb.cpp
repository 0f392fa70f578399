#include "desktop/DBusCalls.h"
#include "desktop/DoNotDisturb.h"

namespace quillmere {

namespace {

// dunst pauses on its own command interface, beside the standard one on the same name.
class DunstDoNotDisturb final : public DoNotDisturb {
public:
    explicit DunstDoNotDisturb(const QDBusConnection& bus) : m_bus(bus) {}

    QString name() const override { return QStringLiteral("dunst"); }

    std::optional<bool> isOn() override {
        return dbusCalls::boolOf(
            dbusCalls::property(m_bus, service(), path(), interface(), QStringLiteral("paused")));
    }

    bool setOn(bool on) override {
        return dbusCalls::setProperty(m_bus, service(), path(), interface(),
                                      QStringLiteral("paused"), on);
    }

private:
    static QString service() { return QStringLiteral("org.freedesktop.Notifications"); }
    static QString path() { return QStringLiteral("/org/freedesktop/Notifications"); }
    static QString interface() { return QStringLiteral("org.dunstproject.cmd0"); }

    QDBusConnection m_bus;
};

} // namespace

std::unique_ptr<DoNotDisturb> makeDunstDoNotDisturb(const QDBusConnection& bus) {
    return std::make_unique<DunstDoNotDisturb>(bus);
}

} // namespace quillmere
