#pragma once

#include <QAction>
#include <QObject>
#include <QTest>

#include <gtest/gtest.h>

namespace quillmere::test {

// The views keep their controls to themselves: a test finds one the way a person does, by what
// it is and, where that is not enough, by its object name.
template <typename T> T* child(const QObject* root, const char* name = "") {
    T* found = root->findChild<T*>(QString::fromUtf8(name));
    EXPECT_NE(found, nullptr) << "no child named \"" << name << '"';
    return found;
}

// The first child of a kind that passes a test: a control known by what it shows.
template <typename T, typename Test> T* childWhere(const QObject* root, Test is) {
    for (T* t : root->findChildren<T*>())
        if (is(t))
            return t;
    ADD_FAILURE() << "no such " << T::staticMetaObject.className();
    return nullptr;
}

// A menu item by its text, wherever the view's menus hold it.
inline QAction* action(const QObject* root, const QString& text) {
    return childWhere<QAction>(root, [&](QAction* a) { return a->text() == text; });
}

} // namespace quillmere::test
