#include "Figures.h"
#include "model/JsonCodec.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace quillmere;

namespace {

// A wall clock stopped at 08:00 today, so every run sees the same day.
class FixedClock final : public WallClock {
public:
    QDateTime now() const override { return QDateTime(QDate::currentDate(), QTime(8, 0)); }
};

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
        f.write(bytes);
}

WorkBlock block(const QString& day, Minutes start, Minutes duration, int i) {
    return WorkBlock{QUuid::createUuid(),
                     QStringLiteral("Block %1").arg(i),
                     day,
                     start,
                     duration,
                     i % 2 ? WorkKind::deep : WorkKind::shallow,
                     std::nullopt,
                     1000.0 + i};
}

// Today with 40 blocks of 20 minutes and 30 rules over the whole week.
struct BusyDay {
    FixedClock wall;
    AppClock clock{wall};
    NoFocusAids aids;
    QTemporaryDir dir;
    std::unique_ptr<BlockStore> store;

    BusyDay() {
        const QString today = TimeMath::dayKey(wall.now());
        std::vector<WorkBlock> blocks;
        for (int i = 0; i < 40; ++i)
            blocks.push_back(block(today, 30 + i * 35, 20, i));
        std::vector<RepeatRule> rules;
        for (int i = 0; i < 30; ++i)
            rules.push_back({QUuid::createUuid(), QStringLiteral("Rule %1").arg(i), WorkKind::deep,
                             40 + i * 45, 15, Weekdays{1 + i % 7}, TimeMath::dayKey(wall.now())});
        writeFile(dir.filePath(QStringLiteral("blocks.json")), json::encodeList(blocks));
        writeFile(dir.filePath(QStringLiteral("rules.json")), json::encodeList(rules));
        store = std::make_unique<BlockStore>(clock, aids, dir.path());
    }
};

void BM_NearestFreeStart40Blocks30Rules(benchmark::State& state) {
    BusyDay day;
    const QUuid moving = day.store->todayBlocks()[20].id;
    Minutes target = 0;
    for (auto _ : state) {
        auto start = day.store->nearestFreeStart(target, 20, moving, Weekdays{2, 4});
        benchmark::DoNotOptimize(start);
        target = (target + 37) % 1440;
    }
}
BENCHMARK(BM_NearestFreeStart40Blocks30Rules)->Unit(benchmark::kMicrosecond);

void BM_FreeGap40Blocks30Rules(benchmark::State& state) {
    BusyDay day;
    const QUuid moving = day.store->todayBlocks()[20].id;
    Minutes minute = 0;
    for (auto _ : state) {
        auto gap = day.store->freeGap(minute, moving, Weekdays{2, 4});
        benchmark::DoNotOptimize(gap);
        minute = (minute + 37) % 1440;
    }
}
BENCHMARK(BM_FreeGap40Blocks30Rules)->Unit(benchmark::kMicrosecond);

std::vector<WorkBlock> monthOfBlocks(const QDate& today) {
    std::vector<WorkBlock> blocks;
    for (int d = 0; d < 30; ++d)
        for (int i = 0; i < 24; ++i)
            blocks.push_back(
                block(TimeMath::dayKey(today.addDays(-d).startOfDay()), i * 60, 45, i));
    return blocks;
}

// Start-up over a month of data (30 days of 24 blocks) followed by one save of the blocks.
void BM_StartUpAndOneSaveMonthOfData(benchmark::State& state) {
    FixedClock wall;
    QTemporaryDir dir;
    const std::vector<WorkBlock> blocks = monthOfBlocks(wall.now().date());
    const QByteArray file = json::encodeList(blocks);
    for (auto _ : state) {
        state.PauseTiming();
        writeFile(dir.filePath(QStringLiteral("blocks.json")), file);
        AppClock clock(wall);
        NoFocusAids aids;
        state.ResumeTiming();
        BlockStore store(clock, aids, dir.path());
        store.save();
        benchmark::DoNotOptimize(store.blocks().size());
    }
    state.counters["blocks"] = static_cast<double>(blocks.size());
}
BENCHMARK(BM_StartUpAndOneSaveMonthOfData)->Unit(benchmark::kMillisecond);

// One tick's refresh over a month of data: every stored block is looked at for confirmation.
void BM_RefreshMonthOfData(benchmark::State& state) {
    FixedClock wall;
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("blocks.json")),
              json::encodeList(monthOfBlocks(wall.now().date())));
    AppClock clock(wall);
    NoFocusAids aids;
    BlockStore store(clock, aids, dir.path());
    for (auto _ : state)
        store.refreshBlock();
}
BENCHMARK(BM_RefreshMonthOfData)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runWithFigures(argc, argv, [](const FigureReporter& r) {
        FigureReporter::print("nearest_free_start_us",
                              r.seconds("BM_NearestFreeStart40Blocks30Rules") * 1e6, 2);
        FigureReporter::print("free_gap_us", r.seconds("BM_FreeGap40Blocks30Rules") * 1e6, 2);
        FigureReporter::print("startup_month_and_save_ms",
                              r.seconds("BM_StartUpAndOneSaveMonthOfData") * 1e3, 2);
    });
}
