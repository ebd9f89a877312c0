#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>

namespace sorrelwind {

/// The icon in the tray, a clipboard with a rising signal cut out of it: `size` logical pixels
/// square in one colour on nothing, drawn anew at every size.
[[nodiscard]] QPixmap menuBarIcon(int size, const QColor& colour, qreal dpr = 1);

/// The same at the sizes that trays ask for.
[[nodiscard]] QIcon menuBarIcon(const QColor& colour);

} // namespace sorrelwind
