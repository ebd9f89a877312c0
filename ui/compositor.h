#pragma once

namespace sorrelwind {

/// Whether the transparent parts of a window show what lies behind it. Ask at each use: a
/// compositor comes and goes.
[[nodiscard]] bool isComposited();

/// Whether the desktop alone decides where windows go, as Wayland does for its native programs.
/// Then nothing can hang from the status item.
[[nodiscard]] bool desktopPlacesWindows();

} // namespace sorrelwind
