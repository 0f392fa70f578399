#include "app/ScheduleView.h"
#include "desktop/ApplicationId.h"
#include "timeline/BlockEditorView.h"
#include "timeline/DayTimelineView.h"
#include "ui/ColorScheme.h"

#include "AppFixture.h"
#include "support/NotificationSession.h"
#include "support/Widgets.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QToolButton>

#include <cstdio>

using namespace quillmere;
using namespace quillmere::test;

namespace {

struct ScheduleFixture : AppFixture {
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

    QWidget* dismissLayer() const { return child<QWidget>(view.get(), "dismissLayer"); }
    // Nothing selected, nothing being edited, the editor hidden.
    bool closed() const { return !view->selectedID() && !view->working() && !editor->isVisible(); }

    // Opens the backlog's entry row from the menu and types into it.
    void typePlanned(const QString& text) {
        choose(QStringLiteral("Plan a Block"));
        auto* entry = child<PlannedEntryField>(view.get());
        ASSERT_TRUE(QTest::qWaitFor([&] { return entry->hasFocus(); }, 10000));
        QTest::keyClicks(entry, text);
    }
};

// The desktop's settings portal, as far as the colour scheme goes: answers ReadOne with the
// current value and announces a new one.
class FakeSettingsPortal final : public QDBusVirtualObject {
public:
    explicit FakeSettingsPortal(QDBusConnection bus) : m_bus(std::move(bus)) {
        m_bus.registerVirtualObject(QStringLiteral("/org/freedesktop/portal/desktop"), this,
                                    QDBusConnection::SubPath);
        m_bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
    }
    QVariant value;

    void announce(const QVariant& next) {
        value = next;
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"));
        signal << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme")
               << QVariant::fromValue(QDBusVariant(next));
        m_bus.send(signal);
    }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        if (message.member() != QLatin1String("ReadOne"))
            return false;
        bus.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
        return true;
    }

private:
    QDBusConnection m_bus;
};

// The strongest contrast inside a widget's area of the view's picture against the background
// at the area's top-left corner: what the ink of its text or symbol reaches.
double inkContrast(const QImage& picture, const QWidget* view, const QWidget* widget) {
    const QRect area(widget->mapTo(view, QPoint(0, 0)), widget->size());
    const QColor background = picture.pixelColor(area.topLeft());
    double best = 1;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            best = std::max(best, ui::contrastRatio(picture.pixelColor(x, y), background));
    }
    return best;
}

} // namespace

TEST_F(ScheduleFixture, TheHeaderStaysLegibleAsTheDesktopSwitchesBetweenLightAndDark) {
    NotificationSession session;
    session.start(false);
    const QString address = QString::fromLatin1(session.address());
    FakeSettingsPortal portal(QDBusConnection::connectToBus(address, QStringLiteral("portal")));
    portal.value = 1u;
    const QPalette platform = QApplication::palette();
    build();

    ui::ColorSchemeFollower follower(QDBusConnection::connectToBus(address, QStringLiteral("app")));
    QSignalSpy switched(&follower, &ui::ColorSchemeFollower::schemeChanged);
    const struct {
        QVariant announced; // nothing: the value read at the start
        ui::ColorScheme scheme;
    } steps[] = {
        {{}, ui::ColorScheme::dark},
        {2u, ui::ColorScheme::light},
        {1u, ui::ColorScheme::dark},
        // No preference, or a value the portal does not define: the platform's palette.
        {QStringLiteral("dark"), ui::ColorScheme::light},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.announced.toString().toStdString());
        if (step.announced.isValid())
            portal.announce(step.announced);
        ASSERT_TRUE(QTest::qWaitFor([&] { return follower.scheme() == step.scheme; }, 10000));
        processEvents();
        ASSERT_EQ(ui::schemeOf(view->palette()), step.scheme);
        if (step.scheme == ui::schemeOf(platform)) {
            EXPECT_EQ(QApplication::palette().color(QPalette::Window),
                      platform.color(QPalette::Window));
        }

        const QImage picture = view->grab().toImage();
        const double date = inkContrast(picture, view.get(), child<QLabel>(view.get(), "date"));
        const double hint = inkContrast(picture, view.get(), child<QLabel>(view.get(), "hint"));
        const double add = inkContrast(picture, view.get(), child<QToolButton>(view.get(), "add"));
        const double options =
            inkContrast(picture, view.get(), child<QToolButton>(view.get(), "options"));
        std::printf("%s: date %.1f, caption %.1f, add %.1f, options %.1f\n",
                    step.scheme == ui::ColorScheme::dark ? "dark" : "light", date, hint, add,
                    options);
        EXPECT_GE(date, 4.5);
        EXPECT_GE(hint, 4.5);
        EXPECT_GE(add, 3.0);
        EXPECT_GE(options, 3.0);
    }
    EXPECT_EQ(switched.size(), 4);
    QApplication::setPalette(platform);
}

TEST_F(ScheduleFixture, EveryButtonOfThePanelHasANameForAssistiveTechnology) {
    build();
    choose(QStringLiteral("Add Deep Work"));
    ASSERT_TRUE(editor->isVisible());
    int named = 0;
    for (QWidget* b : view->findChildren<QWidget*>()) {
        if (!b->isVisibleTo(view.get()) ||
            !(qobject_cast<QAbstractButton*>(b) || qobject_cast<QAbstractSpinBox*>(b)))
            continue;
        QAccessibleInterface* a = QAccessible::queryAccessibleInterface(b);
        ASSERT_NE(a, nullptr);
        EXPECT_FALSE(a->text(QAccessible::Name).isEmpty())
            << b->metaObject()->className() << " " << b->toolTip().toStdString();
        ++named;
    }
    // The header's two, the kind segments, the steppers, seven days, delete and Save at least.
    EXPECT_GE(named, 15);
}

TEST_F(ScheduleFixture, ADraftLivesOnlyInTheViewUntilAnotherBlockIsChosen) {
    const WorkBlock standup = todayBlock(QStringLiteral("Standup"), 780, 30, WorkKind::shallow);
    seedBlocks({standup});
    build();
    EXPECT_TRUE(closed());

    choose(QStringLiteral("Add Deep Work"));
    ASSERT_TRUE(view->working());
    const WorkBlock draft = *view->working();
    EXPECT_EQ(view->selectedID(), draft.id);
    EXPECT_EQ(draft.startMinutes, 555); // 09:15, the next free quarter hour
    EXPECT_TRUE(view->isDraft(draft));
    EXPECT_TRUE(editor->isVisible());
    EXPECT_EQ(timeline->working(), draft);

    // The timeline selects the standup: the draft is gone without a trace.
    timeline->setSelectedID(standup.id);
    processEvents();
    EXPECT_EQ(view->working(), standup);
    EXPECT_EQ(blocksOnDisk(), (std::vector<WorkBlock>{standup}));

    // Clicking empty timeline deselects and closes the editor.
    timeline->setSelectedID(std::nullopt);
    EXPECT_TRUE(closed());
}

TEST_F(ScheduleFixture, CommitAppendsTheDraftWithItsRepeatDaysAndCloses) {
    seedBlocks({todayBlock(QStringLiteral("Standup"), 780, 30, WorkKind::shallow)});
    build();
    choose(QStringLiteral("Add Shallow Work"));
    auto* title = child<QLineEdit>(editor);
    QTest::mouseClick(title, Qt::LeftButton);
    title->selectAll();
    QTest::keyClicks(title, QStringLiteral("Inbox zero"));
    for (DayToggle* day : editor->findChildren<DayToggle*>())
        if (day->day() == 3)
            click(day);
    const QUuid id = *view->selectedID();
    QTest::keyClick(title, Qt::Key_Return);
    processEvents();

    ASSERT_EQ(store->blocks().size(), 2u);
    const WorkBlock saved = store->blocks().back();
    EXPECT_EQ(std::tuple(saved.id, saved.title, saved.kind),
              std::tuple(id, QStringLiteral("Inbox zero"), WorkKind::shallow));
    ASSERT_EQ(store->rules().size(), 1u);
    EXPECT_EQ(saved.repeatRuleID, store->rules()[0].id);
    EXPECT_EQ(store->rules()[0].weekdays, (Weekdays{3}));
    EXPECT_EQ(blocksOnDisk().back(), saved);
    EXPECT_TRUE(closed());

    // Editing a saved block and saving updates it in place.
    view->setSelectedID(id);
    QTest::keyClick(child<MinuteStepper>(editor, "start"), Qt::Key_Up);
    click(child<QPushButton>(editor));
    EXPECT_EQ(store->savedBlock(id)->startMinutes, saved.startMinutes + 15);
    EXPECT_EQ(store->blocks().size(), 2u);

    view->setSelectedID(id);
    click(child<QToolButton>(editor, "delete"));
    EXPECT_FALSE(store->savedBlock(id));
    EXPECT_EQ(blocksOnDisk().size(), 1u);
}

// The wait and the gap between the failures are scaled down from 2.5 s and 2 s. Timers never
// fire early, so the timing checks are lower bounds that a slow machine cannot break.
TEST_F(ScheduleFixture, TheDayFullBannerStaysForTheWholeWaitAfterTheLastFailure) {
    constexpr int waitMs = 1000;
    constexpr int apartMs = 800;
    wall.set(QDate(2024, 3, 4), QTime(23, 50));
    const WorkBlock late = todayBlock(QStringLiteral("Late"), 1380, 30);
    seedBlocks({late});
    build(waitMs);
    view->setSelectedID(late.id);
    QWidget* banner = child<QWidget>(view.get(), "dayFullBanner");

    choose(QStringLiteral("Add Shallow Work"));
    EXPECT_TRUE(view->showDayFull());
    EXPECT_TRUE(banner->isVisible());
    EXPECT_EQ(view->working(), late); // nothing else changes

    QTest::qWait(apartMs);
    QElapsedTimer sinceSecond;
    sinceSecond.start();
    choose(QStringLiteral("Add Deep Work"));
    // Had the first failure's wait ended it, this would come after only 200 ms.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view->showDayFull(); }, 30000));
    EXPECT_GE(sinceSecond.elapsed(), waitMs);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !banner->isVisible(); }, 30000));
    EXPECT_EQ(view->selectedID(), late.id);
}

// A pinned entry stays to be scheduled again, each time as a block of its own.
TEST_F(ScheduleFixture, APinnedBacklogItemSchedulesAFreshBlockEachTime) {
    const PlannedBlock again = planned(QStringLiteral("Stretch"), WorkKind::shallow, true);
    seedPlanned({again});
    build();
    std::vector<QUuid> ids;
    for (int i = 0; i < 2; ++i) {
        view->schedulePlanned(again);
        ASSERT_TRUE(view->working());
        EXPECT_EQ(view->working()->kind, WorkKind::shallow);
        ids.push_back(view->working()->id);
        view->commit();
    }
    EXPECT_NE(ids[0], again.id);
    EXPECT_NE(ids[0], ids[1]);
    EXPECT_EQ(store->planned().size(), 1u);
    EXPECT_EQ(store->blocks().size(), 2u);
}

TEST_F(ScheduleFixture, TheDismissLayerKeepsATypedTitleOnceAndReturnThereSavesNoDraft) {
    build();
    ASSERT_NO_FATAL_FAILURE(typePlanned(QStringLiteral("Book flights")));
    ASSERT_TRUE(dismissLayer()->isVisible());
    QTest::mouseClick(dismissLayer(), Qt::LeftButton, {}, QPoint(170, 200));
    processEvents();
    ASSERT_EQ(store->planned().size(), 1u);
    EXPECT_EQ(store->planned()[0].title, QStringLiteral("Book flights"));
    EXPECT_EQ(plannedJson().size(), 1);
    EXPECT_FALSE(view->backlog().expanded || view->backlog().adding);
    EXPECT_FALSE(dismissLayer()->isVisible());
    EXPECT_FALSE(view->selectedID()); // the click never reached the timeline

    // With nothing typed the layer only collapses the backlog.
    ASSERT_NO_FATAL_FAILURE(typePlanned(QStringLiteral("   ")));
    QTest::mouseClick(dismissLayer(), Qt::LeftButton, {}, QPoint(170, 200));
    processEvents();
    EXPECT_EQ(store->planned().size(), 1u);
    EXPECT_FALSE(view->backlog().adding);

    // Return in the entry row adds to the backlog; it does not save the open draft.
    choose(QStringLiteral("Add Deep Work"));
    const QUuid draft = *view->selectedID();
    ASSERT_NO_FATAL_FAILURE(typePlanned(QStringLiteral("Call Ann")));
    QTest::keyClick(child<PlannedEntryField>(view.get()), Qt::Key_Return);
    EXPECT_EQ(store->planned().size(), 2u);
    EXPECT_FALSE(store->savedBlock(draft));
    EXPECT_EQ(view->selectedID(), draft);
}

TEST_F(ScheduleFixture, ClearTodayDropsTheSelectionBeforeTheStoreClears) {
    const WorkBlock write = todayBlock(QStringLiteral("Write"), 600, 60);
    seedBlocks({write, todayBlock(QStringLiteral("Mail"), 720, 30, WorkKind::shallow)});
    build();
    view->setSelectedID(write.id);
    std::vector<std::optional<QUuid>> seenAtClear;
    QObject::connect(store.get(), &BlockStore::blocksChanged, view.get(),
                     [&] { seenAtClear.push_back(view->selectedID()); });
    choose(QStringLiteral("Clear Today's Blocks"));
    ASSERT_EQ(seenAtClear.size(), 1u);
    EXPECT_FALSE(seenAtClear[0]);
    EXPECT_TRUE(store->todayBlocks().empty());
    EXPECT_FALSE(editor->isVisible());
}

TEST_F(ScheduleFixture, MidnightClosesTheEditorWithoutSavingItsEdits) {
    const WorkBlock evening = todayBlock(QStringLiteral("Evening"), 1380, 30);
    seedBlocks({evening});
    build();
    view->setSelectedID(evening.id);
    QTest::keyClicks(child<QLineEdit>(editor), QStringLiteral(" plan"));
    tickAt(QDate(2024, 3, 5), QTime(0, 0, 30));
    EXPECT_TRUE(closed());
    EXPECT_EQ(store->savedBlock(evening.id)->title, QStringLiteral("Evening"));
}

TEST_F(ScheduleFixture, OptionsWriteTheSettings) {
    build();
    choose(QStringLiteral("Upcoming Reminders"));
    EXPECT_FALSE(store->settings().remindersEnabled);
    choose(QStringLiteral("Silence Notifications"));
    EXPECT_TRUE(store->settings().silenceNotifications);
    EXPECT_TRUE(action(view.get(), QStringLiteral("Silence Notifications"))->isChecked());
    choose(QStringLiteral("Off"));
    EXPECT_EQ(store->settings().deepWorkNoise, DeepWorkNoise::off);
    EXPECT_FALSE(action(view.get(), QStringLiteral("Brown Noise"))->isChecked());
    EXPECT_TRUE(dir.read(QStringLiteral("settings.json"))
                    .value_or("")
                    .contains("\"remindersEnabled\": false"));
}

// "Start at Login" shows the entry on disk each time the menu opens; a failed write shows in
// its help text and leaves it off.
TEST_F(ScheduleFixture, StartAtLoginFollowsTheEntryOnDisk) {
    build();
    const QString autostart =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
        QStringLiteral("/autostart");
    QDir(autostart).removeRecursively();
    QAction* toggle = action(view.get(), QStringLiteral("Start at Login"));
    ASSERT_NE(toggle, nullptr);
    choose(QStringLiteral("Start at Login"));
    EXPECT_TRUE(toggle->isChecked());
    EXPECT_EQ(QDir(autostart).entryList(QDir::Files),
              QStringList{applicationId + QStringLiteral(".desktop")});

    QDir(autostart).removeRecursively(); // by hand, while the menu is closed
    QMenu* options = nullptr;
    for (QMenu* menu : view->findChildren<QMenu*>())
        if (menu->actions().contains(toggle))
            options = menu;
    ASSERT_NE(options, nullptr);
    options->popup(QPoint());
    options->hide();
    EXPECT_FALSE(toggle->isChecked());

    QFile blocker(autostart);
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    choose(QStringLiteral("Start at Login"));
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_TRUE(toggle->toolTip().contains(autostart)) << toggle->toolTip().toStdString();
    QFile::remove(autostart);
}

// The panel opens on the day; Tab walks its blocks in time order, then the editor's controls
// top to bottom and the header's buttons; Shift+Tab walks back; Space and the arrows act
// where the keyboard is.
TEST_F(ScheduleFixture, TheKeyboardReachesEveryControlOfThePanel) {
    const WorkBlock write = todayBlock(QStringLiteral("Write"), 600, 60);
    const WorkBlock standup = todayBlock(QStringLiteral("Standup"), 780, 30, WorkKind::shallow);
    seedBlocks({standup, write});
    seedPlanned({planned(QStringLiteral("Read"))});
    build();
    const auto where = [this]() -> QString {
        QWidget* w = QApplication::focusWidget();
        if (w && timeline->isAncestorOf(w))
            return QStringLiteral("day:") + (view->working() ? view->working()->title : QString());
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
    EXPECT_EQ(where(), QStringLiteral("day:"));
    EXPECT_EQ(press(Qt::Key_Tab, 19),
              QStringLiteral("day:Write,day:Standup,Title,Shallow Work,Start,Duration,Sunday,"
                             "Monday,Tuesday,Wednesday,Thursday,Friday,Saturday,Delete,Save,"
                             "Add,Options,Show planned blocks,Plan a block"));
    EXPECT_EQ(press(Qt::Key_Backtab, 4), QStringLiteral("Show planned blocks,Options,Add,Save"));
    EXPECT_EQ(press(Qt::Key_Tab, 5),
              QStringLiteral("Add,Options,Show planned blocks,Plan a block,day:Standup"));

    // The arrows move the chosen block; on the editor's controls they step and choose.
    ASSERT_EQ(press(Qt::Key_Backtab), QStringLiteral("day:Write"));
    press(Qt::Key_Down);
    EXPECT_EQ(view->working()->startMinutes, 615);
    EXPECT_EQ(press(Qt::Key_Tab, 3), QStringLiteral("day:Standup,Title,Shallow Work"));
    EXPECT_EQ(press(Qt::Key_Left), QStringLiteral("Deep Work"));
    press(Qt::Key_Tab);
    press(Qt::Key_Up);
    EXPECT_EQ(view->working()->startMinutes, 795);
    EXPECT_EQ(press(Qt::Key_Tab, 3), QStringLiteral("Duration,Sunday,Monday"));
    EXPECT_EQ(press(Qt::Key_Space), QStringLiteral("Monday, repeating"));
    press(Qt::Key_Return);
    EXPECT_EQ(store->savedBlock(standup.id)->startMinutes, 795);
    EXPECT_EQ(store->savedBlock(standup.id)->kind, WorkKind::deep);
    EXPECT_EQ(store->repeatDays(standup.id), (Weekdays{2}));

    // The backlog opens with Space on its header; Space on a row schedules it.
    ASSERT_EQ(press(Qt::Key_Tab, 2), QStringLiteral("Options,Show planned blocks"));
    EXPECT_EQ(press(Qt::Key_Space), QStringLiteral("Hide planned blocks"));
    EXPECT_EQ(press(Qt::Key_Tab, 2), QStringLiteral("Plan a block,Read"));
    press(Qt::Key_Space);
    ASSERT_TRUE(view->working());
    EXPECT_EQ(view->working()->title, QStringLiteral("Read"));
    press(Qt::Key_Return);
    EXPECT_EQ(store->todayBlocks().size(), 3u);
}
