#include "app/PlannedListView.h"

#include "AppFixture.h"

#include <QApplication>
#include <QCursor>
#include <QEnterEvent>
#include <QLabel>
#include <QScrollArea>
#include <QTest>
#include <QToolButton>

using namespace quillmere;
using namespace quillmere::test;

namespace {

// Runs `then` when the watched widget hides, as Qt's own enter and leave events for a pointer
// that stays put do.
struct OnHide final : QObject {
    std::function<void()> then;
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Hide && then)
            then();
        return false;
    }
};

struct PlannedListFixture : AppFixture {
    PlannedTrayState state;
    std::unique_ptr<QWidget> window;
    PlannedListView* list = nullptr;
    QLineEdit* elsewhere = nullptr;
    std::vector<PlannedBlock> scheduled;

    void build() {
        open();
        window = std::make_unique<QWidget>();
        window->resize(340, 400);
        list = new PlannedListView(*store, state, window.get());
        list->setGeometry(0, 0, 340, 300);
        elsewhere = new QLineEdit(window.get());
        elsewhere->setGeometry(0, 350, 340, 30);
        list->onSchedule = [this](const PlannedBlock& p) { scheduled.push_back(p); };
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        QApplication::setActiveWindow(window.get());
    }

    void openEntry() {
        QTest::mouseClick(list->plusButton(), Qt::LeftButton);
        ASSERT_TRUE(QTest::qWaitFor([&] { return list->entryField()->hasFocus(); }, 10000));
    }

    void hover(PlannedRow* row) {
        QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
        QCoreApplication::sendEvent(row, &enter);
    }

    std::vector<QString> titles() const {
        std::vector<QString> out;
        for (const auto& p : store->planned())
            out.push_back(p.title);
        return out;
    }
};

} // namespace

TEST_F(PlannedListFixture, EntryRowTakesFocusAndReturnKeepsTheTrimmedTitle) {
    build();
    openEntry();
    EXPECT_TRUE(state.expanded);
    EXPECT_TRUE(state.adding);

    QTest::mouseClick(list->entrySwatch(), Qt::LeftButton);
    EXPECT_EQ(state.newKind, WorkKind::shallow);

    QTest::keyClicks(list->entryField(), QStringLiteral("  Read the paper  "));
    QTest::keyClick(list->entryField(), Qt::Key_Return);
    ASSERT_EQ(store->planned().size(), 1u);
    EXPECT_EQ(store->planned()[0].title, QStringLiteral("Read the paper"));
    EXPECT_EQ(store->planned()[0].kind, WorkKind::shallow);
    EXPECT_FALSE(state.adding);
    EXPECT_TRUE(state.newTitle.isEmpty());
    EXPECT_EQ(state.newKind, WorkKind::shallow); // kept for the next entry
    EXPECT_EQ(plannedJson().size(), 1);
    EXPECT_EQ(list->countLabel()->text(), QStringLiteral("Planned (1)"));

    // A blank title adds nothing but still closes the row.
    openEntry();
    QTest::keyClicks(list->entryField(), QStringLiteral("   "));
    QTest::keyClick(list->entryField(), Qt::Key_Return);
    EXPECT_EQ(store->planned().size(), 1u);
    EXPECT_FALSE(state.adding);
}

TEST_F(PlannedListFixture, EscapeDiscardsAndLosingFocusKeepsTheTitleOnce) {
    build();
    openEntry();
    QTest::keyClicks(list->entryField(), QStringLiteral("Draft outline"));
    QTest::keyClick(list->entryField(), Qt::Key_Escape);
    EXPECT_TRUE(store->planned().empty());
    EXPECT_FALSE(state.adding);
    EXPECT_TRUE(state.newTitle.isEmpty());
    EXPECT_FALSE(dir.exists(QStringLiteral("planned.json")) && plannedJson().size() > 0);

    openEntry();
    EXPECT_TRUE(list->entryField()->text().isEmpty());
    QTest::keyClicks(list->entryField(), QStringLiteral("Call the printer"));
    elsewhere->setFocus(Qt::MouseFocusReason);
    processEvents();
    EXPECT_EQ(titles(), (std::vector<QString>{QStringLiteral("Call the printer")}));
    EXPECT_FALSE(state.adding);
    elsewhere->clearFocus();
    processEvents();
    EXPECT_EQ(store->planned().size(), 1u);
}

TEST_F(PlannedListFixture, HeaderCollapsesAndFiveRowsScroll) {
    seedPlanned({planned(QStringLiteral("One")), planned(QStringLiteral("Two")),
                 planned(QStringLiteral("Three")), planned(QStringLiteral("Four"))});
    build();
    EXPECT_TRUE(list->visibleRows().isEmpty());
    QTest::mouseClick(list->headerRow(), Qt::LeftButton, {}, QPoint(60, 8));
    EXPECT_TRUE(state.expanded);
    ASSERT_EQ(list->visibleRows().size(), 4);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return list->rowsArea()->height() == 4 * PlannedListView::rowHeight; }));
    EXPECT_EQ(list->rowsArea()->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);

    store->addPlanned(planned(QStringLiteral("Five")));
    processEvents();
    ASSERT_EQ(list->visibleRows().size(), 5);
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->rowsArea()->height() == 117; }));
    EXPECT_EQ(list->rowsArea()->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_EQ(list->visibleRows().last()->item().title, QStringLiteral("Five"));

    // Collapsing also closes an open entry row, and the rows fold away as they unfolded.
    state.adding = true;
    list->sync();
    QTest::mouseClick(list->headerRow(), Qt::LeftButton, {}, QPoint(60, 8));
    EXPECT_FALSE(state.expanded);
    EXPECT_FALSE(state.adding);
    EXPECT_TRUE(list->rowsArea()->isVisible());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !list->rowsArea()->isVisible(); }));
}

TEST_F(PlannedListFixture, HoverShowsPinAndDeleteAndALateExitKeepsTheNewRow) {
    const PlannedBlock a = planned(QStringLiteral("Alpha"));
    const PlannedBlock b = planned(QStringLiteral("Beta"), WorkKind::shallow);
    seedPlanned({a, b});
    state.expanded = true;
    build();
    PlannedRow* rowA = list->row(a.id);
    PlannedRow* rowB = list->row(b.id);
    ASSERT_TRUE(rowA && rowB);
    EXPECT_FALSE(rowA->pinButton()->isVisible());

    hover(rowA);
    EXPECT_TRUE(rowA->pinButton()->isVisible());
    EXPECT_TRUE(rowA->deleteButton()->isVisible());
    hover(rowB); // the pointer arrives in B before A hears that it left
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(rowA, &leave);
    EXPECT_EQ(list->hoveredID(), b.id);
    EXPECT_TRUE(rowB->pinButton()->isVisible());
    EXPECT_FALSE(rowA->pinButton()->isVisible());

    // Pin, then unpin: the key leaves the file again.
    EXPECT_EQ(rowB->pinButton()->toolTip(),
              QStringLiteral("Pin — keep it in the backlog to schedule again"));
    QTest::mouseClick(rowB->pinButton(), Qt::LeftButton);
    EXPECT_EQ(plannedJson()[1].toObject().value(QStringLiteral("pinned")), QJsonValue(true));
    EXPECT_EQ(list->row(b.id)->pinButton()->toolTip(),
              QStringLiteral("Unpin — scheduling will remove it from the backlog"));
    QTest::mouseClick(list->row(b.id)->pinButton(), Qt::LeftButton);
    EXPECT_FALSE(plannedJson()[1].toObject().contains(QStringLiteral("pinned")));

    QTest::mouseClick(list->row(b.id)->swatch(), Qt::LeftButton);
    EXPECT_EQ(store->planned()[1].kind, WorkKind::deep);

    QTest::mouseClick(rowA, Qt::LeftButton, {}, QPoint(120, 10));
    ASSERT_EQ(scheduled.size(), 1u);
    EXPECT_EQ(scheduled[0].id, a.id);
    EXPECT_EQ(store->planned().size(), 2u); // scheduling alone removes nothing

    // The deleted row hides under the pointer, and the row that slides under it hears the
    // pointer enter while the list is being rebuilt.
    OnHide enterNext;
    enterNext.then = [&] { hover(list->row(a.id)); };
    list->row(b.id)->installEventFilter(&enterNext);
    QTest::mouseClick(list->row(b.id)->deleteButton(), Qt::LeftButton);
    processEvents();
    EXPECT_EQ(titles(), (std::vector<QString>{QStringLiteral("Alpha")}));
    EXPECT_EQ(plannedJson().size(), 1);
    const QList<PlannedRow*> rows = list->findChildren<PlannedRow*>();
    EXPECT_EQ(std::count_if(rows.begin(), rows.end(), [](PlannedRow* r) { return r->isVisible(); }),
              1);
    EXPECT_EQ(list->hoveredID(), a.id);
    EXPECT_TRUE(list->row(a.id)->pinButton()->isVisible());
}

// Deleting rows one after another with a pointer that stays put: each row that slides up under
// it shows its buttons, so the next click deletes again instead of scheduling.
TEST_F(PlannedListFixture, TheRowThatSlidesUnderTheRestingPointerTakesTheHover) {
    const PlannedBlock a = planned(QStringLiteral("Alpha"));
    const PlannedBlock b = planned(QStringLiteral("Beta"));
    seedPlanned({a, b});
    state.expanded = true;
    build();
    hover(list->row(a.id));
    QToolButton* button = list->row(a.id)->deleteButton();
    const QPoint pointer = button->mapToGlobal(button->rect().center());
    QCursor::setPos(pointer);
    QTest::mouseClick(button, Qt::LeftButton);
    processEvents();
    EXPECT_EQ(titles(), (std::vector<QString>{QStringLiteral("Beta")}));
    EXPECT_EQ(list->hoveredID(), b.id);
    ASSERT_TRUE(list->row(b.id)->deleteButton()->isVisible());
    EXPECT_TRUE(scheduled.empty());
}
