#pragma once

namespace sorrelwind {

/// Finds the display for the icon and the windows, before the QApplication is made, and tells Qt
/// which one it is: X11 where there is one, in a Wayland session too, because only there is known
/// where the icon is. False when there is none, which would be Qt's abrupt end.
[[nodiscard]] bool chooseDisplay();

} // namespace sorrelwind
