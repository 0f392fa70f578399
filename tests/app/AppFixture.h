#pragma once

#include "model/JsonCodec.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"

#include "support/FakeWallClock.h"
#include "support/Printers.h"
#include "support/TempDataDir.h"
#include "support/TzGuard.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <memory>

namespace quillmere::test {

inline void processEvents() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

inline WorkBlock todayBlock(const QString& title, Minutes start, Minutes duration,
                            WorkKind kind = WorkKind::deep) {
    return {
        QUuid::createUuid(), title, QStringLiteral("2024-03-04"), start, duration, kind, {}, {}};
}

inline PlannedBlock planned(const QString& title, WorkKind kind = WorkKind::deep,
                            std::optional<bool> pinned = std::nullopt) {
    return PlannedBlock{QUuid::createUuid(), title, kind, 0, pinned};
}

// A real store on a temporary folder with a hand-moved clock: Monday 2024-03-04, 09:07 in
// Berlin unless a test moves it.
struct AppFixture : ::testing::Test {
    TzGuard tz{"Europe/Berlin"};
    TempDataDir dir;
    FakeWallClock wall{QDateTime(QDate(2024, 3, 4), QTime(9, 7))};
    AppClock clock{wall};
    NoFocusAids aids;
    std::unique_ptr<BlockStore> store;

    BlockStore& open() {
        store.reset();
        store = std::make_unique<BlockStore>(clock, aids, dir.path());
        processEvents();
        return *store;
    }

    void seedBlocks(const std::vector<WorkBlock>& blocks) {
        dir.write(QStringLiteral("blocks.json"), json::encodeList(blocks));
    }
    void seedPlanned(const std::vector<PlannedBlock>& items) {
        dir.write(QStringLiteral("planned.json"), json::encodeList(items));
    }

    std::vector<WorkBlock> blocksOnDisk() const {
        return json::decodeList<WorkBlock>(dir.read(QStringLiteral("blocks.json")).value_or(""))
            .value_or(std::vector<WorkBlock>{});
    }
    QJsonArray plannedJson() const {
        return QJsonDocument::fromJson(dir.read(QStringLiteral("planned.json")).value_or(""))
            .array();
    }

    void tickAt(QDate date, QTime time) {
        wall.set(date, time);
        clock.tick();
        processEvents();
    }
};

} // namespace quillmere::test
