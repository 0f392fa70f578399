// Start-up and idle memory of the shell, each beside a bare Qt program with a tray icon.
// Both run as real processes on the offscreen platform with a month of data for Quillmere.
#include "model/JsonCodec.h"
#include "model/TimeMath.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <signal.h>

using namespace quillmere;

namespace {

double bareStartSeconds = 0;
double bareRssKiB = 0;

QString binDir() {
    return QCoreApplication::applicationDirPath();
}

QProcessEnvironment environment(const QString& home) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), home);
    env.insert(QStringLiteral("XDG_DATA_HOME"), home);
    env.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    return env;
}

// Thirty days back and a week ahead, eight blocks a day, a few rules and a backlog.
void writeMonth(const QString& folder) {
    const QDate today = QDate::currentDate();
    std::vector<WorkBlock> blocks;
    for (int d = -29; d <= 7; ++d) {
        const QString day = TimeMath::dayKey(QDateTime(today.addDays(d), QTime(12, 0)));
        for (int i = 0; i < 8; ++i)
            blocks.push_back({QUuid::createUuid(), QStringLiteral("Block %1").arg(i), day,
                              480 + i * 75, 60, i % 2 ? WorkKind::shallow : WorkKind::deep,
                              std::nullopt, 800000000.0});
    }
    std::vector<RepeatRule> rules;
    for (int i = 0; i < 5; ++i)
        rules.push_back({QUuid::createUuid(),
                         QStringLiteral("Rule %1").arg(i),
                         WorkKind::deep,
                         1200 + i * 30,
                         30,
                         {1 + i, 2 + i},
                         std::nullopt});
    std::vector<PlannedBlock> planned;
    for (int i = 0; i < 12; ++i)
        planned.push_back({QUuid::createUuid(), QStringLiteral("Someday %1").arg(i),
                           WorkKind::shallow, 800000000.0, std::nullopt});
    auto write = [&](const QString& name, const QByteArray& bytes) {
        QFile f(folder + u'/' + name);
        if (f.open(QIODevice::WriteOnly))
            f.write(bytes);
    };
    QDir().mkpath(folder);
    write(QStringLiteral("blocks.json"), json::encodeList(blocks));
    write(QStringLiteral("rules.json"), json::encodeList(rules));
    write(QStringLiteral("planned.json"), json::encodeList(planned));
}

double runOnce(const QString& program, const QStringList& args, const QString& home) {
    QProcess p;
    p.setProcessEnvironment(environment(home));
    QElapsedTimer t;
    t.start();
    p.start(program, args);
    p.waitForFinished(30000);
    return t.nsecsElapsed() / 1e9;
}

double idleRssKiB(const QString& program, QStringList args, const QString& home) {
    QProcess p;
    p.setProcessEnvironment(environment(home));
    args << QStringLiteral("--stay");
    p.start(program, args);
    p.waitForStarted(5000);
    QThread::msleep(1500);
    double kib = 0;
    QFile status(QStringLiteral("/proc/%1/status").arg(p.processId()));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : status.readAll().split('\n'))
            if (line.startsWith("VmRSS:"))
                kib = line.mid(6).trimmed().split(' ').first().toDouble();
    }
    p.kill();
    p.waitForFinished(3000);
    return kib;
}

void BM_BareTrayStart(benchmark::State& state) {
    QTemporaryDir home;
    double total = 0;
    for (auto _ : state) {
        const double s = runOnce(binDir() + QStringLiteral("/baseline-tray"), {}, home.path());
        state.SetIterationTime(s);
        total += s;
    }
    bareStartSeconds = total / static_cast<double>(state.iterations());
}

void BM_ColdStartMonthToFirstRefresh(benchmark::State& state) {
    QTemporaryDir home;
    double total = 0;
    int n = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QString folder = home.path() + QStringLiteral("/month%1").arg(n++);
        writeMonth(folder);
        state.ResumeTiming();
        const double s =
            runOnce(binDir() + QStringLiteral("/quillmere-start-probe"), {folder}, home.path());
        state.SetIterationTime(s);
        total += s;
    }
    const double mean = total / static_cast<double>(state.iterations());
    if (bareStartSeconds > 0)
        state.counters["vs_bare_tray"] = mean / bareStartSeconds;
}

void BM_BareTrayIdleMemory(benchmark::State& state) {
    QTemporaryDir home;
    for (auto _ : state)
        bareRssKiB = idleRssKiB(binDir() + QStringLiteral("/baseline-tray"), {}, home.path());
    state.counters["rss_KiB"] = bareRssKiB;
}

void BM_IdleMemoryMonth(benchmark::State& state) {
    QTemporaryDir home;
    double kib = 0;
    for (auto _ : state) {
        const QString folder = home.path() + QStringLiteral("/month");
        writeMonth(folder);
        kib =
            idleRssKiB(binDir() + QStringLiteral("/quillmere-start-probe"), {folder}, home.path());
    }
    state.counters["rss_KiB"] = kib;
    if (bareRssKiB > 0)
        state.counters["vs_bare_tray"] = kib / bareRssKiB;
}

} // namespace

BENCHMARK(BM_BareTrayStart)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ColdStartMonthToFirstRefresh)
    ->UseManualTime()
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BareTrayIdleMemory)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IdleMemoryMonth)->Iterations(1)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
