#include "support/StoreHarness.h"

#include <QDir>
#include <QJsonDocument>

#include <functional>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

namespace {
using Persistence = StoreHarness;
} // namespace

TEST_F(Persistence, AFirstStartWritesNothingAndSettingsAreWrittenOnlyWhenTheyChange) {
    const QString folder = dir.file(u"nested/Quillmere"_s);
    store = std::make_unique<BlockStore>(clock, aids, folder);
    EXPECT_TRUE(store->blocks().empty() && store->rules().empty() && store->planned().empty());
    EXPECT_EQ(store->settings(), Settings{});
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
    EXPECT_EQ(quiet.deepWorkNoise, DeepWorkNoise::off);
    const QByteArray written = dir.read(u"settings.json"_s).value();
    EXPECT_EQ(written, json::encodeStateFile(json::encode(quiet)));
    EXPECT_LT(written.indexOf("chimesEnabled"), written.indexOf("remindersEnabled"));

    int ticks = 0;
    clock.setOnTick([&] { ++ticks; });
    dir.write(u"settings.json"_s, "marker");
    store->setSettings(quiet);
    processEvents();
    EXPECT_EQ(dir.read(u"settings.json"_s), QByteArray("marker"));
    EXPECT_EQ(ticks, 0);

    quiet.chimesEnabled = false;
    store->setSettings(quiet);
    processEvents();
    EXPECT_EQ(json::decodeSettingsFile(dir.read(u"settings.json"_s).value()), quiet);
    EXPECT_EQ(ticks, 1);
}

TEST_F(Persistence, PruningKeepsThirtyCalendarDaysAndRewritesOnlyWhenSomethingGoes) {
    wall.set(QDate(2024, 3, 31), QTime(12, 0));
    const WorkBlock kept = makeBlock(u"kept"_s, u"2024-03-01"_s, 540, 60);
    const WorkBlock gone = makeBlock(u"gone"_s, u"2024-02-29"_s, 540, 60);
    const WorkBlock future = makeBlock(u"later"_s, u"2025-01-01"_s, 60, 60);
    seedBlocks({gone, kept, future});
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

// Whoever hears of a change (the panel, or a crash right after) must find it on disk already.
TEST_F(Persistence, EveryChangeIsOnDiskBeforeItIsAnnounced) {
    const WorkBlock write = makeBlock(u"Write"_s, today, 600, 60);
    const RepeatRule tuesdays = makeRule(u"Review"_s, 840, 30, {3});
    seedBlocks({write});
    seedRules({tuesdays});
    open();
    processEvents();

    int heard = 0;
    std::vector<std::string> stale;
    for (const auto& [signal, name] : {std::pair{&BlockStore::blocksChanged, "blocks"},
                                       std::pair{&BlockStore::rulesChanged, "rules"},
                                       std::pair{&BlockStore::plannedChanged, "planned"},
                                       std::pair{&BlockStore::settingsChanged, "settings"}})
        QObject::connect(store.get(), signal, store.get(), [&, name] {
            ++heard;
            const Settings settings =
                json::decodeSettingsFile(dir.read(u"settings.json"_s).value_or("{}"))
                    .value_or(Settings{});
            if (blocksOnDisk() != store->blocks() || rulesOnDisk() != store->rules() ||
                plannedOnDisk() != store->planned() || settings != store->settings())
                stale.emplace_back(name);
        });

    const PlannedBlock inbox{QUuid::createUuid(), u"Inbox"_s, WorkKind::deep, 1.0, {}};
    PlannedBlock pinned = inbox;
    pinned.pinned = true;
    WorkBlock moved = write;
    moved.startMinutes = 615;
    Settings quiet;
    quiet.chimesEnabled = false;
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"add", [&] { store->add(makeBlock(u"Mail"_s, today, 720, 30)); }},
        {"update", [&] { store->update(moved); }},
        {"new repeat rule",
         [&] {
             store->setRepeat(Weekdays{2, 4}, write.id);
         }},
        {"changed repeat rule", [&] { store->setRepeat(Weekdays{2}, write.id); }},
        {"removed repeat rule", [&] { store->setRepeat(Weekdays{}, write.id); }},
        {"addPlanned", [&] { store->addPlanned(inbox); }},
        {"updatePlanned", [&] { store->updatePlanned(pinned); }},
        {"removePlanned", [&] { store->removePlanned(inbox.id); }},
        {"settings", [&] { store->setSettings(quiet); }},
        {"delete", [&] { store->deleteBlock(write.id); }},
        {"clearToday", [&] { store->clearToday(); }},
        {"stamping on a new day", [&] { tickAt(QDate(2024, 3, 5), QTime(0, 0, 30)); }},
    };
    for (const auto& [name, operation] : operations) {
        SCOPED_TRACE(name);
        heard = 0;
        stale.clear();
        operation();
        EXPECT_GT(heard, 0);
        EXPECT_TRUE(stale.empty()) << stale.front();
    }
    EXPECT_EQ(store->todayBlocks().size(), 1u); // Tuesday's stamped block
}
