#include "TimelineFixture.h"

#include <QAccessible>

using namespace quillmere;
using namespace quillmere::test;

namespace {

using Timeline = TimelineFixture;

} // namespace

// A reader walks the painted day as a list of blocks, each with its title, range, kind and
// state, finds a block under a point and follows the chosen one.
TEST_F(Timeline, BlocksAreItemsForAssistiveTechnology) {
    tickAt(QTime(7, 0));
    const WorkBlock done = add(7 * 60, 45);
    tickAt(QTime(7, 45, 1)); // its end passes: confirmed
    const WorkBlock running = add(8 * 60, 60);
    tickAt(QTime(8, 10)); // deep and under way: locked
    const WorkBlock later = add(9 * 60, 60, WorkKind::shallow);
    show();
    WorkBlock draft = later;
    draft.id = QUuid::createUuid();
    draft.title.clear();
    draft.startMinutes = 11 * 60;
    view->setWorking(draft);
    view->setSelectedID(later.id);

    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(canvas());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->role(), QAccessible::List);
    EXPECT_EQ(list->text(QAccessible::Name), u"Today's timeline"_qs);
    ASSERT_EQ(list->childCount(), 4);

    struct Item {
        WorkBlock block;
        QString name;
        QString description;
        bool readOnly;
    };
    const Item items[] = {
        {done, u"Write"_qs, u"7:00 AM – 7:45 AM, Deep Work, confirmed"_qs, true},
        {running, u"Write"_qs, u"8:00 AM – 9:00 AM, Deep Work, running, locked"_qs, true},
        {later, u"Write"_qs, u"9:00 AM – 10:00 AM, Shallow Work"_qs, false},
        {draft, u"Shallow Work"_qs, u"11:00 AM – 12:00 PM, Shallow Work, draft"_qs, false},
    };
    for (const Item& expected : items) {
        SCOPED_TRACE(expected.description.toStdString());
        QAccessibleInterface* item = nullptr;
        for (int i = 0; i < list->childCount() && !item; ++i)
            if (list->child(i)->text(QAccessible::Description) == expected.description)
                item = list->child(i);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->role(), QAccessible::ListItem);
        EXPECT_EQ(item->text(QAccessible::Name), expected.name);
        EXPECT_EQ(item->state().readOnly, expected.readOnly);
        EXPECT_EQ(item->state().selected, expected.block.id == later.id);
        EXPECT_EQ(item->parent(), list);
        EXPECT_EQ(list->child(list->indexOfChild(item)), item);
        // The same interface under the block's own middle, and again when asked again.
        EXPECT_EQ(list->childAt(item->rect().center().x(), item->rect().center().y()), item);
    }
    EXPECT_EQ(list->focusChild()->text(QAccessible::Description), items[2].description);

    // A block that leaves the day leaves the list, and its interface says it is gone.
    QAccessibleInterface* leaving = list->childAt(canvas()->mapToGlobal(at(9 * 60 + 30)).x(),
                                                  canvas()->mapToGlobal(at(9 * 60 + 30)).y());
    ASSERT_NE(leaving, nullptr);
    store->deleteBlock(later.id);
    processEvents();
    EXPECT_EQ(list->childCount(), 3);
    EXPECT_FALSE(leaving->isValid());
}
