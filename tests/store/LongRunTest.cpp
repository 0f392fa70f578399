#include "model/TimeMath.h"
#include "store/StatsDB.h"

#include "support/StoreHarness.h"

#include <QRandomGenerator>

#include <map>
#include <set>

using namespace quillmere;
using namespace quillmere::test;

namespace {

// Sixty days in the life of the store, a minute at a time, with a user who edits at random.
struct LongRun : StoreHarness {
    QRandomGenerator random{424242};
    std::set<std::pair<QUuid, QString>> stampedRuleDays; // (rule, day) pairs ever stamped
    std::map<QUuid, WorkBlock> frozen;                   // confirmed blocks as confirmed
    QSet<QUuid> knownIDs;
    bool filesDirty = false;
    bool blocksDirty = false;
    int edits = 0;

    void connectStore() {
        for (auto signal : {&BlockStore::blocksChanged, &BlockStore::rulesChanged,
                            &BlockStore::plannedChanged, &BlockStore::settingsChanged})
            QObject::connect(store.get(), signal, store.get(), [this] { filesDirty = true; });
        // The store can only change a block by replacing the list, which it announces.
        QObject::connect(store.get(), &BlockStore::blocksChanged, store.get(),
                         [this] { blocksDirty = true; });
        for (const WorkBlock& b : store->blocks())
            knownIDs.insert(b.id);
    }

    std::vector<WorkBlock> editable() const {
        std::vector<WorkBlock> out;
        for (const WorkBlock& b : store->todayBlocks())
            if (!store->isFrozen(b))
                out.push_back(b);
        return out;
    }

    void randomEdit() {
        ++edits;
        const auto blocks = editable();
        const auto pick = [&](const auto& list) {
            return list[random.bounded(static_cast<int>(list.size()))];
        };
        switch (random.bounded(8)) {
        case 0:
        case 1:
            if (auto draft =
                    store->nextFreeBlock(random.bounded(2) ? WorkKind::deep : WorkKind::shallow)) {
                draft->durationMinutes =
                    std::min<Minutes>(draft->durationMinutes, 15 * (1 + random.bounded(4)));
                store->add(*draft);
            }
            break;
        case 2:
            if (!blocks.empty()) {
                WorkBlock b = pick(blocks);
                const Minutes target = static_cast<Minutes>(random.bounded(96)) * 15;
                if (auto start = store->nearestFreeStart(target, b.durationMinutes, b.id,
                                                         store->repeatDays(b.id))) {
                    b.startMinutes = *start;
                    store->update(b);
                }
            }
            break;
        case 3:
            if (!blocks.empty())
                store->deleteBlock(pick(blocks).id);
            break;
        case 4:
            if (!blocks.empty()) {
                Weekdays days;
                for (int d = 1; d <= 7; ++d)
                    if (random.bounded(3) == 0)
                        days.insert(d);
                store->setRepeat(days, pick(blocks).id);
            }
            break;
        case 5: {
            const PlannedBlock item{QUuid::createUuid(), QStringLiteral("p%1").arg(edits),
                                    WorkKind::deep, TimeMath::referenceSeconds(wall.now()),
                                    random.bounded(2) ? std::optional<bool>(true) : std::nullopt};
            store->addPlanned(item);
            if (auto block = store->nextFreeBlock(item.kind)) {
                if (!item.isPinned())
                    block->id = item.id;
                block->title = item.title;
                store->add(*block);
                store->removePlanned(block->id);
            }
            break;
        }
        case 6:
            if (random.bounded(10) == 0)
                store->clearToday();
            break;
        default: {
            Settings s = store->settings();
            s.remindersEnabled = !s.remindersEnabled;
            store->setSettings(s);
        }
        }
    }

    void checkInvariants() {
        const QDateTime now = wall.now();
        // New stamped blocks: never over another block of their day, never twice a day.
        for (const WorkBlock& b : store->blocks()) {
            if (knownIDs.contains(b.id))
                continue;
            knownIDs.insert(b.id);
            if (!b.repeatRuleID || b.createdAt != TimeMath::referenceSeconds(now))
                continue;
            ASSERT_TRUE(stampedRuleDays.insert({*b.repeatRuleID, b.day}).second)
                << "a rule stamped twice on " << b.day.toStdString();
            for (const WorkBlock& other : store->blocks()) {
                if (other.id == b.id || other.day != b.day || other.createdAt == b.createdAt)
                    continue; // blocks stamped in the same pass were checked when placed
                ASSERT_FALSE(other.startMinutes < b.endMinutes() &&
                             b.startMinutes < other.endMinutes())
                    << "stamped over a block on " << b.day.toStdString();
            }
        }
        // Confirmation: once, within five seconds after the end; frozen blocks never change.
        for (const QUuid& id : store->confirmedIDs()) {
            if (frozen.count(id))
                continue;
            const auto block = store->savedBlock(id);
            ASSERT_TRUE(block);
            const qint64 sinceEnd =
                TimeMath::startOfDay(block->day)->addSecs(block->endMinutes() * 60).msecsTo(now);
            ASSERT_TRUE(sinceEnd >= 0 && sinceEnd < 5000) << sinceEnd;
            frozen.emplace(id, *block);
        }
        if (blocksDirty) {
            blocksDirty = false;
            std::map<QUuid, const WorkBlock*> stored;
            for (const WorkBlock& b : store->blocks())
                stored.emplace(b.id, &b);
            for (const auto& [id, block] : frozen) {
                const auto it = stored.find(id);
                ASSERT_TRUE(it == stored.end() || *it->second == block) << "a frozen block changed";
            }
        }
        if (filesDirty) {
            filesDirty = false;
            ASSERT_EQ(blocksOnDisk(), store->blocks());
            ASSERT_EQ(rulesOnDisk(), store->rules());
            ASSERT_EQ(plannedOnDisk(), store->planned());
        }
    }
};

} // namespace

TEST_F(LongRun, SixtyDaysMinuteByMinuteKeepEveryInvariant) {
    const int days = qEnvironmentVariableIntValue("QUILLMERE_LONG_RUN_DAYS") > 0
                         ? qEnvironmentVariableIntValue("QUILLMERE_LONG_RUN_DAYS")
                         : 60;
    seedRules({makeRule(QStringLiteral("Morning"), 480, 90, {2, 3, 4, 5, 6}),
               makeRule(QStringLiteral("Review"), 900, 45, {2, 4}, WorkKind::shallow),
               makeRule(QStringLiteral("Weekend"), 600, 120, {1, 7})});
    wall.set(QDate(2024, 3, 1), QTime(6, 0, 0, 100));
    open();
    connectStore();
    const QDateTime end = wall.now().addDays(days);
    int minute = 0;
    while (wall.now() < end) {
        wall.advanceSecs(60);
        if (random.bounded(100) < 3)
            randomEdit();
        clock.tick();
        processEvents();
        checkInvariants();
        if (HasFatalFailure()) {
            ADD_FAILURE() << "at " << wall.now().toString(Qt::ISODate).toStdString();
            return;
        }
        // A restart every ten days runs start-up and pruning over what the days left behind.
        if (++minute % (1440 * 10) == 0) {
            open();
            connectStore();
            const QString cutoff = TimeMath::dayKey(wall.now().addDays(-30));
            std::erase_if(frozen, [&](const auto& entry) { return entry.second.day < cutoff; });
        }
    }
    EXPECT_GT(frozen.size(), static_cast<std::size_t>(days)); // blocks really were confirmed
    EXPECT_GT(stampedRuleDays.size(), static_cast<std::size_t>(days));
    StatsDB stats(dir.file(QStringLiteral("stats.sqlite")));
    EXPECT_TRUE((stats.confirmedIDs(store->todayKey()) - store->confirmedIDs()).isEmpty());
    std::printf("[ long   ] %d simulated days, %d edits, %zu blocks confirmed\n", days, edits,
                frozen.size());
}
