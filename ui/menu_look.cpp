#include "ui/menu_look.h"

#include "ui/palette.h"

#include <QMenu>

namespace sorrelwind {

void dress(QMenu& menu) {
    using Role = Palette::Role;
    menu.setStyleSheet(
        QStringLiteral(
            "QMenu { background: %1; border: 1px solid %2; padding: 4px; }"
            "QMenu::item { color: %3; padding: 6px 12px; min-width: 180px; border-radius: 4px; }"
            "QMenu::item:selected { background: %4; color: %5; }"
            "QMenu::item:disabled { color: %6; background: transparent; }"
            "QMenu::separator { background: %2; height: 1px; margin: 4px 8px; }")
            .arg(Role::surface().name(), Role::separatorStrong().name(), Role::text().name(),
                 Brand::accent().name(), Brand::onAccent().name(), Role::textTertiary().name()));
}

} // namespace sorrelwind
