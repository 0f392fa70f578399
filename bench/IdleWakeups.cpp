// How often the whole program wakes while it has nothing to do, with its panel closed: once
// before any deep block has run, and once after one has ended (its noise, chimes and banner
// watch have all been used). The real binary runs under a faked wall clock on a headless X
// server with an XEmbed tray and a bus of its own; a wake-up is a voluntary context switch of
// any of its threads, read from /proc over a measured stretch of real time.
//
// QUILLMERE_WAKEUP_SECONDS shortens the measured stretch (default 60 s).

#include "model/JsonCodec.h"
#include "support/FirstLine.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <vector>

using namespace quillmere;

namespace {

constexpr int settleSeconds = 15;

QProcess* spawn(std::vector<std::unique_ptr<QProcess>>& all, const QProcessEnvironment& env,
                const QString& program, const QStringList& args) {
    auto p = std::make_unique<QProcess>();
    p->setProcessEnvironment(env);
    p->setStandardErrorFile(QProcess::nullDevice());
    p->setChildProcessModifier([] {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    p->start(program, args);
    all.push_back(std::move(p));
    return all.back().get();
}

using quillmere::test::firstLine;

// An X server and a tray host on it: with a tray the program keeps its panel closed.
struct Desktop {
    std::vector<std::unique_ptr<QProcess>> processes;
    QString display;

    bool start() {
        QProcess* x =
            spawn(processes, QProcessEnvironment::systemEnvironment(), QStringLiteral("Xvfb"),
                  {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-nolisten"),
                   QStringLiteral("tcp")});
        const QByteArray number = firstLine(*x);
        if (number.isEmpty())
            return false;
        display = QLatin1Char(':') + QString::fromLatin1(number);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DISPLAY"), display);
        spawn(processes, env, QStringLiteral("trayer"), {});
        QThread::msleep(500);
        return true;
    }
    ~Desktop() {
        for (auto it = processes.rbegin(); it != processes.rend(); ++it) {
            kill(-static_cast<pid_t>((*it)->processId()), SIGKILL);
            (*it)->waitForFinished(2000);
        }
    }
};

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

// One program on its own data, runtime folder and session bus.
struct Program {
    QTemporaryDir home;
    std::vector<std::unique_ptr<QProcess>> processes;
    QProcess* faketime = nullptr;

    bool start(const QString& display, const std::vector<WorkBlock>& blocks,
               const QString& fakeStart, const QString& binary = QStringLiteral(QUILLMERE_BINARY),
               const QStringList& args = {}) {
        QDir(home.path()).mkpath(QStringLiteral("data/Quillmere"));
        QFile blocksFile(home.filePath(QStringLiteral("data/Quillmere/blocks.json")));
        if (!blocksFile.open(QIODevice::WriteOnly))
            return false;
        blocksFile.write(json::encodeList(blocks));
        blocksFile.close();

        QFile conf(home.filePath(QStringLiteral("bus.conf")));
        if (!conf.open(QIODevice::WriteOnly))
            return false;
        conf.write(
            "<busconfig><type>session</type><listen>unix:dir=" + QFile::encodeName(home.path()) +
            "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
            "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
            "<allow own=\"*\"/></policy></busconfig>\n");
        conf.close();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        QProcess* bus = spawn(processes, env, QStringLiteral("dbus-daemon"),
                              {QStringLiteral("--config-file=") + conf.fileName(),
                               QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
        const QByteArray address = firstLine(*bus);
        if (address.isEmpty())
            return false;

        env.insert(QStringLiteral("DISPLAY"), display);
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QString::fromLatin1(address));
        env.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("TZ"), QStringLiteral("Europe/Berlin"));
        // The disk driver plays in real time, as a sound server would: a device left open
        // shows up as the wake-ups of its thread.
        env.insert(QStringLiteral("SDL_AUDIODRIVER"), QStringLiteral("disk"));
        env.insert(QStringLiteral("SDL_DISKAUDIOFILE"), QStringLiteral("/dev/null"));
        env.insert(QStringLiteral("FAKETIME_DONT_FAKE_MONOTONIC"), QStringLiteral("1"));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        env.remove(QStringLiteral("WAYLAND_DISPLAY"));
        faketime = spawn(
            processes, env, QStringLiteral("faketime"),
            QStringList{QStringLiteral("-f"), QStringLiteral("@2024-03-04 ") + fakeStart, binary} +
                args);
        return faketime->waitForStarted(5000);
    }

    // faketime runs the program as its child.
    std::optional<pid_t> programPid() const {
        QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(faketime->processId()));
        if (!children.open(QIODevice::ReadOnly))
            return std::nullopt;
        const QList<QByteArray> ids = children.readAll().trimmed().split(' ');
        bool ok = false;
        const pid_t pid = ids.value(0).toInt(&ok);
        return ok ? std::optional(pid) : std::nullopt;
    }

    ~Program() {
        for (auto it = processes.rbegin(); it != processes.rend(); ++it) {
            kill(-static_cast<pid_t>((*it)->processId()), SIGTERM);
            if (!(*it)->waitForFinished(5000))
                kill(-static_cast<pid_t>((*it)->processId()), SIGKILL);
            (*it)->waitForFinished(2000);
        }
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
    Desktop desktop;
    if (!desktop.start()) {
        std::fprintf(stderr, "idle wake-ups: no X server\n");
        return 1;
    }
    // Before: a deep block later in the day, far from its reminder. After: a deep block with
    // noise, chimes and banner watching ends a few seconds after the start, and the next one
    // is hours away.
    Program bare;
    Program before;
    Program after;
    if (!bare.start(desktop.display, {}, QStringLiteral("08:00:00"),
                    QCoreApplication::applicationDirPath() + QStringLiteral("/baseline-tray"),
                    {QStringLiteral("--stay")}) ||
        !before.start(desktop.display, {deep(600, 60)}, QStringLiteral("08:00:00")) ||
        !after.start(desktop.display, {deep(540, 60), deep(840, 60)}, QStringLiteral("09:59:55"))) {
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
