#include "Figures.h"
#include "model/JsonCodec.h"
#include "model/TimeMath.h"

#include <benchmark/benchmark.h>

using namespace quillmere;

namespace {

// About a month of blocks: 30 days of 20 blocks.
std::vector<WorkBlock> monthOfBlocks() {
    std::vector<WorkBlock> blocks;
    for (int day = 1; day <= 30; ++day) {
        for (int i = 0; i < 20; ++i) {
            std::optional<QUuid> rule;
            if (i % 4 == 0)
                rule = QUuid::createUuid();
            blocks.push_back({QUuid::createUuid(), QStringLiteral("Block %1").arg(i),
                              QStringLiteral("2024-03-%1").arg(day, 2, 10, QLatin1Char('0')),
                              i * 60, 45, i % 3 ? WorkKind::shallow : WorkKind::deep, rule,
                              731232000.0 + day * 86400 + i});
        }
    }
    return blocks;
}

void BM_DecodeAndReencode600Blocks(benchmark::State& state) {
    const QByteArray file = json::encodeList(monthOfBlocks());
    for (auto _ : state) {
        auto decoded = json::decodeList<WorkBlock>(file);
        QByteArray again = json::encodeList(*decoded);
        benchmark::DoNotOptimize(again);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * file.size());
    state.counters["file_bytes"] = static_cast<double>(file.size());
}
BENCHMARK(BM_DecodeAndReencode600Blocks)->Unit(benchmark::kMillisecond);

// The day key both ways, over a month of instants: the refresh reads every stored block's day.
std::vector<QDateTime> monthOfInstants() {
    std::vector<QDateTime> instants;
    for (int day = 1; day <= 30; ++day)
        for (int i = 0; i < 20; ++i)
            instants.push_back(QDateTime(QDate(2024, 3, day), QTime(i, 7)));
    return instants;
}

void BM_DayKeyText600(benchmark::State& state) {
    const std::vector<QDateTime> instants = monthOfInstants();
    for (auto _ : state)
        for (const QDateTime& instant : instants)
            benchmark::DoNotOptimize(TimeMath::dayKey(instant));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * instants.size()));
}
BENCHMARK(BM_DayKeyText600)->Unit(benchmark::kMicrosecond);

void BM_DayKeyParse600(benchmark::State& state) {
    std::vector<QString> keys;
    for (const QDateTime& instant : monthOfInstants())
        keys.push_back(TimeMath::dayKey(instant));
    for (auto _ : state)
        for (const QString& key : keys)
            benchmark::DoNotOptimize(TimeMath::dateFromDayKey(key));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * keys.size()));
}
BENCHMARK(BM_DayKeyParse600)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    return runWithFigures(argc, argv, [](const FigureReporter& r) {
        FigureReporter::print("decode_reencode_600_ms",
                              r.seconds("BM_DecodeAndReencode600Blocks") * 1e3, 2);
    });
}
