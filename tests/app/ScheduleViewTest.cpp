#include "app/ScheduleView.h"
#include "app/PanelWindow.h"
#include "desktop/ApplicationId.h"
#include "timeline/BlockEditorView.h"
#include "timeline/DayTimelineView.h"

#include "AppFixture.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>
#include <QStandardPaths>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>

using namespace quillmere;
using namespace quillmere::test;

namespace {

struct ScheduleFixture : AppFixture {
    std::unique_ptr<QWidget> window; // the view itself, or the tray panel holding it
    ScheduleView* view = nullptr;

    ScheduleView& build(int dayFullMs = ScheduleView::defaultDayFullMs) {
        open();
        window = std::make_unique<ScheduleView>(*store, clock, nullptr, dayFullMs);
        view = static_cast<ScheduleView*>(window.get());
        view->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(view));
        QApplication::setActiveWindow(view);
        return *view;
    }

    // The view in the popup panel that a click outside closes, as it opens from the tray.
    PanelWindow& buildInPanel() {
        open();
        auto* panel = new PanelWindow(PanelWindow::Style::popup, [this](QWidget* parent) {
            return view = new ScheduleView(*store, clock, parent);
        });
        window.reset(panel);
        panel->open({});
        EXPECT_TRUE(QTest::qWaitForWindowExposed(panel));
        return *panel;
    }

    // A click as a real pointer makes it: the release comes where the press was on the
    // screen, even if the widget has moved away in between.
    void clickInPlace(QWidget* widget, QPoint at) {
        const QPoint onScreen = widget->mapToGlobal(at);
        QTest::mousePress(widget, Qt::LeftButton, {}, at);
        processEvents();
        QTest::mouseRelease(widget, Qt::LeftButton, {}, widget->mapFromGlobal(onScreen));
        processEvents();
    }

    void choose(const QString& item) {
        QAction* a = view->action(item);
        ASSERT_NE(a, nullptr) << item.toStdString();
        a->trigger();
        processEvents();
    }

    bool editorShown() const { return view->editorArea()->isVisible(); }
    // Nothing selected, nothing being edited, the editor hidden.
    bool closed() const { return !view->selectedID() && !view->working() && !editorShown(); }

    // Opens the backlog's entry row from the menu and types into it.
    void typePlanned(const QString& text) {
        choose(QStringLiteral("Plan a Block"));
        QLineEdit* entry = view->plannedList()->entryField();
        ASSERT_TRUE(QTest::qWaitFor([&] { return entry->hasFocus(); }, 10000));
        QTest::keyClicks(entry, text);
    }
};

} // namespace

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
    EXPECT_EQ(draft.title, QStringLiteral("Deep Work"));
    EXPECT_TRUE(view->isDraft(draft));
    EXPECT_TRUE(editorShown());
    EXPECT_EQ(view->timeline()->working(), draft);

    // The timeline selects the standup: the draft is gone without a trace.
    view->timeline()->setSelectedID(standup.id);
    processEvents();
    EXPECT_EQ(view->selectedID(), standup.id);
    EXPECT_EQ(view->working(), standup);
    EXPECT_EQ(store->blocks().size(), 1u);
    EXPECT_EQ(blocksOnDisk(), (std::vector<WorkBlock>{standup}));

    // Clicking empty timeline deselects and closes the editor.
    view->timeline()->setSelectedID(std::nullopt);
    EXPECT_TRUE(closed());
}

TEST_F(ScheduleFixture, CommitAppendsTheDraftWithItsRepeatDaysAndCloses) {
    seedBlocks({todayBlock(QStringLiteral("Standup"), 780, 30, WorkKind::shallow)});
    build();
    choose(QStringLiteral("Add Shallow Work"));
    QLineEdit* title = view->editor()->titleField();
    QTest::mouseClick(title, Qt::LeftButton);
    title->selectAll();
    QTest::keyClicks(title, QStringLiteral("Inbox zero"));
    QTest::mouseClick(view->editor()->dayToggle(3), Qt::LeftButton);
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
    QTest::mouseClick(view->editor()->startStepper()->incrementButton(), Qt::LeftButton);
    QTest::mouseClick(view->editor()->saveButton(), Qt::LeftButton);
    EXPECT_EQ(store->savedBlock(id)->startMinutes, saved.startMinutes + 15);
    EXPECT_EQ(store->blocks().size(), 2u);

    // Deleting a saved block removes it; a draft is only dropped.
    view->setSelectedID(id);
    QTest::mouseClick(view->editor()->deleteButton(), Qt::LeftButton);
    EXPECT_FALSE(store->savedBlock(id));
    EXPECT_EQ(blocksOnDisk().size(), 1u);
}

TEST_F(ScheduleFixture, SummaryShowsTheHintOrOneChipPerKindWithTime) {
    build();
    EXPECT_TRUE(view->summaryHint()->isVisible());
    const int timelineTop = view->timeline()->mapTo(view, QPoint()).y();
    store->add(todayBlock(QStringLiteral("Write"), 600, 90));
    processEvents();
    EXPECT_FALSE(view->summaryHint()->isVisible());
    EXPECT_EQ(view->timeline()->mapTo(view, QPoint()).y(), timelineTop); // no jump
    EXPECT_TRUE(view->summaryChip(WorkKind::deep)->isVisible());
    EXPECT_FALSE(view->summaryChip(WorkKind::shallow)->isVisible());
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

    choose(QStringLiteral("Add Shallow Work"));
    EXPECT_TRUE(view->showDayFull());
    EXPECT_TRUE(view->dayFullBanner()->isVisible());
    EXPECT_EQ(view->selectedID(), late.id); // nothing else changes
    EXPECT_EQ(view->working(), late);

    QTest::qWait(apartMs);
    QElapsedTimer sinceSecond;
    sinceSecond.start();
    choose(QStringLiteral("Add Deep Work"));
    EXPECT_TRUE(view->showDayFull());
    // Had the first failure's wait ended it, this would come after only 200 ms.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view->showDayFull(); }, 30000));
    EXPECT_GE(sinceSecond.elapsed(), waitMs);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !view->dayFullBanner()->isVisible(); }, 30000));
    EXPECT_EQ(view->selectedID(), late.id);
}

TEST_F(ScheduleFixture, SchedulingUnpinnedAndPinnedBacklogItems) {
    const PlannedBlock once = planned(QStringLiteral("Read chapter"));
    const PlannedBlock again = planned(QStringLiteral("Stretch"), WorkKind::shallow, true);
    seedPlanned({once, again});
    build();
    EXPECT_TRUE(view->trayArea()->isVisible());

    view->schedulePlanned(once);
    ASSERT_TRUE(view->working());
    EXPECT_EQ(view->working()->id, once.id);
    EXPECT_EQ(view->working()->title, QStringLiteral("Read chapter"));
    EXPECT_TRUE(view->plannedList()->row(once.id)->isPending());
    view->commit();
    EXPECT_TRUE(store->savedBlock(once.id));
    ASSERT_EQ(store->planned().size(), 1u);
    EXPECT_EQ(plannedJson().size(), 1);

    view->schedulePlanned(again);
    const QUuid first = view->working()->id;
    EXPECT_NE(first, again.id);
    EXPECT_EQ(view->working()->kind, WorkKind::shallow);
    view->commit();
    view->schedulePlanned(again);
    EXPECT_NE(view->working()->id, first);
    view->commit();
    EXPECT_EQ(store->planned().size(), 1u);
    EXPECT_EQ(store->blocks().size(), 3u);
}

TEST_F(ScheduleFixture, TheDismissLayerOrSchedulingKeepsATypedTitleExactlyOnce) {
    const PlannedBlock item = planned(QStringLiteral("Essay"));
    build();
    EXPECT_FALSE(view->trayArea()->isVisible());
    ASSERT_NO_FATAL_FAILURE(typePlanned(QStringLiteral("Book flights")));
    EXPECT_TRUE(view->trayArea()->isVisible());
    EXPECT_TRUE(view->dismissLayer()->isVisible());

    // The layer keeps clicks from the timeline, not the wheel.
    QScrollBar* scroll = view->timeline()->verticalScrollBar();
    ASSERT_TRUE(QTest::qWaitFor([&] { return scroll->value() > 0; })); // at 08:00 once shown
    const int before = scroll->value();
    const QPoint at(170, 200);
    QWheelEvent wheel(at, view->dismissLayer()->mapToGlobal(at), {}, QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(view->dismissLayer(), &wheel);
    EXPECT_GT(scroll->value(), before);
    EXPECT_TRUE(view->tray().adding);

    QTest::mouseClick(view->dismissLayer(), Qt::LeftButton, {}, QPoint(170, 200));
    processEvents();
    ASSERT_EQ(store->planned().size(), 1u);
    EXPECT_EQ(store->planned()[0].title, QStringLiteral("Book flights"));
    EXPECT_EQ(plannedJson().size(), 1);
    EXPECT_FALSE(view->tray().expanded);
    EXPECT_FALSE(view->tray().adding);
    EXPECT_FALSE(view->dismissLayer()->isVisible());
    EXPECT_FALSE(view->selectedID()); // the click never reached the timeline

    // With nothing typed the layer only collapses the tray.
    ASSERT_NO_FATAL_FAILURE(typePlanned(QStringLiteral("   ")));
    QTest::mouseClick(view->dismissLayer(), Qt::LeftButton, {}, QPoint(170, 200));
    processEvents();
    EXPECT_EQ(store->planned().size(), 1u);
    EXPECT_FALSE(view->tray().adding);

    // Clicking a backlog item keeps a half-typed entry first, then opens the item's draft.
    store->addPlanned(item);
    ASSERT_NO_FATAL_FAILURE(typePlanned(QStringLiteral("  Notes for Tom  ")));
    ASSERT_TRUE(QTest::qWaitFor([&] { return view->plannedList()->rowsArea()->height() == 52; }));
    clickInPlace(view->plannedList()->row(item.id), QPoint(150, 10));
    ASSERT_EQ(store->planned().size(), 3u);
    EXPECT_EQ(store->planned()[2].title, QStringLiteral("Notes for Tom"));
    ASSERT_TRUE(view->working());
    EXPECT_EQ(view->working()->id, item.id);
    EXPECT_TRUE(view->tray().newTitle.isEmpty());

    // Return in the entry row adds to the backlog; it does not save the open draft.
    QLineEdit* entry = view->plannedList()->entryField();
    ASSERT_TRUE(entry->hasFocus());
    QTest::keyClicks(entry, QStringLiteral("Call Ann"));
    QTest::keyClick(entry, Qt::Key_Return);
    EXPECT_EQ(store->planned().size(), 4u);
    EXPECT_FALSE(store->savedBlock(item.id));
    EXPECT_EQ(view->selectedID(), item.id);
}

TEST_F(ScheduleFixture, ClosingThePanelKeepsATypedBacklogTitle) {
    PanelWindow& panel = buildInPanel();
    ASSERT_NO_FATAL_FAILURE(typePlanned(QStringLiteral("Renew passport")));
    panel.close(); // what a click outside the popup does
    ASSERT_EQ(plannedJson().size(), 1);
    EXPECT_EQ(plannedJson()[0].toObject().value(QStringLiteral("title")).toString(),
              QStringLiteral("Renew passport"));
    EXPECT_FALSE(view->tray().adding);
}

TEST_F(ScheduleFixture, ClearTodayDropsTheSelectionBeforeTheStoreClears) {
    const WorkBlock write = todayBlock(QStringLiteral("Write"), 600, 60);
    seedBlocks({write, todayBlock(QStringLiteral("Mail"), 720, 30, WorkKind::shallow)});
    build();
    view->setSelectedID(write.id);
    EXPECT_TRUE(editorShown());
    std::vector<std::optional<QUuid>> seenAtClear;
    QObject::connect(store.get(), &BlockStore::blocksChanged, view,
                     [&] { seenAtClear.push_back(view->selectedID()); });
    choose(QStringLiteral("Clear Today's Blocks"));
    ASSERT_EQ(seenAtClear.size(), 1u);
    EXPECT_FALSE(seenAtClear[0]);
    EXPECT_TRUE(store->todayBlocks().empty());
    EXPECT_FALSE(editorShown());
}

TEST_F(ScheduleFixture, MidnightClosesTheEditor) {
    const WorkBlock evening = todayBlock(QStringLiteral("Evening"), 1380, 30);
    seedBlocks({evening});
    build();
    view->setSelectedID(evening.id);
    QTest::keyClicks(view->editor()->titleField(), QStringLiteral(" plan"));
    EXPECT_TRUE(editorShown());
    tickAt(QDate(2024, 3, 5), QTime(0, 0, 30));
    EXPECT_TRUE(closed());
    EXPECT_EQ(view->dateLabel()->text(),
              QLocale().toString(QDate(2024, 3, 5), QStringLiteral("dddd, MMMM d")));
    EXPECT_EQ(store->savedBlock(evening.id)->title, QStringLiteral("Evening"));
}

TEST_F(ScheduleFixture, OptionsWriteTheSettings) {
    build();
    choose(QStringLiteral("Chimes"));
    EXPECT_FALSE(store->settings().chimesEnabled);
    choose(QStringLiteral("Upcoming Reminders"));
    EXPECT_FALSE(store->settings().remindersEnabled);
    choose(QStringLiteral("Silence Notifications"));
    EXPECT_TRUE(store->settings().silenceNotifications);
    EXPECT_TRUE(view->action(QStringLiteral("Silence Notifications"))->isChecked());
    choose(QStringLiteral("Off"));
    EXPECT_EQ(store->settings().deepWorkNoise, DeepWorkNoise::off);
    EXPECT_TRUE(view->action(QStringLiteral("Off"))->isChecked());
    EXPECT_FALSE(view->action(QStringLiteral("Brown Noise"))->isChecked());
    EXPECT_TRUE(dir.read(QStringLiteral("settings.json"))
                    .value_or("")
                    .contains("\"chimesEnabled\": false"));

    choose(QStringLiteral("Volume…"));
    EXPECT_TRUE(view->showNoiseVolume());
    view->volumeSlider()->setValue(650);
    EXPECT_DOUBLE_EQ(store->settings().noiseVolume, 0.65);
    view->volumePopup()->hide();
    EXPECT_FALSE(view->showNoiseVolume());
}

// "Start at Login" sits just above the divider before "Quit Quillmere" and shows the entry on
// disk each time the menu opens; a failed write shows in its help text and leaves it off.
TEST_F(ScheduleFixture, StartAtLoginFollowsTheEntryOnDisk) {
    build();
    const QString autostart =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
        QStringLiteral("/autostart");
    QDir(autostart).removeRecursively();
    QAction* toggle = view->action(QStringLiteral("Start at Login"));
    ASSERT_NE(toggle, nullptr);
    const QList<QAction*> items = view->optionsMenu()->actions();
    const qsizetype at = items.indexOf(toggle);
    ASSERT_EQ(at + 3, items.size());
    EXPECT_TRUE(items[at + 1]->isSeparator());
    EXPECT_EQ(items[at + 2]->text(), QStringLiteral("Quit Quillmere"));

    choose(QStringLiteral("Start at Login"));
    EXPECT_TRUE(toggle->isChecked());
    EXPECT_EQ(QDir(autostart).entryList(QDir::Files),
              QStringList{applicationId + QStringLiteral(".desktop")});

    QDir(autostart).removeRecursively(); // by hand, while the menu is closed
    view->optionsMenu()->popup(QPoint());
    view->optionsMenu()->hide();
    EXPECT_FALSE(toggle->isChecked());

    QFile blocker(autostart);
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    choose(QStringLiteral("Start at Login"));
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_TRUE(toggle->toolTip().contains(autostart)) << toggle->toolTip().toStdString();
    QFile::remove(autostart);
}

TEST_F(ScheduleFixture, ABlockDrawnOrChosenLowOnTheTimelineStaysInViewAndReturnSavesIt) {
    const WorkBlock late = todayBlock(QStringLiteral("Late"), 990, 60); // 16:30
    seedBlocks({late});
    build();
    DayTimelineView* timeline = view->timeline();
    QScrollBar* scroll = timeline->verticalScrollBar();
    ASSERT_TRUE(QTest::qWaitFor([&] { return scroll->value() > 0; })); // 08:00 at the top
    const auto y = [](Minutes m) { return DayTimelineView::contentTop + m / 60.0 * 64; };
    // The block with its 8 pt margins lies inside what the timeline shows.
    const auto inView = [&](Minutes start, Minutes end) {
        return scroll->value() <= y(start) - 8 &&
               y(end) + 8 <= scroll->value() + timeline->viewport()->height();
    };

    // Drag down from 14:00 to 15:00 on empty time, low in the view.
    QWidget* canvas = timeline->canvas();
    const auto at = [&](Minutes m) { return QPoint(150, static_cast<int>(y(m))); };
    QTest::mousePress(canvas, Qt::LeftButton, {}, at(840) + QPoint(0, 2));
    for (Minutes m = 850; m <= 900; m += 10)
        QTest::mouseMove(canvas, at(m));
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, at(900));
    processEvents();

    ASSERT_TRUE(view->working());
    EXPECT_EQ(view->selectedID(), view->working()->id);
    EXPECT_TRUE(view->isDraft(*view->working()));
    EXPECT_TRUE(editorShown());
    EXPECT_TRUE(inView(840, 900));
    EXPECT_EQ(store->blocks().size(), 1u);

    // Return saves from the timeline, where the drawing left the focus.
    ASSERT_TRUE(canvas->hasFocus());
    QTest::keyClick(canvas, Qt::Key_Return);
    ASSERT_EQ(store->blocks().size(), 2u);
    EXPECT_EQ(store->blocks()[1].startMinutes, 840);
    EXPECT_TRUE(closed());

    // Choosing a block below the view scrolls it into what is left once the editor is open.
    scroll->setValue(static_cast<int>(y(480)));
    timeline->setSelectedID(late.id);
    processEvents();
    EXPECT_TRUE(editorShown());
    EXPECT_TRUE(inView(990, 1050));
}
