// Start-up and a day's refreshes over a fuzzed data folder. The input holds the four state
// files and the statistics database, separated by the line "----".
#include "FuzzSupport.h"

#include "model/TimeMath.h"
#include "store/BlockStore.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <limits>

using namespace quillmere;

namespace {

class FixedWallClock final : public WallClock {
public:
    QDateTime at = QDateTime(QDate(2024, 3, 4), QTime(10, 0, 2));
    QDateTime now() const override { return at; }
};

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

// Minutes beyond 32 bits in a block that gets confirmed stop the program by design (the
// statistics database stores 32-bit minutes); such folders are not worth the fuzzer's time.
bool reachesDocumentedStop(const QByteArray& blocksFile) {
    const auto blocks = json::decodeList<WorkBlock>(blocksFile);
    if (!blocks)
        return false;
    for (const WorkBlock& b : *blocks)
        if (std::llabs(b.startMinutes) > std::numeric_limits<int>::max() ||
            std::llabs(b.durationMinutes) > std::numeric_limits<int>::max())
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ensureApplication();
    const QList<QByteArray> parts = fuzz::bytes(data, size).split('\n');
    QList<QByteArray> files(5);
    int index = 0;
    for (const QByteArray& line : parts) {
        if (line == "----") {
            if (++index == files.size())
                break;
            continue;
        }
        files[index] += line + '\n';
    }
    if (reachesDocumentedStop(files[0]))
        return 0;

    QTemporaryDir dir;
    const QStringList names{QStringLiteral("blocks.json"), QStringLiteral("rules.json"),
                            QStringLiteral("planned.json"), QStringLiteral("settings.json"),
                            QStringLiteral("stats.sqlite")};
    for (int i = 0; i < names.size(); ++i)
        if (!files[i].isEmpty())
            write(dir.filePath(names[i]), files[i]);

    FixedWallClock wall;
    AppClock clock(wall);
    NoFocusAids aids;
    BlockStore store(clock, aids, dir.path());
    for (int step = 0; step < 4; ++step) {
        clock.tick();
        wall.at = wall.at.addSecs(3600 * 7 + 13);
    }
    // After a change the file holds exactly what is in memory.
    const auto draft = store.nextFreeBlock(WorkKind::deep);
    if (draft)
        store.add(*draft);
    else
        store.save();
    QFile saved(dir.filePath(names[0]));
    if (saved.open(QIODevice::ReadOnly)) {
        const auto onDisk = json::decodeList<WorkBlock>(saved.readAll());
        fuzz::require(onDisk && *onDisk == store.blocks(), "blocks.json differs from memory");
    }
    return 0;
}
