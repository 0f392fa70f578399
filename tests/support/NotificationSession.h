#pragma once

#include "support/FirstLine.h"
#include <QByteArray>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>

#include <memory>
#include <vector>

namespace quillmere::test {

// A session of its own: an X server, a bus and a real notification daemon on them, all
// killed when the test ends, and with the test process should it die first. Its folder is the
// session's XDG_RUNTIME_DIR.
class NotificationSession {
public:
    NotificationSession() {
        writeBusConfig();
        m_env = QProcessEnvironment::systemEnvironment();
        m_env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
        m_env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_dir.path());
        m_env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    }
    ~NotificationSession() {
        // The daemon first, then what it runs on.
        for (auto it = m_processes.rbegin(); it != m_processes.rend(); ++it) {
            (*it)->terminate();
            if (!(*it)->waitForFinished(2000)) {
                (*it)->kill();
                (*it)->waitForFinished(2000);
            }
        }
    }

    // Fails the test (rather than skipping it) when a piece is missing. Without the daemon it
    // is a bare desktop session: an X server and a bus.
    void start(bool withNotificationDaemon = true) {
        QProcess& x =
            spawn(QStringLiteral("Xvfb"),
                  {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-nolisten"),
                   QStringLiteral("tcp"), QStringLiteral("-screen"), QStringLiteral("0"),
                   QStringLiteral("800x600x24")});
        const QByteArray display = firstLine(x);
        ASSERT_FALSE(display.isEmpty()) << "Xvfb did not start: " << x.errorString().toStdString();
        m_env.insert(QStringLiteral("DISPLAY"), QLatin1Char(':') + QString::fromLatin1(display));

        QProcess& bus = spawn(QStringLiteral("dbus-daemon"),
                              {QStringLiteral("--config-file=") + m_dir.filePath(busConfigName),
                               QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
        m_address = firstLine(bus);
        ASSERT_FALSE(m_address.isEmpty()) << "dbus-daemon did not start";
        m_env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QString::fromLatin1(m_address));
        if (!withNotificationDaemon)
            return;

        QProcess& daemon = spawn(QStringLiteral("dunst"), {});
        daemon.setStandardOutputFile(QProcess::nullDevice());
        ASSERT_TRUE(daemon.waitForStarted(5000)) << "dunst did not start";
        ASSERT_TRUE(waitForOwner(30000)) << "dunst never took the notification name";
    }

    QByteArray address() const { return m_address; }
    // DISPLAY and DBUS_SESSION_BUS_ADDRESS of the session, for programs run on it.
    QProcessEnvironment environment() const { return m_env; }

    // Runs a client on the session to its end and returns what it printed.
    QByteArray run(const QString& program, const QStringList& args) {
        QProcess p;
        p.setProcessEnvironment(m_env);
        p.start(program, args);
        EXPECT_TRUE(p.waitForFinished(10000)) << program.toStdString();
        EXPECT_EQ(p.exitCode(), 0)
            << program.toStdString() << ": " << p.readAllStandardError().toStdString();
        return p.readAllStandardOutput().trimmed();
    }

private:
    inline static const QString busConfigName = QStringLiteral("bus.conf");

    // A session bus without service activation, so nothing but our dunst can answer.
    void writeBusConfig() {
        QFile f(m_dir.filePath(busConfigName));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(
            "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
            " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig><type>session</type>\n<listen>unix:dir=" +
            QFile::encodeName(m_dir.path()) +
            "</listen>\n<auth>EXTERNAL</auth>\n"
            "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
            "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy>\n</busconfig>\n");
    }

    QProcess& spawn(const QString& program, const QStringList& args) {
        auto p = std::make_unique<QProcess>();
        p->setProcessEnvironment(m_env);
        // Only the first line of stdout is ever read; the rest must not fill a pipe.
        p->setStandardErrorFile(QProcess::nullDevice());
        p->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        p->start(program, args);
        m_processes.push_back(std::move(p));
        return *m_processes.back();
    }

    bool waitForOwner(int timeoutMs) {
        QElapsedTimer clock;
        clock.start();
        while (!notificationsOwned()) {
            if (clock.elapsed() > timeoutMs)
                return false;
            QTest::qWait(50);
        }
        return true;
    }

    bool notificationsOwned() {
        QProcess p;
        p.setProcessEnvironment(m_env);
        p.start(QStringLiteral("dbus-send"),
                {QStringLiteral("--session"), QStringLiteral("--print-reply"),
                 QStringLiteral("--dest=org.freedesktop.DBus"), QStringLiteral("/"),
                 QStringLiteral("org.freedesktop.DBus.NameHasOwner"),
                 QStringLiteral("string:org.freedesktop.Notifications")});
        return p.waitForFinished(5000) && p.readAllStandardOutput().contains("boolean true");
    }

    QTemporaryDir m_dir;
    QProcessEnvironment m_env;
    QByteArray m_address;
    std::vector<std::unique_ptr<QProcess>> m_processes;
};

} // namespace quillmere::test
