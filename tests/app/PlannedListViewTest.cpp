#include "app/PlannedListView.h"

#include "AppFixture.h"
#include "support/Widgets.h"

#include <QApplication>
#include <QEnterEvent>
#include <QScrollArea>
#include <QToolButton>

using namespace quillmere;
using namespace quillmere::test;

namespace {

struct PlannedListFixture : AppFixture {
    BacklogState state;
    std::unique_ptr<QWidget> window;
    PlannedListView* list = nullptr;
    PlannedEntryField* entry = nullptr;
    QLineEdit* elsewhere = nullptr;
    std::vector<PlannedBlock> scheduled;

    void build() {
        open();
        window = std::make_unique<QWidget>();
        window->resize(340, 400);
        list = new PlannedListView(*store, state, window.get());
        list->setGeometry(0, 0, 340, 300);
        entry = child<PlannedEntryField>(list);
        elsewhere = new QLineEdit(window.get());
        elsewhere->setGeometry(0, 350, 340, 30);
        QObject::connect(list, &PlannedListView::scheduleRequested, list,
                         [this](const PlannedBlock& p) { scheduled.push_back(p); });
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        QApplication::setActiveWindow(window.get());
    }

    void openEntry() {
        click(child<QAbstractButton>(list, "backlogPlus"));
        ASSERT_TRUE(QTest::qWaitFor([&] { return entry->hasFocus(); }, 10000));
    }

    PlannedRow* row(const QUuid& id) const {
        for (PlannedRow* r : list->findChildren<PlannedRow*>())
            if (r->item().id == id && r->isVisibleTo(list))
                return r;
        ADD_FAILURE() << "no row for " << id.toString().toStdString();
        return nullptr;
    }
    static QToolButton* button(PlannedRow* row, const char* name) {
        return child<QToolButton>(row, name);
    }
    static void hover(PlannedRow* row) {
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

// Return keeps a trimmed, non-blank title in the kind the swatch shows; Escape discards; losing
// the focus keeps the title, once.
TEST_F(PlannedListFixture, TheEntryRowKeepsOrDropsItsTitleByHowItCloses) {
    build();
    openEntry();
    EXPECT_TRUE(state.expanded);
    click(child<KindSwatch>(list, "entrySwatch"));
    QTest::keyClicks(entry, QStringLiteral("  Read the paper  "));
    QTest::keyClick(entry, Qt::Key_Return);
    ASSERT_EQ(store->planned().size(), 1u);
    EXPECT_EQ(store->planned()[0].title, QStringLiteral("Read the paper"));
    EXPECT_EQ(store->planned()[0].kind, WorkKind::shallow);
    EXPECT_FALSE(state.adding);
    EXPECT_TRUE(state.newTitle.isEmpty());
    EXPECT_EQ(state.newKind, WorkKind::shallow); // kept for the next entry
    EXPECT_EQ(plannedJson().size(), 1);

    for (const auto& [text, key] : {std::pair(QStringLiteral("   "), Qt::Key_Return),
                                    std::pair(QStringLiteral("Draft outline"), Qt::Key_Escape)}) {
        openEntry();
        QTest::keyClicks(entry, text);
        QTest::keyClick(entry, key);
        EXPECT_EQ(store->planned().size(), 1u) << text.toStdString();
        EXPECT_FALSE(state.adding);
        EXPECT_TRUE(state.newTitle.isEmpty());
    }

    openEntry();
    EXPECT_TRUE(entry->text().isEmpty());
    QTest::keyClicks(entry, QStringLiteral("Call the printer"));
    elsewhere->setFocus(Qt::MouseFocusReason);
    processEvents();
    elsewhere->clearFocus();
    processEvents();
    EXPECT_EQ(titles(), (std::vector<QString>{QStringLiteral("Read the paper"),
                                              QStringLiteral("Call the printer")}));
    EXPECT_FALSE(state.adding);
}

// Four rows fit; the fifth makes the list scroll, cut through a row to show there is more.
TEST_F(PlannedListFixture, HeaderTogglesTheRowsAndFiveRowsScroll) {
    seedPlanned({planned(QStringLiteral("One")), planned(QStringLiteral("Two")),
                 planned(QStringLiteral("Three")), planned(QStringLiteral("Four"))});
    build();
    auto* rows = child<QScrollArea>(list);
    QWidget* header = child<QWidget>(list, "backlogHeader");
    EXPECT_FALSE(rows->isVisible());
    QTest::mouseClick(header, Qt::LeftButton, {}, QPoint(60, 8));
    EXPECT_TRUE(state.expanded);
    ASSERT_TRUE(QTest::qWaitFor([&] { return rows->height() == 4 * PlannedListView::rowHeight; }));
    EXPECT_EQ(rows->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);

    store->addPlanned(planned(QStringLiteral("Five")));
    processEvents();
    ASSERT_TRUE(QTest::qWaitFor([&] { return rows->height() == PlannedListView::scrollHeight; }));
    EXPECT_EQ(rows->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);

    // Collapsing also closes an open entry row.
    state.adding = true;
    list->sync();
    QTest::mouseClick(header, Qt::LeftButton, {}, QPoint(60, 8));
    EXPECT_FALSE(state.expanded || state.adding);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !rows->isVisible(); }));
}

TEST_F(PlannedListFixture, ALateExitKeepsTheNewHoverAndRowButtonsChangeOnlyTheirEntry) {
    const PlannedBlock a = planned(QStringLiteral("Alpha"));
    const PlannedBlock b = planned(QStringLiteral("Beta"), WorkKind::shallow);
    seedPlanned({a, b});
    state.expanded = true;
    build();
    hover(row(a.id));
    hover(row(b.id)); // the pointer arrives in B before A hears that it left
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(row(a.id), &leave);
    EXPECT_EQ(list->hoveredID(), b.id);
    EXPECT_TRUE(button(row(b.id), "pin")->isVisible());
    EXPECT_FALSE(button(row(a.id), "pin")->isVisible());

    // Pin, then unpin: the key leaves the file again.
    click(button(row(b.id), "pin"));
    EXPECT_EQ(plannedJson()[1].toObject().value(QStringLiteral("pinned")), QJsonValue(true));
    click(button(row(b.id), "pin"));
    EXPECT_FALSE(plannedJson()[1].toObject().contains(QStringLiteral("pinned")));
    click(child<KindSwatch>(row(b.id)));
    EXPECT_EQ(store->planned()[1].kind, WorkKind::deep);

    QTest::mouseClick(row(a.id), Qt::LeftButton, {}, QPoint(120, 10));
    ASSERT_EQ(scheduled.size(), 1u);
    EXPECT_EQ(scheduled[0].id, a.id);
    EXPECT_EQ(store->planned().size(), 2u); // scheduling alone removes nothing

    click(button(row(b.id), "delete"));
    processEvents();
    EXPECT_EQ(titles(), (std::vector<QString>{QStringLiteral("Alpha")}));
    EXPECT_EQ(plannedJson().size(), 1);
}
