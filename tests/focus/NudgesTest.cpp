// The nudges and what they answer to: the card, the aids as the shell makes them, and the ways
// a banner on the desktop is seen (bus traffic, server windows).

#include "focus/AnyBannerSource.h"
#include "focus/FocusNudge.h"
#include "focus/NotificationMonitor.h"
#include "focus/NudgeFrame.h"
#include "focus/NudgeTexts.h"
#include "focus/NudgeView.h"
#include "focus/RealFocusAids.h"
#include "focus/X11NotificationWindows.h"

#include "support/FakeWallClock.h"
#include "support/NotificationSession.h"
#include "support/Printers.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QTest>

#include <gtest/gtest.h>

#include <csignal>

using namespace quillmere;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

// Banners the test scripts, on a desktop whose do-not-disturb takes effect when asked, if it has
// one at all.
struct ScriptedDesktop final : BannerSource, NotificationSilencer {
    bool present = false;
    QStringList arrivals;
    bool canSilence = true;
    bool quiet = false;
    bool bannerPresent() override { return present; }
    QStringList takeArrivals() override { return std::exchange(arrivals, {}); }
    void silence() override { quiet = canSilence; }
    void restore() override { quiet = false; }
    bool isSilenced() override { return quiet; }
};

WorkBlock block(Minutes start, Minutes duration, WorkKind kind, const QString& title = {}) {
    return {QUuid::createUuid(), title, u"2024-03-04"_s, start, duration, kind, {}, {}};
}

const QString deep = ui::kindColor(WorkKind::deep).name(QColor::HexArgb);
const QString shallow = ui::kindColor(WorkKind::shallow).name(QColor::HexArgb);
const auto cardUp = [](NudgeCard& card) { return card.panel() && card.panel()->isVisible(); };
// The card's title, detail and accent, as one line, or nothing while the title is blank. The
// title is blanked after, so the next show is seen even when it repeats the same words.
const auto taken = [](NudgeCard& card) {
    NudgeModel& m = card.model();
    const QString seen = m.title().isEmpty() ? QString()
                                             : m.title() + u'|' + m.detail() + u'|' +
                                                   m.accent().name(QColor::HexArgb);
    m.setTitle(QString());
    return seen;
};

} // namespace

// The aids as the shell makes them, on a faked clock and banners the test scripts, walked
// through silenced blocks, reminders and nudges. Polling on its own, once a second, is met end to
// end (FocusAidsEndToEnd).
TEST(RealAids, AreMadeOnlyWhenNeededShareOneCardHoldNudgesBackWhileSilencedAndGoWhenAWatchEnds) {
    test::FakeWallClock clock;
    // Handed to the aids when they first need banners, and looked at by the test after.
    auto unclaimed = std::make_unique<ScriptedDesktop>();
    ScriptedDesktop* desktop = unclaimed.get();
    RealFocusAids aids(clock, [&] { return std::unique_ptr<BannerSource>(std::move(unclaimed)); });

    // Stopping makes nothing, nor asks for banners.
    aids.stopNoise();
    aids.stopWatchingBanners();
    EXPECT_EQ(std::tuple(aids.noisePlayer(), aids.nudgeCard(), aids.focusNudge(), !unclaimed),
              std::tuple(nullptr, nullptr, nullptr, false));

    // While the desktop holds banners back no nudge comes; afterwards one card says what arrived.
    EXPECT_EQ(nudgeTexts::digestDetail({u"Mail"_s}), u"1 notification · Mail"_s);
    EXPECT_EQ(nudgeTexts::digestDetail({QString(), QString()}), u"2 notifications"_s);

    aids.setSilencer(desktop);
    const WorkBlock write = block(540, 60, WorkKind::deep, u"Write"_s);
    const QStringList came{u"Mail"_s, u" Chat"_s, u"Mail"_s}; // named once each, trimmed
    const QString digest = u"While you focused|3 notifications · Mail, Chat|"_s + deep;
    // Whether the desktop could hold anything back decides whether a card follows; a quiet
    // block in which nothing arrived ends without one.
    for (const auto& [canSilence, arrivals, after] :
         {std::tuple{true, came, digest}, std::tuple{false, came, QString()},
          std::tuple{true, QStringList(), QString()}}) {
        SCOPED_TRACE(testing::Message() << canSilence << arrivals.size());
        desktop->canSilence = canSilence;
        aids.watchBanners(write);
        NudgeCard& card = *aids.nudgeCard();
        desktop->arrivals = {u"Before"_s}; // came before the block: not part of it
        aids.silenceNotifications(write);
        desktop->present = true;
        desktop->arrivals += arrivals;
        aids.focusNudge()->poll();
        EXPECT_EQ(taken(card).startsWith(nudgeTexts::stayFocused), !canSilence);
        desktop->present = false;
        aids.stopWatchingBanners();
        aids.endSilence();
        EXPECT_EQ(taken(card), after);
        // Refreshes after the block tell nothing again.
        aids.endSilence();
        EXPECT_EQ(taken(card), QString());
    }

    // Reminders announce each start once, with the kind, the title and the times; a start that
    // moved is a new start, and one offered late is not clamped.
    const auto remind = [&](const WorkBlock& b, Minutes now) {
        aids.offerReminder(b, now);
        return taken(*aids.nudgeCard());
    };
    WorkBlock titled = block(540, 90, WorkKind::deep, u"Write"_s);
    EXPECT_EQ(remind(titled, 535), u"Deep Work in 5 m|Write  ·  9:00 AM – 10:30 AM|"_s + deep);
    EXPECT_EQ(remind(titled, 536), QString());
    titled.startMinutes = 570;
    EXPECT_EQ(remind(titled, 572), u"Deep Work in -2 m|Write  ·  9:30 AM – 11:00 AM|"_s + deep);
    EXPECT_EQ(remind(block(780, 45, WorkKind::shallow), 775),
              u"Shallow Work in 5 m|1:00 PM – 1:45 PM|"_s + shallow);

    // A watch that ends takes down any card, the reminder included. The shell's anchor, set
    // after the card exists, places its next show.
    NudgeCard& card = *aids.nudgeCard();
    aids.setAnchorProvider([] { return std::optional<QRect>(QRect(300, 0, 24, 24)); });
    aids.watchBanners(block(540, 65, WorkKind::deep));
    aids.stopWatchingBanners();
    EXPECT_FALSE(card.isDismissPending()); // taken down now, not when the reminder's time is up
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cardUp(card); }, 10000));

    // The nudge comes onto the same card only when a banner appears: one already up when
    // watching starts is no reason, nor is one that stays, however long.
    desktop->present = true;
    aids.watchBanners(block(540, 65, WorkKind::deep));
    FocusNudge& nudge = *aids.focusNudge();
    const auto poll = [&](std::initializer_list<bool> banners) {
        for (bool present : banners) {
            desktop->present = present;
            nudge.poll();
        }
        return taken(card);
    };
    EXPECT_EQ(poll({true, true, true}), QString());
    EXPECT_EQ(poll({false, true}), u"Stay focused|1 h 5 m left in Deep Work|"_s + deep);
    EXPECT_EQ(std::pair(cardUp(card), card.panel()->x()), std::pair(true, 312 - 140));
    clock.advanceSecs(600);
    EXPECT_EQ(poll({true, true, true}), QString());
    // A second watch swaps the block but keeps the edge state: the banner still up is old news.
    // Past the block's end nothing is left, rather than a negative time.
    nudge.watch(block(540, 30, WorkKind::shallow, u"Inbox"_s));
    EXPECT_EQ(poll({true}), QString());
    clock.set(QDate(2024, 3, 4), QTime(11, 15));
    EXPECT_EQ(poll({false, true}), u"Stay focused|0 m left in Inbox|"_s + shallow);
    // Polls after stopping have no block to speak of.
    nudge.stop();
    EXPECT_FALSE(nudge.isWatching());
    EXPECT_EQ(poll({false, true}), QString());
}

TEST(NudgeFrame, SitsUnderTheAnchorOrInTheTopRightAndNeverNearAnEdge) {
    const QRect area(100, 30, 1600, 1000); // a screen right of another, below a top panel
    EXPECT_EQ(nudgeTargetFrame(70, {}, area), QRect(1700 - 24 - 280, 36, 280, 70)); // top right
    // Centred under the anchor (met through the real aids above) but kept off the edges; too
    // narrow for both margins, the right one wins.
    EXPECT_EQ(nudgeTargetFrame(70, QRect(102, 0, 20, 20), area), QRect(100 + 8, 36, 280, 70));
    EXPECT_EQ(nudgeTargetFrame(70, QRect(1690, 0, 20, 20), area),
              QRect(1700 - 8 - 280, 36, 280, 70));
    EXPECT_EQ(nudgeTargetFrame(50, QRect(0, 0, 10, 10), QRect(0, 0, 200, 300)),
              QRect(200 - 8 - 280, 6, 280, 50));
    // No screen known, or no height.
    EXPECT_EQ(nudgeTargetFrame(60, {}, {}), QRect(0, 0, 280, 60));
    EXPECT_EQ(nudgeTargetFrame(-5, {}, {}), QRect(0, 0, 280, 0));
}

// Display times are scaled down but kept long against the gaps between the steps, and every
// timing check is a lower bound, so a slow or loaded machine only makes the test wait longer.
TEST(NudgeCard, ShowsInPlaceInItsAccentForItsLatestTimeComesBackFromAFadeAndGoesOnAClick) {
    constexpr double shownSeconds = 2.0;
    NudgeCard card;
    card.setAnchorProvider([] { return std::optional<QRect>(QRect(400, 0, 22, 22)); });
    const QRect expected = nudgeTargetFrame(0, QRect(400, 0, 22, 22),
                                            QGuiApplication::primaryScreen()->availableGeometry());
    const auto fullyUp = [&] {
        return card.panel()->isVisible() && card.panel()->cardOpacity() >= 1.0 &&
               card.panel()->pos() == expected.topLeft();
    };
    const QDeadlineTimer halfASecond(500);
    card.show(u"One"_s, u"first"_s, ui::crimson(), shownSeconds);
    NudgeView* panel = card.panel();
    ASSERT_NE(panel, nullptr);
    // It drops in from above, without taking the focus.
    EXPECT_EQ(std::tuple(panel->isVisible(), panel->hasFocus(), panel->y()),
              std::tuple(true, false, expected.y() - NudgeCard::dropDistance));
    ASSERT_TRUE(QTest::qWaitFor(fullyUp, 10000));
    const auto dot = [&] {
        return panel->grab().toImage().pixel(NudgeView::dotRect(panel->height()).center());
    };
    EXPECT_EQ(dot(), ui::crimson().rgb());

    QTest::qWait(static_cast<int>(halfASecond.remainingTime()));
    ASSERT_EQ(panel->cardOpacity(), 1.0) << "the machine stalled past the first show's time";
    const QDeadlineTimer secondShown(static_cast<qint64>(shownSeconds * 1000) - 100);
    card.show(u"Two"_s, u"second"_s, ui::kindColor(WorkKind::shallow), shownSeconds);
    EXPECT_EQ(panel->pos(), expected.topLeft()); // no second drop
    EXPECT_EQ(dot(), ui::kindColor(WorkKind::shallow).rgb());
    const int oneLine = panel->height();

    // The first show's time ends 1.5 s after the second show; the card stays fully up until
    // the second's runs out, and then leaves. Seen leaving and acted on with no event in
    // between, so the next show lands mid-fade for sure.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return panel->cardOpacity() < 1.0 && panel->pos().y() < expected.y(); }, 30000));
    EXPECT_EQ(secondShown.remainingTime(), 0); // less 5 %: a coarse timer may fire that early
    ASSERT_FALSE(card.isDismissPending()) << "leaving, not arriving";
    ASSERT_TRUE(panel->isVisible());
    card.show(u"Stay focused"_s, u"5 m left in Deep Work"_s, ui::crimson(), 60);
    ASSERT_TRUE(QTest::qWaitFor(fullyUp, 10000));
    QTest::qWait(NudgeCard::fadeOutMs + 100); // the abandoned fade's end must not hide it
    EXPECT_TRUE(fullyUp());

    QTest::mouseClick(panel, Qt::LeftButton, Qt::NoModifier, panel->rect().center());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cardUp(card); }, 10000));
    EXPECT_EQ(panel->cardOpacity(), 0.0);

    // Hidden cards come back with a fresh drop; a show right after a dismissal, before the
    // fade has drawn a frame, still keeps it.
    card.show(u"Up"_s, QString(), ui::crimson(), 60);
    EXPECT_EQ(std::pair(panel->isVisible(), panel->y()),
              std::pair(true, expected.y() - NudgeCard::dropDistance));
    ASSERT_TRUE(QTest::qWaitFor(fullyUp, 10000));
    card.dismiss();
    card.show(u"Still up"_s,
              u"A detail long enough that it cannot possibly fit on one line of a card this "
              u"narrow, so it wraps"_s,
              ui::crimson(), 60);
    ASSERT_TRUE(QTest::qWaitFor(fullyUp, 10000));
    QTest::qWait(NudgeCard::fadeOutMs + 100);
    EXPECT_TRUE(fullyUp());
    EXPECT_GT(panel->height(), oneLine); // it grows with its text
    card.dismiss();
    card.dismiss();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cardUp(card); }, 10000));
}

TEST(BannerLedger, FollowsBannersFromRequestToCloseOrExpiryCountingPortalOnesOnce) {
    BannerLedger ledger;
    const auto t0 = BannerLedger::Clock::now();

    // Present from the request, before the server has even answered, and for how long where no
    // close comes: its own time, else the server's default; a never-expiring or critical one
    // until it is closed, by the id the server gave in its answer to this caller.
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
        ledger.notifyAnswered(":1.6", serial, 40); // someone else's reply with the same serial
        ledger.closed(40);
        EXPECT_TRUE(ledger.present(t0 + lasts - 1ms));
        EXPECT_EQ(ledger.present(t0 + lasts), lasts == 24h);
        ledger.notifyAnswered(":1.5", serial, serial);
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

    // A portal notification counts once whether or not its backend forwards it.
    // Forwarded at once to the server: one banner, which ends with the server's close.
    ledger.portalAdded(":1.7\nreply", t0);
    ledger.notifyRequested(":1.3", 5, 0, -1, false, t0 + 20ms);
    EXPECT_EQ(ledger.size(), 1u);
    ledger.notifyAnswered(":1.3", 5, 9);
    ledger.closed(9);
    EXPECT_FALSE(ledger.present(t0 + 1s));

    // Forwarded as a GTK notification: likewise, and updating it keeps it one banner, which
    // lasts the default time or until removed.
    ledger.portalAdded(":1.7\nreply", t0);
    ledger.gtkAdded("org.example.Chat\nreply", t0 + 20ms);
    ledger.gtkAdded("org.example.Chat\nreply", t0 + 3s); // past the window: absorbs nothing more
    EXPECT_EQ(ledger.size(), 1u);
    EXPECT_TRUE(ledger.present(t0 + 5500ms));
    ledger.gtkRemoved("org.example.Chat\nreply");
    EXPECT_FALSE(ledger.present(t0 + 5500ms));

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

    const auto writePolicy = [&](const QByteArray& deny) {
        QFile f(dir.filePath(u"bus.conf"_s));
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
        NotificationMonitor nonsense{[] { return QByteArray("this is not an address"); }, 50ms};
        X11NotificationWindows noDisplay{QByteArrayLiteral(":9999")};
        QTest::qWait(300);
        for (BannerSource* source :
             std::initializer_list<BannerSource*>{&nonsense, &monitor, &noDisplay, &noDisplay})
            EXPECT_FALSE(source->bannerPresent());
        EXPECT_EQ(monitor.state(), bannerWatch::BusState::unreachable);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");

    writePolicy("<deny send_destination=\"org.freedesktop.DBus\" "
                "send_interface=\"org.freedesktop.DBus.Monitoring\"/>");
    QProcess daemon;
    daemon.start(u"dbus-daemon"_s, {u"--config-file="_s + dir.filePath(u"bus.conf"_s),
                                    u"--nofork"_s, u"--print-address=1"_s});
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
    // The address has its spaces escaped, so the words split cleanly.
    const QString notify = u"--bus="_s + QString::fromLatin1(address) +
                           u" --type=method_call --dest=org.freedesktop.DBus / "
                           u"org.freedesktop.Notifications.Notify string:Mail"_s;
    EXPECT_EQ(QProcess::execute(u"dbus-send"_s, notify.split(u' ')), 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return monitor.bannerPresent(); }, 20000));

    // When the bus goes away, so do the banners it told of.
    daemon.close();
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
    // Sent before anything watched the bus: only its window tells of it.
    session.run(u"notify-send"_s, {u"-t"_s, u"60000"_s, u"early"_s});
    NotificationMonitor* monitor = new NotificationMonitor([&] { return session.address(); });
    std::vector<std::unique_ptr<BannerSource>> sources;
    sources.emplace_back(monitor);
    sources.push_back(std::make_unique<X11NotificationWindows>(
        session.environment().value(u"DISPLAY"_s).toLocal8Bit()));
    AnyBannerSource any(std::move(sources));
    ASSERT_TRUE(QTest::qWaitFor([&] { return monitor->isMonitoring(); }, 20000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return any.bannerPresent(); }, 20000));
    EXPECT_FALSE(monitor->bannerPresent());
    session.run(u"dunstctl"_s, {u"close"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return !any.bannerPresent(); }, 20000));

    // A long banner stays while it is up, and when the user closes it early it goes at once
    // (well before its own minute): the server tells of the close by the id it gave, which the
    // monitor learnt from its answer.
    session.run(u"notify-send"_s, {u"-a"_s, u"Chat"_s, u"-t"_s, u"60000"_s, u"a long one"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return monitor->bannerPresent(); }, 20000));
    QTest::qWait(1500);
    EXPECT_TRUE(monitor->bannerPresent());
    session.run(u"dunstctl"_s, {u"close"_s});
    EXPECT_TRUE(QTest::qWaitFor([&] { return !any.bannerPresent(); }, 30000));

    // Each request seen counted once, under the application that made it, for the card after a
    // silenced block; watching never got the monitor thrown off the bus.
    EXPECT_EQ(any.takeArrivals(), QStringList{u"Chat"_s});
    EXPECT_TRUE(any.takeArrivals().isEmpty());
    EXPECT_TRUE(monitor->isMonitoring());
}
