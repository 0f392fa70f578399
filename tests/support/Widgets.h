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

// A menu item by its text, wherever the view's menus hold it.
inline QAction* action(const QObject* root, const QString& text) {
    for (QAction* a : root->findChildren<QAction*>())
        if (a->text() == text)
            return a;
    ADD_FAILURE() << "no menu item \"" << text.toStdString() << '"';
    return nullptr;
}

inline void click(QWidget* widget, int times = 1) {
    for (int i = 0; i < times; ++i)
        QTest::mouseClick(widget, Qt::LeftButton);
}

} // namespace quillmere::test
