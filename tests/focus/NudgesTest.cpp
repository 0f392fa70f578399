#include "focus/BannerSource.h"
#include "focus/FocusNudge.h"
#include "focus/NudgeCard.h"
#include "focus/NudgeFrame.h"
#include "focus/NudgeTexts.h"
#include "focus/NudgeView.h"
#include "focus/RealFocusAids.h"

#include "support/FakeWallClock.h"
#include "support/Printers.h"

#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QScreen>
#include <QTest>

#include <gtest/gtest.h>

using namespace quillmere;
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
// The card's title, detail and accent, as one line; nothing while the title is blank.
const auto shown = [](NudgeCard& card) {
    const NudgeModel& m = card.model();
    return m.title().isEmpty()
               ? QString()
               : m.title() + u'|' + m.detail() + u'|' + m.accent().name(QColor::HexArgb);
};
// Blanks the card's title so the next show is seen even when it repeats the same words.
const auto forget = [](NudgeCard& card) { card.model().setTitle(QString()); };

// The aids as the shell makes them, on a faked clock and banners the test scripts.
struct RealAids : testing::Test {
    test::FakeWallClock clock;
    // Handed to the aids when they first need banners, and looked at by the test after.
    std::unique_ptr<ScriptedDesktop> unclaimed = std::make_unique<ScriptedDesktop>();
    ScriptedDesktop* desktop = unclaimed.get();
    RealFocusAids aids{clock,
                       [this] { return std::unique_ptr<BannerSource>(std::move(unclaimed)); }};
};

} // namespace

// Polling on its own, once a second, is met end to end (FocusAidsEndToEnd).
TEST_F(RealAids, AreMadeOnlyWhenNeededShareOneCardAndOnlyTheEndOfAWatchTakesItDown) {
    // Stopping or an unknown sound makes nothing, nor asks for banners.
    aids.stopNoise();
    aids.stopWatchingBanners();
    aids.playSound(u"Tink"_s);
    EXPECT_EQ(std::tuple(aids.noisePlayer(), aids.nudgeCard(), aids.focusNudge(), !unclaimed),
              std::tuple(nullptr, nullptr, nullptr, false));

    // Reminders announce each start once, with the kind, the title and the times; a start that
    // moved is a new start, and one offered late is not clamped.
    const auto remind = [&](const WorkBlock& b, Minutes now) {
        aids.offerReminder(b, now);
        const QString seen = shown(*aids.nudgeCard());
        forget(*aids.nudgeCard());
        return seen;
    };
    WorkBlock titled = block(540, 90, WorkKind::deep, u"Write report"_s);
    EXPECT_EQ(remind(titled, 535),
              u"Deep Work in 5 m|Write report  ·  9:00 AM – 10:30 AM|"_s + deep);
    EXPECT_EQ(remind(titled, 536), QString());
    titled.startMinutes = 570;
    EXPECT_EQ(remind(titled, 572),
              u"Deep Work in -2 m|Write report  ·  9:30 AM – 11:00 AM|"_s + deep);
    EXPECT_EQ(remind(block(780, 45, WorkKind::shallow), 775),
              u"Shallow Work in 5 m|1:00 PM – 1:45 PM|"_s + shallow);

    // A watch that ends takes down any card, the reminder included. The shell's anchor, set
    // after the card exists, places its next show.
    NudgeCard& card = *aids.nudgeCard();
    aids.setAnchorProvider([] { return std::optional<QRect>(QRect(300, 0, 24, 24)); });
    aids.watchBanners(block(540, 65, WorkKind::deep));
    aids.stopWatchingBanners();
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
        const QString seen = shown(card);
        forget(card);
        return seen;
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

TEST_F(RealAids, WhileSilencedNoNudgeAndAfterwardsOneCardSaysWhatArrived) {
    for (const auto& [applications, detail] :
         {std::pair{QStringList{u"Mail"_s}, u"1 notification · Mail"_s},
          std::pair{QStringList{QString(), QString()}, u"2 notifications"_s}})
        EXPECT_EQ(nudgeTexts::digestDetail(applications), detail);

    aids.setSilencer(desktop);
    const WorkBlock write = block(540, 60, WorkKind::deep, u"Write"_s);
    // Whether the desktop could hold anything back decides whether a card follows.
    for (bool canSilence : {true, false}) {
        SCOPED_TRACE(canSilence);
        desktop->canSilence = canSilence;
        aids.watchBanners(write);
        NudgeCard& card = *aids.nudgeCard();
        desktop->arrivals = {u"Before"_s}; // came before the block: not part of it
        aids.silenceNotifications(write);
        desktop->present = true;
        desktop->arrivals += {u"Mail"_s, u" Chat"_s, u"Mail"_s}; // named once each, trimmed
        aids.focusNudge()->poll();
        EXPECT_EQ(card.model().title() == nudgeTexts::stayFocused, !canSilence);
        desktop->present = false;
        aids.stopWatchingBanners();
        forget(card);
        aids.endSilence();
        EXPECT_EQ(shown(card), canSilence
                                   ? u"While you focused|3 notifications · Mail, Chat|"_s + deep
                                   : QString());
        // Refreshes after the block tell nothing again.
        forget(card);
        aids.endSilence();
        EXPECT_EQ(shown(card), QString());
        card.dismiss();
    }
    // A quiet block in which nothing arrived ends without a card.
    desktop->canSilence = true;
    desktop->arrivals = {u"Before"_s};
    aids.silenceNotifications(write);
    aids.endSilence();
    EXPECT_EQ(shown(*aids.nudgeCard()), QString());
}

TEST(NudgeFrame, SitsUnderTheAnchorOrInTheTopRightAndNeverNearAnEdge) {
    const QRect area(100, 30, 1600, 1000); // a screen right of another, below a top panel
    using Case = std::tuple<const char*, int, std::optional<QRect>, std::optional<QRect>, QRect>;
    const Case cases[] = {
        {"top right", 70, {}, area, QRect(1700 - 24 - 280, 36, 280, 70)},
        {"under the anchor", 70, QRect(900, 0, 24, 24), area, QRect(912 - 140, 36, 280, 70)},
        {"off the left edge", 70, QRect(102, 0, 20, 20), area, QRect(100 + 8, 36, 280, 70)},
        {"off the right edge", 70, QRect(1690, 0, 20, 20), area,
         QRect(1700 - 8 - 280, 36, 280, 70)},
        {"too narrow for both margins: the right one wins", 50, QRect(0, 0, 10, 10),
         QRect(0, 0, 200, 300), QRect(200 - 8 - 280, 6, 280, 50)},
        {"no screen known", 60, {}, {}, QRect(0, 0, 280, 60)},
        {"no height", -5, {}, {}, QRect(0, 0, 280, 0)},
    };
    for (const auto& [name, height, anchor, screen, frame] : cases)
        EXPECT_EQ(nudgeTargetFrame(height, anchor, screen), frame) << name;
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
    const auto hidden = [&] { return !card.panel()->isVisible(); };
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
    EXPECT_EQ(card.model().title() + card.model().detail(), u"Twosecond"_s);
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
    EXPECT_FALSE(card.isDismissPending());
    ASSERT_TRUE(QTest::qWaitFor(hidden, 10000));
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
    ASSERT_TRUE(QTest::qWaitFor(hidden, 10000));
}
