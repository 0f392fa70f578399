#include "focus/NudgeCard.h"
#include "focus/NudgeFrame.h"
#include "focus/NudgeModel.h"
#include "focus/NudgeView.h"
#include "ui/KindColors.h"

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

QRect primaryArea() {
    return QGuiApplication::primaryScreen()->availableGeometry();
}

} // namespace

TEST(NudgeFrame, SitsUnderTheAnchorOrInTheTopRightAndNeverNearAnEdge) {
    const QRect area(100, 30, 1600, 1000); // a screen right of another, below a top panel
    const struct {
        const char* name;
        int height;
        std::optional<QRect> anchor;
        std::optional<QRect> area;
        QRect frame;
    } cases[] = {
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
    for (const auto& c : cases)
        EXPECT_EQ(nudgeTargetFrame(c.height, c.anchor, c.area), c.frame) << c.name;
}

TEST(NudgeView, DrawsTheDotInTheAccentAndGrowsWithItsText) {
    NudgeModel model;
    model.setTitle(u"Stay focused"_s);
    model.setDetail(u"25 m left in Deep Work"_s);
    model.setAccent(ui::kindColor(WorkKind::shallow));
    NudgeView view(&model);
    const int oneLine = view.height();
    const QPoint dot = NudgeView::dotRect(view.height()).center();
    EXPECT_EQ(view.grab().toImage().pixelColor(dot).rgb(), ui::kindColor(WorkKind::shallow).rgb());
    model.setAccent(ui::crimson());
    EXPECT_EQ(view.grab().toImage().pixelColor(dot).rgb(), ui::crimson().rgb());

    model.setDetail(QStringLiteral("A detail long enough that it cannot possibly fit on one line "
                                   "of a card this narrow, so it wraps"));
    EXPECT_GT(view.height(), oneLine);
}

// Display times are scaled down but kept long against the gaps between the steps, and every
// timing check is a lower bound, so a slow or loaded machine only makes the test wait longer.
TEST(NudgeCard, ShowsInPlaceForItsLatestTimeComesBackFromAFadeAndGoesOnAClick) {
    constexpr double shownSeconds = 2.0;
    NudgeCard card;
    card.setAnchorProvider([] { return std::optional<QRect>(QRect(400, 0, 22, 22)); });
    const QRect expected = nudgeTargetFrame(0, QRect(400, 0, 22, 22), primaryArea());
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
    EXPECT_TRUE(panel->isVisible());
    EXPECT_FALSE(panel->hasFocus());
    EXPECT_EQ(panel->y(), expected.y() - NudgeCard::dropDistance); // it drops in from above
    ASSERT_TRUE(QTest::qWaitFor(fullyUp, 10000));
    EXPECT_EQ(panel->x(), 411 - 140);

    QTest::qWait(static_cast<int>(std::max<qint64>(0, 500 - sinceFirst.elapsed())));
    ASSERT_EQ(panel->cardOpacity(), 1.0) << "the machine stalled past the first show's time";
    QElapsedTimer sinceSecond;
    sinceSecond.start();
    card.show(u"Two"_s, u"second"_s, ui::kindColor(WorkKind::shallow), shownSeconds);
    EXPECT_EQ(card.model().title() + card.model().detail(), u"Twosecond"_s);
    EXPECT_EQ(panel->pos(), expected.topLeft()); // no second drop

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

    // A show right after a dismissal, before the fade has drawn a frame, still keeps it.
    card.show(u"Up"_s, QString(), ui::crimson(), 60);
    ASSERT_TRUE(QTest::qWaitFor(fullyUp, 10000));
    card.dismiss();
    card.show(u"Still up"_s, QString(), ui::crimson(), 60);
    ASSERT_TRUE(QTest::qWaitFor(fullyUp, 10000));
    QTest::qWait(NudgeCard::fadeOutMs + 100);
    EXPECT_TRUE(fullyUp());
    card.dismiss();
    ASSERT_TRUE(QTest::qWaitFor(hidden, 10000));

    // Hidden cards come back with a fresh drop.
    card.show(u"Again"_s, QString(), ui::crimson(), 60);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_EQ(panel->y(), expected.y() - NudgeCard::dropDistance);
    card.dismiss();
    card.dismiss();
    ASSERT_TRUE(QTest::qWaitFor(hidden, 10000));
}
