#include "ui/ColorScheme.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillmere::ui {

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorSchemeKey = QStringLiteral("color-scheme");

// The portal's values: 0 no preference, 1 dark, 2 light; anything else is no preference.
std::optional<ColorScheme> preferenceFrom(const QVariant& value) {
    QVariant v = value;
    // Read (the older call) wraps the value in one more variant than ReadOne does.
    while (v.canConvert<QDBusVariant>() && v.userType() == qMetaTypeId<QDBusVariant>())
        v = v.value<QDBusVariant>().variant();
    bool ok = false;
    const uint code = v.toUInt(&ok);
    if (!ok)
        return std::nullopt;
    if (code == 1)
        return ColorScheme::dark;
    if (code == 2)
        return ColorScheme::light;
    return std::nullopt;
}

// The platform's palette, with captions (drawn in the placeholder colour) moved towards the
// text colour until they reach 4.5:1 against the window: some themes fade them further.
QPalette withLegibleCaptions(QPalette palette) {
    const QColor window = palette.color(QPalette::Window);
    const QColor ink = palette.color(QPalette::WindowText);
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        const QColor quiet = palette.color(group, QPalette::PlaceholderText);
        // As it shows on the window: what a translucent colour really gives.
        const float a = quiet.alphaF();
        QColor shown = QColor::fromRgbF(quiet.redF() * a + window.redF() * (1 - a),
                                        quiet.greenF() * a + window.greenF() * (1 - a),
                                        quiet.blueF() * a + window.blueF() * (1 - a));
        const QColor start = shown;
        for (float t = 0.1f; contrastRatio(shown, window) < 4.5 && t <= 1.0f; t += 0.1f) {
            shown = QColor::fromRgbF(start.redF() + (ink.redF() - start.redF()) * t,
                                     start.greenF() + (ink.greenF() - start.greenF()) * t,
                                     start.blueF() + (ink.blueF() - start.blueF()) * t);
        }
        palette.setColor(group, QPalette::PlaceholderText, shown);
    }
    return palette;
}

} // namespace

double contrastRatio(const QColor& a, const QColor& b) {
    auto luminance = [](const QColor& c) {
        auto channel = [](double v) {
            return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) +
               0.0722 * channel(c.blueF());
    };
    const double la = luminance(a);
    const double lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

ColorScheme schemeOf(const QPalette& palette) {
    return palette.color(QPalette::Window).lightnessF() <
                   palette.color(QPalette::WindowText).lightnessF()
               ? ColorScheme::dark
               : ColorScheme::light;
}

QPalette schemePalette(ColorScheme scheme) {
    const bool dark = scheme == ColorScheme::dark;
    const QColor window = dark ? QColor(0x2a, 0x2a, 0x2a) : QColor(0xf0, 0xf0, 0xf0);
    const QColor ink = dark ? QColor(0xec, 0xec, 0xec) : QColor(0x1d, 0x1d, 0x1d);
    const QColor base = dark ? QColor(0x1f, 0x1f, 0x1f) : QColor(0xff, 0xff, 0xff);
    const QColor button = dark ? QColor(0x3a, 0x3a, 0x3a) : QColor(0xf6, 0xf6, 0xf6);
    const QColor quiet = dark ? QColor(0xa8, 0xa8, 0xa8) : QColor(0x5f, 0x5f, 0x5f);
    const QColor accent = dark ? QColor(0x2a, 0x6f, 0xd6) : QColor(0x1f, 0x6b, 0xd1);

    QPalette p(ink, button, button.lighter(dark ? 130 : 110), button.darker(dark ? 130 : 160),
               button.darker(dark ? 115 : 125), ink, Qt::white, base, window);
    p.setColor(QPalette::AlternateBase, dark ? QColor(0x26, 0x26, 0x26) : QColor(0xf7, 0xf7, 0xf7));
    p.setColor(QPalette::Shadow, Qt::black);
    p.setColor(QPalette::PlaceholderText, quiet);
    p.setColor(QPalette::Highlight, accent);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, accent);
    p.setColor(QPalette::LinkVisited, accent.darker(120));
    p.setColor(QPalette::ToolTipBase, base);
    p.setColor(QPalette::ToolTipText, ink);
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, quiet);
    p.setColor(QPalette::Disabled, QPalette::PlaceholderText,
               dark ? QColor(0x80, 0x80, 0x80) : QColor(0x8a, 0x8a, 0x8a));
    return p;
}

ColorSchemeFollower::ColorSchemeFollower(QDBusConnection bus, QObject* parent)
    : QObject(parent), m_platform(withLegibleCaptions(QGuiApplication::palette())),
      m_scheme(schemeOf(m_platform)) {
    follow({});
    if (!bus.isConnected())
        return;
    bus.connect(portalService, portalPath, settingsInterface, QStringLiteral("SettingChanged"),
                this, SLOT(onSettingChanged(QDBusMessage)));
    ask(bus, QStringLiteral("ReadOne"));
}

// Asked without waiting: a portal that starts slowly must not hold up the panel.
void ColorSchemeFollower::ask(QDBusConnection bus, const QString& method) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface, method);
    call << appearance << colorSchemeKey;
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, bus, method](QDBusPendingCallWatcher* w) {
                w->deleteLater();
                const QDBusPendingReply<QDBusVariant> reply = *w;
                if (!reply.isError())
                    follow(reply.value().variant());
                else if (method == QLatin1String("ReadOne"))
                    // Portals older than ReadOne still answer Read.
                    ask(bus, QStringLiteral("Read"));
            });
}

void ColorSchemeFollower::onSettingChanged(const QDBusMessage& message) {
    const QVariantList args = message.arguments();
    if (args.size() == 3 && args[0].toString() == appearance &&
        args[1].toString() == colorSchemeKey)
        follow(args[2]);
}

void ColorSchemeFollower::follow(const QVariant& portalValue) {
    const ColorScheme platform = schemeOf(m_platform);
    const ColorScheme wanted = preferenceFrom(portalValue).value_or(platform);
    // The platform's own palette, with whatever the user's theme put in it, where it fits.
    const QPalette next = wanted == platform ? m_platform : schemePalette(wanted);
    if (QGuiApplication::palette() != next)
        QGuiApplication::setPalette(next);
    if (std::exchange(m_scheme, wanted) != wanted)
        Q_EMIT schemeChanged(wanted);
}

} // namespace quillmere::ui
