#include "support/StoreHarness.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>

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
