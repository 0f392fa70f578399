#include "stats/SampleRecord.h"
#include "stats/StatsContent.h"
#include "stats/StatsWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace quillmere;

namespace {

// Five years of about eight confirmed blocks a day, made once for every benchmark here.
struct FiveYears {
    QTemporaryDir dir;
    QDate today = QDate(2026, 3, 12);
    int rows = writeSampleRecord(dir.path(), today, 5 * 365);
    StatsQueries::DayMinutes planned =
        StatsQueries::readPlannedMinutes(dir.filePath(QStringLiteral("blocks.json")));
};

FiveYears& fiveYears() {
    static FiveYears data;
    return data;
}

// Everything the window reads and works out when it opens or follows a confirmation: the
// per-day sums, the leading titles and the figures (the plan is already in memory).
StatsContent openQueries() {
    FiveYears& data = fiveYears();
    StatsContent content = loadStatsContent(data.dir.path(), data.today, data.planned, Qt::Monday);
    benchmark::DoNotOptimize(
        StatsQueries::totals(content.record.confirmed, content.today, Qt::Monday));
    benchmark::DoNotOptimize(StatsQueries::deepStreaks(content.record.confirmed, content.today));
    benchmark::DoNotOptimize(StatsQueries::averageDeepPerDayWorked(content.record.confirmed));
    return content;
}

void BM_StatsOpenQueriesFiveYears(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(openQueries());
    state.counters["rows"] = fiveYears().rows;
}
BENCHMARK(BM_StatsOpenQueriesFiveYears)->Unit(benchmark::kMillisecond);

// The window built and drawn once offscreen, for scale beside the queries.
void BM_StatsWindowFirstPaintFiveYears(benchmark::State& state) {
    const StatsContent content = openQueries();
    for (auto _ : state) {
        StatsWindow window(fiveYears().dir.path());
        window.setContent(content);
        benchmark::DoNotOptimize(window.grab());
    }
}
BENCHMARK(BM_StatsWindowFirstPaintFiveYears)->Unit(benchmark::kMillisecond);

void BM_StatsExportCsvFiveYears(benchmark::State& state) {
    const QString database = statsDatabasePath(fiveYears().dir.path());
    for (auto _ : state)
        benchmark::DoNotOptimize(StatsQueries::toCsv(StatsQueries::readRows(database)));
}
BENCHMARK(BM_StatsExportCsvFiveYears)->Unit(benchmark::kMillisecond);

// The median of many opens, as the one figure the statistics window is judged by.
double openMedianMs() {
    std::vector<double> times;
    for (int i = 0; i < 41; ++i) {
        QElapsedTimer timer;
        timer.start();
        benchmark::DoNotOptimize(openQueries());
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    std::nth_element(times.begin(), times.begin() + 20, times.end());
    return times[20];
}

} // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::printf("FIGURE stats_open_ms %.2f\n", openMedianMs());
    return 0;
}
