// Start-up and idle memory of the shell, each beside a bare Qt program with a tray icon.
// Both run as real processes with a month of data for Quillmere, on a headless X server with
// a StatusNotifierItem host on a bus of their own, so Quillmere starts as it does in a
// desktop's tray: the icon only, its panel not built until it is first opened.
#include "model/JsonCodec.h"
#include "model/TimeMath.h"
#include "support/FakeTrayHost.h"
#include "support/Session.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace quillmere;

namespace {

double bareStartSeconds = 0;
double bareStartCpuSeconds = 0;
double startCpuRatio = 0;
double bareRssKiB = 0;
double startRatio = 0;
double rssRatio = 0;

QString binDir() {
    return QCoreApplication::applicationDirPath();
}

// An X server and a session bus (the tests' session) with a tray host on it, shared by every
// run; this process answers the host's side, so it keeps its event loop turning while a
// program starts.
quillmere::test::Session* session = nullptr;

QProcessEnvironment environment(const QString& home) {
    QProcessEnvironment env = session->environment();
    for (const char* name : {"XDG_RUNTIME_DIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
        env.insert(QString::fromLatin1(name), home);
    return env;
}

// Waits with the event loop turning, so the tray host can answer the program.
void waitFor(QProcess& p, int ms) {
    if (p.state() == QProcess::NotRunning)
        return;
    QEventLoop loop;
    QObject::connect(&p, &QProcess::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Thirty days back and a week ahead, eight blocks a day, a few rules and a backlog.
void writeMonth(const QString& folder) {
    // Today and now as the program sees them, in the session's time zone.
    const QDateTime local = QDateTime::currentDateTime().toTimeZone(
        QTimeZone(session->environment().value(QStringLiteral("TZ")).toUtf8()));
    const QDate today = local.date();
    // Nothing of today runs or is about to when the program starts: a running deep block would
    // open an audio device for its noise and a coming one put up a reminder card, which the
    // bare program has no counterpart for, and the figures would hang on the time of day.
    const Minutes now = local.time().msecsSinceStartOfDay() / 60000;
    const auto clearOfNow = [now](Minutes start, Minutes length) {
        return start >= now + 15 || start + length <= now;
    };
    std::vector<WorkBlock> blocks;
    for (int d = -29; d <= 7; ++d) {
        const QString day = TimeMath::dayKey(QDateTime(today.addDays(d), QTime(12, 0)));
        for (int i = 0; i < 8; ++i) {
            const Minutes start = 480 + i * 75;
            if (d == 0 && !clearOfNow(start, 60))
                continue;
            blocks.push_back({QUuid::createUuid(), QStringLiteral("Block %1").arg(i), day, start,
                              60, i % 2 ? WorkKind::shallow : WorkKind::deep, std::nullopt,
                              800000000.0});
        }
    }
    // Stamped onto today at start-up (which saves both files), at times clear of now.
    std::vector<RepeatRule> rules;
    for (int i = 0; i < 5; ++i) {
        Minutes start = 1200 + i * 30;
        if (!clearOfNow(start, 30))
            start -= 12 * 60;
        rules.push_back({QUuid::createUuid(),
                         QStringLiteral("Rule %1").arg(i),
                         WorkKind::deep,
                         start,
                         30,
                         {1 + i, 2 + i},
                         std::nullopt});
    }
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

// The ratio compares medians: on a shared machine a single start that waits for the processor
// (or for fontconfig rebuilding its cache) would otherwise decide the figure.
double median(std::vector<double> runs) {
    if (runs.empty())
        return 0;
    std::sort(runs.begin(), runs.end());
    const std::size_t mid = runs.size() / 2;
    return runs.size() % 2 ? runs[mid] : (runs[mid - 1] + runs[mid]) / 2;
}

// Processor time (user and system) of this process's children reaped so far: around one run
// it is that run's own, whoever else shares the machine.
double childrenCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Run {
    double wallSeconds = 0;
    double cpuSeconds = 0;
};

Run runOnce(const QString& program, const QStringList& args, const QString& home) {
    QProcess p;
    p.setProcessEnvironment(environment(home));
    p.setStandardErrorFile(QProcess::nullDevice());
    const double cpuBefore = childrenCpuSeconds();
    QElapsedTimer t;
    t.start();
    p.start(program, args);
    waitFor(p, 30000);
    return {t.nsecsElapsed() / 1e9, childrenCpuSeconds() - cpuBefore};
}

double idleRssKiB(const QString& program, QStringList args, const QString& home) {
    QProcess p;
    p.setProcessEnvironment(environment(home));
    args << QStringLiteral("--stay");
    p.start(program, args);
    p.waitForStarted(5000);
    QEventLoop settle;
    QTimer::singleShot(1500, &settle, &QEventLoop::quit);
    settle.exec();
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
    std::vector<double> runs;
    std::vector<double> cpu;
    for (auto _ : state) {
        const Run run = runOnce(binDir() + QStringLiteral("/baseline-tray"), {}, home.path());
        state.SetIterationTime(run.wallSeconds);
        runs.push_back(run.wallSeconds);
        cpu.push_back(run.cpuSeconds);
    }
    bareStartSeconds = median(runs);
    bareStartCpuSeconds = median(cpu);
    state.counters["cpu_ms"] = bareStartCpuSeconds * 1e3;
}

void BM_ColdStartMonthToFirstRefresh(benchmark::State& state) {
    QTemporaryDir home;
    std::vector<double> runs;
    std::vector<double> cpu;
    int n = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QString folder = home.path() + QStringLiteral("/month%1").arg(n++);
        writeMonth(folder);
        state.ResumeTiming();
        const Run run =
            runOnce(binDir() + QStringLiteral("/quillmere-start-probe"), {folder}, home.path());
        state.SetIterationTime(run.wallSeconds);
        runs.push_back(run.wallSeconds);
        cpu.push_back(run.cpuSeconds);
    }
    state.counters["cpu_ms"] = median(cpu) * 1e3;
    if (bareStartSeconds > 0 && bareStartCpuSeconds > 0) {
        startRatio = median(runs) / bareStartSeconds;
        startCpuRatio = median(cpu) / bareStartCpuSeconds;
        state.counters["vs_bare_tray"] = startRatio;
        state.counters["cpu_vs_bare_tray"] = startCpuRatio;
    }
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
    if (bareRssKiB > 0) {
        rssRatio = kib / bareRssKiB;
        state.counters["vs_bare_tray"] = rssRatio;
    }
}

} // namespace

BENCHMARK(BM_BareTrayStart)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ColdStartMonthToFirstRefresh)
    ->UseManualTime()
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BareTrayIdleMemory)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IdleMemoryMonth)->Iterations(1)->Unit(benchmark::kMillisecond);

// With QUILLMERE_START_PROFILE set to a folder, both programs' start-ups are also run once under
// callgrind, whose instruction counts repeat from run to run where times on a shared machine
// do not; the profiles land in that folder for callgrind_annotate.
void profileStartUps(const QString& folder) {
    QTemporaryDir home;
    const QString month = home.path() + QStringLiteral("/month");
    writeMonth(month);
    const auto profile = [&](const QString& name, const QString& program, const QStringList& args) {
        // A run first, so that caches made on first use (fontconfig's, in a fresh home) are
        // not counted against whichever program happens to go first.
        runOnce(program, args, home.path());
        const QString out = folder + u'/' + name + QStringLiteral(".callgrind");
        runOnce(QStringLiteral("valgrind"),
                QStringList{QStringLiteral("--tool=callgrind"), QStringLiteral("-q"),
                            QStringLiteral("--callgrind-out-file=") + out, program} +
                    args,
                home.path());
        std::printf("start-up profile: %s\n", qPrintable(out));
    };
    profile(QStringLiteral("bare-tray"), binDir() + QStringLiteral("/baseline-tray"), {});
    profile(QStringLiteral("quillmere"), binDir() + QStringLiteral("/quillmere-start-probe"),
            {month});
}

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    quillmere::test::Session traySession;
    if (const QString failed = traySession.start(false); !failed.isEmpty()) {
        std::fprintf(stderr, "app bench: %s\n", qPrintable(failed));
        return 1;
    }
    session = &traySession;
    QDBusConnection host = QDBusConnection::connectToBus(QString::fromLatin1(traySession.address()),
                                                         QStringLiteral("tray-host"));
    quillmere::test::FakeWatcher watcher;
    if (!host.isConnected() || !watcher.publish(host)) {
        std::fprintf(stderr, "app bench: no tray host\n");
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // Every start of either program registers its icon with the host: else the figures are
    // those of a start without a tray.
    std::printf("\ntray items registered with the host: %lld\n",
                static_cast<long long>(watcher.items().size()));
    if (const QString folder = qEnvironmentVariable("QUILLMERE_START_PROFILE"); !folder.isEmpty())
        profileStartUps(folder);
    std::printf("FIGURE cold_start_vs_bare_tray %.2f\n", startRatio);
    // The same start-ups by processor time, which a busy machine disturbs far less.
    std::printf("FIGURE cold_start_cpu_vs_bare_tray %.2f\n", startCpuRatio);
    std::printf("FIGURE idle_rss_vs_bare_tray %.2f\n", rssRatio);
    return 0;
}
