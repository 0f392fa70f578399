#include "model/WorkKind.h"

namespace quillmere {

QString rawValue(WorkKind kind) {
    return kind == WorkKind::deep ? QStringLiteral("deep") : QStringLiteral("shallow");
}

std::optional<WorkKind> workKindFromRaw(const QString& text) {
    if (text == u"deep")
        return WorkKind::deep;
    if (text == u"shallow")
        return WorkKind::shallow;
    return std::nullopt;
}

QString defaultTitle(WorkKind kind) {
    return kind == WorkKind::deep ? QStringLiteral("Deep Work") : QStringLiteral("Shallow Work");
}

WorkKind otherKind(WorkKind kind) {
    return kind == WorkKind::deep ? WorkKind::shallow : WorkKind::deep;
}

} // namespace quillmere
