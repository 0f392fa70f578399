#include "focus/NotificationMonitor.h"
#include "focus/BannerLedger.h"

#include "Waiting.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <dbus/dbus.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>

#include <functional>
#include <memory>
#include <vector>

using namespace quillmere;
using quillmere::test::waitFor;
using namespace std::chrono_literals;

TEST(BannerLedger, FollowsBannersFromRequestToCloseOrExpiry) {
    BannerLedger ledger;
    const auto t0 = BannerLedger::Clock::now();
    EXPECT_FALSE(ledger.present(t0));

    // Present from the request, before the daemon has even answered.
    ledger.notifyRequested(":1.5", 7, 0, 10000, t0);
    EXPECT_TRUE(ledger.present(t0));
    ledger.notifyAnswered(":1.6", 7, 40); // someone else's reply with the same serial
    ledger.closed(40);
    EXPECT_TRUE(ledger.present(t0));
    ledger.notifyAnswered(":1.5", 7, 41);
    ledger.closed(41);
    EXPECT_FALSE(ledger.present(t0));

    // Without a timeout of its own a banner lasts 5 s; with one, exactly that long.
    ledger.notifyRequested(":1.5", 8, 0, 0, t0);
    ledger.notifyRequested(":1.5", 9, 0, 1500, t0);
    EXPECT_TRUE(ledger.present(t0 + 4900ms));
    EXPECT_EQ(ledger.size(), 1u);
    EXPECT_FALSE(ledger.present(t0 + 5000ms));

    // A replacement renews the banner it replaces rather than adding one.
    ledger.notifyRequested(":1.5", 10, 0, 1000, t0);
    ledger.notifyAnswered(":1.5", 10, 50);
    ledger.notifyRequested(":1.5", 11, 50, 3000, t0 + 900ms);
    EXPECT_EQ(ledger.size(), 1u);
    EXPECT_TRUE(ledger.present(t0 + 3800ms));
    ledger.notifyAnswered(":1.5", 11, 50);
    ledger.closed(50);
    EXPECT_FALSE(ledger.present(t0 + 3800ms));

    ledger.gtkAdded("org.example.Mail\nnew-mail", t0);
    ledger.gtkAdded("org.example.Mail\nnew-mail", t0 + 1s); // same notification, updated
    EXPECT_EQ(ledger.size(), 1u);
    EXPECT_TRUE(ledger.present(t0 + 5500ms));
    ledger.gtkRemoved("org.example.Mail\nnew-mail");
    EXPECT_FALSE(ledger.present(t0 + 5500ms));

    // A flood is capped.
    for (std::uint32_t i = 0; i < 1000; ++i)
        ledger.notifyRequested(":1.9", i + 100, 0, 60000, t0);
    EXPECT_EQ(ledger.size(), BannerLedger::maxBanners);
}

TEST(NotificationMonitor, WithoutABusNoBannerIsEverPresentAndNothingIsSaid) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    {
        NotificationMonitor none{QByteArray()};
        NotificationMonitor broken{QByteArrayLiteral("unix:path=/nonexistent/quillmere-bus")};
        NotificationMonitor nonsense{QByteArrayLiteral("this is not an address")};
        QTest::qWait(200);
        EXPECT_FALSE(none.bannerPresent());
        EXPECT_FALSE(broken.bannerPresent());
        EXPECT_FALSE(nonsense.bannerPresent());
        EXPECT_FALSE(broken.isMonitoring());
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

namespace {

// A session of its own: an X server, a bus and a real notification daemon on them, all
// killed when the test ends, and with the test process should it die first.
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

    // Fails the test (rather than skipping it) when a piece is missing.
    void start() {
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

        QProcess& daemon = spawn(QStringLiteral("dunst"), {});
        ASSERT_TRUE(daemon.waitForStarted(5000)) << "dunst did not start";
        ASSERT_TRUE(waitFor([&] { return notificationsOwned(); }, 10000))
            << "dunst never took the notification name";
    }

    QByteArray address() const { return m_address; }

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
        p->setProcessChannelMode(QProcess::SeparateChannels);
        p->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        p->start(program, args);
        m_processes.push_back(std::move(p));
        return *m_processes.back();
    }

    static QByteArray firstLine(QProcess& p) {
        if (!p.waitForStarted(5000))
            return {};
        QElapsedTimer clock;
        clock.start();
        while (!p.canReadLine() && clock.elapsed() < 10000)
            p.waitForReadyRead(200);
        return p.readLine().trimmed();
    }

    bool notificationsOwned() const {
        DBusError error;
        dbus_error_init(&error);
        DBusConnection* c = dbus_connection_open_private(m_address.constData(), &error);
        bool owned = false;
        if (c) {
            dbus_connection_set_exit_on_disconnect(c, FALSE);
            if (dbus_bus_register(c, &error))
                owned = dbus_bus_name_has_owner(c, "org.freedesktop.Notifications", &error);
            dbus_connection_close(c);
            dbus_connection_unref(c);
        }
        dbus_error_free(&error);
        return owned;
    }

    QTemporaryDir m_dir;
    QProcessEnvironment m_env;
    QByteArray m_address;
    std::vector<std::unique_ptr<QProcess>> m_processes;
};

} // namespace

TEST(NotificationMonitor, SeesARealDaemonsBannersComeAndGo) {
    NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start());
    NotificationMonitor monitor(session.address());
    ASSERT_TRUE(waitFor([&] { return monitor.isMonitoring(); }, 5000));
    EXPECT_FALSE(monitor.bannerPresent());

    // The daemon's own timeout ends the first banner.
    QElapsedTimer sinceSent;
    session.run(QStringLiteral("notify-send"),
                {QStringLiteral("-t"), QStringLiteral("1500"), QStringLiteral("hello")});
    sinceSent.start();
    EXPECT_TRUE(waitFor([&] { return monitor.bannerPresent(); }, 2000));
    EXPECT_TRUE(waitFor([&] { return !monitor.bannerPresent(); }, 4000));
    EXPECT_GT(sinceSent.elapsed(), 1000);

    // A long banner closed early goes at once: the monitor learnt the id the daemon gave it.
    const QByteArray id = session.run(QStringLiteral("notify-send"),
                                      {QStringLiteral("-p"), QStringLiteral("-t"),
                                       QStringLiteral("60000"), QStringLiteral("a long one")});
    ASSERT_FALSE(id.isEmpty());
    EXPECT_TRUE(waitFor([&] { return monitor.bannerPresent(); }, 2000));
    QTest::qWait(300);
    EXPECT_TRUE(monitor.bannerPresent());
    session.run(QStringLiteral("dbus-send"),
                {QStringLiteral("--session"), QStringLiteral("--type=method_call"),
                 QStringLiteral("--dest=org.freedesktop.Notifications"),
                 QStringLiteral("/org/freedesktop/Notifications"),
                 QStringLiteral("org.freedesktop.Notifications.CloseNotification"),
                 QStringLiteral("uint32:") + QString::fromLatin1(id)});
    QElapsedTimer sinceClosed;
    sinceClosed.start();
    EXPECT_TRUE(waitFor([&] { return !monitor.bannerPresent(); }, 2000));
    EXPECT_LT(sinceClosed.elapsed(), 2000);

    // Watching never got the monitor thrown off the bus.
    EXPECT_TRUE(monitor.isMonitoring());
}
