#include "desktop/DoNotDisturb.h"

#include <gio/gio.h>

namespace quillmere {

namespace {

constexpr const char* schemaId = "org.gnome.desktop.notifications";
constexpr const char* showBanners = "show-banners";

// GNOME keeps do-not-disturb as a setting: banners are off while `show-banners` is false.
// GSettings aborts the program on a schema it does not have, so the schema is looked up first.
class GnomeDoNotDisturb final : public DoNotDisturb {
public:
    GnomeDoNotDisturb() {
        GSettingsSchemaSource* source = g_settings_schema_source_get_default();
        GSettingsSchema* schema =
            source ? g_settings_schema_source_lookup(source, schemaId, TRUE) : nullptr;
        if (!schema)
            return;
        if (g_settings_schema_has_key(schema, showBanners))
            m_settings = g_settings_new(schemaId);
        g_settings_schema_unref(schema);
    }
    ~GnomeDoNotDisturb() override {
        if (m_settings)
            g_object_unref(m_settings);
    }
    GnomeDoNotDisturb(const GnomeDoNotDisturb&) = delete;
    GnomeDoNotDisturb& operator=(const GnomeDoNotDisturb&) = delete;

    QString name() const override { return QStringLiteral("gnome-shell"); }

    std::optional<bool> isOn() override {
        if (!m_settings)
            return std::nullopt;
        return !g_settings_get_boolean(m_settings, showBanners);
    }

    bool setOn(bool on) override {
        if (!m_settings || !g_settings_set_boolean(m_settings, showBanners, !on))
            return false;
        // The write is queued to the settings daemon; without this an exit right after would
        // lose it.
        g_settings_sync();
        return true;
    }

private:
    GSettings* m_settings = nullptr;
};

} // namespace

std::unique_ptr<DoNotDisturb> makeGnomeDoNotDisturb() {
    return std::make_unique<GnomeDoNotDisturb>();
}

} // namespace quillmere
