#include "focus/SessionBus.h"

#include <sys/stat.h>

namespace quillmere {

namespace {
// D-Bus addresses escape every byte outside a small safe set as %XX.
QByteArray escapedAddressValue(const QByteArray& value) {
    QByteArray out;
    for (const char c : value) {
        const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                          (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '/' || c == '.' ||
                          c == '\\' || c == '*';
        if (safe)
            out += c;
        else
            out.append('%').append(
                QByteArray::number(static_cast<unsigned char>(c), 16).rightJustified(2, '0'));
    }
    return out;
}
} // namespace

QByteArray sessionBusAddress() {
    const QByteArray fromEnvironment = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    if (runtime.isEmpty())
        return {};
    const QByteArray socket = QByteArray(runtime).append("/bus");
    struct stat info {};
    if (stat(socket.constData(), &info) != 0 || !S_ISSOCK(info.st_mode))
        return {};
    return QByteArray("unix:path=").append(escapedAddressValue(socket));
}

} // namespace quillmere
