#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QVariant>

#include <optional>

// Short blocking calls for the do-not-disturb backends. A server that hangs must not hang the
// program: every call gives up after a second.
namespace quillmere::dbusCalls {

inline constexpr int timeoutMs = 1000;

inline std::optional<QVariantList> call(const QDBusConnection& bus, const QString& service,
                                        const QString& path, const QString& interface,
                                        const QString& method, const QVariantList& args = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(args);
    const QDBusMessage reply = QDBusConnection(bus).call(message, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return std::nullopt;
    return reply.arguments();
}

inline std::optional<QVariant> property(const QDBusConnection& bus, const QString& service,
                                        const QString& path, const QString& interface,
                                        const QString& name) {
    const auto reply = call(bus, service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                            QStringLiteral("Get"), {interface, name});
    if (!reply || reply->isEmpty())
        return std::nullopt;
    return reply->front().value<QDBusVariant>().variant();
}

inline bool setProperty(const QDBusConnection& bus, const QString& service, const QString& path,
                        const QString& interface, const QString& name, const QVariant& value) {
    return call(bus, service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("Set"), {interface, name, QVariant::fromValue(QDBusVariant(value))})
        .has_value();
}

inline std::optional<bool> boolOf(const std::optional<QVariant>& value) {
    if (!value || value->typeId() != QMetaType::Bool)
        return std::nullopt;
    return value->toBool();
}

} // namespace quillmere::dbusCalls
