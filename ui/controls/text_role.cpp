#include "ui/controls/text_role.h"

#include "ui/palette.h"

namespace sorrelwind {

QColor textColour(TextRole role) {
    switch (role) {
    case TextRole::primary:
        return Palette::Role::text();
    case TextRole::secondary:
        return Palette::Role::textSecondary();
    case TextRole::tertiary:
        return Palette::Role::textTertiary();
    case TextRole::accent:
        return Brand::accentText();
    case TextRole::warning:
        return Palette::Role::warning();
    case TextRole::danger:
        return Palette::Role::danger();
    case TextRole::success:
        break;
    }
    return Palette::Role::success();
}

} // namespace sorrelwind
