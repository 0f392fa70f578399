#pragma once

#include "model/JsonCodec.h"
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

// Enough passes for a queued tick and the work it queues in turn.
inline void processEvents() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

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

// A real store on a temporary folder, driven by a wall clock the test moves by hand: Monday
// 2024-03-04 in Berlin, at `start` unless the test moves it.
struct StoreHarness : ::testing::Test {
    explicit StoreHarness(QTime start = QTime(9, 0)) : wall(QDateTime(monday, start)) {}

    static inline const QDate monday{2024, 3, 4};
    static inline const QString today = QStringLiteral("2024-03-04");

    TzGuard tz{"Europe/Berlin"};
    TempDataDir dir;
    FakeWallClock wall;
    AppClock clock{wall};
    RecordingFocusAids aids;
    std::unique_ptr<BlockStore> store;

    // Starts the store as the program does, including the tick of its start-up. The clock
    // outlives the store (only its first start requests that tick), so a reopening asks for it.
    BlockStore& open() {
        store.reset(); // one store at a time, as in the program
        store = std::make_unique<BlockStore>(clock, aids, dir.path());
        clock.requestTick();
        processEvents();
        return *store;
    }

    template <typename T> void seed(const QString& file, const std::vector<T>& items) const {
        dir.write(file, json::encodeList(items));
    }
    void seedBlocks(const std::vector<WorkBlock>& blocks) const {
        seed(QStringLiteral("blocks.json"), blocks);
    }
    void seedRules(const std::vector<RepeatRule>& rules) const {
        seed(QStringLiteral("rules.json"), rules);
    }
    void seedPlanned(const std::vector<PlannedBlock>& items) const {
        seed(QStringLiteral("planned.json"), items);
    }

    // A file's list; empty when it is missing or does not decode.
    template <typename T> std::vector<T> onDisk(const QString& file) const {
        return json::decodeList<T>(dir.read(file).value_or("")).value_or(std::vector<T>{});
    }
    std::vector<WorkBlock> blocksOnDisk() const {
        return onDisk<WorkBlock>(QStringLiteral("blocks.json"));
    }
    std::vector<RepeatRule> rulesOnDisk() const {
        return onDisk<RepeatRule>(QStringLiteral("rules.json"));
    }
    std::vector<PlannedBlock> plannedOnDisk() const {
        return onDisk<PlannedBlock>(QStringLiteral("planned.json"));
    }

    // Moves the wall clock and delivers the tick the clock's timers would deliver.
    void tickAt(QDate date, QTime time) {
        wall.set(date, time);
        clock.tick();
        processEvents();
    }
};

} // namespace quillmere::test
