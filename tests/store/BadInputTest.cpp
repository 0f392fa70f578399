#include "support/StoreHarness.h"

using namespace quillmere;
using namespace quillmere::test;

namespace {

using BadInput = StoreHarness;

std::vector<std::pair<const char*, QByteArray>> damagedContents() {
    QByteArray deep(200000, '[');
    QByteArray huge = "[" + QByteArray(50 * 1024 * 1024, ' ') + "{\"x\":1}]";
    return {
        {"empty", QByteArray()},
        {"truncated",
         QByteArray(R"([{"id": "6F1D2C3B-4A59-4867-9786-A5B4C3D2E1F0", "title": "Wr)")},
        {"wrong type", QByteArray(R"({"id": 5})")},
        {"wrong element", QByteArray(R"([1, 2, 3])")},
        {"deep nesting", deep},
        {"huge numbers", QByteArray(R"([{"startMinutes": 1e400, "durationMinutes": -1e308}])")},
        {"binary", QByteArray("\x00\x01\xff\xfe", 4)},
        {"fifty megabytes", huge},
    };
}

} // namespace

TEST_F(BadInput, DamagedFilesGiveEmptyListsAndStayUntouchedUntilTheirListChanges) {
    const QStringList files{QStringLiteral("blocks.json"), QStringLiteral("rules.json"),
                            QStringLiteral("planned.json"), QStringLiteral("settings.json")};
    for (const auto& [label, bytes] : damagedContents()) {
        SCOPED_TRACE(label);
        for (const QString& file : files)
            dir.write(file, bytes);
        open();
        EXPECT_TRUE(store->blocks().empty());
        EXPECT_TRUE(store->rules().empty());
        EXPECT_TRUE(store->planned().empty());
        EXPECT_EQ(store->settings(), Settings{});
        for (const QString& file : files)
            EXPECT_EQ(dir.read(file), bytes) << file.toStdString();
    }

    // The first change of one list replaces that file and only that file.
    const QByteArray junk("not json");
    for (const QString& file : files)
        dir.write(file, junk);
    open();
    store->addPlanned({QUuid::createUuid(), QStringLiteral("x"), WorkKind::deep, 0, std::nullopt});
    EXPECT_EQ(plannedOnDisk(), store->planned());
    EXPECT_EQ(dir.read(QStringLiteral("blocks.json")), junk);
    EXPECT_EQ(dir.read(QStringLiteral("rules.json")), junk);
    EXPECT_EQ(dir.read(QStringLiteral("settings.json")), junk);
}

TEST_F(BadInput, ADamagedStatisticsDatabaseDoesNotStopStartUp) {
    const QByteArray garbage(4096, 'z');
    dir.write(QStringLiteral("stats.sqlite"), garbage);
    const WorkBlock block = makeBlock(QStringLiteral("Write"), today, 480, 60);
    seedBlocks({block});
    wall.set(monday, QTime(9, 0, 0, 100)); // just after the block's end
    open();
    // Confirmation still freezes the block for this run, and the damaged file is left alone.
    EXPECT_EQ(store->confirmedIDs(), QSet<QUuid>{block.id});
    EXPECT_TRUE(store->isFrozen(block));
    EXPECT_EQ(dir.read(QStringLiteral("stats.sqlite")), garbage);
}
