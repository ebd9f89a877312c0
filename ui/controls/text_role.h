#pragma once

#include <QColor>

namespace sorrelwind {

/// What a text or a symbol is for, which decides its colour.
enum class TextRole { primary, secondary, tertiary, accent, warning, danger, success };

[[nodiscard]] QColor textColour(TextRole role);

} // namespace sorrelwind
