#include "desktop/DBusCalls.h"
#include "desktop/DoNotDisturb.h"

#include <QStringList>

namespace quillmere {

namespace {

// mako has no switch but modes: banners are held back while the user's configuration has a
// "do-not-disturb" mode active (mako's documented convention). Only that one mode is added or
// taken out; the user's other modes stay as they are.
class MakoDoNotDisturb final : public DoNotDisturb {
public:
    explicit MakoDoNotDisturb(const QDBusConnection& bus) : m_bus(bus) {}

    QString name() const override { return QStringLiteral("mako"); }

    std::optional<bool> isOn() override {
        const auto modes = activeModes();
        if (!modes)
            return std::nullopt;
        return modes->contains(mode());
    }

    bool setOn(bool on) override {
        auto modes = activeModes();
        if (!modes)
            return false;
        modes->removeAll(mode());
        if (on)
            modes->append(mode());
        return makoCall(QStringLiteral("SetModes"), {*modes}).has_value();
    }

private:
    static QString mode() { return QStringLiteral("do-not-disturb"); }

    std::optional<QStringList> activeModes() {
        const auto reply = makoCall(QStringLiteral("ListModes"), {});
        if (!reply || reply->isEmpty())
            return std::nullopt;
        return reply->front().toStringList();
    }

    std::optional<QVariantList> makoCall(const QString& method, const QVariantList& args) {
        return dbusCalls::call(m_bus, QStringLiteral("org.freedesktop.Notifications"),
                               QStringLiteral("/fr/emersion/Mako"),
                               QStringLiteral("fr.emersion.Mako"), method, args);
    }

    QDBusConnection m_bus;
};

} // namespace

std::unique_ptr<DoNotDisturb> makeMakoDoNotDisturb(const QDBusConnection& bus) {
    return std::make_unique<MakoDoNotDisturb>(bus);
}

} // namespace quillmere
