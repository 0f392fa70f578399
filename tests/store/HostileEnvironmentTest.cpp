#include "store/StatsDB.h"
#include "store/StatsQueries.h"

#include "support/StoreHarness.h"

#include <QFile>
#include <QScopeGuard>

#include <sqlite3.h>
#include <sys/mount.h>
#include <unistd.h>

using namespace quillmere;
using namespace quillmere::StatsQueries;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

namespace {

using HostileEnvironment = StoreHarness;

} // namespace

TEST_F(HostileEnvironment, DamagedFilesGiveEmptyListsAndStayUntouchedUntilTheirListChanges) {
    const QStringList files{u"blocks.json"_s, u"rules.json"_s, u"planned.json"_s,
                            u"settings.json"_s};
    const std::pair<const char*, QByteArray> contents[] = {
        {"empty", QByteArray()},
        {"truncated", R"([{"id": "6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0", "title": "Wr)"},
        {"wrong type", R"({"id": 5})"},
        {"wrong element", R"([1, 2, 3])"},
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

// The statistics file may be missing, damaged or held by another writer: the record reads as
// empty with a one-line reason, the file is left as it is, and a block that ends still freezes.
TEST_F(HostileEnvironment, AMissingDamagedOrLockedStatisticsFileReadsEmptyAndTheEndedBlockFreezes) {
    const QString path = dir.file(u"stats.sqlite"_s);
    const WorkBlock block = makeBlock(u"Write"_s, today, 480, 60);
    seedBlocks({block});
    wall.set(monday, QTime(9, 0, 0, 100)); // just after the block's end
    const auto expectEmpty = [&](ReadProblem problem) {
        const StatsRecord record = readRecord(path, monday);
        EXPECT_TRUE(record.confirmed.empty() && record.topTitles.empty());
        EXPECT_EQ(record.problem, problem);
        EXPECT_FALSE(explanation(problem).isEmpty());
        EXPECT_FALSE(explanation(problem).contains(u'\n'));
        auto rowsProblem = ReadProblem::none;
        EXPECT_TRUE(readRows(path, &rowsProblem).empty());
        EXPECT_EQ(rowsProblem, problem);
    };
    expectEmpty(ReadProblem::missing);
    EXPECT_FALSE(dir.exists(u"stats.sqlite"_s)); // reading never creates it
    dir.write(u"stats.sqlite"_s, QByteArray());  // a file SQLite made no table in
    expectEmpty(ReadProblem::missing);

    const QByteArray garbage = QByteArray("SQLite format 3").append(4096, '\x5a');
    dir.write(u"stats.sqlite"_s, garbage);
    expectEmpty(ReadProblem::damaged);
    open();
    EXPECT_EQ(store->confirmedIDs(), QSet<QUuid>{block.id});
    EXPECT_TRUE(store->isFrozen(block));
    EXPECT_EQ(dir.read(u"stats.sqlite"_s), garbage);

    // Another writer holds an exclusive transaction while the store starts and confirms.
    store.reset();
    QFile::remove(path);
    StatsDB(path).insert({QUuid::createUuid(), today, u"t"_s, WorkKind::deep, 540, 60});
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr), SQLITE_OK);
    expectEmpty(ReadProblem::locked);
    open();
    EXPECT_TRUE(store->isFrozen(block)); // frozen in memory although nothing could be stored
    sqlite3_exec(holder, "COMMIT;", nullptr, nullptr, nullptr);
    sqlite3_close(holder);
    store.reset();
    // Only the row from before: the confirmation was lost to the lock, and the reads left the
    // file free for the next write.
    EXPECT_EQ(readDayMinutes(path), (DayMinutes{{monday, {60, 0}}}));
    StatsDB(path).insert({QUuid::createUuid(), today, u"t"_s, WorkKind::shallow, 540, 30});
    EXPECT_EQ(readDayMinutes(path), (DayMinutes{{monday, {60, 30}}}));
}

TEST_F(HostileEnvironment, TheDataFolderIsAFileOrADanglingSymlink) {
    dir.write(u"Quillmere"_s, "I am a file");
    ASSERT_TRUE(QFile::link(dir.file(u"nowhere"_s), dir.file(u"link"_s)));
    for (const QString& name : {u"Quillmere"_s, u"link"_s}) {
        SCOPED_TRACE(name.toStdString());
        store.reset();
        store = std::make_unique<BlockStore>(clock, aids, dir.file(name));
        processEvents();
        store->add(makeBlock(u"kept in memory"_s, today, 600, 60));
        store->addPlanned({QUuid::createUuid(), u"p"_s, WorkKind::deep, 0, std::nullopt});
        EXPECT_EQ(store->blocks().size(), 1u);
        EXPECT_EQ(store->planned().size(), 1u);
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
