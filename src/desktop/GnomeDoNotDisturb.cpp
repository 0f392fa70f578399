#include "desktop/DoNotDisturb.h"

#include <QLibrary>

#include <gio/gio.h>

#include <type_traits>

namespace quillmere {

namespace {

constexpr const char* schemaId = "org.gnome.desktop.notifications";
constexpr const char* showBanners = "show-banners";

// GIO is loaded only where GNOME's switch is used, rather than by every start on every desktop.
struct Gio {
    decltype(&g_settings_schema_source_get_default) sourceGetDefault = nullptr;
    decltype(&g_settings_schema_source_lookup) sourceLookup = nullptr;
    decltype(&g_settings_schema_has_key) schemaHasKey = nullptr;
    decltype(&g_settings_schema_unref) schemaUnref = nullptr;
    decltype(&g_settings_new) settingsNew = nullptr;
    decltype(&g_settings_get_boolean) getBoolean = nullptr;
    decltype(&g_settings_set_boolean) setBoolean = nullptr;
    decltype(&g_settings_sync) sync = nullptr;
    decltype(&g_object_unref) objectUnref = nullptr;

    static const Gio* get() {
        static const Gio gio = load();
        return gio.objectUnref ? &gio : nullptr;
    }

private:
    static Gio load() {
        // Kept loaded: GLib's type system cannot be unloaded.
        QLibrary library(QStringLiteral("gio-2.0"), 0);
        library.setLoadHints(QLibrary::PreventUnloadHint);
        Gio gio;
        const auto resolve = [&library](auto& function, const char* name) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                library.resolve(name));
            return function != nullptr;
        };
        if (!(resolve(gio.sourceGetDefault, "g_settings_schema_source_get_default") &&
              resolve(gio.sourceLookup, "g_settings_schema_source_lookup") &&
              resolve(gio.schemaHasKey, "g_settings_schema_has_key") &&
              resolve(gio.schemaUnref, "g_settings_schema_unref") &&
              resolve(gio.settingsNew, "g_settings_new") &&
              resolve(gio.getBoolean, "g_settings_get_boolean") &&
              resolve(gio.setBoolean, "g_settings_set_boolean") &&
              resolve(gio.sync, "g_settings_sync") && resolve(gio.objectUnref, "g_object_unref")))
            gio.objectUnref = nullptr;
        return gio;
    }
};

// GNOME keeps do-not-disturb as a setting: banners are off while `show-banners` is false.
// GSettings aborts the program on a schema it does not have, so the schema is looked up first.
class GnomeDoNotDisturb final : public DoNotDisturb {
public:
    GnomeDoNotDisturb() : m_gio(Gio::get()) {
        if (!m_gio)
            return;
        GSettingsSchemaSource* source = m_gio->sourceGetDefault();
        GSettingsSchema* schema = source ? m_gio->sourceLookup(source, schemaId, TRUE) : nullptr;
        if (!schema)
            return;
        if (m_gio->schemaHasKey(schema, showBanners))
            m_settings = m_gio->settingsNew(schemaId);
        m_gio->schemaUnref(schema);
    }
    ~GnomeDoNotDisturb() override {
        if (m_settings)
            m_gio->objectUnref(m_settings);
    }
    GnomeDoNotDisturb(const GnomeDoNotDisturb&) = delete;
    GnomeDoNotDisturb& operator=(const GnomeDoNotDisturb&) = delete;

    QString name() const override { return QStringLiteral("gnome-shell"); }

    std::optional<bool> isOn() override {
        if (!m_settings)
            return std::nullopt;
        return !m_gio->getBoolean(m_settings, showBanners);
    }

    bool setOn(bool on) override {
        if (!m_settings || !m_gio->setBoolean(m_settings, showBanners, !on))
            return false;
        // The write is queued to the settings daemon; without this an exit right after would
        // lose it.
        m_gio->sync();
        return true;
    }

private:
    const Gio* m_gio;
    GSettings* m_settings = nullptr;
};

} // namespace

std::unique_ptr<DoNotDisturb> makeGnomeDoNotDisturb() {
    return std::make_unique<GnomeDoNotDisturb>();
}

} // namespace quillmere
