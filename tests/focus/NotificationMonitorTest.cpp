#include "focus/NotificationMonitor.h"
#include "focus/AnyBannerSource.h"
#include "focus/X11NotificationWindows.h"

#include "support/NotificationSession.h"
#include "support/Printers.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <gtest/gtest.h>

#include <csignal>

using namespace quillmere;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

// A bus finder that always gives the one address.
const auto bus = [](QByteArray address) -> NotificationMonitor::BusFinder {
    return [address] { return address; };
};

TEST(BannerLedger, FollowsBannersFromRequestToCloseOrExpiryCountingPortalOnesOnce) {
    BannerLedger ledger;
    const auto t0 = BannerLedger::Clock::now();

    // Present from the request, before the server has even answered.
    ledger.notifyRequested(":1.5", 7, 0, 10000, false, t0);
    EXPECT_TRUE(ledger.present(t0));
    ledger.notifyAnswered(":1.6", 7, 40); // someone else's reply with the same serial
    ledger.closed(40);
    EXPECT_TRUE(ledger.present(t0));
    ledger.notifyAnswered(":1.5", 7, 41);
    ledger.closed(41);
    EXPECT_FALSE(ledger.present(t0));

    // How long a banner lasts where no close comes: its own time, else the server's default;
    // a never-expiring or critical one until it is closed.
    const std::tuple<std::int32_t, bool, std::chrono::milliseconds> expiries[] = {
        {1500, false, 1500ms},
        {-1, false, BannerLedger::serverDefaultExpiry},
        {0, false, 24h},
        {-1, true, 24h},
        {3000, true, 24h}};
    std::uint32_t serial = 100;
    for (const auto& [timeoutMs, critical, lasts] : expiries) {
        SCOPED_TRACE(timeoutMs);
        ledger.notifyRequested(":1.5", ++serial, 0, timeoutMs, critical, t0);
        ledger.notifyAnswered(":1.5", serial, serial);
        EXPECT_TRUE(ledger.present(t0 + lasts - 1ms));
        EXPECT_EQ(ledger.present(t0 + lasts), lasts == 24h);
        ledger.closed(serial);
        EXPECT_FALSE(ledger.present(t0));
    }

    // A replacement renews the banner it replaces rather than adding one.
    ledger.notifyRequested(":1.5", 10, 0, 1000, false, t0);
    ledger.notifyAnswered(":1.5", 10, 50);
    ledger.notifyRequested(":1.5", 11, 50, 3000, false, t0 + 900ms);
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

    // A portal notification counts once whether or not its backend forwards it.
    // Forwarded at once to the server: one banner, which ends with the server's close.
    ledger.portalAdded(":1.7\nreply", t0);
    ledger.notifyRequested(":1.3", 5, 0, -1, false, t0 + 20ms);
    EXPECT_EQ(ledger.size(), 1u);
    ledger.notifyAnswered(":1.3", 5, 9);
    ledger.closed(9);
    EXPECT_FALSE(ledger.present(t0 + 1s));

    // Forwarded as a GTK notification: likewise.
    ledger.portalAdded(":1.7\nreply", t0);
    ledger.gtkAdded("org.example.Chat\nreply", t0 + 20ms);
    EXPECT_EQ(ledger.size(), 1u);
    ledger.gtkRemoved("org.example.Chat\nreply");
    EXPECT_FALSE(ledger.present(t0 + 1s));

    // Not forwarded (a backend that shows it itself): it lasts the default time or until
    // removed; a server request long after it is a banner of its own.
    ledger.portalAdded(":1.7\nlater", t0);
    ledger.notifyRequested(":1.3", 6, 0, 60000, false, t0 + BannerLedger::forwardWindow + 1ms);
    EXPECT_EQ(ledger.size(), 2u);
    EXPECT_TRUE(ledger.present(t0 + BannerLedger::serverDefaultExpiry - 1ms));
    ledger.closed(0);
    ledger.portalRemoved(":1.7\nlater");
    EXPECT_EQ(ledger.size(), 1u);

    // A flood is capped.
    for (std::uint32_t i = 0; i < 1000; ++i)
        ledger.notifyRequested(":1.9", i + 100, 0, 60000, false, t0);
    EXPECT_EQ(ledger.size(), BannerLedger::maxBanners);
}

// The session bus where the bus libraries look for it, in a runtime folder whose name needs
// escaping: first not there, then keeping monitors out until its policy is changed and reloaded.
TEST(NotificationMonitor, FindsTheSessionBusAndRetriesUntilItAllowsMonitoringSayingNothing) {
    QTemporaryDir dir(QDir::tempPath() + u"/quillmere bus-XXXXXX"_s);
    const QByteArray address =
        "unix:path=" + QFile::encodeName(dir.path()).replace(" ", "%20") + "/bus";
    const QByteArray savedAddress = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray savedRuntime = qgetenv("XDG_RUNTIME_DIR");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(dir.path()));
    EXPECT_EQ(sessionBusAddress(), QByteArray()); // no socket there yet
    bannerWatch::setBusState(bannerWatch::BusState::untried);
    EXPECT_TRUE(bannerWatch::problemText().contains(u"no session bus"_s));

    const QString config = dir.filePath(u"bus.conf"_s);
    const auto writePolicy = [&](const QByteArray& deny) {
        QFile f(config);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write("<busconfig><type>session</type><listen>" + address +
                "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                "<allow own=\"*\"/>" +
                deny + "</policy></busconfig>\n");
    };

    // No bus, none that could be, no X server: no banner is ever present, and nothing is said.
    NotificationMonitor monitor(sessionBusAddress, 200ms);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    {
        NotificationMonitor none{bus({}), 50ms};
        NotificationMonitor nonsense{bus("this is not an address"), 50ms};
        X11NotificationWindows noDisplay{QByteArrayLiteral(":9999")};
        QTest::qWait(300);
        for (BannerSource* source : std::initializer_list<BannerSource*>{&none, &nonsense, &monitor,
                                                                         &noDisplay, &noDisplay})
            EXPECT_FALSE(source->bannerPresent());
        EXPECT_EQ(monitor.state(), bannerWatch::BusState::unreachable);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");

    writePolicy("<deny send_destination=\"org.freedesktop.DBus\" "
                "send_interface=\"org.freedesktop.DBus.Monitoring\"/>");
    QProcess daemon;
    daemon.start(u"dbus-daemon"_s,
                 {u"--config-file="_s + config, u"--nofork"_s, u"--print-address=1"_s});
    ASSERT_FALSE(test::firstLine(daemon).isEmpty());
    EXPECT_EQ(sessionBusAddress(), address);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return monitor.state() == bannerWatch::BusState::refused; }, 20000));
    EXPECT_TRUE(bannerWatch::problemText().contains(u"does not allow"_s));

    writePolicy({});
    ::kill(static_cast<pid_t>(daemon.processId()), SIGHUP); // the daemon reloads its policy
    ASSERT_TRUE(QTest::qWaitFor([&] { return monitor.isMonitoring(); }, 20000));
    EXPECT_TRUE(bannerWatch::problemText().isEmpty());
    // A request seen now is a banner, whoever it was addressed to.
    EXPECT_EQ(QProcess::execute(u"dbus-send"_s,
                                {u"--bus="_s + QString::fromLatin1(address),
                                 u"--type=method_call"_s, u"--dest=org.freedesktop.DBus"_s, u"/"_s,
                                 u"org.freedesktop.Notifications.Notify"_s, u"string:Mail"_s}),
              0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return monitor.bannerPresent(); }, 20000));

    // When the bus goes away, so do the banners it told of.
    daemon.terminate();
    daemon.waitForFinished(5000);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !monitor.isMonitoring(); }, 20000));
    EXPECT_FALSE(monitor.bannerPresent());

    // An address in the environment comes first.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/elsewhere");
    EXPECT_EQ(sessionBusAddress(), "unix:path=/elsewhere");
    qputenv("DBUS_SESSION_BUS_ADDRESS", savedAddress);
    qputenv("XDG_RUNTIME_DIR", savedRuntime);
}

TEST(NotificationMonitor, SeesARealServersBannersComeAndGo) {
    test::NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start());
    const auto send = [&](const QStringList& args) { return session.run(u"notify-send"_s, args); };
    // Sent before anything watched the bus: only its window tells of it.
    send({u"-t"_s, u"60000"_s, u"early"_s});
    NotificationMonitor* monitor = new NotificationMonitor(bus(session.address()));
    std::vector<std::unique_ptr<BannerSource>> sources;
    sources.emplace_back(monitor);
    sources.push_back(std::make_unique<X11NotificationWindows>(session.display().toLocal8Bit()));
    AnyBannerSource any(std::move(sources));
    ASSERT_TRUE(QTest::qWaitFor([&] { return monitor->isMonitoring(); }, 20000));
    const auto monitorSees = [&] { return monitor->bannerPresent(); };
    const auto allGone = [&] { return !any.bannerPresent(); };
    EXPECT_TRUE(QTest::qWaitFor([&] { return any.bannerPresent(); }, 20000));
    EXPECT_FALSE(monitorSees());
    session.run(u"dunstctl"_s, {u"close"_s});
    EXPECT_TRUE(QTest::qWaitFor(allGone, 20000));

    // The server's own timeout ends the next banner.
    QElapsedTimer sinceSent;
    sinceSent.start();
    send({u"-a"_s, u"Mail"_s, u"-t"_s, u"1500"_s, u"hello"_s});
    EXPECT_TRUE(QTest::qWaitFor(monitorSees, 20000));
    EXPECT_TRUE(QTest::qWaitFor(allGone, 20000));
    EXPECT_GT(sinceSent.elapsed(), 1000);

    // A long banner the user closes early goes at once (well before its own minute): the server
    // tells of the close by the id it gave, which the monitor learnt from its answer.
    send({u"-a"_s, u"Chat"_s, u"-t"_s, u"60000"_s, u"a long one"_s});
    EXPECT_TRUE(QTest::qWaitFor(monitorSees, 20000));
    session.run(u"dunstctl"_s, {u"close"_s});
    EXPECT_TRUE(QTest::qWaitFor(allGone, 30000));

    // Each request seen counted once, under the application that made it, for the card after a
    // silenced block; watching never got the monitor thrown off the bus.
    EXPECT_EQ(any.takeArrivals(), (QStringList{u"Mail"_s, u"Chat"_s}));
    EXPECT_TRUE(any.takeArrivals().isEmpty());
    EXPECT_TRUE(monitor->isMonitoring());
}
