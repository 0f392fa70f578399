#pragma once

#include "model/TimeMath.h"

#include "support/StoreHarness.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace quillmere::test {

inline WorkBlock todayBlock(const QString& title, Minutes start, Minutes duration,
                            WorkKind kind = WorkKind::deep) {
    return makeBlock(title, StoreHarness::today, start, duration, kind);
}

inline PlannedBlock planned(const QString& title, WorkKind kind = WorkKind::deep,
                            std::optional<bool> pinned = std::nullopt) {
    return PlannedBlock{QUuid::createUuid(), title, kind, 0, pinned};
}

// The views' store: Monday 2024-03-04, 09:07 in Berlin unless a test moves it.
struct AppFixture : StoreHarness {
    AppFixture() : StoreHarness(QTime(9, 7)) {}

    QJsonArray plannedJson() const {
        return QJsonDocument::fromJson(dir.read(QStringLiteral("planned.json")).value_or(""))
            .array();
    }
};

} // namespace quillmere::test
