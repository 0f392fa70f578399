// A process that does nothing but change and save every list, as fast as it can, reporting
// each finished save on stdout. The crash test kills it at random moments.
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
    const auto report = [](const char* list, long long n) {
        std::printf("%s %lld\n", list, n);
        std::fflush(stdout);
    };
    report("ready", 0);
    const QString today = store.todayKey();
    for (;;) {
        const auto n = static_cast<Minutes>(store.blocks().size());
        store.add({QUuid::createUuid(), QString::number(n), today, (n * 15) % 1440, 15,
                   WorkKind::deep, std::nullopt, std::nullopt});
        report("blocks", n + 1);
        const auto p = static_cast<qint64>(store.planned().size());
        store.addPlanned(
            {QUuid::createUuid(), QString::number(p), WorkKind::shallow, 0.0, std::nullopt});
        report("planned", p + 1);
        const int day = static_cast<int>(n % 7) + 1;
        store.setRepeat({day}, store.blocks().front().id);
        report("rules", day);
        Settings settings = store.settings();
        settings.noiseVolume = static_cast<double>(n % 1000 + 1) / 1000.0;
        store.setSettings(settings);
        report("settings", n % 1000 + 1);
    }
}
