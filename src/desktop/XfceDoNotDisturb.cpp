#include "desktop/DBusCalls.h"
#include "desktop/DoNotDisturb.h"

#include <QDBusVariant>

namespace quillmere {

namespace {

// Xfce's notification daemon reads its do-not-disturb from the xfconf store, which it watches.
class XfceDoNotDisturb final : public DoNotDisturb {
public:
    explicit XfceDoNotDisturb(const QDBusConnection& bus) : m_bus(bus) {}

    QString name() const override { return QStringLiteral("Xfce Notify Daemon"); }

    std::optional<bool> isOn() override {
        const auto reply = xfconf(QStringLiteral("GetProperty"), {channel(), property()});
        // A property never set reads as an error: the daemon's default, off.
        if (!reply)
            return propertyExists() ? std::nullopt : std::optional<bool>(false);
        if (reply->isEmpty())
            return std::nullopt;
        return dbusCalls::boolOf(reply->front().value<QDBusVariant>().variant());
    }

    bool setOn(bool on) override {
        return xfconf(QStringLiteral("SetProperty"),
                      {channel(), property(), QVariant::fromValue(QDBusVariant(on))})
            .has_value();
    }

private:
    static QString channel() { return QStringLiteral("xfce4-notifyd"); }
    static QString property() { return QStringLiteral("/do-not-disturb"); }

    std::optional<QVariantList> xfconf(const QString& method, const QVariantList& args) {
        return dbusCalls::call(m_bus, QStringLiteral("org.xfce.Xfconf"),
                               QStringLiteral("/org/xfce/Xfconf"),
                               QStringLiteral("org.xfce.Xfconf"), method, args);
    }

    bool propertyExists() {
        const auto reply = xfconf(QStringLiteral("PropertyExists"), {channel(), property()});
        return !reply || reply->isEmpty() || reply->front().toBool();
    }

    QDBusConnection m_bus;
};

} // namespace

std::unique_ptr<DoNotDisturb> makeXfceDoNotDisturb(const QDBusConnection& bus) {
    return std::make_unique<XfceDoNotDisturb>(bus);
}

} // namespace quillmere
