#include "desktop/DBusCalls.h"
#include "desktop/DoNotDisturb.h"

namespace quillmere {

namespace {

// SwayNotificationCenter's control centre has its own name and a plain switch.
class SwayncDoNotDisturb final : public DoNotDisturb {
public:
    explicit SwayncDoNotDisturb(const QDBusConnection& bus) : m_bus(bus) {}

    QString name() const override { return QStringLiteral("SwayNotificationCenter"); }

    std::optional<bool> isOn() override {
        const auto reply = centre(QStringLiteral("GetDnd"), {});
        if (!reply || reply->isEmpty())
            return std::nullopt;
        return dbusCalls::boolOf(reply->front());
    }

    bool setOn(bool on) override { return centre(QStringLiteral("SetDnd"), {on}).has_value(); }

private:
    std::optional<QVariantList> centre(const QString& method, const QVariantList& args) {
        return dbusCalls::call(m_bus, QStringLiteral("org.erikreider.swaync.cc"),
                               QStringLiteral("/org/erikreider/swaync/cc"),
                               QStringLiteral("org.erikreider.swaync.cc"), method, args);
    }

    QDBusConnection m_bus;
};

} // namespace

std::unique_ptr<DoNotDisturb> makeSwayncDoNotDisturb(const QDBusConnection& bus) {
    return std::make_unique<SwayncDoNotDisturb>(bus);
}

} // namespace quillmere
