#include "support/StoreHarness.h"

#include <QDir>
#include <QJsonDocument>

#include <functional>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

using Persistence = StoreHarness;

TEST_F(Persistence, AFirstStartWritesNothingAndSettingsAreWrittenOnlyWhenTheyChange) {
    const QString folder = dir.file(u"nested/Quillmere"_s);
    store = std::make_unique<BlockStore>(clock, aids, folder);
    EXPECT_TRUE(clock.hasHeartbeat());
    processEvents();
    EXPECT_EQ(QDir(folder).entryList(QDir::Files), QStringList{u"stats.sqlite"_s});

    // A file holding the defaults is left as it is; anything else is rewritten in the one form.
    const QByteArray defaults = R"({"chimesEnabled":true,"deepWorkNoise":"brown","noiseVolume":0.1,
        "nudgesEnabled":true,"remindersEnabled":true})";
    dir.write(u"settings.json"_s, defaults);
    open();
    EXPECT_EQ(dir.read(u"settings.json"_s), defaults);
    dir.write(u"settings.json"_s, R"({"remindersEnabled":false,"noiseVolume":0.5,"unknown":1,
        "nudgesEnabled":true,"deepWorkNoise":"off","chimesEnabled":true})");
    open();
    Settings quiet = store->settings();
    EXPECT_EQ(quiet, (Settings{true, DeepWorkNoise::off, 0.5, true, false, false}));
    EXPECT_EQ(dir.read(u"settings.json"_s), json::encodeStateFile(json::encode(quiet)));

    // A change requests a tick; the same settings again do not.
    int ticks = 0;
    clock.setOnTick([&] { ++ticks; });
    for (const bool chimes : {true, false}) {
        quiet.chimesEnabled = chimes;
        store->setSettings(quiet);
        processEvents();
        EXPECT_EQ(ticks, chimes ? 0 : 1);
    }
}

TEST_F(Persistence, PruningKeepsThirtyCalendarDaysAndRewritesOnlyWhenSomethingGoes) {
    wall.set(QDate(2024, 3, 31), QTime(12, 0));
    const WorkBlock kept = makeBlock(u"kept"_s, u"2024-03-01"_s, 540, 60);
    const WorkBlock future = makeBlock(u"later"_s, u"2025-01-01"_s, 60, 60);
    seedBlocks({makeBlock(u"gone"_s, u"2024-02-29"_s, 540, 60), kept, future});
    open();
    EXPECT_EQ(store->blocks(), (std::vector{kept, future}));
    EXPECT_EQ(blocksOnDisk(), store->blocks());

    // Nothing to prune: the file keeps its exact bytes.
    const QByteArray compact =
        QJsonDocument(QJsonArray{json::encode(kept)}).toJson(QJsonDocument::Compact);
    dir.write(u"blocks.json"_s, compact);
    open();
    EXPECT_EQ(dir.read(u"blocks.json"_s), compact);
}

// Whoever hears of a change (the panel, or a crash right after) must find it on disk already,
// and a file is written when its list changes and only then (a delete always writes).
TEST_F(Persistence, EveryChangeIsOnDiskBeforeItIsAnnouncedAndOnlyChangesAreWritten) {
    const WorkBlock write = makeBlock(u"Write"_s, today, 600, 60);
    const RepeatRule tuesdays = makeRule(u"Review"_s, 840, 30, {3});
    seedBlocks({write});
    seedRules({tuesdays});
    open();

    int heard = 0, stale = 0;
    for (const auto signal : {&BlockStore::blocksChanged, &BlockStore::rulesChanged,
                              &BlockStore::plannedChanged, &BlockStore::settingsChanged})
        QObject::connect(store.get(), signal, store.get(), [&] {
            ++heard;
            stale += savedAsHeld() ? 0 : 1;
        });

    const PlannedBlock inbox{QUuid::createUuid(), u"Inbox"_s, WorkKind::deep, 1.0, {}};
    const PlannedBlock pinned{inbox.id, inbox.title, inbox.kind, inbox.createdAt, true};
    const WorkBlock moved{write.id, write.title, today, 615, 60, write.kind, {}, {}};
    const Weekdays twoDays{2, 4};
    const PlannedBlock unknown{QUuid::createUuid(), u"?"_s, WorkKind::deep, 0, {}};
    const std::tuple<const char*, std::function<void()>, const char*> operations[] = {
        {"add", [&] { store->add(makeBlock(u"Mail"_s, today, 720, 30)); }, "blocks"},
        {"update", [&] { store->update(moved); }, "blocks"},
        {"update of an unknown block", [&] { store->update(makeBlock(u"?"_s, today, 0, 15)); }, ""},
        {"new repeat rule", [&] { store->setRepeat(twoDays, write.id); }, "blocks rules"},
        // The block is the caller's to save: a rule that follows it writes only the rules.
        {"changed repeat rule", [&] { store->setRepeat({2}, write.id); }, "rules"},
        {"removed repeat rule", [&] { store->setRepeat({}, write.id); }, "blocks rules"},
        {"no rule and no days", [&] { store->setRepeat({}, write.id); }, ""},
        {"addPlanned", [&] { store->addPlanned(inbox); }, "planned"},
        {"updatePlanned", [&] { store->updatePlanned(pinned); }, "planned"},
        {"updatePlanned of an unknown item", [&] { store->updatePlanned(unknown); }, ""},
        {"removePlanned of an unknown item", [&] { store->removePlanned(unknown.id); }, ""},
        {"removePlanned", [&] { store->removePlanned(inbox.id); }, "planned"},
        {"settings", [&] { store->setSettings({.chimesEnabled = false}); }, "settings"},
        {"the same settings", [&] { store->setSettings({.chimesEnabled = false}); }, ""},
        {"delete", [&] { store->deleteBlock(write.id); }, "blocks"},
        {"delete of an unknown block", [&] { store->deleteBlock(QUuid::createUuid()); }, "blocks"},
        {"clearToday", [&] { store->clearToday(); }, "blocks"},
        {"stamping on a new day", [&] { tickAt(QDate(2024, 3, 5), QTime(0, 0, 30)); },
         "blocks rules"},
    };
    const QStringList files{u"blocks"_s, u"rules"_s, u"planned"_s, u"settings"_s};
    for (const auto& [name, operation, writes] : operations) {
        SCOPED_TRACE(name);
        // Every file in a form of its own that reads the same, so that a rewrite shows.
        std::map<QString, std::optional<QByteArray>> before;
        for (const QString& file : files) {
            if (const auto bytes = dir.read(file + u".json"_s))
                dir.write(file + u".json"_s,
                          QJsonDocument::fromJson(*bytes).toJson(QJsonDocument::Compact));
            before[file] = dir.read(file + u".json"_s);
        }
        heard = stale = 0;
        operation();
        QStringList written;
        for (const QString& file : files)
            if (dir.read(file + u".json"_s) != before[file])
                written << file;
        EXPECT_EQ(written.join(u' '), QString::fromLatin1(writes));
        EXPECT_TRUE(heard > 0 || written.isEmpty());
        EXPECT_EQ(stale, 0) << "announced before it was saved";
    }
    EXPECT_EQ(store->todayBlocks().size(), 1u); // Tuesday's stamped block
}
