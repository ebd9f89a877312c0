#pragma once

#include <QAccessible>
#include <QWidget>

#include <gtest/gtest.h>

namespace sorrelwind::test {

/// A screen reader finds a name for everything in the window that can be operated and seen.
inline void expectNames(QAccessibleInterface* item) {
    ASSERT_NE(item, nullptr);
    const QAccessible::State state = item->state();
    if (state.invisible)
        return;
    const bool operable = state.focusable || item->role() == QAccessible::Button ||
                          item->role() == QAccessible::CheckBox;
    if (operable && !qobject_cast<QWidget*>(item->object())->isWindow()) {
        EXPECT_FALSE(item->text(QAccessible::Name).isEmpty())
            << item->object()->metaObject()->className() << ' '
            << item->object()->objectName().toStdString();
    }
    for (int i = 0; i < item->childCount(); ++i)
        expectNames(item->child(i));
}
inline void expectNames(QWidget& window) {
    expectNames(QAccessible::queryAccessibleInterface(&window));
}

} // namespace sorrelwind::test
