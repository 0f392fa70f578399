#include "support/StoreHarness.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>

#include <csignal>
#include <sys/mount.h>
#include <unistd.h>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

using HostileEnvironment = StoreHarness;

TEST_F(HostileEnvironment, DamagedFilesGiveEmptyListsAndStayUntouchedUntilTheirListChanges) {
    const QStringList files{u"blocks.json"_s, u"rules.json"_s, u"planned.json"_s,
                            u"settings.json"_s};
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
        for (const QString& file : files)
            dir.write(file, bytes);
        open();
        EXPECT_TRUE(store->blocks().empty() && store->rules().empty() && store->planned().empty());
        EXPECT_EQ(store->settings(), Settings{});
        for (const QString& file : files)
            EXPECT_EQ(dir.read(file), bytes) << file.toStdString();
    }
    // The first change of one list replaces that file and only that file.
    store->addPlanned({QUuid::createUuid(), u"x"_s, WorkKind::deep, 0, std::nullopt});
    EXPECT_EQ(plannedOnDisk(), store->planned());
    for (const QString& file : {u"blocks.json"_s, u"rules.json"_s, u"settings.json"_s})
        EXPECT_EQ(dir.read(file), QByteArray("not json")) << file.toStdString();
}

TEST_F(HostileEnvironment, TheDataFolderIsAFileOrADanglingSymlink) {
    dir.write(u"Quillmere"_s, "I am a file");
    ASSERT_TRUE(QFile::link(dir.file(u"nowhere"_s), dir.file(u"link"_s)));
    for (const QString& name : {u"Quillmere"_s, u"link"_s}) {
        SCOPED_TRACE(name.toStdString());
        store.reset();
        store = std::make_unique<BlockStore>(clock, aids, dir.file(name));
        processEvents();
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

TEST_F(HostileEnvironment, AFullDiskThenAReadOnlyFolderKeepTheLastCompleteFile) {
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

TEST_F(HostileEnvironment, KillingTheProcessMidSaveNeverLeavesAMixOrAnEmptyFile) {
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
        ::kill(static_cast<pid_t>(process.processId()), SIGKILL);
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
