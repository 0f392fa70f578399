#include "focus/NotificationMonitor.h"
#include "focus/BannerLedger.h"

#include "support/NotificationSession.h"

#include <QElapsedTimer>
#include <QTest>

#include <gtest/gtest.h>

using namespace quillmere;
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

// Timeouts are generous for a slow machine; only the daemon's own 1.5 s is a lower bound, and
// "at once" only has to beat the long banner's minute.
TEST(NotificationMonitor, SeesARealDaemonsBannersComeAndGo) {
    test::NotificationSession session;
    ASSERT_NO_FATAL_FAILURE(session.start());
    NotificationMonitor monitor(session.address());
    ASSERT_TRUE(QTest::qWaitFor([&] { return monitor.isMonitoring(); }, 20000));
    EXPECT_FALSE(monitor.bannerPresent());
    const auto send = [&](const QStringList& args) {
        return session.run(QStringLiteral("notify-send"), args);
    };

    // The daemon's own timeout ends the first banner.
    QElapsedTimer sinceSent;
    sinceSent.start();
    send({QStringLiteral("-t"), QStringLiteral("1500"), QStringLiteral("hello")});
    EXPECT_TRUE(QTest::qWaitFor([&] { return monitor.bannerPresent(); }, 20000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !monitor.bannerPresent(); }, 20000));
    EXPECT_GT(sinceSent.elapsed(), 1000);

    // A long banner closed early goes at once: the monitor learnt the id the daemon gave it.
    const QByteArray id = send({QStringLiteral("-p"), QStringLiteral("-t"), QStringLiteral("60000"),
                                QStringLiteral("a long one")});
    ASSERT_FALSE(id.isEmpty());
    EXPECT_TRUE(QTest::qWaitFor([&] { return monitor.bannerPresent(); }, 20000));
    QTest::qWait(300);
    EXPECT_TRUE(monitor.bannerPresent());
    session.run(QStringLiteral("dbus-send"),
                {QStringLiteral("--session"), QStringLiteral("--type=method_call"),
                 QStringLiteral("--dest=org.freedesktop.Notifications"),
                 QStringLiteral("/org/freedesktop/Notifications"),
                 QStringLiteral("org.freedesktop.Notifications.CloseNotification"),
                 QStringLiteral("uint32:") + QString::fromLatin1(id)});
    // Well before the banner's own minute is up.
    EXPECT_TRUE(QTest::qWaitFor([&] { return !monitor.bannerPresent(); }, 30000));

    // Watching never got the monitor thrown off the bus.
    EXPECT_TRUE(monitor.isMonitoring());
}
