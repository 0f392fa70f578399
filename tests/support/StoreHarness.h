#pragma once

#include "model/JsonCodec.h"
#include "store/BlockStore.h"

#include "support/FakeWallClock.h"
#include "support/Printers.h"
#include "support/RecordingFocusAids.h"
#include "support/TempDataDir.h"
#include "support/TzGuard.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace quillmere::test {

inline WorkBlock makeBlock(const QString& title, const QString& day, Minutes start,
                           Minutes duration, WorkKind kind = WorkKind::deep) {
    return {QUuid::createUuid(), title, day, start, duration, kind, std::nullopt, std::nullopt};
}

inline RepeatRule makeRule(const QString& title, Minutes start, Minutes duration, Weekdays days,
                           WorkKind kind = WorkKind::deep) {
    return {QUuid::createUuid(), title, kind, start, duration, std::move(days), std::nullopt};
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

    // Starts the store as the program does, including the tick of its start-up, on the test's
    // folder unless given another. The clock outlives the store (only its first start requests
    // that tick), so a reopening asks for it.
    BlockStore& open(const QString& folder = QString()) {
        store.reset(); // one store at a time, as in the program
        store = std::make_unique<BlockStore>(clock, aids, folder.isEmpty() ? dir.path() : folder);
        clock.requestTick();
        processEvents();
        return *store;
    }

    template <typename T> void seed(const char* file, const std::vector<T>& items) const {
        dir.write(QString::fromLatin1(file), json::encodeList(items));
    }
    void seedBlocks(const std::vector<WorkBlock>& v) const { seed("blocks.json", v); }
    void seedRules(const std::vector<RepeatRule>& v) const { seed("rules.json", v); }
    void seedPlanned(const std::vector<PlannedBlock>& v) const { seed("planned.json", v); }

    // A file's list; empty when it is missing or does not decode.
    template <typename T> std::vector<T> onDisk(const char* file) const {
        return json::decodeList<T>(dir.read(QString::fromLatin1(file)).value_or(""))
            .value_or(std::vector<T>{});
    }
    std::vector<WorkBlock> blocksOnDisk() const { return onDisk<WorkBlock>("blocks.json"); }
    std::vector<RepeatRule> rulesOnDisk() const { return onDisk<RepeatRule>("rules.json"); }
    std::vector<PlannedBlock> plannedOnDisk() const { return onDisk<PlannedBlock>("planned.json"); }
    // Whether every file holds just what the store holds; a missing file holds nothing.
    bool savedAsHeld() const {
        const auto settings = dir.read(QStringLiteral("settings.json")).value_or("{}");
        return blocksOnDisk() == store->blocks() && rulesOnDisk() == store->rules() &&
               plannedOnDisk() == store->planned() &&
               json::decodeSettingsFile(settings).value_or(Settings{}) == store->settings();
    }

    // Moves the wall clock and delivers the tick the clock's timers would deliver.
    void tickAt(const QDateTime& instant) {
        wall.set(instant);
        clock.tick();
        processEvents();
    }
    void tickAt(QDate date, QTime time) { tickAt(QDateTime(date, time)); }

    // Simulated time as the real clock would run it: a tick 0.1 s after every half minute, and
    // one at each alarm the store set, whichever comes first. Actions added with `at` happen at
    // their own instant, with the refresh their changes request; `wakes` collects every alarm.
    std::multimap<QDateTime, std::function<void()>> actions;
    std::vector<QDateTime> wakes;

    void at(QDate date, QTime time, std::function<void()> action) {
        actions.emplace(QDateTime(date, time).toUTC(), std::move(action));
    }
    void runUntil(const QDateTime& end) {
        while (wall.now() < end) {
            QDateTime next = wall.now().addSecs(30);
            next = next.addMSecs(-(next.toMSecsSinceEpoch() % 30000) + 100);
            if (const auto wake = clock.pendingWake(); wake && *wake<next&& * wake> wall.now())
                next = wake->toUTC();
            while (!actions.empty() && actions.begin()->first <= next) {
                wall.set(actions.begin()->first);
                actions.extract(actions.begin()).mapped()();
                processEvents();
            }
            tickAt(next);
            if (const auto wake = clock.pendingWake();
                wake && (wakes.empty() || wakes.back() != *wake))
                wakes.push_back(*wake);
        }
    }
};

} // namespace quillmere::test
