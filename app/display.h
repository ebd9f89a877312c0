#pragma once

#include <QString>

namespace sorrelwind {

/// Finds the display for the icon and the windows, before the QApplication is made, and tells Qt
/// which one it is: X11 where there is one, in a Wayland session too, because only there is known
/// where the icon is. False when there is none, which would be Qt's abrupt end.
[[nodiscard]] bool chooseDisplay();

/// The line for a shell that starts the agent on this config directory, as fits where this runs.
[[nodiscard]] QString startLine(const QString& configDir);

} // namespace sorrelwind
