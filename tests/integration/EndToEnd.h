#pragma once

#include "model/JsonCodec.h"

#include "support/NotificationSession.h"
#include "support/Printers.h"

#include <QTest>

namespace quillmere::test {

// Monday 2024-03-04 (in Berlin, the sessions' zone): the day the faked clocks start on.
inline const QString today = QStringLiteral("2024-03-04");

inline WorkBlock block(const QString& title, Minutes start, Minutes duration,
                       WorkKind kind = WorkKind::deep, const QString& day = today) {
    return {QUuid::createUuid(), title, day, start, duration, kind, {}, {}};
}
inline void writeBlocks(const Session& session, const std::vector<WorkBlock>& blocks) {
    session.writeData(QStringLiteral("blocks.json"), json::encodeList(blocks));
}

} // namespace quillmere::test
