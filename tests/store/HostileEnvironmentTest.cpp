#include "store/StatsDB.h"

#include "support/StoreHarness.h"

#include <QFile>
#include <QProcess>

#include <sys/mount.h>
#include <unistd.h>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

namespace {

using HostileEnvironment = StoreHarness;

// A tmpfs of its own, for a full disk or a read-only folder; unmounted afterwards. Needs root
// with the right to mount, which CI machines have.
class SmallTmpfs {
public:
    SmallTmpfs(const QString& path, const char* options) : m_path(path.toLocal8Bit()) {
        m_mounted = ::mount("tmpfs", m_path.constData(), "tmpfs", 0, options) == 0;
    }
    ~SmallTmpfs() {
        if (m_mounted)
            ::umount2(m_path.constData(), MNT_DETACH);
    }
    bool mounted() const { return m_mounted; }
    bool remountReadOnly() {
        return ::mount("tmpfs", m_path.constData(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }

private:
    QByteArray m_path;
    bool m_mounted = false;
};

} // namespace

TEST_F(HostileEnvironment, TheDataFolderIsAFileOrADanglingSymlink) {
    dir.write(QStringLiteral("Quillmere"), "I am a file");
    ASSERT_TRUE(QFile::link(dir.file(QStringLiteral("nowhere")), dir.file(QStringLiteral("link"))));
    for (const QString& name : {QStringLiteral("Quillmere"), QStringLiteral("link")}) {
        SCOPED_TRACE(name.toStdString());
        store.reset();
        store = std::make_unique<BlockStore>(clock, aids, dir.file(name));
        processEvents();
        store->add(makeBlock(QStringLiteral("kept in memory"), today, 600, 60));
        store->addPlanned(
            {QUuid::createUuid(), QStringLiteral("p"), WorkKind::deep, 0, std::nullopt});
        EXPECT_EQ(store->blocks().size(), 1u);
        EXPECT_EQ(store->planned().size(), 1u);
    }
    EXPECT_EQ(dir.read(QStringLiteral("Quillmere")), QByteArray("I am a file"));
    EXPECT_FALSE(QFileInfo::exists(dir.file(QStringLiteral("nowhere"))));
}

TEST_F(HostileEnvironment, AFullDiskThenAReadOnlyFolderKeepTheLastCompleteFile) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "mounting a small tmpfs needs root";
    SmallTmpfs disk(dir.path(), "size=64k");
    if (!disk.mounted())
        GTEST_SKIP() << "this machine does not allow mounting a tmpfs";
    open();
    std::vector<WorkBlock> lastSaved;
    for (int i = 0; i < 2000; ++i) {
        store->add(makeBlock(QStringLiteral("block %1 ").arg(i).repeated(4), today, i % 1440, 1));
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
    ASSERT_TRUE(disk.remountReadOnly());
    const QByteArray bytes = dir.read(u"blocks.json"_s).value();
    open();
    EXPECT_EQ(store->blocks(), lastSaved);
    store->deleteBlock(lastSaved.front().id);
    Settings quiet;
    quiet.chimesEnabled = false;
    store->setSettings(quiet);
    EXPECT_EQ(store->blocks().size(), lastSaved.size() - 1);
    EXPECT_EQ(dir.read(u"blocks.json"_s), bytes);
    EXPECT_FALSE(dir.exists(u"settings.json"_s));
}

TEST_F(HostileEnvironment, AStatisticsDatabaseLockedByAnotherProcess) {
    // Another program holds an exclusive transaction on the database for the whole test.
    QProcess holder;
    holder.start(QStringLiteral("sqlite3"), {dir.file(QStringLiteral("stats.sqlite"))});
    ASSERT_TRUE(holder.waitForStarted(5000)) << "sqlite3 is not installed";
    holder.write(
        "CREATE TABLE IF NOT EXISTS other(x);\nBEGIN EXCLUSIVE;\nINSERT INTO other VALUES (1);\n"
        "SELECT 'locked';\n");
    ASSERT_TRUE(holder.waitForReadyRead(5000));
    ASSERT_TRUE(holder.readAllStandardOutput().contains("locked"));

    const WorkBlock block = makeBlock(QStringLiteral("b"), today, 480, 60);
    seedBlocks({block});
    wall.set(monday, QTime(9, 0, 1));
    open();
    EXPECT_TRUE(store->isFrozen(block)); // frozen in memory although nothing could be stored

    holder.write("COMMIT;\n.quit\n");
    holder.closeWriteChannel();
    ASSERT_TRUE(holder.waitForFinished(5000));
    store.reset();
    EXPECT_TRUE(StatsDB(dir.file(QStringLiteral("stats.sqlite"))).confirmedIDs(today).isEmpty());
}
