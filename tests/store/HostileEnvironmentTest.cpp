#include "support/StoreHarness.h"

#include <QFile>
#include <QJsonDocument>
#include <QScopeGuard>

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
