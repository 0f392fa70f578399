#include "timeline/BlockEditorView.h"

#include "model/WorkKind.h"
#include "ui/Palette.h"

#include "support/Printers.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

#include <vector>

using namespace quillmere;

namespace {

WorkBlock block(const QString& title, WorkKind kind) {
    return {QUuid::createUuid(), title, QStringLiteral("2024-03-04"), 540, 60, kind, {}, {}};
}

// Plays the host: every edit comes back as the new input, the way the schedule view does it.
struct EditorFixture : ::testing::Test {
    BlockEditorView editor;
    BlockEditorInput input;
    std::vector<WorkBlock> changes;
    std::vector<Weekdays> repeats;
    int commits = 0;
    int deletes = 0;

    void SetUp() override {
        input.block = block(QStringLiteral("Deep Work"), WorkKind::deep);
        input.startRange = {480, 600};
        input.durationRange = {15, 120};
        editor.onChange = [this](const WorkBlock& b) {
            changes.push_back(b);
            input.block = b;
            refresh();
        };
        editor.onRepeatChange = [this](const Weekdays& days) {
            repeats.push_back(days);
            input.repeatDays = days;
            refresh();
        };
        editor.onCommit = [this] { ++commits; };
        editor.onDelete = [this] { ++deletes; };
        editor.setInput(input);
        editor.resize(340, 260);
        editor.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&editor));
    }

    static void click(QWidget* button, int times = 1) {
        for (int i = 0; i < times; ++i)
            QTest::mouseClick(button, Qt::LeftButton);
    }
    void refresh() { editor.setInput(input); }
    void showBlock(const WorkBlock& b) {
        input.block = b;
        refresh();
    }
};

} // namespace

TEST_F(EditorFixture, KindSegmentsRenameOnlyDefaultTitles) {
    click(editor.kindSegment(WorkKind::shallow));
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes.back().kind, WorkKind::shallow);
    EXPECT_EQ(changes.back().title, QStringLiteral("Shallow Work"));
    EXPECT_EQ(editor.titleField()->text(), QStringLiteral("Shallow Work"));
    EXPECT_TRUE(editor.kindSegment(WorkKind::shallow)->isChecked());

    showBlock(block(QStringLiteral("Deep Work session"), WorkKind::deep));
    click(editor.kindSegment(WorkKind::shallow));
    EXPECT_EQ(changes.back().title, QStringLiteral("Deep Work session"));
    EXPECT_EQ(changes.back().kind, WorkKind::shallow);

    showBlock(block(QString(), WorkKind::shallow));
    click(editor.kindSegment(WorkKind::deep));
    EXPECT_EQ(changes.back().title, QStringLiteral("Deep Work"));

    // A title that only looks like the other kind's default is the user's own.
    for (const QString& own : {QStringLiteral("Shallow Work"), QStringLiteral("deep work")})
        EXPECT_EQ(editor::withKind(block(own, WorkKind::deep), WorkKind::shallow).title, own);
}

TEST_F(EditorFixture, TypingSendsTheTitleAsItStandsAndReturnSaves) {
    editor.titleField()->clear();
    showBlock(block(QString(), WorkKind::deep));
    QTest::keyClicks(editor.titleField(), QStringLiteral(" Write "));
    ASSERT_FALSE(changes.empty());
    EXPECT_EQ(changes.back().title, QStringLiteral(" Write "));
    EXPECT_EQ(editor.titleField()->cursorPosition(), 7);

    QTest::keyClick(editor.titleField(), Qt::Key_Return);
    EXPECT_EQ(commits, 1);
    click(editor.saveButton());
    EXPECT_EQ(commits, 2);
    click(editor.deleteButton());
    EXPECT_EQ(deletes, 1);
}

TEST_F(EditorFixture, SteppersMoveByAQuarterHourAndStopAtTheHostsBounds) {
    input.startRange = {540, 600};
    input.durationRange = {15, 70};
    input.block.startMinutes = 545; // 9:05, off the grid after a timeline edit
    refresh();
    EXPECT_EQ(editor.startStepper()->label(), QStringLiteral("9:05 AM"));
    EXPECT_EQ(editor.durationStepper()->label(), QStringLiteral("1 h"));

    click(editor.startStepper()->decrementButton());
    EXPECT_EQ(changes.back().startMinutes, 540); // clamped, not refused
    EXPECT_EQ(editor.startStepper()->label(), QStringLiteral("9:00 AM"));
    EXPECT_FALSE(editor.startStepper()->decrementButton()->isEnabled());

    click(editor.startStepper()->incrementButton(), 5);
    EXPECT_EQ(changes.back().startMinutes, 600);
    EXPECT_FALSE(editor.startStepper()->incrementButton()->isEnabled());

    click(editor.durationStepper()->incrementButton());
    EXPECT_EQ(changes.back().durationMinutes, 70);
    EXPECT_EQ(editor.durationStepper()->label(), QStringLiteral("1 h 10 m"));
    click(editor.durationStepper()->decrementButton(), 6);
    EXPECT_EQ(changes.back().durationMinutes, 15);
    EXPECT_EQ(changes.back().startMinutes, 600);
}

TEST_F(EditorFixture, AConflictingDayIsStillAddedAndOnlyTheHelpWarns) {
    input.conflictDays = {2};
    input.repeatDays = {6};
    refresh();
    DayToggle* monday = editor.dayToggle(2);
    EXPECT_EQ(monday->toolTip(),
              QStringLiteral("Another repeating block covers this time on Mondays"));

    // A day not chosen is drawn in the secondary colour alone (its letter and, when another
    // block holds the day, its ring), so nothing on it is more opaque than that colour over
    // its own 15 % fill; a conflicting day is drawn at half opacity on top.
    const qreal ink = ui::secondaryColor(monday->palette()).alphaF();
    const qreal bound = 1 - (1 - ink) * (1 - ink * 0.15);
    const auto opaquest = [](QWidget* toggle) {
        QImage image(toggle->size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        toggle->render(&image, {}, {}, QWidget::DrawChildren); // no window background
        qreal most = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                most = std::max<qreal>(most, image.pixelColor(x, y).alphaF());
        return most;
    };
    EXPECT_LE(opaquest(editor.dayToggle(3)), bound + 0.02);
    EXPECT_LE(opaquest(monday), bound * 0.5 + 0.02);

    click(monday);
    ASSERT_EQ(repeats.size(), 1u);
    EXPECT_EQ(repeats.back(), (Weekdays{2, 6}));
    EXPECT_TRUE(monday->isChosen());
    EXPECT_TRUE(monday->isConflicting());

    click(monday);
    EXPECT_EQ(repeats.back(), (Weekdays{6}));
}

TEST_F(EditorFixture, StatusLineAndButtonsFollowTheBlocksState) {
    input.block.durationMinutes = 90;
    refresh();
    EXPECT_EQ(editor.statusLabel()->text(), QStringLiteral("9:00 AM – 10:30 AM"));
    EXPECT_EQ(editor.deleteButton()->toolTip(), QStringLiteral("Delete block"));

    input.isDraft = true;
    refresh();
    EXPECT_EQ(editor.statusLabel()->text(), QStringLiteral("Draft — not saved yet"));
    EXPECT_EQ(editor.deleteButton()->toolTip(), QStringLiteral("Discard draft"));

    input.isDraft = false;
    input.isConfirmed = true;
    refresh();
    EXPECT_EQ(editor.statusLabel()->text(), QStringLiteral("Confirmed — part of the day's record"));
    EXPECT_EQ(editor.deleteButton()->toolTip(), QStringLiteral("Confirmed — it can't be deleted"));
    EXPECT_FALSE(editor.deleteButton()->isEnabled());
    EXPECT_FALSE(editor.saveButton()->isEnabled());
    EXPECT_FALSE(editor.titleField()->isEnabled());
    EXPECT_FALSE(editor.startStepper()->isEnabled());

    input.isLocked = true;
    refresh();
    EXPECT_EQ(editor.statusLabel()->text(), QStringLiteral("Deep work in progress — locked"));
    EXPECT_EQ(editor.deleteButton()->toolTip(),
              QStringLiteral("Deep work in progress — it can't be deleted"));

    // Return does nothing for a frozen block either.
    QTest::keyClick(&editor, Qt::Key_Return);
    EXPECT_EQ(commits, 0);
}
