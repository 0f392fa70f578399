#include "timeline/BlockEditorView.h"

#include "model/WorkKind.h"
#include "ui/Palette.h"

#include "support/Printers.h"
#include "support/Widgets.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>

#include <vector>

using namespace quillmere;
using namespace quillmere::test;

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

    void SetUp() override {
        input.block = block(QStringLiteral("Deep Work"), WorkKind::deep);
        input.startRange = {480, 600};
        input.durationRange = {15, 120};
        QObject::connect(&editor, &BlockEditorView::changed, &editor, [this](const WorkBlock& b) {
            changes.push_back(input.block = b);
            refresh();
        });
        QObject::connect(&editor, &BlockEditorView::repeatChanged, &editor,
                         [this](const Weekdays& days) {
                             repeats.push_back(input.repeatDays = days);
                             refresh();
                         });
        QObject::connect(&editor, &BlockEditorView::commitRequested, &editor,
                         [this] { ++commits; });
        refresh();
        editor.resize(340, 260);
        editor.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&editor));
    }

    void refresh() { editor.setInput(input); }
    QLineEdit* title() const { return child<QLineEdit>(&editor); }
    // A child found by what it shows: a kind segment by its text, a day toggle by its day.
    template <typename T, typename Test> T* find(Test is) const {
        for (T* t : editor.findChildren<T*>())
            if (is(t))
                return t;
        ADD_FAILURE() << "not in the editor";
        return nullptr;
    }
    QToolButton* segment(WorkKind kind) const {
        return find<QToolButton>([&](QToolButton* b) { return b->text() == defaultTitle(kind); });
    }
    DayToggle* day(int d) const {
        return find<DayToggle>([&](DayToggle* t) { return t->day() == d; });
    }
    QToolButton* arrow(const char* stepper, const char* name) const {
        return child<QToolButton>(child<MinuteStepper>(&editor, stepper), name);
    }
};

} // namespace

// A title still reading as the old kind's default (or empty) follows the kind; typed ones stay,
// even one that only looks like the other kind's default.
TEST_F(EditorFixture, KindSegmentsRenameOnlyDefaultTitles) {
    click(segment(WorkKind::shallow));
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes.back().kind, WorkKind::shallow);
    EXPECT_EQ(title()->text(), QStringLiteral("Shallow Work"));
    EXPECT_TRUE(segment(WorkKind::shallow)->isChecked());

    const struct {
        QString title;
        WorkKind from;
        QString expected;
    } cases[] = {
        {QStringLiteral("Deep Work session"), WorkKind::deep, QStringLiteral("Deep Work session")},
        {QString(), WorkKind::shallow, QStringLiteral("Deep Work")},
        {QStringLiteral("Shallow Work"), WorkKind::deep, QStringLiteral("Shallow Work")},
        {QStringLiteral("deep work"), WorkKind::deep, QStringLiteral("deep work")},
    };
    for (const auto& c : cases)
        EXPECT_EQ(editor::withKind(block(c.title, c.from), otherKind(c.from)).title, c.expected)
            << c.title.toStdString();
}

TEST_F(EditorFixture, TypingSendsTheTitleAsItStandsAndReturnSaves) {
    input.block.title.clear();
    refresh();
    QTest::keyClicks(title(), QStringLiteral(" Write "));
    ASSERT_FALSE(changes.empty());
    EXPECT_EQ(changes.back().title, QStringLiteral(" Write "));
    EXPECT_EQ(title()->cursorPosition(), 7); // the host's echo does not move the cursor
    QTest::keyClick(title(), Qt::Key_Return);
    EXPECT_EQ(commits, 1);
}

TEST_F(EditorFixture, SteppersMoveByAQuarterHourAndStopAtTheHostsBounds) {
    input.startRange = {540, 600};
    input.durationRange = {15, 70};
    input.block.startMinutes = 545; // 9:05, off the grid after a timeline edit
    refresh();
    click(arrow("start", "down"));
    EXPECT_EQ(changes.back().startMinutes, 540); // clamped, not refused
    EXPECT_FALSE(arrow("start", "down")->isEnabled());
    click(arrow("start", "up"), 5);
    EXPECT_EQ(changes.back().startMinutes, 600);
    EXPECT_FALSE(arrow("start", "up")->isEnabled());

    click(arrow("duration", "up"));
    EXPECT_EQ(changes.back().durationMinutes, 70);
    EXPECT_EQ(child<MinuteStepper>(&editor, "duration")->label(), QStringLiteral("1 h 10 m"));
    click(arrow("duration", "down"), 6);
    EXPECT_EQ(changes.back().durationMinutes, 15);
    EXPECT_EQ(changes.back().startMinutes, 600);
}

TEST_F(EditorFixture, AConflictingDayIsStillAddedAndOnlyTheHelpWarns) {
    input.conflictDays = {2};
    input.repeatDays = {6};
    refresh();
    DayToggle* monday = day(2);
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
    EXPECT_LE(opaquest(day(3)), bound + 0.02);
    EXPECT_LE(opaquest(monday), bound * 0.5 + 0.02);

    click(monday);
    EXPECT_EQ(repeats.back(), (Weekdays{2, 6}));
    EXPECT_TRUE(monday->isChosen() && monday->isConflicting());
    click(monday);
    EXPECT_EQ(repeats.back(), (Weekdays{6}));
}

// A confirmed or running deep block is frozen: nothing in the form changes or saves it.
TEST_F(EditorFixture, AFrozenBlockTakesNoEdits) {
    input.block.durationMinutes = 90;
    refresh();
    EXPECT_EQ(child<QLabel>(&editor, "status")->text(), QStringLiteral("9:00 AM – 10:30 AM"));
    for (const auto& [confirmed, locked] : {std::pair(true, false), std::pair(false, true)}) {
        input.isConfirmed = confirmed;
        input.isLocked = locked;
        refresh();
        for (QWidget* control : std::initializer_list<QWidget*>{
                 child<QToolButton>(&editor, "delete"), child<QPushButton>(&editor), title(),
                 child<MinuteStepper>(&editor, "start")})
            EXPECT_FALSE(control->isEnabled()) << control->metaObject()->className();
        QTest::keyClick(&editor, Qt::Key_Return);
    }
    EXPECT_EQ(commits, 0);
}
