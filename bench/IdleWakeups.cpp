// How often the whole program wakes while it has nothing to do, with its panel closed: once
// before any deep block has run, and once after one has ended (its noise, chimes and banner
// watch have all been used). The real binary runs under a faked wall clock on a headless X
// server with an XEmbed tray and a bus of its own; a wake-up is a voluntary context switch of
// any of its threads, read from /proc over a measured stretch of real time.
//
// QUILLMERE_WAKEUP_SECONDS shortens the measured stretch (default 60 s).

#include "model/JsonCodec.h"
#include "support/Session.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <vector>

using namespace quillmere;

namespace {

constexpr int settleSeconds = 15;

WorkBlock deep(Minutes start, Minutes duration) {
    return {QUuid::createUuid(),
            QStringLiteral("Write"),
            QStringLiteral("2024-03-04"),
            start,
            duration,
            WorkKind::deep,
            {},
            {}};
}

// One program on a session of the tests' own (an X server, a bus and data folders) beside an
// XEmbed tray: with a tray the program keeps its panel closed.
struct Program {
    quillmere::test::Session session;
    quillmere::test::FakeTimeProgram program;

    bool start(const std::vector<WorkBlock>& blocks, const QString& fakeStart,
               const QString& binary = QStringLiteral(QUILLMERE_BINARY),
               const QStringList& args = {}) {
        if (const QString failed = session.start(false); !failed.isEmpty()) {
            std::fprintf(stderr, "idle wake-ups: %s\n", qPrintable(failed));
            return false;
        }
        session.spawn(QStringLiteral("trayer"), {});
        session.writeData(QStringLiteral("blocks.json"), json::encodeList(blocks));
        // The disk driver plays in real time, as a sound server would: a device left open
        // shows up as the wake-ups of its thread.
        QProcessEnvironment env = session.environment();
        env.insert(QStringLiteral("SDL_AUDIODRIVER"), QStringLiteral("disk"));
        env.insert(QStringLiteral("SDL_DISKAUDIOFILE"), QStringLiteral("/dev/null"));
        return program.start(env, binary, QStringLiteral("@2024-03-04 ") + fakeStart, args,
                             QProcess::ForwardedErrorChannel);
    }
    std::optional<pid_t> programPid() const {
        return program.running() ? std::optional(program.pid()) : std::nullopt;
    }
};

// Voluntary context switches of each thread: every time a thread sleeps and is woken again.
std::map<int, long long> switchesByThread(pid_t pid) {
    std::map<int, long long> out;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString& tid : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile status(tasks.filePath(tid + QStringLiteral("/status")));
        if (!status.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray& line : status.readAll().split('\n'))
            if (line.startsWith("voluntary_ctxt_switches:"))
                out[tid.toInt()] = line.mid(24).trimmed().toLongLong();
    }
    return out;
}

// Threads that ended in between are left out; threads that began count from zero.
long long wakeupsBetween(const std::map<int, long long>& before,
                         const std::map<int, long long>& after) {
    long long total = 0;
    for (const auto& [tid, n] : after) {
        const auto was = before.find(tid);
        total += n - (was == before.end() ? 0 : was->second);
    }
    return total;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int seconds = std::max(10, qEnvironmentVariableIntValue("QUILLMERE_WAKEUP_SECONDS") > 0
                                         ? qEnvironmentVariableIntValue("QUILLMERE_WAKEUP_SECONDS")
                                         : 60);
    // Before: a deep block later in the day, far from its reminder. After: a deep block with
    // noise, chimes and banner watching ends a few seconds after the start, and the next one
    // is hours away.
    Program bare;
    Program before;
    Program after;
    if (!bare.start({}, QStringLiteral("08:00:00"),
                    QCoreApplication::applicationDirPath() + QStringLiteral("/baseline-tray"),
                    {QStringLiteral("--stay")}) ||
        !before.start({deep(600, 60)}, QStringLiteral("08:00:00")) ||
        !after.start({deep(540, 60), deep(840, 60)}, QStringLiteral("09:59:55"))) {
        std::fprintf(stderr, "idle wake-ups: the program did not start\n");
        return 1;
    }
    // Past the block's end and its chime, and past start-up's own work (the shell may wait
    // up to ten seconds for a tray host before it shows its icon).
    QThread::sleep(settleSeconds);
    const std::optional<pid_t> barePid = bare.programPid();
    const std::optional<pid_t> beforePid = before.programPid();
    const std::optional<pid_t> afterPid = after.programPid();
    if (!barePid || !beforePid || !afterPid) {
        std::fprintf(stderr, "idle wake-ups: the program is not running\n");
        return 1;
    }
    const auto bareStart = switchesByThread(*barePid);
    const auto beforeStart = switchesByThread(*beforePid);
    const auto afterStart = switchesByThread(*afterPid);
    QElapsedTimer measured;
    measured.start();
    QThread::sleep(static_cast<unsigned long>(seconds));
    const double minutes = static_cast<double>(measured.elapsed()) / 60000.0;
    const double idleBare =
        static_cast<double>(wakeupsBetween(bareStart, switchesByThread(*barePid))) / minutes;
    const double idleBefore =
        static_cast<double>(wakeupsBetween(beforeStart, switchesByThread(*beforePid))) / minutes;
    const double idleAfter =
        static_cast<double>(wakeupsBetween(afterStart, switchesByThread(*afterPid))) / minutes;

    if (qEnvironmentVariableIsSet("QUILLMERE_WAKEUP_THREADS")) {
        for (const auto pid : {*barePid, *beforePid, *afterPid}) {
            for (const auto& [tid, n] : switchesByThread(pid)) {
                QFile comm(QStringLiteral("/proc/%1/task/%2/comm").arg(pid).arg(tid));
                comm.open(QIODevice::ReadOnly);
                const auto& start = pid == *barePid     ? bareStart
                                    : pid == *beforePid ? beforeStart
                                                        : afterStart;
                const auto was = start.find(tid);
                std::printf("  %d %s: %lld\n", pid, comm.readAll().trimmed().constData(),
                            n - (was == start.end() ? 0 : was->second));
            }
        }
    }
    std::printf("\nidle wake-ups per minute, panel closed, over %d s: before any deep block "
                "%.1f, after one ended %.1f (goal: the same, two a minute plus boundaries); "
                "a bare Qt tray program beside them %.1f\n",
                seconds, idleBefore, idleAfter, idleBare);
    std::printf("FIGURE idle_wakeups_per_min %.1f\n", std::max(idleBefore, idleAfter));
    return 0;
}
