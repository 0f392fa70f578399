#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QPalette>

#include <optional>

namespace quillmere::ui {

enum class ColorScheme { light, dark };

// The contrast ratio of two opaque colours, from 1 (alike) to 21 (black on white), as the web's
// accessibility guidelines define it.
double contrastRatio(const QColor& a, const QColor& b);

// The scheme a palette shows: dark when its window is darker than its text.
ColorScheme schemeOf(const QPalette& palette);

// The program's own palette for a scheme, for when the desktop asks for the scheme the
// platform's palette is not. Captions (the placeholder colour) keep at least 4.5:1 against the
// window in both.
QPalette schemePalette(ColorScheme scheme);

// Keeps the application palette in step with the desktop's light or dark preference, read from
// the settings portal and followed as it changes. Without a portal, or with no preference, the
// platform's palette stays (with captions made legible) and its lightness is the scheme.
class ColorSchemeFollower final : public QObject {
    Q_OBJECT

public:
    explicit ColorSchemeFollower(QDBusConnection bus, QObject* parent = nullptr);

    ColorScheme scheme() const { return m_scheme; }

Q_SIGNALS:
    void schemeChanged(quillmere::ui::ColorScheme scheme);

public Q_SLOTS:
    // The portal's signal of a changed setting: namespace, key and value.
    void onSettingChanged(const QDBusMessage& message);

private:
    void ask(QDBusConnection bus, const QString& method);
    void follow(const QVariant& portalValue);

    QPalette m_platform;
    ColorScheme m_scheme;
};

} // namespace quillmere::ui
