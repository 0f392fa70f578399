#pragma once

#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QtCore/qtestsupport_core.h>

#include "support/TempDataDir.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace quillmere::test {

using namespace Qt::StringLiterals;

// Whether `holds()` becomes true within `ms` milliseconds, the event loop running meanwhile.
inline constexpr auto waitFor = [](auto holds, int ms) { return QTest::qWaitFor(holds, ms); };

// The first line a started helper prints (Xvfb's display, dbus-daemon's address), or nothing
// when it does not start or says nothing within ten seconds.
inline QByteArray firstLine(QProcess& p) {
    const auto lineRead = [&] {
        return p.canReadLine() || (p.waitForReadyRead(200) && p.canReadLine());
    };
    return p.waitForStarted(5000) && waitFor(lineRead, 10000) ? p.readLine().trimmed()
                                                              : QByteArray();
}

// A program started under a faked wall clock (libfaketime), in a process group of its own, so
// ending the group never leaves anything of it behind.
class FakeTimeProgram {
public:
    ~FakeTimeProgram() { end(); }

    // `fakeStart` is libfaketime's absolute form, for example "@2024-03-04 10:30:00".
    bool start(QProcessEnvironment env, const QString& binary, const QString& fakeStart,
               const QStringList& args = {},
               QProcess::ProcessChannelMode channels = QProcess::MergedChannels) {
        env.insert(u"FAKETIME_DONT_FAKE_MONOTONIC"_s, u"1"_s);
        // libfaketime is preloaded ahead of all others, which a sanitized build must allow.
        env.insert(u"ASAN_OPTIONS"_s,
                   env.value(u"ASAN_OPTIONS"_s) + u":verify_asan_link_order=0"_s);
        // Preloaded straight into the program rather than through the `faketime` wrapper: the
        // wrapper names a semaphore after its own process id and fails when a killed run left
        // one behind under a reused id.
        env.insert(u"FAKETIME"_s, fakeStart);
        const QString preload = env.value(u"LD_PRELOAD"_s);
        env.insert(u"LD_PRELOAD"_s, QStringLiteral(QUILLMERE_LIBFAKETIME) +
                                        (preload.isEmpty() ? QString() : u':' + preload));
        m_process.setProcessChannelMode(channels);
        m_process.setChildProcessModifier([] { setpgid(0, 0); });
        m_process.setProcessEnvironment(env);
        m_process.start(binary, args);
        if (!m_process.waitForStarted(5000))
            return false;
        m_group = static_cast<pid_t>(m_process.processId());
        m_sinceStart.start();
        return true;
    }

    // Ends the program, by default as a session's end does; true when it was gone within five
    // seconds.
    bool end(int signal = SIGTERM) {
        if (m_group <= 0) // never kill(0, …): that would be the test's own process group
            return true;
        kill(-m_group, signal);
        m_process.waitForFinished(5000);
        const bool ended = waitFor([&] { return kill(-m_group, 0) != 0; }, 5000);
        kill(-m_group, SIGKILL);
        m_group = 0;
        return ended;
    }

    QProcess& process() { return m_process; }
    pid_t pid() const { return static_cast<pid_t>(m_process.processId()); }
    bool running() const { return m_process.state() == QProcess::Running; }
    qint64 elapsed() const { return m_sinceStart.elapsed(); }

private:
    QProcess m_process;
    pid_t m_group = 0;
    QElapsedTimer m_sinceStart;
};

// A desktop session of its own for the real program: a data, config and runtime folder, and
// after start() an 800 × 600 X server, a private session bus and, when asked, a real
// notification daemon (dunst). Everything it started is killed when it goes, and with this
// process should that die first. Without start() the program runs headless and busless.
class Session {
public:
    Session() {
        m_env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS"})
            m_env.remove(QString::fromLatin1(name));
        m_env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        m_env.insert(u"XDG_RUNTIME_DIR"_s, m_dir.path());
        m_env.insert(u"XDG_CONFIG_HOME"_s, m_dir.file(u"config"_s));
        m_env.insert(u"XDG_DATA_HOME"_s, m_dir.file(u"data"_s));
        m_env.insert(u"TZ"_s, u"Europe/Berlin"_s);
        m_env.insert(u"SDL_AUDIODRIVER"_s, u"dummy"_s);
        QDir().mkpath(dataFile(QString()));
    }
    ~Session() {
        // The daemon first, then what it runs on.
        for (auto it = m_processes.rbegin(); it != m_processes.rend(); ++it) {
            // What does not end at once is killed with its QProcess.
            (*it)->terminate();
            (*it)->waitForFinished(2000);
        }
    }
    // Returns what did not start, or nothing. From here on the program picks its platform
    // itself, as on a desktop.
    QString start(bool withNotificationDaemon) {
        QProcess& x = spawn(u"Xvfb"_s,
                            u"-displayfd 1 -nolisten tcp -screen 0 800x600x24"_s.split(u' '), true);
        const QByteArray display = firstLine(x);
        if (display.isEmpty())
            return u"Xvfb did not start: "_s + x.errorString();
        m_env.insert(u"DISPLAY"_s, u':' + QString::fromLatin1(display));
        m_env.remove(u"QT_QPA_PLATFORM"_s);

        // A session bus without service activation, so nothing but what we start can answer.
        m_dir.write(
            u"bus.conf"_s,
            "<busconfig><type>session</type><listen>unix:dir=" + QFile::encodeName(m_dir.path()) +
                "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                "<allow own=\"*\"/></policy></busconfig>\n");
        m_address = firstLine(spawn(u"dbus-daemon"_s,
                                    {u"--config-file="_s + m_dir.file(u"bus.conf"_s), u"--nofork"_s,
                                     u"--print-address=1"_s},
                                    true));
        if (m_address.isEmpty())
            return u"dbus-daemon did not start"_s;
        m_env.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromLatin1(m_address));
        if (!withNotificationDaemon)
            return {};

        if (!spawn(u"dunst"_s, {}).waitForStarted(5000))
            return u"dunst did not start"_s;
        const QStringList ask = u"--session --print-reply --dest=org.freedesktop.DBus / "
                                "org.freedesktop.DBus.NameHasOwner "
                                "string:org.freedesktop.Notifications"_s.split(u' ');
        if (!waitFor([&] { return run(u"dbus-send"_s, ask).out.contains("boolean true"); }, 30000))
            return u"dunst never took the notification name"_s;
        return {};
    }

    // A helper on the session (a tray, a daemon), ended with it. Its output goes nowhere, but
    // for the standard output of one whose first line is read: nothing drains a pipe.
    QProcess& spawn(const QString& program, const QStringList& args, bool firstLineRead = false) {
        QProcess* p = m_processes.emplace_back(std::make_unique<QProcess>()).get();
        p->setProcessEnvironment(m_env);
        p->setStandardErrorFile(QProcess::nullDevice());
        if (!firstLineRead)
            p->setStandardOutputFile(QProcess::nullDevice());
        p->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        p->start(program, args);
        return *p;
    }

    QByteArray address() const { return m_address; }
    // What the program and its clients run with on this session.
    QProcessEnvironment environment() const { return m_env; }
    QProcessEnvironment& environment() { return m_env; }

    // The program's own data folder, XDG_DATA_HOME/Quillmere.
    QString dataFile(const QString& name) const { return m_dir.file(u"data/Quillmere/"_s + name); }
    void writeData(const QString& name, const QByteArray& bytes) const {
        m_dir.write(u"data/Quillmere/"_s + name, bytes);
    }
    QByteArray readData(const QString& name) const { return read(u"data/Quillmere/"_s + name); }
    // A file of the session's folder (its config, its runtime, …), or nothing.
    QByteArray read(const QString& name) const { return m_dir.read(name).value_or(QByteArray()); }
    QString path(const QString& name) const { return m_dir.file(name); }

    // Runs a client on the session to its end.
    struct Outcome {
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };
    Outcome run(const QString& program, const QStringList& args, int timeoutMs = 10000) const {
        QProcess p;
        p.setProcessEnvironment(m_env);
        p.start(program, args);
        // One missing or still running at the end counts as failed, not as its default exit code.
        const bool finished = p.waitForFinished(timeoutMs);
        return {finished && p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                p.readAllStandardOutput(), p.readAllStandardError()};
    }
    // Whether a mapped window's name matches the (extended) regular expression.
    bool shows(const QString& name) const {
        return run(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, name}).exitCode ==
               0;
    }

private:
    TempDataDir m_dir;
    QProcessEnvironment m_env;
    QByteArray m_address;
    std::vector<std::unique_ptr<QProcess>> m_processes;
};

} // namespace quillmere::test
