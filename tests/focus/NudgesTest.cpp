#include "focus/BannerSource.h"
#include "focus/FocusNudge.h"
#include "focus/NudgeCard.h"
#include "focus/NudgeFrame.h"
#include "focus/NudgeModel.h"
#include "focus/NudgeTexts.h"
#include "focus/NudgeView.h"
#include "focus/RealFocusAids.h"
#include "ui/KindColors.h"

#include "support/FakeWallClock.h"
#include "support/Printers.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QScreen>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>

using namespace quillmere;
using namespace Qt::StringLiterals;

namespace {

struct ScriptedBanners final : BannerSource {
    bool present = false;
    int asked = 0;
    QStringList arrivals;
    bool bannerPresent() override {
        ++asked;
        return present;
    }
    QStringList takeArrivals() override { return std::exchange(arrivals, {}); }
};

// A desktop whose do-not-disturb takes effect when asked, if it has one at all.
struct ScriptedSilencer final : NotificationSilencer {
    bool canSilence = true;
    bool quiet = false;
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
// The card's title, detail and accent, as one line.
const auto shown = [](NudgeCard& card) -> QString {
    return card.model().title() + u'|' + card.model().detail() + u'|' +
           card.model().accent().name(QColor::HexArgb);
};
// Blanks the card's title so the next show is seen even when it repeats the same words.
const auto forget = [](NudgeCard& card) { card.model().setTitle(QString()); };

// The aids as the shell makes them, on a faked clock and banners the test scripts.
struct RealAids : testing::Test {
    test::FakeWallClock clock;
    // Handed to the aids when they first need banners, and looked at by the test after.
    std::unique_ptr<ScriptedBanners> unclaimed = std::make_unique<ScriptedBanners>();
    ScriptedBanners* banners = unclaimed.get();
    RealFocusAids aids{clock,
                       [this] { return std::unique_ptr<BannerSource>(std::move(unclaimed)); }};
};

} // namespace

TEST_F(RealAids, TheFocusNudgeComesOnlyWhenABannerAppears) {
    // A banner already up when watching starts is no reason to nudge.
    banners->present = true;
    aids.watchBanners(block(540, 65, WorkKind::deep));
    FocusNudge& nudge = *aids.focusNudge();
    NudgeCard& card = *aids.nudgeCard();
    // Polls while the banner is up or down.
    const auto poll = [&](bool present, int times = 1) {
        banners->present = present;
        for (int i = 0; i < times; ++i)
            nudge.poll();
    };
    // A banner goes away and a new one appears.
    const auto newBanner = [&] {
        forget(card);
        poll(false);
        poll(true);
    };
    EXPECT_TRUE(nudge.isWatching());
    poll(true, 3);
    EXPECT_EQ(card.panel(), nullptr);

    newBanner();
    ASSERT_TRUE(cardUp(card));
    EXPECT_EQ(shown(card), u"Stay focused|1 h 5 m left in Deep Work|"_s + deep);

    // A banner that stays gives no second nudge, however long it stays.
    forget(card);
    clock.advanceSecs(600);
    poll(true, 10);
    EXPECT_EQ(card.model().title(), QString());

    // A second watch swaps the block but keeps the edge state: the banner still up is old news.
    nudge.watch(block(540, 30, WorkKind::shallow, u"Inbox"_s));
    poll(true);
    EXPECT_EQ(card.model().title(), QString());
    newBanner();
    EXPECT_EQ(shown(card), u"Stay focused|20 m left in Inbox|"_s + shallow); // it is 9:10

    // Past the end nothing is left, rather than a negative time.
    clock.set(QDate(2024, 3, 4), QTime(11, 15));
    newBanner();
    EXPECT_EQ(card.model().detail(), u"0 m left in Inbox"_s);

    // Polls after stopping have no block to speak of.
    nudge.stop();
    EXPECT_FALSE(nudge.isWatching());
    newBanner();
    EXPECT_EQ(card.model().title(), QString());
}

TEST_F(RealAids, AreMadeOnlyWhenNeededShareOneCardAndOnlyTheEndOfAWatchTakesItDown) {
    // Stopping or an unknown sound makes nothing, nor asks for banners.
    aids.stopNoise();
    aids.stopWatchingBanners();
    aids.playSound(u"Tink"_s);
    EXPECT_EQ(std::tuple(aids.noisePlayer(), aids.nudgeCard(), aids.focusNudge(), !unclaimed),
              std::tuple(nullptr, nullptr, nullptr, false));

    // Reminders announce each start once, with the kind, the title and the times.
    WorkBlock titled = block(540, 90, WorkKind::deep, u"Write report"_s);
    aids.offerReminder(titled, 535);
    NudgeCard* card = aids.nudgeCard();
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(shown(*card), u"Deep Work in 5 m|Write report  ·  9:00 AM – 10:30 AM|"_s + deep);
    forget(*card);
    aids.offerReminder(titled, 536);
    EXPECT_EQ(card->model().title(), QString());
    // A start that moved is a new start; one offered late is not clamped.
    titled.startMinutes = 570;
    aids.offerReminder(titled, 566);
    EXPECT_EQ(shown(*card), u"Deep Work in 4 m|Write report  ·  9:30 AM – 11:00 AM|"_s + deep);
    titled.startMinutes = 540;
    aids.offerReminder(titled, 542);
    EXPECT_EQ(card->model().title(), u"Deep Work in -2 m"_s);
    aids.offerReminder(block(780, 45, WorkKind::shallow), 775);
    EXPECT_EQ(shown(*card), u"Shallow Work in 5 m|1:00 PM – 1:45 PM|"_s + shallow);

    // Nor does an idle refresh's stop take a reminder down: it stays for its time.
    aids.stopWatchingBanners();
    aids.stopWatchingBanners();
    EXPECT_EQ(aids.focusNudge(), nullptr);
    EXPECT_TRUE(card->isDismissPending());
    QTest::qWait(NudgeCard::fadeOutMs + 100);
    EXPECT_TRUE(cardUp(*card));

    // A watch that ends takes down any card, the reminder included.
    aids.watchBanners(block(540, 65, WorkKind::deep));
    aids.stopWatchingBanners();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cardUp(*card); }, 10000));

    // The nudge polls on its own, once a second, onto the same card.
    aids.watchBanners(block(540, 65, WorkKind::deep));
    EXPECT_EQ(aids.nudgeCard(), card);
    const int before = banners->asked;
    banners->present = true;
    ASSERT_TRUE(QTest::qWaitFor([&] { return cardUp(*card); }, 10000));
    EXPECT_EQ(banners->asked, before + 1);
    EXPECT_EQ(shown(*card), u"Stay focused|1 h 5 m left in Deep Work|"_s + deep);

    // The shell's anchor reaches the card even when set after the card exists.
    aids.setAnchorProvider([] { return std::optional<QRect>(QRect(300, 0, 24, 24)); });
    aids.stopWatchingBanners();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cardUp(*card); }, 10000));
    aids.offerReminder(block(600, 30, WorkKind::deep), 595);
    EXPECT_EQ(card->panel()->x(), 312 - 140);
}

TEST_F(RealAids, WhileSilencedNoNudgeAndAfterwardsOneCardSaysWhatArrived) {
    for (const auto& [applications, detail] :
         {std::pair{QStringList{u"Mail"_s}, u"1 notification · Mail"_s},
          std::pair{QStringList{QString(), QString()}, u"2 notifications"_s}})
        EXPECT_EQ(nudgeTexts::digestDetail(applications), detail);

    ScriptedSilencer silencer;
    aids.setSilencer(&silencer);
    const WorkBlock write = block(540, 60, WorkKind::deep, u"Write"_s);

    // Whether the desktop could hold anything back decides whether a card follows.
    for (bool canSilence : {true, false}) {
        SCOPED_TRACE(canSilence);
        silencer.canSilence = canSilence;
        aids.watchBanners(write);
        NudgeCard& card = *aids.nudgeCard();
        banners->arrivals = {u"Before"_s}; // came before the block: not part of it
        aids.silenceNotifications(write);
        banners->present = true;
        banners->arrivals += {u"Mail"_s, u" Chat"_s, u"Mail"_s}; // named once each, trimmed
        aids.focusNudge()->poll();
        EXPECT_EQ(card.model().title() == nudgeTexts::stayFocused, !canSilence);
        banners->present = false;
        aids.stopWatchingBanners();
        forget(card);
        aids.endSilence();
        EXPECT_EQ(canSilence ? shown(card) : card.model().title(),
                  canSilence ? u"While you focused|3 notifications · Mail, Chat|"_s + deep
                             : QString());
        // Refreshes after the block tell nothing again.
        forget(card);
        aids.endSilence();
        EXPECT_EQ(card.model().title(), QString());
        card.dismiss();
    }
    // A quiet block in which nothing arrived ends without a card.
    silencer.canSilence = true;
    banners->arrivals = {u"Before"_s};
    aids.silenceNotifications(write);
    aids.endSilence();
    EXPECT_EQ(aids.nudgeCard()->model().title(), QString());
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
    QElapsedTimer sinceFirst;
    sinceFirst.start();
    card.show(u"One"_s, u"first"_s, ui::crimson(), shownSeconds);
    NudgeView* panel = card.panel();
    ASSERT_NE(panel, nullptr);
    // It drops in from above, without taking the focus.
    EXPECT_EQ(std::tuple(panel->isVisible(), panel->hasFocus(), panel->y()),
              std::tuple(true, false, expected.y() - NudgeCard::dropDistance));
    ASSERT_TRUE(QTest::qWaitFor(fullyUp, 10000));
    EXPECT_EQ(panel->x(), 411 - 140);
    const auto dot = [&] {
        return panel->grab().toImage().pixel(NudgeView::dotRect(panel->height()).center());
    };
    EXPECT_EQ(dot(), ui::crimson().rgb());

    QTest::qWait(static_cast<int>(std::max<qint64>(0, 500 - sinceFirst.elapsed())));
    ASSERT_EQ(panel->cardOpacity(), 1.0) << "the machine stalled past the first show's time";
    QElapsedTimer sinceSecond;
    sinceSecond.start();
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
    EXPECT_GE(sinceSecond.elapsed(),
              shownSeconds * 1000 - 100); // a coarse timer may fire 5 % early
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
