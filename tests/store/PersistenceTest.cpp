#include "support/StoreHarness.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>

#include <functional>
#include <sys/mount.h>
#include <unistd.h>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

using Persistence = StoreHarness;

const QStringList stateFiles{u"blocks.json"_s, u"rules.json"_s, u"planned.json"_s,
                             u"settings.json"_s};

// A first start writes nothing, and a later one rewrites only what changes: settings that are
// not the defaults, into the one form, and the blocks when some are older than thirty days.
TEST_F(Persistence, AFirstStartWritesNothingAndLaterStartsRewriteOnlyWhatChanges) {
    const QString folder = dir.file(u"nested/Quillmere"_s);
    open(folder);
    EXPECT_TRUE(clock.hasHeartbeat());
    EXPECT_EQ(QDir(folder).entryList(QDir::Files), QStringList{u"stats.sqlite"_s});

    const QByteArray defaults = R"({"chimesEnabled":true,"deepWorkNoise":"brown","noiseVolume":0.1,
        "nudgesEnabled":true,"remindersEnabled":true})";
    const WorkBlock kept = makeBlock(u"kept"_s, u"2024-03-01"_s, 540, 60);
    const QByteArray compact =
        QJsonDocument(QJsonArray{json::encode(kept)}).toJson(QJsonDocument::Compact);
    dir.write(u"settings.json"_s, defaults);
    dir.write(u"blocks.json"_s, compact);
    open();
    EXPECT_EQ(dir.read(u"settings.json"_s), defaults);
    EXPECT_EQ(dir.read(u"blocks.json"_s), compact);
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

    wall.set(QDate(2024, 3, 31), QTime(12, 0));
    const WorkBlock future = makeBlock(u"later"_s, u"2025-01-01"_s, 60, 60);
    seedBlocks({makeBlock(u"gone"_s, u"2024-02-29"_s, 540, 60), kept, future});
    open();
    EXPECT_EQ(store->blocks(), (std::vector{kept, future}));
    EXPECT_EQ(blocksOnDisk(), store->blocks());
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
    for (const auto& [name, operation, writes] : operations) {
        SCOPED_TRACE(name);
        // Every file in a form of its own that reads the same, so that a rewrite shows.
        std::map<QString, std::optional<QByteArray>> before;
        for (const QString& file : stateFiles) {
            if (const auto bytes = dir.read(file))
                dir.write(file, QJsonDocument::fromJson(*bytes).toJson(QJsonDocument::Compact));
            before[file] = dir.read(file);
        }
        heard = stale = 0;
        operation();
        QStringList written;
        for (const QString& file : stateFiles)
            if (dir.read(file) != before[file])
                written << file.chopped(5);
        EXPECT_EQ(written.join(u' '), QString::fromLatin1(writes));
        EXPECT_TRUE(heard > 0 || written.isEmpty());
        EXPECT_EQ(stale, 0) << "announced before it was saved";
    }
    EXPECT_EQ(store->todayBlocks().size(), 1u); // Tuesday's stamped block
}

TEST_F(Persistence, DamagedFilesAndAnUnusableFolderLeaveTheUsersDataAsItIs) {
    const std::pair<const char*, QByteArray> contents[] = {
        {"empty", QByteArray()},
        {"truncated", R"([{"id": "6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0", "title": "Wr)"},
        {"wrong type", R"({"id": 5})"},
        {"one bad element",
         "[" + QJsonDocument(json::encode(makeBlock({}, today, 0, 15))).toJson() + ",1]"},
        {"deep nesting", QByteArray(200000, '[')},
        {"huge numbers", R"([{"startMinutes": 1e400, "durationMinutes": -1e308}])"},
        {"binary", QByteArray("\x00\x01\xff\xfe", 4)},
        {"fifty megabytes", "[" + QByteArray(50 * 1024 * 1024, ' ') + "{\"x\":1}]"},
        {"not json", "not json"},
    };
    for (const auto& [label, bytes] : contents) {
        SCOPED_TRACE(label);
        for (const QString& file : stateFiles)
            dir.write(file, bytes);
        open();
        EXPECT_TRUE(store->blocks().empty() && store->rules().empty() && store->planned().empty());
        EXPECT_EQ(store->settings(), Settings{});
        for (const QString& file : stateFiles)
            EXPECT_EQ(dir.read(file), bytes) << file.toStdString();
    }
    // The first change of one list replaces that file and only that file.
    store->addPlanned({QUuid::createUuid(), u"x"_s, WorkKind::deep, 0, std::nullopt});
    EXPECT_EQ(plannedOnDisk(), store->planned());
    for (const QString& file : {u"blocks.json"_s, u"rules.json"_s, u"settings.json"_s})
        EXPECT_EQ(dir.read(file), QByteArray("not json")) << file.toStdString();

    // A data folder that is a file or a dangling link: everything is kept in memory.
    dir.write(u"Quillmere"_s, "I am a file");
    ASSERT_TRUE(QFile::link(dir.file(u"nowhere"_s), dir.file(u"link"_s)));
    for (const QString& name : {u"Quillmere"_s, u"link"_s}) {
        SCOPED_TRACE(name.toStdString());
        open(dir.file(name));
        const WorkBlock ended = makeBlock(u"kept in memory"_s, today, 480, 60);
        store->add(ended);
        store->addPlanned({QUuid::createUuid(), u"p"_s, WorkKind::deep, 0, std::nullopt});
        processEvents();
        EXPECT_EQ(store->blocks(), std::vector{ended});
        EXPECT_EQ(store->planned().size(), 1u);
        // Confirmed though the record has nowhere to go.
        EXPECT_TRUE(store->isFrozen(ended));
    }
    EXPECT_EQ(dir.read(u"Quillmere"_s), QByteArray("I am a file"));
    EXPECT_FALSE(QFileInfo::exists(dir.file(u"nowhere"_s)));
}

TEST_F(Persistence, AFullDiskThenAReadOnlyFolderKeepTheLastCompleteFile) {
    // A tmpfs of its own over the data folder, for a full disk and then a read-only folder. It
    // needs root with the right to mount, which CI machines have.
    const QByteArray path = dir.path().toLocal8Bit();
    if (::geteuid() != 0 || ::mount("tmpfs", path.constData(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "this machine does not let the test mount a small tmpfs";
    const auto unmount = qScopeGuard([&] { ::umount2(path.constData(), MNT_DETACH); });
    open();
    std::vector<WorkBlock> lastSaved;
    for (int i = 0; i < 2000; ++i) {
        store->add(makeBlock(u"block %1 "_s.arg(i).repeated(4), today, i % 1440, 1));
        const auto saved = json::decodeList<WorkBlock>(dir.read(u"blocks.json"_s).value_or(""));
        ASSERT_TRUE(saved) << "blocks.json was damaged by a full disk";
        if (*saved != store->blocks())
            break;
        lastSaved = *saved;
    }
    // The program keeps running with everything in memory; the file holds the last state that fit.
    ASSERT_GT(store->blocks().size(), lastSaved.size()) << "the disk never filled up";
    EXPECT_EQ(blocksOnDisk(), lastSaved);

    // Read-only now: what was saved is read, and no change is ever written.
    store.reset();
    ASSERT_EQ(::mount("tmpfs", path.constData(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const QByteArray bytes = dir.read(u"blocks.json"_s).value();
    open();
    EXPECT_EQ(store->blocks(), lastSaved);
    store->deleteBlock(lastSaved.front().id);
    store->setSettings({.chimesEnabled = false});
    EXPECT_EQ(store->blocks().size(), lastSaved.size() - 1);
    EXPECT_EQ(dir.read(u"blocks.json"_s), bytes);
    EXPECT_FALSE(dir.exists(u"settings.json"_s));
}

TEST_F(Persistence, KillingTheProcessMidSaveNeverLeavesAMixOrAnEmptyFile) {
    QRandomGenerator random(20241122);
    // How many items each list holds after the last save known to have finished.
    std::map<QByteArray, qint64> saved{{"blocks", 0}, {"planned", 0}};
    for (int run = 0; run < 120 && !::testing::Test::HasFatalFailure(); ++run) {
        SCOPED_TRACE(run);
        QProcess process;
        process.start(QCoreApplication::applicationDirPath() + u"/save_storm"_s, {dir.path()});
        ASSERT_TRUE(process.waitForStarted(5000) && process.waitForReadyRead(10000));
        for (const QDeadlineTimer until(random.bounded(2, 60)); !until.hasExpired();)
            process.waitForReadyRead(1);
        process.kill(); // SIGKILL: no chance to finish the save
        process.waitForFinished(5000);
        for (const QByteArray& line : process.readAllStandardOutput().split('\n'))
            if (const auto words = line.split(' '); words.size() == 2 && saved.contains(words[0]))
                saved[words[0]] = words[1].toLongLong();

        // Every file holds the state before the interrupted save or the one after it; the lists
        // other than blocks may not have been written yet.
        const auto blocks = json::decodeList<WorkBlock>(dir.read(u"blocks.json"_s).value_or(""));
        const auto planned =
            json::decodeList<PlannedBlock>(dir.read(u"planned.json"_s).value_or("[]"));
        const auto rules = json::decodeList<RepeatRule>(dir.read(u"rules.json"_s).value_or("[]"));
        const auto settings = json::decodeSettingsFile(dir.read(u"settings.json"_s).value_or("{}"));
        ASSERT_TRUE(blocks && planned && rules && settings) << "a file does not decode";
        ASSERT_EQ(rules->size(), dir.exists(u"rules.json"_s) ? 1u : 0u);
        for (std::size_t i = 0; i < blocks->size(); ++i)
            ASSERT_EQ((*blocks)[i].title, QString::number(i));
        for (const auto& [list, size] :
             {std::pair{"blocks", blocks->size()}, std::pair{"planned", planned->size()}}) {
            const auto n = static_cast<qint64>(size);
            ASSERT_TRUE(n == saved[list] || n == saved[list] + 1)
                << n << " " << list << ", reported " << saved[list];
            saved[list] = n; // what the next start finds
        }
    }
    // Kills must land among saves, not only during start-up (a sanitizer build saves slowly).
    EXPECT_GT(saved["blocks"], 30) << "the process hardly saved anything before each kill";
}
