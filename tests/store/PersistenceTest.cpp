#include "support/StoreHarness.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>

#include <functional>

using namespace quillmere;
using namespace quillmere::test;

namespace {
using Persistence = StoreHarness;
} // namespace

TEST_F(Persistence, FirstStartInAnEmptyFolderWritesNothing) {
    const QString folder = dir.file(QStringLiteral("nested/Quillmere"));
    store = std::make_unique<BlockStore>(clock, aids, folder);
    EXPECT_TRUE(QFileInfo(folder).isDir());
    EXPECT_TRUE(store->blocks().empty());
    EXPECT_TRUE(store->rules().empty());
    EXPECT_TRUE(store->planned().empty());
    EXPECT_EQ(store->settings(), Settings{});
    EXPECT_TRUE(clock.hasHeartbeat());
    processEvents();
    const QStringList files = QDir(folder).entryList(QDir::Files);
    EXPECT_EQ(files, QStringList{QStringLiteral("stats.sqlite")});
}

TEST_F(Persistence, SettingsAreWrittenAndTickOnlyWhenTheyChange) {
    // A file holding the defaults is left as it is; anything else is rewritten in the one form.
    const QByteArray defaults = R"({"chimesEnabled":true,"deepWorkNoise":"brown","noiseVolume":0.1,
        "nudgesEnabled":true,"remindersEnabled":true})";
    dir.write(QStringLiteral("settings.json"), defaults);
    open();
    EXPECT_EQ(dir.read(QStringLiteral("settings.json")), defaults);

    const QByteArray custom = R"({"remindersEnabled":false,"noiseVolume":0.5,"unknown":1,
        "nudgesEnabled":true,"deepWorkNoise":"off","chimesEnabled":true})";
    dir.write(QStringLiteral("settings.json"), custom);
    open();
    Settings quiet = store->settings();
    EXPECT_EQ(quiet.deepWorkNoise, DeepWorkNoise::off);
    const QByteArray written = dir.read(QStringLiteral("settings.json")).value();
    EXPECT_EQ(written, json::encodeStateFile(json::encode(quiet)));
    EXPECT_LT(written.indexOf("chimesEnabled"), written.indexOf("remindersEnabled"));

    int ticks = 0;
    clock.setOnTick([&] { ++ticks; });
    dir.write(QStringLiteral("settings.json"), "marker");
    store->setSettings(quiet);
    processEvents();
    EXPECT_EQ(dir.read(QStringLiteral("settings.json")), QByteArray("marker"));
    EXPECT_EQ(ticks, 0);

    quiet.chimesEnabled = false;
    store->setSettings(quiet);
    processEvents();
    EXPECT_EQ(json::decodeSettingsFile(dir.read(QStringLiteral("settings.json")).value()), quiet);
    EXPECT_EQ(ticks, 1);
}

TEST_F(Persistence, PruningKeepsThirtyCalendarDaysAndRewritesOnlyWhenSomethingGoes) {
    wall.set(QDate(2024, 3, 31), QTime(12, 0));
    const WorkBlock kept = makeBlock(QStringLiteral("kept"), QStringLiteral("2024-03-01"), 540, 60);
    const WorkBlock gone = makeBlock(QStringLiteral("gone"), QStringLiteral("2024-02-29"), 540, 60);
    const WorkBlock future =
        makeBlock(QStringLiteral("later"), QStringLiteral("2025-01-01"), 60, 60);
    seedBlocks({gone, kept, future});
    open();
    EXPECT_EQ(store->blocks(), (std::vector<WorkBlock>{kept, future}));
    EXPECT_EQ(blocksOnDisk(), (std::vector<WorkBlock>{kept, future}));

    // Nothing to prune: the file keeps its exact bytes.
    const QByteArray compact =
        QJsonDocument(QJsonArray{json::encode(kept)}).toJson(QJsonDocument::Compact);
    dir.write(QStringLiteral("blocks.json"), compact);
    open();
    EXPECT_EQ(dir.read(QStringLiteral("blocks.json")), compact);
}

// Whoever hears of a change (the panel, or a crash right after) must find it on disk already.
TEST_F(Persistence, EveryChangeIsOnDiskBeforeItIsAnnounced) {
    const WorkBlock write = makeBlock(QStringLiteral("Write"), today, 600, 60);
    const RepeatRule tuesdays = makeRule(QStringLiteral("Review"), 840, 30, {3});
    seedBlocks({write});
    seedRules({tuesdays});
    open();
    processEvents();

    int heard = 0;
    std::vector<std::string> stale;
    const auto checkDisk = [&](const char* signal) {
        ++heard;
        const auto settings = dir.read(QStringLiteral("settings.json"));
        const Settings settingsOnDisk =
            settings ? json::decodeSettingsFile(*settings).value_or(Settings{}) : Settings{};
        if (blocksOnDisk() != store->blocks() || rulesOnDisk() != store->rules() ||
            plannedOnDisk() != store->planned() || settingsOnDisk != store->settings())
            stale.emplace_back(signal);
    };
    QObject::connect(store.get(), &BlockStore::blocksChanged, store.get(),
                     [&] { checkDisk("blocks"); });
    QObject::connect(store.get(), &BlockStore::rulesChanged, store.get(),
                     [&] { checkDisk("rules"); });
    QObject::connect(store.get(), &BlockStore::plannedChanged, store.get(),
                     [&] { checkDisk("planned"); });
    QObject::connect(store.get(), &BlockStore::settingsChanged, store.get(),
                     [&] { checkDisk("settings"); });

    PlannedBlock inbox{QUuid::createUuid(), QStringLiteral("Inbox"), WorkKind::deep, 1.0, {}};
    const std::vector<std::pair<const char*, std::function<void()>>> operations{
        {"add", [&] { store->add(makeBlock(QStringLiteral("Mail"), today, 720, 30)); }},
        {"update",
         [&] {
             WorkBlock moved = write;
             moved.startMinutes = 615;
             store->update(moved);
         }},
        {"new repeat rule",
         [&] {
             store->setRepeat({2, 4}, write.id);
         }},
        {"changed repeat rule", [&] { store->setRepeat({2}, write.id); }},
        {"removed repeat rule", [&] { store->setRepeat({}, write.id); }},
        {"addPlanned", [&] { store->addPlanned(inbox); }},
        {"updatePlanned",
         [&] {
             inbox.pinned = true;
             store->updatePlanned(inbox);
         }},
        {"removePlanned", [&] { store->removePlanned(inbox.id); }},
        {"settings",
         [&] {
             Settings quiet = store->settings();
             quiet.chimesEnabled = false;
             store->setSettings(quiet);
         }},
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
