#pragma once

#include <QElapsedTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <signal.h>
#include <unistd.h>

namespace quillmere::test {

// The real program started with a faked wall clock (libfaketime), in a process group of its own,
// so ending the group never leaves anything of it behind.
class FakeTimeProgram {
public:
    FakeTimeProgram() = default;
    FakeTimeProgram(const FakeTimeProgram&) = delete;
    FakeTimeProgram& operator=(const FakeTimeProgram&) = delete;
    ~FakeTimeProgram() { terminate(); }

    // `fakeStart` is libfaketime's absolute form, for example "@2024-03-04 10:30:00".
    bool start(QProcessEnvironment env, const QString& binary, const QString& fakeStart,
               QProcess::ProcessChannelMode channels = QProcess::MergedChannels,
               const QStringList& args = {}) {
        env.insert(QStringLiteral("FAKETIME_DONT_FAKE_MONOTONIC"), QStringLiteral("1"));
        // The first start writes an autostart entry, which belongs in no real home folder.
        if (env.value(QStringLiteral("XDG_CONFIG_HOME")) == qEnvironmentVariable("XDG_CONFIG_HOME"))
            env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_config.path());
        // libfaketime is preloaded ahead of all others, which a sanitized build must allow.
        env.insert(QStringLiteral("ASAN_OPTIONS"), env.value(QStringLiteral("ASAN_OPTIONS")) +
                                                       QStringLiteral(":verify_asan_link_order=0"));
        m_process.setProcessChannelMode(channels);
        m_process.setChildProcessModifier([] { setpgid(0, 0); });
        // libfaketime preloaded straight into the program rather than through the `faketime`
        // wrapper: the wrapper names a semaphore after its own process id and fails when a
        // killed run left one behind under a reused id.
        env.insert(QStringLiteral("FAKETIME"), fakeStart);
        env.insert(QStringLiteral("LD_PRELOAD"),
                   QStringLiteral(QUILLMERE_LIBFAKETIME) +
                       (env.contains(QStringLiteral("LD_PRELOAD"))
                            ? QLatin1Char(':') + env.value(QStringLiteral("LD_PRELOAD"))
                            : QString()));
        m_process.setProcessEnvironment(env);
        m_process.start(binary, args);
        if (!m_process.waitForStarted(5000))
            return false;
        m_group = static_cast<pid_t>(m_process.processId());
        m_sinceStart.start();
        return true;
    }

    // Ends the program as a session's end does; true when it was gone within five seconds.
    bool terminate() {
        if (m_group <= 0)
            return true;
        kill(-m_group, SIGTERM);
        m_process.waitForFinished(5000);
        QElapsedTimer clock;
        clock.start();
        while (kill(-m_group, 0) == 0 && clock.elapsed() < 5000)
            QThread::msleep(50);
        const bool ended = kill(-m_group, 0) != 0;
        kill(-m_group, SIGKILL);
        m_group = 0;
        return ended;
    }

    QProcess& process() { return m_process; }
    bool running() const { return m_process.state() == QProcess::Running; }
    qint64 elapsed() const { return m_sinceStart.elapsed(); }

private:
    QTemporaryDir m_config;
    QProcess m_process;
    pid_t m_group = 0;
    QElapsedTimer m_sinceStart;
};

} // namespace quillmere::test
