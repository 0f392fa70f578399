// A process that does nothing but change and save every list, as fast as it can, reporting
// each finished save of blocks and planned items on stdout. The crash test kills it at random
// moments.
#include "store/BlockStore.h"

#include <QCoreApplication>
#include <QUuid>

#include <cstdio>

using namespace quillmere;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2)
        return 2;
    const SystemWallClock wall;
    AppClock clock(wall);
    NoFocusAids aids;
    BlockStore store(clock, aids, QString::fromLocal8Bit(argv[1]));
    // One whole line per write, so a kill never leaves half a report.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::printf("ready\n");
    const QString today = store.todayKey();
    for (;;) {
        const auto n = static_cast<Minutes>(store.blocks().size());
        store.add({QUuid::createUuid(), QString::number(n), today, (n * 15) % 1440, 15,
                   WorkKind::deep, std::nullopt, std::nullopt});
        std::printf("blocks %lld\n", static_cast<long long>(n + 1));
        const auto p = static_cast<qint64>(store.planned().size());
        store.addPlanned({QUuid::createUuid(), QString::number(p), WorkKind::shallow, 0.0, {}});
        std::printf("planned %lld\n", static_cast<long long>(p + 1));
        store.setRepeat({static_cast<int>(n % 7) + 1}, store.blocks().front().id);
        store.setSettings({.noiseVolume = static_cast<double>(n % 1000 + 1) / 1000.0});
    }
}
