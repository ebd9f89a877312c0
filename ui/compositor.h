#pragma once

namespace sorrelwind {

/// Whether the transparent parts of a window show what lies behind it. Ask at each use: a
/// compositor comes and goes.
[[nodiscard]] bool isComposited();

} // namespace sorrelwind
