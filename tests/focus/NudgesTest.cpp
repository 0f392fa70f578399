#include "focus/BannerSource.h"
#include "focus/FocusNudge.h"
#include "focus/NudgeCard.h"
#include "focus/NudgeTexts.h"
#include "focus/NudgeView.h"
#include "focus/RealFocusAids.h"
#include "focus/ReminderNudge.h"
#include "ui/KindColors.h"

#include "support/FakeWallClock.h"
#include "support/Printers.h"

#include <QTest>

#include <gtest/gtest.h>

using namespace quillmere;
using quillmere::test::FakeWallClock;
using namespace Qt::StringLiterals;

namespace {

class ScriptedBanners final : public BannerSource {
public:
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
class ScriptedSilencer final : public NotificationSilencer {
public:
    bool canSilence = true;
    bool quiet = false;
    int restores = 0;
    void silence() override { quiet = canSilence; }
    void restore() override {
        ++restores;
        quiet = false;
    }
    bool isSilenced() override { return quiet; }
};

WorkBlock block(Minutes start, Minutes duration, WorkKind kind, const QString& title = {}) {
    return {
        QUuid::createUuid(), title, QStringLiteral("2024-03-04"), start, duration, kind, {}, {}};
}

bool cardUp(NudgeCard& card) {
    return card.panel() && card.panel()->isVisible();
}

// The card's title and detail, as one line.
QString shown(NudgeCard& card) {
    return card.model().title() + u'|' + card.model().detail();
}

// Blanks the card's title so the next show is seen even when it repeats the same words.
void forget(NudgeCard& card) {
    card.model().setTitle(QString());
}

} // namespace

TEST(FocusNudge, NudgesOnlyWhenABannerAppears) {
    FakeWallClock clock(QDateTime(QDate(2024, 3, 4), QTime(9, 0)));
    ScriptedBanners banners;
    NudgeCard card;
    FocusNudge nudge(card, banners, clock);
    // A banner goes away and a new one appears; the card's title is blanked first so a repeat
    // of the same words is seen.
    const auto newBanner = [&] {
        forget(card);
        banners.present = false;
        nudge.poll();
        banners.present = true;
        nudge.poll();
    };

    // A banner already up when watching starts is no reason to nudge.
    banners.present = true;
    nudge.watch(block(540, 65, WorkKind::deep));
    EXPECT_TRUE(nudge.isWatching());
    for (int i = 0; i < 3; ++i)
        nudge.poll();
    EXPECT_EQ(card.panel(), nullptr);

    newBanner();
    ASSERT_TRUE(cardUp(card));
    EXPECT_EQ(shown(card), QStringLiteral("Stay focused|1 h 5 m left in Deep Work"));
    EXPECT_EQ(card.model().accent(), ui::kindColor(WorkKind::deep));

    // A banner that stays gives no second nudge.
    forget(card);
    for (int i = 0; i < 10; ++i) {
        clock.advanceSecs(60);
        nudge.poll();
    }
    EXPECT_EQ(card.model().title(), QString());

    // A second watch swaps the block but keeps the edge state: the banner still up is old news.
    nudge.watch(block(540, 30, WorkKind::shallow, QStringLiteral("Inbox")));
    nudge.poll();
    EXPECT_EQ(card.model().title(), QString());
    newBanner();
    EXPECT_EQ(shown(card), QStringLiteral("Stay focused|20 m left in Inbox")); // it is 9:10
    EXPECT_EQ(card.model().accent(), ui::kindColor(WorkKind::shallow));

    // Past the end nothing is left, rather than a negative time.
    clock.set(QDate(2024, 3, 4), QTime(11, 15));
    newBanner();
    EXPECT_EQ(card.model().detail(), QStringLiteral("0 m left in Inbox"));

    // Polls after stopping have no block to speak of.
    nudge.stop();
    EXPECT_FALSE(nudge.isWatching());
    newBanner();
    EXPECT_EQ(card.model().title(), QString());
}

TEST(FocusNudge, PollsOnItsOwnOnceASecondAndOnlyTheEndOfAWatchTakesDownACard) {
    FakeWallClock clock(QDateTime(QDate(2024, 3, 4), QTime(13, 56)));
    ScriptedBanners banners;
    NudgeCard card;
    FocusNudge nudge(card, banners, clock);
    ReminderNudge reminder(card);

    // Idle refreshes stop a nudge that watches nothing: the reminder stays for its time.
    reminder.offer(block(840, 60, WorkKind::deep), 836);
    ASSERT_TRUE(cardUp(card));
    nudge.stop();
    nudge.stop();
    EXPECT_TRUE(card.isDismissPending());
    QTest::qWait(NudgeCard::fadeOutMs + 100);
    EXPECT_TRUE(cardUp(card));

    // A watch that ends takes down any card, the reminder included.
    nudge.watch(block(840, 60, WorkKind::deep));
    nudge.stop();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cardUp(card); }, 10000));

    nudge.watch(block(840, 60, WorkKind::deep));
    const int before = banners.asked;
    banners.present = true;
    ASSERT_TRUE(QTest::qWaitFor([&] { return cardUp(card); }, 10000));
    EXPECT_EQ(banners.asked, before + 1);
    EXPECT_EQ(card.model().detail(), QStringLiteral("1 h 4 m left in Deep Work"));
    nudge.stop();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cardUp(card); }, 10000));
}

TEST(ReminderNudge, AnnouncesEachStartOnceWithItsTimes) {
    NudgeCard card;
    ReminderNudge reminder(card);
    WorkBlock titled = block(540, 90, WorkKind::deep, QStringLiteral("Write report"));

    reminder.offer(titled, 535);
    EXPECT_EQ(shown(card),
              QStringLiteral("Deep Work in 5 m|Write report  \u00b7  9:00 AM \u2013 10:30 AM"));
    EXPECT_EQ(card.model().accent(), ui::crimson());
    forget(card);
    reminder.offer(titled, 536);
    EXPECT_EQ(card.model().title(), QString());

    // A start that moved is a new start.
    titled.startMinutes = 570;
    reminder.offer(titled, 566);
    EXPECT_EQ(shown(card),
              QStringLiteral("Deep Work in 4 m|Write report  \u00b7  9:30 AM \u2013 11:00 AM"));
    titled.startMinutes = 540;
    reminder.offer(titled, 542); // offered late: the minutes are not clamped
    EXPECT_EQ(card.model().title(), QStringLiteral("Deep Work in -2 m"));

    reminder.offer(block(780, 45, WorkKind::shallow), 775);
    EXPECT_EQ(shown(card), QStringLiteral("Shallow Work in 5 m|1:00 PM \u2013 1:45 PM"));
    EXPECT_EQ(card.model().accent(), ui::kindColor(WorkKind::shallow));
}

TEST(RealFocusAids, MakesEachAidOnlyWhenNeededAndSharesOneCard) {
    FakeWallClock clock(QDateTime(QDate(2024, 3, 4), QTime(9, 0)));
    ScriptedBanners* banners = nullptr;
    RealFocusAids aids(clock, [&] {
        auto source = std::make_unique<ScriptedBanners>();
        banners = source.get();
        return source;
    });
    // Stopping or an unknown sound makes nothing.
    aids.stopNoise();
    aids.stopWatchingBanners();
    aids.playSound(QStringLiteral("Tink"));
    EXPECT_EQ(aids.noisePlayer(), nullptr);
    EXPECT_EQ(aids.nudgeCard(), nullptr);
    EXPECT_EQ(aids.focusNudge(), nullptr);

    // Nor does an idle refresh's stop take a reminder down.
    aids.offerReminder(block(545, 60, WorkKind::deep), 540);
    aids.stopWatchingBanners();
    NudgeCard* card = aids.nudgeCard();
    ASSERT_NE(card, nullptr);
    EXPECT_TRUE(card->isDismissPending());
    EXPECT_EQ(card->model().title(), QStringLiteral("Deep Work in 5 m"));
    EXPECT_EQ(aids.focusNudge(), nullptr);

    aids.watchBanners(block(540, 60, WorkKind::deep));
    ASSERT_NE(banners, nullptr);
    ASSERT_NE(aids.focusNudge(), nullptr);
    EXPECT_EQ(aids.nudgeCard(), card);
    banners->present = true;
    aids.focusNudge()->poll();
    EXPECT_EQ(card->model().title(), QStringLiteral("Stay focused"));

    // The shell's anchor reaches the card even when set after the card exists.
    aids.setAnchorProvider([] { return std::optional<QRect>(QRect(300, 0, 24, 24)); });
    aids.stopWatchingBanners();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !card->panel()->isVisible(); }, 10000));
    aids.offerReminder(block(600, 30, WorkKind::deep), 595);
    EXPECT_EQ(card->panel()->x(), 312 - 140);
}

TEST(RealFocusAids, WhileSilencedNoNudgeAndAfterwardsOneCardSaysWhatArrived) {
    for (const auto& [applications, detail] :
         {std::pair{QStringList{u"Mail"_s}, u"1 notification · Mail"_s},
          std::pair{QStringList{u"Mail"_s, u" Chat"_s, u"Mail"_s},
                    u"3 notifications · Mail, Chat"_s},
          std::pair{QStringList{QString(), QString()}, u"2 notifications"_s}})
        EXPECT_EQ(nudgeTexts::digestDetail(applications), detail);

    FakeWallClock clock(QDateTime(QDate(2024, 3, 4), QTime(9, 30)));
    ScriptedBanners* banners = nullptr;
    RealFocusAids aids(clock, [&] {
        auto source = std::make_unique<ScriptedBanners>();
        banners = source.get();
        return source;
    });
    ScriptedSilencer silencer;
    aids.setSilencer(&silencer);
    const WorkBlock deep = block(540, 60, WorkKind::deep, u"Write"_s);

    // Whether the desktop could hold anything back decides whether a card follows.
    for (bool canSilence : {true, false}) {
        SCOPED_TRACE(canSilence);
        silencer.canSilence = canSilence;
        aids.watchBanners(deep);
        ASSERT_NE(banners, nullptr);
        banners->arrivals = {u"Before"_s}; // came before the block: not part of it
        aids.silenceNotifications(deep);
        banners->present = true;
        banners->arrivals += {u"Mail"_s, u"Chat"_s, u"Mail"_s};
        aids.focusNudge()->poll();
        EXPECT_EQ(aids.nudgeCard()->model().title() == nudgeTexts::stayFocused, !canSilence);
        banners->present = false;
        aids.stopWatchingBanners();
        forget(*aids.nudgeCard());
        aids.endSilence();
        if (canSilence) {
            EXPECT_EQ(shown(*aids.nudgeCard()),
                      u"While you focused|3 notifications · Mail, Chat"_s);
            EXPECT_EQ(aids.nudgeCard()->model().accent(), ui::crimson());
        } else {
            EXPECT_EQ(aids.nudgeCard()->model().title(), QString());
        }
        // Refreshes after the block tell nothing again.
        forget(*aids.nudgeCard());
        aids.endSilence();
        EXPECT_EQ(aids.nudgeCard()->model().title(), QString());
        aids.nudgeCard()->dismiss();
    }
    // A quiet block in which nothing arrived ends without a card.
    silencer.canSilence = true;
    banners->arrivals = {u"Before"_s};
    aids.silenceNotifications(deep);
    aids.endSilence();
    EXPECT_EQ(aids.nudgeCard()->model().title(), QString());
}
