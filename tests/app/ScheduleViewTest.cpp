#include "app/ScheduleView.h"
#include "desktop/ApplicationId.h"
#include "stats/StatsWindow.h"
#include "stats/YearHeatmapView.h"
#include "timeline/BlockEditorView.h"
#include "timeline/DayTimelineView.h"
#include "ui/ColorScheme.h"
#include "ui/Palette.h"

#include "support/Colors.h"
#include "support/NotificationSession.h"
#include "support/StoreHarness.h"
#include "support/Widgets.h"

#include <QAccessible>
#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDir>
#include <QElapsedTimer>
#include <QEnterEvent>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QToolButton>

using namespace quillmere;
using namespace quillmere::test;
using namespace Qt::StringLiterals;

namespace {

PlannedBlock planned(const QString& title, WorkKind kind = WorkKind::deep) {
    return PlannedBlock{QUuid::createUuid(), title, kind, 0, std::nullopt};
}

// The view on a store on Monday 2024-03-04, 09:07 in Berlin unless a test moves it.
struct ScheduleFixture : StoreHarness {
    ScheduleFixture() : StoreHarness(QTime(9, 7)) {}
    std::unique_ptr<ScheduleView> view;
    DayTimelineView* timeline = nullptr;
    BlockEditorView* editor = nullptr;

    void build(int dayFullMs = ScheduleView::defaultDayFullMs) {
        open();
        view = std::make_unique<ScheduleView>(*store, clock, nullptr, dayFullMs);
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        QApplication::setActiveWindow(view.get());
        timeline = child<DayTimelineView>(view.get());
        editor = child<BlockEditorView>(view.get());
    }

    void choose(const QString& item) {
        QAction* a = action(view.get(), item);
        ASSERT_NE(a, nullptr);
        a->trigger();
        processEvents();
    }

    PlannedListView* list() const { return child<PlannedListView>(view.get()); }
    PlannedRow* row(const QUuid& id) const {
        return childWhere<PlannedRow>(
            list(), [&](PlannedRow* r) { return r->item().id == id && r->isVisibleTo(list()); });
    }

    QLineEdit* title() const { return child<QLineEdit>(editor); }

    // Nothing selected, nothing being edited, the editor hidden.
    bool closed() const { return !view->selectedID() && !view->working() && !editor->isVisible(); }
};

// The desktop's settings portal as far as the colour scheme goes: answers ReadOne with the
// current value and announces a new one.
struct FakeSettingsPortal final : QDBusVirtualObject {
    explicit FakeSettingsPortal(QDBusConnection connection) : bus(std::move(connection)) {
        bus.registerVirtualObject(path, this, QDBusConnection::SubPath);
        bus.registerService(u"org.freedesktop.portal.Desktop"_s);
    }
    inline static const QString path = u"/org/freedesktop/portal/desktop"_s;
    QDBusConnection bus;
    QVariant value = 1u;

    void announce(const QVariant& next) {
        value = next;
        bus.send(QDBusMessage::createSignal(path, u"org.freedesktop.portal.Settings"_s,
                                            u"SettingChanged"_s)
                 << u"org.freedesktop.appearance"_s << u"color-scheme"_s
                 << QVariant::fromValue(QDBusVariant(next)));
    }
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& from) override {
        return message.member() == QLatin1String("ReadOne") &&
               from.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
    }
};

} // namespace

TEST_F(ScheduleFixture, ThePanelStaysLegibleAsTheDesktopSwitchesBetweenLightAndDark) {
    NotificationSession session;
    session.start(false);
    const QString address = QString::fromLatin1(session.address());
    FakeSettingsPortal portal(QDBusConnection::connectToBus(address, u"portal"_s));
    const QPalette platform = QApplication::palette();
    seedPlanned({planned(u"Read"_s)});
    build();
    choose(u"Add Deep Work"_s);
    choose(u"Volume…"_s);
    StatsWindow stats(dir.path());

    ui::ColorSchemeFollower follower(QDBusConnection::connectToBus(address, u"app"_s));
    QSignalSpy switched(&follower, &ui::ColorSchemeFollower::schemeChanged);
    // The announced value (nothing: the one read at the start) and the scheme it gives; no
    // preference, or a value the portal does not define, gives the platform's palette.
    for (const auto& [announced, scheme] :
         {std::pair(QVariant(), ui::ColorScheme::dark),
          std::pair(QVariant(2u), ui::ColorScheme::light),
          std::pair(QVariant(1u), ui::ColorScheme::dark),
          std::pair(QVariant(u"dark"_s), ui::ColorScheme::light)}) {
        SCOPED_TRACE(announced.toString().toStdString());
        if (announced.isValid())
            portal.announce(announced);
        ASSERT_TRUE(QTest::qWaitFor([&] { return follower.scheme() == scheme; }, 10000));
        processEvents();
        ASSERT_EQ(ui::schemeOf(view->palette()), scheme);
        EXPECT_TRUE(scheme != ui::schemeOf(platform) ||
                    QApplication::palette().window() == platform.window());

        // The strongest contrast in each control against the background at its corner: what
        // the ink of its text or symbol reaches, at 1x and at 2x. Text needs 4.5:1, symbols
        // 3:1.
        for (const int ratio : {1, 2}) {
            QImage picture(view->size() * ratio, QImage::Format_ARGB32);
            picture.setDevicePixelRatio(ratio);
            view->render(&picture);
            for (const auto& [names, least] :
                 {std::pair(u"date hint start duration status backlogCount"_s, 4.5),
                  std::pair(u"add options delete"_s, 3.0)})
                for (const QString& name : names.split(u' ')) {
                    // The one on show: a hidden backlog row has a "delete" of its own.
                    const QWidget* widget = childWhere<QWidget>(view.get(), [&](QWidget* w) {
                        return w->objectName() == name && w->isVisible();
                    });
                    const QRect area(widget->mapTo(view.get(), QPoint(0, 0)) * ratio,
                                     widget->size() * ratio);
                    const QColor corner = picture.pixelColor(area.topLeft());
                    EXPECT_GE(most(picture, area, std::bind_front(ui::contrastRatio, corner)),
                              least)
                        << name.toStdString() << " at " << ratio << "x";
                }
        }

        // What a control holds rather than paints (icons drawn once, colours inside rich
        // text) is made again: it keeps its contrast with the background it sits on.
        const QColor window = view->palette().color(QPalette::Window);
        std::vector<std::pair<QString, QImage>> held;
        for (QToolButton* b : list()->findChildren<QToolButton*>())
            held.emplace_back(b->toolTip(), b->icon().pixmap(QSize(12, 12)).toImage());
        for (QLabel* l : view->findChildren<QLabel*>())
            if (!l->pixmap().isNull())
                held.emplace_back(u"volume symbol"_s, l->pixmap().toImage());
        ASSERT_GE(held.size(), 4u);
        // The strongest ink of each picture (the contrast reads the colour, not its alpha).
        for (const auto& [name, image] : held)
            EXPECT_GE(
                ui::contrastRatio(std::ranges::max(pixels(image), {}, &QColor::alpha), window), 3.0)
                << name.toStdString();
        for (QWidget* line : view->findChildren<QWidget*>(u"divider"_s))
            EXPECT_TRUE(near(line->grab().toImage().pixelColor(0, 0),
                             over(ui::secondaryColor(view->palette(), 0.35), window)));
        // The legend's first swatch is the empty day laid over this scheme's background.
        const QLabel* legend = childWhere<QLabel>(
            &stats, [](QLabel* l) { return l->text().startsWith(u"confirmed deep work"); });
        const QColor empty =
            over(ui::secondaryColor(stats.palette(), YearHeatmapView::emptyOpacity),
                 stats.palette().window().color());
        EXPECT_TRUE(legend->text().contains(empty.name())) << legend->text().toStdString();
    }
    EXPECT_EQ(switched.size(), 4);
    QApplication::setPalette(platform);
}

// A draft opens the editor and lives only in the view: choosing another block drops it without
// a trace. Its days, kinds and title then work as on a saved block.
TEST_F(ScheduleFixture, ADraftLivesOnlyInTheViewAndItsEditorWarnsRenamesAndSaves) {
    const WorkBlock standup = makeBlock(u"Standup"_s, today, 780, 30, WorkKind::shallow);
    seedBlocks({standup});
    seedRules({makeRule(u"Standup"_s, 540, 60, {3})}); // Tuesdays 9:00–10:00
    build();
    EXPECT_TRUE(closed());

    choose(u"Add Deep Work"_s);
    const WorkBlock draft = view->working().value_or(WorkBlock{});
    EXPECT_EQ(std::tuple(view->selectedID(), timeline->working(), editor->isVisible()),
              std::tuple(std::optional(draft.id), std::optional(draft), true));

    timeline->setSelectedID(standup.id);
    processEvents();
    EXPECT_EQ(view->working(), standup);
    EXPECT_EQ(blocksOnDisk(), (std::vector<WorkBlock>{standup}));
    timeline->setSelectedID(std::nullopt); // a click on empty timeline
    EXPECT_TRUE(closed());

    // A day on which a repeating block already covers the time is still added; only its help
    // warns.
    choose(u"Add Deep Work"_s); // 9:15, the next free quarter hour
    const QList<DayToggle*> days = editor->findChildren<DayToggle*>(); // Sunday first
    DayToggle* tuesday = days.value(2);
    ASSERT_EQ(tuesday->day(), 3);
    EXPECT_EQ(tuesday->toolTip(), u"Another repeating block covers this time on Tuesdays"_s);

    // A day not chosen is drawn in the secondary colour alone (its letter and, when another
    // block holds the day, its ring), so nothing on it is more opaque than that colour over
    // its own 15 % fill; a conflicting day is drawn at half opacity on top.
    const qreal ink = ui::secondaryColor(tuesday->palette()).alphaF();
    const qreal bound = 1 - (1 - ink) * (1 - ink * 0.15);
    const auto opaquest = [](QWidget* toggle) {
        QImage image(toggle->size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        toggle->render(&image, {}, {}, QWidget::DrawChildren); // no window background
        return most(image, {}, &QColor::alphaF);
    };
    EXPECT_LE(opaquest(days.value(3)), bound + 0.02);
    EXPECT_LE(opaquest(tuesday), bound * 0.5 + 0.02);

    QTest::mouseClick(tuesday, Qt::LeftButton);
    EXPECT_TRUE(tuesday->isChosen() && tuesday->isConflicting());
    QTest::mouseClick(tuesday, Qt::LeftButton);
    EXPECT_FALSE(tuesday->isChosen());

    // A title still reading as the old kind's default (or empty) follows the kind; typed ones
    // stay, even one that only looks like the other kind's default.
    QToolButton* shallow = childWhere<QToolButton>(
        editor, [](QToolButton* b) { return b->text() == defaultTitle(WorkKind::shallow); });
    QTest::mouseClick(shallow, Qt::LeftButton);
    EXPECT_EQ(std::pair(title()->text(), shallow->isChecked()), std::pair(u"Shallow Work"_s, true));

    // What is typed goes to the working copy as it stands, and the echo does not move the
    // cursor. (That Return there saves the draft is walked on the desktop.)
    title()->selectAll();
    QTest::keyClick(title(), Qt::Key_Backspace);
    QTest::keyClicks(title(), u" Write "_s);
    EXPECT_EQ(std::pair(view->working()->title, title()->cursorPosition()),
              std::pair(u" Write "_s, 7));
    QTest::keyClick(title(), Qt::Key_Return);
    EXPECT_TRUE(closed());

    // The title before, the kind it leaves, the title after.
    for (const auto& [before, from, after] :
         {std::tuple(u"Deep Work session"_s, WorkKind::deep, u"Deep Work session"_s),
          std::tuple(QString(), WorkKind::shallow, u"Deep Work"_s),
          std::tuple(u"Shallow Work"_s, WorkKind::deep, u"Shallow Work"_s),
          std::tuple(u"deep work"_s, WorkKind::deep, u"deep work"_s)})
        EXPECT_EQ(editor::withKind(makeBlock(before, today, 540, 60, from), otherKind(from)).title,
                  after);
}

// The wait and the gap between the failures are scaled down from 2.5 s and 2 s. Timers never
// fire early, so the timing checks are lower bounds that a slow machine cannot break.
TEST_F(ScheduleFixture, TheDayFullBannerStaysForTheWholeWaitAfterTheLastFailure) {
    constexpr int waitMs = 1000;
    wall.set(QDate(2024, 3, 4), QTime(23, 50));
    const WorkBlock late = makeBlock(u"Late"_s, today, 1380, 30);
    seedBlocks({late});
    build(waitMs);
    view->setSelectedID(late.id);
    QWidget* banner = child<QWidget>(view.get(), "dayFullBanner");

    choose(u"Add Shallow Work"_s);
    EXPECT_TRUE(view->showDayFull() && banner->isVisible());
    EXPECT_EQ(view->working(), late); // nothing else changes

    QTest::qWait(800);
    const QDeadlineTimer waitAfterSecond(waitMs);
    choose(u"Add Deep Work"_s);
    // Had the first failure's wait ended it, this would come after only 200 ms.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view->showDayFull(); }, 30000));
    EXPECT_TRUE(waitAfterSecond.hasExpired());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !banner->isVisible(); }, 30000));
    EXPECT_EQ(view->selectedID(), late.id);
}

// Four rows fit; the fifth makes the list scroll, cut through a row to show there is more, and
// collapsing also closes an open entry row. The pointer arrives in B before A hears that it
// left; unpinning unsets the pin again; a click on a row schedules a draft and
// removes nothing yet.
TEST_F(ScheduleFixture,
       TheBacklogScrollsFromFiveRowsItsButtonsChangeOneEntryAndItsEntryRowAddsOnce) {
    const PlannedBlock a = planned(u"Alpha"_s);
    const PlannedBlock b = planned(u"Beta"_s, WorkKind::shallow);
    seedPlanned({a, b, planned(u"Three"_s), planned(u"Four"_s)});
    build();
    auto* rows = child<QScrollArea>(list());
    QTest::mouseClick(child<QWidget>(list(), "backlogHeader"), Qt::LeftButton, {}, {60, 8});
    ASSERT_TRUE(QTest::qWaitFor([&] { return rows->height() == 4 * PlannedListView::rowHeight; }));
    EXPECT_EQ(rows->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);

    QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
    for (PlannedRow* r : {row(a.id), row(b.id)})
        QCoreApplication::sendEvent(r, &enter);
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(row(a.id), &leave);
    EXPECT_EQ(list()->hoveredID(), b.id);
    const auto pin = [&](const PlannedBlock& p) { return child<QToolButton>(row(p.id), "pin"); };
    EXPECT_EQ(std::pair(pin(a)->isVisible(), pin(b)->isVisible()), std::pair(false, true));

    // Unpinned, the pin is unset rather than false: the store then writes no key.
    QTest::mouseClick(pin(b), Qt::LeftButton);
    EXPECT_EQ(store->planned().at(1).pinned, true);
    QTest::mouseClick(pin(b), Qt::LeftButton);
    EXPECT_EQ(store->planned().at(1).pinned, std::nullopt);

    QTest::mouseClick(row(a.id), Qt::LeftButton, {}, QPoint(120, 10));
    ASSERT_TRUE(view->working());
    EXPECT_EQ(store->planned().size(), 4u);

    store->addPlanned(planned(u"Five"_s));
    ASSERT_TRUE(QTest::qWaitFor([&] { return rows->height() == PlannedListView::scrollHeight; }));
    EXPECT_EQ(rows->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    choose(u"Plan a Block"_s);
    ASSERT_TRUE(view->backlog().adding);
    QTest::mouseClick(child<QWidget>(list(), "backlogHeader"), Qt::LeftButton, {}, {60, 8});
    EXPECT_FALSE(view->backlog().expanded || view->backlog().adding);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !rows->isVisible(); }));

    // Then the entry row, opened from the menu, keeps a trimmed title once, in the kind its
    // swatch shows (kept for the next entries), whether left by Return or by a click on the layer
    // over the timeline, which reaches nothing below: the open draft stays selected. A blank or
    // escaped title is dropped. Return there does not save the draft.
    const QUuid draft = *view->selectedID();
    auto* entry = child<PlannedEntryField>(view.get());
    auto* layer = child<QWidget>(view.get(), "dismissLayer");
    choose(u"Plan a Block"_s);
    QTest::mouseClick(child<KindSwatch>(list(), "entrySwatch"), Qt::LeftButton);
    // What is typed, how the row is left (none: a click on the layer), the entries after.
    const std::tuple<QString, std::optional<Qt::Key>, size_t> cases[] = {
        {u"Book flights"_s, {}, 6},            // kept
        {u"   "_s, {}, 6},                     // blank
        {u"   "_s, Qt::Key_Return, 6},         // blank
        {u"Draft"_s, Qt::Key_Escape, 6},       // escaped
        {u"  Call Ann "_s, Qt::Key_Return, 7}, // trimmed
    };
    for (const auto& [typed, key, entries] : cases) {
        SCOPED_TRACE(typed.toStdString());
        choose(u"Plan a Block"_s);
        ASSERT_TRUE(QTest::qWaitFor([&] { return entry->hasFocus(); }, 10000));
        QTest::keyClicks(entry, typed);
        ASSERT_TRUE(layer->isVisible());
        if (key)
            QTest::keyClick(entry, *key);
        else
            QTest::mouseClick(layer, Qt::LeftButton, {}, QPoint(170, 200));
        processEvents();
        EXPECT_FALSE(view->backlog().adding);
        EXPECT_TRUE(key || !(layer->isVisible() || view->backlog().expanded));
        EXPECT_EQ(plannedOnDisk().size(), entries);
        EXPECT_EQ(view->selectedID(), draft);
    }
    const std::vector<PlannedBlock> kept = store->planned();
    EXPECT_EQ(std::tuple(kept.at(5).title, kept.at(5).kind, kept.at(6).title, kept.at(6).kind),
              std::tuple(u"Book flights"_s, WorkKind::shallow, u"Call Ann"_s, WorkKind::shallow));
    EXPECT_FALSE(store->savedBlock(draft));
}

// Between blocks ending at 14:00 and starting at 16:10, a block at 14:05 (off the grid after a
// timeline edit) steps within that free time and is clamped to it, not refused. A running deep
// block is locked and a confirmed one closed: nothing in the form changes or saves either.
// Midnight closes the editor without saving its edits; clearing drops the selection before the
// store clears, so nothing edits a block that is gone.
TEST_F(ScheduleFixture,
       SteppersStopAtTheFreeTimeFrozenBlocksTakeNoEditsAndMidnightClosesTheEditor) {
    const WorkBlock block = makeBlock(u"Write"_s, today, 600, 90);
    const WorkBlock between = makeBlock(u"Between"_s, today, 845, 60);
    const WorkBlock evening = makeBlock(u"Evening"_s, today, 1380, 30);
    seedBlocks({block, makeBlock(u"Before"_s, today, 780, 60), between,
                makeBlock(u"After"_s, today, 970, 30), evening});
    build();
    view->setSelectedID(between.id);
    // Steps as the keys do (the arrow buttons and the wheel step alike): the block's start and
    // length after, and what the stepper shows.
    const auto step = [&](const char* name, Qt::Key key, int times) {
        auto* stepper = child<MinuteStepper>(editor, name);
        for (int i = 0; i < times; ++i)
            QTest::keyClick(stepper, key);
        return std::tuple(view->working()->startMinutes, view->working()->durationMinutes,
                          stepper->label());
    };
    EXPECT_EQ(step("start", Qt::Key_Down, 2), std::tuple(840, 60, u"2:00 PM"_s));
    EXPECT_EQ(step("duration", Qt::Key_Up, 1), std::tuple(840, 75, u"1 h 15 m"_s));
    EXPECT_EQ(step("start", Qt::Key_Up, 5), std::tuple(895, 75, u"2:55 PM"_s));
    EXPECT_EQ(step("duration", Qt::Key_Down, 6), std::tuple(895, 15, u"15 m"_s));
    EXPECT_EQ(store->savedBlock(between.id), between);

    view->setSelectedID(block.id);
    EXPECT_EQ(child<QLabel>(editor, "status")->text(), u"10:00 AM – 11:30 AM"_s);
    for (const QTime time : {QTime(10, 10), QTime(11, 30, 1)}) {
        SCOPED_TRACE(time.toString().toStdString());
        tickAt(monday, time);
        // Locked as it starts and confirmed as it ends, in the editor left open on it.
        ASSERT_TRUE(store->isFrozen(block));
        for (QWidget* control : std::initializer_list<QWidget*>{
                 child<QToolButton>(editor, "delete"), child<QPushButton>(editor), title(),
                 child<MinuteStepper>(editor, "start")})
            EXPECT_FALSE(control->isEnabled()) << control->metaObject()->className();
        QTest::keyClick(editor, Qt::Key_Return);
        EXPECT_EQ(view->selectedID(), block.id);
    }

    view->setSelectedID(evening.id);
    QTest::keyClicks(title(), u" plan"_s);
    tickAt(QDate(2024, 3, 5), QTime(0, 0, 30));
    EXPECT_TRUE(closed());
    EXPECT_EQ(store->savedBlock(evening.id)->title, u"Evening"_s);

    const WorkBlock write = makeBlock(u"Write"_s, u"2024-03-05"_s, 600, 60);
    store->add(write);
    view->setSelectedID(write.id);
    std::vector<std::optional<QUuid>> seenAtClear;
    QObject::connect(store.get(), &BlockStore::blocksChanged, view.get(),
                     [&] { seenAtClear.push_back(view->selectedID()); });
    choose(u"Clear Today's Blocks"_s);
    EXPECT_EQ(seenAtClear, (std::vector<std::optional<QUuid>>{std::nullopt}));
    EXPECT_TRUE(closed());
}

// The panel opens on the day; Tab walks its blocks in time order, then the editor's controls
// top to bottom and the header's buttons; Shift+Tab walks back; Space and the arrows act
// where the keyboard is.
TEST_F(ScheduleFixture, TheKeyboardReachesEveryControlAndTheOptionsFollowTheSettingsAndTheDisk) {
    const WorkBlock write = makeBlock(u"Write"_s, today, 600, 60);
    const WorkBlock standup = makeBlock(u"Standup"_s, today, 780, 30, WorkKind::shallow);
    seedBlocks({standup, write});
    seedPlanned({planned(u"Read"_s)});
    build();
    const auto where = [this]() -> QString {
        QWidget* w = QApplication::focusWidget();
        if (w && timeline->isAncestorOf(w))
            return u"day:"_s + (view->working() ? view->working()->title : QString());
        return w ? QAccessible::queryAccessibleInterface(w)->text(QAccessible::Name) : QString();
    };
    const auto press = [&](Qt::Key key, int times = 1) {
        QStringList seen;
        for (int i = 0; i < times; ++i) {
            QTest::keyClick(QApplication::focusWidget(), key);
            seen << where();
        }
        return seen.join(u',');
    };
    EXPECT_EQ(where(), u"day:"_s);
    EXPECT_EQ(press(Qt::Key_Tab, 19),
              QStringLiteral("day:Write,day:Standup,Title,Shallow Work,Start,Duration,Sunday,"
                             "Monday,Tuesday,Wednesday,Thursday,Friday,Saturday,Delete,Save,"
                             "Add,Options,Show planned blocks,Plan a block"));
    EXPECT_EQ(press(Qt::Key_Backtab, 4), u"Show planned blocks,Options,Add,Save"_s);
    EXPECT_EQ(press(Qt::Key_Tab, 5), u"Add,Options,Show planned blocks,Plan a block,day:Standup"_s);

    // The arrows move the chosen block; on the editor's controls they step and choose.
    ASSERT_EQ(press(Qt::Key_Backtab), u"day:Write"_s);
    press(Qt::Key_Down);
    EXPECT_EQ(press(Qt::Key_Tab, 3), u"day:Standup,Title,Shallow Work"_s);
    EXPECT_EQ(press(Qt::Key_Left), u"Deep Work"_s);
    press(Qt::Key_Tab);
    press(Qt::Key_Up);
    EXPECT_EQ(press(Qt::Key_Tab, 3), u"Duration,Sunday,Monday"_s);
    EXPECT_EQ(press(Qt::Key_Space), u"Monday, repeating"_s);
    press(Qt::Key_Return);
    EXPECT_EQ(std::tuple(store->savedBlock(standup.id)->startMinutes,
                         store->savedBlock(standup.id)->kind, store->repeatDays(standup.id)),
              std::tuple(795, WorkKind::deep, Weekdays{2}));

    // The backlog opens with Space on its header; Space on a row schedules it.
    ASSERT_EQ(press(Qt::Key_Tab, 2), u"Options,Show planned blocks"_s);
    EXPECT_EQ(press(Qt::Key_Space), u"Hide planned blocks"_s);
    EXPECT_EQ(press(Qt::Key_Tab, 2), u"Plan a block,Read"_s);
    press(Qt::Key_Space);
    press(Qt::Key_Return);
    EXPECT_EQ(store->todayBlocks().front().title, u"Read"_s); // at 9:15, the next free time

    // Then the options write the settings. "Start at Login" shows the entry on disk each time the
    // menu opens; a failed write shows in its help text and leaves it off.
    choose(u"Upcoming Reminders"_s);
    choose(u"Silence Notifications"_s);
    EXPECT_EQ(std::tuple(store->settings().remindersEnabled, store->settings().silenceNotifications,
                         action(view.get(), u"Upcoming Reminders"_s)->isChecked(),
                         action(view.get(), u"Silence Notifications"_s)->isChecked()),
              std::tuple(false, true, false, true));

    const QString autostart =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/autostart"_s;
    QDir(autostart).removeRecursively();
    QAction* toggle = action(view.get(), u"Start at Login"_s);
    ASSERT_NE(toggle, nullptr);
    choose(u"Start at Login"_s);
    EXPECT_TRUE(toggle->isChecked());
    EXPECT_EQ(QDir(autostart).entryList(QDir::Files), QStringList{applicationId + u".desktop"_s});

    QDir(autostart).removeRecursively(); // by hand, while the menu is closed
    QMenu* menu =
        childWhere<QMenu>(view.get(), [&](QMenu* m) { return m->actions().contains(toggle); });
    menu->popup(QPoint());
    menu->hide();
    EXPECT_FALSE(toggle->isChecked());

    ASSERT_TRUE(QFile(autostart).open(QIODevice::WriteOnly)); // a file where the folder goes
    choose(u"Start at Login"_s);
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_TRUE(toggle->toolTip().contains(autostart)) << toggle->toolTip().toStdString();
    QFile::remove(autostart);
}
