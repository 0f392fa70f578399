#pragma once

#include "model/JsonCodec.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"

#include "support/FakeWallClock.h"
#include "support/Printers.h"
#include "support/RecordingFocusAids.h"
#include "support/TempDataDir.h"
#include "support/TzGuard.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <memory>

namespace quillmere::test {

inline WorkBlock makeBlock(const QString& title, const QString& day, Minutes start,
                           Minutes duration, WorkKind kind = WorkKind::deep) {
    return WorkBlock{QUuid::createUuid(), title,       day, start, duration, kind,
                     std::nullopt,        std::nullopt};
}

inline RepeatRule makeRule(const QString& title, Minutes start, Minutes duration, Weekdays days,
                           WorkKind kind = WorkKind::deep) {
    return RepeatRule{QUuid::createUuid(), title,       kind, start, duration,
                      std::move(days),     std::nullopt};
}

inline void processEvents() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

// A store on a temporary folder, driven by a fake wall clock. Monday 2024-03-04 09:00 in
// Berlin unless a test moves it.
struct StoreFixture : ::testing::Test {
    TzGuard tz{"Europe/Berlin"};
    TempDataDir dir;
    FakeWallClock wall{QDateTime(QDate(2024, 3, 4), QTime(9, 0))};
    AppClock clock{wall};
    RecordingFocusAids aids;
    std::unique_ptr<BlockStore> store;

    static inline const QString today = QStringLiteral("2024-03-04");

    BlockStore& open() {
        store.reset(); // one store at a time, as in the program
        store = std::make_unique<BlockStore>(clock, aids, dir.path());
        return *store;
    }

    void seedBlocks(const std::vector<WorkBlock>& blocks) {
        dir.write(QStringLiteral("blocks.json"), json::encodeList(blocks));
    }
    void seedRules(const std::vector<RepeatRule>& rules) {
        dir.write(QStringLiteral("rules.json"), json::encodeList(rules));
    }

    std::vector<WorkBlock> blocksOnDisk() const {
        return json::decodeList<WorkBlock>(dir.read(QStringLiteral("blocks.json")).value_or(""))
            .value_or(std::vector<WorkBlock>{});
    }
    std::vector<RepeatRule> rulesOnDisk() const {
        return json::decodeList<RepeatRule>(dir.read(QStringLiteral("rules.json")).value_or(""))
            .value_or(std::vector<RepeatRule>{});
    }

    // Moves the wall clock and delivers the tick the clock's timers would deliver.
    void tickAt(QTime time, QDate date = QDate(2024, 3, 4)) {
        wall.set(date, time);
        clock.tick();
        processEvents();
    }
};

} // namespace quillmere::test
