#pragma once

#include <QIcon>

namespace sorrelwind {

/// The program's icon as window managers and task switchers show it: the logo tile at every size
/// that they ask for.
[[nodiscard]] QIcon appIcon();

} // namespace sorrelwind
