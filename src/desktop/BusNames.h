#pragma once

#include "desktop/ApplicationId.h"

#include <QString>

namespace quillmere::bus {

// The service is named by the application id and lives at the matching object path.
inline QString serviceName() {
    return applicationId;
}
inline QString objectPath() {
    return QLatin1Char('/') + QString(applicationId).replace(QLatin1Char('.'), QLatin1Char('/'));
}
inline QString interfaceName() {
    return applicationId;
}

// Errors a caller can tell apart; bad arguments use the bus's own InvalidArgs.
inline QString overlapError() {
    return applicationId + QStringLiteral(".Error.Overlap");
}
inline QString dayFullError() {
    return applicationId + QStringLiteral(".Error.DayFull");
}

} // namespace quillmere::bus
